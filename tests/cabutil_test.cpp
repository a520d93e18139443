// CabUtil: extraction of real cabinets made by other tools (compared with
// cabextract), the decided name, time and attribute mappings, spanning sets,
// nested cabinets, and the refusals that keep a hostile cabinet inside its
// destination and off a full disk.
#include "testsupport.h"

#include "cabutil_p.h"

#include <utility/cabutil.h>

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <vector>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

using testsupport::CapturedLog;

namespace {

QString sample(const QString &relative)
{
    return testsupport::sharedPath(QStringLiteral("testdata/cab/") + relative);
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

bool anyWarningContains(const CapturedLog &log, const std::string &text)
{
    for (const std::string &line : log.warnings())
        if (line.find(text) != std::string::npos)
            return true;
    return false;
}

// Every file below `dir` (links not followed, hidden files included): relative
// path -> content.
QMap<QString, QByteArray> tree(const QString &dir)
{
    QMap<QString, QByteArray> result;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        result.insert(QDir(dir).relativeFilePath(path), QFileInfo(path).isSymLink() ? QByteArray("<link>") : readAll(path));
    }
    return result;
}

// An uncompressed single-folder cabinet, written the way makecab lays one out,
// for names, attributes and damage that no sample has.
struct CabEntry
{
    QByteArray name;
    QByteArray data;
    quint16 attribs = 0x20;
    quint16 date = (17 << 9) | (3 << 5) | 12; // 1997-03-12
    quint16 time = (11 << 11) | (13 << 5) | 26; // 11:13:52
    quint16 folder = 0; // 0xFFFD..0xFFFF: continued from or into other cabinets
};

void put16(QByteArray &out, quint16 v)
{
    out.append(char(v & 0xFF)).append(char(v >> 8));
}

void put32(QByteArray &out, quint32 v)
{
    put16(out, quint16(v & 0xFFFF));
    put16(out, quint16(v >> 16));
}

QByteArray makeCabinet(const std::vector<CabEntry> &entries, int corruptBlock = -1, bool hasPrevious = false)
{
    QByteArray payload;
    QByteArray files;
    for (const CabEntry &e : entries) {
        put32(files, quint32(e.data.size()));
        put32(files, quint32(payload.size()));
        put16(files, e.folder);
        put16(files, e.date);
        put16(files, e.time);
        put16(files, e.attribs);
        files.append(e.name).append('\0');
        payload += e.data;
    }
    const int blocks = (payload.size() + 32767) / 32768;
    const QByteArray setNames = hasPrevious ? QByteArray("prev.cab\0disk 1\0", 16) : QByteArray();
    const int dataOffset = 36 + setNames.size() + 8 + files.size();
    QByteArray data;
    for (int b = 0; b < blocks; ++b) {
        const QByteArray chunk = payload.mid(b * 32768, 32768);
        put32(data, b == corruptBlock ? 0xDEADBEEF : 0); // 0: no checksum stored
        put16(data, quint16(chunk.size()));
        put16(data, quint16(chunk.size()));
        data += chunk;
    }
    QByteArray cab("MSCF");
    put32(cab, 0);
    put32(cab, quint32(dataOffset + data.size()));
    put32(cab, 0);
    put32(cab, quint32(36 + setNames.size() + 8));
    put32(cab, 0);
    cab.append(char(3)).append(char(1));
    put16(cab, 1);
    put16(cab, quint16(entries.size()));
    put16(cab, hasPrevious ? 0x0001 : 0);
    put16(cab, 0x1234);
    put16(cab, hasPrevious ? 1 : 0);
    cab += setNames;
    put32(cab, quint32(dataOffset));
    put16(cab, quint16(blocks));
    put16(cab, 0);
    return cab + files + data;
}

// The raw names of a cabinet's CFFILE records with their attributes (no set
// names, no reserve: enough for the samples read this way).
std::vector<std::pair<QByteArray, quint16>> rawEntries(const QByteArray &cab)
{
    const auto u16 = [&cab](int at) { return quint16(uchar(cab[at]) | (uchar(cab[at + 1]) << 8)); };
    std::vector<std::pair<QByteArray, quint16>> result;
    int at = int(u16(16) | (u16(18) << 16));
    for (int i = 0; i < u16(28); ++i) {
        const int end = cab.indexOf('\0', at + 16);
        result.emplace_back(cab.mid(at + 16, end - at - 16), u16(at + 14));
        at = end + 1;
    }
    return result;
}

bool haveCabextract()
{
    return !QStandardPaths::findExecutable(QStringLiteral("cabextract")).isEmpty();
}

bool cabextract(const QString &cab, const QString &dir)
{
    QProcess process;
    process.start(QStringLiteral("cabextract"), {QStringLiteral("-q"), QStringLiteral("-d"), dir, cab});
    return process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QStringList nativePaths(const QString &dir, const QStringList &relative)
{
    QStringList result;
    for (const QString &r : relative)
        result << QDir::toNativeSeparators(dir + QLatin1Char('/') + r);
    return result;
}

class FreeSpace
{
public:
    explicit FreeSpace(qint64 bytes)
    {
        s_bytes = bytes;
        s_queries.clear();
        m_previous = CabUtilPrivate::setFreeSpaceProbe([](const QString &dir) {
            s_queries << dir;
            return s_bytes;
        });
    }
    ~FreeSpace() { CabUtilPrivate::setFreeSpaceProbe(m_previous); }
    static QStringList s_queries;

private:
    static qint64 s_bytes;
    CabUtilPrivate::FreeSpaceProbe m_previous;
};
QStringList FreeSpace::s_queries;
qint64 FreeSpace::s_bytes = 0;

} // namespace

// ---------------------------------------------------------------------------
// Opening

TEST(CabUtil, RefusesEmptyArgumentsAndFilesThatAreNotCabinets)
{
    QTemporaryDir dir;
    QStringList files{QStringLiteral("kept")};
    CapturedLog log("INFO");
    EXPECT_FALSE(CabUtil::decompress(QString(), QStringLiteral("x.cab"), files, false));
    EXPECT_FALSE(CabUtil::decompress(dir.path(), QString(), files, true));
    const QString text = dir.filePath(QStringLiteral("text.cab"));
    ASSERT_TRUE(writeFile(text, "this is not a cabinet"));
    EXPECT_FALSE(CabUtil::decompress(dir.path(), text, files, false));
    EXPECT_FALSE(CabUtil::decompress(dir.path(), dir.filePath(QStringLiteral("missing.cab")), files, false));
    EXPECT_FALSE(CabUtil::decompress(dir.path(), dir.path(), files, false));
#ifdef Q_OS_UNIX
    // A FIFO with no writer must not block the caller.
    const QString fifo = dir.filePath(QStringLiteral("fifo.cab"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    EXPECT_FALSE(CabUtil::decompress(dir.path(), fifo, files, false));
    ASSERT_TRUE(QFile::remove(fifo));
#endif
    // No files and a truncated file table are not cabinets either; libmspack's
    // reason reaches the log, not stderr.
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("empty.cab")), makeCabinet({})));
    EXPECT_FALSE(CabUtil::decompress(dir.path(), dir.filePath(QStringLiteral("empty.cab")), files, false));
    EXPECT_TRUE(anyWarningContains(log, "libmspack: no files in cabinet"));
    EXPECT_EQ(files, QStringList{QStringLiteral("kept")});
    EXPECT_EQ(tree(dir.path()).size(), 2);
    EXPECT_GE(log.warnings().size(), 7u);

