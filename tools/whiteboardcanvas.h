#ifndef UTILITY_TOOLS_WHITEBOARDCANVAS_H
#define UTILITY_TOOLS_WHITEBOARDCANVAS_H

#include "sheet.h"

#include <QTimer>
#include <QVector>
#include <QWidget>

// A whiteboard in miniature: strokes drawn with the mouse or a pen are gathered
// into a scribble until the pen rests for a moment; the scribble is then
// classified, and when it is a figure its ink is replaced by the clean figure.
// Ctrl+Z undoes the last change (a stroke, or a replacement).
class WhiteboardCanvas : public QWidget
{
    Q_OBJECT

public:
    explicit WhiteboardCanvas(QWidget *parent = nullptr);

    // How long the pen must rest before the pending strokes are classified.
    // Strokes started within that time join the same scribble (a crossing pair, a
    // shaft and its barb).
    void setGroupingDelay(int milliseconds) { m_grouping.setInterval(milliseconds); }

    struct Item
    {
        QVector<QVector<QPointF>> strokes;   // the ink as drawn
        Recognition figure;                 // category 0: still ink
    };
    const QVector<Item> &items() const { return m_items; }

public Q_SLOTS:
    void recogniseNow();
    void undo();
    void clear();

Q_SIGNALS:
    void recognised(int category);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void remember();

    QVector<Item> m_items;
    QVector<QVector<QPointF>> m_pending;
    QVector<QPointF> m_current;
    bool m_drawing = false;
    QVector<QVector<Item>> m_undo;
    QTimer m_grouping;
};

#endif // UTILITY_TOOLS_WHITEBOARDCANVAS_H
