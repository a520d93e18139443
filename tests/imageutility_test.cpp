// Util image functions: the suffix routes and pixel budget of loadPixmapFromFile,
// SVG rendering (scale only with a rectangle, the raw fill value 3), composition,
// preview sizes, the alpha mask, the one-sided swatch margin and the size limits.
#include "metafilewriter.h"
#include "testsupport.h"

#include <utility/imageutility.h>

#include <QFile>
#include <QPainter>
#include <QTemporaryDir>
#include <QtEndian>

#include <gmock/gmock.h>

#include <zlib.h>

using testsupport::CapturedLog;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

// 200 x 100 with the left half red and the right half untouched.
const QByteArray kHalfRedSvg =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"200\" height=\"100\" viewBox=\"0 0 200 100\">"
    "<rect x=\"0\" y=\"0\" width=\"100\" height=\"100\" fill=\"#ff0000\"/></svg>";

QImage argb(const QPixmap &pixmap)
{
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
}

// Four solid quadrants, so that a nearest-neighbour reduction can be checked
// pixel by pixel away from the seams.
QImage quadrants(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.fillRect(0, 0, width / 2, height / 2, Qt::red);
    painter.fillRect(width / 2, 0, width - width / 2, height / 2, Qt::green);
    painter.fillRect(0, height / 2, width / 2, height - height / 2, Qt::blue);
    painter.fillRect(width / 2, height / 2, width - width / 2, height - height / 2, Qt::yellow);
    return image;
}

void appendChunk(QByteArray &png, const QByteArray &type, const QByteArray &data)
{
    char number[4];
    qToBigEndian(quint32(data.size()), number);
    png.append(number, 4);
    const QByteArray chunk = type + data;
    png.append(chunk);
    qToBigEndian(quint32(crc32(0, reinterpret_cast<const Bytef *>(chunk.constData()), uInt(chunk.size()))), number);
    png.append(number, 4);
}

// A PNG that declares width x height and holds almost no pixel data: enough for
// QImageReader::size(), which is all the loader may look at before refusing.
QByteArray pngHeaderOnly(quint32 width, quint32 height)
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    char number[4];
    QByteArray header;
    qToBigEndian(width, number);
    header.append(number, 4);
    qToBigEndian(height, number);
    header.append(number, 4);
    header.append("\x08\x06\x00\x00\x00", 5); // 8-bit RGBA
    appendChunk(png, "IHDR", header);
    appendChunk(png, "IDAT", QByteArray("\x78\x9c\x03\x00\x00\x00\x00\x01", 8));
    appendChunk(png, "IEND", QByteArray());
    return png;
}

} // namespace

TEST(UtilLoadPixmapFromFile, ReducesRasterImagesToThePixelBudget)
{
    QTemporaryDir dir;
    const QString jpeg = dir.filePath(QStringLiteral("photo.jpg"));
    ASSERT_TRUE(quadrants(4000, 3000).save(jpeg, "JPG", 90));
    struct Case
    {
        long budget;
        QSize expected;
    };
    const Case cases[] = {
        {3000000, QSize(2000, 1500)},   // a quarter of the pixels: half of each side
        {20000000, QSize(4000, 3000)},  // within the budget: untouched
        {12000000, QSize(4000, 3000)},  // exactly the budget: untouched
        // One pixel less: 3999 x 2999 after truncation, which KeepAspectRatio
        // then fits inside at 4:3.
        {11999999, QSize(3998, 2999)},
        {750000, QSize(1000, 750)},
    };
    for (const Case &c : cases)
        EXPECT_EQ(Util::loadPixmapFromFile(jpeg, c.budget).size(), c.expected) << c.budget;
    // A budget of nothing leaves nothing.
    EXPECT_TRUE(Util::loadPixmapFromFile(jpeg, 0).isNull());
    EXPECT_TRUE(Util::loadPixmapFromFile(jpeg, -5).isNull());
}

