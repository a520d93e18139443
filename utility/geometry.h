#ifndef UTILITY_GEOMETRY_H
#define UTILITY_GEOMETRY_H

#include <utility/utility_export.h>

// Plane geometry on floating-point points: the namespace Util.
namespace Util {

// True when |x| < 1e-9 (strictly). NaN gives false.
UTILITY_EXPORT bool isVirtuallyZero(double x);

// Tolerant comparison relative to the magnitude of the *first* argument only:
// |a - b| <= (eps + DBL_EPSILON) * (|a| >= 0.01 ? |a| : 1.0). Not symmetric on
// purpose; callers rely on the argument order. Any NaN gives false.
UTILITY_EXPORT bool isEqual(double a, double b, double eps);

UTILITY_EXPORT double degToRad(double deg);
UTILITY_EXPORT double radToDeg(double rad);

} // namespace Util

#endif // UTILITY_GEOMETRY_H
