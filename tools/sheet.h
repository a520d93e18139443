#ifndef UTILITY_TOOLS_SHEET_H
#define UTILITY_TOOLS_SHEET_H

#include "inkio.h"

#include <QImage>
#include <QRectF>
#include <QString>
#include <QVector>

// What the recogniser said about one scribble.
struct Recognition
{
    int category = 0;
    QRectF rect;
    QVector<QPointF> corners;
};

namespace Sheet {

// The meaning of a category code, in a few words ("triangle", "line", ...).
QString describe(int category, int cornerCount);

// Draws the figure a recogniser result stands for, in the scribble's coordinates.
// Crossing lines (206) are drawn from the scribble's own strokes, straightened,
// since the result's rectangle only bounds the first of them.
void drawFigure(class QPainter &painter, const Recognition &result, const StrokeList &strokes = StrokeList());

// One cell per scribble: the ink in grey, the recognised figure over it in colour,
// the label and the result below. Cells are `cell` pixels wide, `columns` a row.
QImage contactSheet(const QVector<InkScribble> &scribbles, const QVector<Recognition> &results,
                    int columns = 8, int cell = 160);

} // namespace Sheet

#endif // UTILITY_TOOLS_SHEET_H
