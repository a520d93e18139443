#include <utility/geometry.h>

#include <utility/angle.h>

#include <cmath>

namespace Util {

bool isVirtuallyZero(double x)
{
    return std::fabs(x) < 1e-9;
}

bool isEqual(double a, double b, double eps)
{
    const double tolerance = eps + 2.220446049250313e-16;
    const double scale = std::fabs(a) >= 0.01 ? std::fabs(a) : 1.0;
    return std::fabs(a - b) <= tolerance * scale;
}

double degToRad(double deg)
{
    return CAngle::degToRad(deg);
}

double radToDeg(double rad)
{
    return CAngle::radToDeg(rad);
}

} // namespace Util
