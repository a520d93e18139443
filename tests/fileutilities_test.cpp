#include <utility/fileutilities.h>

#include "filetree.h"
#include "testsupport.h"

#include <QDate>
#include <QElapsedTimer>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zlib.h>

#include <sys/statvfs.h>

using namespace filetree;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

// Reaches the protected CRC engine.
struct CrcEngine : CFileUtilities
{
    using CFileUtilities::getFileCrc;
};

// Deterministic bytes that do not repeat within a buffer.
QByteArray noise(int size, quint32 seed = 12345)
{
    QByteArray data(size, Qt::Uninitialized);
    quint32 state = seed;
    for (int i = 0; i < size; ++i) {
        state = state * 1664525u + 1013904223u;
        data[i] = static_cast<char>(state >> 24);
    }
    return data;
}

unsigned long zlibCrc(const QByteArray &data)
{
    return crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef *>(data.constData()),
                 static_cast<uInt>(data.size()));
}

// A directory below root whose absolute path is exactly length characters.
QString directoryOfLength(const QString &root, int length)
{
    QString path = root;
    while (path.length() < length) {
        const int room = length - path.length() - 1; // minus the separator
        // Leave at least two characters for a last component, never one of 0.
        int component = std::min(room, 200);
        if (room - component == 1)
            --component;
        path += QLatin1Char('/') + QString(component, QLatin1Char('d'));
    }
    QDir().mkpath(path);
    return path;
}

// Today's date name, "<year><month><day>_", with no zero padding.
QString todayBase()
{
    return QDate::currentDate().toString(QStringLiteral("yyyyMd")) + QLatin1Char('_');
}

} // namespace

TEST(CFileUtilities, SuffixDecidesFlashOrImage)
{
    struct Case
    {
        const char *path;
        const char *suffix;
        bool flash;
    };
    const Case cases[] = {
        {"movie.swf", "swf", true},
        {"movie.SWF", "SWF", true},
        {"a/b/archive.tar.gz", "gz", false},
        {"noext", "noext", false},   // no dot: the whole path
        {"trailing.", "", false},
        {"dir.d/file", "d/file", false}, // the last dot wins, even in a directory
        {"swf", "swf", true},
        {"", "", false},
    };
    for (const Case &c : cases) {
        const QString path = QString::fromUtf8(c.path);
        EXPECT_EQ(CFileUtilities::getFileSuffix(path), QString::fromUtf8(c.suffix)) << c.path;
        EXPECT_EQ(CFileUtilities::isFlash(path), c.flash) << c.path;
        EXPECT_EQ(CFileUtilities::isImage(path), !c.flash) << c.path;
    }
}

TEST(CFileUtilities, GenerateUniqueFileNameNumbersFreeNames)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();
    ASSERT_TRUE(writeFile(d + QStringLiteral("/report.txt"), "r"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/report-1.txt"), "r1"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/report"), "no suffix"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/archive.tar.gz"), "a"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/taken.txt"), "t"));
    for (int n = 1; n <= 3; ++n)
        ASSERT_TRUE(writeFile(d + QStringLiteral("/taken-%1.txt").arg(n), "t"));
    // A dangling link occupies its name as much as a file does.
    ASSERT_TRUE(writeFile(d + QStringLiteral("/linked.txt"), "l"));
    ASSERT_TRUE(makeLink(QStringLiteral("nowhere"), d + QStringLiteral("/linked-1.txt")));

    struct Case
    {
        const char *name;
        int maxNumber;
        CFileUtilities::EUniqueNameResult result;
        const char *expected; // the name afterwards
    };
    const Case cases[] = {
        {"report.txt", 50, CFileUtilities::eUniqueNameCreated, "report-2.txt"},
        {"report.txt", 1, CFileUtilities::eUniqueNameFailed, "report.txt"},
        {"report.txt", 0, CFileUtilities::eUniqueNameFailed, "report.txt"},
        {"report.txt", -5, CFileUtilities::eUniqueNameFailed, "report.txt"},
        {"report", 50, CFileUtilities::eUniqueNameCreated, "report-1."},
        {"archive.tar.gz", 50, CFileUtilities::eUniqueNameCreated, "archive.tar-1.gz"},
        {"taken.txt", 3, CFileUtilities::eUniqueNameFailed, "taken.txt"},
        {"taken.txt", 4, CFileUtilities::eUniqueNameCreated, "taken-4.txt"},
        {"linked.txt", 50, CFileUtilities::eUniqueNameCreated, "linked-2.txt"},
        {"missing.txt", 50, CFileUtilities::eUniqueNameSourceMissing, "missing.txt"},
        {"missing.txt", 0, CFileUtilities::eUniqueNameSourceMissing, "missing.txt"},
    };
    for (const Case &c : cases) {
        QString path = d + QLatin1Char('/') + QString::fromUtf8(c.name);
        EXPECT_EQ(CFileUtilities::generateUniqueFileName(path, c.maxNumber), c.result)
            << c.name << " up to " << c.maxNumber;
        EXPECT_EQ(path, d + QLatin1Char('/') + QString::fromUtf8(c.expected)) << c.name;
    }

    // A relative name comes back absolute.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(d));
    QString relative = QStringLiteral("report.txt");
    EXPECT_EQ(CFileUtilities::generateUniqueFileName(relative, 5), CFileUtilities::eUniqueNameCreated);
    EXPECT_EQ(relative, QDir(d).canonicalPath() + QStringLiteral("/report-2.txt"));
    QDir::setCurrent(previous);
}

