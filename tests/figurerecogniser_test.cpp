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
#include <set>

using Points = QVector<QPointF>;
using Strokes = QVector<QVector<QPointF>>;

class FigureRecogniserProbe
{
public:
    using R = CFigureRecogniser;
    using CP = const Points &;
    static double calcAngle(QPointF u, QPointF v) { return R::calcAngle(u, v); }
    static double calcAngle180(QPointF u, QPointF v) { return R::calcAngle180(u, v); }
    static bool isHorizontalAngle(double a, double t) { return R::isHorizontalAngle(a, t); }
    static bool isVerticalAngle(double a, double t) { return R::isVerticalAngle(a, t); }
    static QRectF getStrokeRectBound(const Points &p) { return R::getStrokeRectBound(p); }
    static void makeSmoothPoints(const Strokes &in, Strokes &out, double t) { R::makeSmoothPoints(in, out, t); }
    static int check1OpenStroke(const Points &s, QRectF &r) { return R::check1OpenStroke(s, r); }
    static int checkOpenStroke(Points a, Points b, QRectF &r) { return R::checkOpenStroke(a, b, r); }
    static int classifyCloseFigure(Points &v, int limit, bool norm) { return R::classifyCloseFigure(v, limit, norm); }
    static bool makeConnectedStroke(Strokes &s) { return R::makeConnectedStroke(s); }
    static int intersectConnect(Points &a, Points &b) { return R::intersectConnect(a, b); }
    static bool nearConnect(Points &a, Points &b) { return R::nearConnect(a, b); }
    static bool connect1Stroke(Points &s) { return R::connect1Stroke(s); }
    static int checkConnectSpecialEdge(CP a, CP b, int &i, int &j) { return R::checkConnectSpecialEdge(a, b, i, j); }
    static int checkBranchStroke(CP a, CP b, int i, int j, QRectF &r) { return R::checkBranchStroke(a, b, i, j, r); }
    static void removeShortSegment(Points &v) { R::removeShortSegment(v); }
    static void removeExtraPoint(Points &v) { R::removeExtraPoint(v); }
    static bool checkVectorDirection(const Points &v) { return R::checkVectorDirection(v); }
    static bool hasSelfIntersection(const Points &v) { return R::hasSelfIntersection(v); }
    static void normalizeTriangle(Points &v) { R::normalizeTriangle(v); }
    static void normalizeQuadrangle(Points &v) { R::normalizeQuadrangle(v); }
    static bool normalizeKite(Points &v) { return R::normalizeKite(v); }
    static void normalizeKiteAux(Points &v) { R::normalizeKiteAux(v); }
    static void normalizeParallelogramOrTrapezium(Points &v, bool h) { R::normalizeParallelogramOrTrapezium(v, h); }
    static void normalizePentagon(Points &v) { R::normalizePentagon(v); }
    static void normalizeHexagon(Points &v) { R::normalizeHexagon(v); }
};

namespace {

using A = FigureRecogniserProbe;
using P = QPointF;

constexpr double kPi = 3.141592653589793;

std::string text(const Points &points)
{
    std::string s;
    for (const QPointF &p : points)
        s += "(" + std::to_string(p.x()) + "," + std::to_string(p.y()) + ")";
    return s;
}

// Exact by default; QPointF's own == is fuzzy.
::testing::AssertionResult samePoints(const Points &actual, const Points &expected, double tolerance = 0.0)
{
    bool same = actual.size() == expected.size();
    for (int i = 0; same && i < actual.size(); ++i)
        same = std::fabs(actual[i].x() - expected[i].x()) <= tolerance
            && std::fabs(actual[i].y() - expected[i].y()) <= tolerance;
    return same ? ::testing::AssertionSuccess()
                : ::testing::AssertionFailure() << text(actual) << " != " << text(expected);
}

// A rectangle as its corner and its signed size, so that inverted boxes compare too.
::testing::AssertionResult sameRect(const QRectF &a, const QRectF &b, double tolerance = 0.0)
{
    return samePoints({a.topLeft(), P(a.width(), a.height())}, {b.topLeft(), P(b.width(), b.height())}, tolerance);
}

// A pen stroke through the given corners: points about 2 apart on every side.
Points pen(const Points &corners)
{
    Points points;
    for (int k = 0; k + 1 < corners.size(); ++k) {
        const QLineF side(corners[k], corners[k + 1]);
        const int n = std::max(1, int(side.length() / 2.0));
        for (int i = 0; i < n; ++i)
            points.append(side.pointAt(double(i) / n));
    }
    points.append(corners.last());
    return points;
}

QPointF polar(QPointF c, double radius, double degrees)
{
    return c + QPointF(std::cos(degrees * kPi / 180.0), std::sin(degrees * kPi / 180.0)) * radius;
}

double tanDeg(double degrees) { return std::tan(degrees * kPi / 180); }

Points closed(Points corners) { return corners.isEmpty() ? corners : corners << QPointF(corners.first()); }

// n corners on a circle, `step` degrees apart.
Points regular(QPointF center, double radius, int n, double first, double step)
{
    Points out;
    for (int k = 0; k < n; ++k)
        out.append(polar(center, radius, first + step * k));
    return out;
}

int classify(const Strokes &strokes, Points *points = nullptr)
{
    QRectF rect;
    Points p;
    return CFigureRecogniser::classifyScribble(strokes, rect, points ? *points : p, 6, true);
}

} // namespace

