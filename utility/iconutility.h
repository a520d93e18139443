#ifndef UTILITY_ICONUTILITY_H
#define UTILITY_ICONUTILITY_H

#include <utility/utility_export.h>

#include <QPixmap>
#include <QRect>
#include <QSize>
#include <QString>

// Tool-bar and button images built at run time: a background, an overlay picture
// placed in a rectangle and an optional caption, plus the disabled look of any
// pixmap. All functions paint on QPixmap, so they belong to the GUI thread.

// The point size at which text measured at 10 points fits target. The width loses
// a margin of 16% of the target's height on each side (computed in single
// precision and truncated, so a 50-pixel-high target loses 7 pixels a side, not
// 8); the height loses nothing. Sizes are QRect's inclusive ones. A result that
// is not positive (target narrower than its margins) is reported as a warning and
// replaced by 1.0 point; so is a measurement of nothing at all.
UTILITY_EXPORT double getFontPointSize(QRect target, QRect measured);

// The disabled look of source: a flat light-grey (192, 192, 192) silhouette.
// Every pixel whose integer mean of red, green and blue is not 0 becomes opaque
// light grey; black pixels and fully transparent ones (their stored colour is
// premultiplied, hence 0) stay as they are. This is deliberately not a luminance
// conversion: disabled tool-bar icons are meant to look like a flat shape.
UTILITY_EXPORT QPixmap grayScaleImage(QPixmap source);

// An icon of size: background stretched over the whole icon, overlay stretched
// into the part of overlayRect that lies inside the icon and, when text is not
// empty, a caption in textRect. The caption's point size is chosen by
// getFontPointSize so that the text fits textRect; it is drawn in fontFamily,
// black or, when greyed, light grey. textFlags are Qt::AlignmentFlag and
// Qt::TextFlag values; 0 means single line, top left.
// Returns a null pixmap when background or overlay is null or size is empty.
UTILITY_EXPORT QPixmap synthesizeIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                                           const QRect &overlayRect, const QString &text,
                                           const QString &fontFamily, const QRect &textRect, int textFlags,
                                           bool italic, bool bold, bool underline, bool greyed);

// The same, never greyed.
UTILITY_EXPORT QPixmap synthesizeIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                                           const QRect &overlayRect, const QString &text,
                                           const QString &fontFamily, const QRect &textRect, int textFlags,
                                           bool italic, bool bold, bool underline);

// The same without a caption.
UTILITY_EXPORT QPixmap synthesizeIconImage(const QPixmap &background, const QSize &size, const QPixmap &overlay,
                                           const QRect &overlayRect);

// An icon and a caption side by side on background, which is stretched to fit
// both. The image is max(icon height, line height) + 2 * margin high and
// icon width + text width + 2 * margin + 10 wide, and the icon is centred
// vertically.
// With iconFirst, the icon sits margin pixels from the left and the caption's box
// starts at icon width + 10, so the gap between them is 10 - margin pixels. Else
// the caption's box starts at margin and the icon sits at text width + margin + 9.
// The caption's box reaches margin pixels past the bottom of the image (and, with
// iconFirst, 10 pixels past its right edge); painting clips it, and textFlags
// decide where in the box the text lands. spare is not used.
// Returns a null pixmap when text is empty, or background or icon is null.
UTILITY_EXPORT QPixmap synthesizeIconImage(const QPixmap &background, const QPixmap &icon, const QSize &iconSize,
                                           const QString &text, const QString &fontFamily, int pointSize,
                                           int textFlags, bool italic, bool bold, bool underline, bool spare,
                                           int margin, bool iconFirst);

// Like the captioned synthesizeIconImage, but the caption uses the point size given
// instead of a fitted one. A caption wider than textRect is not drawn at all (the
// warning "Button text is too long: " names it), so a button never shows clipped
// text.
UTILITY_EXPORT QPixmap synthesizeLargeToolbarButtonIconImage(const QPixmap &background, const QSize &size,
                                                             const QPixmap &overlay, const QRect &overlayRect,
                                                             const QString &text, const QString &fontFamily,
                                                             double pointSize, const QRect &textRect, int textFlags,
                                                             bool italic, bool bold, bool underline, bool greyed);

#endif // UTILITY_ICONUTILITY_H
