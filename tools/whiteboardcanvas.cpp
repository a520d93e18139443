#include "whiteboardcanvas.h"

#include <utility/figurerecogniser.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace {

QPointF position(const QMouseEvent *event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return event->position();
#else
    return event->localPos();
#endif
}

void drawInk(QPainter &painter, const QVector<QVector<QPointF>> &strokes)
{
    for (const auto &stroke : strokes) {
        if (stroke.size() == 1)
            painter.drawPoint(stroke.first());
        else
            painter.drawPolyline(QPolygonF(stroke));
    }
}

} // namespace

WhiteboardCanvas::WhiteboardCanvas(QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(480, 360);
    m_grouping.setSingleShot(true);
    m_grouping.setInterval(600);
    connect(&m_grouping, &QTimer::timeout, this, &WhiteboardCanvas::recogniseNow);
}

void WhiteboardCanvas::remember()
{
    QVector<Item> state = m_items;
    for (const auto &stroke : m_pending)
        state.append({{stroke}, Recognition()});
    m_undo.append(state);
}

void WhiteboardCanvas::recogniseNow()
{
    m_grouping.stop();
    if (m_pending.isEmpty())
        return;
    Item item{m_pending, Recognition()};
    m_pending.clear();
    item.figure.category = CFigureRecogniser::classifyScribble(item.strokes, item.figure.rect, item.figure.corners, 6, true, nullptr);
    if (item.figure.category != 102)
        item.figure.corners.clear();
    if (item.figure.category != 0) {
        m_items.append(item);
    } else {
        // Handwriting stays ink, stroke by stroke, so that undo takes one at a time.
        for (const auto &stroke : item.strokes)
            m_items.append({{stroke}, Recognition()});
    }
    emit recognised(item.figure.category);
    update();
}

void WhiteboardCanvas::undo()
{
    m_grouping.stop();
    m_pending.clear();
    if (!m_undo.isEmpty())
        m_items = m_undo.takeLast();
    update();
}

void WhiteboardCanvas::clear()
{
    remember();
    m_items.clear();
    m_pending.clear();
    update();
}

void WhiteboardCanvas::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen ink(QColor(40, 40, 40), 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    QPen figure(QColor(20, 90, 220), 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    for (const Item &item : m_items) {
        if (item.figure.category == 0) {
            painter.setPen(ink);
            drawInk(painter, item.strokes);
        } else {
            painter.setPen(figure);
            painter.setBrush(Qt::NoBrush);
            Sheet::drawFigure(painter, item.figure, item.strokes);
        }
    }
    painter.setPen(ink);
    drawInk(painter, m_pending);
    if (m_drawing)
        drawInk(painter, {m_current});
}

void WhiteboardCanvas::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_grouping.stop();
    if (m_pending.isEmpty())
        remember();
    m_drawing = true;
    m_current = {position(event)};
}

void WhiteboardCanvas::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_drawing)
        return;
    const QPointF p = position(event);
    if (m_current.last() != p)
        m_current.append(p);
    update();
}

void WhiteboardCanvas::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_drawing || event->button() != Qt::LeftButton)
        return;
    m_drawing = false;
    m_pending.append(m_current);
    m_current.clear();
    m_grouping.start();
    update();
}

void WhiteboardCanvas::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Undo))
        undo();
    else
        QWidget::keyPressEvent(event);
}
