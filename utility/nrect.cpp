#include <utility/nrect.h>

#include "trace_p.h"

#include <algorithm>

namespace {

// The inclusive span of one axis of an unnormalised rectangle, the way Qt 4 read
// it: a negative extent swaps the two stored edges without adjusting them.
struct Span
{
    int low;
    int high;
};

Span span(int a1, int a2)
{
    Span s{a1, a1};
    if (static_cast<long long>(a2) - a1 + 1 < 0)
        s.low = a2;
    else
        s.high = a2;
    return s;
}

} // namespace

CNRect CNRect::normalized() const
{
    CNRect r;
    if (static_cast<long long>(x2) < x1 - 1LL) {
        r.x1 = x2;
        r.x2 = x1;
    } else {
        r.x1 = x1;
        r.x2 = x2;
    }
    if (static_cast<long long>(y2) < y1 - 1LL) {
        r.y1 = y2;
        r.y2 = y1;
    } else {
        r.y1 = y1;
        r.y2 = y2;
    }
    return r;
}

bool CNRect::contains(const QPoint &p, bool proper) const
{
    const bool flippedX = static_cast<long long>(x2) < x1 - 1LL;
    const bool flippedY = static_cast<long long>(y2) < y1 - 1LL;
    const int l = flippedX ? x2 : x1;
    const int r = flippedX ? x1 : x2;
    const int t = flippedY ? y2 : y1;
    const int b = flippedY ? y1 : y2;
    if (proper)
        return p.x() > l && p.x() < r && p.y() > t && p.y() < b;
    return p.x() >= l && p.x() <= r && p.y() >= t && p.y() <= b;
}

bool CNRect::contains(const CNRect &other, bool proper) const
{
    if (isNull() || other.isNull())
        return false;
    const Span h1 = span(x1, x2), h2 = span(other.x1, other.x2);
    const Span v1 = span(y1, y2), v2 = span(other.y1, other.y2);
    if (proper)
        return h2.low > h1.low && h2.high < h1.high && v2.low > v1.low && v2.high < v1.high;
    return h2.low >= h1.low && h2.high <= h1.high && v2.low >= v1.low && v2.high <= v1.high;
}

CNRect CNRect::operator|(const CNRect &other) const
{
    // Only a null operand is ignored, not every empty one.
    if (isNull())
        return other;
    if (other.isNull())
        return *this;
    const Span h1 = span(x1, x2), h2 = span(other.x1, other.x2);
    const Span v1 = span(y1, y2), v2 = span(other.y1, other.y2);
    CNRect r;
    r.x1 = std::min(h1.low, h2.low);
    r.x2 = std::max(h1.high, h2.high);
    r.y1 = std::min(v1.low, v2.low);
    r.y2 = std::max(v1.high, v2.high);
    return r;
}

CNRect CNRect::operator&(const CNRect &other) const
{
    if (isNull() || other.isNull())
        return CNRect();
    const Span h1 = span(x1, x2), h2 = span(other.x1, other.x2);
    const Span v1 = span(y1, y2), v2 = span(other.y1, other.y2);
    if (h1.low > h2.high || h2.low > h1.high || v1.low > v2.high || v2.low > v1.high)
        return CNRect();
    CNRect r;
    r.x1 = std::max(h1.low, h2.low);
    r.x2 = std::min(h1.high, h2.high);
    r.y1 = std::max(v1.low, v2.low);
    r.y2 = std::min(v1.high, v2.high);
    return r;
}

bool CNRect::intersects(const CNRect &other) const
{
    UTILITY_TRACE_ENTER("CNRect::intersects");
    const int l = left(), t = top(), r = right(), b = bottom();
    const int ol = other.left(), ot = other.top(), orr = other.right(), ob = other.bottom();
    // The edges are exclusive but compared inclusively, so touching rectangles meet.
    const bool horizontal = (l <= ol && ol <= r) || (ol <= l && orr >= r) || (l <= orr && orr <= r)
        || (ol >= l && orr <= r);
    const bool vertical = (t <= ob && ob <= b) || (ot <= t && ob >= b) || (t <= ot && ot <= b)
        || (ot >= t && ob <= b);
    const bool result = horizontal && vertical;
    UTILITY_TRACE_EXIT("CNRect::intersects");
    return result;
}

CNRect Inflate(const CNRect &r, int d)
{
    return r.adjusted(-d, -d, d, d);
}

void Inflate(CNRect &r, int d)
{
    r.adjust(-d, -d, d, d);
}
