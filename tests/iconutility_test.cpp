// Icon synthesis: the single-precision margin of the font-size rule, the flat grey
// silhouette, where the overlay, icon and caption land, and when a caption is
// dropped. Captions are drawn in "Arial", which fontconfig resolves to a
// metric-compatible face (Liberation Sans), so ink extents are stable.
#include "testsupport.h"

#include <utility/iconutility.h>

#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <gmock/gmock.h>

#include <functional>

using testsupport::CapturedLog;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

const QString kArial = QStringLiteral("Arial");
const QColor kBlue(40, 80, 200);
const QColor kRed(255, 0, 0);
const QColor kGreen(0, 255, 0);
constexpr QRgb kLightGray = 0xffc0c0c0;

QPixmap solid(int width, int height, const QColor &colour)
{
    QPixmap pixmap(width, height);
    pixmap.fill(colour);
    return pixmap;
}

QPixmap transparentPixmap(int width, int height)
{
    return solid(width, height, Qt::transparent);
}

// Left half red, right half green.
QPixmap halves(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(kGreen);
    QPainter painter(&image);
    painter.fillRect(0, 0, width / 2, height, kRed);
    painter.end();
    return QPixmap::fromImage(image);
}

QImage argb(const QPixmap &pixmap)
{
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
}

// The smallest rectangle holding every pixel that matches.
QRect boundsOf(const QImage &image, const std::function<bool(QRgb)> &matches)
{
    QRect bounds;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (matches(image.pixel(x, y)))
                bounds |= QRect(x, y, 1, 1);
    return bounds;
}

int countOf(const QImage &image, const std::function<bool(QRgb)> &matches)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            count += matches(image.pixel(x, y)) ? 1 : 0;
    return count;
}

bool isInk(QRgb pixel)
{
    return qAlpha(pixel) != 0;
}

// Text on the blue background: anything that is neither background nor red icon.
bool isTextOnBlue(QRgb pixel)
{
    return pixel != kBlue.rgb() && pixel != kRed.rgb();
}

// What follows the location prefix (".\file.cpp<TAB>line<TAB>").
std::string withoutLocation(const std::string &line)
{
    const auto first = line.find('\t');
    const auto second = line.find('\t', first + 1);
    return second == std::string::npos ? line : line.substr(second + 1);
}

std::vector<std::string> stripped(const std::vector<std::string> &lines)
{
    std::vector<std::string> result;
    for (const std::string &line : lines)
        result.push_back(withoutLocation(line));
    return result;
}

// Makes the painter's default font Arial at 10 points for the lifetime of the
// object, so that a caption's reference measurement really is taken at 10 points.
class ReferenceFont
{
public:
    ReferenceFont()
        : m_previous(QGuiApplication::font())
    {
        QGuiApplication::setFont(QFont(kArial, 10));
    }
    ~ReferenceFont() { QGuiApplication::setFont(m_previous); }
    ReferenceFont(const ReferenceFont &) = delete;
    ReferenceFont &operator=(const ReferenceFont &) = delete;

private:
    QFont m_previous;
};

QPixmap caption(const QString &text, const QRect &textRect, int flags, bool italic, bool bold, bool underline,
                bool greyed, const QSize &size = QSize(100, 60))
{
    return synthesizeIconImage(transparentPixmap(4, 4), size, transparentPixmap(4, 4), QRect(0, 0, 4, 4), text,
                               kArial, textRect, flags, italic, bold, underline, greyed);
}

} // namespace

