// Windows metafiles (placeable and plain): the record chain is checked here, then
// libwmf plays the file into its SVG device layer and the SVG is mended so that
// QSvgRenderer reads it reliably.

#include "emftorasterutil_p.h"

#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QtEndian>

#include <libwmf/api.h>
#include <libwmf/ipa.h>
#include <libwmf/macro.h>
#include <libwmf/svg.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr int kPlaceableHeaderBytes = 22;
constexpr int kHeaderBytes = 18;
constexpr quint16 kSetWindowOrg = 0x020B;
constexpr quint16 kSetWindowExt = 0x020C;
// libwmf's own mapping mode for placeable files (GDI's modes are 1 to 8): device
// units are points, and the window extent's sign flips an axis.
constexpr U16 kLibwmfPlaceableMode = 9;
// Windows programs write plain metafiles in twips; Inkscape reads them that way too.
constexpr qint64 kPlainUnitsPerInch = 1440;
// Without a window extent a plain metafile draws in device pixels of the screen.
constexpr qint64 kScreenPixelsPerInch = 96;
constexpr qint64 kHimetricPerInch = 2540;

quint16 word16(const QByteArray &data, int offset)
{
    return qFromLittleEndian<quint16>(reinterpret_cast<const uchar *>(data.constData()) + offset);
}

quint32 word32(const QByteArray &data, int offset)
{
    return qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(data.constData()) + offset);
}

struct Layout
{
    bool placeable = false;
    qint16 left = 0, top = 0, right = 0, bottom = 0; // placeable bounding box
    quint16 unitsPerInch = 0;                        // placeable only
    bool hasWindowOrigin = false;
    bool hasWindowExtent = false;
    qint16 extentX = 0, extentY = 0; // the first window extent that is not empty
    int header = 0;                  // offset of the metafile header
    int end = 0;                     // one past the end-of-file record
    quint32 largestRecord = 0;       // in 16-bit words
};

// Checks the headers and that every record lies inside the file, down to an
// end-of-file record. libwmf sizes its parameter buffer from the header's largest
// record field, so that field must not be trusted either.
bool readLayout(const QByteArray &data, bool placeable, Layout &layout)
{
    layout.placeable = placeable;
    if (placeable) {
        if (data.size() < kPlaceableHeaderBytes + kHeaderBytes)
            return false;
        layout.left = qint16(word16(data, 6));
        layout.top = qint16(word16(data, 8));
        layout.right = qint16(word16(data, 10));
        layout.bottom = qint16(word16(data, 12));
        layout.unitsPerInch = word16(data, 14);
        layout.header = kPlaceableHeaderBytes;
        if (layout.unitsPerInch == 0)
            return false;
    } else if (data.size() < kHeaderBytes) {
        return false;
    }
    const quint16 type = word16(data, layout.header);
    const quint16 headerWords = word16(data, layout.header + 2);
    const quint16 version = word16(data, layout.header + 4);
    if ((type != 1 && type != 2) || headerWords != 9 || (version != 0x0100 && version != 0x0300))
        return false;

    qint64 offset = layout.header + kHeaderBytes;
    while (offset + 6 <= data.size()) {
        const quint32 words = word32(data, int(offset));
        const quint16 function = word16(data, int(offset) + 4);
        if (words < 3 || qint64(words) * 2 > data.size() - offset)
            return false;
        if (function == kSetWindowOrg)
            layout.hasWindowOrigin = true;
        if (function == kSetWindowExt && words >= 5 && !layout.hasWindowExtent) {
            layout.extentY = qint16(word16(data, int(offset) + 6));
            layout.extentX = qint16(word16(data, int(offset) + 8));
            layout.hasWindowExtent = layout.extentX != 0 && layout.extentY != 0;
        }
        layout.largestRecord = qMax(layout.largestRecord, words);
        offset += qint64(words) * 2;
        if (function == 0) {
            layout.end = int(offset);
            return words == 3;
        }
    }
    return false;
}

// --- Text in libwmf's SVG -------------------------------------------------------

