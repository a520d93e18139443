// Icon synthesis: the single-precision margin of the font-size rule, the flat grey
// silhouette, where the overlay, icon and caption land, and when a caption is
// dropped. Captions are drawn in "Arial", which fontconfig resolves to a
// metric-compatible face (Liberation Sans), so ink extents are stable.
#include "testsupport.h"

#include <utility/iconutility.h>

#include <QFontMetrics>
#include <QGuiApplication>
#include <QPainter>

#include <gmock/gmock.h>

#include <cstring>
#include <functional>

using testsupport::CapturedLog;
using namespace ::testing;

namespace {

const QString kArial = QStringLiteral("Arial");
const QColor kBlue(40, 80, 200), kRed(255, 0, 0), kGreen(0, 255, 0);
constexpr QRgb kLightGray = 0xffc0c0c0;
const QRect kOrigin8(0, 0, 8, 8);

QPixmap solid(const QColor &colour)
{
    QPixmap pixmap(4, 4);
    pixmap.fill(colour);
    return pixmap;
}

QImage argb(const QPixmap &pixmap) { return pixmap.toImage().convertToFormat(QImage::Format_ARGB32); }

// The bounding rectangle and the number of the pixels that match.
std::pair<QRect, int> find(const QImage &image, const std::function<bool(QRgb)> &matches)
{
    std::pair<QRect, int> found{QRect(), 0};
    for (int i = 0, w = image.width(); i < w * image.height(); ++i)
        if (matches(image.pixel(i % w, i / w)))
            found = {found.first | QRect(i % w, i / w, 1, 1), found.second + 1};
    return found;
}
bool isInk(QRgb pixel) { return qAlpha(pixel) != 0; }
QRect inkOf(const QImage &image) { return find(image, isInk).first; }
int inkCount(const QImage &image) { return find(image, isInk).second; }
int countOf(const QImage &image, QRgb colour) { return find(image, [=](QRgb p) { return p == colour; }).second; }
// Text on the blue background: anything that is neither background nor red icon.
bool isTextOnBlue(QRgb pixel) { return pixel != kBlue.rgb() && pixel != kRed.rgb(); }

// Makes the painter's default font Arial at 10 points while it lives, so that a
// caption's reference measurement really is taken at 10 points.
struct ReferenceFont
{
    QFont previous = QGuiApplication::font();
    ReferenceFont() { QGuiApplication::setFont(QFont(kArial, 10)); }
    ~ReferenceFont() { QGuiApplication::setFont(previous); }
};

// greyed: 0 black, 1 light grey, 2 the eleven-argument form (never greyed).
QImage caption(const QString &text, const QRect &textRect, int flags, const QSize &size, int greyed = 0,
               bool italic = false, bool bold = false, bool underline = false)
{
    const QPixmap none = solid(Qt::transparent);
    if (greyed == 2)
        return argb(synthesizeIconImage(none, size, none, kOrigin8, text, kArial, textRect, flags, italic, bold, underline));
    return argb(synthesizeIconImage(none, size, none, kOrigin8, text, kArial, textRect, flags, italic, bold, underline,
                                    greyed == 1));
}

QPixmap sideBySide(const QPixmap &icon, QSize iconSize, const QString &text, int margin, bool iconFirst, bool bold = false)
{
    return synthesizeIconImage(solid(kBlue), icon, iconSize, text, kArial, 10, Qt::AlignLeft | Qt::AlignVCenter, false,
                               bold, false, false, margin, iconFirst);
}

QImage largeButton(const QString &text, double pointSize, const QRect &textRect, bool greyed = false)
{
    return argb(synthesizeLargeToolbarButtonIconImage(solid(Qt::transparent), {120, 80}, solid(Qt::transparent),
                                                      kOrigin8, text, kArial, pointSize, textRect,
                                                      Qt::AlignLeft | Qt::AlignTop, false, true, false, greyed));
}

} // namespace