TEST(CFigureRecogniser, AnglesUseTheFiveDecimalPiAndStrictPredicates)
{
    const double right = 90.00007601981207; // acos(0) * 180 / 3.14159
    // A zero vector is left as (0, 0): a dot product of 0, not exactly 90 degrees.
    EXPECT_EQ(A::calcAngle(P(1, 0), P(0, 0)), right);
    EXPECT_EQ(A::calcAngle180(P(1, 0), P(0, 0)), right);
    EXPECT_EQ(A::calcAngle180(P(1, 0), P(-1, 0)), 180.00015203962414);
    EXPECT_EQ(A::calcAngle(P(1, 0), P(-1, 0)), 0.0); // folded into the first quadrant
    EXPECT_EQ(A::calcAngle(P(1, 0), P(0, -3)), right);
    EXPECT_NEAR(A::calcAngle(P(-2, 0), P(1, 1)), 45.0000380, 1e-6);
    EXPECT_NEAR(A::calcAngle180(P(-2, 0), P(1, 1)), 135.0001140, 1e-6);

    const double t = CFigureRecogniser::THRESHOLD_ANGLE;
    EXPECT_EQ(t, 10.0);
    // A side exactly 10 degrees off the axis measures a little more than 10.
    const double measured = A::calcAngle(P(1, 0), polar(P(0, 0), 1, 10));
    EXPECT_NEAR(measured, 10.0000084, 1e-7);
    struct Case { double angle; bool horizontal, vertical; };
    const Case cases[] = {{measured, false, false}, {10, false, false}, {9.999, true, false}, {-9.999, true, false},
                          {-10, false, false},      {std::nan(""), false, false}, {80, false, false},
                          {80.001, false, true},    {99.999, false, true},  {100, false, false}};
    for (const Case &c : cases) {
        EXPECT_EQ(A::isHorizontalAngle(c.angle, t), c.horizontal) << c.angle;
        EXPECT_EQ(A::isVerticalAngle(c.angle, t), c.vertical) << c.angle;
    }
}

