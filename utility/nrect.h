#ifndef UTILITY_NRECT_H
#define UTILITY_NRECT_H

#include <utility/utility_export.h>

#include <QPoint>
#include <QRect>
#include <QSize>

// An integer rectangle stored exactly as QRect stores it (x1, y1 and the inclusive
// last column and row x2, y2), but whose public right() and bottom() are exclusive:
// one past the last column and row. Ink bounds are kept in this form.
//
// The set operations follow the rules Qt 4's QRect had for unnormalised
// rectangles; Qt 5 and 6 changed them (the +-1 adjustments of the inclusive edges),
// and persisted documents were made with the old ones.
class UTILITY_EXPORT CNRect
{
    // Edge arithmetic wraps like the 32-bit integers of the stored format instead
    // of overflowing: a rectangle read from a corrupt record may hold any values.
    static constexpr int wrap(long long v) { return static_cast<int>(static_cast<unsigned int>(v)); }
    // Toward zero, as a float-to-int conversion; out-of-range products (and NaN)
    // saturate instead of being undefined.
    static long long truncated(float v)
    {
        if (!(v == v))
            return 0;
        if (v >= 2147483647.0f)
            return 2147483647LL;
        if (v <= -2147483648.0f)
            return -2147483648LL;
        return static_cast<long long>(v);
    }

public:
    CNRect() = default;
    CNRect(int left, int top, int width, int height)
        : x1(left), y1(top), x2(wrap(0LL + left + width - 1)), y2(wrap(0LL + top + height - 1)) {}
    CNRect(const QPoint &topLeft, const QPoint &bottomRight)
        : x1(topLeft.x()), y1(topLeft.y()), x2(wrap(bottomRight.x() - 1LL)), y2(wrap(bottomRight.y() - 1LL)) {}
    CNRect(const QPoint &topLeft, const QSize &size)
        : x1(topLeft.x()), y1(topLeft.y()), x2(wrap(0LL + topLeft.x() + size.width() - 1)), y2(wrap(0LL + topLeft.y() + size.height() - 1)) {}
    CNRect(const QRect &r) // NOLINT(google-explicit-constructor): the two types are interchangeable
        : x1(r.left()), y1(r.top()), x2(r.right()), y2(r.bottom()) {}
    CNRect &operator=(const QRect &r) { return *this = CNRect(r); }
    operator QRect() const { return QRect(QPoint(x1, y1), QPoint(x2, y2)); } // NOLINT

    int left() const { return x1; }
    int top() const { return y1; }
    int right() const { return wrap(x2 + 1LL); }
    int bottom() const { return wrap(y2 + 1LL); }
    int x() const { return x1; }
    int y() const { return y1; }
    int width() const { return wrap(0LL + x2 - x1 + 1); }
    int height() const { return wrap(0LL + y2 - y1 + 1); }
    QSize size() const { return QSize(width(), height()); }

    void setLeft(int v) { x1 = v; }
    void setTop(int v) { y1 = v; }
    void setX(int v) { x1 = v; }
    void setY(int v) { y1 = v; }
    void setRight(int v) { x2 = wrap(v - 1LL); }
    void setBottom(int v) { y2 = wrap(v - 1LL); }
    void setWidth(int w) { x2 = wrap(0LL + x1 + w - 1); }
    void setHeight(int h) { y2 = wrap(0LL + y1 + h - 1); }
    void setSize(const QSize &s) { setWidth(s.width()); setHeight(s.height()); }

    QPoint topLeft() const { return QPoint(x1, y1); }
    QPoint topRight() const { return QPoint(right(), y1); }
    QPoint bottomLeft() const { return QPoint(x1, bottom()); }
    QPoint bottomRight() const { return QPoint(right(), bottom()); }
    QPoint center() const { return QPoint(wrap(width() / 2 + 0LL + x1), wrap(height() / 2 + 0LL + y1)); }

    void setTopLeft(const QPoint &p) { x1 = p.x(); y1 = p.y(); }
    void setTopRight(const QPoint &p) { setRight(p.x()); y1 = p.y(); }
    void setBottomLeft(const QPoint &p) { x1 = p.x(); setBottom(p.y()); }
    void setBottomRight(const QPoint &p) { setRight(p.x()); setBottom(p.y()); }

