// CStroke: the exclusive-corner bound, its cache, fitting with truncation toward
// zero, point-only hit tests and the stroke record, including corrupt counts.
#include <utility/stroke.h>

#include "inkrecord.h"
#include "testsupport.h"

#include <gmock/gmock.h>

#include <limits>

using namespace testsupport;
using Points = std::vector<QPoint>;
using Edges = std::vector<int>;

TEST(CStroke, BoundUsesTheGreatestCoordinatesAsExclusiveEdges)
{
    const CStroke empty;
    EXPECT_TRUE(empty.getRectBound().isNull() && empty.isShapeUnchanged() && empty.getReserved() == 0);
    EXPECT_FALSE(empty.hitTest(CNRect(-10, -10, 20, 20)));
    EXPECT_EQ(empty.getDistance(QPoint(3, 4)), 0.0);
    const std::pair<CStroke, Edges> cases[] = {
        {CStroke(), {0, 0, 0, 0}},
        {strokeOf({QPoint(0, 0), QPoint(10, 0)}), {0, 0, 10, 0}}, // a horizontal line has height 0
        {strokeOf({QPoint(5, 7)}), {5, 7, 5, 7}},                 // one point: null bound at it
        {strokeOf({QPoint(5, 5), QPoint(3, 3), QPoint(1, 8), QPoint(9, -2)}), {1, -2, 9, 8}},
        {strokeOf({QPoint(-4, -4), QPoint(-9, -1)}), {-9, -4, -4, -1}},
    };
    for (const auto &[stroke, expected] : cases)
        EXPECT_EQ(edges(stroke.getRectBound()), expected);
}

TEST(CStroke, ChangesInvalidateTheBoundAndShapeFlag)
{
    CStroke stroke = strokeOf({QPoint(0, 0), QPoint(10, 10), QPoint(20, 0), QPoint(30, 10)});
    EXPECT_FALSE(stroke.isShapeUnchanged()); // addPoint changed it
    EXPECT_EQ(edges(stroke.getRectBound()), (Edges{0, 0, 30, 10}));
    stroke.setPointAt(3, QPoint(40, 50));
    EXPECT_EQ(edges(stroke.getRectBound()), (Edges{0, 0, 40, 50}));

    stroke.removePoints(2, 2);  // exactly one point
    EXPECT_EQ(pointsOf(stroke), (Points{QPoint(0, 0), QPoint(10, 10), QPoint(40, 50)}));
    stroke.removePoints(1, 0);  // reversed: nothing
    stroke.removePoints(-1, 1); // outside: nothing
    stroke.removePoints(2, 3);
    EXPECT_EQ(stroke.getPointNum(), 3);
    stroke.removePoints(1, 2);
    EXPECT_EQ(pointsOf(stroke), (Points{QPoint(0, 0)}));

    // Moving keeps the shape; an assigned stroke has changed.
    CStroke fresh, untouched;
    fresh = strokeOf({QPoint(1, 1), QPoint(2, 3)});
    untouched.move(QSize(5, -5));
    EXPECT_TRUE(!fresh.isShapeUnchanged() && untouched.isShapeUnchanged());
    fresh.move(QSize(5, -5));
    EXPECT_EQ(pointsOf(fresh), (Points{QPoint(6, -4), QPoint(7, -2)}));
    EXPECT_EQ(edges(fresh.getRectBound()), (Edges{6, -4, 7, -2}));
    fresh.invalidateBoundingRect();
    EXPECT_EQ(edges(fresh.getRectBound()), (Edges{6, -4, 7, -2}));
}