TEST(getFontPointSize, TakesSixteenPercentOfTheHeightInSinglePrecisionFromEachSide)
{
    struct Case
    {
        QRect target;
        QRect measured;
        double expected;
        const char *why;
    };
    const Case cases[] = {
        {QRect(0, 0, 100, 50), QRect(0, 0, 200, 20), 4.3, "50 x 0.16f = 7.9999998: margin 7, width 86 over 200"},
        {QRect(0, 0, 100, 50), QRect(0, 0, 100, 1), 8.6, "margin 7, not the 8 of a double or float product"},
        {QRect(0, 0, 100, 25), QRect(0, 0, 100, 1), 9.4, "25 x 0.16f = 3.9999999: margin 3"},
        {QRect(0, 0, 100, 75), QRect(0, 0, 100, 1), 7.8, "75 x 0.16f = 11.9999997: margin 11"},
        {QRect(0, 0, 200, 100), QRect(0, 0, 100, 1), 17.0, "margin 15"},
        {QRect(0, 0, 100, 6), QRect(0, 0, 10, 60), 1.0, "0.96: margin 0; the height decides"},
        {QRect(QPoint(10, 20), QPoint(109, 69)), QRect(5, 5, 200, 20), 4.3, "sizes are inclusive"},
        {QRect(0, 0, 1000, 10), QRect(0, 0, 10, 20), 5.0, "no vertical margin: 10 / 20"},
        {QRect(0, 0, 100, 50), QRect(0, 0, -5, 20), 25.0, "a negative measured width counts as 0"},
    };
    for (const Case &c : cases)
        EXPECT_DOUBLE_EQ(getFontPointSize(c.target, c.measured), c.expected) << c.why;
}

TEST(getFontPointSize, FallsBackToOnePointWithAWarning)
{
    struct Case
    {
        QRect target;
        QRect measured;
        std::string value;
    };
    const Case cases[] = {
        {QRect(0, 0, 10, 50), QRect(0, 0, 200, 20), "-0.2"}, // narrower than its two 7-pixel margins
        {QRect(0, 0, 14, 50), QRect(0, 0, 200, 20), "0"},    // exactly as wide as its margins
        {QRect(0, 0, 100, 50), QRect(), "inf"},              // nothing measured: no ratio at all
    };
    for (const Case &c : cases) {
        CapturedLog log("INFO"); // warnings do not depend on the level
        EXPECT_EQ(getFontPointSize(c.target, c.measured), 1.0) << c.value;
        EXPECT_THAT(stripped(log.warnings()),
                    ElementsAre("Font size too small so resetting to '1'. Size calculated as: " + c.value));
        EXPECT_TRUE(log.traceLines().empty());
    }
    CapturedLog log("INFO");
    getFontPointSize(QRect(0, 0, 100, 50), QRect(0, 0, 200, 20));
    EXPECT_TRUE(log.warnings().empty());
}

TEST(getFontPointSize, IsTraced)
{
    CapturedLog log("TRACE");
    getFontPointSize(QRect(0, 0, 100, 50), QRect(0, 0, 200, 20));
    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], ::testing::StartsWith(".\\iconutility.cpp\t"));
    EXPECT_THAT(stripped(lines), ElementsAre("EntergetFontPointSize", "ExitgetFontPointSize"));
}

TEST(grayScaleImage, TurnsEveryPixelWithSomeColourIntoOpaqueLightGrey)
{
    // Stored colours are premultiplied, so the test runs on what the pixmap holds.
    struct Case
    {
        QRgb in;
        bool becomesGrey;
        const char *why;
    };
    const Case cases[] = {
        {qRgb(255, 0, 0), true, "pure red"},
        {qRgb(255, 255, 255), true, "white turns darker"},
        {qRgb(0, 0, 0), false, "black stays black"},
        {qRgb(1, 1, 1), true, "mean 1"},
        {qRgb(2, 0, 0), false, "mean 2 / 3 = 0 in integers"},
        {qRgb(1, 1, 0), false, "mean 2 / 3 = 0 in integers"},
        {qRgba(255, 255, 255, 0), false, "fully transparent: premultiplied to 0"},
        {qRgba(255, 0, 0, 128), true, "half-transparent red becomes opaque grey"},
        {qRgba(4, 0, 0, 128), false, "premultiplied red 2: mean 0"},
    };
    const int count = static_cast<int>(sizeof cases / sizeof cases[0]);
    QImage source(count, 2, QImage::Format_ARGB32);
    for (int x = 0; x < count; ++x) {
        source.setPixel(x, 0, cases[x].in);
        source.setPixel(x, 1, cases[x].in);
    }
    const QPixmap pixmap = QPixmap::fromImage(source);
    const QImage before = pixmap.toImage();
    const QPixmap grey = grayScaleImage(pixmap);
    ASSERT_EQ(grey.size(), pixmap.size());
    const QImage after = grey.toImage().convertToFormat(before.format());
    for (int x = 0; x < count; ++x) {
        for (int y = 0; y < 2; ++y) {
            if (cases[x].becomesGrey)
                EXPECT_EQ(after.pixel(x, y), kLightGray) << cases[x].why;
            else
                EXPECT_EQ(after.pixel(x, y), before.pixel(x, y)) << cases[x].why;
        }
    }
}