TEST(UtilLoadPixmapFromFile, ReductionPicksSourcePixels)
{
    QTemporaryDir dir;
    const QString png = dir.filePath(QStringLiteral("quadrants.png"));
    ASSERT_TRUE(quadrants(4000, 3000).save(png, "PNG"));
    const QImage reduced = argb(Util::loadPixmapFromFile(png, 3000000));
    ASSERT_EQ(reduced.size(), QSize(2000, 1500));
    // A fast (nearest) reduction: no blended colours, not even at the seams.
    EXPECT_EQ(reduced.pixel(0, 0), qRgb(255, 0, 0));
    EXPECT_EQ(reduced.pixel(999, 749), qRgb(255, 0, 0));
    EXPECT_EQ(reduced.pixel(1000, 749), qRgb(0, 255, 0));
    EXPECT_EQ(reduced.pixel(999, 750), qRgb(0, 0, 255));
    EXPECT_EQ(reduced.pixel(1999, 1499), qRgb(255, 255, 0));
}

TEST(UtilLoadPixmapFromFile, RoutesBySuffixWhateverItsCase)
{
    QTemporaryDir dir;
    EXPECT_TRUE(Util::loadPixmapFromFile(dir.filePath(QStringLiteral("missing.png")), 100).isNull());

    // SVG: the default size, whatever the budget.
    for (const QString name : {QStringLiteral("a.svg"), QStringLiteral("b.Svg"), QStringLiteral("c.SVG")}) {
        ASSERT_TRUE(testsupport::writeFile(dir.filePath(name), kHalfRedSvg));
        EXPECT_EQ(Util::loadPixmapFromFile(dir.filePath(name), 10).size(), QSize(200, 100)) << qPrintable(name);
    }
    // SVG content under another suffix goes to the raster route and its budget.
    ASSERT_TRUE(testsupport::writeFile(dir.filePath(QStringLiteral("d.svgz")), kHalfRedSvg));
    EXPECT_NE(Util::loadPixmapFromFile(dir.filePath(QStringLiteral("d.svgz")), 10).size(), QSize(200, 100));

    // Metafiles through the rasteriser, at scale 1.0.
    testsupport::EmfWriter emf(0, 0, 10000, 5000);
    for (const QString name : {QStringLiteral("e.emf"), QStringLiteral("f.EMF"), QStringLiteral("g.Wmf")}) {
        ASSERT_TRUE(testsupport::writeFile(dir.filePath(name), emf.bytes()));
        EXPECT_EQ(Util::loadPixmapFromFile(dir.filePath(name), 10).size(), QSize(500, 250)) << qPrintable(name);
    }
    // Undecodable content: null, on every route.
    for (const QString name : {QStringLiteral("h.png"), QStringLiteral("i.svg"), QStringLiteral("j.emf")}) {
        ASSERT_TRUE(testsupport::writeFile(dir.filePath(name), QByteArray("not a picture")));
        EXPECT_TRUE(Util::loadPixmapFromFile(dir.filePath(name), 1000000).isNull()) << qPrintable(name);
    }
}

TEST(UtilLoadPixmapFromFile, RefusesImagesBeyondTheMemoryLimitBeforeDecoding)
{
    QTemporaryDir dir;
    CapturedLog log("INFO");
    struct Case
    {
        quint32 width, height;
        bool refused;
    };
    const Case cases[] = {
        {60000, 60000, true},  // 14.4 GB
        {16385, 4096, true},   // just over 256 MiB at 4 bytes per pixel
        {4000, 3000, false},   // declared fine; the missing pixels then fail the decode
    };
    for (const Case &c : cases) {
        log.clear();
        const QString path = dir.filePath(QStringLiteral("big.png"));
        ASSERT_TRUE(testsupport::writeFile(path, pngHeaderOnly(c.width, c.height)));
        EXPECT_TRUE(Util::loadPixmapFromFile(path, 1000000).isNull());
        EXPECT_EQ(log.warnings().size(), c.refused ? 1u : 0u) << c.width << " x " << c.height;
        if (c.refused && !log.warnings().empty())
            EXPECT_THAT(log.warnings().front(), HasSubstr("Image too large to decode: "));
    }
}

