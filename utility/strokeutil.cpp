#include <utility/strokeutil.h>

#include <utility/geometry.h>

#include "trace_p.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

// Points that move less than this along the stroke are pen jitter.
constexpr double kMinMovingDistance = 3.0;

// Share of the whole stroke's length kept clear at both ends of a stretch when
// looking for its division point. It is zero: any point strictly inside counts.
constexpr double kEndMargin = 0.0;

// Points where a stretch turns against the following stretch weigh this much.
constexpr double kCounterTurnWeight = 0.5;

// A stretch of the stroke, from point `start` to point `end`; neighbouring
// stretches share their boundary point. Inactive stretches are straight enough.
struct Segment
{
    int start;
    int end;
    bool active;
};

int sizeOf(const QVector<QPointF> &points)
{
    return static_cast<int>(points.size());
}

// The smoothing evaluates every point of a stretch against the stretch's chord on
// every pass, a few thousand evaluations per stroke. Through the traced helpers
// each one costs several calls and trace-level tests; when nobody is tracing, the
// same arithmetic is done here inline, operation for operation as
// Util::getDistance, Util::calcDistanceToLineSegment and Util::vectorLeftOrRight do
// it (the library is built without floating-point contraction), so the results are
// bit-identical. With the level at "TRACE" the helpers are called and trace as
// always.
inline double distanceBetween(const QPointF &p, const QPointF &q)
{
    const double x = p.x() - q.x();
    const double y = p.y() - q.y();
    return std::sqrt(x * x + y * y);
}

// Util::vectorLeftOrRight(a, b).
inline int turnOf(const QPointF &a, const QPointF &b)
{
    const double cross = a.x() * b.y() - a.y() * b.x();
    if (std::fabs(cross) < 1e-9)
        return 0;
    return cross > 0 ? 1 : -1;
}

class Chord
{
public:
    Chord(const QPointF &a, const QPointF &b)
        : m_a(a)
        , m_b(b)
        , m_backX(a.x() - b.x())
        , m_backY(a.y() - b.y())
        , m_lineA(b.y() - a.y())
        , m_lineB(a.x() - b.x())
        , m_lineC(b.x() * a.y() - a.x() * b.y())
    {
        double norm2 = m_lineA * m_lineA + m_lineB * m_lineB;
        if (norm2 < 1.0)
            norm2 = 1.0;
        m_root = std::sqrt(norm2);
    }

    // Util::calcDistanceToLineSegment(a, b, p).
    double distance(const QPointF &p) const
    {
        if ((p.x() - m_a.x()) * m_backX + (p.y() - m_a.y()) * m_backY >= 0)
            return distanceBetween(p, m_a);
        if ((m_b.x() - m_a.x()) * (p.x() - m_b.x()) + (m_b.y() - m_a.y()) * (p.y() - m_b.y()) >= 0)
            return distanceBetween(p, m_b);
        return std::fabs(m_lineA * p.x() + m_lineB * p.y() + m_lineC) / m_root;
    }

    // Util::vectorLeftOrRight(p - a, b - p).
    int turn(const QPointF &p) const { return turnOf(p - m_a, m_b - p); }

private:
    QPointF m_a;
    QPointF m_b;
    double m_backX;
    double m_backY;
    double m_lineA;
    double m_lineB;
    double m_lineC;
    double m_root;
};

// Keeps the points that moved more than minDistance along the stroke since the
// last kept one, and always the ends. In a stroke that ends near its start the
// point farthest from the start is kept too, or a closed figure could collapse.
void copyMovingPoints(const QVector<QPointF> &points, QVector<QPointF> &moving, double minDistance)
{
    UTILITY_TRACE_ENTER("Util::copyMovingPoints");
    const int n = sizeOf(points);
    const bool traced = UtilityTrace::enabled();
    moving.clear();
    moving.reserve(n);

    int far = -1;
    if (n > 2 && Util::getDistance(points.at(0), points.at(n - 1)) < minDistance) {
        double best = 0.0; // a point on the start itself is never chosen
        for (int i = 1; i <= n - 2; ++i) {
            const double distance = traced ? Util::getDistance(points.at(0), points.at(i))
                                           : distanceBetween(points.at(0), points.at(i));
            if (distance > best) { // the first of equally far points wins
                best = distance;
                far = i;
            }
        }
    }

    double travelled = 0;
    for (int i = 0; i < n; ++i) {
        if (i != 0 && i != far && i != n - 1) {
            // Measured along all input points, the skipped ones included.
            travelled += traced ? Util::getDistance(points.at(i - 1), points.at(i))
                                : distanceBetween(points.at(i - 1), points.at(i));
            if (travelled <= minDistance)
                continue;
        }
        moving.append(points.at(i));
        travelled = 0;
    }
    UTILITY_TRACE_EXIT("Util::copyMovingPoints");
}