TEST(getFontPointSize, TakesSixteenPercentOfTheHeightInSinglePrecisionFromEachSide)
{
    struct Case { QRect target, measured; double expected; const char *why; };
    const Case cases[] = {
        {QRect(0, 0, 100, 50), QRect(0, 0, 200, 20), 4.3, "50 x 0.16f = 7.9999998: margin 7, width 86 over 200"},
        {QRect(0, 0, 100, 50), QRect(0, 0, 100, 1), 8.6, "margin 7, not the 8 of a double or float product"},
        {QRect(0, 0, 100, 25), QRect(0, 0, 100, 1), 9.4, "25 x 0.16f = 3.9999999: margin 3"},
        {QRect(0, 0, 100, 6), QRect(0, 0, 10, 60), 1.0, "0.96: margin 0; the height decides"},
        {QRect(QPoint(10, 20), QPoint(109, 69)), QRect(5, 5, 200, 20), 4.3, "sizes are inclusive"},
        {QRect(0, 0, 1000, 10), QRect(0, 0, 10, 20), 5.0, "no vertical margin: 10 / 20"},
        {QRect(0, 0, 100, 50), QRect(0, 0, -5, 20), 25.0, "a negative measured width counts as 0"},
        // Too small for its margins, or nothing measured: one point and a warning.
        {QRect(0, 0, 10, 50), QRect(0, 0, 200, 20), 1.0, "-0.2"},
        {QRect(0, 0, 14, 50), QRect(0, 0, 200, 20), 1.0, "0"},
        {QRect(0, 0, 100, 50), QRect(), 1.0, "inf"},
    };
    for (const Case &c : cases) {
        CapturedLog log("INFO"); // warnings do not depend on the level
        EXPECT_DOUBLE_EQ(getFontPointSize(c.target, c.measured), c.expected) << c.why;
        // The rows that warn carry the value the warning shows instead of a reason.
        EXPECT_EQ(log.warnings().size(), std::strchr(c.why, ' ') ? 0u : 1u) << c.why;
        EXPECT_THAT(log.warnings(), Each(EndsWith("\tFont size too small so resetting to '1'. Size calculated as: "
                                                  + std::string(c.why))));
    }
}

TEST(grayScaleImage, TurnsEveryPixelWithSomeColourIntoOpaqueLightGrey)
{
    // Stored colours are premultiplied, so the test runs on what the pixmap holds.
    const std::pair<QRgb, bool> cases[] = {
        {qRgb(255, 0, 0), true},         {qRgb(255, 255, 255), true},    {qRgb(0, 0, 0), false},
        {qRgb(1, 1, 1), true},           {qRgb(2, 0, 0), false},         {qRgb(1, 1, 0), false}, // mean 2 / 3 = 0
        {qRgba(255, 255, 255, 0), false}, {qRgba(255, 0, 0, 128), true}, {qRgba(4, 0, 0, 128), false},
    };
    const int count = int(std::size(cases));
    QImage source(count, 2, QImage::Format_ARGB32); // two rows: every scan line is converted
    for (int i = 0; i < 2 * count; ++i)
        source.setPixel(i % count, i / count, cases[i % count].first);
    const QImage before = QPixmap::fromImage(source).toImage(),
                 after = grayScaleImage(QPixmap::fromImage(source)).toImage().convertToFormat(before.format());
    for (int i = 0; i < 2 * count; ++i)
        EXPECT_EQ(after.pixel(i % count, i / count), cases[i % count].second ? kLightGray : before.pixel(i % count, i / count)) << i;
    QImage indexed(1, 1, QImage::Format_Indexed8); // a palette source as well
    indexed.setColorTable({qRgb(200, 30, 30)});
    indexed.fill(0);
    EXPECT_EQ(argb(grayScaleImage(QPixmap::fromImage(indexed))).pixel(0, 0), kLightGray);
    EXPECT_TRUE(grayScaleImage(QPixmap()).isNull());
}

TEST(synthesizeIconImage, IsNullWithoutItsPiecesAndBareWithoutCaption)
{
    const QPixmap blue = solid(kBlue), red = solid(kRed);
    const QString x = QStringLiteral("x");
    const QPixmap nulls[] = {
        synthesizeIconImage(blue, {16, 16}, QPixmap(), kOrigin8), synthesizeIconImage(QPixmap(), {16, 16}, red, kOrigin8),
        synthesizeIconImage(blue, {0, 16}, red, kOrigin8), synthesizeIconImage(blue, {16, -1}, red, kOrigin8),
        synthesizeLargeToolbarButtonIconImage(blue, {32, 32}, QPixmap(), kOrigin8, x, kArial, 10.0, {0, 0, 32, 32}, 0,
                                              false, false, false, false),
        sideBySide(red, {16, 16}, QString(), 3, true), sideBySide(QPixmap(), {16, 16}, x, 3, true)};
    for (const QPixmap &pixmap : nulls)
        EXPECT_TRUE(pixmap.isNull());
    // No text or no room: no caption at all.
    for (const auto &[text, rect] : {std::pair(QString(), QRect(0, 10, 32, 20)), std::pair(x, QRect())})
        EXPECT_EQ(argb(synthesizeIconImage(blue, {32, 32}, red, kOrigin8, text, kArial, rect, 0, false, true, true, false)),
                  argb(synthesizeIconImage(blue, {32, 32}, red, kOrigin8)));
}

