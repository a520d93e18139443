#include "sheet.h"

#include <QFont>
#include <QLineF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace Sheet {

QString describe(int category, int cornerCount)
{
    switch (category) {
    case 0: return QStringLiteral("handwriting");
    case 101: return QStringLiteral("closed curve");
    case 102:
        switch (cornerCount) {
        case 3: return QStringLiteral("triangle");
        case 4: return QStringLiteral("quadrangle");
        case 5: return QStringLiteral("pentagon or star");
        case 6: return QStringLiteral("hexagon");
        default: return QStringLiteral("polygon of %1 corners").arg(cornerCount);
        }
    case 103: return QStringLiteral("line");
    case 205: return QStringLiteral("horizontal line");
    case 114: return QStringLiteral("line with a barb");
    case 115: return QStringLiteral("three-segment line");
    case 203: return QStringLiteral("caret opening right");
    case 204: return QStringLiteral("caret opening left");
    case 206: return QStringLiteral("crossing lines");
    default: return QStringLiteral("unknown code %1").arg(category);
    }
}

void drawFigure(QPainter &painter, const Recognition &result, const StrokeList &strokes)
{
    const QRectF &r = result.rect;
    const QPointF from = r.topLeft();
    const QPointF to(r.left() + r.width(), r.top() + r.height());
    switch (result.category) {
    case 101:
        painter.drawEllipse(r.normalized());
        break;
    case 102:
        painter.drawPolygon(QPolygonF(result.corners));
        break;
    case 103:
    case 205:
    case 115:
        painter.drawLine(from, to);
        break;
    case 114: {
        // A line with a barb at its joint end: drawn as an arrow.
        painter.drawLine(from, to);
        const QLineF shaft(to, from);
        const double head = std::min(shaft.length() * 0.25, 40.0);
        for (const double turn : {30.0, -30.0}) {
            QLineF barb = shaft;
            barb.setLength(head);
            barb.setAngle(shaft.angle() + turn);
            painter.drawLine(barb);
        }
        break;
    }
    case 203:
    case 204: {
        const QRectF n = r.normalized();
        const double jointX = result.category == 203 ? n.left() : n.right();
        const double freeX = result.category == 203 ? n.right() : n.left();
        painter.drawPolyline(QPolygonF({QPointF(freeX, n.top()), QPointF(jointX, n.center().y()), QPointF(freeX, n.bottom())}));
        break;
    }
    case 206:
        for (const auto &stroke : strokes)
            if (stroke.size() >= 2)
                painter.drawLine(stroke.first(), stroke.last());
        break;
    default:
        break;
    }
}

QImage contactSheet(const QVector<InkScribble> &scribbles, const QVector<Recognition> &results, int columns, int cell)
{
    const int count = scribbles.size();
    const int rows = std::max(1, (count + columns - 1) / columns);
    const int caption = 30;
    QImage image(columns * cell, rows * (cell + caption), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font(QStringLiteral("Liberation Sans"));
    font.setPixelSize(11);
    painter.setFont(font);

    for (int i = 0; i < count; ++i) {
        const QRectF box((i % columns) * cell, (i / columns) * (cell + caption), cell, cell + caption);
        painter.setPen(QPen(QColor(220, 220, 220), 1));
        painter.drawRect(box.adjusted(0.5, 0.5, -0.5, -0.5));

        double left = HUGE_VAL, top = HUGE_VAL, right = -HUGE_VAL, bottom = -HUGE_VAL;
        for (const auto &stroke : scribbles[i].strokes) {
            for (const QPointF &p : stroke) {
                left = std::min(left, p.x());
                right = std::max(right, p.x());
                top = std::min(top, p.y());
                bottom = std::max(bottom, p.y());
            }
        }
        if (!(right >= left) || !(bottom >= top))
            continue;
        const double margin = 12;
        const double extent = std::max({right - left, bottom - top, 1.0});
        const double scale = (cell - 2 * margin) / extent;
        const QPointF centre((left + right) / 2, (top + bottom) / 2);

        painter.save();
        painter.translate(box.left() + cell / 2.0, box.top() + cell / 2.0);
        painter.scale(scale, scale);
        painter.translate(-centre);
        QPen ink(QColor(150, 150, 150), 2.0 / scale);
        ink.setCapStyle(Qt::RoundCap);
        ink.setJoinStyle(Qt::RoundJoin);
        painter.setPen(ink);
        for (const auto &stroke : scribbles[i].strokes)
            painter.drawPolyline(QPolygonF(stroke));
        if (i < results.size() && results[i].category != 0) {
            painter.setPen(QPen(QColor(20, 90, 220), 2.5 / scale));
            painter.setBrush(Qt::NoBrush);
            drawFigure(painter, results[i], scribbles[i].strokes);
        }
        painter.restore();

        const Recognition result = i < results.size() ? results[i] : Recognition();
        painter.setPen(Qt::black);
        const QString text = QStringLiteral("%1\n%2 %3").arg(scribbles[i].label)
                                 .arg(result.category)
                                 .arg(describe(result.category, result.corners.size()));
        painter.drawText(QRectF(box.left() + 4, box.top() + cell - 6, cell - 8, caption + 6),
                         Qt::AlignLeft | Qt::AlignTop, text);
    }
    return image;
}

} // namespace Sheet