TEST(CFileUtilities, GenerateUniqueFileNameCutsTheBaseAtTheLengthLimit)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    ASSERT_LT(temp.path().length(), 200) << "the temporary directory is too deep for this test";

    struct Case
    {
        int dirLength;
        const char *base;
        const char *occupied; // numbered names made first
        CFileUtilities::EUniqueNameResult result;
        const char *expected;
    };
    const Case cases[] = {
        // 238 + 10 + 2 + 3 = 253: just fits, nothing is cut.
        {238, "abcdefghij", "", CFileUtilities::eUniqueNameCreated, "abcdefghij-1.txt"},
        // One over: the last character of the base goes.
        {239, "abcdefghij", "", CFileUtilities::eUniqueNameCreated, "abcdefghi-1.txt"},
        // 240 + 20 + 2 + 3 = 265: twelve characters are cut.
        {240, "abcdefghijklmnopqrst", "", CFileUtilities::eUniqueNameCreated, "abcdefgh-1.txt"},
        {240, "abcdefghijklmnopqrst", "abcdefgh-1.txt", CFileUtilities::eUniqueNameCreated,
         "abcdefgh-2.txt"},
        // The base shrinks to a single character: still a name.
        {247, "abc", "", CFileUtilities::eUniqueNameCreated, "a-1.txt"},
        // It would shrink to nothing: no name.
        {250, "ab", "", CFileUtilities::eUniqueNameFailed, "ab.txt"},
    };
    int round = 0;
    for (const Case &c : cases) {
        const QString root = temp.path() + QStringLiteral("/r%1").arg(round++);
        const QString dir = directoryOfLength(root, c.dirLength);
        ASSERT_EQ(dir.length(), c.dirLength);
        const QString original = dir + QLatin1Char('/') + QString::fromUtf8(c.base) + QStringLiteral(".txt");
        ASSERT_TRUE(writeFile(original, "x"));
        if (*c.occupied)
            ASSERT_TRUE(writeFile(dir + QLatin1Char('/') + QString::fromUtf8(c.occupied), "y"));
        QString path = original;
        EXPECT_EQ(CFileUtilities::generateUniqueFileName(path, 50), c.result) << c.dirLength << " " << c.base;
        EXPECT_EQ(path, dir + QLatin1Char('/') + QString::fromUtf8(c.expected));
        if (c.result == CFileUtilities::eUniqueNameCreated)
            EXPECT_LE(path.length(), 255);
    }

    // Ten and more take one more character of the base.
    const QString dir = directoryOfLength(temp.path() + QStringLiteral("/tens"), 240);
    const QString original = dir + QStringLiteral("/abcdefghijklmnopqrst.txt");
    ASSERT_TRUE(writeFile(original, "x"));
    for (int n = 1; n <= 9; ++n)
        ASSERT_TRUE(writeFile(dir + QStringLiteral("/abcdefgh-%1.txt").arg(n), "y"));
    QString path = original;
    EXPECT_EQ(CFileUtilities::generateUniqueFileName(path, 50), CFileUtilities::eUniqueNameCreated);
    EXPECT_EQ(path, dir + QStringLiteral("/abcdefg-10.txt"));
}

TEST(CFileUtilities, DateNameUsesTodayWithoutPadding)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();

    // Repeated if the date changes while the case runs (around midnight).
    for (int attempt = 0; attempt < 3; ++attempt) {
        const QString base = todayBase();
        const QDate today = QDate::currentDate();
        EXPECT_EQ(base, QString::number(today.year()) + QString::number(today.month())
                            + QString::number(today.day()) + QLatin1Char('_'));
        const QStringList both{QStringLiteral(".png"), QStringLiteral(".xml")};

        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, both), base + QLatin1Char('1'));
        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, {}), base + QLatin1Char('1'));
        ASSERT_TRUE(writeFile(d + QLatin1Char('/') + base + QStringLiteral("1.xml"), "x"));
        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, both), base + QLatin1Char('2'));
        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, {QStringLiteral(".png")}), base + QLatin1Char('1'));
        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, {}), base + QLatin1Char('1'))
            << "no suffixes: 1 without looking";
        ASSERT_TRUE(writeFile(d + QLatin1Char('/') + base + QStringLiteral("2.png"), "p"));
        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, both), base + QLatin1Char('3'));
        // Suffixes are taken as given: without their dot they name other files.
        EXPECT_EQ(CFileUtilities::getUniqYYMMDD_Xname(d, {QStringLiteral("xml")}), base + QLatin1Char('1'));
        if (todayBase() == base)
            break;
        removeTree(d + QLatin1Char('/') + base + QStringLiteral("1.xml"));
        removeTree(d + QLatin1Char('/') + base + QStringLiteral("2.png"));
    }

    EXPECT_TRUE(CFileUtilities::getUniqYYMMDD_Xname(d + QStringLiteral("/missing"), {}).isNull());
    ASSERT_TRUE(writeFile(d + QStringLiteral("/plain.txt"), "f"));
    EXPECT_TRUE(CFileUtilities::getUniqYYMMDD_Xname(d + QStringLiteral("/plain.txt"), {}).isNull());
}

TEST(CFileUtilities, FileCrcIsZlibsCrc32)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();

    struct Case
    {
        const char *name;
        QByteArray data;
    };
    const Case cases[] = {
        {"empty.bin", QByteArray()},
        {"check.txt", QByteArrayLiteral("123456789")},
        {"page.bin", noise(4096)},
        {"page-plus-one.bin", noise(4097)},
        // Large and not a whole number of buffers.
        {"large.bin", noise(48 * 1024 * 1024 + 123)},
    };
    for (const Case &c : cases) {
        const QString path = d + QLatin1Char('/') + QString::fromUtf8(c.name);
        ASSERT_TRUE(writeFile(path, c.data));
        EXPECT_EQ(CFileUtilities::getFileCRC(path), zlibCrc(c.data)) << c.name;
    }
    EXPECT_EQ(CFileUtilities::getFileCRC(d + QStringLiteral("/check.txt")), 0xCBF43926ul);

    // Names outside ASCII open too.
    const QString unicode = d + QStringLiteral("/cr\u00e7-\u65e5\u672c-\u00fc.bin");
    const QByteArray data = noise(10000, 7);
    ASSERT_TRUE(writeFile(unicode, data));
    EXPECT_EQ(CFileUtilities::getFileCRC(unicode), zlibCrc(data));

    // Whatever cannot be read as a file gives 0, and a FIFO does not block.
    ASSERT_TRUE(makeFifo(d + QStringLiteral("/pipe")));
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(CFileUtilities::getFileCRC(d + QStringLiteral("/pipe")), 0ul);
    EXPECT_EQ(CFileUtilities::getFileCRC(d + QStringLiteral("/missing")), 0ul);
    EXPECT_EQ(CFileUtilities::getFileCRC(d), 0ul);
    EXPECT_EQ(CFileUtilities::getFileCRC(QString()), 0ul);
}

