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
#include <map>

using testsupport::CapturedLog;
using testsupport::EmfWriter;
using testsupport::WmfWriter;
using testsupport::colorRef;
using ::testing::HasSubstr;

namespace {

struct Loaded
{
    bool ok = false;
    QSize size;
    QImage image;
};

Loaded load(const QString &path, double scale = 1.0)
{
    Loaded result;
    QByteArray png;
    result.ok = CEmfToRasterUtil::loadEmfFile(path, png, &result.size, scale);
    if (result.ok)
        result.image = QImage::fromData(png, "PNG").convertToFormat(QImage::Format_ARGB32);
    return result;
}

Loaded loadBytes(const QTemporaryDir &dir, const QByteArray &bytes, double scale = 1.0,
                 const QString &name = QStringLiteral("picture.emf"))
{
    const QString path = dir.filePath(name);
    EXPECT_TRUE(testsupport::writeFile(path, bytes));
    return load(path, scale);
}

int opaquePixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += qAlpha(image.pixel(x, y)) > 0;
    return count;
}

// 100 mm x 50 mm with a red rectangle over its top left quarter.
QByteArray quarterRectangleEmf(qint32 width = 10000, qint32 height = 5000)
{
    EmfWriter emf(0, 0, width, height);
    emf.solidBrush(1, colorRef(255, 0, 0));
    emf.select(1);
    emf.nullPen(2);
    emf.select(2);
    emf.rectangle(0, 0, width * 4 / 200, height * 4 / 200); // device pixels at 4 per mm
    return emf.bytes();
}

// 1 inch x 0.5 inch at 1440 units per inch, red over the top left quarter.
WmfWriter quarterRectangleWmf(qint16 width, qint16 height)
{
    WmfWriter wmf;
    wmf.windowOrg(0, 0);
    wmf.windowExt(width, height);
    wmf.mapMode(8); // MM_ANISOTROPIC
    wmf.solidBrush(colorRef(255, 0, 0));
    wmf.select(0);
    wmf.nullPen();
    wmf.select(1);
    wmf.rectangle(0, 0, width / 2, height / 2);
    return wmf;
}

// The same quarter without any window record, at a bounding box away from the
// origin: a player takes the window from the placeable header.
QByteArray quarterRectangleWithoutWindow()
{
    WmfWriter wmf;
    wmf.solidBrush(colorRef(255, 0, 0));
    wmf.select(0);
    wmf.nullPen();
    wmf.select(1);
    wmf.rectangle(1000, 1000, 1720, 1360);
    return wmf.placeable(1000, 1000, 2440, 1720, 1440);
}

} // namespace

TEST(CEmfToRasterUtil, SizeIsTheFrameAtOnePixelPerFifthOfAMillimetreTimesScale)
{
    QTemporaryDir dir;
    struct Case
    {
        qint32 frameWidth, frameHeight; // 0.01 mm
        double scale;
        QSize expected;
    };
    const Case cases[] = {
        {10000, 5000, 1.0, QSize(500, 250)}, // the 100 mm x 50 mm example
        {10010, 5000, 1.0, QSize(501, 250)}, // MulDiv rounds 500.5 up
        {10009, 4989, 1.0, QSize(500, 249)}, // 500.45 down, 249.45 down
        {10010, 5000, 1.5, QSize(751, 375)}, // the scale truncates: 751.5
        {10000, 5000, 0.25, QSize(125, 62)},
        {200, 200, 1.0, QSize(10, 10)},
    };
    for (const Case &c : cases) {
        const Loaded loaded = loadBytes(dir, quarterRectangleEmf(c.frameWidth, c.frameHeight), c.scale);
        EXPECT_TRUE(loaded.ok) << c.frameWidth << " x " << c.frameHeight << " * " << c.scale;
        EXPECT_EQ(loaded.size, c.expected) << c.frameWidth << " x " << c.frameHeight << " * " << c.scale;
        EXPECT_EQ(loaded.image.size(), c.expected);
    }
}

TEST(CEmfToRasterUtil, UntouchedBackgroundIsFullyTransparent)
{
    QTemporaryDir dir;
    const Loaded loaded = loadBytes(dir, quarterRectangleEmf());
    ASSERT_TRUE(loaded.ok);
    ASSERT_EQ(loaded.image.size(), QSize(500, 250));
    // Inside the rectangle: opaque red; elsewhere: transparent black, exactly 0.
    for (const QPoint p : {QPoint(3, 3), QPoint(120, 60), QPoint(246, 121)})
        EXPECT_EQ(loaded.image.pixel(p), qRgba(255, 0, 0, 255)) << p.x() << "," << p.y();
    for (const QPoint p : {QPoint(254, 3), QPoint(3, 129), QPoint(499, 249), QPoint(400, 200)})
        EXPECT_EQ(loaded.image.pixel(p), 0u) << p.x() << "," << p.y();
}

