// Util stroke utilities: averaging, segment lengths and the corner finder that the
// recogniser runs twice on every stroke.
#include <utility/strokeutil.h>

#include "testsupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Util;
using testsupport::CapturedLog;

namespace {

using Points = QVector<QPointF>;

std::string text(const Points &points)
{
    std::string s;
    for (const QPointF &p : points)
        s += "(" + std::to_string(p.x()) + "," + std::to_string(p.y()) + ")";
    return s;
}

// Exact comparison; QPointF's own == is fuzzy.
::testing::AssertionResult samePoints(const Points &actual, const Points &expected)
{
    bool same = actual.size() == expected.size();
    for (int i = 0; same && i < actual.size(); ++i)
        same = actual[i].x() == expected[i].x() && actual[i].y() == expected[i].y();
    if (same)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << text(actual) << " != " << text(expected);
}

Points smooth(const Points &points, double ratio)
{
    Points result = {QPointF(-1, -1)};
    getSmoothPoints(points, result, ratio);
    return result;
}

// n points on a line from (0, 0) to (length, 0) wobbling by +-0.1.
Points straight(int n, double length)
{
    Points points;
    for (int i = 0; i < n; ++i)
        points.append(QPointF(length * i / (n - 1), (i % 2) ? 0.1 : -0.1));
    return points;
}

} // namespace

TEST(UtilStrokeUtil, AveragePointClampsItsRange)
{
    const Points points = {QPointF(0, 0), QPointF(2, 4), QPointF(4, 8), QPointF(10, 0)};
    struct Case
    {
        int from, to;
        QPointF expected;
    };
    const Case cases[] = {
        {-5, 100, QPointF(4, 3)},   // everything
        {0, -1, QPointF(4, 3)},     // a negative end means the last point
        {1, 2, QPointF(3, 6)},
        {0, 0, QPointF(0, 0)},
        {3, 3, QPointF(10, 0)},     // the last index itself
        {3, 1, QPointF(0, 0)},      // empty range
        {7, -1, QPointF(0, 0)},
    };
    for (const Case &c : cases) {
        const QPointF p = getAveragePoint(points, c.from, c.to);
        EXPECT_EQ(p.x(), c.expected.x()) << c.from << ".." << c.to;
        EXPECT_EQ(p.y(), c.expected.y()) << c.from << ".." << c.to;
    }
    EXPECT_EQ(getAveragePoint(Points(), 0, 5), QPointF(0, 0));
}

TEST(UtilStrokeUtil, LengthsAreSegmentsNotRunningSums)
{
    QVector<double> lengths = {42, 42, 42, 42};
    calcAdjacentLength({QPointF(0, 0), QPointF(3, 4), QPointF(3, 10)}, lengths);
    EXPECT_THAT(lengths, ::testing::ElementsAre(5.0, 6.0));

    EXPECT_EQ(calcStrokeLength({QPointF(0, 0), QPointF(3, 4), QPointF(3, 10)}, lengths), 11.0);
    EXPECT_THAT(lengths, ::testing::ElementsAre(5.0, 6.0));
    EXPECT_EQ(calcStrokeLength({QPointF(0, 0), QPointF(3, 4), QPointF(3, 10)}), 11.0);

    calcAdjacentLength({QPointF(1, 1)}, lengths);
    EXPECT_TRUE(lengths.isEmpty());
    EXPECT_EQ(calcStrokeLength({QPointF(1, 1)}), 0.0);
    EXPECT_EQ(calcStrokeLength(Points()), 0.0);
}

