// Util image functions: the suffix routes and pixel budget of loadPixmapFromFile,
// SVG rendering (scale only with a rectangle, the raw fill value 3), composition,
// preview sizes, the alpha mask, the one-sided swatch margin and the size limits.
#include "metafilewriter.h"
#include "testsupport.h"

#include <utility/imageutility.h>

#include <QPainter>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <limits>

using namespace testsupport;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

// 200 x 100 with the left half red and the right half untouched.
const QByteArray kHalfRedSvg =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"200\" height=\"100\" viewBox=\"0 0 200 100\">"
    "<rect x=\"0\" y=\"0\" width=\"100\" height=\"100\" fill=\"#ff0000\"/></svg>";

QImage argb(const QPixmap &pixmap) { return pixmap.toImage().convertToFormat(QImage::Format_ARGB32); }

// Four solid quadrants, so that a nearest-neighbour reduction can be checked
// pixel by pixel away from the seams.
QImage quadrants(int width, int height) // red, green over blue, yellow
{
    static const QRgb corners[] = {qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255), qRgb(255, 255, 0)};
    return QImage(reinterpret_cast<const uchar *>(corners), 2, 2, QImage::Format_RGB32).scaled(width, height);
}

} // namespace

TEST(UtilLoadPixmapFromFile, ReducesRasterImagesToThePixelBudgetPickingSourcePixels)
{
    QTemporaryDir dir;
    const QString jpeg = dir.filePath(QStringLiteral("photo.jpg")), png = dir.filePath(QStringLiteral("quadrants.png"));
    ASSERT_TRUE(quadrants(4000, 3000).save(jpeg, "JPG", 90) && quadrants(4000, 3000).save(png, "PNG"));
    const std::pair<long, QSize> cases[] = {
        {3000000, {2000, 1500}},  // a quarter of the pixels: half of each side
        {20000000, {4000, 3000}}, // within the budget: untouched
        {12000000, {4000, 3000}}, // exactly the budget: untouched
        // One pixel less: 3999 x 2999 after truncation, which KeepAspectRatio then fits inside at 4:3.
        {11999999, {3998, 2999}}, {750000, {1000, 750}}, {0, {0, 0}}, {-5, {0, 0}}, // a budget of nothing leaves nothing
    };
    for (const auto &[budget, expected] : cases)
        EXPECT_EQ(Util::loadPixmapFromFile(jpeg, budget).size(), expected) << budget;

    // A fast (nearest) reduction: no blended colours, not even at the seams.
    const QImage reduced = argb(Util::loadPixmapFromFile(png, 3000000));
    ASSERT_EQ(reduced.size(), QSize(2000, 1500));
    const std::pair<QPoint, QRgb> pixels[] = {{{0, 0}, qRgb(255, 0, 0)},      {{999, 749}, qRgb(255, 0, 0)},
                                              {{1000, 749}, qRgb(0, 255, 0)}, {{999, 750}, qRgb(0, 0, 255)},
                                              {{1999, 1499}, qRgb(255, 255, 0)}};
    for (const auto &[at, colour] : pixels)
        EXPECT_EQ(reduced.pixel(at), colour) << at.x() << "," << at.y();
}

