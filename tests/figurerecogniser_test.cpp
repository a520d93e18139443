// CFigureRecogniser, stage by stage: the angle functions and their five-decimal pi,
// the category decisions at their strict thresholds, joining strokes, reducing a
// closed stroke to its corners, and the normalisers' fixed rules. The stages are
// private; this file reaches them through FigureRecogniserProbe.
#include <utility/figurerecogniser.h>

#include "testsupport.h"

#include <gtest/gtest.h>

#include <QLineF>

#include <cmath>
#include <limits>
#include <map>

using Points = QVector<QPointF>;
using Strokes = QVector<QVector<QPointF>>;

class FigureRecogniserProbe
{
public:
    using R = CFigureRecogniser;
    static double calcAngle(QPointF u, QPointF v) { return R::calcAngle(u, v); }
    static double calcAngle180(QPointF u, QPointF v) { return R::calcAngle180(u, v); }
    static bool isHorizontalAngle(double a, double t) { return R::isHorizontalAngle(a, t); }
    static bool isVerticalAngle(double a, double t) { return R::isVerticalAngle(a, t); }
    static QRectF getStrokeRectBound(const Points &p) { return R::getStrokeRectBound(p); }
    static void makeSmoothPoints(const Strokes &in, Strokes &out, double t) { R::makeSmoothPoints(in, out, t); }
    static int check1OpenStroke(const Points &s, QRectF &r) { return R::check1OpenStroke(s, r); }
    static int checkOpenStroke(Points a, Points b, QRectF &r) { return R::checkOpenStroke(a, b, r); }
    static int classifyCloseFigure(Points &v, int limit, bool normalize) { return R::classifyCloseFigure(v, limit, normalize); }
    static bool makeConnectedStroke(Strokes &s) { return R::makeConnectedStroke(s); }
    static int intersectConnect(Points &a, Points &b) { return R::intersectConnect(a, b); }
    static bool nearConnect(Points &a, Points &b) { return R::nearConnect(a, b); }
    static void normalizePointOrder(Points &a, Points &b) { R::normalizePointOrder(a, b); }
    static int searchHigeIndex(Points &s, double length, QVector<double> &cumulative)
    {
        return R::searchHigeIndex(s, length, cumulative);
    }
    static bool connect1Stroke(Points &s) { return R::connect1Stroke(s); }
    static int checkConnectSpecialEdge(const Points &a, const Points &b, int &i, int &j)
    {
        return R::checkConnectSpecialEdge(a, b, i, j);
    }
    static int checkBranchStroke(const Points &a, const Points &b, int i, int j, QRectF &r)
    {
        return R::checkBranchStroke(a, b, i, j, r);
    }
    static void removeShortSegment(Points &v) { R::removeShortSegment(v); }
    static void removeExtraPoint(Points &v) { R::removeExtraPoint(v); }
    static bool checkVectorDirection(const Points &v) { return R::checkVectorDirection(v); }
    static bool hasSelfIntersection(const Points &v) { return R::hasSelfIntersection(v); }
    static void divideStrokeLength(const Points &s, int k, QPointF x, double &before, double &after)
    {
        R::divideStrokeLength(s, k, x, before, after);
    }
    static void getAllSegmentRect(const Points &s, QVector<QRectF> &rects) { R::getAllSegmentRect(s, rects); }
    static void normalizeTriangle(Points &v) { R::normalizeTriangle(v); }
    static void setSideHorizontal(Points &v, int k) { R::setSideHorizontal(v, k); }
    static void setSideVertical(Points &v, int k) { R::setSideVertical(v, k); }
    static void normalizeQuadrangle(Points &v) { R::normalizeQuadrangle(v); }
    static bool normalizeKite(Points &v) { return R::normalizeKite(v); }
    static void normalizeKiteAux(Points &v) { R::normalizeKiteAux(v); }
    static void normalizeRectangle(Points &v, bool horizontal) { R::normalizeRectangle(v, horizontal); }
    static void normalizeParallelogramOrTrapezium(Points &v, bool horizontal)
    {
        R::normalizeParallelogramOrTrapezium(v, horizontal);
    }
    static void shiftVertexList(Points &v) { R::shiftVertexList(v); }
    static QPointF getCenterPoint(const Points &v) { return R::getCenterPoint(v); }
    static double getRadius(const Points &v, QPointF c) { return R::getRadius(v, c); }
    static void normalizePentagon(Points &v) { R::normalizePentagon(v); }
    static void normalizeHexagon(Points &v) { R::normalizeHexagon(v); }
};

