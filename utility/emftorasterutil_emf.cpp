// Enhanced metafiles: checked record by record with libUEMF, then converted to SVG
// by libemf2svg. Both libraries read the records in place, so everything here
// works on a private, zero-padded copy of the file.
//
// The two libraries are loaded at run time with local symbol binding: libUEMF
// exports a wmf_free of its own, which in the global scope would capture libwmf's
// calls to libwmflite's function of that name.

#include "emftorasterutil_p.h"
#include "trace_p.h"

#include <QLibrary>
#include <QMutex>
#include <QMutexLocker>
#include <QRect>

#include <emf2svg.h>
#include <uemf.h>
#include <uemf_endian.h>
#include <uemf_safe.h>

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

#ifndef UTILITY_EMF2SVG_LIBRARY
#define UTILITY_EMF2SVG_LIBRARY "libemf2svg.so.1"
#endif

namespace {

struct Converter
{
    decltype(&::emf2svg) convert = nullptr;
    decltype(&::emf2svg_is_emfplus) isEmfPlus = nullptr;
    decltype(&::U_emf_record_sizeok) recordSizeOk = nullptr;
    decltype(&::U_emf_record_safe) recordSafe = nullptr;

    bool isLoaded() const { return convert && isEmfPlus && recordSizeOk && recordSafe; }
};

// Loaded once and kept for the life of the process; libUEMF comes in as
// libemf2svg's dependency and is reached through the same handle.
const Converter &converter()
{
    static const Converter loaded = [] {
        Converter c;
        static QLibrary library(QStringLiteral(UTILITY_EMF2SVG_LIBRARY));
        library.setLoadHints(QLibrary::ResolveAllSymbolsHint);
        if (!library.load()) {
            UTILITY_WARN("Cannot load libemf2svg, enhanced metafiles cannot be drawn: ", library.errorString());
            return c;
        }
        c.convert = reinterpret_cast<decltype(c.convert)>(library.resolve("emf2svg"));
        c.isEmfPlus = reinterpret_cast<decltype(c.isEmfPlus)>(library.resolve("emf2svg_is_emfplus"));
        c.recordSizeOk = reinterpret_cast<decltype(c.recordSizeOk)>(library.resolve("U_emf_record_sizeok"));
        c.recordSafe = reinterpret_cast<decltype(c.recordSafe)>(library.resolve("U_emf_record_safe"));
        return c;
    }();
    return loaded;
}

static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN,
              "libUEMF and libemf2svg read the little-endian records in place");
// U_emf_record_sizeok swaps the size and type it reads unless told that the record
// is already in the machine's byte order.
constexpr int kRecordInNativeOrder = 1;

// Records that put something on the page. A file with EMF+ records and none of
// these is an EMF+-only file: libemf2svg would give an empty picture for it.
bool isDrawingRecord(uint32_t type)
{
    switch (type) {
    case U_EMR_POLYBEZIER: case U_EMR_POLYGON: case U_EMR_POLYLINE:
    case U_EMR_POLYBEZIERTO: case U_EMR_POLYLINETO: case U_EMR_POLYPOLYLINE:
    case U_EMR_POLYPOLYGON: case U_EMR_SETPIXELV: case U_EMR_ANGLEARC:
    case U_EMR_ELLIPSE: case U_EMR_RECTANGLE: case U_EMR_ROUNDRECT: case U_EMR_ARC:
    case U_EMR_CHORD: case U_EMR_PIE: case U_EMR_EXTFLOODFILL: case U_EMR_LINETO:
    case U_EMR_ARCTO: case U_EMR_POLYDRAW: case U_EMR_FILLPATH:
    case U_EMR_STROKEANDFILLPATH: case U_EMR_STROKEPATH: case U_EMR_FILLRGN:
    case U_EMR_FRAMERGN: case U_EMR_INVERTRGN: case U_EMR_PAINTRGN: case U_EMR_BITBLT:
    case U_EMR_STRETCHBLT: case U_EMR_MASKBLT: case U_EMR_PLGBLT:
    case U_EMR_SETDIBITSTODEVICE: case U_EMR_STRETCHDIBITS: case U_EMR_EXTTEXTOUTA:
    case U_EMR_EXTTEXTOUTW: case U_EMR_POLYBEZIER16: case U_EMR_POLYGON16:
    case U_EMR_POLYLINE16: case U_EMR_POLYBEZIERTO16: case U_EMR_POLYLINETO16:
    case U_EMR_POLYPOLYLINE16: case U_EMR_POLYPOLYGON16: case U_EMR_POLYDRAW16:
    case U_EMR_POLYTEXTOUTA: case U_EMR_POLYTEXTOUTW: case U_EMR_SMALLTEXTOUT:
    case U_EMR_ALPHABLEND: case U_EMR_TRANSPARENTBLT: case U_EMR_GRADIENTFILL:
        return true;
    default:
        return false;
    }
}