    void setCoords(int l, int t, int r, int b) { x1 = l; y1 = t; setRight(r); setBottom(b); }
    void getCoords(int *l, int *t, int *r, int *b) const { *l = x1; *t = y1; *r = right(); *b = bottom(); }
    void setRect(int l, int t, int w, int h) { *this = CNRect(l, t, w, h); }
    void getRect(int *l, int *t, int *w, int *h) const { *l = x1; *t = y1; *w = width(); *h = height(); }

    void moveLeft(int v) { x2 = wrap(0LL + x2 + v - x1); x1 = v; }
    void moveTop(int v) { y2 = wrap(0LL + y2 + v - y1); y1 = v; }
    void moveRight(int v) { x1 = wrap(0LL + x1 + v - 1 - x2); x2 = wrap(v - 1LL); }
    void moveBottom(int v) { y1 = wrap(0LL + y1 + v - 1 - y2); y2 = wrap(v - 1LL); }
    void moveTopLeft(const QPoint &p) { moveLeft(p.x()); moveTop(p.y()); }
    void moveTo(int x, int y) { moveLeft(x); moveTop(y); }
    void moveTo(const QPoint &p) { moveTopLeft(p); }
    void moveTopRight(const QPoint &p) { moveRight(p.x()); moveTop(p.y()); }
    void moveBottomLeft(const QPoint &p) { moveLeft(p.x()); moveBottom(p.y()); }
    void moveBottomRight(const QPoint &p) { moveRight(p.x()); moveBottom(p.y()); }
    void moveCenter(const QPoint &p) { const QPoint c = center(); translate(wrap(0LL + p.x() - c.x()), wrap(0LL + p.y() - c.y())); }

    void translate(int dx, int dy) { x1 = wrap(0LL + x1 + dx); x2 = wrap(0LL + x2 + dx); y1 = wrap(0LL + y1 + dy); y2 = wrap(0LL + y2 + dy); }
    void translate(const QPoint &p) { translate(p.x(), p.y()); }
    CNRect translated(int dx, int dy) const { CNRect r(*this); r.translate(dx, dy); return r; }
    CNRect translated(const QPoint &p) const { return translated(p.x(), p.y()); }
    void adjust(int d1, int d2, int d3, int d4) { x1 = wrap(0LL + x1 + d1); y1 = wrap(0LL + y1 + d2); x2 = wrap(0LL + x2 + d3); y2 = wrap(0LL + y2 + d4); }
    CNRect adjusted(int d1, int d2, int d3, int d4) const { CNRect r(*this); r.adjust(d1, d2, d3, d4); return r; }

    bool isNull() const { return x2 == wrap(x1 - 1LL) && y2 == wrap(y1 - 1LL); }
    bool isEmpty() const { return x1 > x2 || y1 > y2; }
    bool isValid() const { return x1 <= x2 && y1 <= y2; }

    CNRect normalized() const;
    bool contains(const QPoint &p, bool proper = false) const;
    bool contains(int x, int y, bool proper) const { return contains(QPoint(x, y), proper); }
    bool contains(int x, int y) const { return contains(QPoint(x, y), false); }
    bool contains(const CNRect &r, bool proper = false) const;

    CNRect operator|(const CNRect &r) const;
    CNRect operator&(const CNRect &r) const;
    CNRect &operator|=(const CNRect &r) { return *this = *this | r; }
    CNRect &operator&=(const CNRect &r) { return *this = *this & r; }
    CNRect united(const CNRect &r) const { return *this | r; }
    CNRect intersect(const CNRect &r) const { return *this & r; }

    // Unlike QRect::intersects, touching rectangles (one's right() equal to the
    // other's left()) and a zero-width rectangle on another's edge intersect.
    bool intersects(const CNRect &other) const;

    // The factor is single precision, so the product is too: scaleX(0.7f) on a
    // width of 10 gives 7.
    void scaleX(float f) { x2 = wrap(truncated(static_cast<float>(width()) * f) + x1 - 1LL); }
    void scaleY(float f) { y2 = wrap(truncated(static_cast<float>(height()) * f) + y1 - 1LL); }

    friend bool operator==(const CNRect &a, const CNRect &b)
    {
        return a.x1 == b.x1 && a.y1 == b.y1 && a.x2 == b.x2 && a.y2 == b.y2;
    }
    friend bool operator!=(const CNRect &a, const CNRect &b) { return !(a == b); }

private:
    int x1 = 0;
    int y1 = 0;
    int x2 = -1;
    int y2 = -1;
};

UTILITY_EXPORT CNRect Inflate(const CNRect &r, int d);
UTILITY_EXPORT void Inflate(CNRect &r, int d);

#endif // UTILITY_NRECT_H
