#ifndef UTILITY_ANGLE_H
#define UTILITY_ANGLE_H

#include <utility/utility_export.h>

#include <istream>

// One angle in radians, kept within [0, 2*pi] (both ends included) after every
// change. The normalisation passes its quotient through single precision, which
// keeps it cheap; a result that rounding pushes out of range, or a NaN, becomes 0.
class UTILITY_EXPORT CAngle
{
public:
    CAngle() = default;
    explicit CAngle(double radians);
    CAngle(const CAngle &other) = default;
    CAngle &operator=(const CAngle &other) = default;

    double getAngle() const { return m_angle; }
    void setAngle(double radians);
    void addAngle(double radians);
    void subAngle(double radians);

    // Equal within a relative margin of one machine epsilon, measured against the
    // value passed in (not against this angle).
    bool approximatelyEqualTo(double radians) const;
    bool approximatelyEqualTo(const CAngle &other) const;

    static double radToDeg(double radians);
    static double degToRad(double degrees);

    // Eight bytes of a double in the suite's binary value format.
    void readFrom(std::istream &in);
    void writeTo(std::ostream &out) const;

protected:
    void normalise();

private:
    double m_angle = 0.0;
};

#endif // UTILITY_ANGLE_H
