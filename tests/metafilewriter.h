#ifndef UTILITY_TESTS_METAFILEWRITER_H
#define UTILITY_TESTS_METAFILEWRITER_H

// Writes small enhanced and Windows metafiles (and PNG headers) for the imaging
// tests, record by record, so that sizes, colours and corruptions are known exactly.

#include <QByteArray>
#include <QFile>
#include <QRect>
#include <QString>
#include <QtEndian>

#include <cstdint>
#include <initializer_list>

#include <zlib.h>

namespace testsupport {

class ByteWriter
{
public:
    ByteWriter &u8(quint8 v) { m_bytes.append(char(v)); return *this; }
    ByteWriter &u16(quint16 v) { char b[2]; qToLittleEndian(v, b); m_bytes.append(b, 2); return *this; }
    ByteWriter &i16(qint16 v) { return u16(quint16(v)); }
    ByteWriter &u32(quint32 v) { char b[4]; qToLittleEndian(v, b); m_bytes.append(b, 4); return *this; }
    ByteWriter &i32(qint32 v) { return u32(quint32(v)); }
    ByteWriter &bytes(const QByteArray &b) { m_bytes.append(b); return *this; }
    const QByteArray &data() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

// An RGB colour as GDI stores it: red, green, blue, 0.
inline quint32 colorRef(quint8 r, quint8 g, quint8 b)
{
    return quint32(r) | quint32(g) << 8 | quint32(b) << 16;
}

class EmfWriter
{
public:
    // frame in 0.01 mm; the reference device has 4 pixels per millimetre.
    EmfWriter(qint32 left, qint32 top, qint32 right, qint32 bottom)
        : m_frame{left, top, right, bottom}
    {
    }

    void record(quint32 type, const QByteArray &payload)
    {
        const QByteArray padded = payload + QByteArray(-payload.size() & 3, '\0'); // to whole 32-bit words
        m_records.u32(type).u32(quint32(8 + padded.size())).bytes(padded);
        ++m_count;
    }
    // A rectangle (device pixels) filled in the colour given, without a pen: a
    // solid brush and a null pen are made (EMR_CREATEBRUSHINDIRECT, EMR_CREATEPEN)
    // and selected (EMR_SELECTOBJECT), then EMR_RECTANGLE.
    void solidRectangle(qint32 l, qint32 t, qint32 r, qint32 b, quint32 colour)
    {
        record(39, ByteWriter().u32(1).u32(0).u32(colour).u32(0).data());
        record(37, ByteWriter().u32(1).data());
        record(38, ByteWriter().u32(2).u32(5).i32(0).i32(0).u32(0).data());
        record(37, ByteWriter().u32(2).data());
        record(43, ByteWriter().i32(l).i32(t).i32(r).i32(b).data());
    }
    // An EMR_COMMENT with an EMF+ header record (as GDI+ writes first).
    void emfPlusHeader()
    {
        ByteWriter plus;
        plus.u32(0x2B464D45); // "EMF+"
        plus.u16(0x4001).u16(1).u32(28).u32(16).u32(0xDBC01002).u32(0).u32(96).u32(96);
        record(70, ByteWriter().u32(quint32(plus.data().size())).bytes(plus.data()).data());
    }

    // The whole file: header, the records, end of file.
    QByteArray bytes() const
    {
        ByteWriter body;
        body.bytes(m_records.data());
        body.u32(14).u32(20).u32(0).u32(16).u32(20); // EMR_EOF
        const auto px = [this](int i) { // the frame in device pixels
            return qint32(qBound(qint64(INT32_MIN), qint64(m_frame[i]) * 4 / 100, qint64(INT32_MAX)));
        };
        ByteWriter header;
        header.u32(1).u32(108);
        header.i32(px(0)).i32(px(1)).i32(px(2)).i32(px(3));                       // bounds
        header.i32(m_frame[0]).i32(m_frame[1]).i32(m_frame[2]).i32(m_frame[3]); // frame
        header.u32(0x464D4520).u32(0x10000);
        header.u32(quint32(108 + body.data().size())).u32(quint32(m_count + 2));
        header.u16(4).u16(0).u32(0).u32(0).u32(0); // handles
        header.i32(1000).i32(1000);   // device pixels
        header.i32(250).i32(250);     // device millimetres
        header.u32(0).u32(0).u32(0);  // pixel format, OpenGL
        header.i32(250000).i32(250000);
        return header.data() + body.data();
    }

private:
    qint32 m_frame[4];
    ByteWriter m_records;
    int m_count = 0;
};

class WmfWriter
{
public:
    void record(quint16 function, const QByteArray &params)
    {
        const QByteArray padded = params + QByteArray(params.size() & 1, '\0'); // to whole 16-bit words
        const quint32 words = quint32(3 + padded.size() / 2);
        m_records.u32(words).u16(function).bytes(padded);
        m_largest = qMax(m_largest, words);
    }
    void words(quint16 function, std::initializer_list<qint16> values)
    {
        ByteWriter params;
        for (qint16 v : values)
            params.i16(v);
        record(function, params.data());
    }
    void select(qint16 index) { words(0x012D, {index}); }
    void font(qint16 height, const QByteArray &face, quint8 charset = 0, bool underline = false)
    {
        ByteWriter f;
        f.i16(height).i16(0).i16(0).i16(0).i16(400).u8(0).u8(underline).u8(0).u8(charset).u8(0).u8(0).u8(0).u8(0);
        QByteArray name = face.left(31);
        name.append(QByteArray(32 - name.size(), '\0'));
        record(0x02FB, f.bytes(name).data());
    }
    void textOut(qint16 x, qint16 y, const QByteArray &text)
    {
        const QByteArray padded = text + QByteArray(text.size() & 1, '\0');
        record(0x0521, ByteWriter().i16(qint16(text.size())).bytes(padded).i16(y).i16(x).data());
    }