namespace {

using A = FigureRecogniserProbe;

constexpr double kPi = 3.141592653589793;
// The recogniser's degrees: 180 / 3.14159.
constexpr double kDegreesPerRadian = 57.295827908797776;

std::string text(const Points &points)
{
    std::string s;
    for (const QPointF &p : points)
        s += "(" + std::to_string(p.x()) + "," + std::to_string(p.y()) + ")";
    return s;
}

// Exact comparison; QPointF's own == is fuzzy.
::testing::AssertionResult samePoints(const Points &actual, const Points &expected, double tolerance = 0.0)
{
    bool same = actual.size() == expected.size();
    for (int i = 0; same && i < actual.size(); ++i) {
        same = std::fabs(actual[i].x() - expected[i].x()) <= tolerance
            && std::fabs(actual[i].y() - expected[i].y()) <= tolerance;
    }
    if (same)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << text(actual) << " != " << text(expected);
}

::testing::AssertionResult sameRect(const QRectF &actual, const QRectF &expected, double tolerance = 0.0)
{
    if (std::fabs(actual.x() - expected.x()) <= tolerance && std::fabs(actual.y() - expected.y()) <= tolerance
        && std::fabs(actual.width() - expected.width()) <= tolerance
        && std::fabs(actual.height() - expected.height()) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << actual.x() << "," << actual.y() << "," << actual.width() << ","
                                         << actual.height() << ") != (" << expected.x() << "," << expected.y() << ","
                                         << expected.width() << "," << expected.height() << ")";
}

// A pen stroke through the given corners: points about `step` apart on every side.
Points pen(const Points &corners, double step = 2.0)
{
    Points points;
    for (int k = 0; k + 1 < corners.size(); ++k) {
        const QLineF side(corners[k], corners[k + 1]);
        const int n = std::max(1, int(side.length() / step));
        for (int i = 0; i < n; ++i)
            points.append(side.pointAt(double(i) / n));
    }
    points.append(corners.last());
    return points;
}

QPointF polar(QPointF center, double radius, double degrees)
{
    const double r = degrees * kPi / 180.0;
    return QPointF(center.x() + radius * std::cos(r), center.y() + radius * std::sin(r));
}

Points closed(Points corners)
{
    corners.append(corners.first());
    return corners;
}

int classify(const Strokes &strokes, QRectF *rect = nullptr, Points *points = nullptr, int vertexLimit = 6,
             bool normalize = true)
{
    QRectF r;
    Points p;
    const int code = CFigureRecogniser::classifyScribble(strokes, r, p, vertexLimit, normalize);
    if (rect)
        *rect = r;
    if (points)
        *points = p;
    return code;
}

} // namespace

// ---------------------------------------------------------------------------------
// Shared angle functions
// ---------------------------------------------------------------------------------

TEST(CFigureRecogniser, AnglesUseTheFiveDecimalPi)
{
    const double right = std::acos(0.0) * kDegreesPerRadian;
    EXPECT_EQ(right, 90.00007601981207);
    // A zero vector is left as (0, 0): a dot product of 0, not exactly 90 degrees.
    EXPECT_EQ(A::calcAngle(QPointF(1, 0), QPointF(0, 0)), right);
    EXPECT_EQ(A::calcAngle180(QPointF(1, 0), QPointF(0, 0)), right);
    EXPECT_EQ(A::calcAngle180(QPointF(1, 0), QPointF(-1, 0)), 180.00015203962414);
    EXPECT_EQ(A::calcAngle(QPointF(1, 0), QPointF(-1, 0)), 0.0); // folded into the first quadrant
    EXPECT_EQ(A::calcAngle(QPointF(1, 0), QPointF(0, -3)), right);
    EXPECT_NEAR(A::calcAngle(QPointF(-2, 0), QPointF(1, 1)), 45.0000380, 1e-6);
    EXPECT_NEAR(A::calcAngle180(QPointF(-2, 0), QPointF(1, 1)), 135.0001140, 1e-6);

    // A side exactly 10 degrees off the axis measures a little more than 10.
    const QPointF ten(std::cos(10 * kPi / 180), std::sin(10 * kPi / 180));
    const double measured = A::calcAngle(QPointF(1, 0), ten);
    EXPECT_NEAR(measured, 10.0000084, 1e-7);
    EXPECT_FALSE(A::isHorizontalAngle(measured, CFigureRecogniser::THRESHOLD_ANGLE));
}

TEST(CFigureRecogniser, AnglePredicatesAreStrict)
{
    const double t = CFigureRecogniser::THRESHOLD_ANGLE;
    EXPECT_EQ(t, 10.0);
    EXPECT_FALSE(A::isHorizontalAngle(10, t));
    EXPECT_TRUE(A::isHorizontalAngle(9.999, t));
    EXPECT_TRUE(A::isHorizontalAngle(-9.999, t));
    EXPECT_FALSE(A::isHorizontalAngle(-10, t));
    EXPECT_FALSE(A::isVerticalAngle(80, t));
    EXPECT_TRUE(A::isVerticalAngle(80.001, t));
    EXPECT_TRUE(A::isVerticalAngle(99.999, t));
    EXPECT_FALSE(A::isVerticalAngle(100, t));
    EXPECT_FALSE(A::isHorizontalAngle(std::nan(""), t));
}

TEST(CFigureRecogniser, BoundingBoxOfAnEmptyListIsInverted)
{
    const double big = 3.4028234663852886e+38;
    EXPECT_TRUE(sameRect(A::getStrokeRectBound({}), QRectF(big, big, -2 * big, -2 * big)));
    EXPECT_TRUE(sameRect(A::getStrokeRectBound({QPointF(5, -1), QPointF(-2, 7), QPointF(3, 3)}),
                         QRectF(-2, -1, 7, 8)));
    EXPECT_TRUE(sameRect(A::getStrokeRectBound({QPointF(4, 4)}), QRectF(4, 4, 0, 0)));

    // Smoothing keeps empty strokes as empty places in the list.
    Strokes out = {{QPointF(9, 9)}};
    A::makeSmoothPoints({{}, {QPointF(0, 0), QPointF(50, 0)}}, out, 0.1);
    ASSERT_EQ(out.size(), 2);
    EXPECT_TRUE(out[0].isEmpty());
    EXPECT_TRUE(samePoints(out[1], {QPointF(0, 0), QPointF(50, 0)}));
}

// ---------------------------------------------------------------------------------
// Category decisions
// ---------------------------------------------------------------------------------

TEST(CFigureRecogniser, StraightLinesAndTheTenDegreeLimit)
{
    QRectF rect;
    EXPECT_EQ(classify({pen({QPointF(0, 0), QPointF(100, 5)})}, &rect), 205);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 0, 100, 5)));
    EXPECT_EQ(classify({pen({QPointF(100, 5), QPointF(0, 0)})}, &rect), 205);
    EXPECT_TRUE(sameRect(rect, QRectF(100, 5, -100, -5))); // the direction stays

    const double tan10 = std::tan(10 * kPi / 180);
    EXPECT_EQ(classify({pen({QPointF(0, 0), QPointF(200, 200 * tan10)})}, &rect), 103);
    EXPECT_EQ(classify({pen({QPointF(0, 0), QPointF(200, -200 * std::tan(9.9 * kPi / 180))})}), 205);
    EXPECT_EQ(classify({pen({QPointF(0, 0), QPointF(3, 150)})}, &rect), 103);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 0, 3, 150)));

    // A lone point is a line of length zero, which is not within 10 degrees of
    // horizontal (its angle is the zero vector's 90.00008).
    EXPECT_EQ(classify({{QPointF(7, 8)}}, &rect), 103);
    EXPECT_TRUE(sameRect(rect, QRectF(7, 8, 0, 0)));
    EXPECT_EQ(classify({Points(50, QPointF(7, 8))}, &rect), 103);
}

TEST(CFigureRecogniser, StraightMeansAtMostFifteenPercentOffTheChord)
{
    // A bend at the middle: its distance from the chord against 15% of the length.
    // (The opening angle is wide, so the two-arm tests pass it on.) The limit lies
    // at a height of 15.724.
    QRectF rect;
    EXPECT_EQ(A::check1OpenStroke({QPointF(0, 0), QPointF(50, 15.7), QPointF(100, 0)}, rect), 205);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 0, 100, 0)));
    EXPECT_EQ(A::check1OpenStroke({QPointF(0, 0), QPointF(50, 15.75), QPointF(100, 0)}, rect), 0);
    EXPECT_EQ(A::check1OpenStroke({QPointF(0, 0)}, rect), 0);
    EXPECT_EQ(A::check1OpenStroke({}, rect), 0);
}

TEST(CFigureRecogniser, TwoArmShapes)
{
    struct Case
    {
        const char *name;
        Points stroke;
        int code;
        QRectF rect; // expected when code != 0; the caller's box is (0, 0, 100, 100)
    };
    const double c30 = std::cos(30 * kPi / 180);
    const double s30 = std::sin(30 * kPi / 180);
    const Case cases[] = {
        // Long arm exactly twice the short one: "at most" holds, a barbed line from
        // the long arm's free end to the joint.
        {"barb at ratio 2", {QPointF(200, 0), QPointF(0, 0), QPointF(60, 80)}, 114, QRectF(200, 0, -200, 0)},
        {"barb, long arm second", {QPointF(30, 40), QPointF(0, 0), QPointF(100, 0)}, 114, QRectF(100, 0, -100, 0)},
        // A little under twice: two comparable arms, here a caret opening right, its
        // box's height centred on the joint.
        {"just under ratio 2", {QPointF(199.9, 0), QPointF(0, 0), QPointF(60, 80)}, 203, QRectF(0, -40, 100, 80)},
        {"barb at 30 degrees", {QPointF(0, 0), QPointF(100, 0), QPointF(100 - 45 * c30, 45 * s30)}, 114,
         QRectF(0, 0, 100, 0)},
        // Comparable arms whose joint is the lowest or highest point: not a figure.
        {"V opening up", {QPointF(-60, -100), QPointF(0, 0), QPointF(61, -99)}, 0, {}},
        {"caret opening down", {QPointF(-60, 100), QPointF(0, 0), QPointF(61, 99)}, 0, {}},
        {"caret opening right", {QPointF(100, 0), QPointF(0, 50), QPointF(100, 100)}, 203, QRectF(0, 0, 100, 100)},
        {"caret opening left", {QPointF(0, 10), QPointF(100, 50), QPointF(0, 70)}, 204, QRectF(0, 20, 100, 60)},
        // An axis-aligned corner is an L: the general test finds it bent.
        {"L", {QPointF(200 * std::cos(9 * kPi / 180), 200 * std::sin(9 * kPi / 180)), QPointF(0, 0),
               QPointF(100 * std::cos(81 * kPi / 180), 100 * std::sin(81 * kPi / 180))},
         0, {}},
        // Too wide (about 90 degrees) or too narrow (under 11.5) for two arms.
        {"right angle", {QPointF(200, 0), QPointF(0, 0), QPointF(0, 100)}, 0, {}},
        {"folded back", {QPointF(200, 0), QPointF(0, 0), QPointF(100, 3)}, 0, {}},
    };
    for (const Case &c : cases) {
        QRectF rect(0, 0, 100, 100);
        EXPECT_EQ(A::check1OpenStroke(c.stroke, rect), c.code) << c.name;
        if (c.code != 0)
            EXPECT_TRUE(sameRect(rect, c.rect, 1e-9)) << c.name;
    }
}

