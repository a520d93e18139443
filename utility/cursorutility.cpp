#include <utility/cursorutility.h>

#include "trace_p.h"

#include <QCursor>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QPixmap>

namespace {

constexpr int kMaxCursorDimension = 1024;

// The file's PNG image, or a null pixmap. Only PNG is accepted, whatever the
// content would otherwise be sniffed as, and the declared size is checked first.
QPixmap readCursorPixmap(const QString &path)
{
    QImageReader reader(path, QByteArrayLiteral("PNG"));
    reader.setAutoDetectImageFormat(false);
    const QSize declared = reader.size();
    if (!declared.isValid() || declared.width() > kMaxCursorDimension
        || declared.height() > kMaxCursorDimension)
        return QPixmap();
    const QImage image = reader.read();
    return image.isNull() ? QPixmap() : QPixmap::fromImage(image);
}

} // namespace

QCursor *CCursorUtilities::loadCursor(const QString &baseName, const QPoint &hotSpot)
{
    UTILITY_TRACE_ENTER("CCursorUtilities::loadCursor");
    QCursor *cursor = nullptr;
    if (!baseName.isEmpty()) {
        const QString path = baseName + QStringLiteral(".png");
        const QFileInfo info(path);
        if (info.exists() && info.isFile() && info.isReadable()) {
            const QPixmap pixmap = readCursorPixmap(path);
            if (!pixmap.isNull())
                cursor = new QCursor(pixmap, hotSpot.x(), hotSpot.y());
        }
    }
    UTILITY_TRACE_EXIT("CCursorUtilities::loadCursor");
    return cursor;
}