TEST(grayScaleImage, WorksOnOpaqueAndIndexedSources)
{
    const QImage opaque = grayScaleImage(solid(3, 5, kBlue)).toImage();
    EXPECT_EQ(opaque.size(), QSize(3, 5));
    EXPECT_EQ(countOf(opaque, [](QRgb p) { return p == kLightGray; }), 15);

    QImage indexed(4, 1, QImage::Format_Indexed8);
    indexed.setColorTable({qRgb(0, 0, 0), qRgb(200, 30, 30)});
    for (int x = 0; x < 4; ++x)
        indexed.setPixel(x, 0, static_cast<uint>(x % 2));
    const QImage grey = argb(grayScaleImage(QPixmap::fromImage(indexed)));
    EXPECT_EQ(grey.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_EQ(grey.pixel(1, 0), kLightGray);
    EXPECT_EQ(grey.pixel(2, 0), qRgb(0, 0, 0));
    EXPECT_EQ(grey.pixel(3, 0), kLightGray);

    EXPECT_TRUE(grayScaleImage(QPixmap()).isNull());
}

TEST(synthesizeIconImage, IsNullWithoutBackgroundOverlayOrSize)
{
    const QPixmap background = solid(4, 4, kBlue);
    const QPixmap overlay = solid(4, 4, kRed);
    const QRect rect(0, 0, 8, 8);
    EXPECT_TRUE(synthesizeIconImage(background, QSize(16, 16), QPixmap(), rect).isNull());
    EXPECT_TRUE(synthesizeIconImage(QPixmap(), QSize(16, 16), overlay, rect).isNull());
    EXPECT_TRUE(synthesizeIconImage(background, QSize(0, 16), overlay, rect).isNull());
    EXPECT_TRUE(synthesizeIconImage(background, QSize(16, -1), overlay, rect).isNull());
    EXPECT_TRUE(synthesizeIconImage(background, QSize(16, 16), QPixmap(), rect, QStringLiteral("Text"), kArial,
                                    QRect(0, 0, 16, 16), 0, false, false, false, true)
                    .isNull());
    EXPECT_FALSE(synthesizeIconImage(background, QSize(16, 16), overlay, rect).isNull());
}

TEST(synthesizeIconImage, StretchesTheBackgroundAndSqueezesTheOverlayIntoTheVisiblePart)
{
    struct Case
    {
        QRect overlayRect;
        QRect expectedRed;   // the overlay's left half
        QRect expectedGreen; // its right half
    };
    const Case cases[] = {
        {QRect(8, 8, 16, 16), QRect(8, 8, 8, 16), QRect(16, 8, 8, 16)},
        // Partly outside: the whole overlay is squeezed into (24, 24) to (31, 31).
        {QRect(24, 24, 16, 16), QRect(24, 24, 4, 8), QRect(28, 24, 4, 8)},
        {QRect(-8, 0, 16, 32), QRect(0, 0, 4, 32), QRect(4, 0, 4, 32)},
        // Entirely outside: no overlay at all.
        {QRect(40, 40, 16, 16), QRect(), QRect()},
    };
    for (const Case &c : cases) {
        const QPixmap icon = synthesizeIconImage(solid(4, 4, kBlue), QSize(32, 32), halves(16, 16), c.overlayRect);
        ASSERT_EQ(icon.size(), QSize(32, 32));
        const QImage image = argb(icon);
        for (int y = 0; y < 32; ++y) {
            for (int x = 0; x < 32; ++x) {
                const QColor expected = c.expectedRed.contains(x, y) ? kRed
                                        : c.expectedGreen.contains(x, y) ? kGreen
                                                                         : kBlue;
                ASSERT_EQ(image.pixel(x, y), expected.rgb()) << "(" << x << ", " << y << ") overlay at "
                                                             << c.overlayRect.x() << ", " << c.overlayRect.y();
            }
        }
    }
}

TEST(synthesizeIconImage, CaptionFillsItsRectangleLessTheMargins)
{
    ReferenceFont reference;
    // 20 pixels high: margins of 3; the text's width limits its size.
    const QRect textRect(10, 30, 100, 20);
    const QImage image = argb(caption(QStringLiteral("Wide caption"), textRect, Qt::AlignLeft | Qt::AlignTop, false,
                                      false, false, false, QSize(120, 60)));
    const QRect ink = boundsOf(image, isInk);
    ASSERT_FALSE(ink.isEmpty());
    EXPECT_TRUE(textRect.contains(ink)) << ink.x() << "," << ink.y() << " " << ink.width() << "x" << ink.height();
    EXPECT_LE(ink.width(), 94 + 2) << "hinting may add a pixel or two, not a margin";
    EXPECT_GE(ink.width(), 80);

    // Twice the rectangle (margins of 6, room for 188 pixels) carries twice the text.
    const QRect twiceRect(0, 0, 200, 40);
    const QImage twice = argb(caption(QStringLiteral("Wide caption"), twiceRect, Qt::AlignLeft | Qt::AlignTop, false,
                                      false, false, false, QSize(200, 40)));
    const QRect twiceInk = boundsOf(twice, isInk);
    EXPECT_NEAR(twiceInk.width(), 2.0 * ink.width(), 0.08 * twiceInk.width());
    EXPECT_LE(twiceInk.width(), 188 + 2) << "hinting may add a pixel or two, not a margin";
}

TEST(synthesizeIconImage, CaptionIsBlackOrLightGreyAndStaysInItsRectangle)
{
    const QRect textRect(10, 30, 80, 24);
    for (bool greyed : {false, true}) {
        const QImage image =
            argb(caption(QStringLiteral("Open"), textRect, Qt::AlignCenter, false, false, false, greyed));
        const QRect ink = boundsOf(image, isInk);
        ASSERT_FALSE(ink.isEmpty());
        EXPECT_TRUE(textRect.contains(ink));
        const int expected = greyed ? 192 : 0;
        int opaque = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                if (qAlpha(p) == 0)
                    continue;
                EXPECT_EQ(qRed(p), qGreen(p));
                EXPECT_EQ(qGreen(p), qBlue(p));
                if (qAlpha(p) == 255) {
                    EXPECT_EQ(qRed(p), expected) << "(" << x << ", " << y << ")";
                    ++opaque;
                }
            }
        }
        EXPECT_GT(opaque, 20) << (greyed ? "greyed" : "black");
    }
    // The eleven-argument form is never greyed.
    const QImage plain = argb(synthesizeIconImage(transparentPixmap(4, 4), QSize(100, 60), transparentPixmap(4, 4),
                                                  QRect(0, 0, 4, 4), QStringLiteral("Open"), kArial, textRect,
                                                  Qt::AlignCenter, false, false, false));
    EXPECT_GT(countOf(plain, [](QRgb p) { return p == qRgb(0, 0, 0); }), 20);
}