TEST(UtilLoadPixmapFromFile, RoutesBySuffixWhateverItsCase)
{
    QTemporaryDir dir;
    const auto loadAs = [&](const char *name, const QByteArray &bytes, long budget) {
        EXPECT_TRUE(writeFile(dir.filePath(QString::fromLatin1(name)), bytes));
        return Util::loadPixmapFromFile(dir.filePath(QString::fromLatin1(name)), budget);
    };
    EXPECT_TRUE(Util::loadPixmapFromFile(dir.filePath(QStringLiteral("missing.png")), 100).isNull());
    // SVG: the default size, whatever the budget; metafiles through the rasteriser at scale 1.0.
    for (const char *name : {"a.svg", "b.Svg", "c.SVG"})
        EXPECT_EQ(loadAs(name, kHalfRedSvg, 10).size(), QSize(200, 100)) << name;
    for (const char *name : {"e.emf", "f.EMF", "g.Wmf"})
        EXPECT_EQ(loadAs(name, EmfWriter(0, 0, 10000, 5000).bytes(), 10).size(), QSize(500, 250)) << name;
    // SVG content under another suffix goes to the raster route and its budget.
    EXPECT_NE(loadAs("d.svgz", kHalfRedSvg, 10).size(), QSize(200, 100));
    // Undecodable content: null, on every route.
    for (const char *name : {"h.png", "i.svg", "j.emf"})
        EXPECT_TRUE(loadAs(name, "not a picture", 1000000).isNull()) << name;
}

TEST(UtilLoadPixmapFromFile, RefusesImagesBeyondTheMemoryLimitBeforeDecoding)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("big.png"));
    struct Case { quint32 width, height; bool refused; } const cases[] = {
        {60000, 60000, true}, // 14.4 GB
        {16385, 4096, true},  // just over 256 MiB at 4 bytes per pixel
        {4000, 3000, false},  // declared fine; the missing pixels then fail the decode
    };
    for (const Case &c : cases) {
        CapturedLog log("INFO");
        ASSERT_TRUE(writeFile(path, pngHeaderOnly(c.width, c.height)));
        EXPECT_TRUE(Util::loadPixmapFromFile(path, 1000000).isNull());
        EXPECT_EQ(log.warnings().size(), c.refused ? 1u : 0u) << c.width << " x " << c.height;
        EXPECT_THAT(log.warnings(), ::testing::Each(HasSubstr("Image too large to decode: ")));
    }
}

TEST(UtilPixmapFromSVGBuffer, ScaleAppliesToTheRectangleOnlyOnTransparency)
{
    CapturedLog log("INFO");
    for (const QByteArray &bad : {QByteArray(), QByteArray(""), QByteArray("<svg")})
        EXPECT_TRUE(Util::pixmapFromSVGBuffer(bad, 1.0, nullptr).isNull());
    struct Case { double scale; QRectF rect; bool withRect; QSize expected; } const cases[] = {
        {2.0, QRectF(), false, QSize(200, 100)}, // no rectangle: the scale is ignored
        {1.5, QRectF(0, 0, 10, 20), true, QSize(15, 30)},
        {1.0, QRectF(5, 5, 10.9, 20.9), true, QSize(10, 20)}, // truncated
        {0.5, QRectF(0, 0, 3, 3), true, QSize(1, 1)},
        {0.0, QRectF(0, 0, 10, 10), true, QSize(0, 0)}, // empty: null
        {std::numeric_limits<double>::quiet_NaN(), QRectF(0, 0, 10, 10), true, QSize(0, 0)},
        {1.0, QRectF(0, 0, 1e6, 1e6), true, QSize(0, 0)}, // asks for too much
    };
    for (const Case &c : cases) {
        const QPixmap pixmap = Util::pixmapFromSVGBuffer(kHalfRedSvg, c.scale, c.withRect ? &c.rect : nullptr);
        EXPECT_TRUE(c.expected.isEmpty() ? pixmap.isNull() : pixmap.size() == c.expected) << c.scale << " " << c.rect.width();
    }
    const QRectF rect(0, 0, 40, 40);
    const QImage image = argb(Util::pixmapFromSVGBuffer(kHalfRedSvg, 1.0, &rect));
    ASSERT_EQ(image.size(), QSize(40, 40));
    EXPECT_EQ(image.pixel(5, 35), qRgba(255, 0, 0, 255)); // left half
    EXPECT_EQ(image.pixel(35, 5), 0u);                     // right half: transparent

    log.clear();
    const QByteArray huge = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100000\" height=\"100000\"/>";
    EXPECT_TRUE(Util::pixmapFromSVGBuffer(huge, 1.0, nullptr).isNull());
    EXPECT_THAT(log.warnings(), ElementsAre(HasSubstr("SVG image size exceeds the pixel limit: ")));
}

