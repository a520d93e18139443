#include <utility/iconutility.h>

#include "qtcompat_p.h"
#include "trace_p.h"

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {

// Weights of the Qt 4 scale that callers' bold flags stand for.
constexpr int kNormalWeight = 50;
constexpr int kBoldWeight = 75;

// Single line, top, left: what a caption without flags of its own gets.
constexpr int kDefaultCaptionFlags = Qt::TextSingleLine | Qt::AlignTop | Qt::AlignLeft;

// The horizontal margin is this share of the target's height on either side. It is
// a float on purpose: 0.16f is a little below 0.16, so a 50-pixel-high target gets
// 7 pixels, not 8, and captions laid out that way must stay as they were.
constexpr float kHorizontalMarginFactor = 0.16f;
constexpr float kVerticalMarginFactor = 0.0f;

// Text is measured at this point size before it is scaled to fit.
constexpr double kReferencePointSize = 10.0;

int marginFor(int height, float factor)
{
    // The product is formed in double from the two floats, then truncated.
    const float f = static_cast<float>(height);
    return static_cast<int>(static_cast<double>(f) * static_cast<double>(factor));
}

void setCaptionFont(QFont &font, bool italic, bool bold, bool underline)
{
    QtCompat::setLegacyFontWeight(font, bold ? kBoldWeight : kNormalWeight);
    font.setItalic(italic);
    font.setUnderline(underline);
}

// Steps shared by the captioned icons: a transparent image of size with the
// background stretched over it and the overlay squeezed into the visible part of
// overlayRect. Returns false (and leaves result null) when there is nothing to
// draw; painter is left active on result when drawing could begin.
bool beginIcon(QPixmap &result, QPainter &painter, const QPixmap &background, const QSize &size,
               const QPixmap &overlay, const QRect &overlayRect)
{
    result = QPixmap(size);
    result.fill(Qt::transparent);
    if (background.isNull() || overlay.isNull() || result.isNull()) {
        result = QPixmap();
        return false;
    }
    if (!painter.begin(&result))
        return true; // an unpaintable pixmap is handed back transparent, as it is
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    painter.drawPixmap(QRect(0, 0, size.width(), size.height()), background);
    const QRect visibleOverlay = result.rect().intersected(overlayRect);
    if (!visibleOverlay.isEmpty())
        painter.drawPixmap(visibleOverlay, overlay);
    return true;
}

// A caption of size whose font is fitted to it. The text is measured with the
// painter's own font before the caption font is set: that measurement stands for
// the text at the reference size.
QPixmap renderCaptionPixmap(const QString &text, const QSize &size, const QString &fontFamily, int textFlags,
                            bool italic, bool bold, bool underline, bool greyed)
{
    QPixmap caption(size);
    if (caption.isNull())
        return caption;
    caption.fill(QColor(0, 0, 0, 0));

    QPainter painter;
    if (!painter.begin(&caption))
        return caption;
    const QRect textRect(0, 0, size.width(), size.height());

    QFont font(fontFamily);
    setCaptionFont(font, italic, bold, underline);
    if (greyed)
        painter.setPen(QColor(Qt::lightGray));
    const int flags = textFlags != 0 ? textFlags : kDefaultCaptionFlags;

    const QRect measured = painter.boundingRect(textRect, flags, text);
    font.setPointSizeF(getFontPointSize(textRect, measured));
    painter.setFont(font);
    painter.drawText(textRect, flags, text);
    painter.end();
    return caption;
}

} // namespace

double getFontPointSize(QRect target, QRect measured)
{
    UTILITY_TRACE_ENTER("getFontPointSize");
    const int horizontalMargin = marginFor(target.height(), kHorizontalMarginFactor);
    const int verticalMargin = marginFor(target.height(), kVerticalMarginFactor);
    const int availableWidth = target.width() - 2 * horizontalMargin;
    const int availableHeight = target.height() - 2 * verticalMargin;

    const int measuredWidth = std::max(measured.width(), 0);
    const int measuredHeight = std::max(measured.height(), 0);
    const double ratioW = static_cast<double>(availableWidth) / measuredWidth;
    const double ratioH = static_cast<double>(availableHeight) / measuredHeight;
    double size = std::min(ratioW, ratioH) * kReferencePointSize;

    // Not positive: the target is narrower than its margins. Not finite: nothing
    // was measured, so there is no ratio to scale by. Neither is a usable size.
    if (!(size > 0.0) || std::isinf(size)) {
        UTILITY_WARN("Font size too small so resetting to '1'. Size calculated as: ", size);
        size = 1.0;
    }
    UTILITY_TRACE_EXIT("getFontPointSize");
    return size;
}

QPixmap grayScaleImage(QPixmap source)
{
    // Work on the 32-bit forms a pixmap converts to, so that a pixel's stored
    // value is its premultiplied colour whatever the source was made from.
    QImage image = source.toImage();
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32_Premultiplied)
        image = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                              : QImage::Format_RGB32);
    const QRgb lightGray = QColor(Qt::lightGray).rgb();
    for (int y = 0; y < image.height(); ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x];
            if ((qRed(pixel) + qGreen(pixel) + qBlue(pixel)) / 3 != 0)
                line[x] = lightGray;
        }
    }
    return QPixmap::fromImage(image);
}

