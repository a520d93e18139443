// CEmfToRasterUtil and WMFToSVG: the size rules of the three kinds of metafile,
// the transparent background, every real sample file, and hostile input
// (truncations, broken record chains, absurd frames, EMF+-only files).
#include "metafilewriter.h"
#include "testsupport.h"

#include <utility/emftorasterutil.h>

#include <QDir>
#include <QDirIterator>
#include <QImage>
#include <QSvgRenderer>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <algorithm>

using namespace testsupport;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

struct Loaded { bool ok = false; QSize size; QImage image; };

Loaded load(const QString &path, double scale = 1.0)
{
    Loaded result;
    QByteArray png;
    result.ok = CEmfToRasterUtil::loadEmfFile(path, png, &result.size, scale);
    result.image = QImage::fromData(png, "PNG").convertToFormat(QImage::Format_ARGB32);
    return result;
}

// The path of a file holding the bytes, in a folder that lives as long as the test program.
QString written(const QByteArray &bytes, const QString &name = QStringLiteral("picture.emf"))
{
    static QTemporaryDir dir;
    EXPECT_TRUE(writeFile(dir.filePath(name), bytes));
    return dir.filePath(name);
}

Loaded loadBytes(const QByteArray &bytes, double scale = 1.0, const QString &name = QStringLiteral("picture.emf"))
{
    return load(written(bytes, name), scale);
}

QByteArray withWord(QByteArray bytes, int offset, quint32 value)
{
    qToLittleEndian(value, bytes.data() + offset);
    return bytes;
}

// 100 mm x 50 mm with a red rectangle over its top left quarter.
QByteArray quarterRectangleEmf(qint32 width = 10000, qint32 height = 5000)
{
    EmfWriter emf(0, 0, width, height);
    emf.solidRectangle(0, 0, width * 4 / 200, height * 4 / 200, colorRef(255, 0, 0)); // device pixels at 4 per mm
    return emf.bytes();
}

// Red over the top left quarter of the window, or of the placeable box at (1000, 1000).
WmfWriter quarterRectangleWmf(qint16 width, qint16 height, bool window = true)
{
    const QPoint origin = window ? QPoint(0, 0) : QPoint(1000, 1000);
    return rectangleWmf(width, height, QRect(origin, QSize(width / 2, height / 2)), colorRef(255, 0, 0), window);
}

} // namespace

TEST(CEmfToRasterUtil, SizeRulesOfTheThreeKindsDrawnOnTransparency)
{
    // Each picture is red over its top left quarter and transparent elsewhere.
    struct Case { const char *name; QByteArray bytes; double scale; QSize expected; } const cases[] = {
        // Enhanced: the frame (0.01 mm) at one pixel per fifth of a millimetre, times the scale.
        {"a.emf", quarterRectangleEmf(10000, 5000), 1.0, {500, 250}}, // the 100 mm x 50 mm example
        {"b.emf", quarterRectangleEmf(10010, 5000), 1.0, {501, 250}}, // MulDiv rounds 500.5 up
        {"c.emf", quarterRectangleEmf(10009, 4989), 1.0, {500, 249}}, // 500.45 down, 249.45 down
        {"d.emf", quarterRectangleEmf(10010, 5000), 1.5, {751, 375}}, // the scale truncates: 751.5
        {"e.emf", quarterRectangleEmf(10000, 5000), 0.25, {125, 62}}, {"f.emf", quarterRectangleEmf(200, 200), 1.0, {10, 10}},
        // Placeable: bounding box over units per inch. 1440 x 720 at 1440 per inch
        // is 25.4 mm x 12.7 mm: 127 x 63.5 pixels, MulDiv rounds to 64.
        {"placeable.wmf", quarterRectangleWmf(1440, 720).placeable(0, 0, 1440, 720, 1440), 1.0, {127, 64}},
        // The box, not the window, gives the size: 576 units per inch, 2.5 x 1.25 in.
        {"placeable576.wmf", quarterRectangleWmf(1440, 720).placeable(0, 0, 1440, 720, 576), 1.0, {318, 159}},
        {"nowindow.wmf", quarterRectangleWmf(1440, 720, false).placeable(1000, 1000, 2440, 1720, 1440), 1.0, {127, 64}},
        // Plain: the window extent in twips, 2 in x 1 in.
        {"plain.wmf", quarterRectangleWmf(2880, 1440).plain(), 1.0, {254, 127}},
        // The kind is taken from the content, not the name.
        {"plain.emf", quarterRectangleWmf(2880, 1440).plain(), 1.0, {254, 127}},
        {"enhanced.wmf", quarterRectangleEmf(), 1.0, {500, 250}},
    };
    for (const Case &c : cases) {
        const Loaded loaded = loadBytes(c.bytes, c.scale, QString::fromLatin1(c.name));
        ASSERT_TRUE(loaded.ok && loaded.size == c.expected && loaded.image.size() == c.expected) << c.name;
        EXPECT_EQ(loaded.image.pixel(3, 3), qRgba(255, 0, 0, 255)) << c.name;
        EXPECT_EQ(loaded.image.pixel(c.expected.width() - 1, c.expected.height() - 1), 0u) << c.name;
    }
    // Untouched background is transparent black, exactly 0, right up to the rectangle.
    const QImage quarter = loadBytes(quarterRectangleEmf()).image;
    for (const QPoint p : {QPoint(120, 60), QPoint(246, 121), QPoint(254, 3), QPoint(3, 129), QPoint(400, 200)})
        EXPECT_EQ(quarter.pixel(p), p.x() < 250 && p.y() < 125 ? qRgba(255, 0, 0, 255) : 0u) << p.x() << "," << p.y();
}

