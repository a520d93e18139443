#ifndef UTILITY_INK_P_H
#define UTILITY_INK_P_H

// Integer arithmetic shared by the stroke and the scribble. Not installed.
//
// Ink coordinates are 32-bit ints that wrap on overflow, as they always did on the
// platforms the format comes from; here that is spelled out, because signed
// overflow and out-of-range float-to-int conversions are undefined in C++ and a
// hostile record must not be able to trigger either.

#include <QtGlobal>

#include <cmath>
#include <cstdint>

namespace Ink {

inline int wrapAdd(int a, int b)
{
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

inline int wrapSub(int a, int b)
{
    return static_cast<int>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

inline int wrapMul(int a, int b)
{
    return static_cast<int>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Truncation toward zero. Values beyond int saturate and NaN gives 0, where a bare
// conversion would be undefined.
inline int truncToInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= 2147483647.0)
        return 2147483647;
    if (value <= -2147483648.0)
        return -2147483647 - 1;
    return static_cast<int>(value);
}

// A factor within 1 % of 1 is taken as exactly 1, so fitting into a nearly equal
// size moves the ink without rounding its shape. Both ends are exclusive.
inline double snapNearOne(double factor)
{
    return factor > 0.99 && factor < 1.01 ? 1.0 : factor;
}

} // namespace Ink

#endif // UTILITY_INK_P_H