TEST(UtilSVGtoImage, FillsWithTheRawPixelValueThreeAndWMFtoImageOnTransparency)
{
    QTemporaryDir dir;
    const QString svg = dir.filePath(QStringLiteral("half.svg")), bad = dir.filePath(QStringLiteral("bad.svg"));
    ASSERT_TRUE(writeFile(svg, kHalfRedSvg) && writeFile(bad, "<svg"));
    const QImage image = Util::SVGtoImage(svg);
    ASSERT_EQ(image.size(), QSize(200, 100));
    EXPECT_EQ(image.format(), QImage::Format_ARGB32_Premultiplied);
    // Not the colour white: the number 3 as it is, alpha 0 and blue 3.
    const auto raw = [&image](int x, int y) { return reinterpret_cast<const quint32 *>(image.constScanLine(y))[x]; };
    EXPECT_TRUE(raw(150, 50) == 3u && raw(199, 99) == 3u && raw(50, 50) == 0xFFFF0000u) << raw(150, 50);
    EXPECT_TRUE(Util::SVGtoImage(dir.filePath(QStringLiteral("missing.svg"))).isNull() && Util::SVGtoImage(bad).isNull());

    // A colour without an SVG name over the right half, under a transparent
    // background mode: a solid brush covers whatever that mode says.
    const QString path = dir.filePath(QStringLiteral("half.wmf"));
    ASSERT_TRUE(writeFile(path, rectangleWmf(2880, 1440, QRect(1440, 0, 1440, 1440), colorRef(201, 17, 99)).plain()));
    const QImage drawn = Util::WMFtoImage(path);
    ASSERT_EQ(drawn.size(), QSize(254, 127));
    EXPECT_EQ(drawn.format(), QImage::Format_ARGB32);
    EXPECT_TRUE(drawn.pixel(200, 60) == qRgba(201, 17, 99, 255) && drawn.pixel(50, 60) == 0u);
    EXPECT_TRUE(Util::WMFtoImage(dir.filePath(QStringLiteral("missing.wmf"))).isNull());
}

TEST(UtilRenderImageOnImage, DrawsTheOverlayAtItsOwnSize)
{
    QImage base(10, 8, QImage::Format_RGB32), overlay(3, 2, QImage::Format_RGB32), clear(4, 4, QImage::Format_ARGB32);
    base.fill(Qt::red);
    overlay.fill(Qt::blue);
    clear.fill(0);
    // where's size is ignored: only its top left corner counts.
    QImage expected = base.convertToFormat(QImage::Format_ARGB32);
    QPainter(&expected).fillRect(2, 4, 3, 2, Qt::blue);
    EXPECT_EQ(Util::renderImageOnImage(base, overlay, QRectF(2, 4, 100, 100)), expected);
    EXPECT_TRUE(Util::renderImageOnImage(QImage(), overlay, QRectF()).isNull());
    // A transparent base stays transparent around the overlay.
    EXPECT_EQ(Util::renderImageOnImage(clear, overlay, QRectF(0, 0, 1, 1)).pixel(3, 3), 0u);
}