// Windows-1252, the "ANSI" code page of Western Windows, for 0x80 to 0x9F; the rest
// of the byte range is Latin-1. Unassigned bytes keep their Latin-1 meaning.
constexpr char16_t kWindows1252[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

// The Symbol font's encoding from 0x20 to 0xFF (0 where it has no character).
constexpr char16_t kSymbol[224] = {
    // 0x20
    0x0020, 0x0021, 0x2200, 0x0023, 0x2203, 0x0025, 0x0026, 0x220B, 0x0028, 0x0029, 0x2217, 0x002B,
    0x002C, 0x2212, 0x002E, 0x002F,
    // 0x30
    0x0030, 0x0031, 0x0032, 0x0033, 0x0034, 0x0035, 0x0036, 0x0037, 0x0038, 0x0039, 0x003A, 0x003B,
    0x003C, 0x003D, 0x003E, 0x003F,
    // 0x40
    0x2245, 0x0391, 0x0392, 0x03A7, 0x0394, 0x0395, 0x03A6, 0x0393, 0x0397, 0x0399, 0x03D1, 0x039A,
    0x039B, 0x039C, 0x039D, 0x039F,
    // 0x50
    0x03A0, 0x0398, 0x03A1, 0x03A3, 0x03A4, 0x03A5, 0x03C2, 0x03A9, 0x039E, 0x03A8, 0x0396, 0x005B,
    0x2234, 0x005D, 0x22A5, 0x005F,
    // 0x60
    0x203E, 0x03B1, 0x03B2, 0x03C7, 0x03B4, 0x03B5, 0x03C6, 0x03B3, 0x03B7, 0x03B9, 0x03D5, 0x03BA,
    0x03BB, 0x03BC, 0x03BD, 0x03BF,
    // 0x70
    0x03C0, 0x03B8, 0x03C1, 0x03C3, 0x03C4, 0x03C5, 0x03D6, 0x03C9, 0x03BE, 0x03C8, 0x03B6, 0x007B,
    0x007C, 0x007D, 0x223C, 0,
    // 0x80, 0x90: unassigned
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // 0xA0
    0x20AC, 0x03D2, 0x2032, 0x2264, 0x2044, 0x221E, 0x0192, 0x2663, 0x2666, 0x2665, 0x2660, 0x2194,
    0x2190, 0x2191, 0x2192, 0x2193,
    // 0xB0
    0x00B0, 0x00B1, 0x2033, 0x2265, 0x00D7, 0x221D, 0x2202, 0x2022, 0x00F7, 0x2260, 0x2261, 0x2248,
    0x2026, 0x23D0, 0x23AF, 0x21B5,
    // 0xC0
    0x2135, 0x2111, 0x211C, 0x2118, 0x2297, 0x2295, 0x2205, 0x2229, 0x222A, 0x2283, 0x2287, 0x2284,
    0x2282, 0x2286, 0x2208, 0x2209,
    // 0xD0
    0x2220, 0x2207, 0x00AE, 0x00A9, 0x2122, 0x220F, 0x221A, 0x22C5, 0x00AC, 0x2227, 0x2228, 0x21D4,
    0x21D0, 0x21D1, 0x21D2, 0x21D3,
    // 0xE0
    0x25CA, 0x2329, 0x00AE, 0x00A9, 0x2122, 0x2211, 0x239B, 0x239C, 0x239D, 0x23A1, 0x23A2, 0x23A3,
    0x23A7, 0x23A8, 0x23A9, 0x23AA,
    // 0xF0
    0, 0x232A, 0x222B, 0x2320, 0x23AE, 0x2321, 0x239E, 0x239F, 0x23A0, 0x23A4, 0x23A5, 0x23A6,
    0x23AB, 0x23AC, 0x23AD, 0,
};

// libwmf copies a text record's bytes into the SVG as they are: neither escaped
// nor decoded. They are 8-bit text in the font's encoding (Windows-1252 unless the
// font is Symbol); characters XML does not allow are dropped.
QByteArray decodedText(const QByteArray &raw, bool symbolFont)
{
    QString text;
    text.reserve(raw.size());
    for (const char byte : raw) {
        const uchar c = uchar(byte);
        char16_t unicode = c;
        if (symbolFont)
            unicode = c >= 0x20 ? kSymbol[c - 0x20] : 0;
        else if (c >= 0x80 && c < 0xA0)
            unicode = kWindows1252[c - 0x80];
        if (unicode == 0 || (unicode < 0x20 && unicode != '\t') || (unicode >= 0x7F && unicode < 0xA0))
            continue;
        text.append(QChar(unicode));
    }
    return text.toHtmlEscaped().toUtf8();
}

// Style declarations for the element that follows, written into the SVG stream
// by the hooks below and applied (and removed) by mendedSvg.
constexpr char kStyleMarkBegin[] = "<!--utility-style:";
constexpr char kStyleMarkEnd[] = "-->";

// Applies declarations "key:value; ..." to a start tag's style attribute. Colours
// replace libwmf's (unless it chose none); anything else is added.
QByteArray styled(QByteArray tag, const QByteArray &declarations)
{
    const int style = tag.indexOf("style=\"");
    if (style < 0)
        return tag;
    const int valueStart = style + 7;
    QByteArray added;
    for (const QByteArray &raw : declarations.split(';')) {
        const QByteArray declaration = raw.trimmed();
        const int colon = declaration.indexOf(':');
        if (colon <= 0)
            continue;
        const QByteArray key = declaration.left(colon);
        if (key == "fill" || key == "stroke") {
            int at = valueStart;
            while ((at = tag.indexOf(key + ':', at)) >= 0) {
                const char before = tag.at(at - 1);
                if (before == '"' || before == ' ' || before == ';')
                    break;
                at += key.size();
            }
            if (at < 0)
                continue;
            const int valueAt = at + key.size() + 1;
            int valueEnd = valueAt;
            while (valueEnd < tag.size() && tag.at(valueEnd) != ';' && tag.at(valueEnd) != '"')
                ++valueEnd;
            if (tag.mid(valueAt, valueEnd - valueAt).trimmed() != "none")
                tag.replace(valueAt, valueEnd - valueAt, declaration.mid(colon + 1));
        } else {
            added += declaration + "; ";
        }
    }
    return tag.insert(valueStart, added);
}

// Mends libwmf's SVG:
//  - drops its DOCTYPE (a draft DTD of 2000);
//  - applies the style marks of the hooks to the element each precedes;
//  - decodes and escapes every text element's content. Decoded Symbol text is
//    Unicode and wants a Unicode font: with the family "Symbol", Qt would pick the
//    URW symbol font and look its characters up by their Symbol codes.
// Empty if an element or a text element is unterminated.
QByteArray mendedSvg(const QByteArray &raw)
{
    QByteArray svg;
    svg.reserve(raw.size() + raw.size() / 8);
    const QByteArray markBegin(kStyleMarkBegin);
    QByteArray pending; // declarations for the next element
    int from = 0;
    for (;;) {
        const int open = raw.indexOf('<', from);
        if (open < 0)
            break;
        svg += raw.mid(from, open - from);
        if (raw.mid(open, markBegin.size()) == markBegin) {
            const int end = raw.indexOf(kStyleMarkEnd, open);
            if (end < 0)
                return QByteArray();
            pending = raw.mid(open + markBegin.size(), end - open - markBegin.size());
            from = end + int(sizeof kStyleMarkEnd) - 1;
            continue;
        }
        const int close = raw.indexOf('>', open);
        if (close < 0)
            return QByteArray();
        QByteArray tag = raw.mid(open, close + 1 - open);
        from = close + 1;
        if (tag.startsWith("<!DOCTYPE"))
            continue;
        const bool element = open + 1 < raw.size() && std::isalpha(uchar(raw.at(open + 1)));
        if (element && !pending.isEmpty())
            tag = styled(tag, pending);
        pending.clear();
        if (!tag.startsWith("<text ")) {
            svg += tag;
            continue;
        }
        const int end = raw.indexOf("</text>", from);
        if (end < 0)
            return QByteArray();
        const bool symbol = tag.contains("font-family:Symbol;");
        if (symbol)
            tag.replace("font-family:Symbol;", "font-family:serif;");
        svg += tag;
        svg += decodedText(raw.mid(from, end - from), symbol);
        from = end;
    }
    svg += raw.mid(from);
    return svg;
}

// --- Playing through libwmf -----------------------------------------------------

// libwmf's SVG layer maps its device coordinates to the document through the box
// in its device data. The box that matters is the metafile's frame: the window
// that a Windows player stretches over its target rectangle. For a placeable file
// the player sets the window to the bounding box and the file's own window
// records replace its origin, its extent or both. libwmf only knows the mapping
// once the metafile has set its window, so the box is filled in when the first
// drawing call arrives, from the device context that comes with it.
struct PlayContext
{
    wmfFunctionReference original;
    wmfD_Rect drawn; // the drawing's extent, as wmf_scan found it
    const Layout *layout = nullptr;
    bool framed = false;
};

thread_local PlayContext *t_play = nullptr;

bool frameFromWindow(const Layout &layout, const wmfDC *dc, wmfD_Rect &frame)
{
    if (!dc || (!layout.placeable && !layout.hasWindowExtent))
        return false; // a plain file without window draws in device pixels
    // Device = (logical - window origin) * pixel size; in libwmf's placeable mode
    // the sign of the window extent says which way an axis runs.
    const bool signedByExtent = dc->map_mode == kLibwmfPlaceableMode;
    const double sx = dc->pixel_width * (signedByExtent && dc->Window.width < 0 ? -1.0 : 1.0);
    const double sy = dc->pixel_height * (signedByExtent && dc->Window.height < 0 ? -1.0 : 1.0);
    const double originX = layout.hasWindowOrigin || !layout.placeable ? dc->Window.Ox : layout.left;
    const double originY = layout.hasWindowOrigin || !layout.placeable ? dc->Window.Oy : layout.top;
    const double extentX = layout.hasWindowExtent ? dc->Window.width : double(layout.right) - layout.left;
    const double extentY = layout.hasWindowExtent ? dc->Window.height : double(layout.bottom) - layout.top;
    const double x1 = (originX - dc->Window.Ox) * sx;
    const double y1 = (originY - dc->Window.Oy) * sy;
    const double x2 = x1 + extentX * sx;
    const double y2 = y1 + extentY * sy;
    if (!std::isfinite(x1 + x2 + y1 + y2) || x1 == x2 || y1 == y2)
        return false;
    frame.TL.x = float(std::min(x1, x2));
    frame.TL.y = float(std::min(y1, y2));
    frame.BR.x = float(std::max(x1, x2));
    frame.BR.y = float(std::max(y1, y2));
    return true;
}

void frameOnFirstUse(wmfAPI *api, const wmfDC *dc)
{
    PlayContext *play = t_play;
    if (!play || play->framed)
        return;
    play->framed = true;
    wmfD_Rect frame = play->drawn;
    if (!frameFromWindow(*play->layout, dc, frame)
        && (!(frame.BR.x > frame.TL.x) || !(frame.BR.y > frame.TL.y))) {
        frame.TL.x = frame.TL.y = 0;
        frame.BR.x = frame.BR.y = 1;
    }
    WMF_SVG_GetData(api)->bbox = frame;
}

void emitMark(wmfAPI *api, const QByteArray &declarations)
{
    wmf_svg_t *device = WMF_SVG_GetData(api);
    if (declarations.isEmpty() || !device->out)
        return;
    const QByteArray mark = kStyleMarkBegin + declarations + kStyleMarkEnd;
    wmf_stream_printf(api, device->out, const_cast<char *>("%s"), mark.constData());
}

// libwmf writes every colour as the nearest of SVG's 147 colour names, which
// turns gradients built of many fills into bands; the marks carry the exact ones.
QByteArray colour(const wmfRGB *rgb)
{
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", unsigned(rgb->r), unsigned(rgb->g), unsigned(rgb->b));
    return QByteArray(text);
}

QByteArray shapeStyle(const wmfDC *dc)
{
    QByteArray style;
    if (!dc)
        return style;
    if (dc->brush && WMF_BRUSH_STYLE(dc->brush) != BS_NULL)
        style += "fill:" + colour(WMF_BRUSH_COLOR(dc->brush)) + "; ";
    if (dc->pen && WMF_PEN_STYLE(dc->pen) != PS_NULL)
        style += "stroke:" + colour(WMF_PEN_COLOR(dc->pen)) + "; ";
    return style;
}

// libwmf places centred and right-aligned text by its own estimate of the text's
// width, which is wrong by the ratio of the device's axes in anisotropic mappings
// (a centred title 40 % too far left in the samples), and it drops underline and
// strike-out. The text goes out at its reference point instead, with an SVG
// text-anchor, so that the renderer aligns it by the width of the font it uses.
void textCall(wmfAPI *api, wmfDrawText_t *info)
{
    frameOnFirstUse(api, info ? info->dc : nullptr);
    if (!t_play || !t_play->original.draw_text)
        return;
    if (!info || !info->dc || !info->dc->font) {
        t_play->original.draw_text(api, info);
        return;
    }
    wmfDrawText_t text = *info;
    QByteArray style = "fill:" + colour(WMF_DC_TEXTCOLOR(info->dc)) + "; ";
    const unsigned horizontal = info->dc->textalign & TA_CENTER;
    if (horizontal == TA_CENTER || horizontal == TA_RIGHT) {
        // The estimated box runs from pt along the baseline; only its extent in the
        // text's direction counts.
        const double theta = -WMF_TEXT_ANGLE(info->dc->font);
        const double dx = double(info->bbox.TR.x) - info->bbox.TL.x;
        const double dy = double(info->bbox.TR.y) - info->bbox.TL.y;
        const double along = (dx * std::cos(theta) + dy * std::sin(theta)) * (horizontal == TA_CENTER ? 0.5 : 1.0);
        if (std::isfinite(along)) {
            text.pt.x = float(info->pt.x + along * std::cos(theta));
            text.pt.y = float(info->pt.y + along * std::sin(theta));
            style += horizontal == TA_CENTER ? "text-anchor:middle; " : "text-anchor:end; ";
        }
    }
    const bool underline = WMF_TEXT_UNDERLINE(info->dc->font);
    const bool strikeOut = info->dc->font->lfStrikeOut;
    if (underline || strikeOut)
        style += QByteArray("text-decoration:") + (underline ? " underline" : "") + (strikeOut ? " line-through" : "") + "; ";
    emitMark(api, style);
    t_play->original.draw_text(api, &text);
}

// libwmf fills at 50 % opacity whenever the background mode is transparent. In
// GDI that mode only concerns the gaps of hatched brushes (where the half opacity
// is a fair stand-in for the hatching libwmf cannot draw), dashed pens and text
// backgrounds; a solid brush always covers. So solid fills are drawn as opaque.
class SolidFillsOpaque
{
public:
    explicit SolidFillsOpaque(wmfDC *dc)
        : m_dc(dc && dc->brush && WMF_BRUSH_STYLE(dc->brush) == BS_SOLID && !WMF_DC_OPAQUE(dc) ? dc : nullptr)
    {
        if (m_dc) {
            m_mode = m_dc->bgmode;
            WMF_DC_SET_OPAQUE(m_dc);
        }
    }
    ~SolidFillsOpaque()
    {
        if (m_dc)
            m_dc->bgmode = m_mode;
    }
    SolidFillsOpaque(const SolidFillsOpaque &) = delete;
    SolidFillsOpaque &operator=(const SolidFillsOpaque &) = delete;

private:
    wmfDC *m_dc;
    U16 m_mode = 0;
};

template<typename Info, void (*wmfFunctionReference::*Slot)(wmfAPI *, Info *)>
void framedCall(wmfAPI *api, Info *info)
{
    frameOnFirstUse(api, info ? info->dc : nullptr);
    if (t_play && t_play->original.*Slot) {
        emitMark(api, shapeStyle(info ? info->dc : nullptr));
        SolidFillsOpaque opaque(info ? info->dc : nullptr);
        (t_play->original.*Slot)(api, info);
    }
}

void installFraming(wmfFunctionReference *reference)
{
    using R = wmfFunctionReference;
    reference->flood_interior = &framedCall<wmfFlood_t, &R::flood_interior>;
    reference->flood_exterior = &framedCall<wmfFlood_t, &R::flood_exterior>;
    reference->draw_pixel = &framedCall<wmfDrawPixel_t, &R::draw_pixel>;
    reference->draw_pie = &framedCall<wmfDrawArc_t, &R::draw_pie>;
    reference->draw_chord = &framedCall<wmfDrawArc_t, &R::draw_chord>;
    reference->draw_arc = &framedCall<wmfDrawArc_t, &R::draw_arc>;
    reference->draw_ellipse = &framedCall<wmfDrawArc_t, &R::draw_ellipse>;
    reference->draw_line = &framedCall<wmfDrawLine_t, &R::draw_line>;
    reference->poly_line = &framedCall<wmfPolyLine_t, &R::poly_line>;
    reference->draw_polygon = &framedCall<wmfPolyLine_t, &R::draw_polygon>;
    reference->draw_polypolygon = &framedCall<wmfPolyPoly_t, &R::draw_polypolygon>;
    reference->draw_rectangle = &framedCall<wmfDrawRectangle_t, &R::draw_rectangle>;
    reference->rop_draw = &framedCall<wmfROP_Draw_t, &R::rop_draw>;
    reference->bmp_draw = &framedCall<wmfBMP_Draw_t, &R::bmp_draw>;
    reference->draw_text = &textCall;
    reference->region_frame = &framedCall<wmfPolyRectangle_t, &R::region_frame>;
    reference->region_paint = &framedCall<wmfPolyRectangle_t, &R::region_paint>;
    reference->region_clip = &framedCall<wmfPolyRectangle_t, &R::region_clip>;
}

class Api
{
public:
    ~Api()
    {
        if (m_api)
            wmf_api_destroy(m_api);
    }
    wmfAPI *m_api = nullptr;
};

struct PlayGuard
{
    explicit PlayGuard(PlayContext *context) { t_play = context; }
    ~PlayGuard() { t_play = nullptr; }
};

QMutex &converterMutex()
{
    static QMutex mutex;
    return mutex;
}

// Creates the API on the checked copy and scans it: libwmf needs the scan before
// it can tell sizes or play.
bool openScanned(Api &api, QByteArray &work, int length, wmfD_Rect &drawn)
{
    wmfAPI_Options options;
    std::memset(&options, 0, sizeof options);
    options.function = wmf_svg_function;
    // Without NO_ERROR and NO_DEBUG libwmf writes its complaints to stderr.
    const unsigned long flags = WMF_OPT_FUNCTION | WMF_OPT_IGNORE_NONFATAL | WMF_OPT_NO_ERROR | WMF_OPT_NO_DEBUG;
    return wmf_api_create(&api.m_api, flags, &options) == wmf_E_None && api.m_api
           && wmf_mem_open(api.m_api, reinterpret_cast<unsigned char *>(work.data()), length) == wmf_E_None
           && wmf_scan(api.m_api, 0, &drawn) == wmf_E_None;
}

// The extent of what a metafile without a window of its own draws, in its units.
bool drawingExtent(QByteArray &work, int length, double &width, double &height)
{
    QMutexLocker lock(&converterMutex());
    Api api;
    wmfD_Rect drawn;
    float w = 0;
    float h = 0;
    if (!openScanned(api, work, length, drawn) || wmf_size(api.m_api, &w, &h) != wmf_E_None)
        return false;
    width = w;
    height = h;
    return true;
}

// Plays the checked copy into libwmf's SVG layer, width x height in size.
QByteArray playToSvg(QByteArray &work, int length, const Layout &layout, qint64 width, qint64 height)
{
    QMutexLocker lock(&converterMutex());
    Api api;
    PlayContext play;
    if (!openScanned(api, work, length, play.drawn))
        return QByteArray();

    auto *reference = static_cast<wmfFunctionReference *>(api.m_api->function_reference);
    play.original = *reference;
    play.layout = &layout;
    installFraming(reference);

    wmf_svg_t *device = WMF_SVG_GetData(api.m_api);
    // A memory stream: wmf_stream_destroy crashes on a FILE-backed one.
    device->out = wmf_stream_create(api.m_api, nullptr);
    if (!device->out)
        return QByteArray();
    device->width = unsigned(width);
    device->height = unsigned(height);
    device->bbox = play.drawn;
    device->flags |= WMF_SVG_INLINE_IMAGES;

    wmf_error_t status;
    {
        PlayGuard guard(&play);
        status = wmf_play(api.m_api, 0, &play.drawn);
    }
    char *buffer = nullptr;
    unsigned long bufferLength = 0;
    wmf_stream_destroy(api.m_api, device->out, &buffer, &bufferLength);
    device->out = nullptr;
    // The buffer belongs to libwmf's memory manager: copy it before the API goes.
    QByteArray svg;
    if (status == wmf_E_None && buffer && bufferLength > 0
        && bufferLength < static_cast<unsigned long>(std::numeric_limits<int>::max()))
        svg = QByteArray(buffer, int(bufferLength));
    return svg;
}

} // namespace