TEST(CFigureRecogniser, ThreeSegmentShape)
{
    // A Z: short bars folded back along a long middle segment, strictly shorter than
    // half of it.
    QRectF rect;
    EXPECT_EQ(A::check1OpenStroke({QPointF(0, 0), QPointF(60, 0), QPointF(0, 150), QPointF(60, 150)}, rect), 115);
    EXPECT_TRUE(sameRect(rect, QRectF(60, 0, -60, 150)));
    // Half the middle exactly is not strictly shorter.
    const double half = std::sqrt(60.0 * 60.0 + 80.0 * 80.0) / 2; // middle (-60, 80) is 100 long
    EXPECT_EQ(A::check1OpenStroke({QPointF(60 - half, 0), QPointF(60, 0), QPointF(0, 80), QPointF(40, 80)}, rect), 0);
    // A bracket's end segments are at right angles, not folded back.
    EXPECT_EQ(A::check1OpenStroke({QPointF(30, 0), QPointF(0, 0), QPointF(0, 150), QPointF(30, 150)}, rect), 0);
}

TEST(CFigureRecogniser, TwoCrossingStrokes)
{
    const double s = 100 / std::sqrt(2.0);
    QRectF rect;
    // An X of perpendicular diagonals: the angle between the strokes folds into the
    // first quadrant, where both are at 45 degrees, so they differ by 0, not 90.
    Strokes x = {pen({QPointF(0, 0), QPointF(2 * s, 2 * s)}), pen({QPointF(2 * s, 0), QPointF(0, 2 * s)})};
    EXPECT_EQ(classify(x, &rect), 206);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 0, 2 * s, 2 * s), 1e-9)); // the first stroke's box

    // Perpendicular only when one stroke is axis-aligned: within 10 degrees of 90
    // the two-stroke test says no.
    const QPointF tilt(100 * std::cos(88 * kPi / 180), 100 * std::sin(88 * kPi / 180));
    EXPECT_EQ(A::checkOpenStroke({QPointF(-100, 0), QPointF(100, 0)}, {-tilt, tilt}, rect), 0);
    const QPointF steep(100 * std::cos(70 * kPi / 180), 100 * std::sin(70 * kPi / 180));
    EXPECT_EQ(A::checkOpenStroke({QPointF(-100, 0), QPointF(100, 0)}, {-steep, steep}, rect), 206);
    // An exact "+" crosses (zero-height boxes meet), is perpendicular, and stays 0
    // after the joining steps too.
    EXPECT_EQ(A::checkOpenStroke({QPointF(0, 50), QPointF(100, 50)}, {QPointF(50, 0), QPointF(50, 100)}, rect), 0);
    EXPECT_EQ(classify({pen({QPointF(0, 50), QPointF(100, 50)}), pen({QPointF(50, 0), QPointF(50, 100)})}), 0);
    // Strokes that do not cross, or a stroke that is not straight.
    EXPECT_EQ(A::checkOpenStroke({QPointF(0, 0), QPointF(100, 0)}, {QPointF(0, 10), QPointF(100, 10)}, rect), 0);
    EXPECT_EQ(A::checkOpenStroke({QPointF(0, 0), QPointF(100, 100)},
                                 {QPointF(100, 0), QPointF(20, 40), QPointF(0, 100)}, rect),
              0);
}

// ---------------------------------------------------------------------------------
// Joining strokes
// ---------------------------------------------------------------------------------

TEST(CFigureRecogniser, CrossingsNearTheEndsJoinAndCutTheOvershoot)
{
    // A true crossing, away from every end: reported, nothing changed. Exact
    // horizontal and vertical strokes have boxes of zero height or width.
    Points a = {QPointF(0, 50), QPointF(100, 50)};
    Points b = {QPointF(50, 0), QPointF(50, 100)};
    EXPECT_EQ(A::intersectConnect(a, b), 1);
    EXPECT_TRUE(samePoints(a, {QPointF(0, 50), QPointF(100, 50)}));
    EXPECT_TRUE(samePoints(b, {QPointF(50, 0), QPointF(50, 100)}));

    // Two L-shapes of a square, overshooting at both shared corners. The first
    // crossing in a's order (at (0, 0)) is cut and joined there, the crossing
    // point held once; the overshoot at (100, 100) stays for connect1Stroke.
    a = {QPointF(-5, 0), QPointF(100, 0), QPointF(100, 105)};
    b = {QPointF(105, 100), QPointF(0, 100), QPointF(0, -5)};
    EXPECT_EQ(A::intersectConnect(a, b), 2);
    EXPECT_TRUE(samePoints(a, {QPointF(105, 100), QPointF(0, 100), QPointF(0, 0), QPointF(100, 0),
                               QPointF(100, 105)}));
    EXPECT_TRUE(b.isEmpty());

    // Near a's end and b's start: a up to the crossing, then b after it.
    a = {QPointF(0, 0), QPointF(100, 0), QPointF(105, 0)};
    b = {QPointF(100, -5), QPointF(100, 100)};
    EXPECT_EQ(A::intersectConnect(a, b), 2);
    EXPECT_TRUE(samePoints(a, {QPointF(0, 0), QPointF(100, 0), QPointF(100, 100)}));
    // Near a's end, in b's middle: a T, not joined.
    a = {QPointF(0, 50), QPointF(103, 50)};
    b = {QPointF(100, 0), QPointF(100, 100)};
    EXPECT_EQ(A::intersectConnect(a, b), 0);
    // Apart, or empty.
    a = {QPointF(0, 0), QPointF(10, 0)};
    b = {QPointF(0, 5), QPointF(10, 5)};
    EXPECT_EQ(A::intersectConnect(a, b), 0);
    Points none;
    EXPECT_EQ(A::intersectConnect(none, b), 0);

    double before = 0;
    double after = 0;
    A::divideStrokeLength({QPointF(0, 0), QPointF(10, 0), QPointF(10, 10)}, 1, QPointF(10, 4), before, after);
    EXPECT_EQ(before, 14.0);
    EXPECT_EQ(after, 6.0);
    QVector<QRectF> rects;
    A::getAllSegmentRect({QPointF(5, 5), QPointF(0, 10), QPointF(3, 10)}, rects);
    ASSERT_EQ(rects.size(), 2);
    EXPECT_TRUE(sameRect(rects[0], QRectF(0, 5, 5, 5)));
    EXPECT_TRUE(sameRect(rects[1], QRectF(0, 10, 3, 0)));
}

