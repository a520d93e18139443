#ifndef UTILITY_TESTS_INKRECORD_H
#define UTILITY_TESTS_INKRECORD_H

// Small builders shared by the stroke and scribble tests: strokes from points,
// their points and bound edges back, and raw record bytes.

#include <utility/stroke.h>

#include <initializer_list>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace testsupport {

inline CStroke strokeOf(std::initializer_list<QPoint> points)
{
    CStroke stroke;
    for (const QPoint &p : points)
        stroke.addPoint(p);
    return stroke;
}

inline std::vector<QPoint> pointsOf(const CStroke &stroke)
{
    std::vector<QPoint> points;
    for (long i = 0; i < stroke.getPointNum(); ++i)
        points.push_back(stroke.getPointAt(i));
    return points;
}

// left, top, right, bottom as the exclusive edges.
inline std::vector<int> edges(const CNRect &r) { return {r.left(), r.top(), r.right(), r.bottom()}; }

inline std::string bytes(std::initializer_list<int> values) { return std::string(values.begin(), values.end()); }

// A stream buffer that cannot seek or tell how much it holds, like a pipe.
class PipeBuffer : public std::streambuf
{
public:
    explicit PipeBuffer(std::string data) : m_data(std::move(data)) { setg(&m_data[0], &m_data[0], &m_data[0] + m_data.size()); }

private:
    std::string m_data;
};

} // namespace testsupport

#endif // UTILITY_TESTS_INKRECORD_H
