// The binary value format: byte layouts, the format's quirks, a full round trip
// through the writers, and corrupt string counts that must not allocate.
#include <utility/binaryread.h>
#include <utility/nrect.h>

#include <QColor>
#include <QDateTime>
#include <QPointF>

#include <gtest/gtest.h>

#include <sstream>

namespace {
std::istringstream bytes(std::initializer_list<int> values)
{
    std::string s;
    for (int v : values)
        s.push_back(static_cast<char>(v));
    return std::istringstream(s);
}

// A stream that cannot seek, so the reader cannot know how much is left.
class PipeBuffer : public std::streambuf
{
public:
    explicit PipeBuffer(std::string data) : m_data(std::move(data)) { setg(&m_data[0], &m_data[0], &m_data[0] + m_data.size()); }
private:
    std::string m_data;
};
} // namespace

TEST(BinaryRead, LayoutsAreLittleEndianComposites)
{
    {
        auto in = bytes({1, 2});
        unsigned short v = 0;
        binaryRead(in, v);
        EXPECT_EQ(v, 0x0201);
    }
    {
        auto in = bytes({1, 2, 3, 4});
        int v = 0;
        binaryRead(in, v);
        EXPECT_EQ(v, 0x04030201);
    }
    {
        auto in = bytes({1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
        long v = 0;
        binaryRead(in, v);
        EXPECT_EQ(v, 1);
        EXPECT_EQ(in.tellg(), 8);
    }
    {
        auto in = bytes({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0});
        long v = 0;
        binaryRead(in, v);
        EXPECT_EQ(v, -1); // low 32 bits, signed
    }
    {
        auto in = bytes({0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
        long long v = 0;
        binaryRead(in, v);
        EXPECT_EQ(v, -2);
    }
    {
        auto in = bytes({2});
        bool v = false;
        binaryRead(in, v);
        EXPECT_TRUE(v);
    }
}

TEST(BinaryRead, ColourMarkAndFloatPoints)
{
    {
        auto in = bytes({0xFF, 0xFF, 0xFF, 0xFF});
        QColor c;
        binaryRead(in, c);
        EXPECT_EQ(c.alpha(), 0);
        EXPECT_EQ(c.rgb() & 0xFFFFFFu, 0xFFFFFFu);
    }
    {
        auto in = bytes({0xFF, 0xFF, 0xFF, 0x00});
        QColor c;
        binaryRead(in, c);
        EXPECT_EQ(c, QColor(255, 255, 255, 255));
    }
    {
        auto in = bytes({10, 20, 30, 0x7F}); // the fourth byte is not alpha
        QColor c;
        binaryRead(in, c);
        EXPECT_EQ(c, QColor(10, 20, 30, 255));
    }
    {
        // Two doubles written where two floats are expected are misread.
        std::ostringstream out;
        binaryWrite(out, 1.5);
        binaryWrite(out, 2.5);
        std::istringstream in(out.str());
        QPointF p;
        binaryRead(in, p);
        EXPECT_NE(p, QPointF(1.5, 2.5));
        EXPECT_EQ(in.tellg(), 8);
    }
}

TEST(BinaryRead, StringsAndDates)
{
    {
        auto in = bytes({0, 0, 0, 0, 'x'});
        std::string s = "old";
        binaryRead(in, s);
        EXPECT_TRUE(s.empty());
        EXPECT_EQ(in.tellg(), 4);
    }
    {
        auto in = bytes({3, 0, 0, 0, 'a', 0, 0xE9});
        std::string s;
        binaryRead(in, s);
        EXPECT_EQ(s, std::string("a\0\xE9", 3));
    }
    {
        auto in = bytes({1, 0, 0, 0, 0xE9}); // Latin-1, not UTF-8
        QString s;
        binaryRead(in, s);
        EXPECT_EQ(s, QString(QChar(0xE9)));
    }
    {
        // SYSTEMTIME: 2024-02-29 (day of week 6, ignored) 13:45:10.250
        auto in = bytes({0xE8, 0x07, 2, 0, 99, 0, 29, 0, 13, 0, 45, 0, 10, 0, 0xFA, 0});
        QDateTime t;
        binaryRead(in, t);
        EXPECT_EQ(t.date(), QDate(2024, 2, 29));
        EXPECT_EQ(t.time(), QTime(13, 45, 10, 250));
    }
    {
        auto in = bytes({10, 0, 0, 0, 20, 0, 0, 0, 40, 0, 0, 0, 60, 0, 0, 0});
        CNRect r;
        binaryRead(in, r);
        EXPECT_EQ(r, CNRect(10, 20, 30, 40));
    }
}

TEST(BinaryRead, CorruptStringCountsNeverAllocateTheCount)
{
    // A count of 4 GiB - 1 with three bytes behind it: read what is there and fail.
    {
        auto in = bytes({0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'});
        std::string s;
        binaryRead(in, s);
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(s, "abc");
    }
    {
        auto in = bytes({0xFF, 0xFF, 0xFF, 0x7F, 'a'});
        QString s;
        binaryRead(in, s);
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(s, QStringLiteral("a"));
    }
    {
        PipeBuffer pipe(std::string("\xFF\xFF\xFF\xFFxyz", 7));
        std::istream in(&pipe);
        std::string s;
        binaryRead(in, s);
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(s, "xyz");
    }
    {
        auto in = bytes({5, 0});
        int v = 0;
        binaryRead(in, v);
        EXPECT_TRUE(in.fail());
    }
}

TEST(BinaryWrite, EveryTypeRoundTripsThroughTheReader)
{
    std::ostringstream out;
    const QDateTime when(QDate(1999, 12, 31), QTime(23, 59, 58, 7));
    binaryWrite(out, static_cast<signed char>(-5));
    binaryWrite(out, static_cast<unsigned char>(250));
    binaryWrite(out, 'q');
    binaryWrite(out, true);
    binaryWrite(out, static_cast<short>(-12345));
    binaryWrite(out, static_cast<unsigned short>(54321));
    binaryWrite(out, -123456789);
    binaryWrite(out, 4000000000u);
    binaryWrite(out, -7L);
    binaryWrite(out, -9000000000LL);
    binaryWrite(out, 18000000000000000000ULL);
    binaryWrite(out, 3.25f);
    binaryWrite(out, -1e300);
    binaryWrite(out, std::string("bytes\0inside", 12));
    binaryWrite(out, QStringLiteral("Grüße"));
    binaryWrite(out, QColor(1, 2, 3));
    binaryWrite(out, QColor(255, 255, 255, 0));
    binaryWrite(out, when);
    binaryWrite(out, QPoint(-3, 4));
    binaryWrite(out, QPointF(0.5, -0.25));
    binaryWrite(out, QSize(640, 480));
    binaryWrite(out, CNRect(10, 20, 30, 40));

    std::istringstream in(out.str());
    signed char sc; unsigned char uc; char c; bool b; short s; unsigned short us; int i; unsigned u;
    long l; long long ll; unsigned long long ull; float f; double d; std::string str; QString qs;
    QColor c1, c2; QDateTime t; QPoint p; QPointF pf; QSize size; CNRect r;
    binaryRead(in, sc); binaryRead(in, uc); binaryRead(in, c); binaryRead(in, b);
    binaryRead(in, s); binaryRead(in, us); binaryRead(in, i); binaryRead(in, u);
    binaryRead(in, l); binaryRead(in, ll); binaryRead(in, ull); binaryRead(in, f); binaryRead(in, d);
    binaryRead(in, str); binaryRead(in, qs); binaryRead(in, c1); binaryRead(in, c2); binaryRead(in, t);
    binaryRead(in, p); binaryRead(in, pf); binaryRead(in, size); binaryRead(in, r);
    ASSERT_FALSE(in.fail());
    EXPECT_EQ(in.peek(), EOF);
    EXPECT_EQ(sc, -5); EXPECT_EQ(uc, 250); EXPECT_EQ(c, 'q'); EXPECT_TRUE(b);
    EXPECT_EQ(s, -12345); EXPECT_EQ(us, 54321); EXPECT_EQ(i, -123456789); EXPECT_EQ(u, 4000000000u);
    EXPECT_EQ(l, -7); EXPECT_EQ(ll, -9000000000LL); EXPECT_EQ(ull, 18000000000000000000ULL);
    EXPECT_EQ(f, 3.25f); EXPECT_EQ(d, -1e300); EXPECT_EQ(str, std::string("bytes\0inside", 12));
    EXPECT_EQ(qs, QStringLiteral("Grüße"));
    EXPECT_EQ(c1, QColor(1, 2, 3)); EXPECT_EQ(c2.alpha(), 0);
    EXPECT_EQ(t, when); EXPECT_EQ(p, QPoint(-3, 4)); EXPECT_EQ(pf, QPointF(0.5, -0.25));
    EXPECT_EQ(size, QSize(640, 480)); EXPECT_EQ(r, CNRect(10, 20, 30, 40));
    EXPECT_EQ(out.str().size(), 1u + 1 + 1 + 1 + 2 + 2 + 4 + 4 + 8 + 8 + 8 + 4 + 8 + 16 + 9 + 4 + 4 + 16 + 8 + 8 + 8 + 16);
}
