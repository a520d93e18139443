// CScribble: the cache rules (which changes invalidate the bound and which do
// not), fitting, editing ranges and the scribble record.
#include <utility/scribble.h>

#include "testsupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <sstream>

namespace {

CStroke strokeOf(std::initializer_list<QPoint> points)
{
    CStroke stroke;
    for (const QPoint &p : points)
        stroke.addPoint(p);
    return stroke;
}

std::vector<int> edges(const CNRect &r)
{
    return {r.left(), r.top(), r.right(), r.bottom()};
}

std::vector<QPoint> pointsOf(const CStroke &stroke)
{
    std::vector<QPoint> points;
    for (long i = 0; i < stroke.getPointNum(); ++i)
        points.push_back(stroke.getPointAt(i));
    return points;
}

std::string bytes(std::initializer_list<int> values)
{
    std::string s;
    for (int v : values)
        s.push_back(static_cast<char>(v));
    return s;
}

// Bounds (0,0)-(10,10) and (20,5)-(30,40).
const CStroke kFirst = strokeOf({QPoint(0, 0), QPoint(10, 10)});
const CStroke kSecond = strokeOf({QPoint(20, 5), QPoint(30, 40)});
const CStroke kFar = strokeOf({QPoint(100, 100), QPoint(120, 130)});

CScribble twoStrokes()
{
    CScribble scribble;
    scribble.addStroke(kFirst);
    scribble.addStroke(kSecond);
    scribble.getStrokeAt(0); // for change: makes the cache current on the next request
    return scribble;
}

} // namespace

TEST(CScribble, NewScribbleIsEmpty)
{
    const CScribble scribble, other;
    EXPECT_EQ(scribble.getStrokeNum(), 0);
    EXPECT_TRUE(scribble.getRectBound().isNull());
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 0, 0}));
    EXPECT_TRUE(scribble.equals(&other));
    EXPECT_TRUE(scribble.equals(&scribble));
    EXPECT_FALSE(scribble.equals(nullptr));
    EXPECT_FALSE(scribble.getReserved());
    EXPECT_EQ(CScribble::ms_maxPointsPerLine, 4294967295u);
}

TEST(CScribble, CacheRules)
{
    CScribble scribble;
    scribble.addStroke(kFirst);
    scribble.addStroke(kSecond);
    // Adding a copy does not invalidate: the bound of the new scribble stays.
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 0, 0}));
    // Reading a stroke leaves the cache alone...
    const CScribble &constant = scribble;
    EXPECT_TRUE(constant.getStrokeAt(1).equals(&kSecond));
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 0, 0}));
    // ...taking it for change does not.
    scribble.getStrokeAt(1);
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 30, 40}));

    scribble.addStroke(kFar);
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 30, 40}));
    scribble.addStroke(0L);
    scribble.addStroke(-1L);
    EXPECT_EQ(scribble.getStrokeNum(), 3);
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 30, 40}));
    // A copy takes the stale bound and the flag with it.
    const CScribble copy(scribble);
    EXPECT_EQ(edges(copy.getRectBound()), (std::vector<int>{0, 0, 30, 40}));

    CScribble moved = scribble;
    moved.move(QSize(1, 2));
    EXPECT_EQ(edges(moved.getRectBound()), (std::vector<int>{1, 2, 121, 132}));

    scribble.merge(CScribble());
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 120, 130}));
}

TEST(CScribble, EmptyStrokesPullTheBoundToTheOrigin)
{
    CScribble scribble;
    scribble.addStroke(1L);
    scribble.addStroke(kFar);
    EXPECT_EQ(scribble.getStrokeNum(), 2);
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{0, 0, 120, 130}));

    CScribble negative;
    negative.addStroke(strokeOf({QPoint(-50, -40), QPoint(-20, -10)}));
    negative.addStroke(1L);
    EXPECT_EQ(edges(negative.getRectBound()), (std::vector<int>{-50, -40, 0, 0}));
}

