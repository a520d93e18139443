// The binary value reader on arbitrary bytes: every overload in turn, so that a
// corrupt string count or a truncated record is met at every position.
#include "harness.h"

#include <utility/angle.h>
#include <utility/binaryread.h>
#include <utility/nrect.h>

#include <QColor>
#include <QDateTime>
#include <QPointF>
#include <QSize>
#include <QString>

#include <sstream>
#include <string>

namespace Fuzz {

int binaryRecords(const std::uint8_t *data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    // The first byte chooses the sequence of reads; the rest is the record.
    std::istringstream in(bytes);
    unsigned char selector = 0;
    binaryRead(in, selector);
    for (int step = 0; step < 64 && in; ++step) {
        switch ((selector + step) % 12) {
        case 0: { std::string s; binaryRead(in, s); check(s.size() <= size, "string longer than the input"); break; }
        case 1: { QString s; binaryRead(in, s); check(static_cast<std::size_t>(s.size()) <= size, "QString longer than the input"); break; }
        case 2: { QColor c; binaryRead(in, c); break; }
        case 3: { QDateTime t; binaryRead(in, t); break; }
        case 4: { QPointF p; binaryRead(in, p); break; }
        case 5: { CNRect r; binaryRead(in, r); (void)r.normalized(); (void)r.intersects(CNRect(0, 0, 10, 10)); break; }
        case 6: { long v; binaryRead(in, v); break; }
        case 7: { double v; binaryRead(in, v); CAngle a(v); check(a.getAngle() >= 0.0 && a.getAngle() <= 6.283185307179586, "angle out of range"); break; }
        case 8: { QSize s; binaryRead(in, s); break; }
        case 9: { CAngle a; a.readFrom(in); check(a.getAngle() >= 0.0 && a.getAngle() <= 6.283185307179586, "angle out of range"); break; }
        case 10: { long long v; binaryRead(in, v); break; }
        default: { QPoint p; binaryRead(in, p); break; }
        }
    }
    return 0;
}

} // namespace Fuzz
