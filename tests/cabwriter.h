#ifndef UTILITY_TESTS_CABWRITER_H
#define UTILITY_TESTS_CABWRITER_H

// An uncompressed single-folder cabinet, laid out the way makecab writes one,
// for names, attributes and damage that no sample has. The tests and the fuzz
// seed generator share it.

#include "bytes.h"

#include <QByteArray>

#include <vector>

namespace cabwriter {

struct CabEntry
{
    QByteArray name, data;
    quint16 attribs = 0x20;
    quint16 date = (17 << 9) | (3 << 5) | 12;   // 1997-03-12
    quint16 time = (11 << 11) | (13 << 5) | 26; // 11:13:52
    quint16 folder = 0; // 0xFFFD..0xFFFF: continued from or into other cabinets
};

inline QByteArray makeCabinet(const std::vector<CabEntry> &entries, int corruptBlock = -1, bool hasPrevious = false)
{
    using bytes::put;
    QByteArray payload, files, data;
    for (const CabEntry &e : entries) {
        put(files, quint32(e.data.size()), quint32(payload.size()), e.folder, e.date, e.time, e.attribs);
        files.append(e.name).append('\0');
        payload += e.data;
    }
    const QByteArray setNames = hasPrevious ? QByteArray("prev.cab\0disk 1\0", 16) : QByteArray();
    const int blocks = (payload.size() + 32767) / 32768, dataOffset = 44 + setNames.size() + files.size();
    for (int b = 0; b < blocks; ++b) {
        const QByteArray chunk = payload.mid(b * 32768, 32768);
        // A checksum of 0 means none is stored.
        put(data, quint32(b == corruptBlock ? 0xDEADBEEF : 0), quint16(chunk.size()), quint16(chunk.size()));
        data += chunk;
    }
    QByteArray cab("MSCF");
    put(cab, quint32(0), quint32(dataOffset + data.size()), quint32(0), quint32(44 + setNames.size()), quint32(0),
        quint8(3), quint8(1), quint16(1), quint16(entries.size()), quint16(hasPrevious), quint16(0x1234),
        quint16(hasPrevious));
    cab += setNames;
    put(cab, quint32(dataOffset), quint16(blocks), quint16(0));
    return cab + files + data;
}

} // namespace cabwriter

#endif // UTILITY_TESTS_CABWRITER_H