TEST(UtilStrokeUtil, SmoothPointsFindsCorners)
{
    Points lShape;
    for (int i = 0; i <= 10; ++i)
        lShape.append(QPointF(5 * i, 0));
    for (int i = 1; i <= 10; ++i)
        lShape.append(QPointF(50, 5 * i));

    struct Case
    {
        const char *name;
        Points input;
        double ratio;
        Points expected;
    };
    const Case cases[] = {
        {"two points", {QPointF(0, 0), QPointF(1, 1)}, 0.1, {QPointF(0, 0), QPointF(1, 1)}},
        {"one point", {QPointF(7, 8)}, 0.1, {QPointF(7, 8), QPointF(7, 8)}},
        {"empty", {}, 0.1, {}},
        {"straight", straight(200, 400), 0.05, {QPointF(0, -0.1), QPointF(400, 0.1)}},
        {"L shape", lShape, 0.1, {QPointF(0, 0), QPointF(50, 0), QPointF(50, 50)}},
        // Jitter below 3.0 along the stroke is merged away; exactly 3.0 is still jitter.
        {"jitter",
         {QPointF(0, 0), QPointF(1, 0), QPointF(2, 0), QPointF(3, 0), QPointF(4, 0), QPointF(5, 0), QPointF(5, 1),
          QPointF(5, 2), QPointF(5, 3), QPointF(5, 4), QPointF(5, 5)},
         0.0,
         {QPointF(0, 0), QPointF(4, 0), QPointF(5, 3), QPointF(5, 5)}},
        {"exactly 3.0", {QPointF(0, 0), QPointF(0, 3), QPointF(4, 3), QPointF(4, -1)}, 0.0,
         {QPointF(0, 0), QPointF(4, 3), QPointF(4, -1)}},
        // Ends closer than 3.0: the point farthest from the start survives the merge.
        {"small loop", {QPointF(0, 0), QPointF(1, 0), QPointF(2, 0), QPointF(2, 1), QPointF(1, 1), QPointF(0, 1)},
         0.0, {QPointF(0, 0), QPointF(2, 1), QPointF(0, 1)}},
        // Of two equally far points the first is the loop's far point.
        {"equally far", {QPointF(0, 0), QPointF(2, 1), QPointF(1, 2), QPointF(0, 1)}, 0.0,
         {QPointF(0, 0), QPointF(2, 1), QPointF(0, 1)}},
        // Two points equally far from the chord: the division takes the later one.
        {"tie", {QPointF(0, 0), QPointF(10, 10), QPointF(20, 10), QPointF(30, 0)}, 0.25,
         {QPointF(0, 0), QPointF(20, 10), QPointF(30, 0)}},
        // A bump bending against the turn into the next stretch counts half (2.5 < 4)...
        {"counter bend", {QPointF(0, 0), QPointF(10, 5), QPointF(20, 0), QPointF(20, 40)}, 0.2,
         {QPointF(0, 0), QPointF(20, 0), QPointF(20, 40)}},
        // ...one bending with it counts fully (5 > 4).
        {"with bend", {QPointF(0, 0), QPointF(10, -5), QPointF(20, 0), QPointF(20, 40)}, 0.2,
         {QPointF(0, 0), QPointF(10, -5), QPointF(20, 0), QPointF(20, 40)}},
        // A zig-zag keeps every point at ratio 0: no noise point is ever dropped.
        {"zig-zag",
         {QPointF(0, 0), QPointF(10, 5), QPointF(20, 0), QPointF(30, 5), QPointF(40, 0), QPointF(50, 5),
          QPointF(60, 0)},
         0.0,
         {QPointF(0, 0), QPointF(10, 5), QPointF(20, 0), QPointF(30, 5), QPointF(40, 0), QPointF(50, 5),
          QPointF(60, 0)}},
    };
    for (const Case &c : cases)
        EXPECT_TRUE(samePoints(smooth(c.input, c.ratio), c.expected)) << c.name;
}

TEST(UtilStrokeUtil, SmoothPointsSurvivesNonFiniteInput)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    Points points = straight(50, 100);
    points[10] = QPointF(nan, nan);
    points[20] = QPointF(inf, -inf);
    for (double ratio : {0.1, 0.0, -1.0, nan, -inf}) {
        const Points result = smooth(points, ratio);
        ASSERT_GE(result.size(), 2) << ratio;
        EXPECT_EQ(result.front().x(), points.front().x());
        EXPECT_EQ(result.back().x(), points.back().x());
    }
    // A negative ratio divides at every point that qualifies, but never beyond them.
    EXPECT_LE(smooth(straight(50, 400), -1.0).size(), 50);
}

TEST(UtilStrokeUtil, TracesEveryStep)
{
    CapturedLog log("TRACE");
    Points result;
    getSmoothPoints({QPointF(0, 0), QPointF(10, 0), QPointF(10, 10)}, result, 0.1);
    const auto lines = log.traceLines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_THAT(lines.front(), ::testing::EndsWith("\tEnterUtil::getSmoothPoints"));
    EXPECT_THAT(lines.back(), ::testing::EndsWith("\tExitUtil::getSmoothPoints"));
    for (const char *step : {"copyMovingPoints", "removeNoise", "divideStrokeToSegments", "divideRuggedSegment"}) {
        EXPECT_NE(std::count_if(lines.begin(), lines.end(),
                                [&](const std::string &line) { return line.find(step) != std::string::npos; }),
                  0)
            << step;
    }
    EXPECT_THAT(lines.front(), ::testing::StartsWith(".\\strokeutil.cpp\t"));
}

// On real pen strokes: the corners are input points, in drawing order, from the
// first point to the last.
TEST(UtilStrokeUtil, SmoothPointsOnRealInkKeepsOrderAndEnds)
{
    REQUIRE_SHARED();
    QFile file(testsupport::sharedPath(QStringLiteral("ink/dollar1.jsonl")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    int strokes = 0;
    while (!file.atEnd() && strokes < 500) {
        const QJsonObject object = QJsonDocument::fromJson(file.readLine()).object();
        for (const QJsonValue &strokeValue : object.value(QStringLiteral("strokes")).toArray()) {
            Points points;
            for (const QJsonValue &pointValue : strokeValue.toArray()) {
                const QJsonArray xy = pointValue.toArray();
                points.append(QPointF(xy.at(0).toDouble(), xy.at(1).toDouble()));
            }
            ++strokes;
            const Points corners = smooth(points, 0.1);
            ASSERT_GE(corners.size(), 2);
            int at = 0;
            for (const QPointF &corner : corners) {
                while (at < points.size() && !(points[at].x() == corner.x() && points[at].y() == corner.y()))
                    ++at;
                ASSERT_LT(at, points.size()) << object.value(QStringLiteral("id")).toString().toStdString();
            }
            EXPECT_EQ(corners.front(), points.front());
            EXPECT_EQ(corners.back(), points.back());
        }
    }
    EXPECT_EQ(strokes, 500);
}
