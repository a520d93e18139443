// Metafiles and SVG on arbitrary bytes: loaded from a scratch file as the
// library always loads them. Whatever the bytes, a successful load is within the
// library's pixel limits (and a metafile yields a PNG that Qt can read back).
#include "harness.h"

#include <utility/emftorasterutil.h>
#include <utility/imageutility.h>

#include <QFile>
#include <QImage>
#include <QPixmap>
#include <QTemporaryDir>

namespace Fuzz {

namespace {
QString writeScratch(const QTemporaryDir &dir, const char *name, const std::uint8_t *data, std::size_t size)
{
    const QString path = dir.filePath(QString::fromLatin1(name));
    QFile file(path);
    check(file.open(QIODevice::WriteOnly), "cannot write the scratch file");
    file.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    return path;
}
} // namespace

int metafiles(const std::uint8_t *data, std::size_t size)
{
    QTemporaryDir dir;
    const QString path = writeScratch(dir, "input.emf", data, size);
    QByteArray png;
    QSize pixels;
    if (CEmfToRasterUtil::loadEmfFile(path, png, &pixels, 1.0)) {
        const QImage image = QImage::fromData(png, "PNG");
        check(!image.isNull(), "a successful load gave no PNG");
        check(static_cast<qint64>(image.width()) * image.height() <= 64LL * 1024 * 1024, "an image beyond the pixel limit");
    }
    return 0;
}

int svgImages(const std::uint8_t *data, std::size_t size)
{
    QTemporaryDir dir;
    const QString path = writeScratch(dir, "input.svg", data, size);
    // An SVG renders at its own default size (the pixel budget is for raster
    // images), but never beyond the library's SVG limit.
    const QPixmap pixmap = Util::loadPixmapFromFile(path, 1000000);
    if (!pixmap.isNull())
        check(static_cast<qint64>(pixmap.width()) * pixmap.height() <= Util::kMaxSvgPixels, "an SVG beyond the pixel limit");
    return 0;
}

} // namespace Fuzz