    REQUIRE_SHARED();
    QTemporaryDir out;
    for (const char *name : {"libmspack/bad_signature.cab", "libmspack/partial_shortfile1.cab",
                             "libmspack/cve-2015-4471-lzx-under-read.cab",
                             // The cabinet starts after six bytes of junk: like the platform's
                             // open test, only a cabinet at the start of the file counts.
                             "libmspack/search.cab"}) {
        EXPECT_FALSE(CabUtil::decompress(out.path(), sample(QString::fromLatin1(name)), files, true)) << name;
    }
    EXPECT_TRUE(tree(out.path()).isEmpty());
}

// ---------------------------------------------------------------------------
// Extraction of real cabinets

TEST(CabUtil, ExtractsWhatCabextractExtracts)
{
    REQUIRE_SHARED();
    if (!haveCabextract())
        GTEST_SKIP() << "cabextract is not installed (scripts/install-deps)";
    // MSZIP, LZX (with E8 translation), Quantum and stored folders, reserved areas,
    // a signature blob, a 255-character name, directories and UTF-8 names.
    const char *samples[] = {
        "gcab/test-mszip.cab", "gcab/test-signed.cab", "libarchive/test_read_format_cab_1.cab",
        "libarchive/test_read_format_cab_2.cab", "libarchive/test_read_format_cab_3.cab",
        "libarchive/test_read_format_cab_lzx_e8.cab", "libmspack/mixed.cab", "libmspack/normal_2files_2folders.cab",
        "libmspack/reserve_HFD.cab", "libmspack/simple.cab", "libmspack/normal_255c_filename.cab",
        "libmspack/case-utf8.cab", "libmspack/dir.cab", "libmspack/large-files-cab.cab",
        "python-cabarchive/multi-folder-compressed.cab", "python-cabarchive/utf8.cab",
    };
    for (const char *name : samples) {
        SCOPED_TRACE(name);
        QTemporaryDir reference;
        QTemporaryDir ours;
        ASSERT_TRUE(cabextract(sample(QString::fromLatin1(name)), reference.path()));
        const QMap<QString, QByteArray> expected = tree(reference.path());
        // Entries do not create directories: make the ones cabextract made.
        for (auto it = expected.begin(); it != expected.end(); ++it)
            QDir(ours.path()).mkpath(QFileInfo(it.key()).path());
        QStringList files;
        ASSERT_TRUE(CabUtil::decompress(ours.path(), sample(QString::fromLatin1(name)), files, false));
        EXPECT_EQ(tree(ours.path()), expected);
        EXPECT_EQ(files.size(), expected.size());
        for (const QString &listed : files) {
            const QString relative = QDir(ours.path()).relativeFilePath(QDir::fromNativeSeparators(listed));
            ASSERT_TRUE(expected.contains(relative)) << listed.toStdString();
            // Both take the entry's date and time as local time.
            EXPECT_EQ(QFileInfo(listed).lastModified(),
                      QFileInfo(reference.path() + QLatin1Char('/') + relative).lastModified())
                << relative.toStdString();
        }
    }
}