// Records that libemf2svg passes over without reading a byte past their header.
// libUEMF has no checks for most of them and refuses those shorter than 2048
// bytes, which would reject valid files (SETTEXTJUSTIFICATION, for instance), so
// for these it is enough that the record lies inside the file.
bool isSkippedByConverter(uint32_t type)
{
    switch (type) {
    case U_EMR_UNDEF69: case U_EMR_POLYTEXTOUTA: case U_EMR_POLYTEXTOUTW:
    case U_EMR_GLSRECORD: case U_EMR_GLSBOUNDEDRECORD: case U_EMR_DRAWESCAPE:
    case U_EMR_EXTESCAPE: case U_EMR_UNDEF107: case U_EMR_FORCEUFIMAPPING:
    case U_EMR_NAMEDESCAPE: case U_EMR_COLORCORRECTPALETTE: case U_EMR_SETICMPROFILEA:
    case U_EMR_SETICMPROFILEW: case U_EMR_UNDEF117: case U_EMR_SETLINKEDUFIS:
    case U_EMR_SETTEXTJUSTIFICATION: case U_EMR_COLORMATCHTOTARGETW:
        return true;
    default:
        return type == 0 || type > U_EMR_MAX;
    }
}

// Where a text record keeps its characters.
struct TextSpan
{
    quint64 begin = 0;     // offset of the first character in the record
    quint64 end = 0;       // one past the last character
    quint32 charBytes = 1; // 1 for 8-bit text, 2 for UTF-16
    quint32 offDxAt = 0;   // where an EXTTEXTOUT record keeps offDx (0: none)
};

// The characters of EXTTEXTOUTA/W and SMALLTEXTOUT records, or false for other
// records and for a fixed part that does not fit the record.
bool textSpan(const char *record, quint32 size, uint32_t type, TextSpan &span)
{
    if (type == U_EMR_EXTTEXTOUTA || type == U_EMR_EXTTEXTOUTW) {
        if (size < sizeof(U_EMREXTTEXTOUTA))
            return false;
        U_EMREXTTEXTOUTA text;
        std::memcpy(&text, record, sizeof text);
        span.offDxAt = quint32(sizeof text) + ((text.emrtext.fOptions & U_ETO_NO_RECT) ? 0 : quint32(sizeof(U_RECTL)));
        span.charBytes = type == U_EMR_EXTTEXTOUTW ? 2 : 1;
        span.begin = text.emrtext.offString;
        span.end = span.begin + quint64(text.emrtext.nChars) * span.charBytes;
        return quint64(span.offDxAt) + 4 <= size;
    }
    if (type == U_EMR_SMALLTEXTOUT) {
        if (size < sizeof(U_EMRSMALLTEXTOUT))
            return false;
        U_EMRSMALLTEXTOUT text;
        std::memcpy(&text, record, sizeof text);
        span.charBytes = (text.fuOptions & U_ETO_SMALL_CHARS) ? 1 : 2;
        span.begin = sizeof text + ((text.fuOptions & U_ETO_NO_RECT) ? 0 : sizeof(U_RECTL));
        span.end = span.begin + quint64(text.cChars) * span.charBytes;
        return true;
    }
    return false;
}

// Two kinds of valid text record fail libUEMF's safety test although libemf2svg
// reads nothing outside them:
//  - a text record without spacing array (offDx 0), which some writers produce;
//    libemf2svg never reads the array. The record is accepted when a copy with a
//    zeroed array of its own passes every other test.
//  - a SMALLTEXTOUT record with 8-bit characters, which libUEMF measures as if
//    they were 16-bit. Here it is enough that the characters fit the record.
bool textSafeAnyway(const char *record, quint32 size, uint32_t type)
{
    TextSpan span;
    if (!textSpan(record, size, type, span) || span.end > size)
        return false;
    if (type == U_EMR_SMALLTEXTOUT)
        return true;
    quint32 offDx = 0;
    std::memcpy(&offDx, record + span.offDxAt, sizeof offDx);
    if (offDx != 0)
        return false;
    const quint64 chars = (span.end - span.begin) / span.charBytes;
    QByteArray copy(record, int(size));
    copy.append(QByteArray(int(chars * 4), '\0'));
    const quint32 grownSize = quint32(copy.size());
    std::memcpy(copy.data() + offsetof(U_EMR, nSize), &grownSize, sizeof grownSize);
    std::memcpy(copy.data() + span.offDxAt, &size, sizeof size);
    return converter().recordSafe(copy.constData()) != 0;
}

