// CNRect: exclusive right/bottom, the touching-edge intersection rule, single
// precision scaling and the Qt 4 rules for unnormalised rectangles, which today's
// QRect no longer follows.
#include <utility/nrect.h>

#include <gtest/gtest.h>

namespace {
struct Storage
{
    int left, top, width, height;
};
Storage of(const CNRect &r)
{
    return {r.left(), r.top(), r.width(), r.height()};
}
bool operator==(const Storage &a, const Storage &b)
{
    return a.left == b.left && a.top == b.top && a.width == b.width && a.height == b.height;
}
bool operator!=(const Storage &a, const Storage &b)
{
    return !(a == b);
}
std::ostream &operator<<(std::ostream &os, const Storage &s)
{
    return os << "(" << s.left << "," << s.top << " " << s.width << "x" << s.height << ")";
}
} // namespace

TEST(CNRect, DefaultIsNullAndEmptyWithZeroEdges)
{
    const CNRect r;
    EXPECT_TRUE(r.isNull());
    EXPECT_TRUE(r.isEmpty());
    EXPECT_FALSE(r.isValid());
    EXPECT_EQ(r.width(), 0);
    EXPECT_EQ(r.height(), 0);
    EXPECT_EQ(r.right(), 0);
    EXPECT_EQ(r.bottom(), 0);
}

TEST(CNRect, EdgesAreExclusiveAndConversionsKeepStorage)
{
    CNRect r(0, 0, 1, 1);
    r.setRight(5);
    EXPECT_EQ(r.width(), 5);
    EXPECT_EQ(r.right(), 5);
    const QRect q = CNRect(10, 20, 30, 40);
    EXPECT_EQ(q, QRect(10, 20, 30, 40));
    EXPECT_EQ(CNRect(q).right(), 40);
    EXPECT_EQ(CNRect(QPoint(1, 2), QPoint(4, 6)).size(), QSize(3, 4));
    EXPECT_EQ(CNRect(0, 0, 5, 5).center(), QPoint(2, 2));
    EXPECT_EQ(CNRect(-5, -5, 4, 4).center(), QPoint(-3, -3)); // truncation toward zero
    EXPECT_EQ(of(Inflate(CNRect(10, 10, 5, 6), 2)), (Storage{8, 8, 9, 10}));
    CNRect moved(0, 0, 10, 10);
    moved.moveBottomRight(QPoint(100, 50));
    EXPECT_EQ(of(moved), (Storage{90, 40, 10, 10}));
}

TEST(CNRect, IntersectsCountsTouchingEdges)
{
    struct Case
    {
        CNRect a, b;
        bool expected;
    };
    const Case cases[] = {
        {CNRect(0, 0, 10, 10), CNRect(10, 0, 5, 5), true},    // right() == other's left()
        {CNRect(0, 0, 10, 10), CNRect(11, 0, 5, 5), false},
        {CNRect(0, 0, 10, 10), CNRect(0, 10, 5, 5), true},    // bottom edge
        {CNRect(0, 0, 10, 10), CNRect(2, 2, 3, 3), true},     // inside
        {CNRect(2, 2, 3, 3), CNRect(0, 0, 10, 10), true},     // around
        {CNRect(0, 0, 10, 10), CNRect(10, 3, 0, 4), true},    // zero width on the edge
        {CNRect(), CNRect(-5, -5, 10, 10), true},             // null at the origin
        {CNRect(), CNRect(1, 1, 10, 10), false},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.a.intersects(c.b), c.expected) << of(c.a) << " vs " << of(c.b);
    }
}

TEST(CNRect, UnnormalisedRectanglesFollowQt4Rules)
{
    // Width and height -4: x1 = 10, x2 = 5. Qt 4 swaps the stored edges as they
    // are; Qt 5 and 6 adjust them by one.
    const CNRect flipped(10, 10, -4, -4);
    EXPECT_EQ(of(flipped.normalized()), (Storage{5, 5, 6, 6}));

    EXPECT_TRUE(flipped.contains(QPoint(5, 5)));
    EXPECT_TRUE(flipped.contains(10, 10));
    EXPECT_FALSE(flipped.contains(QPoint(5, 5), true));
    EXPECT_TRUE(flipped.contains(QPoint(7, 7), true));

    EXPECT_EQ(of(flipped | CNRect(0, 0, 1, 1)), (Storage{0, 0, 11, 11}));
    EXPECT_EQ(of(flipped & CNRect(0, 0, 6, 6)), (Storage{5, 5, 1, 1}));
    EXPECT_TRUE(CNRect(0, 0, 20, 20).contains(flipped));
    EXPECT_TRUE(flipped.contains(CNRect(5, 5, 6, 6)));
}

TEST(CNRect, SetOperations)
{
    const CNRect a(0, 0, 10, 10);
    // A null operand is ignored; an empty but not null one is not.
    EXPECT_EQ(of(CNRect() | a), of(a));
    EXPECT_EQ(of(a | CNRect()), of(a));
    const CNRect emptyNotNull(20, 5, 0, 3);
    ASSERT_TRUE(emptyNotNull.isEmpty());
    ASSERT_FALSE(emptyNotNull.isNull());
    EXPECT_EQ(of(a | emptyNotNull), (Storage{0, 0, 20, 10}));
    EXPECT_EQ(of(a & CNRect(5, 5, 10, 10)), (Storage{5, 5, 5, 5}));
    EXPECT_TRUE((a & CNRect(20, 20, 5, 5)).isNull());
    EXPECT_TRUE((a & CNRect()).isNull());
    EXPECT_TRUE(a.contains(CNRect(0, 0, 10, 10)));
    EXPECT_FALSE(a.contains(CNRect(0, 0, 10, 10), true));
    EXPECT_FALSE(a.contains(CNRect()));
}

TEST(CNRect, ScalingIsSinglePrecisionAndTruncates)
{
    struct Case
    {
        int width;
        float factor;
        int expected;
    };
    const Case cases[] = {{5, 0.5f, 2}, {10, 0.7f, 7}, {10, 1.0f, 10}, {3, -1.0f, -3}, {100, 0.333f, 33}};
    for (const Case &c : cases) {
        CNRect r(4, 6, c.width, c.width);
        r.scaleX(c.factor);
        r.scaleY(c.factor);
        EXPECT_EQ(r.width(), c.expected) << c.width << " * " << c.factor;
        EXPECT_EQ(r.height(), c.expected);
        EXPECT_EQ(r.left(), 4);
        EXPECT_EQ(r.top(), 6);
    }
}
