// The whiteboard demo driven as a person would: mouse events on the offscreen
// platform draw a wobbly square; after recognition the canvas must show a clean
// square where the ink was, and undo must bring the ink back.
#ifdef UTILITY_TESTS_HAVE_CANVAS

#include "whiteboardcanvas.h"

#include <QApplication>
#include <QMouseEvent>

#include <gtest/gtest.h>

#include <cmath>

namespace {

void send(QWidget &widget, QEvent::Type type, const QPointF &p, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, p, widget.mapToGlobal(p.toPoint()), Qt::LeftButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
}

void drawStroke(QWidget &widget, const QVector<QPointF> &points)
{
    send(widget, QEvent::MouseButtonPress, points.first(), Qt::LeftButton);
    for (int i = 1; i < points.size(); ++i)
        send(widget, QEvent::MouseMove, points[i], Qt::LeftButton);
    send(widget, QEvent::MouseButtonRelease, points.last(), Qt::NoButton);
}

// A hand-drawn square: corners at 100..300, a small wobble, and an overshoot
// past the start.
QVector<QPointF> wobblySquare()
{
    const QVector<QPointF> corners = {{100, 100}, {300, 102}, {298, 300}, {102, 298}, {100, 100}, {130, 100}};
    QVector<QPointF> points;
    for (int c = 0; c + 1 < corners.size(); ++c) {
        for (int step = 0; step < 20; ++step) {
            const double t = step / 20.0;
            const QPointF p = corners[c] + (corners[c + 1] - corners[c]) * t;
            points.append(p + QPointF(std::sin(step * 1.7) * 1.5, std::cos(step * 2.3) * 1.5));
        }
    }
    points.append(corners.last());
    return points;
}

bool isFigureBlue(QRgb pixel)
{
    return qBlue(pixel) > 150 && qRed(pixel) < 120;
}

} // namespace

TEST(WhiteboardCanvas, DrawnSquareBecomesASquareAndUndoRestoresTheInk)
{
    WhiteboardCanvas canvas;
    canvas.resize(400, 400);
    canvas.show();
    drawStroke(canvas, wobblySquare());
    canvas.recogniseNow();

    ASSERT_EQ(canvas.items().size(), 1);
    const WhiteboardCanvas::Item &item = canvas.items().first();
    ASSERT_EQ(item.figure.category, 102);
    ASSERT_EQ(item.figure.corners.size(), 4);

    const QImage image = canvas.grab().toImage();
    // The clean figure's edges are drawn in the figure colour: look at the middle
    // of each side of the recognised corner list.
    const QVector<QPointF> &corners = item.figure.corners;
    for (int i = 0; i < corners.size(); ++i) {
        const QPointF middle = (corners[i] + corners[(i + 1) % corners.size()]) / 2;
        EXPECT_TRUE(isFigureBlue(image.pixel(middle.toPoint()))) << "side " << i;
    }
    // The sides are straight and square: horizontal and vertical within a pixel or two.
    const QRectF bounds = QPolygonF(corners).boundingRect();
    EXPECT_NEAR(bounds.width(), bounds.height(), 4.0);
    EXPECT_NEAR(bounds.width(), 200.0, 10.0);

    canvas.undo();
    EXPECT_TRUE(canvas.items().isEmpty());
}

TEST(WhiteboardCanvas, HandwritingStaysInk)
{
    WhiteboardCanvas canvas;
    canvas.resize(400, 400);
    canvas.show();
    QVector<QPointF> scrawl;
    for (int i = 0; i < 60; ++i)
        scrawl.append(QPointF(100 + i * 3, 200 + 40 * std::sin(i * 0.9)));
    drawStroke(canvas, scrawl);
    canvas.recogniseNow();
    for (const auto &item : canvas.items())
        EXPECT_EQ(item.figure.category, 0);
}

#endif // UTILITY_TESTS_HAVE_CANVAS
