// Renders every sample metafile through CEmfToRasterUtil into one contact sheet,
// so that a person can judge the rendering at a glance. Built and run by
// scripts/metafile-sheet; see docs/imaging.md.
//
//   metafile-sheet <folder with emf/ and wmf/> <output.png>

#include <utility/emftorasterutil.h>

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QStringList>

#include <cstdio>

namespace {

constexpr int kCellWidth = 300;
constexpr int kCellHeight = 250;
constexpr int kLabelHeight = 34;
constexpr int kColumns = 5;

void drawChecker(QPainter &painter, const QRect &area)
{
    // Transparent parts of a picture show as the checkerboard.
    painter.save();
    painter.setClipRect(area);
    for (int y = area.top(); y < area.bottom(); y += 8)
        for (int x = area.left(); x < area.right(); x += 8)
            painter.fillRect(x, y, 8, 8, ((x - area.left()) / 8 + (y - area.top()) / 8) % 2 ? QColor(204, 204, 204) : Qt::white);
    painter.restore();
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: metafile-sheet <testdata folder> <output.png>\n");
        return 2;
    }
    const QString root = QString::fromLocal8Bit(argv[1]);
    QStringList files;
    for (const char *kind : {"emf", "wmf"}) {
        QDirIterator it(root + QLatin1Char('/') + QLatin1String(kind), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            files << it.next();
    }
    files.sort();

    const int rows = (int(files.size()) + kColumns - 1) / kColumns;
    QImage sheet(kColumns * kCellWidth, rows * (kCellHeight + kLabelHeight), QImage::Format_RGB32);
    sheet.fill(QColor(90, 90, 90));
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    QFont font(QStringLiteral("Liberation Sans"));
    font.setPixelSize(11);
    painter.setFont(font);

    for (int i = 0; i < files.size(); ++i) {
        const QString &path = files.at(i);
        const QRect cell((i % kColumns) * kCellWidth, (i / kColumns) * (kCellHeight + kLabelHeight), kCellWidth,
                         kCellHeight + kLabelHeight);
        const QRect picture = cell.adjusted(6, 6, -6, -kLabelHeight);
        QByteArray png;
        QSize size;
        QElapsedTimer timer;
        timer.start();
        const bool ok = CEmfToRasterUtil::loadEmfFile(path, png, &size, 1.0);
        const qint64 ms = timer.elapsed();
        QImage image;
        if (ok)
            image.loadFromData(png, "PNG");
        if (!image.isNull()) {
            drawChecker(painter, picture);
            const QSize fitted = image.size().scaled(picture.size(), Qt::KeepAspectRatio);
            QRect target(QPoint(0, 0), fitted);
            target.moveCenter(picture.center());
            painter.drawImage(target, image);
        } else {
            painter.fillRect(picture, QColor(120, 40, 40));
        }
        painter.setPen(Qt::white);
        const QString name = QFileInfo(path).dir().dirName() + QLatin1Char('/') + QFileInfo(path).fileName();
        const QString status = ok ? QStringLiteral("%1 x %2 px, %3 ms").arg(size.width()).arg(size.height()).arg(ms)
                                  : QStringLiteral("false (%1 ms)").arg(ms);
        painter.drawText(QRect(cell.left() + 6, picture.bottom() + 3, kCellWidth - 12, kLabelHeight - 4),
                         Qt::AlignLeft | Qt::AlignTop, name + QLatin1Char('\n') + status);
        std::printf("%-60s %s\n", qPrintable(name), qPrintable(status));
        std::fflush(stdout);
    }
    painter.end();
    return sheet.save(QString::fromLocal8Bit(argv[2])) ? 0 : 1;
}