TEST(CFileUtilities, FileCrcEngineReportsErrorsAndAnyBufferSize)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString path = temp.path() + QStringLiteral("/data.bin");
    const QByteArray data = noise(300000, 3);
    ASSERT_TRUE(writeFile(path, data));
    const QByteArray name = QFile::encodeName(path);

    for (unsigned long size : {1ul, 7ul, 4096ul, 65536ul, 1ul << 20}) {
        std::vector<char> buffer(size);
        unsigned long crc = 1;
        EXPECT_EQ(CrcEngine::getFileCrc(name.constData(), buffer.data(), size, &crc), 0) << size;
        EXPECT_EQ(crc, zlibCrc(data)) << size;
    }

    char buffer[16];
    unsigned long crc = 99;
    EXPECT_EQ(CrcEngine::getFileCrc(QFile::encodeName(temp.path() + QStringLiteral("/missing")).constData(),
                                    buffer, sizeof buffer, &crc),
              1);
    EXPECT_EQ(crc, 0ul);
    crc = 99;
    EXPECT_EQ(CrcEngine::getFileCrc(QFile::encodeName(temp.path()).constData(), buffer, sizeof buffer, &crc), 1)
        << "a directory";
    EXPECT_EQ(crc, 0ul);
    EXPECT_EQ(CrcEngine::getFileCrc(name.constData(), nullptr, 16, &crc), 1);
    EXPECT_EQ(CrcEngine::getFileCrc(name.constData(), buffer, 0, &crc), 1);
    EXPECT_EQ(CrcEngine::getFileCrc(name.constData(), buffer, sizeof buffer, nullptr), 1);
}

TEST(CFileUtilities, FileCompareNeedsNameSizeAndCrc)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();
    ASSERT_TRUE(writeFile(d + QStringLiteral("/a/doc.txt"), "same text"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/b/doc.txt"), "same text"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/b/DOC.TXT"), "same text"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/b/copy.txt"), "same text"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/c/doc.txt"), "SAME TEXT"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/e/doc.txt"), "same text, longer"));

    struct Case
    {
        const char *a;
        const char *b;
        bool expected;
    };
    const Case cases[] = {
        {"a/doc.txt", "b/doc.txt", true},
        {"a/doc.txt", "b/DOC.TXT", true},   // names compare without case
        {"a/doc.txt", "b/copy.txt", false}, // same bytes, another document
        {"a/doc.txt", "c/doc.txt", false},  // same size, other bytes
        {"a/doc.txt", "e/doc.txt", false},
        {"a/doc.txt", "a/doc.txt", true},
    };
    for (const Case &c : cases)
        EXPECT_EQ(CFileUtilities::fileCompare(d + QLatin1Char('/') + QString::fromUtf8(c.a),
                                              d + QLatin1Char('/') + QString::fromUtf8(c.b)),
                  c.expected)
            << c.a << " vs " << c.b;
}

TEST(CFileUtilities, CrcAndCompareAreTraced)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString path = temp.path() + QStringLiteral("/t.txt");
    ASSERT_TRUE(writeFile(path, "t"));
    testsupport::CapturedLog log("TRACE");
    CFileUtilities::getFileCRC(path);
    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[0], EndsWith("\tEnterCFileUtilities::getFileCRC"));
    EXPECT_THAT(lines[1], EndsWith("\tEnterCFileUtilities::getFileCrc"));
    EXPECT_THAT(lines[2], EndsWith("\tExitCFileUtilities::getFileCrc"));
    EXPECT_THAT(lines[3], EndsWith("\tExitCFileUtilities::getFileCRC"));
    EXPECT_THAT(lines[0], ::testing::StartsWith(".\\fileutilities.cpp\t"));

    log.clear();
    CFileUtilities::getFileSuffix(path);
    CFileUtilities::hasWriteAccess(path);
    EXPECT_TRUE(log.traceLines().empty()) << "only the listed members are traced";
}

