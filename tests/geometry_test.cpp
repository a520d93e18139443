// Util geometry: the tolerances are deliberately asymmetric and the edges
// deliberately inclusive; the recogniser was tuned with exactly these results.
#include <utility/geometry.h>

#include "testsupport.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

using namespace Util;
using testsupport::CapturedLog;

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// Qt 5's QPolygonF cannot be built from a braced list directly.
QPolygonF poly(const QVector<QPointF> &points) { return QPolygonF(points); }

// Exact comparison of both coordinates; QPointF's own == is fuzzy.
::testing::AssertionResult samePoint(const QPointF &a, const QPointF &e)
{
    return (a.x() == e.x() && a.y() == e.y() ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
        << "(" << a.x() << ", " << a.y() << ") vs (" << e.x() << ", " << e.y() << ")";
}
} // namespace

TEST(UtilGeometry, IsEqualFollowsTheFirstArgument)
{
    struct Case { double a, b, eps; bool expected; } const cases[] = {
        {100, 109.5, 0.09, false}, {109.5, 100, 0.09, true}, // 9.5 > 9.0, but 9.5 <= 9.855
        {90, 98.1, 0.09, true},    {90, 98.2, 0.09, false},  // the band edge is inclusive
        {0.0, 0.05, 0.09, true}, {0.005, 0.095, 0.09, true}, {0.005, 0.096, 0.09, false}, // absolute below 0.01
        {1.0, 1.0, 0.0, true}, {1.0, 1.0 + 2.220446049250313e-16, 0.0, true}, // machine epsilon is always added
        {1.0, 1.0 + 4.440892098500626e-16, 0.0, false}, {kNaN, 1.0, 0.09, false}, {1.0, kNaN, 0.09, false},
        {kInf, kInf, 0.09, false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(isEqual(c.a, c.b, c.eps), c.expected) << c.a << " vs " << c.b << " eps " << c.eps;

    EXPECT_TRUE(!isVirtuallyZero(1e-9) && isVirtuallyZero(-9.99e-10) && !isVirtuallyZero(kNaN));
}

TEST(UtilGeometry, VectorsAndSigns)
{
    EXPECT_TRUE(getVectorSize(QPoint(3, 4)) == 5.0 && getVectorSize(QPointF(3, 4)) == 5.0);
    // The integer sum wraps in 32 bits: negative (NaN) or small, never the true length.
    EXPECT_TRUE(std::isnan(getVectorSize(QPoint(40000, 40000))));
    EXPECT_EQ(getVectorSize(QPoint(50000, 50000)), std::sqrt(705032704.0));

    // Below 1e-9 a length or product counts as zero: a zero vector has cosine 1.
    struct Case { QPointF a, b; double cos; int leftRight, frontBack; } const cases[] = {
        {{0, 0}, {1, 0}, 1.0, 0, 0},    {{1, 0}, {0, 5e-10}, 1.0, 0, 0}, {{1, 0}, {-1, 0}, -1.0, 0, -1},
        {{2, 0}, {0, 3}, 0.0, 1, 0},    {{1, 0}, {0, -1}, 0.0, -1, 0},   {{1, 0}, {2, 0}, 1.0, 0, 1},
        {{1, 0}, {1, 9e-10}, 1.0, 0, 1}, {{1, 0}, {1, 1}, std::sqrt(0.5), 1, 1},
        {{1, 0}, {-1, 1}, -std::sqrt(0.5), 1, -1}};
    for (const Case &c : cases) {
        EXPECT_NEAR(getCos(c.a, c.b), c.cos, 1e-12) << ::testing::PrintToString(c.b);
        EXPECT_EQ(vectorLeftOrRight(c.a, c.b), c.leftRight) << ::testing::PrintToString(c.b);
        EXPECT_EQ(vectorFrontOrBack(c.a, c.b), c.frontBack) << ::testing::PrintToString(c.b);
    }

    EXPECT_TRUE(samePoint(getVectorDiff(QPointF(5, 7), QPointF(2, 10)), QPointF(3, -3)));

    double a = 1, b = 1, c = 1;
    getLineCoefficient(QPointF(0, 0), QPointF(10, 0), a, b, c);
    EXPECT_TRUE(a == 0.0 && b == -10.0 && c == 0.0);
    getLineCoefficient(QPointF(2, 3), QPointF(2, 3), a, b, c);
    EXPECT_TRUE(a == 0.0 && b == 0.0 && c == 0.0);
}

TEST(UtilGeometry, DistancesRoundHalfUpAndRectanglesIncludeEveryEdge)
{
    EXPECT_EQ(getDistance(QPointF(0, 0), QPointF(3, 4)), 5.0);
    const std::pair<double, int> cases[] = {{4, 4}, {2.5, 3}, {2.49, 2}, {kNaN, 0}, {kInf, std::numeric_limits<int>::max()}};
    for (const auto &[x, expected] : cases)
        EXPECT_EQ(getIntDistance(QPointF(0, 0), QPointF(x, 0)), expected) << x;

    const std::pair<QPointF, bool> points[] = {{{0, 0}, true},           {{100, 50}, true},       {{100, 0}, true},
                                               {{100.000001, 10}, false}, {{-0.000001, 10}, false}, {{kNaN, 10}, false}};
    for (const auto &[point, inside] : points)
        EXPECT_EQ(pointInRect(QRectF(0, 0, 100, 50), point), inside) << ::testing::PrintToString(point);
    EXPECT_FALSE(pointInRect(QRectF(10, 10, -5, 5), QPointF(7, 12))); // not normalised
}

TEST(UtilGeometry, DifferentiatesAndIntersectsLines)
{
    QVector<QPointF> out = {QPointF(9, 9), QPointF(9, 9), QPointF(9, 9), QPointF(9, 9)};
    differentiate({QPointF(1, 1), QPointF(4, 5), QPointF(4, 0)}, out);
    ASSERT_EQ(out.size(), 2);
    EXPECT_TRUE(samePoint(out[0], QPointF(3, 4)) && samePoint(out[1], QPointF(0, -5)));
    differentiate({QPointF(1, 1)}, out);
    EXPECT_TRUE(out.isEmpty());

    QPointF at(7, 7);
    EXPECT_FALSE(getIntersection(1, 1, 0, 2, 2, 5, &at)); // parallel
    EXPECT_TRUE(samePoint(at, QPointF(7, 7)));
    EXPECT_TRUE(getIntersection(1, 0, 0, 0, 1, 0, &at) && samePoint(at, QPointF(0, 0)));
    EXPECT_TRUE(getIntersection(QPointF(1e6, 1e6), QPointF(1e6 + 10, 1e6 + 10), QPointF(1e6, 1e6 + 10),
                                QPointF(1e6 + 10, 1e6), &at) && samePoint(at, QPointF(1e6 + 5, 1e6 + 5)));
    EXPECT_FALSE(getIntersection(QPointF(0, 0), QPointF(1, 1), QPointF(0, 1), QPointF(1, 2), &at));
}

TEST(UtilGeometry, IdentifyTriangle)
{
    struct Case { QPolygonF tri; ETriangleType type; EAlignedEdge first, second; } const cases[] = {
        // Right angle at P0: P0-P1 is the top edge, P2-P0 the left one.
        {poly({QPointF(0, 0), QPointF(100, 0), QPointF(0, 100)}), eRightTriangle, eEdgeTop, eEdgeLeft},
        // Flipped: the horizontal edge is below the opposite vertex.
        {poly({QPointF(0, 100), QPointF(100, 100), QPointF(100, 0)}), eRightTriangle, eEdgeBottom, eEdgeRight},
        // Only a vertical edge: it goes to `first`.
        // Turning angles of about 150, 130 and 80: neither right nor isosceles.
        {poly({QPointF(10, 0), QPointF(10, 100), QPointF(74, -11)}), eObtuseTriangle, eEdgeLeft, eEdgeNone},
        // Equilateral: three turning angles of 120.
        {poly({QPointF(0, 0), QPointF(100, 0), QPointF(50, 86.60254037844386)}), eIsoscelesTriangle, eEdgeTop, eEdgeNone},
        // Repeated points: two zero-length edges give equal (zero) angles.
        {poly({QPointF(5, 5), QPointF(5, 5), QPointF(5, 5)}), eIsoscelesTriangle, eEdgeBottom, eEdgeRight},
        // Collinear points turn by 0 and 180, and 180 again: two equal angles.
        {poly({QPointF(0, 3), QPointF(50, 7), QPointF(100, 11)}), eIsoscelesTriangle, eEdgeNone, eEdgeNone},
    };
    for (const Case &c : cases) {
        EAlignedEdge first = EAlignedEdge(7), second = EAlignedEdge(7);
        EXPECT_EQ(identifyTriangle(c.tri, first, second), c.type) << ::testing::PrintToString(c.tri);
        EXPECT_TRUE(first == c.first && second == c.second) << ::testing::PrintToString(c.tri) << first << second;
    }

    // Alignment is relative to the coordinate: 9 % of 1000 is 90.
    EAlignedEdge first = eEdgeNone, second = eEdgeNone;
    identifyTriangle(poly({QPointF(0, 1000), QPointF(500, 1080), QPointF(250, 0)}), first, second);
    EXPECT_EQ(first, eEdgeBottom);

    // NaN is the one way to get eAcuteTriangle.
    EXPECT_EQ(identifyTriangle(poly({QPointF(kNaN, 0), QPointF(1, 0), QPointF(0, 1)}), first, second), eAcuteTriangle);

    first = eEdgeRight, second = eEdgeLeft;
    EXPECT_EQ(identifyTriangle(poly({QPointF(0, 0), QPointF(1, 0)}), first, second), eNotTriangle);
    EXPECT_EQ(identifyTriangle(poly({QPointF(0, 0), QPointF(1, 0), QPointF(1, 1), QPointF(0, 1)}), first, second),
              eNotTriangle);
    EXPECT_TRUE(first == eEdgeRight && second == eEdgeLeft) << "left alone";

    // The numbers are part of the interface.
    static_assert(eNotTriangle == 0 && eRightTriangle == 1 && eIsoscelesTriangle == 2 && eAcuteTriangle == 3
                  && eObtuseTriangle == 4 && eEdgeNone == 0 && eEdgeTop == 1 && eEdgeRight == 2 && eEdgeBottom == 3
                  && eEdgeLeft == 4);
}

TEST(UtilGeometry, SegmentIntersections)
{
    struct Case { QPointF p1, p2, p3, p4; bool expected; QPointF crossing; } const cases[] = {
        {{0, 0}, {10, 0}, {10, 0}, {10, 10}, true, {10, 0}}, {{0, 0}, {10, 0}, {11, 0}, {20, 0}, false, {}}, // ends count
        {{0, 0}, {10, 0}, {5, 0}, {20, 0}, false, {}},           // collinear overlap: parallel
        {{0, 0}, {10, 10}, {0, 10}, {10, 0}, true, {5, 5}},
        {{0, 0}, {10, 10}, {0, 10}, {4, 6}, false, {}},          // the lines cross, the segments not
        // Second segment a point: only one coordinate is compared.
        {{0, 0}, {10, 0}, {4, 3}, {4, 3}, true, {4, 0}}, {{0, 0}, {0, 10}, {3, 4}, {3, 4}, true, {0, 4}},
        {{0, 0}, {10, 0}, {11, 0}, {11, 0}, false, {}},
        // First segment a point: tested against the second reflected through p3.
        {{-4, 0}, {-4, 0}, {0, 0}, {10, 0}, true, {-4, 0}}, {{4, 0}, {4, 0}, {0, 0}, {10, 0}, false, {}},
        {{0, 0}, {0, 0}, {0, 0}, {10, 0}, true, {0, 0}}, {{1, 1}, {1, 1}, {1, 1}, {1, 1}, false, {}}, // two points
    };
    for (const Case &c : cases) {
        QPointF out(-99, -99);
        EXPECT_EQ(intersectLineSegments(c.p1, c.p2, c.p3, c.p4, &out), c.expected) << ::testing::PrintToString(c.p3);
        EXPECT_TRUE(samePoint(out, c.expected ? c.crossing : QPointF(-99, -99)));
        EXPECT_EQ(intersectLineSegments(c.p1, c.p2, c.p3, c.p4, nullptr), c.expected);
    }
}

TEST(UtilGeometry, RectangleCrossings)
{
    const QRectF rect(0, 0, 100, 100);
    EXPECT_TRUE(samePoint(getIntersectPoint(rect, QPointF(50, 50), QPointF(150, 50)), QPointF(100, 50))
                && samePoint(getIntersectPoint(rect, QPointF(50, 50), QPointF(60, 60)), QPointF(0, 0))
                && samePoint(getIntersectPoint(rect, QPointF(50, 50), QPointF(50, -30)), QPointF(50, 0)));

    struct Case { QPointF p1, p2; bool expected; QPointF first, second; } const cases[] = {
        {{50, -20}, {50, 200}, true, {50, 0}, {50, 100}}, {{50, 200}, {50, -20}, true, {50, 100}, {50, 0}},
        {{50, 100}, {50, 200}, true, {50, 100}, {50, 100}},     // starting on the bottom edge
        {{50, -20}, {50, 0}, false, {}, {}},                    // ending on the top edge
        {{100, 10}, {100, 20}, true, {100, 10}, {100, 20}},     // on the right edge
        {{-20, 50}, {200, 50}, true, {0, 50}, {100, 50}},       // horizontal mirrors vertical
        {{100, 50}, {200, 50}, true, {100, 50}, {100, 50}}, {{-20, 50}, {0, 50}, false, {}, {}},
        {{10, 101}, {20, 101}, false, {}, {}}, {{-50, -50}, {150, 150}, true, {0, 0}, {100, 100}},
        {{150, -50}, {-50, 150}, true, {100, 0}, {0, 100}},
        // The inside end is the diagonal crossing itself; only the x edge is tested
        // against it, so it maps onto the right edge.
        {{50, 50}, {150, 150}, true, {100, 50}, {100, 100}},
        {{20, 30}, {30, 20}, true, {0, 0}, {0, 0}},            // both ends inside
        {{200, 0}, {300, 50}, false, {}, {}}, {{5, 5}, {5, 5}, true, {5, 5}, {5, 5}}, {{105, 5}, {105, 5}, false, {}, {}},
    };
    for (const Case &c : cases) {
        QPointF first(-1, -1), second(-1, -1);
        EXPECT_EQ(intersectRectAndLine(rect, c.p1, c.p2, &first, &second), c.expected) << ::testing::PrintToString(c.p1);
        EXPECT_TRUE(samePoint(first, c.first) && samePoint(second, c.second)) << ::testing::PrintToString(c.p2);
        EXPECT_EQ(intersectRectAndLine(rect, c.p1, c.p2, nullptr, nullptr), c.expected);
    }
}

TEST(UtilGeometry, DistancesToLinesAndSegmentsAndAspectRects)
{
    QPointF foot(-1, -1);
    EXPECT_TRUE(getDistanceToLine(0, -10, 0, QPointF(5, 3), &foot) == 3.0 && samePoint(foot, QPointF(5, 0)));
    EXPECT_EQ(getDistanceToLine(0, 0.5, 0, QPointF(0, 4), nullptr), 2.0); // norm floored at 1
    EXPECT_TRUE(getDistanceToLine(0, 0, 7, QPointF(3, 4), &foot) == 7.0 && samePoint(foot, QPointF(3, 4))); // foot = p

    struct Case { QPointF s1, s2, p; double distance; QPointF foot; } const cases[] = {
        {{0, 0}, {10, 0}, {-3, 4}, 5.0, {0, 0}}, {{0, 0}, {10, 0}, {13, -4}, 5.0, {10, 0}},
        {{0, 0}, {10, 0}, {4, 6}, 6.0, {4, 0}}, // a projection on an end goes to the end:
        {{0, 0}, {10, 0}, {0, 6}, 6.0, {0, 0}}, {{0, 0}, {10, 0}, {10, 6}, 6.0, {10, 0}},
        // A segment shorter than 1: the unnormalised value, 0.5 * 4.
        {{0, 0}, {0.5, 0}, {0.25, 4}, 2.0, {0.25, 0}}, {{2, 2}, {2, 2}, {5, 6}, 5.0, {2, 2}},
    };
    for (const Case &c : cases) {
        QPointF f(-1, -1);
        EXPECT_EQ(calcDistanceToLineSegment(c.s1, c.s2, c.p, &f), c.distance) << ::testing::PrintToString(c.p);
        EXPECT_TRUE(samePoint(f, c.foot) && calcDistanceToLineSegment(c.s1, c.s2, c.p) == c.distance);
    }

    const QRectF bounds(10, 10, 200, 100), square(0, 0, 50, 50);
    EXPECT_EQ(calcKeepAspectRect(bounds, square, false, false), QRectF(10, 10, 50, 50));
    EXPECT_EQ(calcKeepAspectRect(bounds, square, true, false), QRectF(10, 10, 100, 100));
    EXPECT_EQ(calcKeepAspectRect(bounds, square, true, true), QRectF(50, 0, 100, 100)); // from 0, not 10
    EXPECT_EQ(calcKeepAspectRect(bounds, QRectF(0, 0, 400, 100), false, false), QRectF(10, 10, 200, 50));
    EXPECT_EQ(calcKeepAspectRect(bounds, QRectF(0, 0, 50, 50), false, true), QRectF(75, 25, 50, 50));
}

TEST(UtilGeometry, TracesResultsButNotTheCheapPredicates)
{
    CapturedLog log("TRACE");
    calcDistanceToLineSegment(QPointF(0, 0), QPointF(10, 0), QPointF(-3, 4));
    EXPECT_THAT(log.traceLines().back(), ::testing::EndsWith("\tExitUtil::calcDistanceToLineSegment(5)"));
    log.clear();
    (void)(isEqual(1, 2, 0.1) || pointInRect(QRectF(0, 0, 1, 1), QPointF(0, 0)));
    EAlignedEdge first, second;
    identifyTriangle(poly({QPointF(0, 0), QPointF(1, 0), QPointF(0, 1)}), first, second);
    EXPECT_TRUE(log.traceLines().empty());
}

TEST(UtilGeometry, NonFiniteInputNeverHangs)
{
    const QPointF nan(kNaN, kNaN), inf(kInf, -kInf);
    QPointF out;
    EXPECT_FALSE(intersectLineSegments(nan, QPointF(1, 1), QPointF(0, 1), QPointF(1, 0), &out));
    for (const QPointF &p : {nan, inf})
        EXPECT_FALSE(intersectRectAndLine(QRectF(0, 0, 10, 10), p, QPointF(1, 1), &out, &out));
    getIntersectPoint(QRectF(0, 0, kInf, 10), QPointF(1, 1), inf);
    calcDistanceToLineSegment(QPointF(0, 0), inf, nan, &out);
    calcKeepAspectRect(QRectF(0, 0, 10, 10), QRectF(0, 0, 0, 0), true, true);
}