TEST(UtilLoadPixmapFromFile, TracesItsFrameAroundTheSvgRoute)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a.svg"));
    ASSERT_TRUE(testsupport::writeFile(path, kHalfRedSvg));
    CapturedLog log("TRACE");
    Util::loadPixmapFromFile(path, 1);
    std::vector<std::string> names;
    for (const std::string &line : log.traceLines())
        names.push_back(line.substr(line.rfind('\t') + 1));
    EXPECT_THAT(names, ElementsAre("EnterUtil::loadPixmapFromFile", "EnterUtil::pixmapFromSVGBuffer",
                                   "ExitUtil::pixmapFromSVGBuffer", "ExitUtil::loadPixmapFromFile"));
}

TEST(UtilPixmapFromSVGBuffer, ScaleAppliesToTheRectangleOnly)
{
    EXPECT_TRUE(Util::pixmapFromSVGBuffer(QByteArray(), 1.0, nullptr).isNull());
    EXPECT_TRUE(Util::pixmapFromSVGBuffer(QByteArray(""), 1.0, nullptr).isNull());
    EXPECT_TRUE(Util::pixmapFromSVGBuffer(QByteArray("<svg"), 1.0, nullptr).isNull());

    struct Case
    {
        double scale;
        QRectF rect;
        bool withRect;
        QSize expected;
    };
    const Case cases[] = {
        {2.0, QRectF(), false, QSize(200, 100)},               // no rectangle: the scale is ignored
        {1.5, QRectF(0, 0, 10, 20), true, QSize(15, 30)},
        {1.0, QRectF(5, 5, 10.9, 20.9), true, QSize(10, 20)}, // truncated
        {0.5, QRectF(0, 0, 3, 3), true, QSize(1, 1)},
        {0.0, QRectF(0, 0, 10, 10), true, QSize()},            // empty: null
        {std::numeric_limits<double>::quiet_NaN(), QRectF(0, 0, 10, 10), true, QSize()},
    };
    for (const Case &c : cases) {
        const QPixmap pixmap = Util::pixmapFromSVGBuffer(kHalfRedSvg, c.scale, c.withRect ? &c.rect : nullptr);
        if (c.expected.isValid())
            EXPECT_EQ(pixmap.size(), c.expected) << c.scale;
        else
            EXPECT_TRUE(pixmap.isNull()) << c.scale;
    }
}

TEST(UtilPixmapFromSVGBuffer, DrawsOnTransparencyStretchedToTheSize)
{
    const QRectF rect(0, 0, 40, 40);
    const QImage image = argb(Util::pixmapFromSVGBuffer(kHalfRedSvg, 1.0, &rect));
    ASSERT_EQ(image.size(), QSize(40, 40));
    EXPECT_EQ(image.pixel(5, 35), qRgba(255, 0, 0, 255)); // left half
    EXPECT_EQ(image.pixel(35, 5), 0u);                     // right half: transparent
}

TEST(UtilPixmapFromSVGBuffer, RefusesAbsurdDefaultSizes)
{
    CapturedLog log("INFO");
    const QByteArray huge = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100000\" height=\"100000\"/>";
    EXPECT_TRUE(Util::pixmapFromSVGBuffer(huge, 1.0, nullptr).isNull());
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings().front(), HasSubstr("SVG image size exceeds the pixel limit: "));
    // A rectangle that asks for too much is refused as well.
    const QRectF rect(0, 0, 1e6, 1e6);
    EXPECT_TRUE(Util::pixmapFromSVGBuffer(kHalfRedSvg, 1.0, &rect).isNull());
}

TEST(UtilSVGtoImage, FillsWithTheRawPixelValueThree)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("half.svg"));
    ASSERT_TRUE(testsupport::writeFile(path, kHalfRedSvg));
    const QImage image = Util::SVGtoImage(path);
    ASSERT_EQ(image.size(), QSize(200, 100));
    EXPECT_EQ(image.format(), QImage::Format_ARGB32_Premultiplied);
    // Not the colour white: the number 3 as it is, alpha 0 and blue 3.
    const auto raw = [&image](int x, int y) { return reinterpret_cast<const quint32 *>(image.constScanLine(y))[x]; };
    EXPECT_EQ(raw(150, 50), 3u);
    EXPECT_EQ(raw(199, 99), 3u);
    EXPECT_EQ(raw(50, 50), 0xFFFF0000u);

    EXPECT_TRUE(Util::SVGtoImage(dir.filePath(QStringLiteral("missing.svg"))).isNull());
    ASSERT_TRUE(testsupport::writeFile(dir.filePath(QStringLiteral("bad.svg")), "<svg"));
    EXPECT_TRUE(Util::SVGtoImage(dir.filePath(QStringLiteral("bad.svg"))).isNull());
}