TEST(CFigureRecogniser, NearEndsJoinAndTheWhiskersGo)
{
    // The nearest end pair decides the direction of both strokes.
    Points a = {QPointF(0, 0), QPointF(100, 0)};
    Points b = {QPointF(200, 0), QPointF(103, 0)};
    A::normalizePointOrder(a, b);
    EXPECT_TRUE(samePoints(a, {QPointF(100, 0), QPointF(0, 0)}));
    EXPECT_TRUE(samePoints(b, {QPointF(103, 0), QPointF(200, 0)}));

    // The head zone: the first 8% of the length, cut into steps of 2%.
    Points stroke = {QPointF(0, 0), QPointF(100, 0)};
    QVector<double> cumulative = {0, 100};
    // 100 / 2 = 50 steps, so 51 pieces of 1.96: 0, 1.96, 3.92, 5.88 and 7.84 lie
    // in the zone.
    EXPECT_EQ(A::searchHigeIndex(stroke, 100, cumulative), 5);
    ASSERT_EQ(stroke.size(), 52);
    EXPECT_EQ(stroke[1], QPointF(100.0 / 51, 0));
    EXPECT_EQ(stroke.last(), QPointF(100, 0));
    ASSERT_EQ(cumulative.size(), 52);
    EXPECT_DOUBLE_EQ(cumulative[4], 400.0 / 51);

    // a ends in a small hook above the corner, b starts just below it: both are cut
    // back to the nearest pair of points, a runs on into b.
    a = {QPointF(0, 0), QPointF(100, 0), QPointF(100, -4)};
    b = {QPointF(100, 2), QPointF(100, 100)};
    ASSERT_TRUE(A::nearConnect(a, b));
    EXPECT_TRUE(b.isEmpty());
    EXPECT_EQ(a.first(), QPointF(0, 0));
    EXPECT_EQ(a.last(), QPointF(100, 100));
    for (const QPointF &p : a)
        EXPECT_GE(p.y(), 0.0) << "whisker left: " << text(a);

    // Too far apart for their lengths: reordered, otherwise unchanged.
    a = {QPointF(0, 0), QPointF(100, 0)};
    b = {QPointF(200, 0), QPointF(130, 0)};
    EXPECT_FALSE(A::nearConnect(a, b));
    EXPECT_TRUE(samePoints(a, {QPointF(100, 0), QPointF(0, 0)}));
    EXPECT_TRUE(samePoints(b, {QPointF(130, 0), QPointF(200, 0)}));
}

TEST(CFigureRecogniser, OneStrokeClosesWhenItsEndsMeet)
{
    // Ends 9 apart on a length of 100: closed, both ends at their midpoint.
    Points square = {QPointF(0, 0), QPointF(30, 0), QPointF(30, 24.5), QPointF(0, 24.5), QPointF(0, 9)};
    EXPECT_TRUE(A::connect1Stroke(square));
    EXPECT_EQ(square.first(), QPointF(0, 4.5));
    EXPECT_EQ(square.last(), QPointF(0, 4.5));
    // Ends 10 apart on a length of 100: not strictly less than a tenth.
    Points open = {QPointF(0, 0), QPointF(30, 0), QPointF(30, 25), QPointF(0, 25), QPointF(0, 10)};
    EXPECT_FALSE(A::connect1Stroke(open));
    EXPECT_EQ(open.first(), QPointF(0, 0));
    Points none;
    EXPECT_FALSE(A::connect1Stroke(none));
}

TEST(CFigureRecogniser, JoiningGivesUpOnFourStrokes)
{
    Strokes apart;
    for (int k = 0; k < 5; ++k)
        apart.append({QPointF(1000 * k, 0), QPointF(1000 * k + 100, 0)});
    Strokes five = apart;
    EXPECT_FALSE(A::makeConnectedStroke(five));
    Strokes three = apart.mid(0, 3);
    EXPECT_TRUE(A::makeConnectedStroke(three));
    EXPECT_EQ(three.size(), 3);
    Strokes one = apart.mid(0, 1);
    EXPECT_TRUE(A::makeConnectedStroke(one));

    // Four sides of a square drawn separately, each reaching a little past the
    // next: joined into one stroke, closed, a square.
    const Strokes sides = {pen({QPointF(-4, 0), QPointF(104, 0)}), pen({QPointF(100, -4), QPointF(100, 104)}),
                           pen({QPointF(104, 100), QPointF(-4, 100)}), pen({QPointF(0, 104), QPointF(0, -4)})};
    QRectF rect;
    Points corners;
    EXPECT_EQ(classify(sides, &rect, &corners), 102);
    EXPECT_EQ(corners.size(), 4);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 0, 100, 100), 2.5));
}

TEST(CFigureRecogniser, ShaftWithAHeadDrawnSecond)
{
    const Points shaft = {QPointF(0, 50), QPointF(200, 50)};
    const Points head = {QPointF(150, 10), QPointF(200, 50), QPointF(150, 90)};
    int i = 0;
    int j = 0;
    // Exactly one place where an end of one stroke touches the other's middle.
    ASSERT_EQ(A::checkConnectSpecialEdge(shaft, head, i, j), 1);
    EXPECT_EQ(i, 1);
    EXPECT_EQ(j, 1);
    QRectF rect;
    EXPECT_EQ(A::checkBranchStroke(shaft, head, i, j, rect), 114);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 50, 200, 0))); // from the free end to the head's joint
    // Drawn head first: the same figure.
    ASSERT_EQ(A::checkConnectSpecialEdge(head, shaft, i, j), 1);
    EXPECT_EQ(A::checkBranchStroke(head, shaft, i, j, rect), 114);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 50, 200, 0)));

    struct Case
    {
        const char *name;
        Points head;
        int code;
    };
    const Case cases[] = {
        {"one barb along the shaft", {QPointF(170, 50), QPointF(200, 50), QPointF(170, 20)}, 114},
        {"barbs nearly as long as the shaft", {QPointF(60, -90), QPointF(200, 50), QPointF(60, 190)}, 114},
        {"barbs longer than the shaft", {QPointF(30, -120), QPointF(200, 50), QPointF(30, 220)}, 0},
        {"a T: barbs across the shaft", {QPointF(200, 0), QPointF(200, 50), QPointF(200, 100)}, 0},
        {"barbs pointing on", {QPointF(240, 20), QPointF(200, 50), QPointF(240, 80)}, 0},
        {"a head of four points", {QPointF(150, 10), QPointF(200, 50), QPointF(150, 90), QPointF(140, 95)}, 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(A::checkBranchStroke(shaft, c.head, 1, 1, rect), c.code) << c.name;
    // A shaft drawn from the head: touching with its first point.
    EXPECT_EQ(A::checkBranchStroke({QPointF(200, 50), QPointF(0, 50)}, head, 0, 1, rect), 114);
    EXPECT_TRUE(sameRect(rect, QRectF(0, 50, 200, 0)));
    EXPECT_EQ(A::checkBranchStroke(shaft, head, 1, 0, rect), 0); // not at the head's joint

    // The whole way: two strokes, not lines, not joined, one touch, a barbed line.
    const Strokes arrow = {pen({QPointF(0, 100), QPointF(150, 100)}),
                           pen({QPointF(90, 40), QPointF(152, 100), QPointF(90, 160)})};
    EXPECT_EQ(classify(arrow, &rect), 114);
    // The head's joint, as smoothing found it near the drawn apex (152, 100).
    EXPECT_TRUE(sameRect(rect, QRectF(0, 100, 152, 0), 2.0));
}

// ---------------------------------------------------------------------------------
// Corners of a closed stroke
// ---------------------------------------------------------------------------------

TEST(CFigureRecogniser, ShortSidesMergeOnlyWhenSidesVaryALot)
{
    Points square = closed({QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)});
    Points same = square;
    A::removeShortSegment(same);
    EXPECT_TRUE(samePoints(same, square));

    // Every corner cut off: the bevels merge into corners at their middles,
    // including the one across the closing point.
    const Points bevelled = closed({QPointF(5, 0), QPointF(95, 0), QPointF(100, 5), QPointF(100, 95),
                                    QPointF(95, 100), QPointF(5, 100), QPointF(0, 95), QPointF(0, 5)});
    Points merged = bevelled;
    A::removeShortSegment(merged);
    const Points expected = closed({QPointF(2.5, 2.5), QPointF(97.5, 2.5), QPointF(97.5, 97.5), QPointF(2.5, 97.5)});
    EXPECT_TRUE(samePoints(merged, expected));

    // Starting on a bevel: the list is first turned to start on an ordinary side.
    Points turned = closed(bevelled.mid(1, 7) + bevelled.mid(0, 1));
    A::removeShortSegment(turned);
    EXPECT_TRUE(samePoints(turned, closed({QPointF(97.5, 2.5), QPointF(97.5, 97.5), QPointF(2.5, 97.5),
                                           QPointF(2.5, 2.5)})));

    // One short side among four: the spread stays under 70% of the mean.
    Points one = closed({QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(5, 100), QPointF(0, 95)});
    Points kept = one;
    A::removeShortSegment(kept);
    EXPECT_TRUE(samePoints(kept, one));
}