TEST(CFileUtilities, CopyFileNeverReplacesAnotherDocument)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();
    const QString src = d + QStringLiteral("/src/name.ext");
    ASSERT_TRUE(writeFile(src, "new contents"));
    const auto all = COsUtil::eAllPermissions;

    // Nothing to copy counts as success.
    QString dst = d + QStringLiteral("/dst/name.ext");
    EXPECT_TRUE(CFileUtilities::copyFile(d + QStringLiteral("/src/missing"), dst, false, all));
    EXPECT_FALSE(present(d + QStringLiteral("/dst")));

    // Missing directories are made; the copy gets the permissions of a new file.
    EXPECT_TRUE(CFileUtilities::copyFile(src, dst, false, all));
    EXPECT_EQ(dst, d + QStringLiteral("/dst/name.ext"));
    EXPECT_EQ(readFile(dst), QByteArray("new contents"));
    const int umaskNow = ::umask(0);
    ::umask(static_cast<mode_t>(umaskNow));
    EXPECT_EQ(modeOf(dst), 0666 & ~umaskNow);

    // The same document is already there: nothing is copied.
    EXPECT_TRUE(CFileUtilities::copyFile(src, dst, false, all));
    EXPECT_EQ(dst, d + QStringLiteral("/dst/name.ext"));
    EXPECT_EQ(listing(d + QStringLiteral("/dst")), QStringList{QStringLiteral("name.ext")});

    // A different document keeps its name; the copy is numbered.
    ASSERT_TRUE(writeFile(dst, "the user's own"));
    EXPECT_TRUE(CFileUtilities::copyFile(src, dst, false, all));
    EXPECT_EQ(dst, d + QStringLiteral("/dst/name-1.ext"));
    EXPECT_EQ(readFile(d + QStringLiteral("/dst/name.ext")), QByteArray("the user's own"));
    EXPECT_EQ(readFile(dst), QByteArray("new contents"));

    // A dangling link of that name is not written through or replaced.
    QString linked = d + QStringLiteral("/dst2/name.ext");
    ASSERT_TRUE(QDir().mkpath(d + QStringLiteral("/dst2")));
    ASSERT_TRUE(makeLink(d + QStringLiteral("/elsewhere.ext"), linked));
    EXPECT_TRUE(CFileUtilities::copyFile(src, linked, false, all));
    EXPECT_EQ(linked, d + QStringLiteral("/dst2/name-1.ext"));
    EXPECT_TRUE(isLink(d + QStringLiteral("/dst2/name.ext")));
    EXPECT_FALSE(present(d + QStringLiteral("/elsewhere.ext")));

    // When all 50 numbers are taken the copy fails and every file stays.
    const QString full = d + QStringLiteral("/full");
    ASSERT_TRUE(writeFile(full + QStringLiteral("/name.ext"), "mine"));
    for (int n = 1; n <= 50; ++n)
        ASSERT_TRUE(writeFile(full + QStringLiteral("/name-%1.ext").arg(n), "mine"));
    QString crowded = full + QStringLiteral("/name.ext");
    EXPECT_FALSE(CFileUtilities::copyFile(src, crowded, false, all));
    EXPECT_EQ(crowded, full + QStringLiteral("/name.ext"));
    EXPECT_EQ(readFile(full + QStringLiteral("/name.ext")), QByteArray("mine"));
    EXPECT_EQ(listing(full).size(), 51);

    // Overwrite replaces, also a file by itself without losing it.
    QString target = d + QStringLiteral("/dst/name.ext");
    EXPECT_TRUE(CFileUtilities::copyFile(src, target, true, all));
    EXPECT_EQ(readFile(target), QByteArray("new contents"));
    QString self = src;
    EXPECT_TRUE(CFileUtilities::copyFile(src, self, true, all));
    EXPECT_EQ(readFile(src), QByteArray("new contents"));
    EXPECT_EQ(listing(d + QStringLiteral("/src")), QStringList{QStringLiteral("name.ext")})
        << "no temporary copy is left behind";

    // Overwrite replaces a link by a file and leaves what it pointed to.
    ASSERT_TRUE(writeFile(d + QStringLiteral("/pointee.ext"), "pointee"));
    QString overLink = d + QStringLiteral("/dst3/name.ext");
    ASSERT_TRUE(QDir().mkpath(d + QStringLiteral("/dst3")));
    ASSERT_TRUE(makeLink(d + QStringLiteral("/pointee.ext"), overLink));
    EXPECT_TRUE(CFileUtilities::copyFile(src, overLink, true, all));
    EXPECT_FALSE(isLink(overLink));
    EXPECT_EQ(readFile(overLink), QByteArray("new contents"));
    EXPECT_EQ(readFile(d + QStringLiteral("/pointee.ext")), QByteArray("pointee"));

    // What is no regular file is not copied (a FIFO would block the read).
    ASSERT_TRUE(makeFifo(d + QStringLiteral("/pipe")));
    QString fromPipe = d + QStringLiteral("/dst/pipe");
    EXPECT_FALSE(CFileUtilities::copyFile(d + QStringLiteral("/pipe"), fromPipe, false, all));
    QString fromDir = d + QStringLiteral("/dst/dir");
    EXPECT_FALSE(CFileUtilities::copyFile(d + QStringLiteral("/src"), fromDir, false, all));
}

TEST(CFileUtilities, CopyFileOnAFullDestinationKeepsTheOldFile)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString src = temp.path() + QStringLiteral("/big.bin");
    const QString dir = temp.path() + QStringLiteral("/dst");
    QString dst = dir + QStringLiteral("/big.bin");
    ASSERT_TRUE(writeFile(src, noise(4 * 1024 * 1024)));
    ASSERT_TRUE(writeFile(dst, "the old version"));
    bool copied = true;
    bool limited = false;
    {
        // Writes past 1 MiB fail as on a full disk, for root too.
        ScopedFileSizeLimit limit(1024 * 1024);
        limited = limit.ok();
        if (limited)
            copied = CFileUtilities::copyFile(src, dst, true, COsUtil::eAllPermissions);
    }
    if (!limited)
        GTEST_SKIP() << "cannot lower the file size limit here";
    EXPECT_FALSE(copied);
    EXPECT_EQ(readFile(dir + QStringLiteral("/big.bin")), QByteArray("the old version"));
    EXPECT_EQ(listing(dir), QStringList{QStringLiteral("big.bin")}) << "no partial copy is left";
}