// Whole scribbles through classifyScribble: the code, the box within `tolerance`
// (not checked when negative), and for a polygon its corners, each once and boxed.
// Any other code leaves the point list alone.
TEST(CFigureRecogniser, ScribblesByCategory)
{
    const double d = 200 / std::sqrt(2.0);
    Points tripled;
    for (const QPointF &p : pen({P(0, 0), P(100, 0), P(100, 100), P(0, 0)}))
        tripled << p << p << p;
    Strokes many;
    for (int k = 0; k < 12; ++k)
        many.append(pen({P(k * 30, 0), P(k * 30 + 10, 40)}));
    const Points flat = {P(-100, 0), P(100, 0)};
    const QPointF tilt = polar(P(0, 0), 100, 88);
    const QPointF steep = polar(P(0, 0), 100, 70);
    // A hexagon in one stroke. Its closing corner, computed at 390 degrees, ends
    // 6e-14 from its start.
    const Points hexagon = pen(regular(P(200, 200), 100, 7, 30, 60));
    const double w = 100 * std::cos(30 * kPi / 180);
    const QRectF hexagonBox(200 - w, 100, 2 * w, 200);
    const Points triangle = pen({P(100, 0), P(10, 150), P(190, 152), P(100, 0)});
    const Points square = pen({P(0, 0), P(0, 120), P(130, 120), P(130, 0), P(0, 0)});
    struct Case { const char *name; Strokes strokes; int code; QRectF rect; double tolerance; int corners;
                  int limit = 6; };
    const Case cases[] = {
        {"line", {pen({P(0, 0), P(100, 5)})}, 205, QRectF(0, 0, 100, 5), 0, 0},
        {"line drawn back keeps its direction", {pen({P(100, 5), P(0, 0)})}, 205, QRectF(100, 5, -100, -5), 0, 0},
        {"10 degrees", {pen({P(0, 0), P(200, 200 * tanDeg(10))})}, 103, QRectF(0, 0, 200, 200 * tanDeg(10)), 1e-9, 0},
        {"9.9 up", {pen({P(0, 0), P(200, -200 * tanDeg(9.9))})}, 205, QRectF(0, 0, 200, -200 * tanDeg(9.9)), 1e-9, 0},
        // A lone point is a line of length zero, not within 10 degrees of horizontal
        // (its angle is the zero vector's 90.00008).
        {"one point", {{P(7, 8)}}, 103, QRectF(7, 8, 0, 0), 0, 0},
        {"one point 50 times", {Points(50, P(7, 8))}, 103, QRectF(7, 8, 0, 0), 0, 0},
        // An X of perpendicular diagonals: the angle between the strokes folds into
        // the first quadrant, where both are at 45 degrees, so they differ by 0, not
        // 90. The box is the first stroke's.
        {"X", {pen({P(0, 0), P(d, d)}), pen({P(d, 0), P(0, d)})}, 206, QRectF(0, 0, d, d), 1e-9, 0},
        // Perpendicular only when one stroke is axis-aligned: 2 degrees off is
        // within the 10 degrees, 20 is not.
        {"crossing at 88 degrees", {flat, {-tilt, tilt}}, 0, {}, -1, 0},
        {"crossing at 70 degrees", {flat, {-steep, steep}}, 206, QRectF(-100, 0, 200, 0), 0, 0},
        // An exact "+" crosses (zero-height boxes meet) and is perpendicular, but the
        // joining steps leave it no figure.
        {"+", {pen({P(0, 50), P(100, 50)}), pen({P(50, 0), P(50, 100)})}, 0, {}, -1, 0},
        // Two lines that do not cross, and a crossing stroke that is not straight.
        {"parallel", {{P(0, 0), P(100, 0)}, {P(0, 10), P(100, 10)}}, 0, {}, -1, 0},
        {"bent", {{P(0, 0), P(100, 100)}, {P(100, 0), P(20, 40), P(0, 100)}}, 0, {}, -1, 0},
        // Four sides drawn separately, each reaching a little past the next: joined,
        // closed, a square.
        {"four sides",
         {pen({P(-4, 0), P(104, 0)}), pen({P(100, -4), P(100, 104)}), pen({P(104, 100), P(-4, 100)}),
          pen({P(0, 104), P(0, -4)})},
         102, QRectF(0, 0, 100, 100), 2.5, 4},
        // Two strokes, not lines, not joined, one touch: a barbed line ending at the
        // head's joint as smoothing found it near the drawn apex (152, 100).
        {"arrow", {pen({P(0, 100), P(150, 100)}), pen({P(90, 40), P(152, 100), P(90, 160)})}, 114,
         QRectF(0, 100, 152, 0), 2.0, 0},
        {"circle: too many corners", {regular(P(0, 0), 80, 91, 0, 4)}, 101, QRectF(-80, -80, 160, 160), 2.0, 0},
        // Six corners against a limit of 5 and of 6; the box of a 101 is the joined stroke's.
        {"hexagon, limit 5", {hexagon}, 101, hexagonBox, 2.0, 0, 5},
        {"hexagon, limit 6", {hexagon}, 102, {}, -1, 6},
        // Expected: a side parallel to the chord being divided ties with its corner, and rounding picks a side point.
        {"hexagon closed exactly", {pen(closed(regular(P(200, 200), 100, 6, 30, 60)))}, 101, hexagonBox, 2.0, 0},
        {"triangle, counter-clockwise from the top", {triangle}, 102, {}, -1, 3},
        {"triangle, limit 2", {triangle}, 101, {}, -1, 0, 2},
        {"square from a corner", {square}, 102, {}, -1, 4},
        {"every point three times", {tripled}, 102, {}, -1, 3},
        // Two dots on one place: nothing is nearer than a tenth of no length, so they
        // do not join, and two dots are no figure.
        {"two dots on one place", {{P(0, 0)}, {P(0, 0)}}, 0, {}, -1, 0},
        {"twelve strokes", many, 0, {}, -1, 0},
    };
    for (const Case &c : cases) {
        QRectF rect;
        Points points = {P(-1, -1)};
        EXPECT_EQ(CFigureRecogniser::classifyScribble(c.strokes, rect, points, c.limit, true), c.code) << c.name;
        if (c.tolerance >= 0)
            EXPECT_TRUE(sameRect(rect, c.rect, c.tolerance)) << c.name;
        if (c.code != 102) {
            EXPECT_TRUE(samePoints(points, {P(-1, -1)})) << c.name;
            continue;
        }
        EXPECT_EQ(points.size(), c.corners) << c.name;
        EXPECT_NE(points.first(), points.last()) << c.name;
        EXPECT_TRUE(sameRect(rect, A::getStrokeRectBound(points), 1e-9)) << c.name;
    }
    // Unless asked to normalise, a polygon keeps its corners as found (normalised,
    // this one becomes a square of 130).
    QRectF rect;
    Points corners;
    EXPECT_EQ(CFigureRecogniser::classifyScribble({square}, rect, corners, 6, false), 102);
    EXPECT_TRUE(samePoints(corners, {P(130, 0), P(0, 0), P(0, 120), P(130, 120)}));
    // Joining gives up on more than four strokes.
    Strokes apart;
    for (int k = 0; k < 5; ++k)
        apart.append({P(1000 * k, 0), P(1000 * k + 100, 0)});
    EXPECT_FALSE(A::makeConnectedStroke(apart));
    apart.resize(3);
    EXPECT_TRUE(A::makeConnectedStroke(apart) && apart.size() == 3);
}