TEST(CFigureRecogniser, NearlyStraightCornersBetweenParallelSidesGo)
{
    struct Case
    {
        const char *name;
        Points corners; // open; closed below
        Points expected;
    };
    const double h155 = 50 * std::tan(12.5 * kPi / 180); // a 155-degree corner
    const double h170 = 50 * std::tan(5 * kPi / 180);
    const Points square = {QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)};
    const Case cases[] = {
        {"155 degrees on the top side",
         {QPointF(0, 0), QPointF(50, -h155), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)}, square},
        {"170 degrees, as the first corner",
         {QPointF(50, -h170), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100), QPointF(0, 0)},
         {QPointF(100, 0), QPointF(100, 100), QPointF(0, 100), QPointF(0, 0)}},
        {"as the last corner",
         {QPointF(100, 0), QPointF(100, 100), QPointF(0, 100), QPointF(0, 0), QPointF(50, -h155)},
         {QPointF(100, 0), QPointF(100, 100), QPointF(0, 100), QPointF(0, 0)}},
        {"exactly 180 degrees stays",
         {QPointF(0, 0), QPointF(50, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)},
         {QPointF(0, 0), QPointF(50, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)}},
        {"140 degrees stays",
         {QPointF(0, 0), QPointF(50, -50 * std::tan(20 * kPi / 180)), QPointF(100, 0), QPointF(100, 100),
          QPointF(0, 100)},
         {QPointF(0, 0), QPointF(50, -50 * std::tan(20 * kPi / 180)), QPointF(100, 0), QPointF(100, 100),
          QPointF(0, 100)}},
        {"flanks 11 degrees apart: stays",
         {QPointF(0, 0), QPointF(50, -h155), QPointF(100, 0), QPointF(100, 100), QPointF(20, 100)},
         {QPointF(0, 0), QPointF(50, -h155), QPointF(100, 0), QPointF(100, 100), QPointF(20, 100)}},
        // The flanks' angle is folded into the first quadrant, so mirror-image
        // flanks count as parallel: a house loses its roof's ridge.
        {"mirror-image flanks",
         {QPointF(0, 0), QPointF(50, -h155), QPointF(100, 0), QPointF(80, 100), QPointF(20, 100)},
         {QPointF(0, 0), QPointF(100, 0), QPointF(80, 100), QPointF(20, 100)}},
        {"two of six corners go",
         {QPointF(0, 0), QPointF(50, -h155), QPointF(100, 0), QPointF(100, 100), QPointF(50, 100 + h155),
          QPointF(0, 100)},
         square},
        {"four corners are left alone", square, square},
    };
    for (const Case &c : cases) {
        Points v = closed(c.corners);
        A::removeExtraPoint(v);
        EXPECT_TRUE(samePoints(v, closed(c.expected))) << c.name;
    }
}

TEST(CFigureRecogniser, CornerListValidity)
{
    const Points square = closed({QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 100)});
    Points star;
    for (int k = 0; k < 5; ++k)
        star.append(polar(QPointF(0, 0), 100, -90 + 144 * k));
    star = closed(star);
    const Points dent = closed({QPointF(0, 0), QPointF(100, 0), QPointF(50, 30), QPointF(100, 100), QPointF(0, 100)});
    const Points straight = closed({QPointF(0, 0), QPointF(50, 0), QPointF(100, 0), QPointF(50, 80)});
    const Points bowTie = closed({QPointF(0, 0), QPointF(100, 100), QPointF(100, 0), QPointF(0, 100)});

    EXPECT_TRUE(A::checkVectorDirection(square));
    Points counter = square;
    std::reverse(counter.begin(), counter.end());
    EXPECT_TRUE(A::checkVectorDirection(counter));
    EXPECT_TRUE(A::checkVectorDirection(star)); // every turn the same way
    EXPECT_FALSE(A::checkVectorDirection(dent));
    EXPECT_FALSE(A::checkVectorDirection(straight)); // a straight first turn
    EXPECT_FALSE(A::checkVectorDirection({QPointF(0, 0), QPointF(1, 1)}));

    EXPECT_TRUE(A::hasSelfIntersection(star));
    EXPECT_TRUE(A::hasSelfIntersection(bowTie));
    EXPECT_FALSE(A::hasSelfIntersection(square));
    EXPECT_FALSE(A::hasSelfIntersection(closed({QPointF(0, 0), QPointF(100, 0), QPointF(0, 100)})));

    // Five corners may cross themselves (a star), four may not.
    Points v = star;
    EXPECT_EQ(A::classifyCloseFigure(v, 5, false), 102);
    v = bowTie;
    EXPECT_EQ(A::classifyCloseFigure(v, 6, false), 0);
    Points hexagon;
    for (int k = 0; k < 6; ++k)
        hexagon.append(polar(QPointF(0, 0), 100, 60 * k + 7));
    v = closed(hexagon);
    EXPECT_EQ(A::classifyCloseFigure(v, 5, true), 101);
    v = closed(hexagon);
    EXPECT_EQ(A::classifyCloseFigure(v, 6, true), 102);
}

