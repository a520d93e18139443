// A small whiteboard: draw with the mouse or a pen; after a short pause the
// scribble is recognised and, when it is a figure, replaced by the clean figure.
#include "whiteboardcanvas.h"

#include <QApplication>
#include <QMainWindow>
#include <QStatusBar>
#include <QToolBar>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QMainWindow window;
    auto *canvas = new WhiteboardCanvas;
    window.setCentralWidget(canvas);
    QToolBar *tools = window.addToolBar(QStringLiteral("Edit"));
    tools->addAction(QStringLiteral("Undo"), canvas, &WhiteboardCanvas::undo)->setShortcut(QKeySequence::Undo);
    tools->addAction(QStringLiteral("Clear"), canvas, &WhiteboardCanvas::clear);
    QObject::connect(canvas, &WhiteboardCanvas::recognised, &window, [&window](int category) {
        window.statusBar()->showMessage(QStringLiteral("%1: %2").arg(category).arg(Sheet::describe(category, 0)), 3000);
    });
    window.statusBar()->showMessage(QStringLiteral("Draw a line, a triangle, a square, a star or an ellipse"));
    window.resize(900, 650);
    window.show();
    return app.exec();
}