TEST(UtilWMFtoImage, DrawsTheConvertedMetafileAtItsSvgSize)
{
    QTemporaryDir dir;
    testsupport::WmfWriter wmf;
    wmf.windowOrg(0, 0);
    wmf.windowExt(2880, 1440);
    wmf.mapMode(8);
    // A colour without an SVG name, under a transparent background mode: a solid
    // brush covers whatever that mode says.
    wmf.backgroundMode(1);
    wmf.solidBrush(testsupport::colorRef(201, 17, 99));
    wmf.select(0);
    wmf.nullPen();
    wmf.select(1);
    wmf.rectangle(1440, 0, 2880, 1440); // the right half
    const QString path = dir.filePath(QStringLiteral("half.wmf"));
    ASSERT_TRUE(testsupport::writeFile(path, wmf.plain()));
    const QImage image = Util::WMFtoImage(path);
    ASSERT_EQ(image.size(), QSize(254, 127));
    EXPECT_EQ(image.format(), QImage::Format_ARGB32);
    EXPECT_EQ(image.pixel(200, 60), qRgba(201, 17, 99, 255));
    EXPECT_EQ(image.pixel(50, 60), 0u);
    EXPECT_TRUE(Util::WMFtoImage(dir.filePath(QStringLiteral("missing.wmf"))).isNull());
}

TEST(UtilRenderImageOnImage, DrawsTheOverlayAtItsOwnSize)
{
    QImage base(10, 8, QImage::Format_RGB32);
    base.fill(Qt::red);
    QImage overlay(3, 2, QImage::Format_RGB32);
    overlay.fill(Qt::blue);
    // where's size is ignored: only its top left corner counts.
    const QImage result = Util::renderImageOnImage(base, overlay, QRectF(2, 4, 100, 100));
    ASSERT_EQ(result.size(), QSize(10, 8));
    EXPECT_EQ(result.format(), QImage::Format_ARGB32);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 10; ++x) {
            const bool inOverlay = x >= 2 && x < 5 && y >= 4 && y < 6;
            EXPECT_EQ(result.pixel(x, y), inOverlay ? qRgb(0, 0, 255) : qRgb(255, 0, 0)) << x << "," << y;
        }
    EXPECT_TRUE(Util::renderImageOnImage(QImage(), overlay, QRectF()).isNull());
    // A transparent base stays transparent around the overlay.
    QImage clear(4, 4, QImage::Format_ARGB32);
    clear.fill(0);
    EXPECT_EQ(Util::renderImageOnImage(clear, overlay, QRectF(0, 0, 1, 1)).pixel(3, 3), 0u);
}

TEST(UtilCalculateImageSize, OnlyTheLongerSideIsComparedWithItsHalf)
{
    struct Case
    {
        QSize size, maxSize, expected;
    };
    const Case cases[] = {
        {QSize(800, 600), QSize(1000, 1000), QSize(500, 375)},
        {QSize(300, 200), QSize(1000, 1000), QSize(300, 200)},
        {QSize(600, 800), QSize(1000, 1000), QSize(375, 500)},
        {QSize(800, 800), QSize(1000, 600), QSize(300, 300)},   // square: compared as tall
        {QSize(1000, 300), QSize(1001, 10), QSize(500, 150)},   // integer halving; height not compared
        {QSize(900, 100), QSize(2000, 100), QSize(900, 100)},   // 100 > 50 but not the longer side
        {QSize(100, 900), QSize(100, 2000), QSize(100, 900)},
        {QSize(700, 300), QSize(1000, 1000), QSize(500, 214)},  // 214.28 truncated
        {QSize(10, 0), QSize(10, 10), QSize(5, 0)},
        {QSize(0, 0), QSize(10, 10), QSize(0, 0)},
    };
    for (const Case &c : cases)
        EXPECT_EQ(Util::calculateImageSize(c.size, c.maxSize), c.expected)
            << c.size.width() << "x" << c.size.height() << " in " << c.maxSize.width() << "x" << c.maxSize.height();
}