TEST(CFigureRecogniser, OneOpenStroke)
{
    // The caller's box is (0, 0, 100, 100); `rect` is checked when `code` is not 0.
    struct Case { const char *name; Points stroke; int code; QRectF rect; };
    const double half = 50; // half of the Z's middle (-60, 80)
    const Case cases[] = {
        // A bend at the middle against 15% of the length: the limit lies at 15.724.
        {"bend 15.7", {P(0, 0), P(50, 15.7), P(100, 0)}, 205, QRectF(0, 0, 100, 0)},
        {"bend 15.75", {P(0, 0), P(50, 15.75), P(100, 0)}, 0, {}},
        {"empty", {}, 0, {}},
        // Long arm exactly twice the short one: "at most" holds, a barbed line from
        // the long arm's free end to the joint.
        {"barb at ratio 2", {P(200, 0), P(0, 0), P(60, 80)}, 114, QRectF(200, 0, -200, 0)},
        {"barb, long arm second", {P(30, 40), P(0, 0), P(100, 0)}, 114, QRectF(100, 0, -100, 0)},
        // A little under twice: a caret opening right, its box's height centred on the joint.
        {"just under ratio 2", {P(199.9, 0), P(0, 0), P(60, 80)}, 203, QRectF(0, -40, 100, 80)},
        // Comparable arms whose joint is the lowest or highest point: not a figure.
        {"V opening up", {P(-60, -100), P(0, 0), P(61, -99)}, 0, {}},
        {"caret opening down", {P(-60, 100), P(0, 0), P(61, 99)}, 0, {}},
        {"caret opening right", {P(100, 0), P(0, 50), P(100, 100)}, 203, QRectF(0, 0, 100, 100)},
        {"caret opening left", {P(0, 10), P(100, 50), P(0, 70)}, 204, QRectF(0, 20, 100, 60)},
        // An axis-aligned corner is an L: the general test finds it bent.
        {"L", {polar(P(0, 0), 200, 9), P(0, 0), polar(P(0, 0), 100, 81)}, 0, {}},
        // Too wide (about 90 degrees) or too narrow (under 11.5) for two arms.
        {"right angle", {P(200, 0), P(0, 0), P(0, 100)}, 0, {}},
        {"folded back", {P(200, 0), P(0, 0), P(100, 3)}, 0, {}},
        // A Z: short bars folded back along the middle, strictly shorter than half of it.
        {"Z", {P(0, 0), P(60, 0), P(0, 150), P(60, 150)}, 115, QRectF(60, 0, -60, 150)},
        {"Z with bars of half the middle", {P(60 - half, 0), P(60, 0), P(0, 80), P(40, 80)}, 0, {}},
        {"bracket", {P(30, 0), P(0, 0), P(0, 150), P(30, 150)}, 0, {}},
    };
    for (const Case &c : cases) {
        QRectF rect(0, 0, 100, 100);
        EXPECT_EQ(A::check1OpenStroke(c.stroke, rect), c.code) << c.name;
        if (c.code != 0)
            EXPECT_TRUE(sameRect(rect, c.rect, 1e-9)) << c.name;
    }
}

TEST(CFigureRecogniser, CrossingsNearTheEndsJoinAndCutTheOvershoot)
{
    struct Case { const char *name; Points a, b; int code; Points joined; }; // joined: a afterwards
    const Case cases[] = {
        // A true crossing, away from every end: reported, nothing changed.
        {"true crossing", {P(0, 50), P(100, 50)}, {P(50, 0), P(50, 100)}, 1, {P(0, 50), P(100, 50)}},
        // Two L-shapes of a square, overshooting at both shared corners. The first
        // crossing in a's order (at (0, 0)) is cut and joined there, held once; the
        // overshoot at (100, 100) stays for connect1Stroke.
        {"L-shapes", {P(-5, 0), P(100, 0), P(100, 105)}, {P(105, 100), P(0, 100), P(0, -5)}, 2,
         {P(105, 100), P(0, 100), P(0, 0), P(100, 0), P(100, 105)}},
        // Near a's end and b's start: a up to the crossing, then b after it.
        {"end to start", {P(0, 0), P(100, 0), P(105, 0)}, {P(100, -5), P(100, 100)}, 2,
         {P(0, 0), P(100, 0), P(100, 100)}},
        {"T, not joined", {P(0, 50), P(103, 50)}, {P(100, 0), P(100, 100)}, 0, {P(0, 50), P(103, 50)}},
        {"apart", {P(0, 0), P(10, 0)}, {P(0, 5), P(10, 5)}, 0, {P(0, 0), P(10, 0)}},
        {"empty", {}, {P(0, 5), P(10, 5)}, 0, {}},
    };
    for (const Case &c : cases) {
        Points a = c.a;
        Points b = c.b;
        EXPECT_EQ(A::intersectConnect(a, b), c.code) << c.name;
        EXPECT_TRUE(samePoints(a, c.joined)) << c.name;
        EXPECT_EQ(b.isEmpty(), c.code == 2) << c.name;
    }
}