TEST(UtilCalculateImageSize, OnlyTheLongerSideIsComparedWithItsHalf)
{
    struct Case { QSize size, maxSize, expected; } const cases[] = {
        {{800, 600}, {1000, 1000}, {500, 375}}, {{300, 200}, {1000, 1000}, {300, 200}}, {{600, 800}, {1000, 1000}, {375, 500}},
        {{800, 800}, {1000, 600}, {300, 300}}, // square: compared as tall
        {{1000, 300}, {1001, 10}, {500, 150}}, // integer halving; height not compared
        {{900, 100}, {2000, 100}, {900, 100}}, // 100 > 50 but not the longer side
        {{100, 900}, {100, 2000}, {100, 900}}, {{700, 300}, {1000, 1000}, {500, 214}}, // 214.28 truncated
        {{10, 0}, {10, 10}, {5, 0}}, {{0, 0}, {10, 10}, {0, 0}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(Util::calculateImageSize(c.size, c.maxSize), c.expected) << c.size.width() << "x" << c.size.height()
                                                                            << " in " << c.maxSize.width() << "x" << c.maxSize.height();
}

TEST(UtilBitmapAlphaPixmap, SetsEveryPixelWithAnyOpacity)
{
    const QRgb pixels[] = {qRgba(255, 0, 0, 0), qRgba(0, 0, 0, 1), qRgba(255, 255, 255, 128), qRgba(255, 255, 255, 255)};
    const QImage image(reinterpret_cast<const uchar *>(pixels), 4, 1, QImage::Format_ARGB32);
    const QImage mask = Util::bitmapAlphaPixmap(QPixmap::fromImage(image)).toImage();
    for (int x = 0; x < 4; ++x)
        EXPECT_EQ(mask.pixel(x, 0), QColor(x == 0 ? Qt::color0 : Qt::color1).rgb()) << x;
    EXPECT_TRUE(Util::bitmapAlphaPixmap(QPixmap()).isNull());
}

TEST(UtilCreateFillColourSwatch, MarginOnTheTopAndLeftOnly)
{
    const std::pair<QSize, QColor> cases[] = {{{16, 16}, QColor(10, 200, 30)}, {{5, 3}, QColor(0, 0, 255)},
                                              {{24, 12}, QColor(255, 0, 0, 128)}, // the alpha is kept
                                              {{2, 2}, QColor(0, 0, 0)}};         // all margin
    for (const auto &[size, colour] : cases) {
        const QImage image = argb(Util::createFillColourSwatch(colour, size));
        ASSERT_EQ(image.size(), size);
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                const bool margin = x < 2 || y < 2;
                EXPECT_EQ(qAlpha(p), margin ? 0 : colour.alpha()) << x << "," << y;
                if (!margin)
                    EXPECT_TRUE(std::abs(qRed(p) - colour.red()) <= 1 && std::abs(qGreen(p) - colour.green()) <= 1
                                && std::abs(qBlue(p) - colour.blue()) <= 1) << x << "," << y;
            }
    }
    EXPECT_TRUE(Util::createFillColourSwatch(Qt::red, QSize(0, 0)).isNull());
}

TEST(UtilCreateTextColourSwatch, BoldLetterCentredOnTransparency)
{
    const QColor colour(0, 0, 200);
    const QImage image = argb(Util::createTextColourSwatch(colour, QSize(16, 16)));
    ASSERT_EQ(image.size(), QSize(16, 16));
    QRect ink;
    int solid = 0;
    for (int i = 0; i < 256; ++i) {
        const QRgb pixel = image.pixel(i % 16, i / 16);
        ink |= qAlpha(pixel) != 0 ? QRect(i % 16, i / 16, 1, 1) : QRect();
        solid += qAlpha(pixel) == 255;
        EXPECT_TRUE(qAlpha(pixel) != 255 || pixel == colour.rgba()) << i % 16 << "," << i / 16;
    }
    // Nothing touches the corners; the letter sits around (7, 7). 8 points at 96
    // dots per inch: a capital about 8 pixels high, bold strokes.
    EXPECT_TRUE(qAlpha(image.pixel(0, 0)) == 0 && qAlpha(image.pixel(15, 15)) == 0);
    EXPECT_TRUE(std::abs(ink.center().x() - 7) <= 2 && std::abs(ink.center().y() - 7) <= 2) << ink.x() << "," << ink.y();
    EXPECT_TRUE(ink.height() >= 6 && ink.height() <= 11 && solid > 4) << ink.height() << " " << solid;
}