TEST(synthesizeIconImage, StretchesTheBackgroundAndSqueezesTheOverlayIntoTheVisiblePart)
{
    QImage halves(16, 16, QImage::Format_ARGB32); // the overlay: left half red, right half green
    halves.fill(kGreen);
    QPainter(&halves).fillRect(0, 0, 8, 16, kRed);
    struct Case { QRect overlayRect, expectedRed, expectedGreen; } const cases[] = {
        {QRect(8, 8, 16, 16), QRect(8, 8, 8, 16), QRect(16, 8, 8, 16)},
        // Partly outside: the whole overlay is squeezed into (24, 24) to (31, 31).
        {QRect(24, 24, 16, 16), QRect(24, 24, 4, 8), QRect(28, 24, 4, 8)},
        {QRect(-8, 0, 16, 32), QRect(0, 0, 4, 32), QRect(4, 0, 4, 32)},
        {QRect(40, 40, 16, 16), QRect(), QRect()}, // entirely outside: no overlay at all
    };
    for (const Case &c : cases) {
        const QImage image = argb(synthesizeIconImage(solid(kBlue), QSize(32, 32), QPixmap::fromImage(halves), c.overlayRect));
        for (int i = 0; i < 32 * 32; ++i) {
            const QPoint at(i % 32, i / 32);
            const QColor expected = c.expectedRed.contains(at) ? kRed : c.expectedGreen.contains(at) ? kGreen : kBlue;
            ASSERT_EQ(image.pixel(at), expected.rgb()) << at.x() << "," << at.y() << " overlay at " << c.overlayRect.x();
        }
    }
}

TEST(synthesizeIconImage, CaptionFillsItsRectangleLessTheMarginsInItsStyle)
{
    ReferenceFont reference;
    // 20 pixels high: margins of 3; the text's width limits its size.
    const QRect ink = inkOf(caption(QStringLiteral("Wide caption"), {10, 30, 100, 20}, 0, {120, 60}));
    EXPECT_TRUE(!ink.isEmpty() && QRect(10, 30, 100, 20).contains(ink));
    EXPECT_TRUE(ink.width() >= 80 && ink.width() <= 94 + 2) << "hinting may add a pixel or two, not a margin";

    // Black, light grey, and the eleven-argument form, which is never greyed:
    // antialiased edges may be lighter, never coloured; solid pixels are exact.
    for (int greyed : {0, 1, 2}) {
        const QImage image = caption(QStringLiteral("Open"), {10, 30, 80, 24}, Qt::AlignCenter, {100, 60}, greyed);
        const int grey = greyed == 1 ? 192 : 0;
        EXPECT_TRUE(QRect(10, 30, 80, 24).contains(inkOf(image)));
        EXPECT_EQ(find(image, [=](QRgb p) {
                      return isInk(p) && (qRed(p) != qGreen(p) || qGreen(p) != qBlue(p) || (qAlpha(p) == 255 && qRed(p) != grey));
                  }).second, 0);
        EXPECT_GT(countOf(image, qRgb(grey, grey, grey)), 20) << greyed;
    }

    // 80 pixels high: margins of 12, so the text's width sets its size with room to spare below.
    const auto draw = [](int flags, bool italic, bool bold, bool underline) {
        return caption(QStringLiteral("abc"), {0, 0, 64, 80}, flags, {64, 80}, 0, italic, bold, underline);
    };
    const QImage normal = draw(0, false, false, false), underlined = draw(0, false, false, true);
    EXPECT_TRUE(inkCount(draw(0, false, true, false)) > inkCount(normal) * 11 / 10 && draw(0, true, false, false) != normal);
    // "abc" has no descenders: an underline adds ink below the letters.
    EXPECT_TRUE(inkOf(underlined).bottom() > inkOf(normal).bottom() && inkCount(underlined) > inkCount(normal) + 10);
    // Flags 0 mean top left.
    const QRect topInk = inkOf(normal), bottomInk = inkOf(draw(Qt::AlignRight | Qt::AlignBottom, false, false, false));
    EXPECT_TRUE(topInk.bottom() < 40 && topInk.left() < 4 && bottomInk.top() >= 40 && bottomInk.left() > topInk.left());
}