TEST(CFigureRecogniser, NearEndsJoinAndTheWhiskersGo)
{
    // a ends in a small hook above the corner, b starts just below it: both are cut
    // back to the nearest pair of points, a runs on into b.
    Points a = {P(0, 0), P(100, 0), P(100, -4)};
    Points b = {P(100, 2), P(100, 100)};
    ASSERT_TRUE(A::nearConnect(a, b));
    EXPECT_TRUE(b.isEmpty());
    EXPECT_EQ(a.first(), P(0, 0));
    EXPECT_EQ(a.last(), P(100, 100));
    for (const QPointF &p : a)
        EXPECT_GE(p.y(), 0.0) << "whisker left: " << text(a);
    // Too far apart for their lengths: the nearest end pair orders both, nothing else.
    a = {P(0, 0), P(100, 0)};
    b = {P(200, 0), P(130, 0)};
    EXPECT_FALSE(A::nearConnect(a, b));
    EXPECT_TRUE(samePoints(a + b, {P(100, 0), P(0, 0), P(130, 0), P(200, 0)}));

    // One stroke closes when its ends are strictly less than a tenth of its length
    // apart, both ends moving to their midpoint.
    Points square = {P(0, 0), P(30, 0), P(30, 24.5), P(0, 24.5), P(0, 9)};
    EXPECT_TRUE(A::connect1Stroke(square));
    EXPECT_TRUE(samePoints({square.first(), square.last()}, {P(0, 4.5), P(0, 4.5)}));
    Points open = {P(0, 0), P(30, 0), P(30, 25), P(0, 25), P(0, 10)};
    EXPECT_FALSE(A::connect1Stroke(open));
    EXPECT_EQ(open.first(), P(0, 0));
    Points none;
    EXPECT_FALSE(A::connect1Stroke(none));
}

TEST(CFigureRecogniser, ShaftWithABarbedHead)
{
    const Points shaft = {P(0, 50), P(200, 50)};
    const Points head = {P(150, 10), P(200, 50), P(150, 90)};
    // Exactly one place where an end of one stroke touches the other's middle; the
    // line runs from the free end to the head's joint, whichever is drawn first.
    QRectF rect;
    for (const auto &pair : {std::make_pair(shaft, head), std::make_pair(head, shaft)}) {
        int i = 0;
        int j = 0;
        ASSERT_EQ(A::checkConnectSpecialEdge(pair.first, pair.second, i, j), 1);
        EXPECT_EQ(A::checkBranchStroke(pair.first, pair.second, i, j, rect), 114);
        EXPECT_TRUE(sameRect(rect, QRectF(0, 50, 200, 0)));
    }
    EXPECT_EQ(A::checkBranchStroke({P(200, 50), P(0, 50)}, head, 0, 1, rect), 114); // shaft drawn from the head
    EXPECT_TRUE(sameRect(rect, QRectF(0, 50, 200, 0)));
    EXPECT_EQ(A::checkBranchStroke(shaft, head, 1, 0, rect), 0); // not at the head's joint

    const std::pair<const char *, Points> heads[] = {
        {"one barb along the shaft", {P(170, 50), P(200, 50), P(170, 20)}},
        {"barbs nearly as long as the shaft", {P(60, -90), P(200, 50), P(60, 190)}},
        {"no: barbs longer than the shaft", {P(30, -120), P(200, 50), P(30, 220)}},
        {"no: a T", {P(200, 0), P(200, 50), P(200, 100)}},
        {"no: barbs pointing on", {P(240, 20), P(200, 50), P(240, 80)}},
        {"no: a head of four points", {P(150, 10), P(200, 50), P(150, 90), P(140, 95)}},
    };
    for (const auto &c : heads)
        EXPECT_EQ(A::checkBranchStroke(shaft, c.second, 1, 1, rect), c.first[0] == 'n' ? 0 : 114) << c.first;
}

