#ifndef UTILITY_STRINGCRC_H
#define UTILITY_STRINGCRC_H

#include <utility/utility_export.h>

#include <QString>

// A 32-bit check value of a string, for keying and comparing strings cheaply.
// It is the reflected CRC-32 (polynomial 0xEDB88320) of the UTF-8 bytes with the
// usual initial value but *without* the final inversion, so it is the complement
// of the common CRC-32 ("123456789" gives 0x340BC6D9). An empty string gives
// 0xFFFFFFFF, while a default-constructed value is 0.
class UTILITY_EXPORT CStringCRC
{
public:
    CStringCRC() = default;
    explicit CStringCRC(unsigned long value);
    explicit CStringCRC(const QString &text);
    CStringCRC(const CStringCRC &other) = default;
    CStringCRC &operator=(const CStringCRC &other) = default;

    unsigned long value() const { return m_value; }
    bool operator==(const CStringCRC &other) const { return m_value == other.m_value; }
    bool operator!=(const CStringCRC &other) const { return m_value != other.m_value; }

private:
    static void getCRC32(unsigned char byte, unsigned long &crc);

    static const quint32 m_lookUp[256];
    // Always a 32-bit value, even where unsigned long is wider.
    quint32 m_value = 0;
};

#endif // UTILITY_STRINGCRC_H