TEST(CabUtil, ListsNativePathsInCabinetOrderAndNeedsExistingDirectories)
{
    REQUIRE_SHARED();
    QTemporaryDir dir;
    QStringList files;
    CapturedLog log("INFO");
    // "plain.c" comes first and stays; "1\2\3\4.c" fails because 1/2/3 is missing,
    // and a failed cabinet lists none of its files.
    EXPECT_FALSE(CabUtil::decompress(dir.path(), sample(QStringLiteral("libmspack/dir.cab")), files, false));
    EXPECT_TRUE(files.isEmpty());
    EXPECT_EQ(tree(dir.path()).keys(), QStringList{QStringLiteral("plain.c")});
    EXPECT_TRUE(anyWarningContains(log, "Directory of a cabinet entry does not exist: 1/2/3/4.c"));

    ASSERT_TRUE(QDir(dir.path()).mkpath(QStringLiteral("1/2/3")));
    // A trailing separator on the destination does not double in the list.
    EXPECT_TRUE(CabUtil::decompress(dir.path() + QLatin1Char('/'), sample(QStringLiteral("libmspack/dir.cab")), files,
                                    false));
    EXPECT_EQ(files, nativePaths(dir.path(), {QStringLiteral("plain.c"), QStringLiteral("1/2/3/4.c")}));
}

TEST(CabUtil, SetsLocalModificationTimesAndTheReadOnlyAttribute)
{
    REQUIRE_SHARED();
    QTemporaryDir dir;
    // simple.cab with the read-only bit set on its first entry (attribs 0x21).
    QByteArray cab = readAll(sample(QStringLiteral("libmspack/simple.cab")));
    ASSERT_FALSE(cab.isEmpty());
    const auto entries = rawEntries(cab);
    ASSERT_EQ(entries.size(), 2u);
    const int firstRecord = int(uchar(cab[16]) | (uchar(cab[17]) << 8));
    cab[firstRecord + 14] = char(cab[firstRecord + 14] | 0x01);
    const QString readOnlyCab = dir.filePath(QStringLiteral("readonly.cab"));
    ASSERT_TRUE(writeFile(readOnlyCab, cab));

    QTemporaryDir out;
    QStringList files;
    ASSERT_TRUE(CabUtil::decompress(out.path(), readOnlyCab, files, false));
    ASSERT_EQ(files.size(), 2);
    // (The "User" bits say what the current user may do, which for root is anything.)
    const QFileDevice::Permissions anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    EXPECT_EQ(QFileInfo(files[0]).permissions() & anyWrite, QFileDevice::Permissions());
    EXPECT_TRUE(QFileInfo(files[1]).permissions() & QFileDevice::WriteOwner);
    EXPECT_TRUE(QFileInfo(files[0]).permissions() & QFileDevice::ReadOwner);
    EXPECT_EQ(QFileInfo(files[0]).lastModified(), QDateTime(QDate(1997, 3, 12), QTime(11, 13, 52)));
    EXPECT_EQ(QFileInfo(files[1]).lastModified(), QDateTime(QDate(1997, 3, 12), QTime(11, 15, 14)));

    // Extracting again replaces the read-only file rather than failing on it.
    ASSERT_TRUE(QFile::setPermissions(files[1], QFileDevice::ReadOwner));
    ASSERT_TRUE(writeFile(out.filePath(QStringLiteral("scratch")), "x"));
    files.clear();
    EXPECT_TRUE(CabUtil::decompress(out.path(), readOnlyCab, files, false));
    EXPECT_TRUE(QFileInfo(files[1]).permissions() & QFileDevice::WriteOwner);

    // An invalid date leaves the time of extraction.
    CabEntry undated{"undated", "x"};
    undated.date = 0;
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("undated.cab")), makeCabinet({undated})));
    const QDateTime before = QDateTime::currentDateTime().addSecs(-2);
    files.clear();
    EXPECT_TRUE(CabUtil::decompress(out.path(), dir.filePath(QStringLiteral("undated.cab")), files, false));
    EXPECT_GE(QFileInfo(out.filePath(QStringLiteral("undated"))).lastModified(), before);
}