TEST(CFileUtilities, ReadOnlyDestinations)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();
    ASSERT_TRUE(writeFile(d + QStringLiteral("/src/a.txt"), "a"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/ro/existing.txt"), "mine"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/rw/readonly.txt"), "ro"));
    PermissionsCount guard(d);
    REQUIRE_PERMISSIONS_COUNT(guard);
    ASSERT_TRUE(setMode(d + QStringLiteral("/ro"), 0555));
    ASSERT_TRUE(setMode(d + QStringLiteral("/rw/readonly.txt"), 0444));

    EXPECT_FALSE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/ro/existing.txt")));
    EXPECT_FALSE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/ro/new.txt")));
    EXPECT_FALSE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/rw/readonly.txt")))
        << "a read-only file is enough, the directory is not tried";
    EXPECT_TRUE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/rw/new.txt")));

    QString dst = d + QStringLiteral("/ro/a.txt");
    EXPECT_FALSE(CFileUtilities::copyFile(d + QStringLiteral("/src/a.txt"), dst, false, COsUtil::eAllPermissions));
    EXPECT_FALSE(CFileUtilities::copyFiles(d + QStringLiteral("/src"), d + QStringLiteral("/ro"), true,
                                           COsUtil::eAllPermissions));
    EXPECT_EQ(listing(d + QStringLiteral("/ro")), QStringList{QStringLiteral("existing.txt")});
    setMode(d + QStringLiteral("/ro"), 0755);
}

TEST(CFileUtilities, HasWriteAccessProbesWithoutHarm)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();
    ASSERT_TRUE(writeFile(d + QStringLiteral("/doc.txt"), "d"));
    EXPECT_TRUE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/doc.txt")));
    EXPECT_TRUE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/not-yet.txt")));
    EXPECT_EQ(listing(d), QStringList{QStringLiteral("doc.txt")}) << "the probe is removed";

    // A user's file that happens to be called like the probe is kept, and so
    // is the target of a link of that name.
    ASSERT_TRUE(writeFile(d + QStringLiteral("/dummy"), "user data"));
    EXPECT_TRUE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/doc.txt")));
    EXPECT_EQ(readFile(d + QStringLiteral("/dummy")), QByteArray("user data"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/sub/other.txt"), "other"));
    ASSERT_TRUE(makeLink(d + QStringLiteral("/sub/other.txt"), d + QStringLiteral("/sub/dummy")));
    EXPECT_TRUE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/sub/x")));
    EXPECT_EQ(readFile(d + QStringLiteral("/sub/other.txt")), QByteArray("other"));
    EXPECT_EQ(listing(d).size(), 5) << listing(d).join(QLatin1Char(' ')).toStdString();

    // For a directory the probe goes into its parent.
    EXPECT_TRUE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/sub")));
    EXPECT_FALSE(CFileUtilities::hasWriteAccess(d + QStringLiteral("/missing/x.txt")));
}

TEST(CFileUtilities, CopyFilesTakesVisibleFilesOnly)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString d = temp.path();
    const QString src = d + QStringLiteral("/src");
    ASSERT_TRUE(writeFile(src + QStringLiteral("/a.txt"), "a"));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/b.txt"), "b"));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/.hidden"), "h"));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/sub/c.txt"), "c"));
    ASSERT_TRUE(writeFile(d + QStringLiteral("/outside.txt"), "o"));
    ASSERT_TRUE(makeLink(QStringLiteral("a.txt"), src + QStringLiteral("/rel.txt")));
    ASSERT_TRUE(makeLink(d + QStringLiteral("/outside.txt"), src + QStringLiteral("/abs.txt")));
    ASSERT_TRUE(makeLink(d, src + QStringLiteral("/up")));
    const auto all = COsUtil::eAllPermissions;

    EXPECT_TRUE(CFileUtilities::copyFiles(d + QStringLiteral("/missing"), d + QStringLiteral("/x"), false, all));
    EXPECT_FALSE(present(d + QStringLiteral("/x")));
    ASSERT_TRUE(QDir().mkpath(d + QStringLiteral("/empty")));
    EXPECT_TRUE(CFileUtilities::copyFiles(d + QStringLiteral("/empty"), d + QStringLiteral("/x"), false, all));
    EXPECT_FALSE(present(d + QStringLiteral("/x"))) << "nothing to copy: no target made";

    const QString dst = d + QStringLiteral("/deep/dst");
    EXPECT_TRUE(CFileUtilities::copyFiles(src, dst, false, all));
    const QStringList expected{QStringLiteral("a.txt"),
                               QStringLiteral("abs.txt -> ") + d + QStringLiteral("/outside.txt"),
                               QStringLiteral("b.txt"), QStringLiteral("rel.txt -> a.txt")};
    EXPECT_EQ(listing(dst), expected);

    // Again without overwrite: numbered copies, nothing replaced.
    ASSERT_TRUE(writeFile(dst + QStringLiteral("/a.txt"), "changed"));
    EXPECT_TRUE(CFileUtilities::copyFiles(src, dst, false, all));
    EXPECT_EQ(readFile(dst + QStringLiteral("/a.txt")), QByteArray("changed"));
    EXPECT_EQ(readFile(dst + QStringLiteral("/a-1.txt")), QByteArray("a"));
    EXPECT_TRUE(isLink(dst + QStringLiteral("/rel-1.txt")));
    // And with overwrite: replaced in place.
    EXPECT_TRUE(CFileUtilities::copyFiles(src, dst, true, all));
    EXPECT_EQ(readFile(dst + QStringLiteral("/a.txt")), QByteArray("a"));
    EXPECT_EQ(listing(dst).size(), 8);
}