TEST(CStroke, SetPosScalesAboutTheCentreTruncatingTowardZero)
{
    // Bound (0,0)-(10,10) has the centre (5,5).
    CStroke stroke = strokeOf({QPoint(0, 0), QPoint(10, 0), QPoint(10, 10)});
    stroke.setPos(QPoint(100, 100), 0.55, 1.0);
    // x: -5 * 0.55 = -2.75 -> -2 (not -3); 5 * 0.55 = 2.75 -> 2. y is only moved.
    EXPECT_EQ(pointsOf(stroke), (Points{QPoint(98, 95), QPoint(102, 95), QPoint(102, 105)}));

    // Non-finite factors neither crash nor leave undefined coordinates.
    CStroke odd = strokeOf({QPoint(0, 0), QPoint(10, 10)});
    odd.setPos(QPoint(7, 7), std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(odd.getPointAt(0).x() == 7 && odd.getPointAt(1).x() == 7);

    struct Case { const char *name; CStroke stroke; CNRect target; Points expected; } const cases[] = {
        // 101/100 is exactly 1.01, which is not strictly below 1.01: scaled.
        {"one percent larger", strokeOf({QPoint(0, 0), QPoint(400, 0), QPoint(400, 400)}), CNRect(0, 0, 404, 404),
         {QPoint(0, 0), QPoint(404, 0), QPoint(404, 404)}},
        // 403/400 snaps to 1.0: only moved, by the centre difference (201 - 200).
        {"snapped", strokeOf({QPoint(0, 0), QPoint(400, 0), QPoint(400, 400)}), CNRect(0, 0, 403, 403),
         {QPoint(1, 1), QPoint(401, 1), QPoint(401, 401)}},
        {"half size", strokeOf({QPoint(0, 0), QPoint(100, 0), QPoint(100, 50)}), CNRect(1000, 1000, 50, 25),
         {QPoint(1000, 1000), QPoint(1050, 1000), QPoint(1050, 1024)}}, // 12.5 -> 12
        // A zero-width bound keeps its x scale.
        {"vertical", strokeOf({QPoint(5, 0), QPoint(5, 100)}), CNRect(0, 0, 40, 200), {QPoint(20, 0), QPoint(20, 200)}},
    };
    for (Case c : cases) {
        c.stroke.setPos(c.target);
        EXPECT_EQ(pointsOf(c.stroke), c.expected) << c.name;
        EXPECT_FALSE(c.stroke.isShapeUnchanged()) << c.name;
    }
}

TEST(CStroke, HitTestCountsPointsAndDistanceTheNearestPair)
{
    const CStroke line = strokeOf({QPoint(0, 0), QPoint(1000, 0)});
    EXPECT_FALSE(line.hitTest(CNRect(400, -10, 200, 20))); // the segment crosses, no point inside
    EXPECT_TRUE(line.hitTest(CNRect(990, -10, 20, 20)));
    // The bound touches r's exclusive edge, but no point is inside r.
    const CStroke touching = strokeOf({QPoint(10, 5), QPoint(20, 5)});
    EXPECT_FALSE(touching.hitTest(CNRect(0, 0, 10, 10)) || touching.hitTest(CNRect(100, 100, 5, 5)));
    EXPECT_TRUE(touching.hitTest(CNRect(0, 0, 11, 10)));

    const CStroke corner = strokeOf({QPoint(0, 0), QPoint(10, 0), QPoint(10, 10)});
    struct Case { CStroke stroke; QPoint p; double expected; } const cases[] = {
        {strokeOf({QPoint(1, 1)}), QPoint(4, 5), 5.0}, {corner, QPoint(5, 3), 3.0},
        {corner, QPoint(-3, 4), 5.0}, // behind the first end
        {corner, QPoint(0, 7), 7.0},  // projection on the end
        // (5,5) is as near to the first pair as to the second (sums 100): the first
        // pair wins and gives 5, where the second pair would give sqrt(40).
        {strokeOf({QPoint(0, 0), QPoint(10, 0), QPoint(12, 6)}), QPoint(5, 5), 5.0},
        {strokeOf({QPoint(3, 3), QPoint(3, 3)}), QPoint(6, 7), 5.0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(c.stroke.getDistance(c.p), c.expected) << c.p.x() << "," << c.p.y();
}

TEST(CStroke, EqualsComparesPointsOnly)
{
    const CStroke a = strokeOf({QPoint(1, 2), QPoint(3, 4)}), c = strokeOf({QPoint(1, 2), QPoint(3, 5)}), empty;
    CStroke b = strokeOf({QPoint(1, 2), QPoint(3, 4)});
    b.getRectBound(); // different cache state
    EXPECT_TRUE(a.equals(&a) && a.equals(&b) && empty.equals(&empty));
    EXPECT_FALSE(a.equals(nullptr) || a.equals(&empty) || a.equals(&c));
}

TEST(CStroke, RecordRoundTripMatchesTheFormat)
{
    const CStroke stroke = strokeOf({QPoint(1, 2), QPoint(-1, 0x01020304)});
    std::ostringstream out, empty;
    stroke.writeTo(out);
    EXPECT_EQ(out.str(), bytes({2, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 4, 3, 2, 1}));
    CStroke().writeTo(empty);
    EXPECT_EQ(empty.str(), bytes({0, 0, 0, 0}));
    // The traced read goes value by value and must give the same result.
    for (const char *level : {"INFO", "TRACE"}) {
        CapturedLog log(level);
        std::istringstream in(out.str());
        CStroke read = strokeOf({QPoint(9, 9)});
        read.readFrom(in);
        EXPECT_TRUE(in.good() && read.equals(&stroke) && !read.isShapeUnchanged()) << level;
        EXPECT_EQ(edges(read.getRectBound()), (Edges{-1, 2, 1, 0x01020304}));
        if (std::string(level) == "TRACE")
            EXPECT_THAT(log.traceLines(), ::testing::Contains(::testing::EndsWith("\tExitbinaryRead(16909060)")));
    }
}

TEST(CStroke, CorruptCountsReadOnlyWhatIsThere)
{
    const std::string twoPoints = bytes({1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
    struct Case { const char *name; std::string record; long points; bool failed; } const cases[] = {
        {"huge count", bytes({0xFF, 0xFF, 0xFF, 0x7F}) + twoPoints, 2, true},
        {"count one too many", bytes({3, 0, 0, 0}) + twoPoints, 2, true},
        {"half a point", bytes({3, 0, 0, 0}) + twoPoints + bytes({5, 0, 0, 0}), 2, true},
        {"negative count", bytes({0xFE, 0xFF, 0xFF, 0xFF}) + twoPoints, 0, false},
        {"zero count", bytes({0, 0, 0, 0}) + twoPoints, 0, false},
        {"cut count", bytes({2, 0}), 0, true},
    };
    for (const char *level : {"INFO", "TRACE"}) {
        CapturedLog log(level);
        for (const Case &c : cases) {
            // A string stream and one that cannot seek.
            std::istringstream in(c.record);
            PipeBuffer pipe(c.record);
            std::istream piped(&pipe);
            for (std::istream *stream : {static_cast<std::istream *>(&in), &piped}) {
                CStroke stroke = strokeOf({QPoint(7, 7)});
                stroke.readFrom(*stream);
                EXPECT_EQ(stroke.getPointNum(), c.points) << c.name << (stream == &piped ? " (pipe)" : "") << level;
                EXPECT_EQ(stream->fail(), c.failed) << c.name << (stream == &piped ? " (pipe)" : "") << level;
                if (c.points == 2)
                    EXPECT_EQ(pointsOf(stroke), (Points{QPoint(1, 2), QPoint(3, 4)})) << c.name;
            }
        }
    }
}