TEST(CScribble, RemoveMergeAndExtractRanges)
{
    CScribble three;
    three.addStroke(kFirst);
    three.addStroke(kSecond);
    three.addStroke(kFar);

    CScribble removed = three;
    removed.removeStroke(1, 1); // exactly the second
    ASSERT_EQ(removed.getStrokeNum(), 2);
    EXPECT_TRUE(removed.getStrokeAt(0).equals(&kFirst));
    EXPECT_TRUE(removed.getStrokeAt(1).equals(&kFar));
    removed.removeStroke(1, 5); // beyond the end: nothing
    removed.removeStroke(1, 0);
    EXPECT_EQ(removed.getStrokeNum(), 2);

    struct Case
    {
        long first, last;
        std::vector<const CStroke *> expected;
    };
    const Case cases[] = {
        {1, 0, {&kFirst, &kSecond, &kFar}},
        {0, 3, {&kFirst, &kSecond, &kFar}}, // last == count
        {-1, 1, {&kFirst, &kSecond, &kFar}},
        {0, 2, {&kFirst, &kSecond, &kFar}},
        {1, 2, {&kSecond, &kFar}},
        {0, 1, {&kFirst, &kSecond}},
        {1, 1, {&kSecond}},
    };
    for (const Case &c : cases) {
        CScribble s = three;
        s.extract(c.first, c.last);
        ASSERT_EQ(s.getStrokeNum(), static_cast<long>(c.expected.size())) << c.first << ".." << c.last;
        for (std::size_t i = 0; i < c.expected.size(); ++i)
            EXPECT_TRUE(s.getStrokeAt(static_cast<long>(i)).equals(c.expected[i])) << c.first << ".." << c.last;
    }

    CScribble merged = three;
    merged.merge(merged); // into itself: each stroke once more
    ASSERT_EQ(merged.getStrokeNum(), 6);
    EXPECT_TRUE(merged.getStrokeAt(5).equals(&kFar));
    EXPECT_FALSE(merged.equals(&three));
    EXPECT_TRUE(three.equals(&three));
    CScribble differentLast = three;
    differentLast.getStrokeAt(2).move(QSize(1, 0));
    EXPECT_FALSE(differentLast.equals(&three));
}

TEST(CScribble, ShiftPointsRecomputesTheBoundAtOnce)
{
    CScribble scribble = twoStrokes();
    scribble.shiftPoints(5);
    const CScribble &view = scribble; // reading for change would invalidate
    EXPECT_EQ(pointsOf(view.getStrokeAt(0)), (std::vector<QPoint>{QPoint(5, 5), QPoint(15, 15)}));
    // The bound was made by the shift itself: a copy added afterwards is not in it.
    scribble.addStroke(kFar);
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{5, 5, 35, 45}));
}

TEST(CScribble, SetPosScalesStrokesAboutTheirOwnCentres)
{
    // Scribble centre (15, 20); stroke centres (5, 5) and (25, 22).
    CScribble scribble = twoStrokes();
    scribble.setPos(QPoint(0, 0), 2.0, 0.5);
    // First stroke: new centre (-20, trunc(-7.5) = -7); its points about (5, 5).
    EXPECT_EQ(pointsOf(scribble.getStrokeAt(0)), (std::vector<QPoint>{QPoint(-30, -9), QPoint(-10, -5)}));
    // Second stroke: new centre (20, 1).
    EXPECT_EQ(pointsOf(scribble.getStrokeAt(1)), (std::vector<QPoint>{QPoint(10, -7), QPoint(30, 10)}));
    EXPECT_EQ(edges(scribble.getRectBound()), (std::vector<int>{-30, -9, 30, 10}));
}

TEST(CScribble, SetPosToATargetTakesItAsTheBound)
{
    const CNRect targets[] = {CNRect(100, 100, 60, 20), CNRect(0, 0, 31, 41), CNRect(-7, 3, 1, 1),
                              CNRect(5, 5, 333, 777)};
    for (const CNRect &target : targets) {
        CScribble scribble = twoStrokes();
        scribble.setPos(target);
        EXPECT_EQ(scribble.getRectBound(), target) << target.left() << "," << target.top();
        EXPECT_EQ(edges(scribble.getRectBound()), edges(target));
    }
    // Within 1 %: only moved.
    CScribble scribble = twoStrokes();
    scribble.setPos(CNRect(100, 200, 30, 40));
    EXPECT_EQ(pointsOf(scribble.getStrokeAt(0)), (std::vector<QPoint>{QPoint(100, 200), QPoint(110, 210)}));
}