struct Scan
{
    int end = 0;        // one past the end-of-file record
    bool draws = false; // some record draws with GDI
};

// Walks the whole record chain: every record must lie inside the file, be at
// least as long as its type requires and pass libUEMF's safety test for its type;
// the first record is the only header and an end-of-file record closes the chain.
bool scanRecords(const QByteArray &data, Scan &scan)
{
    const char *begin = data.constData();
    const char *limit = begin + data.size();
    int offset = 0;
    while (offset < data.size()) {
        const char *record = begin + offset;
        if (data.size() - offset < int(sizeof(U_EMR)))
            return false;
        U_EMR header;
        std::memcpy(&header, record, sizeof header);
        uint32_t size = header.nSize;
        uint32_t type = header.iType;
        if (size < sizeof(U_EMR) || size % 4 != 0 || size > quint32(data.size() - offset)
            || (offset == 0) != (type == U_EMR_HEADER))
            return false;
        if (!isSkippedByConverter(type)) {
            if (!converter().recordSizeOk(record, limit, &size, &type, kRecordInNativeOrder))
                return false;
            if (!converter().recordSafe(record) && !textSafeAnyway(record, size, type))
                return false;
        }
        scan.draws = scan.draws || isDrawingRecord(type);
        offset += int(size);
        if (type == U_EMR_EOF) {
            scan.end = offset;
            return true;
        }
    }
    return false;
}

// The copy handed to libemf2svg: the checked records, every text ended by a NUL
// character (libemf2svg reads single-byte strings up to a NUL and rewrites them in
// place, which would otherwise run on into the following record), then padding.
QByteArray workingCopy(const QByteArray &data, int end)
{
    QByteArray work;
    work.reserve(end + end / 8 + Metafile::kPadding);
    int offset = 0;
    while (offset < end) {
        const char *record = data.constData() + offset;
        U_EMR header;
        std::memcpy(&header, record, sizeof header);
        const int start = work.size();
        work.append(record, int(header.nSize));
        TextSpan span;
        if (textSpan(record, header.nSize, header.iType, span) && span.end <= header.nSize) {
            if (span.end + span.charBytes <= header.nSize) {
                for (quint32 i = 0; i < span.charBytes; ++i)
                    work[start + int(span.end + i)] = '\0';
            } else {
                work.append(4, '\0');
                const quint32 grownSize = header.nSize + 4;
                std::memcpy(work.data() + start + offsetof(U_EMR, nSize), &grownSize, sizeof grownSize);
            }
        }
        offset += int(header.nSize);
    }
    return work;
}

// libemf2svg writes text elements of size 0 (for text records without characters,
// which only paint their rectangle, and for fonts it could not size). They draw
// nothing, and Qt warns about every such font, so they go.
QByteArray withoutEmptyText(const QByteArray &svg)
{
    QByteArray result;
    result.reserve(svg.size());
    int from = 0;
    for (;;) {
        const int text = svg.indexOf("<text ", from);
        if (text < 0)
            break;
        const int tagEnd = svg.indexOf('>', text);
        const int close = tagEnd >= 0 ? svg.indexOf("</text>", tagEnd) : -1;
        if (close < 0)
            break;
        const int end = close + 7;
        result += svg.mid(from, text - from);
        if (!svg.mid(text, tagEnd - text).contains(" font-size=\"0.0000\""))
            result += svg.mid(text, end - text);
        from = end;
    }
    result += svg.mid(from);
    return result;
}

QMutex &converterMutex()
{
    static QMutex mutex;
    return mutex;
}

} // namespace

