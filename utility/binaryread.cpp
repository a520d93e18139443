#include <utility/binaryread.h>

#include <utility/nrect.h>

#include "trace_p.h"

#include <QColor>
#include <QDateTime>
#include <QPoint>
#include <QPointF>
#include <QSize>
#include <QString>

#include <cstring>
#include <limits>

namespace {

constexpr const char *kName = "binaryRead";

void readByte(std::istream &in, char &byte)
{
    // Only read(…, 1): no sentry tricks, so a failed stream just stays failed.
    in.read(&byte, 1);
}

template<typename To, typename From>
To bitCast(From from)
{
    static_assert(sizeof(To) == sizeof(From), "bit casts keep the width");
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

// How many bytes a seekable stream still holds, or -1 when that cannot be told.
std::streamoff remainingBytes(std::istream &in)
{
    if (!in)
        return -1;
    std::streambuf *buffer = in.rdbuf();
    if (!buffer)
        return -1;
    const std::streampos here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here == std::streampos(std::streamoff(-1)))
        return -1;
    const std::streampos end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
    buffer->pubseekpos(here, std::ios::in);
    if (end == std::streampos(std::streamoff(-1)) || end < here)
        return -1;
    return end - here;
}

// Reads up to `count` bytes without ever allocating more than the stream can
// deliver: a corrupt count must not turn into a gigabyte allocation.
std::string readCountedBytes(std::istream &in, quint32 count)
{
    std::string bytes;
    const std::streamoff remaining = remainingBytes(in);
    if (remaining >= 0) {
        const std::size_t take = std::min<std::size_t>(count, static_cast<std::size_t>(remaining));
        bytes.resize(take);
        if (take > 0)
            in.read(&bytes[0], static_cast<std::streamsize>(take));
        bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
        if (take < count)
            in.setstate(std::ios::eofbit | std::ios::failbit);
        return bytes;
    }
    // Not seekable: grow as bytes arrive.
    constexpr std::size_t chunk = 64 * 1024;
    std::size_t done = 0;
    while (done < count && in) {
        const std::size_t want = std::min<std::size_t>(chunk, count - done);
        bytes.resize(done + want);
        in.read(&bytes[done], static_cast<std::streamsize>(want));
        done += static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0));
    }
    bytes.resize(done);
    return bytes;
}

void writeBytes(std::ostream &out, const void *data, std::size_t size)
{
    out.write(static_cast<const char *>(data), static_cast<std::streamsize>(size));
}

} // namespace

void binaryRead(std::istream &in, signed char &value)
{
    UTILITY_TRACE_ENTER(kName);
    char byte = 0;
    readByte(in, byte);
    value = static_cast<signed char>(byte);
    UTILITY_TRACE_RESULT(kName, static_cast<int>(value));
}

void binaryRead(std::istream &in, unsigned char &value)
{
    UTILITY_TRACE_ENTER(kName);
    char byte = 0;
    readByte(in, byte);
    value = static_cast<unsigned char>(byte);
    UTILITY_TRACE_RESULT(kName, static_cast<unsigned>(value));
}

void binaryRead(std::istream &in, char &value)
{
    UTILITY_TRACE_ENTER(kName);
    char byte = 0;
    readByte(in, byte);
    value = byte;
    UTILITY_TRACE_RESULT(kName, static_cast<int>(value));
}

