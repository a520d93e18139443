// Classifies the hand-drawn ink sets and draws contact sheets of the results; the
// data half of scripts/recognition-report, which turns it into docs/recognition.md.
//
//   recognition_report <ink folder> --json
//       one JSON object per scribble on stdout: set, id, label, strokes, code,
//       corners (for 102), rectangle, corner points, the pixel scale used, and
//       "stages": how far the scribble got (see diagnose())
//   recognition_report <ink folder> --json --median-pixels 400
//       the same at another pixel scale (the median scribble's longer side)
//   recognition_report <ink folder> --sheet <out.png> <ids file>
//       draws the scribbles named in the ids file (one "caption" line, or an id per
//       line) in grey with the recognised figure over them, in rows
//
// Every scribble goes through classifyScribble at whiteboard pixels (see inkset.h)
// with vertexLimit 6 and normalize true, as the whiteboard calls it.
#include <utility/figurerecogniser.h>
#include <utility/geometry.h>
#include <utility/strokeutil.h>

#include "../tests/inkset.h"
#include "sheet.h"

#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QPainterPath>
#include <QTextStream>

#include <algorithm>
#include <cstdio>

namespace {
QJsonArray pointArray(const QVector<QPointF> &points)
{
    QJsonArray array;
    for (const QPointF &p : points)
        array.append(QJsonArray{p.x(), p.y()});
    return array;
}
} // namespace

// Reaches the recogniser's stages, to say where a scribble left the road to a
// figure. Mirrors classifyScribble's order of steps; the result itself always
// comes from classifyScribble.
class FigureRecogniserProbe
{
public:
    using R = CFigureRecogniser;
    using Points = QVector<QPointF>;
    using Strokes = QVector<QVector<QPointF>>;

    static QJsonObject diagnose(const Strokes &strokes)
    {
        QJsonObject stages;
        Strokes smoothed;
        R::makeSmoothPoints(strokes, smoothed, 0.01);
        if (smoothed.size() == 2) {
            Strokes coarse;
            R::makeSmoothPoints(smoothed, coarse, 0.1);
            QRectF rect;
            if (R::checkOpenStroke(coarse[0], coarse[1], rect) != 0) {
                stages.insert(QStringLiteral("path"), QStringLiteral("crossing"));
                return stages;
            }
        }
        if (!R::makeConnectedStroke(smoothed)) {
            stages.insert(QStringLiteral("path"), QStringLiteral("unjoinable"));
            return stages;
        }
        stages.insert(QStringLiteral("joined"), smoothed.size());
        if (smoothed.size() != 1) {
            stages.insert(QStringLiteral("path"), QStringLiteral("several strokes"));
            if (smoothed.size() == 2) {
                // The barb test: how often an end touches the other stroke's middle,
                // and the point counts it needs (2 and 3).
                Strokes coarse;
                R::makeSmoothPoints(smoothed, coarse, 0.1);
                int i = -1;
                int j = -1;
                stages.insert(QStringLiteral("touches"), R::checkConnectSpecialEdge(coarse[0], coarse[1], i, j));
                stages.insert(QStringLiteral("points"), QJsonArray{coarse[0].size(), coarse[1].size()});
            }
            return stages;
        }
        Points stroke = smoothed.first();
        if (!R::connect1Stroke(stroke)) {
            stages.insert(QStringLiteral("path"), QStringLiteral("open"));
            return stages;
        }
        stages.insert(QStringLiteral("path"), QStringLiteral("closed"));
        // checkCloseFigure's steps, one by one.
        int farthest = 0;
        double best = 0.0;
        for (int i = 1; i < stroke.size() - 1; ++i) {
            const double d = std::trunc(Util::calcDistanceToLineSegment(stroke.first(), stroke.last(), stroke.at(i)));
            if (d > best) {
                best = d;
                farthest = i;
            }
        }
        std::rotate(stroke.begin(), stroke.begin() + farthest, stroke.end());
        stroke.append(stroke.first());
        Points corners;
        Util::getSmoothPoints(stroke, corners, 0.1);
        stages.insert(QStringLiteral("smoothed"), corners.size() - 1);
        R::removeShortSegment(corners);
        stages.insert(QStringLiteral("afterShortSides"), corners.size() - 1);
        R::removeExtraPoint(corners);
        stages.insert(QStringLiteral("afterStraightCorners"), corners.size() - 1);
        stages.insert(QStringLiteral("oneWay"), R::checkVectorDirection(corners));
        stages.insert(QStringLiteral("selfCrossing"), R::hasSelfIntersection(corners));
        stages.insert(QStringLiteral("cornerList"), pointArray(corners));
        return stages;
    }
};

