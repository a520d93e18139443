// CCursorUtilities: cursors from "<base name>.png", the hot spot, and every way a
// file can fail to be a cursor (missing, unreadable, not a PNG, absurdly large).
#include "testsupport.h"

#include <utility/cursorutility.h>

#include <QCursor>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QPixmap>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <memory>

#include <zlib.h>

#include <unistd.h>

using testsupport::CapturedLog;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

namespace {

QImage cursorImage(int width, int height)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    for (int i = 0; i < std::min(width, height); ++i)
        image.setPixel(i, i, qRgba(0, 0, 0, 255));
    return image;
}

std::unique_ptr<QCursor> load(const QString &baseName, const QPoint &hotSpot = QPoint(3, 5))
{
    return std::unique_ptr<QCursor>(CCursorUtilities::loadCursor(baseName, hotSpot));
}

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>((value >> (24 - 8 * i)) & 0xff);
    return bytes;
}

QByteArray pngChunk(const char *type, const QByteArray &data)
{
    const QByteArray typed = QByteArray(type, 4) + data;
    const auto crc = static_cast<quint32>(
        ::crc32(0L, reinterpret_cast<const Bytef *>(typed.constData()), static_cast<uInt>(typed.size())));
    return bigEndian(static_cast<quint32>(data.size())) + typed + bigEndian(crc);
}

void writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

} // namespace

TEST(CCursorUtilities, LoadsBaseNameDotPngWithTheHotSpot)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_TRUE(cursorImage(32, 24).save(dir.filePath(QStringLiteral("pen.png")), "PNG"));

    for (const QPoint &hotSpot : {QPoint(3, 5), QPoint(0, 0), QPoint(31, 23)}) {
        const auto cursor = load(dir.filePath(QStringLiteral("pen")), hotSpot);
        ASSERT_TRUE(cursor);
        EXPECT_EQ(cursor->hotSpot(), hotSpot);
        EXPECT_EQ(cursor->pixmap().size(), QSize(32, 24));
        EXPECT_EQ(cursor->shape(), Qt::BitmapCursor);
        const QImage pixels = cursor->pixmap().toImage().convertToFormat(QImage::Format_ARGB32);
        EXPECT_EQ(pixels.pixel(4, 4), qRgba(0, 0, 0, 255));
        EXPECT_EQ(qAlpha(pixels.pixel(4, 5)), 0);
    }

    // A relative base name is taken from the working directory.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    const auto relative = load(QStringLiteral("pen"));
    QDir::setCurrent(previous);
    ASSERT_TRUE(relative);
    EXPECT_EQ(relative->hotSpot(), QPoint(3, 5));
}

TEST(CCursorUtilities, IsNullForAnythingButAReadablePng)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const auto path = [&](const char *name) { return dir.filePath(QString::fromLatin1(name)); };
    ASSERT_TRUE(cursorImage(16, 16).save(path("jpeg.png"), "JPEG"));
    writeBytes(path("garbage.png"), QByteArray("\x89PNG\r\n\x1a\nnot really", 18));
    writeBytes(path("empty.png"), QByteArray());
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.png")));
    ASSERT_TRUE(cursorImage(16, 16).save(path("pen.png"), "PNG"));
    // A truncated PNG: the header promises more than the file holds.
    {
        QFile whole(path("pen.png"));
        ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
        writeBytes(path("truncated.png"), whole.readAll().left(40));
    }

    struct Case
    {
        QString baseName;
        const char *why;
    };
    const Case cases[] = {
        {QString(), "null name"},
        {QStringLiteral(""), "empty name"},
        {path("missing"), "no such file"},
        {path("pen.png"), "the suffix is added, so this looks for pen.png.png"},
        {path("jpeg"), "a JPEG named .png is not taken for what its content says"},
        {path("garbage"), "a PNG signature and nothing else"},
        {path("empty"), "an empty file"},
        {path("truncated"), "a truncated file"},
        {path("folder"), "a directory"},
    };
    for (const Case &c : cases)
        EXPECT_FALSE(load(c.baseName)) << c.why;
    EXPECT_TRUE(load(path("pen")));
}

TEST(CCursorUtilities, IsNullForAnUnreadableFile)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads files whatever their permissions say";
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString file = dir.filePath(QStringLiteral("locked.png"));
    ASSERT_TRUE(cursorImage(16, 16).save(file, "PNG"));
    ASSERT_TRUE(QFile::setPermissions(file, QFileDevice::WriteOwner));
    EXPECT_FALSE(load(dir.filePath(QStringLiteral("locked"))));
}

TEST(CCursorUtilities, RefusesImagesLargerThanAnyCursorBeforeDecoding)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    struct Case
    {
        QSize size;
        bool loads;
    };
    const Case cases[] = {
        {QSize(1024, 1), true}, {QSize(1, 1024), true}, {QSize(1025, 1), false}, {QSize(1, 1025), false},
    };
    for (const Case &c : cases) {
        const QString base = dir.filePath(QStringLiteral("c%1x%2").arg(c.size.width()).arg(c.size.height()));
        ASSERT_TRUE(cursorImage(c.size.width(), c.size.height()).save(base + QStringLiteral(".png"), "PNG"));
        EXPECT_EQ(static_cast<bool>(load(base)), c.loads) << c.size.width() << "x" << c.size.height();
    }

    // A well-formed file whose header claims 100000 x 100000 pixels (40 GB decoded)
    // but whose data is a few bytes: refused from the header alone.
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    png += pngChunk("IHDR", bigEndian(100000) + bigEndian(100000) + QByteArray("\x08\x06\x00\x00\x00", 5));
    png += pngChunk("IDAT", qCompress(QByteArray(16, '\0')).mid(4)); // zlib stream without Qt's length prefix
    png += pngChunk("IEND", QByteArray());
    writeBytes(dir.filePath(QStringLiteral("huge.png")), png);
    ASSERT_EQ(QImageReader(dir.filePath(QStringLiteral("huge.png")), "PNG").size(), QSize(100000, 100000));
    EXPECT_FALSE(load(dir.filePath(QStringLiteral("huge"))));
}

TEST(CCursorUtilities, IsTracedAndAssignmentCopiesNothing)
{
    {
        CapturedLog log("TRACE");
        EXPECT_FALSE(load(QString()));
        const auto lines = log.traceLines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_THAT(lines[0], MatchesRegex("\\.\\\\cursorutility\\.cpp\t[0-9]+\tEnterCCursorUtilities::loadCursor"));
        EXPECT_THAT(lines[1], MatchesRegex("\\.\\\\cursorutility\\.cpp\t[0-9]+\tExitCCursorUtilities::loadCursor"));
        EXPECT_TRUE(log.warnings().empty()) << "failures are not reported";
    }
    {
        CapturedLog log("INFO");
        EXPECT_FALSE(load(QStringLiteral("/nonexistent/cursor")));
        EXPECT_TRUE(log.lines().empty());
    }

    CCursorUtilities a;
    const CCursorUtilities b;
    EXPECT_EQ(&(a = b), &a);
}