TEST(CFigureRecogniser, ClosedStrokesBecomePolygonsOrCurves)
{
    // A hexagon in one stroke: 101 beyond a limit of 4, leaving `points` alone;
    // with 6, six corners without a closing repeat.
    Points outline;
    for (int k = 0; k <= 6; ++k)
        outline.append(polar(QPointF(200, 200), 100, 60 * k + 30));
    const Strokes hexagon = {pen(outline)};
    QRectF rect;
    Points points = {QPointF(-1, -1)};
    EXPECT_EQ(CFigureRecogniser::classifyScribble(hexagon, rect, points, 4, true), 101);
    EXPECT_TRUE(samePoints(points, {QPointF(-1, -1)}));
    EXPECT_TRUE(sameRect(rect, QRectF(200 - 100 * std::cos(30 * kPi / 180), 100, 200 * std::cos(30 * kPi / 180), 200),
                         2.0));
    EXPECT_EQ(CFigureRecogniser::classifyScribble(hexagon, rect, points, 6, true), 102);
    ASSERT_EQ(points.size(), 6);
    EXPECT_NE(points.first(), points.last());
    // The box is the corners' box (regularised), not the ink's.
    const QRectF box = A::getStrokeRectBound(points);
    EXPECT_TRUE(sameRect(rect, box, 1e-9));

    // A circle has too many corners for any polygon.
    Points circle;
    for (int k = 0; k <= 90; ++k)
        circle.append(polar(QPointF(0, 0), 80, 4 * k));
    EXPECT_EQ(classify({circle}, &rect), 101);
    EXPECT_TRUE(sameRect(rect, QRectF(-80, -80, 160, 160), 2.0));

    // A triangle drawn counter-clockwise from its top, a square from a corner.
    Points corners;
    EXPECT_EQ(classify({pen({QPointF(100, 0), QPointF(10, 150), QPointF(190, 152), QPointF(100, 0)})}, &rect,
                       &corners),
              102);
    EXPECT_EQ(corners.size(), 3);
    EXPECT_EQ(classify({pen({QPointF(0, 0), QPointF(0, 120), QPointF(130, 120), QPointF(130, 0), QPointF(0, 0)})},
                       &rect, &corners),
              102);
    EXPECT_EQ(corners.size(), 4);
}

TEST(CFigureRecogniser, StarDrawnInOneStroke)
{
    // A pentagram drawn from its top point, 5 pixels off a regular one here and there.
    Points tips;
    for (int k = 0; k <= 5; ++k)
        tips.append(polar(QPointF(300, 300), 150 + (k % 2 ? 5 : -3), -90 + 144 * k));
    tips.last() = tips.first();
    QRectF rect;
    Points corners;
    ASSERT_EQ(classify({pen(tips)}, &rect, &corners), 102);
    ASSERT_EQ(corners.size(), 5);
    // Regular: the corners lie on one circle and follow each other at 144 degrees.
    QPointF center;
    for (const QPointF &p : corners)
        center += p / 5.0;
    const double radius = QLineF(center, corners[0]).length();
    for (int k = 0; k < 5; ++k) {
        EXPECT_NEAR(QLineF(center, corners[k]).length(), radius, 1e-9);
        const double turn = QLineF(center, corners[k]).angleTo(QLineF(center, corners[(k + 1) % 5]));
        EXPECT_NEAR(std::min(turn, 360 - turn), 144.0, 1e-3) << k;
    }
    // Pointing up: one corner straight above the centre.
    bool top = false;
    for (const QPointF &p : corners)
        top = top || (std::fabs(p.x() - center.x()) < 1e-6 && p.y() < center.y());
    EXPECT_TRUE(top);
}

// ---------------------------------------------------------------------------------
// Normalisers
// ---------------------------------------------------------------------------------

TEST(CFigureRecogniser, SideSettersKeepTheListClosed)
{
    const Points square = closed({QPointF(0, 0), QPointF(10, 2), QPointF(12, 10), QPointF(2, 12)});
    Points v = square;
    A::setSideHorizontal(v, 0);
    EXPECT_TRUE(samePoints(v, {QPointF(0, 1), QPointF(10, 1), QPointF(12, 10), QPointF(2, 12), QPointF(0, 1)}));
    v = square;
    A::setSideVertical(v, 3); // the closing side: corner 0 follows
    EXPECT_TRUE(samePoints(v, {QPointF(1, 0), QPointF(10, 2), QPointF(12, 10), QPointF(1, 12), QPointF(1, 0)}));
    v = square;
    A::setSideHorizontal(v, 4);
    A::setSideVertical(v, -1);
    EXPECT_TRUE(samePoints(v, square));

    Points shifted = square;
    A::shiftVertexList(shifted);
    EXPECT_TRUE(samePoints(shifted, closed({QPointF(10, 2), QPointF(12, 10), QPointF(2, 12), QPointF(0, 0)})));
}

TEST(CFigureRecogniser, TriangleRules)
{
    const double t5 = 100 * std::tan(5 * kPi / 180);
    const double t12 = 100 * std::tan(12 * kPi / 180);
    const double t20 = 80 * std::tan(20 * kPi / 180);
    struct Case
    {
        const char *name;
        Points corners;
        Points expected;
    };
    const Case cases[] = {
        // A side 5 degrees off horizontal becomes horizontal at its mean height; the
        // apex stays (the other sides are not within 20% of each other).
        {"5 degrees", {QPointF(0, 0), QPointF(100, t5), QPointF(25, 80)},
         {QPointF(0, t5 / 2), QPointF(100, t5 / 2), QPointF(25, 80)}},
        // ... and with comparable other sides the apex moves over the base's middle.
        {"isosceles", {QPointF(0, 0), QPointF(100, t5), QPointF(40, 80)},
         {QPointF(0, t5 / 2), QPointF(100, t5 / 2), QPointF(50, 80)}},
        // The most horizontal side (12 degrees) is nearer its axis than the most
        // vertical one (20): still standing on a horizontal side.
        {"12 against 20", {QPointF(0, 0), QPointF(100, t12), QPointF(100 + t20, t12 + 80)},
         {QPointF(0, t12 / 2), QPointF(100, t12 / 2), QPointF(100 + t20, t12 + 80)}},
        // Legs 100 and 85: the vertical leg's far end slides to make them equal;
        // the right angle and the horizontal leg stay.
        {"right 100/85", {QPointF(0, 1), QPointF(100, -1), QPointF(1, 85)},
         {QPointF(0.5, 0), QPointF(100, 0), QPointF(0.5, 99.5)}},
        {"right, pointing up", {QPointF(0, 0), QPointF(100, 0), QPointF(0, -85)},
         {QPointF(0, 0), QPointF(100, 0), QPointF(0, -100)}},
        {"right 100/75 keeps its legs", {QPointF(0, 0), QPointF(100, 0), QPointF(0, 75)},
         {QPointF(0, 0), QPointF(100, 0), QPointF(0, 75)}},
        {"right 100/80: the ratio is strict", {QPointF(0, 0), QPointF(100, 0), QPointF(0, 80)},
         {QPointF(0, 0), QPointF(100, 0), QPointF(0, 80)}},
        {"right 100/80.01", {QPointF(0, 0), QPointF(100, 0), QPointF(0, 80.01)},
         {QPointF(0, 0), QPointF(100, 0), QPointF(0, 100)}},
        // Standing on a vertical side: made vertical, apex level with its middle.
        {"vertical base", {QPointF(0, 0), QPointF(80, 45), QPointF(3, 100)},
         {QPointF(1.5, 0), QPointF(80, 50), QPointF(1.5, 100)}},
    };
    for (const Case &c : cases) {
        Points v = closed(c.corners);
        A::normalizeTriangle(v);
        EXPECT_TRUE(samePoints(v, closed(c.expected), 1e-12)) << c.name;
    }
}

