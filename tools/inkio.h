#ifndef UTILITY_TOOLS_INKIO_H
#define UTILITY_TOOLS_INKIO_H

#include <QPointF>
#include <QString>
#include <QVector>

using StrokeList = QVector<QVector<QPointF>>;

struct InkScribble
{
    QString id;
    QString label;
    StrokeList strokes;
};

namespace InkIO {

// Reads ink from `path`: JSON lines ({"id", "label", "strokes": [[[x, y], ...], ...]}
// per line) or, when the file does not start with '{', one binary scribble record as
// the suite persists it. Lines that are not valid JSON are skipped and counted in
// `skipped`. Returns false with `error` set when the file cannot be read at all.
bool read(const QString &path, QVector<InkScribble> &scribbles, QString &error, int *skipped = nullptr);

// Data sets come in their own units (0..255 drawings, screen pixels, tablet units
// of tens of thousands). The recogniser's thresholds are in whiteboard pixels, so a
// set is scaled by one factor chosen so that the median of its scribbles' larger
// bounding-box side becomes `targetExtent` pixels. One factor for the whole set
// keeps the proportions between its scribbles, as one person's pen would.
double scaleToPixels(QVector<InkScribble> &scribbles, double targetExtent = 200.0);

} // namespace InkIO

#endif // UTILITY_TOOLS_INKIO_H