TEST(CEmfToRasterUtil, WindowsMetafileSizes)
{
    QTemporaryDir dir;
    struct Case
    {
        const char *name;
        QByteArray bytes;
        QSize expected;
        QPoint red, clear;
    };
    const Case cases[] = {
        // Placeable: bounding box over units per inch. 1440 x 720 at 1440 per inch
        // is 25.4 mm x 12.7 mm: 127 x 63.5 pixels, MulDiv rounds to 64.
        {"placeable", quarterRectangleWmf(1440, 720).placeable(0, 0, 1440, 720, 1440), QSize(127, 64),
         QPoint(20, 10), QPoint(100, 50)},
        // The box, not the window, gives the size: 576 units per inch, 2.5 x 1.25 in.
        {"placeable576", quarterRectangleWmf(1440, 720).placeable(0, 0, 1440, 720, 576), QSize(318, 159),
         QPoint(50, 30), QPoint(250, 120)},
        {"nowindow", quarterRectangleWithoutWindow(), QSize(127, 64), QPoint(20, 10), QPoint(100, 50)},
        // Plain: the window extent in twips, 2 in x 1 in.
        {"plain", quarterRectangleWmf(2880, 1440).plain(), QSize(254, 127), QPoint(50, 30), QPoint(200, 100)},
    };
    for (const Case &c : cases) {
        const Loaded loaded = loadBytes(dir, c.bytes, 1.0, QString::fromLatin1(c.name) + QStringLiteral(".wmf"));
        ASSERT_TRUE(loaded.ok) << c.name;
        EXPECT_EQ(loaded.size, c.expected) << c.name;
        ASSERT_EQ(loaded.image.size(), c.expected) << c.name;
        EXPECT_EQ(loaded.image.pixel(c.red), qRgba(255, 0, 0, 255)) << c.name;
        EXPECT_EQ(loaded.image.pixel(c.clear), 0u) << c.name;
    }
}

TEST(CEmfToRasterUtil, KindIsTakenFromTheContentNotTheName)
{
    QTemporaryDir dir;
    // An enhanced metafile named .wmf and a Windows metafile named .emf both load.
    EXPECT_EQ(loadBytes(dir, quarterRectangleEmf(), 1.0, QStringLiteral("a.wmf")).size, QSize(500, 250));
    EXPECT_EQ(loadBytes(dir, quarterRectangleWmf(2880, 1440).plain(), 1.0, QStringLiteral("b.emf")).size,
              QSize(254, 127));
    // Neither signature and no valid plain header: false.
    EXPECT_FALSE(loadBytes(dir, QByteArray(200, 'x'), 1.0, QStringLiteral("c.emf")).ok);
    EXPECT_FALSE(load(dir.filePath(QStringLiteral("missing.emf"))).ok);
    EXPECT_FALSE(load(dir.path()).ok); // a directory
}