    // A plain Windows metafile: header, records, end of file.
    QByteArray plain(quint16 objects = 4, quint32 largest = 0) const
    {
        ByteWriter body;
        body.bytes(m_records.data()).u32(3).u16(0);
        ByteWriter header;
        header.u16(1).u16(9).u16(0x0300).u32(quint32(9 + body.data().size() / 2)).u16(objects);
        header.u32(largest ? largest : m_largest).u16(0);
        return header.data() + body.data();
    }
    // The same behind a placeable header with the given bounding box.
    QByteArray placeable(qint16 l, qint16 t, qint16 r, qint16 b, quint16 unitsPerInch) const
    {
        ByteWriter p;
        p.u32(0x9AC6CDD7).u16(0).i16(l).i16(t).i16(r).i16(b).u16(unitsPerInch).u32(0);
        quint16 checksum = 0;
        for (int i = 0; i < 20; i += 2)
            checksum ^= qFromLittleEndian<quint16>(p.data().constData() + i);
        p.u16(checksum);
        return p.data() + plain();
    }

private:
    ByteWriter m_records;
    quint32 m_largest = 3;
};

// A window of width x height logical units (MM_ANISOTROPIC) with a solid rectangle
// in the colour given, no pen, under a transparent background mode (which a solid
// brush ignores). Without the window a player takes it from a placeable header.
inline WmfWriter rectangleWmf(qint16 width, qint16 height, const QRect &rect, quint32 colour, bool window = true)
{
    WmfWriter wmf;
    if (window) {
        wmf.words(0x020B, {0, 0});          // SetWindowOrg
        wmf.words(0x020C, {height, width}); // SetWindowExt
        wmf.words(0x0103, {8});             // SetMapMode MM_ANISOTROPIC
    }
    wmf.words(0x0102, {1});                                              // SetBkMode TRANSPARENT
    wmf.record(0x02FC, ByteWriter().u16(0).u32(colour).u16(0).data());   // CreateBrushIndirect, solid
    wmf.select(0);
    wmf.record(0x02FA, ByteWriter().u16(5).i16(0).i16(0).u32(0).data()); // CreatePenIndirect, PS_NULL
    wmf.select(1);
    wmf.words(0x041B, {qint16(rect.bottom() + 1), qint16(rect.right() + 1), qint16(rect.top()), qint16(rect.left())});
    return wmf;
}

// A PNG that declares width x height but holds almost no pixel data: enough for
// QImageReader::size(), which is all a loader may look at before refusing.
inline QByteArray pngHeaderOnly(quint32 width, quint32 height)
{
    const auto chunk = [](const QByteArray &typed) { // type and data
        QByteArray out(4, '\0');
        qToBigEndian(quint32(typed.size() - 4), out.data());
        out += typed + QByteArray(4, '\0');
        const auto crc = crc32(0, reinterpret_cast<const Bytef *>(typed.constData()), uInt(typed.size()));
        qToBigEndian(quint32(crc), out.data() + out.size() - 4);
        return out;
    };
    QByteArray size(8, '\0');
    qToBigEndian(width, size.data());
    qToBigEndian(height, size.data() + 4);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR" + size + QByteArray("\x08\x06\0\0\0", 5)) // 8-bit RGBA
        + chunk(QByteArray("IDAT\x78\x9c\x03\0\0\0\0\x01", 12)) + chunk("IEND");
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

} // namespace testsupport

#endif // UTILITY_TESTS_METAFILEWRITER_H