TEST(synthesizeIconImage, CaptionStyleFlagsAndAlignment)
{
    ReferenceFont reference;
    // 80 pixels high: margins of 12, so the text's width sets its size and the
    // rectangle has room to spare below it.
    const QRect textRect(0, 0, 64, 80);
    const QString text = QStringLiteral("abc");
    const auto inkCount = [](const QImage &image) { return countOf(image, isInk); };
    const auto draw = [&](int flags, bool italic, bool bold, bool underline) {
        return argb(caption(text, textRect, flags, italic, bold, underline, false, QSize(64, 80)));
    };
    const QImage normal = draw(0, false, false, false);
    const QImage bold = draw(0, false, true, false);
    const QImage italic = draw(0, true, false, false);
    const QImage underlined = draw(0, false, false, true);
    EXPECT_GT(inkCount(bold), inkCount(normal) * 11 / 10);
    EXPECT_NE(italic, normal);
    EXPECT_GT(inkCount(underlined), inkCount(normal));
    // An underline is a row of ink wider than any row of the letters alone.
    const auto widestRow = [](const QImage &image) {
        int widest = 0;
        for (int y = 0; y < image.height(); ++y) {
            int row = 0;
            for (int x = 0; x < image.width(); ++x)
                row += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
            widest = std::max(widest, row);
        }
        return widest;
    };
    EXPECT_GT(widestRow(underlined), widestRow(normal) + 10);

    // Flags 0 mean top left.
    const QRect topInk = boundsOf(normal, isInk);
    const QRect bottomInk = boundsOf(draw(Qt::AlignRight | Qt::AlignBottom, false, false, false), isInk);
    EXPECT_LT(topInk.bottom(), 40);
    EXPECT_LT(topInk.left(), 4);
    EXPECT_GE(bottomInk.top(), 40);
    EXPECT_GT(bottomInk.left(), topInk.left());
}