// Rules that rewrite a closed corner list in place, each with its fixed result.
TEST(CFigureRecogniser, CornerListRules)
{
    using Rule = void (*)(Points &);
    const Rule shortSides = A::removeShortSegment, extraPoints = A::removeExtraPoint;
    const Rule triangle = A::normalizeTriangle, quadrangle = A::normalizeQuadrangle, kite = A::normalizeKiteAux;
    const Rule flat = [](Points &v) { A::normalizeParallelogramOrTrapezium(v, true); };
    const Rule upright = [](Points &v) { A::normalizeParallelogramOrTrapezium(v, false); };
    const Rule pentagon = A::normalizePentagon, hexagon = A::normalizeHexagon;
    struct Case { const char *name; Rule rule; Points corners, expected; }; // open lists, closed below; none: unchanged
    const double h155 = 50 * tanDeg(12.5); // a 155-degree corner
    const double t5 = 100 * tanDeg(5);
    const double t12 = 100 * tanDeg(12);
    const double t20 = 80 * tanDeg(20);
    const Points sq = {P(0, 0), P(100, 0), P(100, 100), P(0, 100)};
    const Points sqFrom1 = {P(100, 0), P(100, 100), P(0, 100), P(0, 0)};
    const Points bevelled = {P(5, 0), P(95, 0), P(100, 5), P(100, 95), P(95, 100), P(5, 100), P(0, 95), P(0, 5)};
    const QPointF o(100, 100);
    Points lopsided;
    for (int k = 0; k < 5; ++k)
        lopsided.append(polar(o, 50 + 3 * (k % 2), 92 + 72 * k));
    QPointF g; // its centre and mean radius, the closing point not counted
    for (const QPointF &p : lopsided)
        g += p / 5.0;
    double r = 0;
    for (const QPointF &p : lopsided)
        r += QLineF(g, p).length() / 5;
    const Case cases[] = {
        // Every corner cut off: the bevels merge into corners at their middles,
        // including the one across the closing point; starting on a bevel, the list
        // is first turned to start on an ordinary side.
        {"bevelled", shortSides, bevelled, {P(2.5, 2.5), P(97.5, 2.5), P(97.5, 97.5), P(2.5, 97.5)}},
        {"bevelled, from a bevel", shortSides, bevelled.mid(1) + bevelled.mid(0, 1),
         {P(97.5, 2.5), P(97.5, 97.5), P(2.5, 97.5), P(2.5, 2.5)}},
        // One short side: the spread stays under 70% of the mean.
        {"one short side", shortSides, {P(0, 0), P(100, 0), P(100, 100), P(5, 100), P(0, 95)}, {}},
        {"155 degrees on the top side", extraPoints, {P(0, 0), P(50, -h155), P(100, 0), P(100, 100), P(0, 100)}, sq},
        {"170 degrees, as the first corner", extraPoints,
         {P(50, -50 * tanDeg(5)), P(100, 0), P(100, 100), P(0, 100), P(0, 0)}, sqFrom1},
        {"as the last corner", extraPoints, {P(100, 0), P(100, 100), P(0, 100), P(0, 0), P(50, -h155)}, sqFrom1},
        {"exactly 180 degrees stays", extraPoints, {P(0, 0), P(50, 0), P(100, 0), P(100, 100), P(0, 100)}, {}},
        {"140 degrees stays", extraPoints, {P(0, 0), P(50, -50 * tanDeg(20)), P(100, 0), P(100, 100), P(0, 100)}, {}},
        {"flanks 11 degrees apart", extraPoints, {P(0, 0), P(50, -h155), P(100, 0), P(100, 100), P(20, 100)}, {}},
        // The flanks' angle is folded into the first quadrant, so mirror-image flanks
        // count as parallel: a house loses its roof's ridge.
        {"mirror-image flanks", extraPoints, {P(0, 0), P(50, -h155), P(100, 0), P(80, 100), P(20, 100)},
         {P(0, 0), P(100, 0), P(80, 100), P(20, 100)}},
        {"four corners are left alone", extraPoints, sq, {}},
        // A side 5 degrees off horizontal becomes horizontal at its mean height; the
        // apex stays unless the other sides are within 20% of each other.
        {"triangle 5 degrees", triangle, {P(0, 0), P(100, t5), P(25, 80)}, {P(0, t5 / 2), P(100, t5 / 2), P(25, 80)}},
        {"isosceles", triangle, {P(0, 0), P(100, t5), P(40, 80)}, {P(0, t5 / 2), P(100, t5 / 2), P(50, 80)}},
        // The most horizontal side (12 degrees) is nearer its axis than the most
        // vertical one (20): still standing on a horizontal side.
        {"12 against 20", triangle, {P(0, 0), P(100, t12), P(100 + t20, t12 + 80)},
         {P(0, t12 / 2), P(100, t12 / 2), P(100 + t20, t12 + 80)}},
        // Legs 100 and 85: the vertical leg's far end slides to make them equal.
        {"right 100/85", triangle, {P(0, 1), P(100, -1), P(1, 85)}, {P(0.5, 0), P(100, 0), P(0.5, 99.5)}},
        {"right, pointing up", triangle, {P(0, 0), P(100, 0), P(0, -85)}, {P(0, 0), P(100, 0), P(0, -100)}},
        {"right 100/75 keeps its legs", triangle, {P(0, 0), P(100, 0), P(0, 75)}, {}},
        {"right 100/80: the ratio is strict", triangle, {P(0, 0), P(100, 0), P(0, 80)}, {}},
        {"right 100/80.01", triangle, {P(0, 0), P(100, 0), P(0, 80.01)}, {P(0, 0), P(100, 0), P(0, 100)}},
        {"vertical base", triangle, {P(0, 0), P(80, 45), P(3, 100)}, {P(1.5, 0), P(80, 50), P(1.5, 100)}},
        // 100 by 85 becomes a square when the list starts on a vertical side (the
        // sides tie, the list turns to start on a horizontal side, corner 0 stays).
        {"100x85 from a vertical side", quadrangle, {P(0, 0), P(0, 85), P(100, 85), P(100, 0)},
         {P(0, 85), P(100, 85), P(100, -15), P(0, -15)}},
        // Starting on a horizontal side, the turned list starts on a vertical side,
        // where width and height both read 0: it stays 100 by 85.
        {"100x85 from a horizontal side", quadrangle, {P(0, 0), P(100, 0), P(100, 85), P(0, 85)},
         {P(100, 0), P(100, 85), P(0, 85), P(0, 0)}},
        {"100x80: the ratio is strict", quadrangle, {P(0, 0), P(0, 80), P(100, 80), P(100, 0)},
         {P(0, 80), P(100, 80), P(100, 0), P(0, 0)}},
        // The vertical diagonal crossing near the horizontal one's middle moves
        // there; the horizontal one crossing 25% off the other's middle is kept.
        {"kite", kite, {P(0, 28), P(55, 0), P(100, 22), P(50, 100)}, {P(0, 25), P(50, 0), P(100, 25), P(50, 100)}},
        {"diamond", kite, {P(0, 45), P(57, 0), P(100, 52), P(47, 100)}, {P(0, 50), P(50, 0), P(100, 50), P(50, 100)}},
        {"crossing far off both middles", kite, {P(0, 20), P(20, 0), P(100, 20), P(20, 100)}, {}},
        // Free sides leaning the same way: the mean lean (25) and side (105) about
        // the same centre; leaning apart: an isosceles trapezium.
        {"parallelogram", flat, {P(0, 0), P(100, 0), P(130, 60), P(20, 60)},
         {P(-2.5, 0), P(102.5, 0), P(127.5, 60), P(22.5, 60)}},
        {"trapezium", flat, {P(0, 0), P(100, 0), P(80, 60), P(30, 60)},
         {P(2.5, 0), P(102.5, 0), P(77.5, 60), P(27.5, 60)}},
        {"drawn the other way round", flat, {P(100, 60), P(0, 60), P(20, 0), P(130, 0)},
         {P(102.5, 60), P(-2.5, 60), P(22.5, 0), P(127.5, 0)}},
        {"upright parallelogram", upright, {P(0, 0), P(0, 100), P(60, 130), P(60, 20)},
         {P(0, -2.5), P(0, 102.5), P(60, 127.5), P(60, 22.5)}},
        // A pentagon whose lowest corner is nearly below its centre points down: a
        // regular one from straight below, and the closing point comes round again.
        {"pentagon", pentagon, lopsided, regular(g, r, 5, 90, 72)},
        // Hexagons keep flat tops, or upright sides (corners at 30 and 330 degrees), as drawn.
        {"hexagon with a flat top", hexagon, regular(o, 60, 6, 3, 60), regular(o, 60, 6, 0, 60)},
        {"hexagon with upright sides", hexagon, regular(o, 60, 6, 27, 60), regular(o, 60, 6, 30, 60)},
        {"no hexagon", hexagon, {}, {}},
    };
    for (const Case &c : cases) {
        Points v = closed(c.corners);
        c.rule(v);
        EXPECT_TRUE(samePoints(v, closed(c.expected.isEmpty() ? c.corners : c.expected), 1e-9)) << c.name;
    }
}