TEST(CFileUtilities, CopyFilesLogsFailuresAndAnswersForTheLastFile)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    ASSERT_LT(temp.path().length(), 200);
    const QString src = temp.path() + QStringLiteral("/src");
    ASSERT_TRUE(writeFile(src + QStringLiteral("/a.txt"), "new a"));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/bbbbbbbbbbbbbbbb.txt"), "b"));
    // So deep that "a.txt" cannot be numbered within 253 characters: its copy
    // fails, while the other file has no name to avoid.
    const QString dst = directoryOfLength(temp.path() + QStringLiteral("/dst"), 251);
    ASSERT_TRUE(writeFile(dst + QStringLiteral("/a.txt"), "the user's a"));

    const QFileInfoList order = QDir(src).entryInfoList(QDir::Files, QDir::Unsorted);
    ASSERT_EQ(order.size(), 2);
    const bool lastSucceeds = order.last().fileName() != QLatin1String("a.txt");

    testsupport::CapturedLog log("INFO");
    EXPECT_EQ(CFileUtilities::copyFiles(src, dst, false, COsUtil::eAllPermissions), lastSucceeds);
    const auto warnings = log.warnings();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], EndsWith("\t Failed to copy file " + src.toStdString() + "/a.txt"));
    EXPECT_EQ(readFile(dst + QStringLiteral("/a.txt")), QByteArray("the user's a"));
    EXPECT_EQ(readFile(dst + QStringLiteral("/bbbbbbbbbbbbbbbb.txt")), QByteArray("b"));
}

namespace {

// A tree with everything that tends to go wrong: hidden entries, read-only
// files, links to the outside, a relative link, a loop and a dangling link.
struct Tree
{
    QString root;    // the temporary directory
    QString src;     // the tree
    QString outside; // what the links lead to

    explicit Tree(const QString &temp)
        : root(temp), src(temp + QStringLiteral("/src")), outside(temp + QStringLiteral("/outside"))
    {
        writeFile(outside + QStringLiteral("/precious.txt"), "outside data");
        writeFile(src + QStringLiteral("/top.txt"), "top");
        writeFile(src + QStringLiteral("/.hidden.txt"), "hidden");
        writeFile(src + QStringLiteral("/.config/settings.ini"), "settings");
        writeFile(src + QStringLiteral("/sub/deep/leaf.txt"), "leaf");
        writeFile(src + QStringLiteral("/sub/readonly.txt"), "read only");
        setMode(src + QStringLiteral("/sub/readonly.txt"), 0444);
        makeLink(outside, src + QStringLiteral("/to-outside"));
        makeLink(QStringLiteral("../top.txt"), src + QStringLiteral("/sub/rel-top.txt"));
        makeLink(QStringLiteral(".."), src + QStringLiteral("/sub/loop"));
        makeLink(QStringLiteral("nowhere"), src + QStringLiteral("/sub/dangling"));
    }

    QStringList everything() const
    {
        return QStringList{QStringLiteral(".config/"),
                           QStringLiteral(".config/settings.ini"),
                           QStringLiteral(".hidden.txt"),
                           QStringLiteral("sub/"),
                           QStringLiteral("sub/dangling -> nowhere"),
                           QStringLiteral("sub/deep/"),
                           QStringLiteral("sub/deep/leaf.txt"),
                           QStringLiteral("sub/loop -> .."),
                           QStringLiteral("sub/readonly.txt"),
                           QStringLiteral("sub/rel-top.txt -> ../top.txt"),
                           QStringLiteral("to-outside -> ") + outside,
                           QStringLiteral("top.txt")};
    }
    QStringList outsideListing() const { return QStringList{QStringLiteral("precious.txt")}; }
};

} // namespace

TEST(CFileUtilities, CopyDirectoryCopiesLinksAsLinks)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const Tree tree(temp.path());
    ASSERT_EQ(listing(tree.src), tree.everything());
    const auto all = COsUtil::eAllPermissions;

    const QString dst = temp.path() + QStringLiteral("/copy");
    EXPECT_TRUE(CFileUtilities::copyDirectory(tree.src, dst, false, all));
    // Visible entries only; the dangling link is no file to QDir, so it stays behind.
    const QStringList visible{QStringLiteral("sub/"),
                              QStringLiteral("sub/deep/"),
                              QStringLiteral("sub/deep/leaf.txt"),
                              QStringLiteral("sub/loop -> .."),
                              QStringLiteral("sub/readonly.txt"),
                              QStringLiteral("sub/rel-top.txt -> ../top.txt"),
                              QStringLiteral("to-outside -> ") + tree.outside,
                              QStringLiteral("top.txt")};
    EXPECT_EQ(listing(dst), visible);
    EXPECT_EQ(listing(tree.outside), tree.outsideListing());
    EXPECT_EQ(listing(tree.src), tree.everything());
    EXPECT_EQ(readFile(dst + QStringLiteral("/sub/rel-top.txt")), QByteArray("top"));

    // A target inside the source is refused instead of copied into itself.
    EXPECT_FALSE(CFileUtilities::copyDirectory(tree.src, tree.src + QStringLiteral("/sub/inner"), false, all));
    EXPECT_FALSE(CFileUtilities::copyDirectory(tree.src, tree.src, false, all));
    EXPECT_EQ(listing(tree.src), tree.everything());

    // Where the target holds a link in place of a subdirectory, nothing is
    // written through it.
    const QString trap = temp.path() + QStringLiteral("/trap");
    ASSERT_TRUE(QDir().mkpath(trap));
    ASSERT_TRUE(makeLink(tree.outside, trap + QStringLiteral("/sub")));
    EXPECT_FALSE(CFileUtilities::copyDirectory(tree.src, trap, false, all));
    EXPECT_EQ(listing(tree.outside), tree.outsideListing());

    // Without a directory to copy into there is nothing to do.
    ASSERT_TRUE(writeFile(temp.path() + QStringLiteral("/a-file"), "f"));
    EXPECT_FALSE(CFileUtilities::copyDirectory(tree.src, temp.path() + QStringLiteral("/a-file"), false, all));
}