TEST(synthesizeIconImage, WithoutTextOrRoomThereIsNoCaption)
{
    const QImage bare = argb(synthesizeIconImage(solid(4, 4, kBlue), QSize(32, 32), solid(4, 4, kRed),
                                                 QRect(0, 0, 8, 8)));
    const QImage noText = argb(synthesizeIconImage(solid(4, 4, kBlue), QSize(32, 32), solid(4, 4, kRed),
                                                   QRect(0, 0, 8, 8), QString(), kArial, QRect(0, 10, 32, 20), 0,
                                                   false, true, true, false));
    const QImage noRoom = argb(synthesizeIconImage(solid(4, 4, kBlue), QSize(32, 32), solid(4, 4, kRed),
                                                   QRect(0, 0, 8, 8), QStringLiteral("Text"), kArial, QRect(), 0,
                                                   false, false, false, false));
    EXPECT_EQ(noText, bare);
    EXPECT_EQ(noRoom, bare);
}

TEST(synthesizeIconImage, FullVariantsAreTraced)
{
    CapturedLog log("TRACE");
    synthesizeIconImage(solid(4, 4, kBlue), QSize(32, 32), solid(4, 4, kRed), QRect(0, 0, 8, 8));
    EXPECT_THAT(stripped(log.traceLines()), ElementsAre("EntersynthesizeIconImage", "ExitsynthesizeIconImage"));

    log.clear();
    synthesizeIconImage(solid(4, 4, kBlue), QSize(32, 32), solid(4, 4, kRed), QRect(0, 0, 8, 8),
                        QStringLiteral("Go"), kArial, QRect(0, 16, 32, 16), 0, false, false, false);
    EXPECT_THAT(stripped(log.traceLines()),
                ElementsAre("EntersynthesizeIconImage", "EntersynthesizeIconImage", "EntergetFontPointSize",
                            "ExitgetFontPointSize", "ExitsynthesizeIconImage", "ExitsynthesizeIconImage"));

    log.clear();
    EXPECT_TRUE(synthesizeIconImage(QPixmap(), QSize(32, 32), solid(4, 4, kRed), QRect(0, 0, 8, 8)).isNull());
    EXPECT_THAT(stripped(log.traceLines()), ElementsAre("EntersynthesizeIconImage", "ExitsynthesizeIconImage"));
    EXPECT_TRUE(log.warnings().empty());
}

namespace {

struct SideBySide
{
    QSize iconSize;
    int margin;
    bool iconFirst;
    bool bold;
};

QPixmap sideBySide(const SideBySide &c, const QString &text)
{
    return synthesizeIconImage(solid(4, 4, kBlue), solid(4, 4, kRed), c.iconSize, text, kArial, 10,
                               Qt::AlignLeft | Qt::AlignVCenter, false, c.bold, false, false, c.margin, c.iconFirst);
}

QFont sideBySideFont(bool bold)
{
    QFont font(kArial, 10);
    font.setBold(bold);
    return font;
}

} // namespace