bool Metafile::convertWindows(const QByteArray &data, Picture &picture)
{
    Layout layout;
    if (!readLayout(data, kindOf(data) == Kind::Placeable, layout))
        return false;

    // libwmf gets a copy that ends after the end-of-file record, whose header
    // states the true size and largest record, followed by padding.
    QByteArray work = data.left(layout.end);
    qToLittleEndian<quint32>(quint32((layout.end - layout.header) / 2),
                             reinterpret_cast<uchar *>(work.data()) + layout.header + 6);
    qToLittleEndian<quint32>(layout.largestRecord, reinterpret_cast<uchar *>(work.data()) + layout.header + 12);
    work.append(kPadding, '\0');
    const int length = layout.end;

    qint64 width = 0;
    qint64 height = 0;
    if (layout.placeable) {
        width = pixelsFromHimetric(mulDiv(qint64(layout.right) - layout.left, kHimetricPerInch, layout.unitsPerInch));
        height = pixelsFromHimetric(mulDiv(qint64(layout.bottom) - layout.top, kHimetricPerInch, layout.unitsPerInch));
    } else if (layout.hasWindowExtent) {
        width = pixelsFromHimetric(mulDiv(std::abs(qint64(layout.extentX)), kHimetricPerInch, kPlainUnitsPerInch));
        height = pixelsFromHimetric(mulDiv(std::abs(qint64(layout.extentY)), kHimetricPerInch, kPlainUnitsPerInch));
    } else {
        double drawnWidth = 0;
        double drawnHeight = 0;
        if (!drawingExtent(work, length, drawnWidth, drawnHeight) || !(drawnWidth > 0 && drawnWidth < 1e9)
            || !(drawnHeight > 0 && drawnHeight < 1e9))
            return false;
        width = pixelsFromHimetric(mulDiv(std::llround(drawnWidth), kHimetricPerInch, kScreenPixelsPerInch));
        height = pixelsFromHimetric(mulDiv(std::llround(drawnHeight), kHimetricPerInch, kScreenPixelsPerInch));
    }
    if (width <= 0 || height <= 0)
        return false;

    const QByteArray raw = playToSvg(work, length, layout, width, height);
    if (raw.isEmpty())
        return false;
    const QByteArray mended = mendedSvg(raw);
    if (mended.isEmpty())
        return false;
    picture.svg = withRoot(mended, width, height, QRectF(0, 0, double(width), double(height)),
                           " xmlns:sodipodi=\"http://sodipodi.sourceforge.net/DTD/sodipodi-0.dtd\"");
    picture.width = width;
    picture.height = height;
    return !picture.svg.isEmpty();
}