TEST(CEmfToRasterUtil, RefusesWhatCannotBeDrawnSafely)
{
    QTemporaryDir dir;
    const QByteArray good = quarterRectangleEmf();
    ASSERT_TRUE(loadBytes(dir, good).ok);

    // Every truncation of a valid file, header only included.
    for (int length = 0; length < good.size(); length += 4)
        EXPECT_FALSE(loadBytes(dir, good.left(length)).ok) << length;

    const auto withWord = [](QByteArray bytes, int offset, quint32 value) {
        qToLittleEndian(value, bytes.data() + offset);
        return bytes;
    };
    const int firstRecord = 108;
    EXPECT_FALSE(loadBytes(dir, withWord(good, firstRecord + 4, 0)).ok);          // record size 0
    EXPECT_FALSE(loadBytes(dir, withWord(good, firstRecord + 4, 0x7FFFFFF0)).ok); // past the end
    EXPECT_FALSE(loadBytes(dir, withWord(good, firstRecord + 4, 26)).ok);         // not a multiple of 4
    EXPECT_FALSE(loadBytes(dir, withWord(good, firstRecord, 1)).ok);              // a second header
    // A brush record shorter than a brush.
    EmfWriter shortBrush(0, 0, 10000, 5000);
    shortBrush.record(39, testsupport::ByteWriter().u32(1).data());
    EXPECT_FALSE(loadBytes(dir, shortBrush.bytes()).ok);

    // Empty, negative and not-a-number sizes.
    EXPECT_FALSE(loadBytes(dir, quarterRectangleEmf(0, 5000)).ok);
    EXPECT_FALSE(loadBytes(dir, EmfWriter(10000, 0, 0, 5000).bytes()).ok);
    for (double scale : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(loadBytes(dir, good, scale).ok) << scale;
}

TEST(CEmfToRasterUtil, AbsurdFramesAreRefusedBeforeAnythingIsAllocated)
{
    QTemporaryDir dir;
    CapturedLog log("INFO");
    // 2^31 units each way: 21 km of drawing.
    const Loaded huge = loadBytes(dir, EmfWriter(-0x7FFFFFFF - 1, -0x7FFFFFFF - 1, 0x7FFFFFFF, 0x7FFFFFFF).bytes());
    EXPECT_FALSE(huge.ok);
    EXPECT_EQ(huge.size, QSize(214748365, 214748365)); // the size is still reported
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings().front(), HasSubstr("Metafile picture exceeds the pixel limit: "));

    // Just at the limit of 32 million pixels and one pixel row beyond it, by scale.
    log.clear();
    const QByteArray square = quarterRectangleEmf(2000, 2000); // 100 x 100 pixels
    EXPECT_FALSE(loadBytes(dir, square, std::sqrt(double(CEmfToRasterUtil::ms_maxPixelCount)) / 100 + 0.1).ok);
    EXPECT_EQ(log.warnings().size(), 1u);
}

TEST(CEmfToRasterUtil, EmfPlusOnlyFilesAreUnsupportedDualFilesDrawTheirEmfPart)
{
    QTemporaryDir dir;
    CapturedLog log("INFO");
    EmfWriter plusOnly(0, 0, 10000, 5000);
    plusOnly.emfPlusHeader();
    EXPECT_FALSE(loadBytes(dir, plusOnly.bytes()).ok);
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings().front(), HasSubstr("Metafile holds only EMF+ records, which cannot be drawn: "));

    log.clear();
    EmfWriter dual(0, 0, 10000, 5000);
    dual.emfPlusHeader();
    dual.solidBrush(1, colorRef(0, 0, 255));
    dual.select(1);
    dual.rectangle(0, 0, 400, 200);
    const Loaded loaded = loadBytes(dir, dual.bytes());
    ASSERT_TRUE(loaded.ok);
    EXPECT_EQ(qBlue(loaded.image.pixel(250, 125)), 255);
    EXPECT_TRUE(log.warnings().empty());
}

TEST(CEmfToRasterUtil, WindowsMetafileChainIsChecked)
{
    QTemporaryDir dir;
    const QByteArray good = quarterRectangleWmf(2880, 1440).plain();
    ASSERT_TRUE(loadBytes(dir, good, 1.0, QStringLiteral("good.wmf")).ok);
    for (int length = 0; length < good.size(); length += 2)
        EXPECT_FALSE(loadBytes(dir, good.left(length), 1.0, QStringLiteral("cut.wmf")).ok) << length;

    const auto withWord = [](QByteArray bytes, int offset, quint32 value) {
        qToLittleEndian(value, bytes.data() + offset);
        return bytes;
    };
    EXPECT_FALSE(loadBytes(dir, withWord(good, 18, 0), 1.0, QStringLiteral("zero.wmf")).ok);
    EXPECT_FALSE(loadBytes(dir, withWord(good, 18, 0x40000000), 1.0, QStringLiteral("long.wmf")).ok);
    // A header that claims a record of 2^32 words: libwmf would size its buffer by
    // it, the rasteriser hands it the true largest record instead.
    EXPECT_TRUE(loadBytes(dir, quarterRectangleWmf(2880, 1440).plain(4, 0xFFFFFFFF), 1.0, QStringLiteral("max.wmf")).ok);
    // A placeable header with zero units per inch.
    EXPECT_FALSE(loadBytes(dir, quarterRectangleWmf(1440, 720).placeable(0, 0, 1440, 720, 0), 1.0,
                           QStringLiteral("inch.wmf"))
                     .ok);
}