TEST(synthesizeIconImage, SideBySideLaysOutIconAndCaption)
{
    const QString text = QStringLiteral("Hello");
    const SideBySide cases[] = {
        {QSize(16, 16), 3, true, false},  {QSize(16, 16), 3, false, false}, {QSize(16, 16), 0, true, true},
        {QSize(24, 40), 5, false, true},  {QSize(24, 40), 5, true, false},  {QSize(12, 8), 2, false, false},
    };
    for (const SideBySide &c : cases) {
        SCOPED_TRACE(testing::Message() << c.iconSize.width() << "x" << c.iconSize.height() << " margin " << c.margin
                                        << (c.iconFirst ? " icon first" : " text first"));
        const QFontMetrics metrics(sideBySideFont(c.bold));
        const int textWidth = metrics.horizontalAdvance(text);
        const int height = std::max(c.iconSize.height(), metrics.height()) + 2 * c.margin;
        const int width = c.iconSize.width() + textWidth + 2 * c.margin + 10;

        const QImage image = argb(sideBySide(c, text));
        ASSERT_EQ(image.size(), QSize(width, height));

        // The icon, scaled to its size, centred vertically.
        const int iconX = c.iconFirst ? c.margin : textWidth + c.margin + 9;
        const QRect iconRect(QPoint(iconX, height / 2 - c.iconSize.height() / 2), c.iconSize);
        EXPECT_EQ(boundsOf(image, [](QRgb p) { return p == kRed.rgb(); }), iconRect);

        // The caption lies beside it: with the icon first it starts at icon width + 10
        // (so only 10 - margin pixels after the icon), else at margin.
        const QRect ink = boundsOf(image, isTextOnBlue);
        ASSERT_FALSE(ink.isEmpty());
        if (c.iconFirst) {
            EXPECT_GE(ink.left(), c.iconSize.width() + 10);
            EXPECT_LE(ink.left(), c.iconSize.width() + 10 + 2);
        } else {
            EXPECT_GE(ink.left(), c.margin);
            EXPECT_LE(ink.left(), c.margin + 2);
            EXPECT_LT(ink.right(), iconRect.left());
        }

        // The background is stretched over everything else.
        EXPECT_EQ(countOf(image, [](QRgb p) { return p == kBlue.rgb(); }),
                  width * height - iconRect.width() * iconRect.height() - countOf(image, isTextOnBlue));

        // The caption's box starts margin pixels down and is as high as the image, so
        // each pixel of margin moves the text down by two while the icon moves by one.
        const SideBySide noMargin{c.iconSize, 0, c.iconFirst, c.bold};
        const QRect inkWithoutMargin = boundsOf(argb(sideBySide(noMargin, text)), isTextOnBlue);
        EXPECT_EQ(ink.top() - inkWithoutMargin.top(), 2 * c.margin);
    }
}

TEST(synthesizeIconImage, SideBySideNeedsTextBackgroundAndIcon)
{
    const SideBySide c{QSize(16, 16), 3, true, false};
    EXPECT_TRUE(sideBySide(c, QString()).isNull());
    EXPECT_FALSE(sideBySide(c, QStringLiteral("x")).isNull());
    EXPECT_TRUE(synthesizeIconImage(QPixmap(), solid(4, 4, kRed), QSize(16, 16), QStringLiteral("x"), kArial, 10, 0,
                                    false, false, false, false, 3, true)
                    .isNull());
    EXPECT_TRUE(synthesizeIconImage(solid(4, 4, kBlue), QPixmap(), QSize(16, 16), QStringLiteral("x"), kArial, 10, 0,
                                    false, false, false, false, 3, true)
                    .isNull());
    // Not traced.
    CapturedLog log("TRACE");
    sideBySide(c, QStringLiteral("x"));
    EXPECT_TRUE(log.lines().empty());
}

