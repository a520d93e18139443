#include <utility/stroke.h>

#include <utility/binaryread.h>
#include <utility/geometry.h>

#include "ink_p.h"
#include "trace_p.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Room for a typical pen stroke, so that capturing one does not reallocate.
constexpr int kInitialCapacity = 512;

// Points are read in blocks of this many, so that a corrupt count costs at most one
// block of memory beyond the points that are really there.
constexpr int kReadBlock = 4096;
constexpr int kPointBytes = 8;

int decodeInt(const unsigned char *bytes)
{
    const quint32 bits = static_cast<quint32>(bytes[0]) | (static_cast<quint32>(bytes[1]) << 8)
        | (static_cast<quint32>(bytes[2]) << 16) | (static_cast<quint32>(bytes[3]) << 24);
    return static_cast<int>(bits);
}

// Geometric growth, never beyond twice what has really been read (nor beyond
// `count`): the capacity follows the data, not the record's claim.
void growFor(QVector<QPoint> &points, int more, int count)
{
    const qint64 needed = qint64(points.size()) + more;
    if (needed > points.capacity())
        points.reserve(static_cast<int>(std::min<qint64>(std::max<qint64>(needed, qint64(points.capacity()) * 2), count)));
}

// Reads up to `count` points, appending them; stops at the first point the stream
// cannot deliver in full (the stream is then failed) and keeps only whole points.
void readPoints(std::istream &in, int count, QVector<QPoint> &points)
{
    if (UtilityTrace::enabled()) {
        // Point by point through binaryRead, so that a traced read shows every value.
        for (int i = 0; i < count && in; ++i) {
            growFor(points, 1, count);
            QPoint p;
            binaryRead(in, p);
            if (!in)
                break;
            points.append(p);
        }
        return;
    }

    // The same bytes decoded in blocks: binaryRead composes every value from single
    // byte reads, which makes large records slow to load.
    unsigned char buffer[kReadBlock * kPointBytes];
    int done = 0;
    while (done < count && in) {
        const int want = std::min(kReadBlock, count - done);
        in.read(reinterpret_cast<char *>(buffer), static_cast<std::streamsize>(want) * kPointBytes);
        const int got = static_cast<int>(std::max<std::streamsize>(in.gcount(), 0) / kPointBytes);
        growFor(points, got, count);
        for (int i = 0; i < got; ++i) {
            const unsigned char *bytes = buffer + i * kPointBytes;
            points.append(QPoint(decodeInt(bytes), decodeInt(bytes + 4)));
        }
        done += got;
        if (got < want)
            break; // read() has failed the stream
    }
}

} // namespace

CStroke::CStroke()
    : m_bound(0, 0, 0, 0)
    , m_boundValid(true)
    , m_reserved(0)
    , m_shapeUnchanged(true)
{
    m_points.reserve(kInitialCapacity);
}

CStroke::CStroke(const CStroke &other) = default;

CStroke &CStroke::operator=(const CStroke &other)
{
    if (this != &other) {
        m_points = other.m_points;
        m_bound = other.m_bound;
        m_boundValid = other.m_boundValid;
        m_reserved = other.m_reserved;
        m_shapeUnchanged = other.m_shapeUnchanged;
    }
    return *this;
}

CStroke::~CStroke() = default;

void CStroke::addPoint(const QPoint &p)
{
    UTILITY_TRACE_ENTER("CStroke::addPoint");
    m_points.append(p);
    m_boundValid = false;
    m_shapeUnchanged = false;
    UTILITY_TRACE_EXIT("CStroke::addPoint");
}

void CStroke::setPointAt(long i, const QPoint &p)
{
    UTILITY_TRACE_ENTER("CStroke::setPointAt");
    m_points[static_cast<int>(i)] = p;
    m_boundValid = false;
    m_shapeUnchanged = false;
    UTILITY_TRACE_EXIT("CStroke::setPointAt");
}

void CStroke::removePoints(long first, long last)
{
    UTILITY_TRACE_ENTER("CStroke::removePoints");
    if (first >= 0 && first <= last && last < getPointNum())
        m_points.remove(static_cast<int>(first), static_cast<int>(last - first + 1));
    m_boundValid = false;
    m_shapeUnchanged = false;
    UTILITY_TRACE_EXIT("CStroke::removePoints");
}