TEST(CFigureRecogniser, QuadrangleRules)
{
    auto rotated = [](const Points &corners, double degrees, QPointF center) {
        Points out;
        for (const QPointF &p : corners) {
            const QLineF line(center, p);
            out.append(polar(center, line.length(), -line.angle() + degrees));
        }
        return out;
    };
    const QPointF o(200, 200);
    const Points diamond = {o + QPointF(-100, 0), o + QPointF(0, -60), o + QPointF(100, 0), o + QPointF(0, 60)};

    // Diagonals 20 degrees off the axes: a kite, made exact; 35 degrees: not a kite.
    Points v = closed(rotated(diamond, 20, o));
    EXPECT_TRUE(A::normalizeKite(v));
    EXPECT_NEAR(v[0].y(), v[2].y(), 1e-12);
    EXPECT_NEAR(v[1].x(), v[3].x(), 1e-12);
    EXPECT_NEAR(v[1].x(), (v[0].x() + v[2].x()) / 2, 1e-9); // a diamond: both diagonals halved
    EXPECT_NEAR(v[0].y(), (v[1].y() + v[3].y()) / 2, 1e-9);
    v = closed(rotated(diamond, 35, o));
    EXPECT_FALSE(A::normalizeKite(v));
    // With the vertical diagonal first, the list is turned by one corner.
    v = closed(rotated(diamond.mid(1) + diamond.mid(0, 1), 10, o));
    EXPECT_TRUE(A::normalizeKite(v));
    EXPECT_NEAR(v[0].y(), v[2].y(), 1e-12);
    EXPECT_GT(v[0].x(), v[2].x() + 150); // corner 0 is now the right-hand corner

    // Sides at 12 degrees off horizontal and 14 off vertical: a rectangle when the
    // horizontal pair leads (upright sides may lean 15); turned by 90 degrees the
    // flat sides may lean only 10, and it stays a parallelogram.
    const double t12 = 100 * std::tan(12 * kPi / 180);
    const double t14 = 80 * std::tan(14 * kPi / 180);
    const Points leaning = {QPointF(0, 0), QPointF(100, t12), QPointF(100 - t14, t12 + 80), QPointF(-t14, 80)};
    v = closed(leaning);
    A::normalizeQuadrangle(v);
    for (int k = 0; k < 4; ++k) {
        const QPointF side = v[k + 1] - v[k];
        EXPECT_TRUE(side.x() == 0 || side.y() == 0) << k << text(v);
    }
    v = closed(rotated(leaning, 90, QPointF(0, 0)));
    A::normalizeQuadrangle(v);
    int axisAligned = 0;
    for (int k = 0; k < 4; ++k) {
        const QPointF side = v[k + 1] - v[k];
        axisAligned += side.x() == 0 || side.y() == 0;
    }
    EXPECT_EQ(axisAligned, 2) << text(v);

    // 100 by 85 becomes a square when the list starts on a vertical side (the
    // sides tie, the list turns to start on a horizontal side, and corner 0 stays).
    v = closed({QPointF(0, 0), QPointF(0, 85), QPointF(100, 85), QPointF(100, 0)});
    A::normalizeQuadrangle(v);
    EXPECT_TRUE(samePoints(v, closed({QPointF(0, 85), QPointF(100, 85), QPointF(100, -15), QPointF(0, -15)})));
    // Starting on a horizontal side, the turned list starts on a vertical side,
    // where width and height both read 0: it stays 100 by 85.
    v = closed({QPointF(0, 0), QPointF(100, 0), QPointF(100, 85), QPointF(0, 85)});
    A::normalizeQuadrangle(v);
    EXPECT_TRUE(samePoints(v, closed({QPointF(100, 0), QPointF(100, 85), QPointF(0, 85), QPointF(0, 0)})));
    // 100 by 80: the ratio is strict.
    v = closed({QPointF(0, 0), QPointF(0, 80), QPointF(100, 80), QPointF(100, 0)});
    A::normalizeQuadrangle(v);
    EXPECT_TRUE(samePoints(v, closed({QPointF(0, 80), QPointF(100, 80), QPointF(100, 0), QPointF(0, 0)})));
}

TEST(CFigureRecogniser, KitesKeepTheirBoxAndTheirAxis)
{
    struct Case
    {
        const char *name;
        Points corners;
        Points expected;
    };
    const Case cases[] = {
        // The vertical diagonal crosses near the horizontal one's middle: moved
        // there. The horizontal diagonal crosses 25% off the vertical one's middle:
        // a kite, kept.
        {"kite", {QPointF(0, 28), QPointF(55, 0), QPointF(100, 22), QPointF(50, 100)},
         {QPointF(0, 25), QPointF(50, 0), QPointF(100, 25), QPointF(50, 100)}},
        {"diamond", {QPointF(0, 45), QPointF(57, 0), QPointF(100, 52), QPointF(47, 100)},
         {QPointF(0, 50), QPointF(50, 0), QPointF(100, 50), QPointF(50, 100)}},
        {"crossing far off both middles",
         {QPointF(0, 20), QPointF(20, 0), QPointF(100, 20), QPointF(20, 100)},
         {QPointF(0, 20), QPointF(20, 0), QPointF(100, 20), QPointF(20, 100)}},
    };
    for (const Case &c : cases) {
        Points v = closed(c.corners);
        A::normalizeKiteAux(v);
        EXPECT_TRUE(samePoints(v, closed(c.expected))) << c.name;
    }
}

TEST(CFigureRecogniser, ParallelogramsAndTrapezia)
{
    struct Case
    {
        const char *name;
        bool horizontal;
        Points corners;
        Points expected;
    };
    const Case cases[] = {
        // Both free sides lean right: a parallelogram with the mean lean (25) and
        // the mean side (105), about the same centre.
        {"parallelogram", true, {QPointF(0, 0), QPointF(100, 0), QPointF(130, 60), QPointF(20, 60)},
         {QPointF(-2.5, 0), QPointF(102.5, 0), QPointF(127.5, 60), QPointF(22.5, 60)}},
        // Leaning apart: an isosceles trapezium, both parallel sides kept in length.
        {"trapezium", true, {QPointF(0, 0), QPointF(100, 0), QPointF(80, 60), QPointF(30, 60)},
         {QPointF(2.5, 0), QPointF(102.5, 0), QPointF(77.5, 60), QPointF(27.5, 60)}},
        {"drawn the other way round", true, {QPointF(100, 60), QPointF(0, 60), QPointF(20, 0), QPointF(130, 0)},
         {QPointF(102.5, 60), QPointF(-2.5, 60), QPointF(22.5, 0), QPointF(127.5, 0)}},
        {"upright parallelogram", false, {QPointF(0, 0), QPointF(0, 100), QPointF(60, 130), QPointF(60, 20)},
         {QPointF(0, -2.5), QPointF(0, 102.5), QPointF(60, 127.5), QPointF(60, 22.5)}},
    };
    for (const Case &c : cases) {
        Points v = closed(c.corners);
        A::normalizeParallelogramOrTrapezium(v, c.horizontal);
        EXPECT_TRUE(samePoints(v, closed(c.expected), 1e-12)) << c.name;
    }
}

