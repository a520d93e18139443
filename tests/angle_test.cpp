// CAngle: the inclusive [0, 2*pi] range, single precision turns, NaN handling and
// the asymmetric equality test.
#include <utility/angle.h>
#include <utility/binaryread.h>
#include <utility/geometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace {
constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
} // namespace

TEST(CAngle, NormalisesIntoTheInclusiveRange)
{
    struct Case
    {
        double in;
        double expected;
    };
    const Case cases[] = {
        {-kPi / 2, 3 * kPi / 2}, {-kTwoPi, 0.0}, {3 * kPi, kPi}, {kTwoPi, kTwoPi}, {4 * kPi, kTwoPi},
        {0.0, 0.0}, {std::numeric_limits<double>::quiet_NaN(), 0.0},
        {std::numeric_limits<double>::infinity(), 0.0}, {-std::numeric_limits<double>::infinity(), 0.0},
    };
    for (const Case &c : cases)
        EXPECT_NEAR(CAngle(c.in).getAngle(), c.expected, 1e-12) << c.in;
    const double large = CAngle(1e9).getAngle();
    EXPECT_GE(large, 0.0);
    EXPECT_LE(large, kTwoPi);
}

TEST(CAngle, ChangesNormaliseAndCompareRelativeToTheArgument)
{
    CAngle a(1.0);
    a.addAngle(kTwoPi);
    EXPECT_NEAR(a.getAngle(), 1.0, 1e-12);
    a.subAngle(2.0);
    EXPECT_NEAR(a.getAngle(), kTwoPi - 1.0, 1e-12);
    a.setAngle(-0.5);
    EXPECT_NEAR(a.getAngle(), kTwoPi - 0.5, 1e-12);
    EXPECT_TRUE(a.approximatelyEqualTo(a));
    EXPECT_FALSE(a.approximatelyEqualTo(a.getAngle() + 1e-9));
    EXPECT_TRUE(CAngle(0.001).approximatelyEqualTo(0.001 + 1e-16)); // absolute band below 0.01
    EXPECT_DOUBLE_EQ(CAngle::radToDeg(kPi), 180.0);
    EXPECT_EQ(Util::degToRad(180.0), CAngle::degToRad(180.0));
}

TEST(CAngle, ReadsAnEightByteDouble)
{
    std::ostringstream out;
    binaryWrite(out, -1.0);
    std::istringstream in(out.str());
    CAngle a;
    a.readFrom(in);
    EXPECT_DOUBLE_EQ(a.getAngle(), kTwoPi - 1.0);
    std::ostringstream again;
    a.writeTo(again);
    EXPECT_EQ(again.str().size(), 8u);
}

TEST(UtilIsEqual, IsRelativeToTheFirstArgumentOnly)
{
    EXPECT_TRUE(Util::isEqual(90.0, 98.1, 0.09));
    EXPECT_FALSE(Util::isEqual(90.0, 98.2, 0.09));
    EXPECT_TRUE(Util::isEqual(0.005, 0.095, 0.09));   // absolute band below 0.01
    EXPECT_FALSE(Util::isEqual(0.005, 0.096, 0.09));
    EXPECT_TRUE(Util::isEqual(100.0, 109.0, 0.09));
    EXPECT_FALSE(Util::isEqual(109.0 * 0.0 + 1.0, 100.0, 0.09)); // order matters
    EXPECT_TRUE(Util::isEqual(110.0, 100.1, 0.09));
    EXPECT_FALSE(Util::isEqual(100.1, 110.0, 0.09));
    EXPECT_FALSE(Util::isEqual(std::nan(""), 1.0, 1.0));
    EXPECT_TRUE(Util::isVirtuallyZero(9.99e-10));
    EXPECT_FALSE(Util::isVirtuallyZero(1e-9));
}