TEST(CabUtil, DecodesNamesAsLatin1UnlessFlaggedUtf8)
{
    REQUIRE_SHARED();
    // Names without the flag are Latin-1 whatever they were meant to be (Shift-JIS,
    // KOI8-R, CP932 come out as Latin-1 text, consistently on disk and in the list).
    const char *samples[] = {"libmspack/encoding-latin1.cab", "libmspack/encoding-koi8.cab",
                             "libmspack/encoding-sjis.cab", "libarchive/test_read_format_cab_filename_cp932.cab",
                             "python-cabarchive/utf8.cab", "libmspack/case-utf8.cab"};
    for (const char *name : samples) {
        SCOPED_TRACE(name);
        QTemporaryDir dir;
        QStringList expected;
        for (const auto &entry : rawEntries(readAll(sample(QString::fromLatin1(name))))) {
            const QString decoded = (entry.second & 0x80) ? QString::fromUtf8(entry.first) : QString::fromLatin1(entry.first);
            expected << QString(decoded).replace(QLatin1Char('\\'), QLatin1Char('/'));
            QDir(dir.path()).mkpath(QFileInfo(expected.last()).path());
        }
        QStringList files;
        EXPECT_TRUE(CabUtil::decompress(dir.path(), sample(QString::fromLatin1(name)), files, false));
        EXPECT_EQ(files, nativePaths(dir.path(), expected));
        for (const QString &file : files)
            EXPECT_TRUE(QFileInfo::exists(file)) << file.toStdString();
    }
    QTemporaryDir dir;
    QStringList files;
    EXPECT_TRUE(CabUtil::decompress(dir.path(), sample(QStringLiteral("python-cabarchive/utf8.cab")), files, false));
    EXPECT_EQ(files, nativePaths(dir.path(), {QString::fromUtf8("t\xc3\xa9st.dat")}));
}

TEST(CabUtilPrivate, RepairsInvalidUtf8OneReplacementPerBadSequence)
{
    const QString r(QChar(QChar::ReplacementCharacter));
    struct Case
    {
        QByteArray raw;
        QString expected;
        bool valid;
    };
    const Case cases[] = {
        {"plain", QStringLiteral("plain"), true},
        {"\xce\xba\xe1\xbd\xb9\xcf\x83\xce\xbc\xce\xb5", QString::fromUtf8("\xce\xba\xe1\xbd\xb9\xcf\x83\xce\xbc\xce\xb5"), true},
        {"\xf0\x90\x80\x80", QString::fromUcs4(U"\U00010000"), true},
        {"\xf4\x8f\xbf\xbf", QString::fromUcs4(U"\U0010FFFF"), true},
        {"\xef\xbf\xbe", QString(QChar(0xFFFE)), true}, // a noncharacter is still well-formed
        // Overlong encodings of "/" never become a separator.
        {"a\xc0\xaf" "b", QStringLiteral("a") + r + r + QStringLiteral("b"), false},
        {"a\xe0\x80\xaf" "b", QStringLiteral("a") + r + r + r + QStringLiteral("b"), false},
        {"\xf0\x80\x80\xaf", r + r + r + r, false},
        {"\xed\xa0\x80", r + r + r, false},              // a surrogate
        {"\xf4\x90\x80\x80", r + r + r + r, false},      // beyond U+10FFFF
        {"\xe2\x82", r, false},                          // truncated: one maximal subpart
        {"\xe2\x82x", r + QStringLiteral("x"), false},
        {"\x80\xbf", r + r, false},
        {"\xfe\xff", r + r, false},
    };
    for (const Case &c : cases) {
        bool valid = !c.valid;
        EXPECT_EQ(CabUtilPrivate::decodeEntryName(c.raw, true, &valid), c.expected) << c.raw.toHex().toStdString();
        EXPECT_EQ(valid, c.valid) << c.raw.toHex().toStdString();
    }
    bool valid = false;
    EXPECT_EQ(CabUtilPrivate::decodeEntryName("\xc0\xaf", false, &valid), QString::fromUtf8("\xc3\x80\xc2\xaf"));
    EXPECT_TRUE(valid);
}

TEST(CabUtil, SurvivesTheUtf8StressTest)
{
    REQUIRE_SHARED();
    QTemporaryDir sandbox;
    const QString dest = sandbox.filePath(QStringLiteral("dest"));
    ASSERT_TRUE(QDir().mkpath(dest));
    QStringList files;
    CapturedLog log("INFO");
    EXPECT_TRUE(CabUtil::decompress(dest, sample(QStringLiteral("libmspack/utf8-stresstest.cab")), files, false));
    EXPECT_EQ(files.size(), 79);
    for (const QString &file : files)
        EXPECT_EQ(QFileInfo(file).absolutePath(), QFileInfo(dest).absoluteFilePath()) << file.toStdString();
    EXPECT_TRUE(files.contains(QDir::toNativeSeparators(dest + QString::fromUtf8("/\xce\xba\xe1\xbd\xb9\xcf\x83\xce\xbc\xce\xb5"))));
    EXPECT_TRUE(anyWarningContains(log, "not valid UTF-8"));
    for (const QString &path : tree(sandbox.path()).keys())
        EXPECT_TRUE(path.startsWith(QLatin1String("dest/")) && path.count(QLatin1Char('/')) == 1) << path.toStdString();
}

