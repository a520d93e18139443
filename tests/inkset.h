#ifndef UTILITY_TESTS_INKSET_H
#define UTILITY_TESTS_INKSET_H

// Reads the hand-drawn ink sets kept beside the repository (../shared/ink/*.jsonl):
// one scribble per line,
//
//     {"id": "...", "label": "...", "source": "...", "strokes": [[[x, y], ...], ...]}
//
// and brings each set to whiteboard pixels. Header-only so that the tests, the
// benchmark and the recognition report share it without a library of their own.
//
// Pixel scale. The recogniser's few absolute thresholds (pen jitter below 3 pixels,
// a farthest point at least 1 pixel off the chord) assume that a figure is drawn a
// few hundred pixels large, as on a whiteboard. The sets come in their own units
// (a 240x320 phone screen, tablet ink units in the tens of thousands, 0..255). One
// rule for every set: scale it by one factor so that the median scribble's longer
// side is 200 pixels, then round every coordinate to a whole pixel, as a pen
// delivers it. Sizes within a set keep their proportions.

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointF>
#include <QPolygonF>
#include <QString>
#include <QStringList>
#include <QVector>

#include <algorithm>
#include <cmath>

namespace inkset {

constexpr double kMedianFigurePixels = 200.0;

struct Scribble
{
    QString id;
    QString label;
    QVector<QVector<QPointF>> strokes;
};

struct DataSet
{
    QString file; // e.g. "dollar1.jsonl"
    double scale = 1.0; // set units to pixels
    QVector<Scribble> scribbles; // as recorded
};

// Parses one file; false (and `error`) on an unreadable file or a malformed line.
inline bool readJsonLines(const QString &path, QVector<Scribble> &scribbles, QString *error = nullptr)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot open %1").arg(path);
        return false;
    }
    for (int lineNumber = 1; !file.atEnd(); ++lineNumber) {
        const QByteArray line = file.readLine().trimmed();
        if (line.isEmpty())
            continue;
        QJsonParseError parseError{};
        const QJsonDocument document = QJsonDocument::fromJson(line, &parseError);
        if (!document.isObject()) {
            if (error)
                *error = QStringLiteral("%1:%2: %3").arg(path).arg(lineNumber).arg(parseError.errorString());
            return false;
        }
        const QJsonObject object = document.object();
        Scribble scribble{object.value(QStringLiteral("id")).toString(),
                          object.value(QStringLiteral("label")).toString(), {}};
        for (const QJsonValue &strokeValue : object.value(QStringLiteral("strokes")).toArray()) {
            QVector<QPointF> stroke;
            for (const QJsonValue &pointValue : strokeValue.toArray()) {
                const QJsonArray xy = pointValue.toArray();
                stroke.append(QPointF(xy.at(0).toDouble(), xy.at(1).toDouble()));
            }
            scribble.strokes.append(stroke);
        }
        scribbles.append(scribble);
    }
    return true;
}

// The longer side of the scribble's bounding box, in its own units.
inline double longerSide(const Scribble &scribble)
{
    QPolygonF all;
    for (const QVector<QPointF> &stroke : scribble.strokes)
        all += QPolygonF(stroke);
    const QRectF box = all.boundingRect();
    return std::max(box.width(), box.height());
}

inline double pixelScale(const QVector<Scribble> &scribbles, double medianPixels = kMedianFigurePixels)
{
    std::vector<double> sides;
    for (const Scribble &scribble : scribbles)
        sides.push_back(longerSide(scribble));
    if (sides.empty())
        return 1.0;
    std::sort(sides.begin(), sides.end());
    const std::size_t n = sides.size();
    const double median = n % 2 ? sides[n / 2] : (sides[n / 2 - 1] + sides[n / 2]) / 2.0;
    return median > 0 ? medianPixels / median : 1.0;
}

inline QVector<QVector<QPointF>> toPixels(const QVector<QVector<QPointF>> &strokes, double scale)
{
    QVector<QVector<QPointF>> pixels = strokes;
    for (QVector<QPointF> &stroke : pixels) {
        for (QPointF &p : stroke)
            p = QPointF(std::round(p.x() * scale), std::round(p.y() * scale));
    }
    return pixels;
}

// Every *.jsonl of the folder in name order, each with its pixel scale.
inline bool readAll(const QString &folder, QVector<DataSet> &sets, QString *error = nullptr,
                    double medianPixels = kMedianFigurePixels)
{
    const QStringList files = QDir(folder).entryList({QStringLiteral("*.jsonl")}, QDir::Files, QDir::Name);
    if (files.isEmpty()) {
        if (error)
            *error = QStringLiteral("no *.jsonl in %1").arg(folder);
        return false;
    }
    for (const QString &name : files) {
        DataSet set;
        set.file = name;
        if (!readJsonLines(QDir(folder).filePath(name), set.scribbles, error))
            return false;
        set.scale = pixelScale(set.scribbles, medianPixels);
        sets.append(set);
    }
    return true;
}

} // namespace inkset

#endif // UTILITY_TESTS_INKSET_H
