// CScribble: the cache rules (which changes invalidate the bound and which do
// not), fitting, editing ranges and the scribble record.
#include <utility/scribble.h>

#include "inkrecord.h"
#include "inkset.h"
#include "testsupport.h"

#include <utility>

using namespace testsupport;
using Edges = std::vector<int>;
using Points = std::vector<QPoint>;

namespace {

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

TEST(CScribble, CacheRules)
{
    const CScribble empty, other;
    EXPECT_TRUE(empty.getRectBound().isNull() && !empty.getReserved() && empty.equals(&other) && !empty.equals(nullptr));
    CScribble scribble;
    scribble.addStroke(kFirst);
    scribble.addStroke(kSecond);
    // Adding a copy does not invalidate: the bound of the new scribble stays.
    EXPECT_EQ(edges(scribble.getRectBound()), (Edges{0, 0, 0, 0}));
    // Reading a stroke leaves the cache alone...
    EXPECT_TRUE(std::as_const(scribble).getStrokeAt(1).equals(&kSecond) && scribble.getRectBound().isNull());
    // ...taking it for change does not.
    scribble.getStrokeAt(1);
    EXPECT_EQ(edges(scribble.getRectBound()), (Edges{0, 0, 30, 40}));

    scribble.addStroke(kFar);
    scribble.addStroke(0L);
    scribble.addStroke(-1L);
    EXPECT_TRUE(scribble.getStrokeNum() == 3 && edges(scribble.getRectBound()) == (Edges{0, 0, 30, 40}));
    // A copy takes the stale bound and the flag with it.
    EXPECT_EQ(edges(CScribble(scribble).getRectBound()), (Edges{0, 0, 30, 40}));
    CScribble moved = scribble;
    moved.move(QSize(1, 2));
    EXPECT_EQ(edges(moved.getRectBound()), (Edges{1, 2, 121, 132}));

    scribble.merge(CScribble());
    EXPECT_EQ(edges(scribble.getRectBound()), (Edges{0, 0, 120, 130}));

    // Empty strokes pull the bound to the origin.
    CScribble far, negative;
    far.addStroke(1L);
    far.addStroke(kFar);
    EXPECT_TRUE(far.getStrokeNum() == 2 && edges(far.getRectBound()) == (Edges{0, 0, 120, 130}));
    negative.addStroke(strokeOf({QPoint(-50, -40), QPoint(-20, -10)}));
    negative.addStroke(1L);
    EXPECT_EQ(edges(negative.getRectBound()), (Edges{-50, -40, 0, 0}));
}

TEST(CScribble, RemoveMergeAndExtractRanges)
{
    CScribble three = twoStrokes();
    three.addStroke(kFar);

    CScribble removed = three;
    removed.removeStroke(1, 1); // exactly the second
    removed.removeStroke(1, 5); // beyond the end: nothing
    removed.removeStroke(1, 0); // reversed: nothing
    EXPECT_TRUE(removed.getStrokeNum() == 2 && removed.getStrokeAt(0).equals(&kFirst) && removed.getStrokeAt(1).equals(&kFar));

    // Extracting a range that is reversed, reaches the count or starts below 0 keeps everything.
    struct Case { long first, last; std::vector<const CStroke *> expected; } const cases[] = {
        {1, 0, {&kFirst, &kSecond, &kFar}}, {0, 3, {&kFirst, &kSecond, &kFar}}, {-1, 1, {&kFirst, &kSecond, &kFar}},
        {0, 2, {&kFirst, &kSecond, &kFar}}, {1, 2, {&kSecond, &kFar}}, {0, 1, {&kFirst, &kSecond}}, {1, 1, {&kSecond}}};
    for (const Case &c : cases) {
        CScribble s = three;
        s.extract(c.first, c.last);
        ASSERT_EQ(s.getStrokeNum(), long(c.expected.size())) << c.first << ".." << c.last;
        for (std::size_t i = 0; i < c.expected.size(); ++i)
            EXPECT_TRUE(s.getStrokeAt(long(i)).equals(c.expected[i])) << c.first << ".." << c.last;
    }

    CScribble merged = three;
    merged.merge(merged); // into itself: each stroke once more
    EXPECT_TRUE(merged.getStrokeNum() == 6 && merged.getStrokeAt(5).equals(&kFar) && !merged.equals(&three));
}

TEST(CScribble, ShiftAndSetPos)
{
    CScribble scribble = twoStrokes();
    scribble.shiftPoints(5);
    // (Reading for change would invalidate.)
    EXPECT_EQ(pointsOf(std::as_const(scribble).getStrokeAt(0)), (Points{QPoint(5, 5), QPoint(15, 15)}));
    // The bound was made by the shift itself: a copy added afterwards is not in it.
    scribble.addStroke(kFar);
    EXPECT_EQ(edges(scribble.getRectBound()), (Edges{5, 5, 35, 45}));

    // Scaling: scribble centre (15, 20); stroke centres (5, 5) and (25, 22).
    scribble = twoStrokes();
    scribble.setPos(QPoint(0, 0), 2.0, 0.5);
    // First stroke: new centre (-20, trunc(-7.5) = -7); its points about (5, 5).
    EXPECT_EQ(pointsOf(scribble.getStrokeAt(0)), (Points{QPoint(-30, -9), QPoint(-10, -5)}));
    // Second stroke: new centre (20, 1).
    EXPECT_EQ(pointsOf(scribble.getStrokeAt(1)), (Points{QPoint(10, -7), QPoint(30, 10)}));
    EXPECT_EQ(edges(scribble.getRectBound()), (Edges{-30, -9, 30, 10}));

    // A target becomes the bound.
    for (const CNRect &target : {CNRect(100, 100, 60, 20), CNRect(0, 0, 31, 41), CNRect(-7, 3, 1, 1), CNRect(5, 5, 333, 777)}) {
        CScribble fitted = twoStrokes();
        fitted.setPos(target);
        EXPECT_EQ(edges(fitted.getRectBound()), edges(target));
    }
    // Within 1 %: only moved.
    scribble = twoStrokes();
    scribble.setPos(CNRect(100, 200, 30, 40));
    EXPECT_EQ(pointsOf(scribble.getStrokeAt(0)), (Points{QPoint(100, 200), QPoint(110, 210)}));
}

TEST(CScribble, RecordRoundTripMatchesTheFormatAndCorruptCountsReadWhatIsThere)
{
    CScribble scribble;
    scribble.addStroke(strokeOf({QPoint(1, 2)}));
    scribble.addStroke(CStroke());
    scribble.addStroke(strokeOf({QPoint(-1, 3), QPoint(4, 5)}));
    std::ostringstream out;
    scribble.writeTo(out);
    EXPECT_EQ(out.str(), bytes({3, 0, 0, 0,                         // strokes
                                1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, // one point
                                0, 0, 0, 0,                         // empty
                                2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0}));

    std::istringstream in(out.str());
    CScribble read = twoStrokes(); // its strokes are replaced
    read.readFrom(in);
    EXPECT_TRUE(in.good() && read.equals(&scribble));
    // The bound is computed by the read itself; the empty stroke joins in.
    read.addStroke(kFar);
    EXPECT_EQ(edges(read.getRectBound()), (Edges{-1, 0, 4, 5}));

    // Corrupt counts read only what is there.
    const std::string strokeA = bytes({1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}), strokeB = bytes({0, 0, 0, 0});
    struct Case { const char *name; std::string record; std::vector<long> pointCounts; bool failed; } const cases[] = {
        {"huge count", bytes({0xFF, 0xFF, 0xFF, 0x7F}) + strokeA + strokeB, {1, 0}, true},
        {"one stroke missing", bytes({3, 0, 0, 0}) + strokeA + strokeB, {1, 0}, true},
        {"a stroke cut short", bytes({3, 0, 0, 0}) + strokeA + strokeB + bytes({2, 0, 0, 0, 7, 0, 0, 0, 8, 0, 0, 0, 9}),
         {1, 0, 1}, true},
        {"negative count", bytes({0x00, 0x00, 0x00, 0x80}) + strokeA, {}, false},
        {"exact", bytes({2, 0, 0, 0}) + strokeA + strokeB, {1, 0}, false},
        {"nothing", std::string(), {}, true},
        {"two billion claimed, 200,000 there", bytes({0xFF, 0xFF, 0xFF, 0x7F}) + std::string(800000, '\0'),
         std::vector<long>(200000, 0), true},
    };
    for (const Case &c : cases) {
        std::istringstream corrupt(c.record);
        CScribble damaged = twoStrokes();
        damaged.readFrom(corrupt);
        std::vector<long> counts;
        for (long i = 0; i < damaged.getStrokeNum(); ++i)
            counts.push_back(damaged.getStrokeAt(i).getPointNum());
        EXPECT_EQ(counts, c.pointCounts) << c.name;
        EXPECT_EQ(corrupt.fail(), c.failed) << c.name;
    }
}

TEST(CScribble, RealInkSurvivesTheRecordAndKeepsItsBounds)
{
    REQUIRE_SHARED();
    QVector<inkset::Scribble> ink;
    ASSERT_TRUE(inkset::readJsonLines(sharedPath(QStringLiteral("ink/mmg.jsonl")), ink) && ink.size() >= 300);
    for (const inkset::Scribble &drawn : ink.mid(0, 300)) {
        CScribble scribble, read;
        QRect box; // the points' bounding box, with inclusive edges as our bound has
        for (const QVector<QPointF> &points : drawn.strokes) {
            CStroke stroke;
            for (const QPointF &point : points) {
                const QPoint p(int(point.x()), int(point.y()));
                stroke.addPoint(p);
                box |= QRect(p, p);
            }
            scribble.addStroke(stroke);
        }
        std::stringstream record;
        scribble.writeTo(record);
        read.readFrom(record);
        ASSERT_TRUE(read.equals(&scribble)) << drawn.id.toStdString();
        EXPECT_EQ(edges(read.getRectBound()), (Edges{box.left(), box.top(), box.right(), box.bottom()}));
        EXPECT_EQ(record.peek(), std::char_traits<char>::eof()); // every byte consumed
    }
}