// ---------------------------------------------------------------------------
// Cab-slip

TEST(CabUtilPrivate, RelativeEntryPathRefusesWhatCouldLeaveTheDestination)
{
    struct Case
    {
        const char *name;
        const char *expected; // nullptr: refused
    };
    const Case cases[] = {
        {"a.txt", "a.txt"}, {"dir\\a.txt", "dir/a.txt"}, {"dir/a.txt", "dir/a.txt"}, {"a\\\\b", "a/b"},
        {".\\a", "a"}, {"a/./b", "a/b"}, {"a..b", "a..b"}, {"...", "..."}, {"C", "C"}, {"1:x", "1:x"},
        {"\\abs", nullptr}, {"/abs", nullptr}, {"C:x", nullptr}, {"c:\\x", nullptr}, {"..", nullptr},
        {"..\\x", nullptr}, {"../x", nullptr}, {"a\\..\\..\\x", nullptr}, {"a/../b", nullptr}, {"a/..", nullptr},
        {"dir\\", nullptr}, {"dir/", nullptr}, {".", nullptr}, {"a/.", nullptr}, {"", nullptr}, {"/", nullptr},
        {"\\\\\\", nullptr},
    };
    for (const Case &c : cases) {
        QString reason;
        const QString result = CabUtilPrivate::relativeEntryPath(QString::fromLatin1(c.name), &reason);
        if (c.expected) {
            EXPECT_EQ(result, QString::fromLatin1(c.expected)) << c.name;
        } else {
            EXPECT_TRUE(result.isNull()) << c.name << " -> " << result.toStdString();
            EXPECT_FALSE(reason.isEmpty()) << c.name;
        }
    }
}

TEST(CabUtil, CabSlipWritesNothingOutsideTheDestination)
{
    REQUIRE_SHARED();
    const QByteArray hostile = readAll(sample(QStringLiteral("libmspack/dirwalk-vulns.cab")));
    const auto names = rawEntries(hostile);
    ASSERT_EQ(names.size(), 29u);

    // The sample as it is: its first entry is absolute, so nothing is written.
    QTemporaryDir sandbox;
    const QString dest = sandbox.filePath(QStringLiteral("a/b/c/dest"));
    ASSERT_TRUE(QDir().mkpath(dest));
    ASSERT_TRUE(QDir().mkpath(sandbox.filePath(QStringLiteral("a/b/c/dest/relative"))));
    QStringList files;
    {
        CapturedLog log("INFO");
        EXPECT_FALSE(CabUtil::decompress(dest, sample(QStringLiteral("libmspack/dirwalk-vulns.cab")), files, false));
        EXPECT_TRUE(anyWarningContains(log, "Refused a cabinet entry: /absolute/path (absolute name)"));
    }
    EXPECT_TRUE(tree(sandbox.path()).isEmpty());

    // Each of its 29 names alone (with its own UTF-8 flag): refused with a reason,
    // or written below the destination; never anything outside it.
    int refused = 0;
    for (const auto &entry : names) {
        SCOPED_TRACE(entry.first.toHex().toStdString());
        CabEntry e{entry.first, "payload"};
        e.attribs = entry.second;
        const QString cab = sandbox.filePath(QStringLiteral("one.cab"));
        ASSERT_TRUE(writeFile(cab, makeCabinet({e})));
        CapturedLog log("INFO");
        files.clear();
        const bool ok = CabUtil::decompress(dest, cab, files, false);
        ASSERT_TRUE(QFile::remove(cab));
        if (ok) {
            ASSERT_EQ(files.size(), 1);
            EXPECT_TRUE(QFileInfo(files[0]).canonicalFilePath().startsWith(QFileInfo(dest).canonicalFilePath() + QLatin1Char('/')));
        } else {
            ++refused;
            EXPECT_FALSE(log.warnings().empty());
        }
        for (const QString &path : tree(sandbox.path()).keys())
            EXPECT_TRUE(path.startsWith(QLatin1String("a/b/c/dest/"))) << path.toStdString();
    }
    // Absolute, "..", and separator-only names: 14 of the plain ones. Overlong "/"
    // stays inside a single name, and the "innocuous\xc0\x80/../.." ones have a
    // real ".." component.
    EXPECT_EQ(refused, 14 + 5);
}

