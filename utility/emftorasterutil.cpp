#include <utility/emftorasterutil.h>

#include "emftorasterutil_p.h"
#include "trace_p.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QSvgRenderer>
#include <QtEndian>

#include <cctype>
#include <cmath>
#include <limits>

Metafile::Kind Metafile::kindOf(const QByteArray &data)
{
    const auto word = [&data](int offset) {
        return qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(data.constData()) + offset);
    };
    if (data.size() >= 44 && word(40) == 0x464D4520u)
        return Kind::Enhanced;
    if (data.size() >= 4 && word(0) == 0x9AC6CDD7u)
        return Kind::Placeable;
    return Kind::Plain;
}

qint64 Metafile::mulDiv(qint64 value, qint64 numerator, qint64 denominator)
{
    if (denominator == 0)
        return -1;
    if (denominator < 0) {
        value = -value;
        denominator = -denominator;
    }
    // Callers pass 32-bit coordinates (or their differences) and small factors,
    // so the product cannot overflow 64 bits.
    const qint64 product = value * numerator;
    const qint64 half = denominator / 2;
    const qint64 result = (product >= 0 ? product + half : product - half) / denominator;
    if (result > std::numeric_limits<qint32>::max() || result < -std::numeric_limits<qint32>::max())
        return -1;
    return result;
}

QByteArray Metafile::withRoot(const QByteArray &svg, qint64 width, qint64 height, const QRectF &viewBox,
                              const QByteArray &extraAttributes)
{
    int start = svg.indexOf("<svg");
    while (start >= 0 && start + 4 < svg.size() && !std::isspace(uchar(svg.at(start + 4)))
           && svg.at(start + 4) != '>')
        start = svg.indexOf("<svg", start + 4);
    const int end = start >= 0 ? svg.indexOf('>', start) : -1;
    if (end < 0)
        return QByteArray();
    const bool empty = svg.at(end - 1) == '/';
    const auto number = [](double value) { return QByteArray::number(value, 'g', 12); };
    QByteArray root = "<svg xmlns=\"http://www.w3.org/2000/svg\" "
                      "xmlns:xlink=\"http://www.w3.org/1999/xlink\" version=\"1.1\" width=\"";
    root += QByteArray::number(width) + "\" height=\"" + QByteArray::number(height)
            + "\" viewBox=\"" + number(viewBox.x()) + ' ' + number(viewBox.y()) + ' '
            + number(viewBox.width()) + ' ' + number(viewBox.height())
            + "\" preserveAspectRatio=\"none\"" + extraAttributes + (empty ? "/>" : ">");
    return svg.left(start) + root + svg.mid(end + 1);
}

namespace {

enum class Outcome { Converted, Failed, Unsupported };

bool readMetafile(const QString &path, QByteArray &data)
{
    // Regular files only: opening a FIFO or a device would block or never end.
    if (!QFileInfo(path).isFile())
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 length = file.size();
    if (length > CEmfToRasterUtil::ms_maxFileBytes) {
        UTILITY_WARN("Metafile too large to read: ", path);
        return false;
    }
    data = file.read(CEmfToRasterUtil::ms_maxFileBytes + 1);
    return data.size() == length && length > 0;
}

Outcome convert(const QByteArray &data, Metafile::Picture &picture)
{
    switch (Metafile::kindOf(data)) {
    case Metafile::Kind::Enhanced:
        switch (Metafile::convertEnhanced(data, picture)) {
        case Metafile::Result::Ok:
            return Outcome::Converted;
        case Metafile::Result::EmfPlusOnly:
            return Outcome::Unsupported;
        case Metafile::Result::Failed:
            return Outcome::Failed;
        }
        return Outcome::Failed;
    case Metafile::Kind::Placeable:
    case Metafile::Kind::Plain:
        return Metafile::convertWindows(data, picture) ? Outcome::Converted : Outcome::Failed;
    }
    return Outcome::Failed;
}

// Truncates toward zero like a float-to-int cast, but refuses what does not fit.
bool truncatedSide(double value, int &side)
{
    if (!std::isfinite(value))
        return false;
    const double truncated = std::trunc(value);
    if (truncated < 1.0 || truncated > double(std::numeric_limits<int>::max()))
        return false;
    side = int(truncated);
    return true;
}

bool rasterise(const QByteArray &svg, const QSize &target, QByteArray &out)
{
    QSvgRenderer renderer(svg);
    if (!renderer.isValid())
        return false;

    // Thin lines and text edges come out much better from a reduction than from
    // antialiasing alone, so pictures of moderate size are drawn at twice the size.
    const bool supersample = 4 * qint64(target.width()) * target.height()
                             < CEmfToRasterUtil::ms_supersampleLimit;
    const QSize renderSize = supersample ? target * 2 : target;

    QImage image(renderSize, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return false; // out of memory
    // Whatever the drawing does not touch stays fully transparent.
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(renderSize)));
    }
    if (supersample)
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);

    QByteArray png;
    QBuffer buffer(&png);
    if (!buffer.open(QIODevice::WriteOnly))
        return false;
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image))
        return false;
    buffer.close();
    out = png;
    return true;
}

// Reads the metafile at path and converts it to SVG; says why when the file
// holds nothing that can be drawn.
bool loadPicture(const QString &path, Metafile::Picture &picture)
{
    QByteArray data;
    if (!readMetafile(path, data))
        return false;
    const Outcome outcome = convert(data, picture);
    if (outcome == Outcome::Unsupported)
        UTILITY_WARN("Metafile holds only EMF+ records, which cannot be drawn: ", path);
    return outcome == Outcome::Converted;
}

} // namespace

bool CEmfToRasterUtil::loadEmfFile(const QString &path, QByteArray &out, QSize *size, double scale)
{
    UTILITY_TRACE_ENTER("CEmfToRasterUtil::loadEmfFile");
    bool ok = false;
    Metafile::Picture picture;
    if (loadPicture(path, picture)) {
        int width = 0;
        int height = 0;
        if (truncatedSide(double(picture.width) * scale, width) && truncatedSide(double(picture.height) * scale, height)) {
            if (size)
                *size = QSize(width, height);
            if (qint64(width) * height > ms_maxPixelCount)
                UTILITY_WARN("Metafile picture exceeds the pixel limit: ", path);
            else
                ok = rasterise(picture.svg, QSize(width, height), out);
        }
    }
    UTILITY_TRACE_RESULT("CEmfToRasterUtil::loadEmfFile", ok);
    return ok;
}

bool WMFToSVG(const QString &path, QByteArray &svg)
{
    UTILITY_TRACE_ENTER("WMFToSVG");
    Metafile::Picture picture;
    const bool ok = loadPicture(path, picture);
    if (ok)
        svg = picture.svg;
    UTILITY_TRACE_RESULT("WMFToSVG", ok);
    return ok;
}