namespace {

QPixmap largeButton(const QString &text, double pointSize, const QRect &textRect, bool greyed = false,
                    int flags = Qt::AlignLeft | Qt::AlignTop)
{
    return synthesizeLargeToolbarButtonIconImage(transparentPixmap(4, 4), QSize(120, 80), transparentPixmap(4, 4),
                                                 QRect(0, 0, 4, 4), text, kArial, pointSize, textRect, flags, false,
                                                 true, false, greyed);
}

// The width painting reports for the caption (bold, as largeButton draws it).
int reportedWidth(const QString &text, double pointSize, int flags)
{
    QFont font(kArial);
    font.setPointSizeF(pointSize);
    font.setBold(true);
    QPixmap scratch(100, 100);
    QPainter painter(&scratch);
    painter.setFont(font);
    return painter.boundingRect(QRect(), flags, text).width();
}

} // namespace

TEST(synthesizeLargeToolbarButtonIconImage, DrawsTheCaptionAtTheGivenSize)
{
    const QRect textRect(0, 20, 120, 60);
    const QRect small = boundsOf(argb(largeButton(QStringLiteral("Pen"), 10.0, textRect)), isInk);
    const QRect large = boundsOf(argb(largeButton(QStringLiteral("Pen"), 20.0, textRect)), isInk);
    ASSERT_FALSE(small.isEmpty());
    EXPECT_TRUE(textRect.contains(small));
    EXPECT_TRUE(textRect.contains(large));
    EXPECT_NEAR(large.height(), 2 * small.height(), 2);
    EXPECT_NEAR(large.width(), 2 * small.width(), 3);

    const QImage greyed = argb(largeButton(QStringLiteral("Pen"), 10.0, textRect, true));
    EXPECT_GT(countOf(greyed, [](QRgb p) { return p == kLightGray; }), 10);
    EXPECT_EQ(countOf(greyed, [](QRgb p) { return qAlpha(p) == 255 && p != kLightGray; }), 0)
        << "only antialiased edges may differ from light grey";
}

TEST(synthesizeLargeToolbarButtonIconImage, DropsACaptionWiderThanItsRectangle)
{
    const QString text = QStringLiteral("Highlighter");
    const int flags = Qt::AlignLeft | Qt::AlignTop;
    const int needed = reportedWidth(text, 12.0, flags);
    ASSERT_GT(needed, 40);
    const QImage bare = argb(largeButton(QString(), 12.0, QRect(0, 0, needed, 40)));

    {
        CapturedLog log("INFO");
        const QImage exact = argb(largeButton(text, 12.0, QRect(0, 0, needed, 40)));
        EXPECT_GT(countOf(exact, isInk), 50) << "a caption exactly as wide as its rectangle is drawn";
        EXPECT_TRUE(log.warnings().empty());
    }
    CapturedLog log("INFO");
    const QImage tooLong = argb(largeButton(text, 12.0, QRect(0, 0, needed - 1, 40)));
    EXPECT_EQ(tooLong, bare) << "one pixel short: nothing is drawn, not even part of it";
    const auto warnings = stripped(log.warnings());
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], ::testing::StartsWith("Button text is too long: "));
    EXPECT_THAT(warnings[0], HasSubstr("Highlighter"));
}

TEST(synthesizeLargeToolbarButtonIconImage, SharesTheIconStepsAndIsTraced)
{
    EXPECT_TRUE(synthesizeLargeToolbarButtonIconImage(solid(4, 4, kBlue), QSize(32, 32), QPixmap(), QRect(0, 0, 8, 8),
                                                      QStringLiteral("x"), kArial, 10.0, QRect(0, 0, 32, 32), 0,
                                                      false, false, false, false)
                    .isNull());
    CapturedLog log("TRACE");
    const QImage image = argb(synthesizeLargeToolbarButtonIconImage(solid(4, 4, kBlue), QSize(32, 32),
                                                                    halves(16, 16), QRect(24, 24, 16, 16), QString(),
                                                                    kArial, 10.0, QRect(), 0, false, false, false,
                                                                    false));
    EXPECT_EQ(image.pixel(0, 0), kBlue.rgb());
    EXPECT_EQ(image.pixel(24, 24), kRed.rgb());
    EXPECT_EQ(image.pixel(31, 31), kGreen.rgb());
    EXPECT_THAT(stripped(log.traceLines()),
                ElementsAre("EntersynthesizeLargeToolbarButtonIconImage", "ExitsynthesizeLargeToolbarButtonIconImage"));
}
