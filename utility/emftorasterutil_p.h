#ifndef UTILITY_EMFTORASTERUTIL_P_H
#define UTILITY_EMFTORASTERUTIL_P_H

// Private to the metafile rasteriser: the two converters (libemf2svg for enhanced
// metafiles, libwmf for Windows metafiles) live in their own sources because the
// headers of libUEMF and libwmf define clashing GDI names.

#include <QByteArray>
#include <QRectF>
#include <QtGlobal>

namespace Metafile {

enum class Kind { Enhanced, Placeable, Plain };

// " EMF" at offset 40 makes an enhanced metafile, the key 0x9AC6CDD7 at offset 0 a
// placeable Windows metafile; everything else is taken for a plain one.
Kind kindOf(const QByteArray &data);

// A converted metafile: an SVG document whose width and height are the picture's
// size in pixels (one per 0.2 mm of its frame) and whose view box is the frame.
struct Picture
{
    QByteArray svg;
    qint64 width = 0;
    qint64 height = 0;
};

enum class Result { Ok, Failed, EmfPlusOnly };

Result convertEnhanced(const QByteArray &data, Picture &picture);
bool convertWindows(const QByteArray &data, Picture &picture);

// Windows' MulDiv: value * numerator / denominator in 64 bits, rounded half away
// from zero; -1 for a zero denominator or a result outside the 32-bit range.
qint64 mulDiv(qint64 value, qint64 numerator, qint64 denominator);

// Pixels at one per 0.2 mm from a length in 0.01 mm: MulDiv(length, 1024, 20480).
inline qint64 pixelsFromHimetric(qint64 length)
{
    return mulDiv(length, 1024, 20480);
}

// Replaces the start tag of the document's root <svg> element with one that
// declares the SVG namespaces, the pixel size and the view box (stretched to the
// size, as GDI stretches a metafile's frame onto the target rectangle). Empty
// when the document has no root element.
QByteArray withRoot(const QByteArray &svg, qint64 width, qint64 height, const QRectF &viewBox,
                    const QByteArray &extraAttributes = QByteArray());

// How many zero bytes follow every copy handed to a parser: libemf2svg scans
// single-byte strings up to a NUL and reads a record header one step past the end.
constexpr int kPadding = 64;

} // namespace Metafile

#endif // UTILITY_EMFTORASTERUTIL_P_H
