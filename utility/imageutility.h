#ifndef UTILITY_IMAGEUTILITY_H
#define UTILITY_IMAGEUTILITY_H

#include <utility/utility_export.h>

#include <QBitmap>
#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QtGlobal>

// Turning picture files and buffers into Qt images, and two kinds of colour
// swatch. Everything here paints, so it runs on the GUI thread of an application
// that has a QGuiApplication (or QApplication).
//
// Pictures come from outside and are treated as hostile: a raster image is
// measured (QImageReader::size()) before it is decoded, and refused when its
// pixels would take more than kMaxImageBytes; an SVG document is refused when
// its size would need more than kMaxSvgPixels. The limits are the same on Qt 5
// and Qt 6 (Qt 6's own allocation limit, which QT_IMAGEIO_MAXALLOC can lift, is
// set to kMaxImageBytes for these reads; Qt 5 has none). Refusals are warnings.
namespace Util {

// The most a decoded raster image may take: 256 MiB, counted at 4 bytes per
// pixel (8 for formats with 16 bits per channel).
constexpr qint64 kMaxImageBytes = Q_INT64_C(256) * 1024 * 1024;
// The largest SVG rendering: 64 million pixels (256 MiB as 32-bit ARGB).
constexpr qint64 kMaxSvgPixels = kMaxImageBytes / 4;
// SVG files larger than this are not read (64 MiB).
constexpr qint64 kMaxSvgFileBytes = Q_INT64_C(64) * 1024 * 1024;

// The picture at path, or a null pixmap when there is no such file or it cannot
// be loaded. The route depends on the suffix, whatever its case: "svg" is drawn
// at the document's default size (maxPixels does not apply), "wmf" and "emf" go
// through CEmfToRasterUtil at scale 1.0, anything else is decoded by Qt and then
// reduced to at most maxPixels pixels (a budget of pixels, not a side length: a
// 4000 x 3000 photograph with a budget of 3,000,000 becomes 2000 x 1500). A
// budget of 0 or less reduces every raster image to nothing.
UTILITY_EXPORT QPixmap loadPixmapFromFile(const QString &path, long maxPixels);

// SVG text drawn on a transparent pixmap. Without rect the pixmap has the
// document's default size and scale is not used at all; with rect it measures
// rect's size times scale, truncated. Null for empty or unusable SVG.
UTILITY_EXPORT QPixmap pixmapFromSVGBuffer(const QByteArray &svg, double scale, const QRectF *rect);

// The SVG file at path drawn at its default size onto an image prefilled with
// the raw pixel value 3 (an almost transparent blue, which callers rely on).
UTILITY_EXPORT QImage SVGtoImage(const QString &path);

// The Windows metafile at path converted with WMFToSVG and drawn at the SVG's
// default size onto a transparent 32-bit ARGB image.
UTILITY_EXPORT QImage WMFtoImage(const QString &path);

// A 32-bit ARGB copy of base with overlay drawn at its own size with its top
// left corner at where's top left (where's size is not used).
UTILITY_EXPORT QImage renderImageOnImage(QImage base, QImage overlay, QRectF where);

// A preview size: a picture whose longer side exceeds half of the space along
// that side is reduced, keeping its proportions, to that half. Only the longer
// side is compared (a square counts as tall).
UTILITY_EXPORT QSize calculateImageSize(QSize size, QSize maxSize);

// A one-bit mask with Qt::color1 where the pixmap has any opacity at all.
UTILITY_EXPORT QBitmap bitmapAlphaPixmap(QPixmap pixmap);

// A transparent pixmap of size with a rectangle of colour from (2, 2) to the
// bottom right corner: the two-pixel margin is on the top and left sides only.
UTILITY_EXPORT QPixmap createFillColourSwatch(const QColor &colour, const QSize &size);

// A transparent pixmap of size with a bold Arial "A" in colour, at half the
// height in points, centred on ((width - 1) / 2, (height - 1) / 2).
UTILITY_EXPORT QPixmap createTextColourSwatch(const QColor &colour, const QSize &size);

} // namespace Util

#endif // UTILITY_IMAGEUTILITY_H
