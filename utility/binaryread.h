#ifndef UTILITY_BINARYREAD_H
#define UTILITY_BINARYREAD_H

#include <utility/utility_export.h>

#include <istream>
#include <ostream>
#include <string>

class CNRect;
class QColor;
class QDateTime;
class QPoint;
class QPointF;
class QSize;
class QString;

// The suite's binary value format: little-endian values one after another, with no
// header, tags or padding. Strokes, scribbles, angles and rectangles are persisted
// in it. Wider values are composed from narrower reads (low half first).
//
// The readers never throw on their own account and never check the stream first:
// a read past the end sets the stream's fail state and leaves an unspecified value,
// and callers look at the stream to detect a truncated record. Unlike the original
// format reader, a string whose byte count exceeds what the stream still holds
// never allocates that count: the bytes present are read and the stream fails.
//
// Format notes that surprise people:
//  - `long` takes eight bytes on every platform and keeps the low 32 bits as a
//    signed value (FF FF FF FF 00 00 00 00 reads as -1).
//  - QPointF is two *floats* on the wire.
//  - QColor is red, green, blue and a fourth byte that only matters when all four
//    are 255: that is the mark for "no colour" (transparent white).
//  - QString bytes are Latin-1.
//  - QDateTime is a Windows SYSTEMTIME: year, month, day of week (ignored), day,
//    hour, minute, second, millisecond as 16-bit values.
//  - CNRect is left, top, right, bottom with exclusive right and bottom.

UTILITY_EXPORT void binaryRead(std::istream &in, signed char &value);
UTILITY_EXPORT void binaryRead(std::istream &in, unsigned char &value);
UTILITY_EXPORT void binaryRead(std::istream &in, char &value);
UTILITY_EXPORT void binaryRead(std::istream &in, bool &value);
UTILITY_EXPORT void binaryRead(std::istream &in, short &value);
UTILITY_EXPORT void binaryRead(std::istream &in, unsigned short &value);
UTILITY_EXPORT void binaryRead(std::istream &in, int &value);
UTILITY_EXPORT void binaryRead(std::istream &in, unsigned int &value);
UTILITY_EXPORT void binaryRead(std::istream &in, long &value);
UTILITY_EXPORT void binaryRead(std::istream &in, long long &value);
UTILITY_EXPORT void binaryRead(std::istream &in, unsigned long long &value);
UTILITY_EXPORT void binaryRead(std::istream &in, float &value);
UTILITY_EXPORT void binaryRead(std::istream &in, double &value);
UTILITY_EXPORT void binaryRead(std::istream &in, std::string &value);
UTILITY_EXPORT void binaryRead(std::istream &in, QString &value);
UTILITY_EXPORT void binaryRead(std::istream &in, QColor &value);
UTILITY_EXPORT void binaryRead(std::istream &in, QDateTime &value);
UTILITY_EXPORT void binaryRead(std::istream &in, QPoint &value);
UTILITY_EXPORT void binaryRead(std::istream &in, QPointF &value);
UTILITY_EXPORT void binaryRead(std::istream &in, QSize &value);
UTILITY_EXPORT void binaryRead(std::istream &in, CNRect &value);

// Writers producing exactly the bytes the readers above consume. A string longer
// than 2^32 - 1 bytes cannot be written: the stream's fail state is set instead.
UTILITY_EXPORT void binaryWrite(std::ostream &out, signed char value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, unsigned char value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, char value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, bool value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, short value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, unsigned short value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, int value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, unsigned int value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, long value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, long long value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, unsigned long long value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, float value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, double value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const std::string &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const QString &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const QColor &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const QDateTime &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const QPoint &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const QPointF &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const QSize &value);
UTILITY_EXPORT void binaryWrite(std::ostream &out, const CNRect &value);

// Writing a string literal must not silently pick the bool overload.
void binaryWrite(std::ostream &out, const char *value) = delete;

#endif // UTILITY_BINARYREAD_H
