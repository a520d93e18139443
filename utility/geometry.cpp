#include <utility/geometry.h>

#include <utility/angle.h>

#include "trace_p.h"

#include <QLineF>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

constexpr double kNearZero = 1e-9;
constexpr double kTriangleTolerance = 0.09;
constexpr double kRightAngle = 90.0;

bool isSmall(double v)
{
    return std::fabs(v) < kNearZero;
}

// The three coefficients as one trace value: "a, b, c".
std::string coefficientText(double a, double b, double c)
{
    std::ostringstream text;
    text << a << ", " << b << ", " << c;
    return text.str();
}

// Angle between the directions of two consecutive edges, folded into [0, 180].
double turningAngle(const QLineF &from, const QLineF &to)
{
    double angle = std::fabs(from.angleTo(to));
    if (angle > 180.0)
        angle = std::fabs(angle - 360.0);
    return angle;
}

// The smaller of v and hi, then the greater of that and lo. Unlike qBound and
// std::clamp this has no precondition on lo <= hi (rectangles may be unnormalised).
double clampTo(double v, double lo, double hi)
{
    return std::max(lo, std::min(v, hi));
}

} // namespace

namespace Util {

double getVectorSize(const QPoint &v)
{
    // The sum wraps in 32 bits as the original arithmetic did; done unsigned here
    // because signed overflow is undefined in C++.
    const std::uint32_t x = static_cast<std::uint32_t>(v.x());
    const std::uint32_t y = static_cast<std::uint32_t>(v.y());
    const std::int32_t sum = static_cast<std::int32_t>(x * x + y * y);
    return std::sqrt(static_cast<double>(sum));
}

double getVectorSize(const QPointF &v)
{
    return std::sqrt(v.x() * v.x() + v.y() * v.y());
}

QPointF getVectorDiff(const QPointF &a, const QPointF &b)
{
    UTILITY_TRACE_ENTER("Util::getVectorDiff");
    const QPointF result(a.x() - b.x(), a.y() - b.y());
    UTILITY_TRACE_EXIT("Util::getVectorDiff");
    return result;
}

double getCos(const QPointF &a, const QPointF &b)
{
    UTILITY_TRACE_ENTER("Util::getCos");
    double result = 1.0;
    if (isSmall(a.x()) && isSmall(a.y())) {
        result = 1.0;
    } else if (isSmall(b.x()) && isSmall(b.y())) {
        result = 1.0;
    } else {
        result = (a.x() * b.x() + a.y() * b.y())
            / (std::sqrt(b.x() * b.x() + b.y() * b.y()) * std::sqrt(a.x() * a.x() + a.y() * a.y()));
    }
    UTILITY_TRACE_EXIT("Util::getCos");
    return result;
}

int vectorLeftOrRight(const QPointF &a, const QPointF &b)
{
    UTILITY_TRACE_ENTER("Util::vectorLeftOrRight");
    const double cross = a.x() * b.y() - a.y() * b.x();
    int result = 0;
    if (std::fabs(cross) < kNearZero)
        result = 0;
    else if (cross > 0)
        result = 1;
    else
        result = -1;
    UTILITY_TRACE_EXIT("Util::vectorLeftOrRight");
    return result;
}

int vectorFrontOrBack(const QPointF &a, const QPointF &b)
{
    UTILITY_TRACE_ENTER("Util::vectorFrontOrBack");
    const double dot = a.x() * b.x() + a.y() * b.y();
    int result = 0;
    if (std::fabs(dot) < kNearZero)
        result = 0;
    else if (dot > 0)
        result = 1;
    else
        result = -1;
    UTILITY_TRACE_EXIT("Util::vectorFrontOrBack");
    return result;
}

void getLineCoefficient(const QPointF &p1, const QPointF &p2, double &a, double &b, double &c)
{
    UTILITY_TRACE_ENTER("Util::getLineCoefficient");
    a = p2.y() - p1.y();
    b = p1.x() - p2.x();
    c = p2.x() * p1.y() - p1.x() * p2.y();
    UTILITY_TRACE_RESULT("Util::getLineCoefficient", coefficientText(a, b, c));
}

double getDistance(const QPointF &p, const QPointF &q)
{
    return getVectorSize(getVectorDiff(p, q));
}

int getIntDistance(const QPointF &p, const QPointF &q)
{
    const double rounded = getDistance(p, q) + 0.5;
    // A distance is never negative; NaN and values beyond int stay defined here
    // instead of being undefined conversions.
    if (!(rounded < 2147483648.0))
        return std::isnan(rounded) ? 0 : 2147483647;
    return static_cast<int>(rounded);
}

bool isVirtuallyZero(double x)
{
    return std::fabs(x) < kNearZero;
}

bool isEqual(double a, double b, double eps)
{
    const double tolerance = eps + 2.220446049250313e-16;
    const double scale = std::fabs(a) >= 0.01 ? std::fabs(a) : 1.0;
    return std::fabs(a - b) <= tolerance * scale;
}

bool pointInRect(const QRectF &r, const QPointF &p)
{
    return r.x() <= p.x() && p.x() <= r.x() + r.width() && r.y() <= p.y() && p.y() <= r.y() + r.height();
}

ETriangleType identifyTriangle(const QPolygonF &tri, EAlignedEdge &first, EAlignedEdge &second)
{
    if (tri.size() != 3)
        return eNotTriangle;

    const QPointF p0 = tri.at(0);
    const QPointF p1 = tri.at(1);
    const QPointF p2 = tri.at(2);
    const QLineF a(p0, p1);
    const QLineF b(p1, p2);
    const QLineF c(p2, p0);
    const double e1 = turningAngle(a, b);
    const double e2 = turningAngle(b, c);
    const double e3 = turningAngle(c, a);

    first = eEdgeNone;
    second = eEdgeNone;

    if (isEqual(p0.y(), p1.y(), kTriangleTolerance))
        first = p0.y() < p2.y() ? eEdgeTop : eEdgeBottom;
    else if (isEqual(p1.y(), p2.y(), kTriangleTolerance))
        first = p1.y() < p0.y() ? eEdgeTop : eEdgeBottom;
    else if (isEqual(p2.y(), p0.y(), kTriangleTolerance))
        first = p0.y() < p1.y() ? eEdgeTop : eEdgeBottom;

    EAlignedEdge &vertical = first != eEdgeNone ? second : first;
    if (isEqual(p0.x(), p1.x(), kTriangleTolerance))
        vertical = p0.x() < p2.x() ? eEdgeLeft : eEdgeRight;
    else if (isEqual(p1.x(), p2.x(), kTriangleTolerance))
        vertical = p1.x() < p0.x() ? eEdgeLeft : eEdgeRight;
    else if (isEqual(p2.x(), p0.x(), kTriangleTolerance))
        vertical = p0.x() < p1.x() ? eEdgeLeft : eEdgeRight;

    if (isEqual(e1, kRightAngle, kTriangleTolerance) || isEqual(e2, kRightAngle, kTriangleTolerance)
        || isEqual(e3, kRightAngle, kTriangleTolerance))
        return eRightTriangle;
    if (isEqual(e1, e2, kTriangleTolerance) || isEqual(e1, e3, kTriangleTolerance)
        || isEqual(e2, e3, kTriangleTolerance))
        return eIsoscelesTriangle;
    // Turning angles of a proper triangle sum to 360, so one of them always exceeds
    // 90 here; callers treat both results alike.
    if (e1 > kRightAngle || e2 > kRightAngle || e3 > kRightAngle)
        return eObtuseTriangle;
    return eAcuteTriangle;
}

void differentiate(const QVector<QPointF> &src, QVector<QPointF> &dst)
{
    UTILITY_TRACE_ENTER("Util::differentiate");
    if (src.size() < 2) {
        dst.clear();
    } else {
        const int count = static_cast<int>(src.size()) - 1;
        dst.resize(count);
        for (int i = 0; i < count; ++i)
            dst[i] = QPointF(src.at(i + 1).x() - src.at(i).x(), src.at(i + 1).y() - src.at(i).y());
    }
    UTILITY_TRACE_EXIT("Util::differentiate");
}

double degToRad(double deg)
{
    return CAngle::degToRad(deg);
}

double radToDeg(double rad)
{
    return CAngle::radToDeg(rad);
}

bool getIntersection(double a1, double b1, double c1, double a2, double b2, double c2, QPointF *out)
{
    UTILITY_TRACE_ENTER("Util::getIntersection");
    const double det = a1 * b2 - b1 * a2;
    bool result = false;
    if (std::fabs(det) <= kNearZero) {
        result = false;
    } else {
        if (out) {
            out->setX((b1 * c2 - b2 * c1) / det);
            out->setY((a2 * c1 - a1 * c2) / det);
        }
        result = true;
    }
    UTILITY_TRACE_EXIT("Util::getIntersection");
    return result;
}

namespace {

// Moves four points so that their smallest x and y become 0 and returns the shift:
// near the origin the products of the coefficient form keep their precision.
QPointF shiftToOrigin(QPointF &p1, QPointF &p2, QPointF &p3, QPointF &p4)
{
    const double minX = std::min(std::min(std::min(p1.x(), p2.x()), p3.x()), p4.x());
    const double minY = std::min(std::min(std::min(p1.y(), p2.y()), p3.y()), p4.y());
    const QPointF shift(minX, minY);
    p1 -= shift;
    p2 -= shift;
    p3 -= shift;
    p4 -= shift;
    return shift;
}

} // namespace

bool getIntersection(QPointF p1, QPointF p2, QPointF p3, QPointF p4, QPointF *out)
{
    UTILITY_TRACE_ENTER("Util::getIntersection");
    const QPointF shift = shiftToOrigin(p1, p2, p3, p4);
    const double minX = shift.x(), minY = shift.y();

    double a1 = 0, b1 = 0, c1 = 0, a2 = 0, b2 = 0, c2 = 0;
    getLineCoefficient(p1, p2, a1, b1, c1);
    getLineCoefficient(p3, p4, a2, b2, c2);
    QPointF crossing;
    const bool result = getIntersection(a1, b1, c1, a2, b2, c2, &crossing);
    if (result && out)
        *out = QPointF(crossing.x() + minX, crossing.y() + minY);
    UTILITY_TRACE_EXIT("Util::getIntersection");
    return result;
}

bool intersectLineSegments(QPointF p1, QPointF p2, QPointF p3, QPointF p4, QPointF *out)
{
    UTILITY_TRACE_ENTER("Util::intersectLineSegments");
    const QPointF shift = shiftToOrigin(p1, p2, p3, p4);
    const double minX = shift.x(), minY = shift.y();

    const double dx = p2.x() - p1.x(), dy = p2.y() - p1.y(); // along the first segment
    const double ex = p3.x() - p4.x(), ey = p3.y() - p4.y(); // against the second
    const double fx = p1.x() - p3.x(), fy = p1.y() - p3.y();
    const double det = dx * ey - ex * dy;

    bool result = false;
    QPointF crossing;
    if (std::fabs(det) >= kNearZero) {
        const double t = (fy * ex - fx * ey) / det;
        const double u = (fy * dx - fx * dy) / (-det);
        if (t >= 0 && t <= 1 && u >= 0 && u <= 1) {
            result = true;
            crossing = QPointF(p1.x() + t * dx, p1.y() + t * dy);
        }
    } else {
        const bool firstIsPoint = isSmall(dx) && isSmall(dy);
        const bool secondIsPoint = isSmall(ex) && isSmall(ey);
        if (secondIsPoint && !firstIsPoint) {
            const double t = !isSmall(dx) ? -fx / dx : -fy / dy;
            if (t >= 0 && t <= 1) {
                result = true;
                crossing = QPointF(p1.x() + t * dx, p1.y() + t * dy);
            }
        } else if (firstIsPoint && !secondIsPoint) {
            const double u = !isSmall(ex) ? fx / ex : fy / ey;
            if (u >= 0 && u <= 1) {
                result = true;
                crossing = QPointF(p3.x() + u * ex, p3.y() + u * ey);
            }
        }
        // Two parallel segments, or two single points: no crossing.
    }
    if (result && out)
        *out = QPointF(crossing.x() + minX, crossing.y() + minY);
    UTILITY_TRACE_EXIT("Util::intersectLineSegments");
    return result;
}

QPointF getIntersectPoint(const QRectF &rect, const QPointF &from, const QPointF &to)
{
    UTILITY_TRACE_ENTER("Util::getIntersectPoint");
    const double left = rect.x();
    const double top = rect.y();
    const double right = rect.x() + rect.width();
    const double bottom = rect.y() + rect.height();

    QPointF result(0, 0);
    const bool found = from.x() <= to.x()
        ? intersectLineSegments(QPointF(right, top), QPointF(right, bottom), from, to, &result)
        : intersectLineSegments(QPointF(left, top), QPointF(left, bottom), from, to, &result);
    if (!found) {
        if (from.y() <= to.y())
            intersectLineSegments(QPointF(left, bottom), QPointF(right, bottom), from, to, &result);
        else
            intersectLineSegments(QPointF(left, top), QPointF(right, top), from, to, &result);
    }
    UTILITY_TRACE_EXIT("Util::getIntersectPoint");
    return result;
}

bool intersectRectAndLine(const QRectF &rect, const QPointF &p1, const QPointF &p2, QPointF *first, QPointF *second)
{
    UTILITY_TRACE_ENTER("Util::intersectRectAndLine");
    if (first)
        *first = QPointF(0, 0);
    if (second)
        *second = QPointF(0, 0);

    const double left = rect.x();
    const double top = rect.y();
    const double right = rect.x() + rect.width();
    const double bottom = rect.y() + rect.height();

    bool result = false;
    // Exact comparisons: QPointF's own operator== is fuzzy.
    if (p1.x() == p2.x() && p1.y() == p2.y()) {
        result = pointInRect(rect, p1);
        if (result) {
            if (first)
                *first = p1;
            if (second)
                *second = p1;
        }
    } else if (p1.x() == p2.x()) {
        const double x = p1.x();
        const double lowY = std::min(p1.y(), p2.y());
        const double highY = std::max(p1.y(), p2.y());
        if (!(x < left || x > right || lowY > bottom || !(highY > top))) {
            if (first)
                *first = QPointF(x, clampTo(p1.y(), top, bottom));
            if (second)
                *second = QPointF(x, clampTo(p2.y(), top, bottom));
            result = true;
        }
    } else if (p1.y() == p2.y()) {
        // The mirror of the vertical case, with the same inclusive and exclusive ends.
        const double y = p1.y();
        const double lowX = std::min(p1.x(), p2.x());
        const double highX = std::max(p1.x(), p2.x());
        if (!(y < top || y > bottom || lowX > right || !(highX > left))) {
            if (first)
                *first = QPointF(clampTo(p1.x(), left, right), y);
            if (second)
                *second = QPointF(clampTo(p2.x(), left, right), y);
            result = true;
        }
    } else {
        // A slanted segment that crosses the rectangle crosses the diagonal that
        // runs against its own direction.
        const bool towardsLeft = p1.x() - p2.x() > 0;
        const bool towardsTop = p1.y() - p2.y() > 0;
        QPointF middle;
        const bool crosses = towardsLeft != towardsTop
            ? intersectLineSegments(QPointF(left, top), QPointF(right, bottom), p1, p2, &middle)
            : intersectLineSegments(QPointF(right, top), QPointF(left, bottom), p1, p2, &middle);
        if (crosses) {
            const QPointF firstEnd = getIntersectPoint(rect, middle, p1);
            const QPointF secondEnd = getIntersectPoint(rect, middle, p2);
            if (first)
                *first = firstEnd;
            if (second)
                *second = secondEnd;
            result = true;
        }
    }
    UTILITY_TRACE_EXIT("Util::intersectRectAndLine");
    return result;
}

double getDistanceToLine(double a, double b, double c, const QPointF &p, QPointF *foot)
{
    UTILITY_TRACE_ENTER("Util::getDistanceToLine");
    double norm2 = a * a + b * b;
    // Floored, not normalised: for very short coefficient vectors the caller gets
    // the raw value, which the recogniser's thresholds were tuned with.
    if (norm2 < 1.0)
        norm2 = 1.0;
    if (foot) {
        // The perpendicular through p: b*x - a*y + (a*p.y - b*p.x) = 0.
        if (!getIntersection(a, b, c, b, -a, a * p.y() - b * p.x(), foot))
            *foot = p;
    }
    const double result = std::fabs(a * p.x() + b * p.y() + c) / std::sqrt(norm2);
    UTILITY_TRACE_EXIT("Util::getDistanceToLine");
    return result;
}

double calcDistanceToLineSegment(const QPointF &s1, const QPointF &s2, const QPointF &p, QPointF *foot)
{
    UTILITY_TRACE_ENTER("Util::calcDistanceToLineSegment");
    double result = 0.0;
    if ((p.x() - s1.x()) * (s1.x() - s2.x()) + (p.y() - s1.y()) * (s1.y() - s2.y()) >= 0) {
        if (foot)
            *foot = s1;
        result = getDistance(p, s1);
    } else if ((s2.x() - s1.x()) * (p.x() - s2.x()) + (s2.y() - s1.y()) * (p.y() - s2.y()) >= 0) {
        if (foot)
            *foot = s2;
        result = getDistance(p, s2);
    } else {
        double a = 0, b = 0, c = 0;
        getLineCoefficient(s1, s2, a, b, c);
        result = getDistanceToLine(a, b, c, p, foot);
    }
    UTILITY_TRACE_RESULT("Util::calcDistanceToLineSegment", result);
    return result;
}

QRectF calcKeepAspectRect(const QRectF &bounds, const QRectF &content, bool enlarge, bool center)
{
    UTILITY_TRACE_ENTER("Util::calcKeepAspectRect");
    const double W = bounds.width();
    const double H = bounds.height();
    const double w = content.width();
    const double h = content.height();

    QRectF result = bounds;
    double newWidth = w;
    double newHeight = h;
    if (enlarge || w > W || h > H) {
        if (h * W <= w * H) {
            newWidth = W;
            newHeight = h * W / w;
        } else {
            newWidth = w * H / h;
            newHeight = H;
        }
    }
    if (center) {
        // Offsets from 0, not from bounds' origin: callers add the origin they need.
        result.setLeft((W - newWidth) * 0.5);
        result.setTop((H - newHeight) * 0.5);
    }
    result.setWidth(newWidth);
    result.setHeight(newHeight);
    UTILITY_TRACE_EXIT("Util::calcKeepAspectRect");
    return result;
}

} // namespace Util