// Meant to drop single zig-zag points. Its middle turn compares a difference
// vector with itself, which is never a turn, so the condition never holds and no
// point is removed. Recognition results depend on this: the step stays a no-op
// that still does its work, rather than being "fixed".
void removeNoise(QVector<QPointF> &points)
{
    UTILITY_TRACE_ENTER("Util::removeNoise");
    const bool traced = UtilityTrace::enabled();
    QVector<QPointF> d;
    Util::differentiate(points, d);
    for (int i = sizeOf(points) - 3; i >= 2; --i) {
        const int j = i - 1;
        const int r1 = traced ? Util::vectorLeftOrRight(d.at(j - 1), d.at(j)) : turnOf(d.at(j - 1), d.at(j));
        const int r2 = traced ? Util::vectorLeftOrRight(d.at(i), d.at(i)) : turnOf(d.at(i), d.at(i));
        const int r3 = traced ? Util::vectorLeftOrRight(d.at(i), d.at(j + 2)) : turnOf(d.at(i), d.at(j + 2));
        if (r1 * r3 >= 0 && r1 * r2 < 0) {
            points.remove(i);
            d[j] += d.at(i);
            d.remove(i);
        }
    }
    UTILITY_TRACE_EXIT("Util::removeNoise");
}

// One pass over the stretches, last to first, so that a stretch divided in front
// of the current one does not disturb those still to be visited. Every active
// stretch of more than one step is either divided at its farthest point or marked
// straight. A stretch looks at the one that now follows it: the first half of its
// successor if that was divided in this pass.
//
// The pass writes the new list back to front into `divided` rather than inserting
// into `segments`: inserting in the middle made a stroke with many corners
// (hundreds of thousands of points of noise) take quadratic time.
void divideRuggedSegment(const QVector<QPointF> &points, const QVector<double> &lengths,
                         std::vector<Segment> &segments, std::vector<Segment> &divided, double totalLength,
                         double ratio)
{
    UTILITY_TRACE_ENTER("Util::divideRuggedSegment");
    const bool traced = UtilityTrace::enabled();
    divided.clear();
    divided.reserve(2 * segments.size());
    for (int r = static_cast<int>(segments.size()) - 1; r >= 0; --r) {
        const Segment current = segments[r];
        if (!current.active || current.end - current.start <= 1) {
            divided.push_back(current);
            continue;
        }

        const QPointF a = points.at(current.start);
        const QPointF b = points.at(current.end);
        const bool isLast = divided.empty();
        int turnNext = 0;
        if (!isLast) {
            const Segment &next = divided.back();
            const QPointF following = points.at(next.end) - points.at(next.start);
            turnNext = traced ? Util::vectorLeftOrRight(b - a, following) : turnOf(b - a, following);
        }

        const Chord chord(a, b);
        const double margin = totalLength * kEndMargin;
        double best = 0.0;
        int bestIndex = -1;
        double along = 0;
        for (int k = current.start + 1; k <= current.end - 1; ++k) {
            along += lengths.at(k - 1);
            const QPointF p = points.at(k);
            double distance = traced ? Util::calcDistanceToLineSegment(a, b, p) : chord.distance(p);
            if (!isLast) {
                // A bend that does not turn the way the stroke turns into the next
                // stretch is more likely a wobble than a corner.
                const int turn = traced ? Util::vectorLeftOrRight(p - a, b - p) : chord.turn(p);
                if (turn * turnNext < 1)
                    distance = distance * kCounterTurnWeight;
            }
            if (distance >= best && margin < along && margin < totalLength - along) { // ties: the later point
                best = distance;
                bestIndex = k;
            }
        }

        // bestIndex stays -1 only when no point qualified; a negative ratio must
        // not then divide at a point that does not exist.
        const double chordLength = traced ? Util::getDistance(a, b) : distanceBetween(a, b);
        if (best > chordLength * ratio && bestIndex > current.start) {
            divided.push_back(Segment{bestIndex, current.end, true});
            divided.push_back(Segment{current.start, bestIndex, true});
        } else {
            divided.push_back(Segment{current.start, current.end, false});
        }
    }
    std::reverse(divided.begin(), divided.end());
    segments.swap(divided);
    UTILITY_TRACE_EXIT("Util::divideRuggedSegment");
}