TEST(UtilBitmapAlphaPixmap, SetsEveryPixelWithAnyOpacity)
{
    QImage image(4, 1, QImage::Format_ARGB32);
    image.setPixel(0, 0, qRgba(255, 0, 0, 0));
    image.setPixel(1, 0, qRgba(0, 0, 0, 1));
    image.setPixel(2, 0, qRgba(255, 255, 255, 128));
    image.setPixel(3, 0, qRgba(255, 255, 255, 255));
    const QImage mask = Util::bitmapAlphaPixmap(QPixmap::fromImage(image)).toImage();
    ASSERT_EQ(mask.size(), QSize(4, 1));
    const QRgb set = QColor(Qt::color1).rgb();
    const QRgb clear = QColor(Qt::color0).rgb();
    EXPECT_EQ(mask.pixel(0, 0), clear);
    EXPECT_EQ(mask.pixel(1, 0), set);
    EXPECT_EQ(mask.pixel(2, 0), set);
    EXPECT_EQ(mask.pixel(3, 0), set);
    EXPECT_TRUE(Util::bitmapAlphaPixmap(QPixmap()).isNull());
}

TEST(UtilCreateFillColourSwatch, MarginOnTheTopAndLeftOnly)
{
    struct Case
    {
        QSize size;
        QColor colour;
    };
    const Case cases[] = {
        {QSize(16, 16), QColor(10, 200, 30)},
        {QSize(5, 3), QColor(0, 0, 255)},
        {QSize(24, 12), QColor(255, 0, 0, 128)}, // the alpha is kept
        {QSize(2, 2), QColor(0, 0, 0)},          // all margin
    };
    for (const Case &c : cases) {
        const QImage image = argb(Util::createFillColourSwatch(c.colour, c.size));
        ASSERT_EQ(image.size(), c.size);
        for (int y = 0; y < c.size.height(); ++y)
            for (int x = 0; x < c.size.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                if (x < 2 || y < 2) {
                    EXPECT_EQ(qAlpha(pixel), 0) << x << "," << y;
                } else {
                    EXPECT_EQ(qAlpha(pixel), c.colour.alpha()) << x << "," << y;
                    EXPECT_NEAR(qRed(pixel), c.colour.red(), 1) << x << "," << y;
                    EXPECT_NEAR(qGreen(pixel), c.colour.green(), 1) << x << "," << y;
                    EXPECT_NEAR(qBlue(pixel), c.colour.blue(), 1) << x << "," << y;
                }
            }
    }
    EXPECT_TRUE(Util::createFillColourSwatch(Qt::red, QSize(0, 0)).isNull());
}

TEST(UtilCreateTextColourSwatch, BoldLetterCentredOnTransparency)
{
    CapturedLog log("TRACE");
    const QColor colour(0, 0, 200);
    const QImage image = argb(Util::createTextColourSwatch(colour, QSize(16, 16)));
    ASSERT_EQ(image.size(), QSize(16, 16));
    QRect ink;
    int solid = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qAlpha(pixel) == 0)
                continue;
            ink |= QRect(x, y, 1, 1);
            if (qAlpha(pixel) == 255) {
                EXPECT_EQ(pixel, colour.rgba()) << x << "," << y;
                ++solid;
            }
        }
    ASSERT_FALSE(ink.isEmpty());
    // Nothing touches the corners; the letter sits around (7, 7).
    EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0);
    EXPECT_EQ(qAlpha(image.pixel(15, 15)), 0);
    EXPECT_NEAR(ink.center().x(), 7, 2);
    EXPECT_NEAR(ink.center().y(), 7, 2);
    // 8 points at 96 dots per inch: a capital about 8 pixels high, bold strokes.
    EXPECT_GE(ink.height(), 6);
    EXPECT_LE(ink.height(), 11);
    EXPECT_GT(solid, 4);

    std::vector<std::string> names;
    for (const std::string &line : log.traceLines())
        names.push_back(line.substr(line.rfind('\t') + 1));
    EXPECT_THAT(names, ElementsAre("EnterUtil::createTextColourSwatch", "ExitUtil::createTextColourSwatch"));
}