const CNRect &CStroke::getRectBound() const
{
    UTILITY_TRACE_ENTER("CStroke::getRectBound");
    if (!m_boundValid)
        updateRectBound();
    UTILITY_TRACE_EXIT("CStroke::getRectBound");
    return m_bound;
}

void CStroke::updateRectBound() const
{
    UTILITY_TRACE_ENTER("CStroke::updateRectBound");
    if (m_points.isEmpty()) {
        // The validity flag is left alone: an empty stroke recomputes each time.
        m_bound = CNRect(0, 0, 0, 0);
        UTILITY_TRACE_EXIT("CStroke::updateRectBound");
        return;
    }
    const QPoint *p = m_points.constData();
    const int n = static_cast<int>(m_points.size());
    int minX = p[0].x(), maxX = minX;
    int minY = p[0].y(), maxY = minY;
    for (int i = 1; i < n; ++i) {
        const int x = p[i].x();
        const int y = p[i].y();
        if (x < minX)
            minX = x;
        else if (x > maxX)
            maxX = x;
        if (y < minY)
            minY = y;
        else if (y > maxY)
            maxY = y;
    }
    // The corner constructor takes an exclusive corner; passing the greatest
    // coordinates themselves makes them right() and bottom().
    m_bound = CNRect(QPoint(minX, minY), QPoint(maxX, maxY));
    m_boundValid = true;
    UTILITY_TRACE_EXIT("CStroke::updateRectBound");
}

void CStroke::move(const QSize &d)
{
    UTILITY_TRACE_ENTER("CStroke::move");
    const int dx = d.width();
    const int dy = d.height();
    for (QPoint &p : m_points)
        p = QPoint(Ink::wrapAdd(p.x(), dx), Ink::wrapAdd(p.y(), dy));
    m_boundValid = false;
    UTILITY_TRACE_EXIT("CStroke::move");
}

void CStroke::setPos(const QPoint &centre, double sx, double sy)
{
    UTILITY_TRACE_ENTER("CStroke::setPos");
    const QPoint oc = getRectBound().center();
    const int dx = Ink::wrapSub(centre.x(), oc.x());
    const int dy = Ink::wrapSub(centre.y(), oc.y());
    const bool scaleX = !Util::isEqual(sx, 1.0, 0.0);
    const bool scaleY = !Util::isEqual(sy, 1.0, 0.0);
    for (QPoint &p : m_points) {
        const int x = scaleX
            ? Ink::wrapAdd(Ink::truncToInt(static_cast<double>(Ink::wrapSub(p.x(), oc.x())) * sx), centre.x())
            : Ink::wrapAdd(p.x(), dx);
        const int y = scaleY
            ? Ink::wrapAdd(Ink::truncToInt(static_cast<double>(Ink::wrapSub(p.y(), oc.y())) * sy), centre.y())
            : Ink::wrapAdd(p.y(), dy);
        p = QPoint(x, y);
    }
    m_boundValid = false;
    m_shapeUnchanged = false;
    UTILITY_TRACE_EXIT("CStroke::setPos");
}

void CStroke::setPos(const CNRect &target)
{
    UTILITY_TRACE_ENTER("CStroke::setPos");
    const CNRect &bound = getRectBound();
    const double sx = bound.width() == 0 ? 1.0 : static_cast<double>(target.width()) / bound.width();
    const double sy = bound.height() == 0 ? 1.0 : static_cast<double>(target.height()) / bound.height();
    setPos(target.center(), Ink::snapNearOne(sx), Ink::snapNearOne(sy));
    UTILITY_TRACE_EXIT("CStroke::setPos");
}

bool CStroke::hitTest(const CNRect &r) const
{
    UTILITY_TRACE_ENTER("CStroke::hitTest");
    bool result = false;
    if (!m_points.isEmpty() && r.intersects(getRectBound())) {
        for (const QPoint &p : m_points) {
            if (r.contains(p, false)) {
                result = true;
                break;
            }
        }
    }
    UTILITY_TRACE_EXIT("CStroke::hitTest");
    return result;
}