TEST(CabUtil, NeverWritesThroughSymbolicLinks)
{
    QTemporaryDir sandbox;
    const QString dest = sandbox.filePath(QStringLiteral("dest"));
    const QString outside = sandbox.filePath(QStringLiteral("outside"));
    ASSERT_TRUE(QDir().mkpath(dest));
    ASSERT_TRUE(QDir().mkpath(outside));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/victim"), "precious"));
    // Planted by someone else (or an earlier extraction): a directory link, a file
    // link, a dangling link, and a sibling whose name shares the prefix.
    ASSERT_TRUE(QFile::link(outside, dest + QStringLiteral("/linkdir")));
    ASSERT_TRUE(QFile::link(outside + QStringLiteral("/victim"), dest + QStringLiteral("/linkfile")));
    ASSERT_TRUE(QFile::link(outside + QStringLiteral("/new"), dest + QStringLiteral("/dangling")));
    ASSERT_TRUE(QDir().mkpath(sandbox.filePath(QStringLiteral("destX"))));
    ASSERT_TRUE(QFile::link(sandbox.filePath(QStringLiteral("destX")), dest + QStringLiteral("/sibling")));

    const char *names[] = {"linkdir\\victim", "linkdir\\new", "linkfile", "dangling", "sibling\\x"};
    for (const char *name : names) {
        SCOPED_TRACE(name);
        const QString cab = sandbox.filePath(QStringLiteral("one.cab"));
        ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{name, "evil"}})));
        QStringList files;
        CapturedLog log("INFO");
        EXPECT_FALSE(CabUtil::decompress(dest, cab, files, false));
        EXPECT_FALSE(log.warnings().empty());
        EXPECT_TRUE(files.isEmpty());
    }
    EXPECT_EQ(readAll(outside + QStringLiteral("/victim")), QByteArray("precious"));
    EXPECT_EQ(tree(outside).size(), 1);
    EXPECT_TRUE(tree(sandbox.filePath(QStringLiteral("destX"))).isEmpty());
    // A destination reached through a link is fine: containment is measured from
    // where the destination really is.
    QStringList files;
    const QString cab = sandbox.filePath(QStringLiteral("one.cab"));
    ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{"ok.txt", "fine"}})));
    EXPECT_TRUE(CabUtil::decompress(dest + QStringLiteral("/linkdir"), cab, files, false));
    EXPECT_EQ(readAll(outside + QStringLiteral("/ok.txt")), QByteArray("fine"));
}

// ---------------------------------------------------------------------------
// Failures midway, spanning sets

TEST(CabUtil, FailedEntryLeavesOnlyCompleteFiles)
{
    QTemporaryDir dir;
    const QString cab = dir.filePath(QStringLiteral("damaged.cab"));
    // The second file spans four blocks; the last one's checksum is wrong, so
    // libmspack has written 64 KiB of it when it fails.
    ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{"first.txt", "first"},
                                            CabEntry{"second.bin", QByteArray(100000, 'x')}},
                                           3)));
    QTemporaryDir out;
    ASSERT_TRUE(writeFile(out.filePath(QStringLiteral("second.bin")), "old content"));
    QStringList files;
    CapturedLog log("INFO");
    EXPECT_FALSE(CabUtil::decompress(out.path(), cab, files, false));
    EXPECT_TRUE(anyWarningContains(log, "Cannot extract a cabinet entry: second.bin: checksum mismatch"));
    QMap<QString, QByteArray> expected;
    expected.insert(QStringLiteral("first.txt"), "first");
    expected.insert(QStringLiteral("second.bin"), "old content");
    EXPECT_EQ(tree(out.path()), expected);
    EXPECT_TRUE(files.isEmpty());
}

TEST(CabUtil, SkipsFilesContinuedFromOrIntoOtherCabinets)
{
    REQUIRE_SHARED();
    struct Case
    {
        const char *cab;
        QStringList extracted;
        int skipped;
    };
    const Case cases[] = {
        {"libmspack/split-1.cab", {QStringLiteral("small1.bin")}, 2},
        {"libmspack/split-2.cab", {}, 3},
        {"libmspack/split-3.cab", {}, 1},
        {"libmspack/split-4.cab", {}, 3},
        {"libmspack/split-5.cab", {}, 2},
        {"libmspack/multi_basic_pt1.cab", {}, 3},
        {"libmspack/multi_basic_pt2.cab", {}, 3},
        {"libmspack/multi_basic_pt3.cab", {}, 3},
        {"libmspack/multi_basic_pt4.cab", {}, 3},
        {"libmspack/multi_basic_pt5.cab", {}, 3},
        {"libarchive/test_read_format_cab_multi.p1.cab", {}, 1},
        {"libarchive/test_read_format_cab_multi.p2.cab", {}, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.cab);
        QTemporaryDir dir;
        QStringList files;
        CapturedLog log("INFO");
        EXPECT_TRUE(CabUtil::decompress(dir.path(), sample(QString::fromLatin1(c.cab)), files, false));
        EXPECT_EQ(files, nativePaths(dir.path(), c.extracted));
        EXPECT_EQ(tree(dir.path()).keys(), c.extracted);
        EXPECT_EQ(int(log.warnings().size()), c.skipped);
        EXPECT_TRUE(anyWarningContains(log, "Skipped a file continued from or into another cabinet"));
    }
    // A file that begins in this cabinet, but in the folder the previous one began,
    // cannot be decoded alone either.
    QTemporaryDir dir;
    CabEntry tail{"tail.bin", "end of a file from the previous cabinet"};
    tail.folder = 0xFFFD;
    ASSERT_TRUE(writeFile(dir.filePath(QStringLiteral("part2.cab")),
                          makeCabinet({tail, CabEntry{"whole.txt", "whole"}}, -1, true)));
    QTemporaryDir out;
    QStringList files;
    {
        CapturedLog log("INFO");
        EXPECT_TRUE(CabUtil::decompress(out.path(), dir.filePath(QStringLiteral("part2.cab")), files, false));
        EXPECT_EQ(log.warnings().size(), 2u);
        EXPECT_TRUE(anyWarningContains(log, "continued from or into another cabinet: whole.txt"));
    }
    EXPECT_TRUE(files.isEmpty());
    EXPECT_TRUE(tree(out.path()).isEmpty());

    // small1.bin is whole in the first part and must match what cabextract makes of
    // the complete set.
    if (!haveCabextract())
        return;
    QTemporaryDir reference;
    QTemporaryDir ours;
    CapturedLog log("INFO");
    ASSERT_TRUE(CabUtil::decompress(ours.path(), sample(QStringLiteral("libmspack/split-1.cab")), files, false));
    cabextract(sample(QStringLiteral("libmspack/split-1.cab")), reference.path());
    EXPECT_EQ(readAll(ours.filePath(QStringLiteral("small1.bin"))), readAll(reference.filePath(QStringLiteral("small1.bin"))));
}

