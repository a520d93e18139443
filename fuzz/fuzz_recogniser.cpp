// The figure recogniser on point lists decoded from arbitrary bytes, NaN, infinity
// and huge values included. Whatever the input, the result is one of the table's
// codes, and a polygon has 3 to vertexLimit corners without a closing repeat.
#include "harness.h"

#include <utility/figurerecogniser.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Fuzz {

int recogniserStrokes(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const int vertexLimit = 3 + data[0] % 6;
    const bool normalize = (data[1] & 1) != 0;
    const bool wide = (data[1] & 2) != 0; // doubles or small integer coordinates
    CFigureRecogniser::StrokeList strokes;
    QVector<QPointF> stroke;
    std::size_t at = 2;
    while (at < size && strokes.size() < 8) {
        if (data[at] == 0xFF) {     // a stroke break
            strokes.append(stroke);
            stroke.clear();
            ++at;
            continue;
        }
        double x = 0, y = 0;
        if (wide) {
            if (at + 16 > size)
                break;
            std::memcpy(&x, data + at, 8);
            std::memcpy(&y, data + at + 8, 8);
            at += 16;
        } else {
            if (at + 2 > size)
                break;
            x = data[at] * 2.0;
            y = data[at + 1] * 2.0;
            at += 2;
        }
        stroke.append(QPointF(x, y));
        if (stroke.size() > 2000)
            break;
    }
    strokes.append(stroke);

    QRectF rect;
    QVector<QPointF> points;
    CFigureRecogniser::StrokeList connected;
    const int code = CFigureRecogniser::classifyScribble(strokes, rect, points, vertexLimit, normalize, &connected);
    static const int known[] = {0, 101, 102, 103, 114, 115, 203, 204, 205, 206};
    check(std::find(std::begin(known), std::end(known), code) != std::end(known), "a code outside the table");
    if (code == 102) {
        check(points.size() >= 3 && points.size() <= vertexLimit, "a polygon with a wrong corner count");
        check(points.first() != points.last() || points.size() < 2, "a polygon with a closing repeat");
    }
    return 0;
}

} // namespace Fuzz