TEST(CScribble, RecordRoundTripMatchesTheFormat)
{
    CScribble scribble;
    scribble.addStroke(strokeOf({QPoint(1, 2)}));
    scribble.addStroke(CStroke());
    scribble.addStroke(strokeOf({QPoint(-1, 3), QPoint(4, 5)}));
    std::ostringstream out;
    scribble.writeTo(out);
    const std::string expected = bytes({3, 0, 0, 0,                                          // strokes
                                        1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0,                  // one point
                                        0, 0, 0, 0,                                          // empty
                                        2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0});
    EXPECT_EQ(out.str(), expected);

    std::istringstream in(out.str());
    CScribble read = twoStrokes(); // its strokes are replaced
    read.readFrom(in);
    EXPECT_TRUE(in.good());
    EXPECT_TRUE(read.equals(&scribble));
    EXPECT_EQ(edges(read.getRectBound()), (std::vector<int>{-1, 0, 4, 5})); // the empty stroke joins in

    // The bound is computed by the read itself.
    read.addStroke(kFar);
    EXPECT_EQ(edges(read.getRectBound()), (std::vector<int>{-1, 0, 4, 5}));
}

TEST(CScribble, CorruptCountsReadOnlyWhatIsThere)
{
    const std::string strokeA = bytes({1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0});
    const std::string strokeB = bytes({0, 0, 0, 0});
    const std::string cutStroke = bytes({2, 0, 0, 0, 7, 0, 0, 0, 8, 0, 0, 0, 9});
    struct Case
    {
        const char *name;
        std::string record;
        std::vector<long> pointCounts;
        bool failed;
    };
    const Case cases[] = {
        {"huge count", bytes({0xFF, 0xFF, 0xFF, 0x7F}) + strokeA + strokeB, {1, 0}, true},
        {"one stroke missing", bytes({3, 0, 0, 0}) + strokeA + strokeB, {1, 0}, true},
        {"a stroke cut short", bytes({3, 0, 0, 0}) + strokeA + strokeB + cutStroke, {1, 0, 1}, true},
        {"negative count", bytes({0x00, 0x00, 0x00, 0x80}) + strokeA, {}, false},
        {"exact", bytes({2, 0, 0, 0}) + strokeA + strokeB, {1, 0}, false},
        {"nothing", std::string(), {}, true},
    };
    for (const Case &c : cases) {
        std::istringstream in(c.record);
        CScribble scribble = twoStrokes();
        scribble.readFrom(in);
        std::vector<long> counts;
        for (long i = 0; i < scribble.getStrokeNum(); ++i)
            counts.push_back(scribble.getStrokeAt(i).getPointNum());
        EXPECT_EQ(counts, c.pointCounts) << c.name;
        EXPECT_EQ(in.fail(), c.failed) << c.name;
    }

    // A record claiming two billion empty strokes, of which 200,000 are there.
    std::string many = bytes({0xFF, 0xFF, 0xFF, 0x7F});
    many.append(std::size_t(4) * 200000, '\0');
    std::istringstream in(many);
    CScribble scribble;
    scribble.readFrom(in);
    EXPECT_EQ(scribble.getStrokeNum(), 200000);
    EXPECT_TRUE(in.fail());
}

TEST(CScribble, RealInkSurvivesTheRecordAndKeepsItsBounds)
{
    REQUIRE_SHARED();
    QFile file(testsupport::sharedPath(QStringLiteral("ink/mmg.jsonl")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    int scribbles = 0;
    while (!file.atEnd() && scribbles < 300) {
        const QJsonObject object = QJsonDocument::fromJson(file.readLine()).object();
        CScribble scribble;
        int minX = INT_MAX, minY = INT_MAX, maxX = INT_MIN, maxY = INT_MIN;
        for (const QJsonValue &strokeValue : object.value(QStringLiteral("strokes")).toArray()) {
            CStroke stroke;
            for (const QJsonValue &pointValue : strokeValue.toArray()) {
                const QJsonArray xy = pointValue.toArray();
                const QPoint p(static_cast<int>(xy.at(0).toDouble()), static_cast<int>(xy.at(1).toDouble()));
                stroke.addPoint(p);
                minX = std::min(minX, p.x());
                minY = std::min(minY, p.y());
                maxX = std::max(maxX, p.x());
                maxY = std::max(maxY, p.y());
            }
            scribble.addStroke(stroke);
        }
        ASSERT_GT(scribble.getStrokeNum(), 0);
        ++scribbles;

        std::stringstream record;
        scribble.writeTo(record);
        CScribble read;
        read.readFrom(record);
        ASSERT_TRUE(read.equals(&scribble)) << object.value(QStringLiteral("id")).toString().toStdString();
        EXPECT_EQ(edges(read.getRectBound()), (std::vector<int>{minX, minY, maxX, maxY}));
        EXPECT_EQ(record.peek(), std::char_traits<char>::eof()); // every byte consumed
    }
    EXPECT_EQ(scribbles, 300);
}
