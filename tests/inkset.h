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
    int lineNumber = 0;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        ++lineNumber;
        if (line.isEmpty())
            continue;
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(line, &parseError);
        if (!document.isObject()) {
            if (error)
                *error = QStringLiteral("%1:%2: %3").arg(path).arg(lineNumber).arg(parseError.errorString());
            return false;
        }
        const QJsonObject object = document.object();
        Scribble scribble;
        scribble.id = object.value(QStringLiteral("id")).toString();
        scribble.label = object.value(QStringLiteral("label")).toString();
        const QJsonArray strokes = object.value(QStringLiteral("strokes")).toArray();
        scribble.strokes.reserve(strokes.size());
        for (const QJsonValue &strokeValue : strokes) {
            const QJsonArray points = strokeValue.toArray();
            QVector<QPointF> stroke;
            stroke.reserve(points.size());
            for (const QJsonValue &pointValue : points) {
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
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    bool first = true;
    for (const QVector<QPointF> &stroke : scribble.strokes) {
        for (const QPointF &p : stroke) {
            if (first) {
                minX = maxX = p.x();
                minY = maxY = p.y();
                first = false;
            }
            minX = std::min(minX, p.x());
            maxX = std::max(maxX, p.x());
            minY = std::min(minY, p.y());
            maxY = std::max(maxY, p.y());
        }
    }
    return std::max(maxX - minX, maxY - minY);
}

inline double pixelScale(const QVector<Scribble> &scribbles, double medianPixels = kMedianFigurePixels)
{
    std::vector<double> sides;
    sides.reserve(scribbles.size());
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
    QVector<QVector<QPointF>> pixels;
    pixels.reserve(strokes.size());
    for (const QVector<QPointF> &stroke : strokes) {
        QVector<QPointF> out;
        out.reserve(stroke.size());
        for (const QPointF &p : stroke)
            out.append(QPointF(std::round(p.x() * scale), std::round(p.y() * scale)));
        pixels.append(out);
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