TEST(CabUtil, RegressionCabinetsEndWithFalseOrACorrectExtraction)
{
    REQUIRE_SHARED();
    // Old endless loops, over-reads and crashes of libmspack. The declared 4 GiB of
    // the Quantum one is refused before any decoding.
    struct Case
    {
        const char *cab;
        bool result;
        QStringList present;
    };
    const Case cases[] = {
        {"libmspack/cve-2010-2800-mszip-infinite-loop.cab", false, {}},
        {"libmspack/cve-2014-9556-qtm-infinite-loop.cab", false, {}},
        {"libmspack/cve-2014-9732-folders-segfault.cab", false, {QStringLiteral("1")}},
        {"libmspack/cve-2015-4471-lzx-under-read.cab", false, {}},
        {"libmspack/cve-2018-18584-qtm-max-size-block.cab", false, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.cab);
        QTemporaryDir dir;
        QStringList files;
        CapturedLog log("INFO");
        EXPECT_EQ(CabUtil::decompress(dir.path(), sample(QString::fromLatin1(c.cab)), files, true), c.result);
        EXPECT_EQ(tree(dir.path()).keys(), c.present);
        EXPECT_FALSE(log.warnings().empty());
    }
}

// ---------------------------------------------------------------------------
// Nested cabinets

TEST(CabUtil, ExpandsNestedCabinetsIntoDirectoriesNamedAfterThem)
{
    QTemporaryDir dir;
    const QByteArray inner = makeCabinet({CabEntry{"a.txt", "inner a"}, CabEntry{"deeper.cab", makeCabinet({CabEntry{"b.txt", "b"}})}});
    const QByteArray upper = makeCabinet({CabEntry{"u.txt", "u"}});
    const QString outer = dir.filePath(QStringLiteral("outer.cab"));
    ASSERT_TRUE(writeFile(outer, makeCabinet({CabEntry{"x.txt", "x"}, CabEntry{"inner.cab", inner},
                                              CabEntry{"UPPER.CAB", upper}, CabEntry{"y.txt", "y"}})));

    QTemporaryDir flat;
    QStringList files;
    ASSERT_TRUE(CabUtil::decompress(flat.path(), outer, files, false));
    EXPECT_EQ(files, nativePaths(flat.path(), {QStringLiteral("x.txt"), QStringLiteral("inner.cab"),
                                               QStringLiteral("UPPER.CAB"), QStringLiteral("y.txt")}));

    QTemporaryDir deep;
    files = QStringList{QStringLiteral("earlier")};
    ASSERT_TRUE(CabUtil::decompress(deep.path(), outer, files, true));
    // This level's ordinary files first, in cabinet order, then each nested cabinet's,
    // depth first. The suffix test is case-sensitive: UPPER.CAB is an ordinary file.
    EXPECT_EQ(files, QStringList{QStringLiteral("earlier")}
                         + nativePaths(deep.path(), {QStringLiteral("x.txt"), QStringLiteral("UPPER.CAB"),
                                                     QStringLiteral("y.txt"), QStringLiteral("inner/a.txt"),
                                                     QStringLiteral("inner/deeper/b.txt")}));
    EXPECT_EQ(tree(deep.path()).keys(),
              (QStringList{QStringLiteral("UPPER.CAB"), QStringLiteral("inner/a.txt"), QStringLiteral("inner/deeper/b.txt"),
                           QStringLiteral("x.txt"), QStringLiteral("y.txt")}));

    REQUIRE_SHARED();
    // search.cab is junk + cabinet; its cabinet alone holds hello.cab, which holds hello.txt.
    const QByteArray search = readAll(sample(QStringLiteral("libmspack/search.cab")));
    const QString stripped = dir.filePath(QStringLiteral("stripped.cab"));
    ASSERT_TRUE(writeFile(stripped, search.mid(search.indexOf("MSCF"))));
    QTemporaryDir hello;
    files.clear();
    ASSERT_TRUE(CabUtil::decompress(hello.path(), stripped, files, true));
    EXPECT_EQ(files, nativePaths(hello.path(), {QStringLiteral("hello/hello.txt")}));
    EXPECT_EQ(readAll(files.value(0)), QByteArray("hello\n"));
}