TEST(CFileUtilities, ClearDirContentsNeverEntersLinks)
{
    struct Case
    {
        bool removeDir;
        bool directoryStays;
        QStringList left;
    };
    const Case cases[] = {
        // Hidden entries are not listed; they only go with the directory.
        {false, true,
         {QStringLiteral(".config/"), QStringLiteral(".config/settings.ini"), QStringLiteral(".hidden.txt")}},
        {true, false, {}},
    };
    for (const Case &c : cases) {
        QTemporaryDir temp;
        ASSERT_TRUE(temp.isValid());
        const Tree tree(temp.path());
        EXPECT_TRUE(CFileUtilities::clearDirContents(tree.src, c.removeDir));
        EXPECT_EQ(present(tree.src), c.directoryStays);
        EXPECT_EQ(listing(tree.src), c.left);
        EXPECT_EQ(listing(tree.outside), tree.outsideListing());
    }

    // An empty name is not the current directory.
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    ASSERT_TRUE(writeFile(temp.path() + QStringLiteral("/cwd.txt"), "c"));
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(temp.path()));
    EXPECT_TRUE(CFileUtilities::clearDirContents(QString(), true));
    QDir::setCurrent(previous);
    EXPECT_TRUE(present(temp.path() + QStringLiteral("/cwd.txt")));
    EXPECT_TRUE(CFileUtilities::clearDirContents(temp.path() + QStringLiteral("/missing"), true));
}

TEST(CFileUtilities, ClearDirContentsRemovesReadOnlyParts)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString dir = temp.path() + QStringLiteral("/tree");
    ASSERT_TRUE(writeFile(dir + QStringLiteral("/locked/file.txt"), "x"));
    ASSERT_TRUE(writeFile(dir + QStringLiteral("/locked/.hidden"), "y"));
    PermissionsCount guard(temp.path());
    REQUIRE_PERMISSIONS_COUNT(guard);
    ASSERT_TRUE(setMode(dir + QStringLiteral("/locked"), 0555));
    EXPECT_TRUE(CFileUtilities::clearDirContents(dir, true));
    EXPECT_FALSE(present(dir));
}

TEST(CFileUtilities, MoveDirectoryMovesEverything)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const Tree tree(temp.path());
    const QString dst = temp.path() + QStringLiteral("/moved");
    EXPECT_TRUE(CFileUtilities::moveDirectory(tree.src, dst));
    EXPECT_FALSE(present(tree.src));
    EXPECT_EQ(listing(dst), tree.everything()) << "hidden entries and links move too";
    EXPECT_EQ(readFile(dst + QStringLiteral("/.config/settings.ini")), QByteArray("settings"));
    EXPECT_EQ(readFile(dst + QStringLiteral("/sub/readonly.txt")), QByteArray("read only"));
    EXPECT_EQ(listing(tree.outside), tree.outsideListing());

    // Into an existing directory: what was there stays, clashes are numbered.
    const Tree again(temp.path());
    ASSERT_TRUE(writeFile(temp.path() + QStringLiteral("/existing/top.txt"), "mine"));
    EXPECT_TRUE(CFileUtilities::moveDirectory(again.src, temp.path() + QStringLiteral("/existing")));
    EXPECT_EQ(readFile(temp.path() + QStringLiteral("/existing/top.txt")), QByteArray("mine"));
    EXPECT_EQ(readFile(temp.path() + QStringLiteral("/existing/top-1.txt")), QByteArray("top"));
    EXPECT_FALSE(present(again.src));
}

TEST(CFileUtilities, MoveDirectoryFailureKeepsTheSourceWhole)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const Tree tree(temp.path());
    // The subdirectory "zz" comes after the top-level files, so the move fails
    // half-way, once files have been copied: a FIFO cannot be copied.
    ASSERT_TRUE(QDir().mkpath(tree.src + QStringLiteral("/zz")));
    ASSERT_TRUE(makeFifo(tree.src + QStringLiteral("/zz/pipe")));
    QStringList before = tree.everything();
    before << QStringLiteral("zz/") << QStringLiteral("zz/pipe");
    before.sort();
    ASSERT_EQ(listing(tree.src), before);

    // A new target is removed again.
    const QString fresh = temp.path() + QStringLiteral("/fresh/target");
    EXPECT_FALSE(CFileUtilities::moveDirectory(tree.src, fresh));
    EXPECT_EQ(listing(tree.src), before);
    EXPECT_FALSE(present(temp.path() + QStringLiteral("/fresh")));

    // In an existing target only what the move made is taken back.
    const QString existing = temp.path() + QStringLiteral("/existing");
    ASSERT_TRUE(writeFile(existing + QStringLiteral("/top.txt"), "mine"));
    ASSERT_TRUE(writeFile(existing + QStringLiteral("/sub/own.txt"), "own"));
    const QStringList existingBefore = listing(existing);
    EXPECT_FALSE(CFileUtilities::moveDirectory(tree.src, existing));
    EXPECT_EQ(listing(tree.src), before);
    EXPECT_EQ(listing(existing), existingBefore);
    EXPECT_EQ(readFile(existing + QStringLiteral("/top.txt")), QByteArray("mine"));
    EXPECT_EQ(listing(tree.outside), tree.outsideListing());
}

TEST(CFileUtilities, MoveDirectoryOnAFullDestinationKeepsTheSource)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const Tree tree(temp.path());
    ASSERT_TRUE(writeFile(tree.src + QStringLiteral("/sub/deep/big.bin"), noise(3 * 1024 * 1024)));
    const QStringList before = listing(tree.src);
    const QString dst = temp.path() + QStringLiteral("/dst");
    bool moved = true;
    bool limited = false;
    {
        ScopedFileSizeLimit limit(1024 * 1024);
        limited = limit.ok();
        if (limited)
            moved = CFileUtilities::moveDirectory(tree.src, dst);
    }
    if (!limited)
        GTEST_SKIP() << "cannot lower the file size limit here";
    EXPECT_FALSE(moved);
    EXPECT_EQ(listing(tree.src), before);
    EXPECT_EQ(CFileUtilities::getFileCRC(tree.src + QStringLiteral("/sub/deep/big.bin")),
              zlibCrc(noise(3 * 1024 * 1024)));
    EXPECT_FALSE(present(dst));
}