double CStroke::getLength2(const QPoint &a, const QPoint &b) const
{
    UTILITY_TRACE_ENTER("CStroke::getLength2");
    const double dx = Ink::wrapSub(a.x(), b.x());
    const double dy = Ink::wrapSub(a.y(), b.y());
    const double result = dx * dx + dy * dy;
    UTILITY_TRACE_EXIT("CStroke::getLength2");
    return result;
}

double CStroke::getDistance(const QPoint &p) const
{
    UTILITY_TRACE_ENTER("CStroke::getDistance");
    const int n = static_cast<int>(m_points.size());
    double result = 0.0;
    if (n == 1) {
        result = std::sqrt(getLength2(p, m_points.at(0)));
    } else if (n > 1) {
        // The pair of consecutive points with the least sum of squared distances;
        // the first such pair on a tie.
        int nearest = 0;
        double previous = getLength2(p, m_points.at(0));
        double bestSum = 0.0;
        for (int i = 0; i + 1 < n; ++i) {
            const double next = getLength2(p, m_points.at(i + 1));
            const double sum = previous + next;
            if (i == 0 || sum < bestSum) {
                bestSum = sum;
                nearest = i;
            }
            previous = next;
        }
        const QPoint a = m_points.at(nearest);
        const QPoint b = m_points.at(nearest + 1);
        // 32-bit integer arithmetic, wrapping as the stored coordinates do.
        using Ink::wrapAdd;
        using Ink::wrapMul;
        using Ink::wrapSub;
        const int behindA = wrapAdd(wrapMul(wrapSub(p.x(), a.x()), wrapSub(a.x(), b.x())),
                                    wrapMul(wrapSub(p.y(), a.y()), wrapSub(a.y(), b.y())));
        const int beyondB = wrapAdd(wrapMul(wrapSub(p.x(), b.x()), wrapSub(b.x(), a.x())),
                                    wrapMul(wrapSub(p.y(), b.y()), wrapSub(b.y(), a.y())));
        if (behindA >= 0) {
            result = std::sqrt(getLength2(p, a));
        } else if (beyondB >= 0) {
            result = std::sqrt(getLength2(p, b));
        } else {
            const int la = wrapSub(b.y(), a.y());
            const int lb = wrapSub(a.x(), b.x());
            const int lc = wrapSub(wrapMul(b.x(), a.y()), wrapMul(b.y(), a.x()));
            const int value = wrapAdd(wrapAdd(wrapMul(la, p.x()), wrapMul(lb, p.y())), lc);
            const int norm2 = wrapAdd(wrapMul(la, la), wrapMul(lb, lb));
            result = std::fabs(static_cast<double>(value)) / std::sqrt(std::max(static_cast<double>(norm2), 1.0));
        }
    }
    UTILITY_TRACE_EXIT("CStroke::getDistance");
    return result;
}

bool CStroke::equals(const CStroke *other) const
{
    UTILITY_TRACE_ENTER("CStroke::equals");
    bool result = false;
    if (other == this) {
        result = true;
    } else if (other && other->m_points.size() == m_points.size()) {
        // QPoint compares exactly; the bounds and flags do not take part.
        result = std::equal(m_points.cbegin(), m_points.cend(), other->m_points.cbegin());
    }
    UTILITY_TRACE_EXIT("CStroke::equals");
    return result;
}

void CStroke::readFrom(std::istream &in)
{
    UTILITY_TRACE_ENTER("CStroke::readFrom");
    int count = 0;
    binaryRead(in, count);
    // A fresh list rather than clear(), which keeps the capacity: a scribble of
    // many empty strokes must not hold a full reservation for each.
    QVector<QPoint> points;
    if (count > 0 && in) {
        points.reserve(std::min(count, kInitialCapacity));
        readPoints(in, count, points);
    }
    m_points.swap(points);
    m_boundValid = false;
    m_shapeUnchanged = false;
    UTILITY_TRACE_EXIT("CStroke::readFrom");
}

void CStroke::writeTo(std::ostream &out) const
{
    UTILITY_TRACE_ENTER("CStroke::writeTo");
    binaryWrite(out, static_cast<int>(m_points.size()));
    for (const QPoint &p : m_points)
        binaryWrite(out, p);
    UTILITY_TRACE_EXIT("CStroke::writeTo");
}