TEST(CabUtil, StopsAtTheNestingDepthLimit)
{
    QTemporaryDir dir;
    // A cabinet that holds a cabinet that holds ... `levels` deep.
    const auto chain = [](int levels) {
        QByteArray cab = makeCabinet({CabEntry{"leaf.txt", "leaf"}});
        for (int i = 0; i < levels; ++i)
            cab = makeCabinet({CabEntry{"n.cab", cab}});
        return cab;
    };
    const QString ok = dir.filePath(QStringLiteral("ok.cab"));
    const QString tooDeep = dir.filePath(QStringLiteral("deep.cab"));
    ASSERT_TRUE(writeFile(ok, chain(CabUtilPrivate::kMaxNestingDepth)));
    ASSERT_TRUE(writeFile(tooDeep, chain(CabUtilPrivate::kMaxNestingDepth + 1)));

    QTemporaryDir out;
    QStringList files;
    EXPECT_TRUE(CabUtil::decompress(out.path(), ok, files, true));
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(QDir::fromNativeSeparators(files[0]).count(QStringLiteral("/n/")), CabUtilPrivate::kMaxNestingDepth);

    QTemporaryDir out2;
    files.clear();
    CapturedLog log("INFO");
    EXPECT_FALSE(CabUtil::decompress(out2.path(), tooDeep, files, true));
    EXPECT_TRUE(files.isEmpty());
    EXPECT_TRUE(anyWarningContains(log, "Cabinet nested too deeply"));
}

// ---------------------------------------------------------------------------
// Resources: disk and memory

TEST(CabUtil, RefusesACabinetLargerThanTheFreeSpace)
{
    QTemporaryDir dir;
    const QString cab = dir.filePath(QStringLiteral("c.cab"));
    ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{"a", QByteArray(60, 'a')}, CabEntry{"b", QByteArray(40, 'b')}})));
    {
        FreeSpace space(99);
        QTemporaryDir out;
        QStringList files;
        CapturedLog log("INFO");
        EXPECT_FALSE(CabUtil::decompress(out.path(), cab, files, false));
        EXPECT_TRUE(anyWarningContains(log, "100 bytes needed, 99 available"));
        EXPECT_TRUE(tree(out.path()).isEmpty());
        EXPECT_EQ(FreeSpace::s_queries, QStringList{QDir::cleanPath(out.path())});
    }
    {
        FreeSpace space(100);
        QTemporaryDir out;
        QStringList files;
        EXPECT_TRUE(CabUtil::decompress(out.path(), cab, files, false));
    }

    REQUIRE_SHARED();
    // The sample nests a cabinet that declares 3 x 2 GiB: the outer level (14 MiB)
    // is extracted, the nested one refused before a byte of it is written.
    FreeSpace space(qint64(1) << 30);
    QTemporaryDir out;
    QStringList files;
    CapturedLog log("INFO");
    EXPECT_FALSE(CabUtil::decompress(out.path(), sample(QStringLiteral("libmspack/large-files-cab.cab")), files, true));
    EXPECT_EQ(FreeSpace::s_queries.size(), 2);
    EXPECT_TRUE(anyWarningContains(log, "6442352640 bytes needed, 1073741824 available"));
    EXPECT_EQ(tree(out.path()).keys(), QStringList{QStringLiteral("large-files.cab")});
    EXPECT_TRUE(QFileInfo(out.filePath(QStringLiteral("large-files"))).isDir());
}

TEST(CabUtil, RefusesGreedyAllocationsFromLibmspack)
{
    REQUIRE_SHARED();
    // mixed.cab: MSZIP (32 KiB window), then LZX with a 256 KiB window.
    const std::size_t previous = CabUtilPrivate::setAllocationLimit(200 * 1024);
    QTemporaryDir dir;
    QStringList files;
    CapturedLog log("INFO");
    const bool ok = CabUtil::decompress(dir.path(), sample(QStringLiteral("libmspack/mixed.cab")), files, false);
    CabUtilPrivate::setAllocationLimit(previous);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(anyWarningContains(log, "Refused a libmspack allocation beyond the limit, bytes: "));
    EXPECT_EQ(tree(dir.path()).keys(), QStringList{QStringLiteral("mszip.txt")});
    files.clear();
    EXPECT_TRUE(CabUtil::decompress(dir.path(), sample(QStringLiteral("libmspack/mixed.cab")), files, false));
}