TEST(WMFToSVG, WritesAMendedDocumentOfThePictureSize)
{
    QTemporaryDir dir;
    WmfWriter wmf = quarterRectangleWmf(2880, 1440);
    wmf.font(-200, "Arial");
    wmf.select(2);
    wmf.textOut(100, 900, "a<b&c\xE9\x93");
    wmf.font(-200, "Symbol", 2);
    wmf.select(3);
    wmf.textOut(100, 1200, "ap");
    wmf.font(-200, "Arial", 0, true);
    wmf.select(4);
    wmf.textAlign(6); // TA_CENTER
    wmf.textOut(1440, 600, "mid");
    const QString path = dir.filePath(QStringLiteral("text.wmf"));
    ASSERT_TRUE(testsupport::writeFile(path, wmf.plain(5)));

    QByteArray svg;
    ASSERT_TRUE(WMFToSVG(path, svg));
    const QString text = QString::fromUtf8(svg);
    EXPECT_THAT(text.toStdString(), HasSubstr("xmlns=\"http://www.w3.org/2000/svg\""));
    EXPECT_THAT(text.toStdString(), HasSubstr("width=\"254\" height=\"127\""));
    // Escaped, and decoded from Windows-1252 (0xE9 e acute, 0x93 a curly quote).
    EXPECT_TRUE(text.contains(QStringLiteral("a&lt;b&amp;c\u00E9\u201C"))) << qPrintable(text);
    // Symbol text becomes Greek in a Unicode font.
    EXPECT_TRUE(text.contains(QStringLiteral("\u03B1\u03C0"))) << qPrintable(text);
    // Centred text is anchored at its reference point, underlining is kept, and
    // no helper comment is left behind.
    EXPECT_THAT(text.toStdString(), HasSubstr("text-anchor:middle; text-decoration: underline;"));
    EXPECT_FALSE(text.contains(QStringLiteral("<!--")));
    EXPECT_TRUE(QSvgRenderer(svg).isValid());
    EXPECT_EQ(QSvgRenderer(svg).defaultSize(), QSize(254, 127));

    QByteArray untouched("unchanged");
    EXPECT_FALSE(WMFToSVG(dir.filePath(QStringLiteral("missing.wmf")), untouched));
    EXPECT_EQ(untouched, QByteArray("unchanged"));
}

TEST(CEmfToRasterUtil, TracesEntryAndResult)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("p.emf"));
    ASSERT_TRUE(testsupport::writeFile(path, quarterRectangleEmf()));
    CapturedLog log("TRACE");
    QByteArray png;
    ASSERT_TRUE(CEmfToRasterUtil::loadEmfFile(path, png, nullptr, 1.0));
    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], HasSubstr("\tEnterCEmfToRasterUtil::loadEmfFile"));
    EXPECT_THAT(lines[1], HasSubstr("\tExitCEmfToRasterUtil::loadEmfFile(1 )"));
}