void binaryRead(std::istream &in, bool &value)
{
    UTILITY_TRACE_ENTER(kName);
    char byte = 0;
    readByte(in, byte);
    value = byte != 0;
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, unsigned short &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned char low = 0, high = 0;
    binaryRead(in, low);
    binaryRead(in, high);
    value = static_cast<unsigned short>(low | (high << 8));
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, short &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned short bits = 0;
    binaryRead(in, bits);
    value = static_cast<short>(bits);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, unsigned int &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned short low = 0, high = 0;
    binaryRead(in, low);
    binaryRead(in, high);
    value = static_cast<unsigned int>(low) | (static_cast<unsigned int>(high) << 16);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, int &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned int bits = 0;
    binaryRead(in, bits);
    value = static_cast<int>(bits);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, unsigned long long &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned int low = 0, high = 0;
    binaryRead(in, low);
    binaryRead(in, high);
    value = static_cast<unsigned long long>(low) | (static_cast<unsigned long long>(high) << 32);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, long long &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned long long bits = 0;
    binaryRead(in, bits);
    value = static_cast<long long>(bits);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, long &value)
{
    UTILITY_TRACE_ENTER(kName);
    // Eight bytes on the wire; the writer's long had 32 bits, so only the low half
    // is meaningful, taken as a signed 32-bit value.
    unsigned long long bits = 0;
    binaryRead(in, bits);
    value = static_cast<long>(static_cast<qint32>(static_cast<quint32>(bits & 0xFFFFFFFFu)));
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, float &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned int bits = 0;
    binaryRead(in, bits);
    value = bitCast<float>(bits);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, double &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned long long bits = 0;
    binaryRead(in, bits);
    value = bitCast<double>(bits);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, std::string &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned int count = 0;
    binaryRead(in, count);
    if (count == 0)
        value.clear();
    else
        value = readCountedBytes(in, count);
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, QString &value)
{
    UTILITY_TRACE_ENTER(kName);
    std::string bytes;
    binaryRead(in, bytes);
    // The format's strings are 8-bit Latin-1; fromStdString would decode UTF-8.
    value = QString::fromLatin1(bytes.data(), static_cast<int>(bytes.size()));
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, QColor &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned char red = 0, green = 0, blue = 0, fourth = 0;
    binaryRead(in, red);
    binaryRead(in, green);
    binaryRead(in, blue);
    binaryRead(in, fourth);
    if (red == 255 && green == 255 && blue == 255 && fourth == 255)
        value.setRgb(255, 255, 255, 0);
    else
        value.setRgb(red, green, blue, 255);
    UTILITY_TRACE_EXIT(kName);
}

void binaryRead(std::istream &in, QDateTime &value)
{
    UTILITY_TRACE_ENTER(kName);
    unsigned short year = 0, month = 0, dayOfWeek = 0, day = 0;
    unsigned short hour = 0, minute = 0, second = 0, millisecond = 0;
    binaryRead(in, year);
    binaryRead(in, month);
    binaryRead(in, dayOfWeek);
    binaryRead(in, day);
    binaryRead(in, hour);
    binaryRead(in, minute);
    binaryRead(in, second);
    binaryRead(in, millisecond);
    value.setDate(QDate(year, month, day));
    value.setTime(QTime(hour, minute, second, millisecond));
    UTILITY_TRACE_RESULT(kName, value);
}

void binaryRead(std::istream &in, QPoint &value)
{
    UTILITY_TRACE_ENTER(kName);
    int x = 0, y = 0;
    binaryRead(in, x);
    binaryRead(in, y);
    value = QPoint(x, y);
    UTILITY_TRACE_EXIT(kName);
}

void binaryRead(std::istream &in, QPointF &value)
{
    UTILITY_TRACE_ENTER(kName);
    float x = 0, y = 0;
    binaryRead(in, x);
    binaryRead(in, y);
    value = QPointF(static_cast<double>(x), static_cast<double>(y));
    UTILITY_TRACE_EXIT(kName);
}

void binaryRead(std::istream &in, QSize &value)
{
    UTILITY_TRACE_ENTER(kName);
    int width = 0, height = 0;
    binaryRead(in, width);
    binaryRead(in, height);
    value = QSize(width, height);
    UTILITY_TRACE_EXIT(kName);
}

void binaryRead(std::istream &in, CNRect &value)
{
    UTILITY_TRACE_ENTER(kName);
    int left = 0, top = 0, right = 0, bottom = 0;
    binaryRead(in, left);
    binaryRead(in, top);
    binaryRead(in, right);
    binaryRead(in, bottom);
    value.setLeft(left);
    value.setTop(top);
    value.setRight(right);
    value.setBottom(bottom);
    UTILITY_TRACE_EXIT(kName);
}

// ---- writers ---------------------------------------------------------------

void binaryWrite(std::ostream &out, unsigned char value)
{
    writeBytes(out, &value, 1);
}

void binaryWrite(std::ostream &out, signed char value)
{
    binaryWrite(out, static_cast<unsigned char>(value));
}