TEST(CEmfToRasterUtil, RefusesWhatCannotBeDrawnSafelyButDrawsTheEmfPartOfDualFiles)
{
    // Every truncation of valid files, header only included.
    const QByteArray emf = quarterRectangleEmf(), wmf = quarterRectangleWmf(2880, 1440).plain();
    for (const auto &[bytes, step] : {std::pair(emf, 4), std::pair(wmf, 2)})
        for (int length = 0; length < bytes.size(); length += step)
            EXPECT_FALSE(loadBytes(bytes.left(length), 1.0, QStringLiteral("cut.wmf")).ok) << length;

    EmfWriter shortBrush(0, 0, 10000, 5000); // a brush record shorter than a brush
    shortBrush.record(39, ByteWriter().u32(1).data());
    const std::pair<const char *, QByteArray> refused[] = { // the first record follows the 108-byte header
        {"record size 0", withWord(emf, 108 + 4, 0)}, {"record past the end", withWord(emf, 108 + 4, 0x7FFFFFF0)},
        {"record size not a multiple of 4", withWord(emf, 108 + 4, 26)},
        {"a second header", withWord(emf, 108, 1)}, {"short brush", shortBrush.bytes()},
        {"empty frame", quarterRectangleEmf(0, 5000)}, {"negative frame", EmfWriter(10000, 0, 0, 5000).bytes()},
        {"neither signature nor a plain header", QByteArray(200, 'x')},
        {"wmf record size 0", withWord(wmf, 18, 0)}, {"wmf record too long", withWord(wmf, 18, 0x40000000)},
        {"zero units per inch", quarterRectangleWmf(1440, 720).placeable(0, 0, 1440, 720, 0)},
    };
    for (const auto &[why, bytes] : refused)
        EXPECT_FALSE(loadBytes(bytes).ok) << why;
    for (double scale : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(loadBytes(emf, scale).ok) << scale;
    EXPECT_FALSE(load(QStringLiteral("/nonexistent/missing.emf")).ok || load(QDir::tempPath()).ok);
    // A header that claims a record of 2^32 words: libwmf would size its buffer by
    // it, the rasteriser hands it the true largest record instead.
    EXPECT_TRUE(loadBytes(quarterRectangleWmf(2880, 1440).plain(4, 0xFFFFFFFF), 1.0, QStringLiteral("max.wmf")).ok);

    // Absurd frames and EMF+-only files are refused with a warning.
    CapturedLog log("INFO");
    // 2^31 units each way: 21 km of drawing, refused before anything is allocated.
    const Loaded huge = loadBytes(EmfWriter(-0x7FFFFFFF - 1, -0x7FFFFFFF - 1, 0x7FFFFFFF, 0x7FFFFFFF).bytes());
    EXPECT_FALSE(huge.ok);
    EXPECT_EQ(huge.size, QSize(214748365, 214748365)); // the size is still reported
    // One pixel row beyond the limit of 32 million pixels, by scale.
    const double beyond = std::sqrt(double(CEmfToRasterUtil::ms_maxPixelCount)) / 100 + 0.1;
    EXPECT_FALSE(loadBytes(quarterRectangleEmf(2000, 2000), beyond).ok); // 100 x 100 pixels
    EmfWriter plusOnly(0, 0, 10000, 5000);
    plusOnly.emfPlusHeader();
    EXPECT_FALSE(loadBytes(plusOnly.bytes()).ok);
    EXPECT_THAT(log.warnings(), ElementsAre(HasSubstr("Metafile picture exceeds the pixel limit: "), ::testing::_,
                                            HasSubstr("Metafile holds only EMF+ records, which cannot be drawn: ")));

    // Dual files draw their EMF part.
    log.clear();
    EmfWriter dual(0, 0, 10000, 5000);
    dual.emfPlusHeader();
    dual.solidRectangle(0, 0, 400, 200, colorRef(0, 0, 255));
    const Loaded loaded = loadBytes(dual.bytes());
    EXPECT_TRUE(loaded.ok && qBlue(loaded.image.pixel(250, 125)) == 255 && log.warnings().empty());
}

TEST(WMFToSVG, WritesAMendedDocumentOfThePictureSize)
{
    WmfWriter wmf = quarterRectangleWmf(2880, 1440);
    wmf.font(-200, "Arial");
    wmf.select(2);
    wmf.textOut(100, 900, "a<b&c\xE9\x93");
    wmf.font(-200, "Symbol", 2);
    wmf.select(3);
    wmf.textOut(100, 1200, "ap");
    wmf.font(-200, "Arial", 0, true);
    wmf.select(4);
    wmf.words(0x012E, {6}); // SetTextAlign TA_CENTER
    wmf.textOut(1440, 600, "mid");
    QByteArray svg, untouched("unchanged");
    ASSERT_TRUE(WMFToSVG(written(wmf.plain(5), QStringLiteral("text.wmf")), svg));
    const QString text = QString::fromUtf8(svg);
    // Text escaped and decoded from Windows-1252 (0xE9 e acute, 0x93 a curly quote);
    // Symbol text becomes Greek in a Unicode font; centred text is anchored at its
    // reference point; underlining is kept; no helper comment is left behind.
    for (const QString &part : {QStringLiteral("xmlns=\"http://www.w3.org/2000/svg\""), QStringLiteral("width=\"254\" height=\"127\""),
                                QStringLiteral("a&lt;b&amp;c\u00E9\u201C"), QStringLiteral("\u03B1\u03C0"),
                                QStringLiteral("text-anchor:middle; text-decoration: underline;")})
        EXPECT_TRUE(text.contains(part)) << qPrintable(part) << " in " << qPrintable(text);
    EXPECT_FALSE(text.contains(QStringLiteral("<!--")));
    EXPECT_EQ(QSvgRenderer(svg).defaultSize(), QSize(254, 127));

    EXPECT_FALSE(WMFToSVG(QStringLiteral("/nonexistent/missing.wmf"), untouched));
    EXPECT_EQ(untouched, QByteArray("unchanged"));
}

// Every metafile of ../shared/testdata: written by other programs, so they show
// what real files do to both libraries. Files that the libraries cannot draw are
// listed with the reason.
TEST(CEmfToRasterUtil, RealMetafiles)
{
    REQUIRE_SHARED();
    // Drawn: drawn with some ink; Blank: nothing drawn; LibraryLimit: a valid file the
    // libraries get wrong (an invalid size: refused); Refused: corrupt or undrawable.
    enum Expect { Drawn, Blank, Refused, LibraryLimit };
    struct Sample { const char *name; int width, height; Expect expect = Drawn; };
    const Sample samples[] = {
        // libemf2svg 1.1.0 collapses every coordinate of this MM_ANISOTROPIC file to 0.
        {"emf/libemf2svg/EA-test-file-002.emf", 1168, 1189, LibraryLimit},
        {"emf/libemf2svg/test-000.emf", 614, 317}, {"emf/libemf2svg/test-007.emf", 72, 71},
        {"emf/libemf2svg/test-013.emf", 732, 878},
        // Bounds (0, 0, -1, -1): nothing is drawn, the frame still gives the size.
        {"emf/libemf2svg/test-030.emf", 840, 1008, Blank},
        // EMF+ records only.
        {"emf/libemf2svg/test-038.emf", 0, 0, Refused}, {"emf/libemf2svg/test-039.emf", 1485, 1050},
        {"emf/libemf2svg/test-041.emf", 1485, 1050}, {"emf/libemf2svg/test-068.emf", 1028, 731},
        {"emf/libemf2svg/test-092.emf", 376, 152}, {"emf/libemf2svg/test-118.emf", 1000, 656},
        {"emf/libemf2svg/test-125.emf", 1264, 911}, {"emf/libemf2svg/test-150.emf", 250, 67},
        {"emf/libemf2svg/test-152.emf", 394, 306}, {"emf/libemf2svg/test-165.emf", 1252, 869},
        {"emf/libemf2svg/test-176.emf", 1251, 869}, {"emf/libemf2svg/test-179.emf", 148, 178},
        {"emf/libemf2svg/test-186.emf", 198, 67}, {"emf/pillow/drawing.emf", 145, 145},
        {"emf/wmf2svg/fulltest.emf", 1397, 1048},
        // libwmf's parser rejects these two valid files ("unexpectedly short" records).
        {"wmf/libuemf/test_libuemf_ref.wmf", 0, 0, LibraryLimit}, {"wmf/wmf2svg/fulltest.wmf", 0, 0, LibraryLimit},
        {"wmf/libwmf/2doorvan.wmf", 421, 153}, {"wmf/libwmf/Eg.wmf", 794, 396},
        {"wmf/libwmf/anim0002.wmf", 522, 482}, {"wmf/libwmf/ant.wmf", 280, 182},
        {"wmf/libwmf/arrow01.wmf", 224, 209}, {"wmf/libwmf/cell.wmf", 1396, 1081},
        {"wmf/libwmf/fjftest.wmf", 1050, 1485}, {"wmf/libwmf/formula1.wmf", 294, 54},
        {"wmf/libwmf/fulltest.wmf", 1397, 1080},
        // Plain files: the window extent in twips...
        {"wmf/libwmf/p0000001.wmf", 423, 158}, {"wmf/libwmf/p0000016.wmf", 723, 54},
        // ... or, without one, the drawing's extent in pixels at 96 per inch.
        {"wmf/libwmf/text.wmf", 335, 450}, {"wmf/libwmf/sample.wmf", 400, 359},
        {"wmf/pillow/drawing.wmf", 145, 145}, {"wmf/wmf2svg/symbol-font-tables.wmf", 750, 665},
    };

    const QDir shared(sharedPath(QStringLiteral("testdata")));
    int seen = 0;
    QDirIterator it(shared.path(), {QStringLiteral("*.emf"), QStringLiteral("*.wmf")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next(), name = shared.relativeFilePath(path);
        const auto sample = std::find_if(std::begin(samples), std::end(samples),
                                         [&](const Sample &s) { return name == QLatin1String(s.name); });
        // Every file of the corrupt folder is refused.
        const bool corrupt = name.startsWith(QStringLiteral("emf/libemf2svg-corrupt/"));
        ASSERT_TRUE(corrupt || sample != std::end(samples)) << "a new sample file needs an entry: " << qPrintable(name);
        ++seen;
        const Loaded loaded = load(path);
        const Sample expected = corrupt ? Sample{"", 0, 0, Refused} : *sample;
        const QSize size(expected.width, expected.height);
        ASSERT_EQ(loaded.ok, !size.isEmpty()) << qPrintable(name);
        EXPECT_TRUE(!loaded.ok || (loaded.size == size && loaded.image.size() == size)) << qPrintable(name);
        // Drawn pictures have some ink; a blank one is transparent black, all 0.
        if (loaded.ok && expected.expect != LibraryLimit)
            EXPECT_EQ(loaded.image != QImage(size, QImage::Format_ARGB32).copy(QRect(-1, -1, 1, 1)).scaled(size),
                      expected.expect == Drawn) << qPrintable(name);
    }
    EXPECT_EQ(seen, int(std::size(samples)) + 5); // and the five corrupt files
}