TEST(synthesizeIconImage, SideBySideLaysOutIconAndCaption)
{
    // Icon first or last, with and without a margin, icons taller and shorter than the text.
    struct Case { QSize iconSize; int margin; bool iconFirst, bold; } const cases[] = {
        {{16, 16}, 3, true, false}, {{16, 16}, 0, true, true}, {{24, 40}, 5, false, true}, {{12, 8}, 2, false, false}};
    const QString text = QStringLiteral("Hello");
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.iconSize.width() << "x" << c.iconSize.height() << " margin " << c.margin);
        const QFontMetrics metrics(QFont(kArial, 10, c.bold ? QFont::Bold : QFont::Normal));
        const int textWidth = metrics.horizontalAdvance(text);
        const int height = std::max(c.iconSize.height(), metrics.height()) + 2 * c.margin;
        const int width = c.iconSize.width() + textWidth + 2 * c.margin + 10;
        const auto draw = [&](int margin) { return argb(sideBySide(solid(kRed), c.iconSize, text, margin, c.iconFirst, c.bold)); };
        const QImage image = draw(c.margin);
        ASSERT_EQ(image.size(), QSize(width, height));
        // The icon, scaled to its size, centred vertically.
        const QRect iconRect(QPoint(c.iconFirst ? c.margin : textWidth + c.margin + 9, height / 2 - c.iconSize.height() / 2),
                             c.iconSize);
        EXPECT_EQ(find(image, [](QRgb p) { return p == kRed.rgb(); }).first, iconRect);
        // With the icon first the caption starts at icon width + 10 (only 10 - margin
        // pixels after the icon), else at margin.
        const auto [ink, textPixels] = find(image, isTextOnBlue);
        const int start = c.iconFirst ? c.iconSize.width() + 10 : c.margin;
        EXPECT_TRUE(ink.left() >= start && ink.left() <= start + 2 && (c.iconFirst || ink.right() < iconRect.left())) << ink.left();
        // The background is stretched over everything else.
        EXPECT_EQ(countOf(image, kBlue.rgb()), width * height - iconRect.width() * iconRect.height() - textPixels);
        // The caption's box starts margin pixels down and is as high as the image, so
        // each pixel of margin moves the text down by two while the icon moves by one.
        EXPECT_EQ(ink.top() - find(draw(0), isTextOnBlue).first.top(), 2 * c.margin);
    }
}

TEST(synthesizeLargeToolbarButtonIconImage, DrawsTheCaptionAtTheGivenSizeOrNotAtAll)
{
    // A caption exactly as wide as painting reports at the size given is drawn in
    // its rectangle; one pixel less drops all of it (a size other than the one
    // given would measure differently and fail one of the two).
    const QString text = QStringLiteral("Highlighter");
    const int needed = QFontMetrics(QFont(kArial, 12, QFont::Bold)).boundingRect(QRect(), Qt::AlignLeft | Qt::AlignTop, text).width();
    ASSERT_GT(needed, 40);
    CapturedLog log("INFO");
    const QImage drawn = largeButton(text, 12.0, QRect(0, 20, needed, 40));
    EXPECT_TRUE(inkCount(drawn) > 50 && QRect(0, 20, needed, 40).contains(inkOf(drawn)) && log.warnings().empty());
    EXPECT_EQ(largeButton(text, 12.0, QRect(0, 20, needed - 1, 40)), largeButton(QString(), 12.0, {0, 20, needed, 40}));
    EXPECT_THAT(log.warnings(), ElementsAre(HasSubstr("\tButton text is too long: ")));
    // Greyed: only antialiased edges may differ from light grey.
    const QImage greyed = largeButton(QStringLiteral("Pen"), 10.0, {0, 20, 120, 60}, true);
    EXPECT_GT(countOf(greyed, kLightGray), 10);
    EXPECT_EQ(find(greyed, [](QRgb p) { return qAlpha(p) == 255 && p != kLightGray; }).second, 0);
}