Metafile::Result Metafile::convertEnhanced(const QByteArray &data, Picture &picture)
{
    if (!converter().isLoaded())
        return Result::Failed;
    Scan scan;
    if (!scanRecords(data, scan))
        return Result::Failed;

    U_EMRHEADER header;
    std::memset(&header, 0, sizeof header);
    std::memcpy(&header, data.constData(), qMin<size_t>(sizeof header, size_t(data.size())));

    // The picture's size comes from the frame, in 0.01 mm, at one pixel per 0.2 mm.
    const qint64 frameWidth = qint64(header.rclFrame.right) - header.rclFrame.left;
    const qint64 frameHeight = qint64(header.rclFrame.bottom) - header.rclFrame.top;
    const qint64 width = pixelsFromHimetric(frameWidth);
    const qint64 height = pixelsFromHimetric(frameHeight);
    if (width <= 0 || height <= 0)
        return Result::Failed;

    // libemf2svg places the drawing relative to the bounds (device pixels of the
    // reference device); the frame in those pixels is what a player maps onto its
    // target rectangle, so it becomes the view box.
    QRectF frame;
    if (header.szlDevice.cx > 0 && header.szlDevice.cy > 0 && header.szlMillimeters.cx > 0
        && header.szlMillimeters.cy > 0) {
        const double sx = double(header.szlDevice.cx) / (100.0 * header.szlMillimeters.cx);
        const double sy = double(header.szlDevice.cy) / (100.0 * header.szlMillimeters.cy);
        frame = QRectF(header.rclFrame.left * sx, header.rclFrame.top * sy, double(frameWidth) * sx,
                       double(frameHeight) * sy);
        // Frames beyond a billion pixels are refused by the pixel limit later; here
        // they must not reach integer rectangles.
        const double limit = 1e9;
        if (std::fabs(frame.left()) > limit || std::fabs(frame.top()) > limit || frame.width() > limit
            || frame.height() > limit)
            frame = QRectF();
    }
    QByteArray work = workingCopy(data, scan.end);
    const int length = work.size();
    qint64 boundsWidth = qint64(header.rclBounds.right) - header.rclBounds.left;
    qint64 boundsHeight = qint64(header.rclBounds.bottom) - header.rclBounds.top;
    if (boundsWidth <= 0 || boundsHeight <= 0) {
        // Nothing drawn (bounds such as (0, 0, -1, -1)): libemf2svg would divide by
        // the empty bounds, so they become the frame.
        const QRect area = frame.isValid() ? frame.toAlignedRect() : QRect(0, 0, int(width), int(height));
        header.rclBounds.left = area.left();
        header.rclBounds.top = area.top();
        header.rclBounds.right = area.left() + qMax(1, area.width());
        header.rclBounds.bottom = area.top() + qMax(1, area.height());
        std::memcpy(work.data() + offsetof(U_EMRHEADER, rclBounds), &header.rclBounds, sizeof(U_RECTL));
        boundsWidth = qint64(header.rclBounds.right) - header.rclBounds.left;
        boundsHeight = qint64(header.rclBounds.bottom) - header.rclBounds.top;
    }
    const QRectF viewBox = frame.isValid()
        ? frame.translated(-double(header.rclBounds.left), -double(header.rclBounds.top))
        : QRectF(0, 0, double(boundsWidth), double(boundsHeight));
    work.append(kPadding, '\0');

    QMutexLocker lock(&converterMutex());
    bool emfPlus = false;
    converter().isEmfPlus(work.data(), size_t(length), &emfPlus);
    if (emfPlus && !scan.draws)
        return Result::EmfPlusOnly;

    generatorOptions options = {};
    char noNamespace[] = ""; // a prefix gives malformed XML on clipped drawings
    options.nameSpace = noNamespace;
    options.verbose = false;
    options.emfplus = false;
    options.svgDelimiter = true;
    // Device pixels one to one: the SVG's coordinates are the bounds' pixels.
    options.imgWidth = double(boundsWidth);
    options.imgHeight = double(boundsHeight);
    char *svg = nullptr;
    size_t svgLength = 0;
    const int status = converter().convert(work.data(), size_t(length), &svg, &svgLength, &options);
    lock.unlock();

    QByteArray text;
    // A failed conversion can still leave part of a document behind: never use it.
    if (svg && status == 1 && svgLength > 0 && svgLength < size_t(std::numeric_limits<int>::max()))
        text = QByteArray(svg, int(svgLength));
    std::free(svg);
    if (text.isEmpty())
        return Result::Failed;

    picture.svg = withRoot(withoutEmptyText(text), width, height, viewBox);
    picture.width = width;
    picture.height = height;
    return picture.svg.isEmpty() ? Result::Failed : Result::Ok;
}
