#ifndef UTILITY_TESTS_BYTES_H
#define UTILITY_TESTS_BYTES_H

// Writing binary records by hand, for archive headers that no honest tool
// writes.

#include <QByteArray>
#include <QtEndian>

namespace bytes {

// Appends each value little-endian, in its own width.
template<typename... T>
void put(QByteArray &out, T... values)
{
    const auto one = [&out](auto value) {
        char raw[sizeof value];
        qToLittleEndian(value, raw);
        out.append(raw, int(sizeof value));
    };
    (one(values), ...);
}

} // namespace bytes

#endif // UTILITY_TESTS_BYTES_H
