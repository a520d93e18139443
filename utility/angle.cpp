#include <utility/angle.h>

#include <utility/binaryread.h>
#include <utility/geometry.h>

#include "trace_p.h"

#include <cmath>

namespace {
// 2*pi; the upper end of the range is inclusive.
constexpr double kFullTurn = 6.283185307179586;
} // namespace

CAngle::CAngle(double radians)
    : m_angle(radians)
{
    normalise();
}

void CAngle::setAngle(double radians)
{
    UTILITY_TRACE_ENTER("CAngle::setAngle");
    m_angle = radians;
    normalise();
    UTILITY_TRACE_EXIT("CAngle::setAngle");
}

void CAngle::addAngle(double radians)
{
    UTILITY_TRACE_ENTER("CAngle::addAngle");
    m_angle += radians;
    normalise();
    UTILITY_TRACE_EXIT("CAngle::addAngle");
}

void CAngle::subAngle(double radians)
{
    UTILITY_TRACE_ENTER("CAngle::subAngle");
    m_angle -= radians;
    normalise();
    UTILITY_TRACE_EXIT("CAngle::subAngle");
}

bool CAngle::approximatelyEqualTo(double radians) const
{
    return Util::isEqual(radians, m_angle, 0.0);
}

bool CAngle::approximatelyEqualTo(const CAngle &other) const
{
    return Util::isEqual(other.m_angle, m_angle, 0.0);
}

double CAngle::radToDeg(double radians)
{
    return radians * 57.29577951308232;
}

double CAngle::degToRad(double degrees)
{
    return degrees * 0.017453292519943295;
}

void CAngle::readFrom(std::istream &in)
{
    UTILITY_TRACE_ENTER("CAngle::readFrom");
    binaryRead(in, m_angle);
    normalise();
    UTILITY_TRACE_EXIT("CAngle::readFrom");
}

void CAngle::writeTo(std::ostream &out) const
{
    binaryWrite(out, m_angle);
}

void CAngle::normalise()
{
    UTILITY_TRACE_ENTER("CAngle::normalise");
    if (m_angle < 0.0) {
        const float quotient = static_cast<float>(std::fabs(m_angle) / kFullTurn);
        const float turns = static_cast<float>(std::ceil(quotient));
        m_angle = m_angle + static_cast<double>(turns) * kFullTurn;
    } else if (m_angle > kFullTurn) {
        const float quotient = static_cast<float>((m_angle - kFullTurn) / kFullTurn);
        const float turns = static_cast<float>(std::ceil(quotient));
        m_angle = m_angle - static_cast<double>(turns) * kFullTurn;
    }
    // Single-precision rounding can overshoot; so can infinities. Both end at 0.
    if (m_angle > kFullTurn || m_angle < 0.0 || std::isnan(m_angle))
        m_angle = 0.0;
    UTILITY_TRACE_EXIT("CAngle::normalise");
}