TEST(CFigureRecogniser, KitesAndRectanglesByTheirLean)
{
    // A diamond with diagonals 200 and 120 about o, turned by `degrees`, listed from
    // its left corner or from its top one.
    const QPointF o(200, 200);
    auto diamond = [o](double degrees, int first) {
        Points corners;
        for (int k = first; k < first + 4; ++k)
            corners.append(polar(o, k % 2 ? 60 : 100, degrees + 180 + 90 * k));
        return closed(corners);
    };
    // Made exact: diagonal 0-2 horizontal and 1-3 vertical, both through o, the middle of each.
    auto exact = [](const Points &d) {
        return closed({P(d[0].x(), 200), P(200, d[1].y()), P(d[2].x(), 200), P(200, d[3].y())});
    };
    // Diagonals 20 degrees off the axes: a kite, made exact; 35 degrees: not a kite, left alone.
    Points v = diamond(20, 0);
    EXPECT_TRUE(A::normalizeKite(v));
    EXPECT_TRUE(samePoints(v, exact(diamond(20, 0)), 1e-9));
    v = diamond(35, 0);
    EXPECT_FALSE(A::normalizeKite(v));
    EXPECT_TRUE(samePoints(v, diamond(35, 0)));
    // With the vertical diagonal first, the list is turned by one corner to start on
    // the right-hand corner.
    v = diamond(10, 1);
    EXPECT_TRUE(A::normalizeKite(v));
    EXPECT_TRUE(samePoints(v, exact(diamond(10, 2)), 1e-9));

    // Sides 12 degrees off horizontal and 14 off vertical: a rectangle when the
    // horizontal pair leads (upright sides may lean 15); turned by 90 degrees the
    // flat sides may lean only 10, and it stays a parallelogram.
    const double t12 = 100 * tanDeg(12);
    const double t14 = 80 * tanDeg(14);
    const Points leaning = {P(0, 0), P(100, t12), P(100 - t14, t12 + 80), P(-t14, 80)};
    Points turned;
    for (const QPointF &p : leaning)
        turned.append(P(-p.y(), p.x()));
    for (const auto &c : {std::make_pair(leaning, 4), std::make_pair(turned, 2)}) {
        v = closed(c.first);
        A::normalizeQuadrangle(v);
        int axisAligned = 0;
        for (int k = 0; k < 4; ++k)
            axisAligned += v[k + 1].x() == v[k].x() || v[k + 1].y() == v[k].y();
        EXPECT_EQ(axisAligned, c.second) << text(v);
    }
}

TEST(CFigureRecogniser, CornerListValidity)
{
    const Points square = closed({P(0, 0), P(100, 0), P(100, 100), P(0, 100)});
    const Points bowTie = closed({P(0, 0), P(100, 100), P(100, 0), P(0, 100)});
    // Same turn at every corner (a star too), and whether any two sides cross.
    struct Case { const char *name; Points corners; bool convex, crossing; };
    const Case cases[] = {
        {"square", square, true, false},
        {"counter-clockwise", Points(square.rbegin(), square.rend()), true, false},
        {"star", closed(regular(P(0, 0), 100, 5, -90, 144)), true, true},
        {"bow tie", bowTie, false, true},
        {"dent", closed({P(0, 0), P(100, 0), P(50, 30), P(100, 100), P(0, 100)}), false, false},
        {"straight first turn", closed({P(0, 0), P(50, 0), P(100, 0), P(50, 80)}), false, false},
        {"two points", {P(0, 0), P(1, 1)}, false, false},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(A::checkVectorDirection(c.corners), c.convex) << c.name;
        EXPECT_EQ(A::hasSelfIntersection(c.corners), c.crossing) << c.name;
    }
    // Four corners may not cross themselves (a star of five may, as drawn in one stroke).
    Points v = bowTie;
    EXPECT_EQ(A::classifyCloseFigure(v, 6, false), 0);
}

