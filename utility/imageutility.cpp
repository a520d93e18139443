#include <utility/imageutility.h>

#include <utility/emftorasterutil.h>

#include "qtcompat_p.h"
#include "trace_p.h"

#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QFontMetrics>
#include <QImageReader>
#include <QPainter>
#include <QSvgRenderer>
#include <QTextOption>

#include <cmath>
#include <limits>

namespace {

// A float-to-int conversion that truncates toward zero like a cast, but gives 0
// for what a cast would leave undefined (NaN, infinities, out of range).
int truncated(double value)
{
    if (!std::isfinite(value) || value >= double(std::numeric_limits<int>::max())
        || value <= double(std::numeric_limits<int>::min()))
        return 0;
    return int(value);
}

// Regular files only: a FIFO or a device would block the reader or never end.
bool isReadableFile(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() && info.isFile();
}

bool readSvgFile(const QString &path, QByteArray &contents)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    if (file.size() > Util::kMaxSvgFileBytes) {
        UTILITY_WARN("SVG file too large to read: ", path);
        return false;
    }
    contents = file.read(Util::kMaxSvgFileBytes);
    return true;
}

// False, with a warning, for a rendering of an absurd size.
bool svgSizeAcceptable(const QSize &size)
{
    if (qint64(size.width()) * size.height() <= Util::kMaxSvgPixels)
        return true;
    UTILITY_WARN("SVG image size exceeds the pixel limit: ", qint64(size.width()) * size.height());
    return false;
}

// What a decoded image of this size takes at most, from what the reader says
// about its format before decoding.
qint64 decodedBytes(const QSize &size, QImage::Format format)
{
    int bytesPerPixel = 4;
    if (format != QImage::Format_Invalid) {
        const int bits = QImage::toPixelFormat(format).bitsPerPixel();
        bytesPerPixel = qMax(bytesPerPixel, (bits + 7) / 8);
    }
    return qint64(size.width()) * size.height() * bytesPerPixel;
}

QImage decodeRaster(const QString &path)
{
    QImageReader reader(path);
    const QSize declared = reader.size();
    if (declared.isValid() && decodedBytes(declared, reader.imageFormat()) > Util::kMaxImageBytes) {
        UTILITY_WARN("Image too large to decode: ", path);
        return QImage();
    }
    QtCompat::setImageAllocationLimit(reader, int(Util::kMaxImageBytes / (1024 * 1024)));
    return reader.read();
}

QPixmap emptySwatch(const QSize &size)
{
    // Fully transparent: what installing an all-black alpha channel gave with
    // Qt 4's QPixmap::setAlphaChannel, which Qt 6 no longer has.
    QPixmap swatch(size);
    if (!swatch.isNull())
        swatch.fill(Qt::transparent);
    return swatch;
}

// From (0, 0) to (w - 1, h - 1) inclusive.
QRect wholeSwatch(const QSize &size)
{
    return QRect(QPoint(0, 0), QPoint(size.width() - 1, size.height() - 1));
}

} // namespace

QPixmap Util::loadPixmapFromFile(const QString &path, long maxPixels)
{
    UTILITY_TRACE_ENTER("Util::loadPixmapFromFile");
    QPixmap result;
    if (isReadableFile(path)) {
        const QString suffix = QFileInfo(path).suffix().toUpper();
        if (suffix == QLatin1String("SVG")) {
            QByteArray contents;
            if (readSvgFile(path, contents))
                result = pixmapFromSVGBuffer(contents, 1.0, nullptr);
        } else if (suffix == QLatin1String("WMF") || suffix == QLatin1String("EMF")) {
            QByteArray png;
            if (CEmfToRasterUtil::loadEmfFile(path, png, nullptr, 1.0))
                result.loadFromData(png);
        } else {
            QImage image = decodeRaster(path);
            if (!image.isNull()) {
                // In double: integer division, or single precision, does not give
                // 2000 x 1500 for 4000 x 3000 at three million pixels.
                const qint64 pixelCount = qint64(image.width()) * image.height();
                // A budget of 0 or less leaves nothing (the square root of a
                // negative budget would be NaN, which compares false).
                const double factor = maxPixels > 0 ? std::sqrt(double(maxPixels) / double(pixelCount)) : 0.0;
                if (factor < 1.0)
                    image = image.scaled(truncated(image.width() * factor), truncated(image.height() * factor),
                                         Qt::KeepAspectRatio, Qt::FastTransformation);
                result = QPixmap::fromImage(image);
            }
        }
    }
    UTILITY_TRACE_EXIT("Util::loadPixmapFromFile");
    return result;
}

