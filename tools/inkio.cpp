#include "inkio.h"

#include <utility/scribble.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace InkIO {

namespace {

bool parseLine(const QByteArray &line, InkScribble &scribble)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return false;
    const QJsonObject object = document.object();
    scribble.id = object.value(QStringLiteral("id")).toString();
    scribble.label = object.value(QStringLiteral("label")).toString();
    const QJsonArray strokes = object.value(QStringLiteral("strokes")).toArray();
    for (const QJsonValue &strokeValue : strokes) {
        QVector<QPointF> stroke;
        for (const QJsonValue &pointValue : strokeValue.toArray()) {
            const QJsonArray pair = pointValue.toArray();
            if (pair.size() >= 2)
                stroke.append(QPointF(pair.at(0).toDouble(), pair.at(1).toDouble()));
        }
        if (!stroke.isEmpty())
            scribble.strokes.append(stroke);
    }
    return !scribble.strokes.isEmpty();
}

bool readRecord(const QByteArray &bytes, QVector<InkScribble> &scribbles, QString &error)
{
    std::istringstream in(std::string(bytes.constData(), static_cast<std::size_t>(bytes.size())));
    CScribble record;
    record.readFrom(in);
    if (in.fail()) {
        error = QStringLiteral("not a JSON-lines ink file, and not a complete binary scribble record");
        return false;
    }
    InkScribble scribble;
    scribble.id = QStringLiteral("record");
    const CScribble &constRecord = record;
    for (long i = 0; i < constRecord.getStrokeNum(); ++i) {
        const CStroke &source = constRecord.getStrokeAt(i);
        QVector<QPointF> stroke;
        for (long j = 0; j < source.getPointNum(); ++j)
            stroke.append(QPointF(source.getPointAt(j)));
        if (!stroke.isEmpty())
            scribble.strokes.append(stroke);
    }
    scribbles.append(scribble);
    return true;
}

} // namespace

bool read(const QString &path, QVector<InkScribble> &scribbles, QString &error, int *skipped)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return false;
    }
    const QByteArray bytes = file.readAll();
    if (!bytes.trimmed().startsWith('{'))
        return readRecord(bytes, scribbles, error);
    int bad = 0;
    for (const QByteArray &line : bytes.split('\n')) {
        if (line.trimmed().isEmpty())
            continue;
        InkScribble scribble;
        if (parseLine(line, scribble))
            scribbles.append(scribble);
        else
            ++bad;
    }
    if (skipped)
        *skipped = bad;
    if (scribbles.isEmpty()) {
        error = QStringLiteral("%1 holds no scribbles").arg(path);
        return false;
    }
    return true;
}

double scaleToPixels(QVector<InkScribble> &scribbles, double targetExtent)
{
    std::vector<double> extents;
    for (const InkScribble &s : scribbles) {
        double left = HUGE_VAL, top = HUGE_VAL, right = -HUGE_VAL, bottom = -HUGE_VAL;
        for (const auto &stroke : s.strokes) {
            for (const QPointF &p : stroke) {
                left = std::min(left, p.x());
                right = std::max(right, p.x());
                top = std::min(top, p.y());
                bottom = std::max(bottom, p.y());
            }
        }
        const double extent = std::max(right - left, bottom - top);
        if (std::isfinite(extent) && extent > 0)
            extents.push_back(extent);
    }
    if (extents.empty())
        return 1.0;
    std::nth_element(extents.begin(), extents.begin() + extents.size() / 2, extents.end());
    const double factor = targetExtent / extents[extents.size() / 2];
    for (InkScribble &s : scribbles)
        for (auto &stroke : s.strokes)
            for (QPointF &p : stroke)
                p *= factor;
    return factor;
}

} // namespace InkIO