// Every metafile of ../shared/testdata: written by other programs, so they show
// what real files do to both libraries. Files that the libraries cannot draw are
// listed with the reason.
TEST(CEmfToRasterUtil, RealMetafiles)
{
    REQUIRE_SHARED();
    enum Expect { Drawn, Blank, Refused, LibraryLimit };
    struct Sample
    {
        QSize size;
        Expect expect;
    };
    const std::map<QString, Sample> samples = {
        // libemf2svg 1.1.0 collapses every coordinate of this MM_ANISOTROPIC file to 0.
        {QStringLiteral("emf/libemf2svg/EA-test-file-002.emf"), {QSize(1168, 1189), LibraryLimit}},
        {QStringLiteral("emf/libemf2svg/test-000.emf"), {QSize(614, 317), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-007.emf"), {QSize(72, 71), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-013.emf"), {QSize(732, 878), Drawn}},
        // Bounds (0, 0, -1, -1): nothing is drawn, the frame still gives the size.
        {QStringLiteral("emf/libemf2svg/test-030.emf"), {QSize(840, 1008), Blank}},
        // EMF+ records only.
        {QStringLiteral("emf/libemf2svg/test-038.emf"), {QSize(), Refused}},
        {QStringLiteral("emf/libemf2svg/test-039.emf"), {QSize(1485, 1050), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-041.emf"), {QSize(1485, 1050), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-068.emf"), {QSize(1028, 731), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-092.emf"), {QSize(376, 152), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-118.emf"), {QSize(1000, 656), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-125.emf"), {QSize(1264, 911), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-150.emf"), {QSize(250, 67), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-152.emf"), {QSize(394, 306), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-165.emf"), {QSize(1252, 869), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-176.emf"), {QSize(1251, 869), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-179.emf"), {QSize(148, 178), Drawn}},
        {QStringLiteral("emf/libemf2svg/test-186.emf"), {QSize(198, 67), Drawn}},
        {QStringLiteral("emf/pillow/drawing.emf"), {QSize(145, 145), Drawn}},
        {QStringLiteral("emf/wmf2svg/fulltest.emf"), {QSize(1397, 1048), Drawn}},
        {QStringLiteral("emf/libemf2svg-corrupt/bad_corrupted_2014-12-02-215338.emf"), {QSize(), Refused}},
        {QStringLiteral("emf/libemf2svg-corrupt/bad_corrupted_2014-12-02-215425.emf"), {QSize(), Refused}},
        {QStringLiteral("emf/libemf2svg-corrupt/bad_corrupted_2014-12-13-105759.emf"), {QSize(), Refused}},
        {QStringLiteral("emf/libemf2svg-corrupt/bad_corrupted_2016-02-02-225639.emf"), {QSize(), Refused}},
        {QStringLiteral("emf/libemf2svg-corrupt/bad_corrupted_2017-02-11-230400.emf"), {QSize(), Refused}},
        // libwmf's parser rejects these two valid files ("unexpectedly short" records).
        {QStringLiteral("wmf/libuemf/test_libuemf_ref.wmf"), {QSize(), LibraryLimit}},
        {QStringLiteral("wmf/wmf2svg/fulltest.wmf"), {QSize(), LibraryLimit}},
        {QStringLiteral("wmf/libwmf/2doorvan.wmf"), {QSize(421, 153), Drawn}},
        {QStringLiteral("wmf/libwmf/Eg.wmf"), {QSize(794, 396), Drawn}},
        {QStringLiteral("wmf/libwmf/anim0002.wmf"), {QSize(522, 482), Drawn}},
        {QStringLiteral("wmf/libwmf/ant.wmf"), {QSize(280, 182), Drawn}},
        {QStringLiteral("wmf/libwmf/arrow01.wmf"), {QSize(224, 209), Drawn}},
        {QStringLiteral("wmf/libwmf/cell.wmf"), {QSize(1396, 1081), Drawn}},
        {QStringLiteral("wmf/libwmf/fjftest.wmf"), {QSize(1050, 1485), Drawn}},
        {QStringLiteral("wmf/libwmf/formula1.wmf"), {QSize(294, 54), Drawn}},
        {QStringLiteral("wmf/libwmf/fulltest.wmf"), {QSize(1397, 1080), Drawn}},
        // Plain files: the window extent in twips...
        {QStringLiteral("wmf/libwmf/p0000001.wmf"), {QSize(423, 158), Drawn}},
        {QStringLiteral("wmf/libwmf/p0000016.wmf"), {QSize(723, 54), Drawn}},
        // ... or, without one, the drawing's extent in pixels at 96 per inch.
        {QStringLiteral("wmf/libwmf/text.wmf"), {QSize(335, 450), Drawn}},
        {QStringLiteral("wmf/libwmf/sample.wmf"), {QSize(400, 359), Drawn}},
        {QStringLiteral("wmf/pillow/drawing.wmf"), {QSize(145, 145), Drawn}},
        {QStringLiteral("wmf/wmf2svg/symbol-font-tables.wmf"), {QSize(750, 665), Drawn}},
    };

    const QDir shared(testsupport::sharedPath(QStringLiteral("testdata")));
    int seen = 0;
    for (const char *kind : {"emf", "wmf"}) {
        QDirIterator it(shared.filePath(QLatin1String(kind)), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            const QString name = shared.relativeFilePath(path);
            const auto sample = samples.find(name);
            ASSERT_NE(sample, samples.end()) << "a new sample file needs an entry: " << qPrintable(name);
            ++seen;
            const Loaded loaded = load(path);
            switch (sample->second.expect) {
            case Refused:
                EXPECT_FALSE(loaded.ok) << qPrintable(name);
                break;
            case LibraryLimit:
                if (!sample->second.size.isValid()) {
                    EXPECT_FALSE(loaded.ok) << qPrintable(name);
                    break;
                }
                EXPECT_TRUE(loaded.ok) << qPrintable(name);
                EXPECT_EQ(loaded.image.size(), sample->second.size) << qPrintable(name);
                break;
            case Blank:
            case Drawn:
                ASSERT_TRUE(loaded.ok) << qPrintable(name);
                EXPECT_EQ(loaded.size, sample->second.size) << qPrintable(name);
                EXPECT_EQ(loaded.image.size(), sample->second.size) << qPrintable(name);
                if (sample->second.expect == Drawn)
                    EXPECT_GT(opaquePixels(loaded.image), 0) << "blank: " << qPrintable(name);
                else
                    EXPECT_EQ(opaquePixels(loaded.image), 0) << qPrintable(name);
                break;
            }
        }
    }
    EXPECT_EQ(seen, int(samples.size()));
}