void binaryWrite(std::ostream &out, char value)
{
    binaryWrite(out, static_cast<unsigned char>(value));
}

void binaryWrite(std::ostream &out, bool value)
{
    binaryWrite(out, static_cast<unsigned char>(value ? 1 : 0));
}

void binaryWrite(std::ostream &out, unsigned short value)
{
    binaryWrite(out, static_cast<unsigned char>(value & 0xFF));
    binaryWrite(out, static_cast<unsigned char>(value >> 8));
}

void binaryWrite(std::ostream &out, short value)
{
    binaryWrite(out, static_cast<unsigned short>(value));
}

void binaryWrite(std::ostream &out, unsigned int value)
{
    binaryWrite(out, static_cast<unsigned short>(value & 0xFFFF));
    binaryWrite(out, static_cast<unsigned short>(value >> 16));
}

void binaryWrite(std::ostream &out, int value)
{
    binaryWrite(out, static_cast<unsigned int>(value));
}

void binaryWrite(std::ostream &out, unsigned long long value)
{
    binaryWrite(out, static_cast<unsigned int>(value & 0xFFFFFFFFu));
    binaryWrite(out, static_cast<unsigned int>(value >> 32));
}

void binaryWrite(std::ostream &out, long long value)
{
    binaryWrite(out, static_cast<unsigned long long>(value));
}

void binaryWrite(std::ostream &out, long value)
{
    // The 32-bit value, sign-extended to the eight bytes the format reserves.
    binaryWrite(out, static_cast<long long>(static_cast<qint32>(value)));
}

void binaryWrite(std::ostream &out, float value)
{
    binaryWrite(out, bitCast<unsigned int>(value));
}

void binaryWrite(std::ostream &out, double value)
{
    binaryWrite(out, bitCast<unsigned long long>(value));
}

void binaryWrite(std::ostream &out, const std::string &value)
{
    if (value.size() > std::numeric_limits<unsigned int>::max()) {
        out.setstate(std::ios::failbit);
        return;
    }
    binaryWrite(out, static_cast<unsigned int>(value.size()));
    writeBytes(out, value.data(), value.size());
}

void binaryWrite(std::ostream &out, const QString &value)
{
    binaryWrite(out, value.toLatin1().toStdString());
}

void binaryWrite(std::ostream &out, const QColor &value)
{
    const bool noColour = value.alpha() == 0 && value.red() == 255 && value.green() == 255 && value.blue() == 255;
    binaryWrite(out, static_cast<unsigned char>(value.red()));
    binaryWrite(out, static_cast<unsigned char>(value.green()));
    binaryWrite(out, static_cast<unsigned char>(value.blue()));
    binaryWrite(out, static_cast<unsigned char>(noColour ? 255 : 0));
}

void binaryWrite(std::ostream &out, const QDateTime &value)
{
    const QDate date = value.date();
    const QTime time = value.time();
    binaryWrite(out, static_cast<unsigned short>(date.year()));
    binaryWrite(out, static_cast<unsigned short>(date.month()));
    binaryWrite(out, static_cast<unsigned short>(date.isValid() ? date.dayOfWeek() % 7 : 0));
    binaryWrite(out, static_cast<unsigned short>(date.day()));
    binaryWrite(out, static_cast<unsigned short>(time.hour()));
    binaryWrite(out, static_cast<unsigned short>(time.minute()));
    binaryWrite(out, static_cast<unsigned short>(time.second()));
    binaryWrite(out, static_cast<unsigned short>(time.msec()));
}

void binaryWrite(std::ostream &out, const QPoint &value)
{
    binaryWrite(out, value.x());
    binaryWrite(out, value.y());
}

void binaryWrite(std::ostream &out, const QPointF &value)
{
    binaryWrite(out, static_cast<float>(value.x()));
    binaryWrite(out, static_cast<float>(value.y()));
}

void binaryWrite(std::ostream &out, const QSize &value)
{
    binaryWrite(out, value.width());
    binaryWrite(out, value.height());
}

void binaryWrite(std::ostream &out, const CNRect &value)
{
    binaryWrite(out, value.left());
    binaryWrite(out, value.top());
    binaryWrite(out, value.right());
    binaryWrite(out, value.bottom());
}