TEST(CFileUtilities, MoveDirectoryIntoAReadOnlyPlaceKeepsTheSource)
{
    // The move gives the directories it copies into the permissions of new
    // ones, so its owner could always write there again. The place must
    // belong to someone else: root, while the move runs as nobody.
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs a directory of another user; only arranged when the tests run as root";
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const Tree tree(temp.path());
    const QString dst = temp.path() + QStringLiteral("/dst");
    ASSERT_TRUE(writeFile(dst + QStringLiteral("/sub/theirs.txt"), "theirs"));
    const QStringList before = listing(tree.src);
    chownTree(temp.path(), kNobody, kNobody);
    chownTree(dst + QStringLiteral("/sub"), 0, 0);
    ASSERT_TRUE(setMode(dst + QStringLiteral("/sub"), 0755));
    bool moved = true;
    {
        ScopedUser user(kNobody, kNobody);
        if (!user.ok())
            GTEST_SKIP() << "user switching not possible here: " << user.why();
        moved = CFileUtilities::moveDirectory(tree.src, dst);
    }
    EXPECT_FALSE(moved);
    EXPECT_EQ(listing(tree.src), before);
    EXPECT_EQ(listing(dst), (QStringList{QStringLiteral("sub/"), QStringLiteral("sub/theirs.txt")}));
}

TEST(CFileUtilities, MoveDirectoryRefusesOverlapsAndFiles)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const Tree tree(temp.path());
    const QStringList before = listing(tree.src);
    EXPECT_FALSE(CFileUtilities::moveDirectory(tree.src, tree.src));
    EXPECT_FALSE(CFileUtilities::moveDirectory(tree.src, tree.src + QStringLiteral("/sub/new")));
    EXPECT_FALSE(CFileUtilities::moveDirectory(tree.src + QStringLiteral("/sub"), tree.src));
    // Through a link to the source, too.
    ASSERT_TRUE(makeLink(tree.src, temp.path() + QStringLiteral("/alias")));
    EXPECT_FALSE(CFileUtilities::moveDirectory(tree.src, temp.path() + QStringLiteral("/alias/new")));
    EXPECT_EQ(listing(tree.src), before);

    // A file is no tree: it is neither copied nor deleted.
    const QString file = temp.path() + QStringLiteral("/file.txt");
    ASSERT_TRUE(writeFile(file, "f"));
    EXPECT_FALSE(CFileUtilities::moveDirectory(file, temp.path() + QStringLiteral("/elsewhere")));
    EXPECT_EQ(readFile(file), QByteArray("f"));
    EXPECT_FALSE(CFileUtilities::moveDirectory(QString(), temp.path() + QStringLiteral("/elsewhere")));
}

TEST(CFileUtilities, DiskSpaceDirectoriesAndNames)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString file = temp.path() + QStringLiteral("/f.txt");
    ASSERT_TRUE(writeFile(file, "f"));

    struct statvfs fs;
    ASSERT_EQ(::statvfs(QFile::encodeName(temp.path()).constData(), &fs), 0);
    const qint64 expected = qint64(fs.f_bavail) * qint64(fs.f_frsize) >> 20;
    // Others write to the same disk meanwhile; a little drift is fine.
    EXPECT_NEAR(double(CFileUtilities::freeDiskSpaceMB(file)), double(expected), 256.0);
    EXPECT_EQ(CFileUtilities::freeDiskSpaceMB(QStringLiteral("/no/such/place/x")), 0);

    const QString nested = temp.path() + QStringLiteral("/a/b/c");
    EXPECT_TRUE(CFileUtilities::makeDirectory(nested));
    EXPECT_TRUE(QFileInfo(nested).isDir());
    EXPECT_TRUE(CFileUtilities::makeDirectory(nested)) << "an existing directory is fine";
    EXPECT_FALSE(CFileUtilities::makeDirectory(file + QStringLiteral("/under-a-file")));
    EXPECT_FALSE(CFileUtilities::makeDirectory(QString()));

    EXPECT_EQ(CFileUtilities::getLongFilePath(QStringLiteral("C:/PROGRA~1/x.txt")),
              QStringLiteral("C:/PROGRA~1/x.txt"));
    EXPECT_EQ(CFileUtilities::getLongFilePath(file), file);
}

TEST(CFileUtilities, RecycleFileMovesToTheTrash)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    // A trash of our own, so that the user's is never touched.
    const QByteArray previous = qgetenv("XDG_DATA_HOME");
    const bool hadPrevious = qEnvironmentVariableIsSet("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QFile::encodeName(temp.path() + QStringLiteral("/data")));
    ASSERT_TRUE(QDir().mkpath(temp.path() + QStringLiteral("/data")));
    const QString file = temp.path() + QStringLiteral("/docs/old.txt");
    ASSERT_TRUE(writeFile(file, "old"));
    // Files on another volume than the home directory go to that volume's own
    // trash, which is not ours to look into.
    const bool homeVolume = QStorageInfo(temp.path()) == QStorageInfo(QDir::homePath());

    EXPECT_TRUE(CFileUtilities::recycleFile(temp.path() + QStringLiteral("/docs/missing.txt")));
    const bool recycled = CFileUtilities::recycleFile(file);
    const QString trashed = temp.path() + QStringLiteral("/data/Trash/files/old.txt");
    const bool inOurTrash = present(trashed);
    if (hadPrevious)
        qputenv("XDG_DATA_HOME", previous);
    else
        qunsetenv("XDG_DATA_HOME");

    EXPECT_TRUE(recycled);
    EXPECT_FALSE(present(file));
    if (!homeVolume)
        GTEST_SKIP() << "the temporary directory is not on the home volume; the trash used is that volume's";
    EXPECT_TRUE(inOurTrash);
    EXPECT_EQ(readFile(trashed), QByteArray("old"));
}
