#ifndef UTILITY_EMFTORASTERUTIL_H
#define UTILITY_EMFTORASTERUTIL_H

#include <utility/utility_export.h>

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QtGlobal>

// Turns a Windows metafile on disk into a PNG image held in memory, with the
// background left transparent wherever the drawing does not touch it.
//
// Three kinds of file are understood, told apart by their first bytes:
//  - an enhanced metafile (" EMF" at byte offset 40), drawn through libemf2svg;
//  - a placeable Windows metafile (key 0x9AC6CDD7), drawn through libwmf;
//  - anything else is read as a plain Windows metafile, also through libwmf.
// Both libraries write SVG, which QSvgRenderer paints onto a transparent image.
//
// The picture measures one pixel per 0.2 mm of its frame: the frame rectangle of
// an enhanced metafile, the bounding box and units per inch of a placeable one, and
// the first window extent of a plain one at 1440 units per inch (the twips that
// Windows programs write; without any window extent the drawing's own extent in
// screen pixels at 96 per inch is used). Small pictures are drawn at twice their
// size and reduced smoothly, which gives better edges than antialiasing alone.
//
// Metafile parsers are a classic attack surface, so the input is checked before
// either library sees it (see loadEmfFile) and the sizes below are hard limits.
class UTILITY_EXPORT CEmfToRasterUtil
{
public:
    // Files larger than this are refused unread (64 MiB).
    static constexpr qint64 ms_maxFileBytes = Q_INT64_C(64) * 1024 * 1024;
    // The largest picture that is rendered, in pixels (width x height after the
    // scale). 32 million pixels take 128 MiB as 32-bit ARGB; at one pixel per
    // 0.2 mm that is a drawing of more than 1.1 m x 1.1 m.
    static constexpr qint64 ms_maxPixelCount = Q_INT64_C(32000000);
    // Pictures with 4 x width x height below this are drawn at twice the size.
    static constexpr qint64 ms_supersampleLimit = Q_INT64_C(15000000);

    // Loads the metafile at path and puts PNG bytes into out. The pixel size is
    // the size from the header (see above) times scale, truncated toward zero;
    // when size is not null it receives that size as soon as it is known, also
    // when the rendering then fails or is refused.
    //
    // False, with out untouched, for a missing or unreadable file, a file that is
    // not a well-formed metafile (every enhanced-metafile record is checked with
    // libUEMF's record safety tests, every Windows-metafile record against the
    // file's bounds), an empty or negative size, a picture beyond
    // ms_maxPixelCount, and an enhanced metafile that holds only EMF+ records
    // (GDI+ drawing, which libemf2svg cannot draw). The last two are reported as
    // warnings. A dual EMF+/EMF file is drawn from its EMF records.
    static bool loadEmfFile(const QString &path, QByteArray &out, QSize *size, double scale);

private:
    CEmfToRasterUtil() = delete;
};

// Converts the metafile at path (any of the three kinds above) to SVG text. The
// document's width and height are the picture's size in pixels at scale 1.0, and
// its view box is the metafile's frame. False, with svg untouched, in the same
// cases as CEmfToRasterUtil::loadEmfFile (the pixel limit aside).
UTILITY_EXPORT bool WMFToSVG(const QString &path, QByteArray &svg);

#endif // UTILITY_EMFTORASTERUTIL_H