TEST(CFigureRecogniser, RegularPolygons)
{
    const QPointF o(100, 100);
    // A pentagon whose lowest corner is nearly below the centroid points down:
    // corner 0 goes straight below the centre.
    Points pentagon;
    for (int k = 0; k < 5; ++k)
        pentagon.append(polar(o, 50 + 3 * (k % 2), 92 + 72 * k));
    Points v = closed(pentagon);
    const QPointF center = A::getCenterPoint(v);
    const double radius = A::getRadius(v, center);
    double sum = 0;
    for (int k = 0; k < 5; ++k)
        sum += QLineF(center, v[k]).length();
    EXPECT_DOUBLE_EQ(radius, sum / 5); // the closing point does not count
    A::normalizePentagon(v);
    ASSERT_EQ(v.size(), 6);
    EXPECT_NEAR(v[0].x(), center.x(), 1e-9);
    EXPECT_NEAR(v[0].y(), center.y() + radius, 1e-9);
    EXPECT_NEAR(v[5].x(), v[0].x(), 1e-9); // the closing point comes round again
    EXPECT_NEAR(v[5].y(), v[0].y(), 1e-9);

    // A star: every second corner of the pentagon, in drawing order.
    Points star;
    for (int k = 0; k < 5; ++k)
        star.append(polar(o, 50, -90 + 144 * k + (k == 2 ? 4 : 0)));
    v = closed(star);
    const QPointF starCenter = A::getCenterPoint(v);
    const double starRadius = A::getRadius(v, starCenter);
    A::normalizePentagon(v);
    for (int k = 0; k < 5; ++k) {
        const QPointF expected = polar(starCenter, starRadius, -90 + 144 * k);
        EXPECT_NEAR(v[k].x(), expected.x(), 1e-9) << k;
        EXPECT_NEAR(v[k].y(), expected.y(), 1e-9) << k;
    }

    // Hexagons keep flat tops, or upright sides, as drawn.
    Points flat;
    Points upright;
    for (int k = 0; k < 6; ++k) {
        flat.append(polar(o, 60, 60 * k + 3));
        upright.append(polar(o, 60, 60 * k + 27));
    }
    v = closed(flat);
    A::normalizeHexagon(v);
    EXPECT_NEAR(v[0].y(), o.y(), 1e-9);
    EXPECT_NEAR(v[1].y(), v[2].y(), 1e-9); // a horizontal side
    v = closed(upright);
    A::normalizeHexagon(v);
    EXPECT_NEAR(v[0].x(), v[5].x(), 1e-9); // corners at 30 and 330 degrees: a vertical side
    EXPECT_GT(v[0].y(), o.y());

    EXPECT_EQ(A::getCenterPoint({}), QPointF(0, 0));
    EXPECT_EQ(A::getRadius({}, QPointF(1, 1)), 0.0);
    Points empty;
    A::normalizeHexagon(empty);
    EXPECT_TRUE(empty.isEmpty());
}

// ---------------------------------------------------------------------------------
// Hostile input and the trace frame
// ---------------------------------------------------------------------------------

TEST(CFigureRecogniser, InputNoPenDrawsIsNotAFigure)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const QRectF untouched(1, 2, 3, 4);
    const Points sentinel = {QPointF(-7, -7)};
    const Strokes cases[] = {
        {},
        {{}},
        {{}, pen({QPointF(0, 0), QPointF(100, 0)})},
        {pen({QPointF(0, 0), QPointF(100, 0)}), {}},
        {{QPointF(0, 0), QPointF(nan, 5), QPointF(100, 0)}},
        {pen({QPointF(0, 0), QPointF(100, 0)}), {QPointF(inf, 0), QPointF(0, 0)}},
        {{QPointF(-inf, -inf)}},
    };
    for (const Strokes &strokes : cases) {
        QRectF rect = untouched;
        Points points = sentinel;
        Strokes connected = {{QPointF(3, 3)}};
        EXPECT_EQ(CFigureRecogniser::classifyScribble(strokes, rect, points, 6, true, &connected),
                  CFigureRecogniser::cHANDWRITE_DATA);
        EXPECT_TRUE(sameRect(rect, untouched));
        EXPECT_TRUE(samePoints(points, sentinel));
        EXPECT_EQ(connected.size(), 1);
    }
}

TEST(CFigureRecogniser, DegenerateInkGivesWhatTheAlgorithmGives)
{
    const int codes[] = {0, 101, 102, 103, 114, 115, 203, 204, 205, 206};
    auto known = [&](int code) { return std::find(std::begin(codes), std::end(codes), code) != std::end(codes); };

    // Duplicates everywhere, two points, huge and tiny coordinates, many strokes.
    Points doubled;
    for (const QPointF &p : pen({QPointF(0, 0), QPointF(100, 0), QPointF(100, 100), QPointF(0, 0)}))
        doubled << p << p << p;
    EXPECT_EQ(classify({doubled}), 102);
    EXPECT_EQ(classify({{QPointF(0, 0), QPointF(0, 0)}}), 103);
    // Two dots on one place: nothing is nearer than a tenth of no length, so they
    // do not join, and two dots are no figure.
    EXPECT_EQ(classify({{QPointF(0, 0)}, {QPointF(0, 0)}}), 0);
    EXPECT_TRUE(known(classify({{QPointF(0, 0)}, {QPointF(50, 50)}, {QPointF(0, 0)}})));
    EXPECT_TRUE(known(classify({{QPointF(1e300, 1e300), QPointF(-1e300, 1e300), QPointF(0, -1e300), QPointF(1e300, 1e300)}})));
    EXPECT_TRUE(known(classify({{QPointF(1e-300, 0), QPointF(0, 1e-300), QPointF(-1e-300, 0)}})));
    EXPECT_TRUE(known(classify({{QPointF(1e300, 0), QPointF(-1e300, 0)}, {QPointF(0, 1e300), QPointF(0, -1e300)}})));
    Strokes many;
    for (int k = 0; k < 12; ++k)
        many.append(pen({QPointF(k * 30, 0), QPointF(k * 30 + 10, 40)}));
    EXPECT_EQ(classify(many), 0);

    // Pseudo-random scribbles: any count of strokes and points, repeated points,
    // a vertex limit below 3.
    quint32 seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 8;
    };
    for (int round = 0; round < 400; ++round) {
        Strokes strokes;
        const int count = 1 + next() % 4;
        for (int s = 0; s < count; ++s) {
            Points stroke;
            const int n = 1 + next() % 40;
            for (int i = 0; i < n; ++i)
                stroke.append(QPointF(double(next() % 200), double(next() % 200)));
            strokes.append(stroke);
        }
        QRectF rect;
        Points points;
        const int limit = int(next() % 8) - 1;
        const int code = CFigureRecogniser::classifyScribble(strokes, rect, points, limit, round % 2 == 0);
        EXPECT_TRUE(known(code)) << code;
        if (code == 102) {
            EXPECT_GE(points.size(), 3);
            EXPECT_LE(points.size(), limit);
        }
    }
}

TEST(CFigureRecogniser, TracesEveryStageItEnters)
{
    testsupport::CapturedLog log("TRACE");
    QRectF rect;
    Points points;
    CFigureRecogniser::classifyScribble({pen({QPointF(0, 0), QPointF(100, 0), QPointF(50, 80), QPointF(0, 0)})}, rect,
                                        points, 6, true);
    const std::vector<std::string> lines = log.traceLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().rfind(".\\figurerecogniser.cpp\t", 0), 0u) << lines.front();
    EXPECT_NE(lines.front().find("\tEnterCFigureRecogniser::classifyScribble"), std::string::npos);
    EXPECT_NE(lines.back().find("\tExitCFigureRecogniser::classifyScribble"), std::string::npos);
    // Every stage that is entered is left again, and the triangle went through its
    // normaliser.
    std::map<std::string, int> open;
    for (const std::string &line : lines) {
        const std::size_t tab = line.rfind('\t');
        std::string what = line.substr(tab + 1);
        what = what.substr(0, what.find('(')); // some geometry functions trace a value
        if (what.rfind("Enter", 0) == 0)
            ++open[what.substr(5)];
        else if (what.rfind("Exit", 0) == 0)
            --open[what.substr(4)];
    }
    for (const auto &entry : open)
        EXPECT_EQ(entry.second, 0) << entry.first;
    EXPECT_EQ(open.count("CFigureRecogniser::normalizeTriangle"), 1u);

    // Nothing at any other level.
    testsupport::CapturedLog quiet("trace");
    CFigureRecogniser::classifyScribble({pen({QPointF(0, 0), QPointF(100, 0)})}, rect, points, 6, true);
    EXPECT_TRUE(quiet.traceLines().empty());
}