void divideStrokeToSegments(const QVector<QPointF> &points, std::vector<Segment> &segments, double ratio)
{
    UTILITY_TRACE_ENTER("Util::divideStrokeToSegments");
    QVector<double> lengths;
    const double total = Util::calcStrokeLength(points, lengths);
    const int n = sizeOf(points);

    segments.clear();
    segments.reserve(n > 1 ? static_cast<std::size_t>(n - 1) : 1u);
    segments.push_back(Segment{0, n - 1, true});

    // Every division splits a stretch at a point strictly inside it, so this ends
    // after at most n - 2 divisions.
    std::vector<Segment> divided;
    std::size_t before = 0;
    do {
        before = segments.size();
        divideRuggedSegment(points, lengths, segments, divided, total, ratio);
    } while (segments.size() != before);
    UTILITY_TRACE_EXIT("Util::divideStrokeToSegments");
}

} // namespace

namespace Util {

QPointF getAveragePoint(const QVector<QPointF> &points, int from, int to)
{
    UTILITY_TRACE_ENTER("Util::getAveragePoint");
    const int last = sizeOf(points) - 1;
    if (from < 1)
        from = 0;
    if (to < 0 || to >= last)
        to = last;

    QPointF result(0, 0);
    if (from <= to) {
        double sumX = 0, sumY = 0;
        for (int i = from; i <= to; ++i) {
            sumX += points.at(i).x();
            sumY += points.at(i).y();
        }
        const double count = to - from + 1;
        result = QPointF(sumX / count, sumY / count);
    }
    UTILITY_TRACE_EXIT("Util::getAveragePoint");
    return result;
}

void calcAdjacentLength(const QVector<QPointF> &points, QVector<double> &lengths)
{
    UTILITY_TRACE_ENTER("Util::calcAdjacentLength");
    lengths.clear();
    const int n = sizeOf(points);
    if (n >= 2) {
        lengths.reserve(n - 1);
        const bool traced = UtilityTrace::enabled();
        for (int i = 0; i + 1 < n; ++i) {
            lengths.append(traced ? getDistance(points.at(i), points.at(i + 1))
                                  : distanceBetween(points.at(i), points.at(i + 1)));
        }
    }
    UTILITY_TRACE_EXIT("Util::calcAdjacentLength");
}

double calcStrokeLength(const QVector<QPointF> &points, QVector<double> &lengths)
{
    UTILITY_TRACE_ENTER("Util::calcStrokeLength");
    calcAdjacentLength(points, lengths);
    double total = 0;
    for (double length : std::as_const(lengths))
        total += length;
    UTILITY_TRACE_EXIT("Util::calcStrokeLength");
    return total;
}

double calcStrokeLength(const QVector<QPointF> &points)
{
    UTILITY_TRACE_ENTER("Util::calcStrokeLength");
    QVector<double> lengths;
    const double total = calcStrokeLength(points, lengths);
    UTILITY_TRACE_EXIT("Util::calcStrokeLength");
    return total;
}

void getSmoothPoints(const QVector<QPointF> &points, QVector<QPointF> &result, double ratio)
{
    UTILITY_TRACE_ENTER("Util::getSmoothPoints");
    QVector<QPointF> moving;
    copyMovingPoints(points, moving, kMinMovingDistance);
    removeNoise(moving);

    result.clear();
    if (!moving.isEmpty()) {
        std::vector<Segment> segments;
        divideStrokeToSegments(moving, segments, ratio);
        result.reserve(static_cast<int>(segments.size()) + 1);
        result.append(moving.at(0));
        for (const Segment &segment : segments)
            result.append(moving.at(segment.end));
    }
    UTILITY_TRACE_EXIT("Util::getSmoothPoints");
}

} // namespace Util