QPixmap Util::pixmapFromSVGBuffer(const QByteArray &svg, double scale, const QRectF *rect)
{
    UTILITY_TRACE_ENTER("Util::pixmapFromSVGBuffer");
    QPixmap result;
    if (!svg.isEmpty()) {
        // The renderer lives for this call only (it needs no parent object).
        QSvgRenderer renderer(svg);
        // The scale applies to a given rectangle only; the default size is used as it is.
        const QSize size = rect ? QSize(truncated(rect->width() * scale), truncated(rect->height() * scale))
                                : renderer.defaultSize();
        if (renderer.isValid() && !size.isEmpty() && svgSizeAcceptable(size)) {
            QImage image(size, QImage::Format_ARGB32_Premultiplied);
            if (!image.isNull()) {
                image.fill(0);
                QPainter painter(&image);
                painter.setViewport(0, 0, size.width(), size.height());
                renderer.render(&painter);
                painter.end();
                result = QPixmap::fromImage(image);
            }
        }
    }
    UTILITY_TRACE_EXIT("Util::pixmapFromSVGBuffer");
    return result;
}

QImage Util::SVGtoImage(const QString &path)
{
    QByteArray contents;
    if (!isReadableFile(path) || !readSvgFile(path, contents))
        return QImage();
    QSvgRenderer renderer(contents);
    const QSize size = renderer.defaultSize();
    if (!renderer.isValid() || size.isEmpty() || !svgSizeAcceptable(size))
        return QImage();
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return image;
    // The raw value 3 (which is also Qt::white's number), not the colour white:
    // callers have always found this almost transparent blue in the background.
    image.fill(uint(3));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter);
    painter.end();
    return image;
}

QImage Util::WMFtoImage(const QString &path)
{
    QByteArray svg;
    if (!WMFToSVG(path, svg))
        return QImage();
    QSvgRenderer renderer(svg);
    const QSize size = renderer.defaultSize();
    if (!renderer.isValid() || size.isEmpty() || !svgSizeAcceptable(size))
        return QImage();
    QImage image(size, QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    // Cleared although the drawing is simply painted over it: uninitialised
    // pixels would hand out leftover heap memory wherever the drawing is empty.
    image.fill(0);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return image;
}

QImage Util::renderImageOnImage(QImage base, QImage overlay, QRectF where)
{
    QImage result(base.size(), QImage::Format_ARGB32);
    if (result.isNull())
        return QImage();
    // Transparent underneath, so that a transparent base stays transparent.
    result.fill(0);
    QPainter painter(&result);
    painter.drawImage(QPointF(0, 0), base);
    painter.drawImage(where.topLeft(), overlay);
    painter.end();
    return result;
}

QSize Util::calculateImageSize(QSize size, QSize maxSize)
{
    QSize result = size;
    if (size.width() > size.height()) {
        const double ratio = double(size.width()) / double(size.height());
        const int halfWidth = maxSize.width() / 2;
        if (size.width() > halfWidth)
            result = QSize(halfWidth, truncated(halfWidth / ratio));
    } else {
        const double ratio = double(size.height()) / double(size.width());
        const int halfHeight = maxSize.height() / 2;
        if (size.height() > halfHeight)
            result = QSize(truncated(halfHeight / ratio), halfHeight);
    }
    return result;
}

QBitmap Util::bitmapAlphaPixmap(QPixmap pixmap)
{
    QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
    const QRgb set = QColor(Qt::color1).rgba();
    const QRgb clear = QColor(Qt::color0).rgba();
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = (line[x] >> 24) > 0 ? set : clear; // the alpha byte
    }
    return QBitmap::fromImage(image);
}

QPixmap Util::createFillColourSwatch(const QColor &colour, const QSize &size)
{
    QPixmap swatch = emptySwatch(size);
    if (swatch.isNull())
        return swatch;
    QPainter painter(&swatch);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(wholeSwatch(size), QColor(0, 0, 0, 0));
    // The margin is on the top and left only; the colour reaches the right and
    // bottom edges. Toolbars line their swatches up on this.
    painter.fillRect(QRect(QPoint(2, 2), QPoint(size.width() - 1, size.height() - 1)), colour);
    painter.end();
    return swatch;
}

QPixmap Util::createTextColourSwatch(const QColor &colour, const QSize &size)
{
    UTILITY_TRACE_ENTER("Util::createTextColourSwatch");
    QPixmap swatch = emptySwatch(size);
    if (!swatch.isNull()) {
        QFont font(QStringLiteral("Arial"));
        font.setPointSizeF(size.height() * 0.5);
        font.setWeight(QFont::Bold); // weight 75 in Qt 5's scale, 700 in Qt 6's
        const QString letter = QStringLiteral("A");
        QRect box = QFontMetrics(font).boundingRect(letter);

        QPainter painter(&swatch);
        painter.setPen(colour);
        painter.setFont(font);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillRect(wholeSwatch(size), QColor(0, 0, 0, 0));
        box.moveCenter(QPoint((size.width() - 1) / 2, (size.height() - 1) / 2));
        painter.drawText(QRectF(box), letter, QTextOption());
        painter.end();
    }
    UTILITY_TRACE_EXIT("Util::createTextColourSwatch");
    return swatch;
}