QPixmap synthesizeIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                            const QRect &overlayRect, const QString &text, const QString &fontFamily,
                            const QRect &textRect, int textFlags, bool italic, bool bold, bool underline,
                            bool greyed)
{
    UTILITY_TRACE_ENTER("synthesizeIconImage");
    QPixmap result;
    QPainter painter;
    if (!beginIcon(result, painter, background, size, overlay, overlayRect) || !painter.isActive()) {
        UTILITY_TRACE_EXIT("synthesizeIconImage");
        return result;
    }
    if (!text.isEmpty()) {
        const QPixmap caption = renderCaptionPixmap(text, QSize(textRect.width(), textRect.height()), fontFamily,
                                                    textFlags, italic, bold, underline, greyed);
        if (!caption.isNull())
            painter.drawPixmap(textRect, caption);
    }
    painter.end();
    UTILITY_TRACE_EXIT("synthesizeIconImage");
    return result;
}

QPixmap synthesizeIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                            const QRect &overlayRect, const QString &text, const QString &fontFamily,
                            const QRect &textRect, int textFlags, bool italic, bool bold, bool underline)
{
    UTILITY_TRACE_ENTER("synthesizeIconImage");
    const QPixmap result = synthesizeIconImage(background, size, overlay, overlayRect, text, fontFamily, textRect,
                                               textFlags, italic, bold, underline, false);
    UTILITY_TRACE_EXIT("synthesizeIconImage");
    return result;
}

QPixmap synthesizeIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                            const QRect &overlayRect)
{
    return synthesizeIconImage(background, size, overlay, overlayRect, QString(), QString(), QRect(), 0, false,
                               false, false, false);
}

QPixmap synthesizeIconImage(const QPixmap &background, const QPixmap &icon, const QSize &iconSize,
                            const QString &text, const QString &fontFamily, int pointSize, int textFlags,
                            bool italic, bool bold, bool underline, bool spare, int margin, bool iconFirst)
{
    Q_UNUSED(spare);
    if (text.isEmpty())
        return QPixmap();

    QFont font(fontFamily, pointSize);
    setCaptionFont(font, italic, bold, underline);
    const QFontMetrics metrics(font);
    const int textHeight = metrics.height();
    const int textWidth = metrics.horizontalAdvance(text);

    const int height = std::max(iconSize.height(), textHeight) + 2 * margin;
    const int width = iconSize.width() + textWidth + 2 * margin + 10;
    QPixmap result(width, height);
    result.fill(Qt::transparent);
    if (background.isNull() || icon.isNull() || result.isNull())
        return QPixmap();

    QPainter painter;
    if (!painter.begin(&result))
        return result;
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    const QPixmap scaledBackground = background.scaled(result.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QPixmap scaledIcon = icon.scaled(iconSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    painter.drawPixmap(0, 0, scaledBackground);
    painter.setFont(font);

    const int y = height / 2 - iconSize.height() / 2;
    if (iconFirst) {
        painter.drawPixmap(margin, y, scaledIcon);
        // The box does not start at margin + icon width + 10 but at icon width + 10,
        // and it runs past the image's right and bottom edges: the layout buttons
        // have always had, and painting clips the overhang.
        painter.drawText(QRect(QPoint(iconSize.width() + 10, margin), QPoint(width + 9, height + margin - 1)),
                         textFlags, text);
    } else {
        painter.drawText(QRect(QPoint(margin, margin), QPoint(width - iconSize.width() + margin - 1,
                                                               height + margin - 1)),
                         textFlags, text);
        painter.drawPixmap(textWidth + margin + 9, y, scaledIcon);
    }
    painter.end();
    return result;
}

QPixmap synthesizeLargeToolbarButtonIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                                              const QRect &overlayRect, const QString &text,
                                              const QString &fontFamily, double pointSize, const QRect &textRect,
                                              int textFlags, bool italic, bool bold, bool underline, bool greyed)
{
    UTILITY_TRACE_ENTER("synthesizeLargeToolbarButtonIconImage");
    QPixmap result;
    QPainter painter;
    if (!beginIcon(result, painter, background, size, overlay, overlayRect) || !painter.isActive()) {
        UTILITY_TRACE_EXIT("synthesizeLargeToolbarButtonIconImage");
        return result;
    }
    if (!text.isEmpty()) {
        QFont font(fontFamily);
        if (pointSize > 0.0)
            font.setPointSizeF(pointSize);
        setCaptionFont(font, italic, bold, underline);

        // Measure as painting lays the text out, flags included, on a scratch image.
        QRect measured;
        {
            QPixmap scratch(100, 100);
            scratch.fill(Qt::transparent);
            QPainter scratchPainter(&scratch);
            scratchPainter.setFont(font);
            scratchPainter.drawText(QRect(), textFlags, text, &measured);
        }

        if (measured.width() > textRect.width()) {
            // A clipped caption is worse than none: the button shows its picture only.
            const QString detail = QStringLiteral("\"%1\" is %2 pixels wide, the room is %3")
                                       .arg(text)
                                       .arg(measured.width())
                                       .arg(textRect.width());
            UTILITY_WARN("Button text is too long: ", detail.toStdString());
        } else {
            painter.setFont(font);
            if (greyed)
                painter.setPen(QColor(Qt::lightGray));
            painter.drawText(textRect, textFlags, text);
        }
    }
    painter.end();
    UTILITY_TRACE_EXIT("synthesizeLargeToolbarButtonIconImage");
    return result;
}