namespace {

constexpr int kVertexLimit = 6;

struct Result
{
    int code = 0;
    QRectF rect;
    QVector<QPointF> points;
    QVector<QVector<QPointF>> connected;
};

Result classify(const QVector<QVector<QPointF>> &strokes)
{
    Result r;
    r.code = CFigureRecogniser::classifyScribble(strokes, r.rect, r.points, kVertexLimit, true, &r.connected);
    return r;
}


int printJson(const QVector<inkset::DataSet> &sets)
{
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return 1;
    for (const inkset::DataSet &set : sets) {
        for (const inkset::Scribble &scribble : set.scribbles) {
            const QVector<QVector<QPointF>> pixels = inkset::toPixels(scribble.strokes, set.scale);
            const Result r = classify(pixels);
            QJsonObject object;
            object.insert(QStringLiteral("set"), set.file);
            object.insert(QStringLiteral("id"), scribble.id);
            object.insert(QStringLiteral("label"), scribble.label);
            object.insert(QStringLiteral("strokes"), pixels.size());
            object.insert(QStringLiteral("joined"), r.connected.size());
            object.insert(QStringLiteral("code"), r.code);
            if (r.code == 102)
                object.insert(QStringLiteral("corners"), r.points.size());
            object.insert(QStringLiteral("rect"),
                          QJsonArray{r.rect.x(), r.rect.y(), r.rect.width(), r.rect.height()});
            if (r.code == 102)
                object.insert(QStringLiteral("points"), pointArray(r.points));
            object.insert(QStringLiteral("scale"), set.scale);
            object.insert(QStringLiteral("stages"), FigureRecogniserProbe::diagnose(pixels));
            out.write(QJsonDocument(object).toJson(QJsonDocument::Compact));
            out.write("\n");
        }
    }
    return 0;
}

// The recognised figure, in pixel coordinates of the scribble: drawn as wbutil
// and the whiteboard draw it, with the corners of a polygon marked.
void drawFigure(QPainter &painter, const Result &r)
{
    Recognition recognition;
    recognition.category = r.code;
    recognition.rect = r.rect;
    recognition.corners = r.points;
    Sheet::drawFigure(painter, recognition, r.connected);
    if (r.code == 102) {
        const double radius = 2.5 / painter.transform().m11();
        for (const QPointF &p : r.points)
            painter.drawEllipse(p, radius, radius);
    }
}

void drawCell(QPainter &painter, const QRectF &cell, const inkset::Scribble &scribble, double scale)
{
    const QVector<QVector<QPointF>> pixels = inkset::toPixels(scribble.strokes, scale);
    const Result r = classify(pixels);

    painter.save();
    painter.setPen(QColor(220, 220, 220));
    painter.drawRect(cell.adjusted(1, 1, -1, -1));
    QRectF box;
    for (const QVector<QPointF> &stroke : pixels) {
        for (const QPointF &p : stroke)
            box = box.isNull() ? QRectF(p, QSizeF(0.001, 0.001)) : box.united(QRectF(p, QSizeF(0.001, 0.001)));
    }
    if (r.code != 0 && r.code != 206)
        box = box.united(r.rect.normalized());
    const QRectF area = cell.adjusted(8, 8, -8, -22);
    const double fit = std::min(area.width() / std::max(box.width(), 1.0), area.height() / std::max(box.height(), 1.0));
    painter.translate(area.center());
    painter.scale(fit, fit);
    painter.translate(-box.center());
    painter.setRenderHint(QPainter::Antialiasing);

    QPen ink(QColor(150, 150, 150), 3.0 / fit, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(ink);
    for (const QVector<QPointF> &stroke : pixels)
        painter.drawPolyline(QPolygonF(stroke));
    QPen figure(QColor(200, 30, 30), 2.0 / fit, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(figure);
    painter.setBrush(Qt::NoBrush);
    drawFigure(painter, r);
    painter.restore();

    QString caption = QString::number(r.code);
    if (r.code == 102)
        caption += QStringLiteral("/%1").arg(r.points.size());
    painter.setPen(r.code == 0 ? QColor(120, 120, 120) : QColor(200, 30, 30));
    painter.drawText(cell.adjusted(4, 0, -4, -4), Qt::AlignBottom | Qt::AlignHCenter, caption);
}

// The ids file: "# caption" starts a row (" | " breaks the caption's lines), every
// other line is a scribble's id.
int drawSheet(const QVector<inkset::DataSet> &sets, const QString &output, const QString &idsFile)
{
    QHash<QString, QPair<const inkset::DataSet *, const inkset::Scribble *>> byId;
    for (const inkset::DataSet &set : sets) {
        for (const inkset::Scribble &scribble : set.scribbles)
            byId.insert(scribble.id, qMakePair(&set, &scribble));
    }
    QFile file(idsFile);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(idsFile));
        return 1;
    }
    struct Row
    {
        QString caption;
        QStringList ids;
    };
    QVector<Row> rows;
    QTextStream in(&file);
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith(QLatin1Char('#')))
            rows.append(Row{line.mid(1).trimmed().replace(QStringLiteral(" | "), QStringLiteral("\n")), {}});
        else if (!rows.isEmpty())
            rows.last().ids.append(line);
    }
    int columns = 0;
    for (const Row &row : rows)
        columns = std::max(columns, int(row.ids.size()));
    const int cell = 116;
    const int captionWidth = 150;
    const int rowsPerColumn = (rows.size() + 1) / 2;
    const int blockWidth = captionWidth + columns * cell;
    QImage image(2 * blockWidth + 10, rowsPerColumn * cell, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QFont font = painter.font();
    font.setPixelSize(12);
    painter.setFont(font);
    for (int k = 0; k < rows.size(); ++k) {
        const int x0 = (k / rowsPerColumn) * (blockWidth + 10);
        const int y0 = (k % rowsPerColumn) * cell;
        painter.setPen(Qt::black);
        painter.drawText(QRectF(x0 + 4, y0, captionWidth - 8, cell), Qt::AlignVCenter | Qt::TextWordWrap,
                         rows.at(k).caption);
        for (int c = 0; c < rows.at(k).ids.size(); ++c) {
            const auto found = byId.constFind(rows.at(k).ids.at(c));
            if (found == byId.constEnd())
                continue;
            drawCell(painter, QRectF(x0 + captionWidth + c * cell, y0, cell, cell), *found.value().second,
                     found.value().first->scale);
        }
    }
    painter.end();
    // Grey ink, red figures and white: a palette keeps the file small.
    const QImage indexed = image.convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither | Qt::AvoidDither);
    if (!indexed.save(output, "PNG", 0)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(output));
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3) {
        std::fprintf(stderr, "usage: %s <ink folder> --json | --sheet <out.png> <ids file>\n", argv[0]);
        return 2;
    }
    double medianPixels = inkset::kMedianFigurePixels;
    const int scaleOption = args.indexOf(QStringLiteral("--median-pixels"));
    if (scaleOption > 0 && scaleOption + 1 < args.size())
        medianPixels = args.at(scaleOption + 1).toDouble();
    QVector<inkset::DataSet> sets;
    QString error;
    if (!inkset::readAll(args.at(1), sets, &error, medianPixels)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    if (args.at(2) == QLatin1String("--json"))
        return printJson(sets);
    if (args.at(2) == QLatin1String("--sheet") && args.size() >= 5)
        return drawSheet(sets, args.at(3), args.at(4));
    std::fprintf(stderr, "unknown mode %s\n", qPrintable(args.at(2)));
    return 2;
}