TEST(CFigureRecogniser, PentagramBecomesARegularStar)
{
    // Drawn from its top point, 5 pixels off a regular one here and there: five
    // corners on one circle, 144 degrees apart, from the one after the top point,
    // which closed the list and was dropped with the closing repeat.
    Points tips;
    for (int k = 0; k <= 5; ++k)
        tips.append(polar(P(300, 300), 150 + (k % 2 ? 5 : -3), -90 + 144 * k));
    tips.last() = tips.first();
    Points points;
    ASSERT_EQ(classify({pen(tips)}, &points), 102);
    ASSERT_EQ(points.size(), 5);
    QPointF center;
    for (const QPointF &p : points)
        center += p / 5.0;
    EXPECT_TRUE(samePoints(points, regular(center, QLineF(center, points[0]).length(), 5, 54, 144), 1e-9));
}

TEST(CFigureRecogniser, InputNoPenDrawsIsNotAFigure)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const Points line = pen({P(0, 0), P(100, 0)});
    const Strokes cases[] = {
        {}, {{}}, {{}, line}, {line, {}}, {{P(0, 0), P(nan, 5), P(100, 0)}}, {line, {P(inf, 0), P(0, 0)}},
        {{P(-inf, -inf)}},
    };
    for (const Strokes &strokes : cases) {
        QRectF rect(1, 2, 3, 4);
        Points points = {P(-7, -7)};
        Strokes connected = {{P(3, 3)}};
        EXPECT_EQ(CFigureRecogniser::classifyScribble(strokes, rect, points, 6, true, &connected),
                  CFigureRecogniser::cHANDWRITE_DATA);
        EXPECT_TRUE(sameRect(rect, QRectF(1, 2, 3, 4)));
        EXPECT_TRUE(samePoints(points, {P(-7, -7)}));
        EXPECT_EQ(connected.size(), 1);
    }
    // An empty list's box is inverted; smoothing keeps empty strokes as empty places.
    const double big = 3.4028234663852886e+38;
    EXPECT_TRUE(sameRect(A::getStrokeRectBound({}), QRectF(big, big, -2 * big, -2 * big)));
    Strokes out = {{P(9, 9)}};
    A::makeSmoothPoints({{}, {P(0, 0), P(50, 0)}}, out, 0.1);
    EXPECT_EQ(out, Strokes({{}, {P(0, 0), P(50, 0)}}));

    // Huge and tiny coordinates: a known code. (Arbitrary point lists are left to the
    // recogniser's fuzz harness.)
    const std::set<int> codes = {0, 101, 102, 103, 114, 115, 203, 204, 205, 206};
    auto known = [&codes](int code) { return codes.count(code) == 1; };
    EXPECT_TRUE(known(classify({{P(0, 0)}, {P(50, 50)}, {P(0, 0)}})));
    EXPECT_TRUE(known(classify({{P(1e300, 1e300), P(-1e300, 1e300), P(0, -1e300), P(1e300, 1e300)}})));
    EXPECT_TRUE(known(classify({{P(1e-300, 0), P(0, 1e-300), P(-1e-300, 0)}})));
    EXPECT_TRUE(known(classify({{P(1e300, 0), P(-1e300, 0)}, {P(0, 1e300), P(0, -1e300)}})));
}

TEST(CFigureRecogniser, TracesEveryStageItEnters)
{
    testsupport::CapturedLog log("TRACE");
    classify({pen({P(0, 0), P(100, 0), P(50, 80), P(0, 0)})});
    const std::vector<std::string> lines = log.traceLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().rfind(".\\figurerecogniser.cpp\t", 0), 0u) << lines.front();
    EXPECT_NE(lines.front().find("\tEnterCFigureRecogniser::classifyScribble"), std::string::npos);
    EXPECT_NE(lines.back().find("\tExitCFigureRecogniser::classifyScribble"), std::string::npos);
    // Every stage that is entered is left again, and the triangle went through its normaliser.
    std::map<std::string, int> open;
    for (const std::string &line : lines) {
        std::string what = line.substr(line.rfind('\t') + 1);
        what = what.substr(0, what.find('(')); // some geometry functions trace a value
        if (what.rfind("Enter", 0) == 0)
            ++open[what.substr(5)];
        else if (what.rfind("Exit", 0) == 0)
            --open[what.substr(4)];
    }
    for (const auto &entry : open)
        EXPECT_EQ(entry.second, 0) << entry.first;
    EXPECT_EQ(open.count("CFigureRecogniser::normalizeTriangle"), 1u);
}
