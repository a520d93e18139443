// CabUtil: extraction of real cabinets made by other tools (compared with
// cabextract), the decided name, time and attribute mappings, spanning sets,
// nested cabinets, and the refusals that keep a hostile cabinet inside its
// destination and off a full disk.
#include "cabwriter.h"
#include "filetree.h"
#include "testsupport.h"

#include "cabutil_p.h"

#include <utility/cabutil.h>

#include <QMap>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>
#include <vector>

using namespace cabwriter;
using namespace filetree;

namespace {

QString sample(const QString &relative)
{
    return testsupport::sharedPath("testdata/cab/" + relative);
}

// Every entry below dir as listing() names it, files with their contents.
QMap<QString, QByteArray> contents(const QString &dir)
{
    QMap<QString, QByteArray> result;
    for (const QString &path : listing(dir))
        result.insert(path, path.endsWith('/') ? QByteArray() : readFile(dir + '/' + path));
    return result;
}

// One decompress call with what it logged.
struct Result
{
    bool ok = false;
    QStringList files;
    std::vector<std::string> warnings;
    bool warned(const std::string &text) const
    {
        return std::any_of(warnings.begin(), warnings.end(), [&](const std::string &w) { return w.find(text) != std::string::npos; });
    }
};

Result extract(const QString &dest, const QString &cab, bool nested = false, const QStringList &files = {})
{
    testsupport::CapturedLog log("INFO");
    Result result;
    result.files = files;
    result.ok = CabUtil::decompress(dest, cab, result.files, nested);
    result.warnings = log.warnings();
    return result;
}

QStringList nativePaths(const QString &dir, const QStringList &relative)
{
    QStringList result;
    for (const QString &r : relative)
        result << QDir::toNativeSeparators(dir + '/' + r);
    return result;
}

// The raw names of a single cabinet's CFFILE records with their attributes.
std::vector<std::pair<QByteArray, quint16>> rawEntries(const QByteArray &cab)
{
    const auto u16 = [&cab](int at) { return qFromLittleEndian<quint16>(cab.constData() + at); };
    std::vector<std::pair<QByteArray, quint16>> result;
    for (int i = 0, at = int(qFromLittleEndian<quint32>(cab.constData() + 16)); i < u16(28); ++i) {
        const int end = cab.indexOf('\0', at + 16);
        result.emplace_back(cab.mid(at + 16, end - at - 16), u16(at + 14));
        at = end + 1;
    }
    return result;
}

// Stands in for the free space of the destination while it lives.
struct FreeSpace
{
    static inline QStringList queries;
    static inline qint64 bytes = 0;
    explicit FreeSpace(qint64 free) { bytes = free, queries.clear(); }
    ~FreeSpace() { CabUtilPrivate::setFreeSpaceProbe(previous); }
    const CabUtilPrivate::FreeSpaceProbe previous =
        CabUtilPrivate::setFreeSpaceProbe([](const QString &dir) { return queries << dir, bytes; });
};

} // namespace

// Empty arguments, a directory, a FIFO without a writer (must not block), a
// cabinet without files, junk before the cabinet (like the platform's open
// test, only a cabinet at the start of the file counts) and old libmspack
// crashes, endless loops and over-reads: false, the list untouched, a reason in
// the log (libmspack's too, rather than on stderr). The declared 4 GiB of the
// Quantum one is refused before any decoding. Entries need their directories to
// exist: dir.cab fails at its second entry, and lists none of its files, but
// its first stays.
TEST(CabUtil, RefusesWhatIsNoSoundCabinet)
{
    QTemporaryDir dir;
    const QString d = dir.path() + '/';
    ASSERT_TRUE(writeFile(d + "text.cab", "not a cabinet") && writeFile(d + "empty.cab", makeCabinet({})) && makeFifo(d + "fifo.cab"));
    const std::pair<QString, QString> cases[] = {{QString(), "x.cab"}, {d, QString()}, {d, d + "text.cab"},
                                                 {d, d + "missing.cab"}, {d, d}, {d, d + "fifo.cab"}, {d, d + "empty.cab"}};
    for (const auto &c : cases) {
        const Result r = extract(c.first, c.second, false, {"kept"});
        EXPECT_FALSE(r.ok || r.warnings.empty()) << c.second.toStdString();
        EXPECT_EQ(r.files, QStringList{"kept"});
    }
    EXPECT_TRUE(extract(d, d + "empty.cab").warned("libmspack: no files in cabinet"));
    ASSERT_TRUE(QFile::remove(d + "fifo.cab")); // reading it would block
    EXPECT_EQ(listing(d), (QStringList{"empty.cab", "text.cab"}));

    REQUIRE_SHARED();
    struct Case { const char *sample; QStringList left; const char *warning = ""; };
    const Case samples[] = {
        {"bad_signature.cab", {}}, {"partial_shortfile1.cab", {}}, {"search.cab", {}},
        {"cve-2010-2800-mszip-infinite-loop.cab", {}}, {"cve-2014-9556-qtm-infinite-loop.cab", {}},
        {"cve-2014-9732-folders-segfault.cab", {"1"}}, {"cve-2015-4471-lzx-under-read.cab", {}},
        {"cve-2018-18584-qtm-max-size-block.cab", {}},
        {"dir.cab", {"plain.c"}, "Directory of a cabinet entry does not exist: 1/2/3/4.c"}};
    for (const Case &c : samples) {
        SCOPED_TRACE(c.sample);
        QTemporaryDir out;
        const Result r = extract(out.path(), sample(QStringLiteral("libmspack/") + c.sample), true);
        EXPECT_FALSE(r.ok || !r.files.isEmpty());
        EXPECT_TRUE(r.warned(c.warning));
        EXPECT_EQ(listing(out.path()), c.left);
    }
}

// MSZIP, LZX (with E8 translation), Quantum and stored folders, reserved areas,
// a signature blob, a 255-character name, directories and UTF-8 names: the same
// files, bytes and local times as cabextract makes. The list holds native paths
// in cabinet order; a trailing separator on the destination does not double in
// it. Names without the UTF-8 flag are Latin-1 whatever they were meant to be
// (Shift-JIS, KOI8-R, CP932 come out as Latin-1 text, consistently on disk and
// in the list), where cabextract keeps their raw bytes.
TEST(CabUtil, ExtractsWhatCabextractExtracts)
{
    REQUIRE_SHARED();
    const bool compare = !tool("cabextract").isEmpty();
    struct Case { const char *name; bool asCabextract = true; };
    const Case cases[] = {
        {"gcab/test-mszip.cab"}, {"gcab/test-signed.cab"}, {"libarchive/test_read_format_cab_1.cab"},
        {"libarchive/test_read_format_cab_2.cab"}, {"libarchive/test_read_format_cab_3.cab"},
        {"libarchive/test_read_format_cab_lzx_e8.cab"}, {"libmspack/mixed.cab"}, {"libmspack/normal_2files_2folders.cab"},
        {"libmspack/reserve_HFD.cab"}, {"libmspack/simple.cab"}, {"libmspack/normal_255c_filename.cab"},
        {"libmspack/case-utf8.cab"}, {"libmspack/dir.cab"}, {"libmspack/large-files-cab.cab"},
        {"python-cabarchive/multi-folder-compressed.cab"}, {"python-cabarchive/utf8.cab"},
        {"libmspack/encoding-latin1.cab", false}, {"libmspack/encoding-koi8.cab", false},
        {"libmspack/encoding-sjis.cab", false}, {"libarchive/test_read_format_cab_filename_cp932.cab", false}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir reference, ours;
        // Entries do not create directories: make the ones the names need.
        QStringList names;
        for (const auto &entry : rawEntries(readFile(sample(c.name)))) {
            names << ((entry.second & 0x80) ? QString::fromUtf8(entry.first) : QString::fromLatin1(entry.first)).replace('\\', '/');
            QDir(ours.path()).mkpath(QFileInfo(names.last()).path());
        }
        const Result r = extract(ours.path() + '/', sample(c.name));
        ASSERT_TRUE(r.ok);
        EXPECT_EQ(r.files, nativePaths(ours.path(), names));
        EXPECT_TRUE(std::all_of(r.files.begin(), r.files.end(), [](const QString &f) { return QFileInfo::exists(f); }));
        if (!c.asCabextract || !compare)
            continue;
        ASSERT_EQ(run(tool("cabextract"), {"-q", "-d", reference.path(), sample(c.name)}).first, 0);
        EXPECT_EQ(contents(ours.path()), contents(reference.path()));
        for (const QString &listed : r.files) {
            const QString relative = QDir(ours.path()).relativeFilePath(QDir::fromNativeSeparators(listed));
            EXPECT_EQ(QFileInfo(listed).lastModified(), QFileInfo(reference.filePath(relative)).lastModified())
                << relative.toStdString();
        }
    }
    if (!compare)
        GTEST_SKIP() << "cabextract is not installed (scripts/install-deps installs it): nothing compared with it";
}

// Entry times are local times; an invalid date leaves the time of extraction.
// The read-only attribute clears every write bit, and a read-only file from an
// earlier extraction is replaced rather than failed on.
TEST(CabUtil, SetsLocalModificationTimesAndTheReadOnlyAttribute)
{
    QTemporaryDir dir, out;
    const QString cab = dir.filePath("attributes.cab");
    CabEntry undated{"undated", "u"};
    undated.date = 0;
    ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{"readonly", "r", 0x21}, CabEntry{"writable", "w"}, undated})));
    const QDateTime before = QDateTime::currentDateTime().addSecs(-2);
    Result r = extract(out.path(), cab);
    ASSERT_TRUE(r.ok && r.files.size() == 3);
    // (The "User" bits say what the current user may do, which for root is anything.)
    const auto anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    EXPECT_EQ(QFileInfo(r.files[0]).permissions() & (anyWrite | QFileDevice::ReadOwner), QFileDevice::ReadOwner);
    EXPECT_TRUE(QFileInfo(r.files[1]).permissions() & QFileDevice::WriteOwner);
    EXPECT_EQ(QFileInfo(r.files[1]).lastModified(), QDateTime(QDate(1997, 3, 12), QTime(11, 13, 52)));
    EXPECT_GE(QFileInfo(r.files[2]).lastModified(), before);
    ASSERT_TRUE(QFile::setPermissions(r.files[1], QFileDevice::ReadOwner) && writeFile(out.filePath("scratch"), "x"));
    r = extract(out.path(), cab);
    EXPECT_TRUE(r.ok && (QFileInfo(r.files.value(1)).permissions() & QFileDevice::WriteOwner));
}

// One replacement character per maximal bad subsequence; overlong "/" never
// becomes a separator.
TEST(CabUtilPrivate, RepairsInvalidUtf8OneReplacementPerBadSequence)
{
    const QString r = QString(QChar(QChar::ReplacementCharacter));
    struct Case { QByteArray raw; QString expected; bool valid; };
    const Case cases[] = {
        {"plain", "plain", true}, {"\xce\xba\xe1\xbd\xb9\xcf\x83\xce\xbc\xce\xb5", "\u03ba\u1f79\u03c3\u03bc\u03b5", true},
        {"\xf0\x90\x80\x80", QString::fromUcs4(U"\U00010000"), true}, {"\xf4\x8f\xbf\xbf", QString::fromUcs4(U"\U0010FFFF"), true},
        {"\xef\xbf\xbe", QString(QChar(0xFFFE)), true}, // a noncharacter is still well-formed
        {"a\xc0\xaf" "b", "a" + r + r + "b", false}, {"a\xe0\x80\xaf" "b", "a" + r + r + r + "b", false},
        {"\xf0\x80\x80\xaf", r + r + r + r, false}, {"\xed\xa0\x80", r + r + r, false}, // a surrogate
        {"\xf4\x90\x80\x80", r + r + r + r, false}, // beyond U+10FFFF
        {"\xe2\x82", r, false}, {"\xe2\x82x", r + "x", false}, {"\x80\xbf", r + r, false}, {"\xfe\xff", r + r, false}};
    for (const Case &c : cases) {
        bool valid = !c.valid;
        EXPECT_EQ(CabUtilPrivate::decodeEntryName(c.raw, true, &valid), c.expected) << c.raw.toHex().toStdString();
        EXPECT_EQ(valid, c.valid) << c.raw.toHex().toStdString();
    }
    bool valid = false;
    EXPECT_EQ(CabUtilPrivate::decodeEntryName("\xc0\xaf", false, &valid), QString::fromUtf8("\xc3\x80\xc2\xaf"));
    EXPECT_TRUE(valid);
}

TEST(CabUtilPrivate, RelativeEntryPathRefusesWhatCouldLeaveTheDestination)
{
    const std::pair<const char *, const char *> cases[] = { // nullptr: refused
        {"a.txt", "a.txt"}, {"dir\\a.txt", "dir/a.txt"}, {"dir/a.txt", "dir/a.txt"}, {"a\\\\b", "a/b"},
        {".\\a", "a"}, {"a/./b", "a/b"}, {"a..b", "a..b"}, {"...", "..."}, {"C", "C"}, {"1:x", "1:x"},
        {"\\abs", nullptr}, {"/abs", nullptr}, {"C:x", nullptr}, {"c:\\x", nullptr}, {"..", nullptr},
        {"..\\x", nullptr}, {"../x", nullptr}, {"a\\..\\..\\x", nullptr}, {"a/../b", nullptr}, {"a/..", nullptr},
        {"dir\\", nullptr}, {"dir/", nullptr}, {".", nullptr}, {"a/.", nullptr}, {"", nullptr}, {"/", nullptr},
        {"\\\\\\", nullptr}};
    for (const auto &c : cases) {
        QString reason;
        const QString result = CabUtilPrivate::relativeEntryPath(c.first, &reason);
        EXPECT_EQ(result, c.second ? QString(c.second) : QString()) << c.first;
        EXPECT_TRUE(c.second || (result.isNull() && !reason.isEmpty())) << c.first;
    }
}

// dirwalk-vulns.cab as it is: its first entry is absolute, so nothing is
// written. Each of its 29 names alone (with its own UTF-8 flag): refused with a
// reason, or written below the destination; never anything outside it. The
// UTF-8 stress test's 79 names all land directly in the destination.
TEST(CabUtil, CabSlipWritesNothingOutsideTheDestination)
{
    REQUIRE_SHARED();
    const auto names = rawEntries(readFile(sample("libmspack/dirwalk-vulns.cab")));
    ASSERT_EQ(names.size(), 29u);
    QTemporaryDir sandbox;
    const QString dest = sandbox.filePath("a/b/c/dest");
    ASSERT_TRUE(QDir().mkpath(dest + "/relative"));
    const QString realDest = QFileInfo(dest).canonicalFilePath() + '/';
    const QStringList untouched = listing(sandbox.path());
    Result r = extract(dest, sample("libmspack/dirwalk-vulns.cab"));
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.warned("Refused a cabinet entry: /absolute/path (absolute name)"));
    EXPECT_EQ(listing(sandbox.path()), untouched);
    int refused = 0;
    for (const auto &entry : names) {
        SCOPED_TRACE(entry.first.toHex().toStdString());
        CabEntry e{entry.first, "payload"};
        e.attribs = entry.second;
        ASSERT_TRUE(writeFile(sandbox.filePath("one.cab"), makeCabinet({e})));
        r = extract(dest, sandbox.filePath("one.cab"));
        ASSERT_TRUE(QFile::remove(sandbox.filePath("one.cab")));
        refused += !r.ok;
        EXPECT_TRUE(r.ok ? r.files.size() == 1 && QFileInfo(r.files[0]).canonicalFilePath().startsWith(realDest)
                         : !r.warnings.empty());
        for (const QString &path : listing(sandbox.path()))
            EXPECT_TRUE(path.startsWith("a/b/c/dest/") || untouched.contains(path)) << path.toStdString();
    }
    // Absolute, "..", and separator-only names: 14 of the plain ones. Overlong "/"
    // stays inside a single name, and the "innocuous\xc0\x80/../.." ones have a
    // real ".." component.
    EXPECT_EQ(refused, 14 + 5);

    QTemporaryDir stress;
    const QString flat = stress.filePath("dest");
    ASSERT_TRUE(QDir().mkpath(flat));
    r = extract(flat, sample("libmspack/utf8-stresstest.cab"));
    EXPECT_TRUE(r.ok && r.files.size() == 79);
    EXPECT_TRUE(r.files.contains(QDir::toNativeSeparators(flat + "/\u03ba\u1f79\u03c3\u03bc\u03b5")));
    EXPECT_TRUE(r.warned("not valid UTF-8"));
    for (const QString &path : listing(stress.path()))
        EXPECT_TRUE(path.startsWith("dest/") && path.count('/') == 1) << path.toStdString();
}

// Links planted by someone else (or an earlier extraction): a directory link, a
// file link, a dangling link, and a sibling whose name shares the prefix. A
// destination reached through a link is fine: containment is measured from
// where the destination really is.
TEST(CabUtil, NeverWritesThroughSymbolicLinks)
{
    QTemporaryDir sandbox;
    const QString dest = sandbox.filePath("dest"), outside = sandbox.filePath("outside"), cab = sandbox.filePath("one.cab");
    ASSERT_TRUE(writeFile(outside + "/victim", "precious") && QDir().mkpath(dest) && QDir().mkpath(dest + "X"));
    ASSERT_TRUE(makeLink(outside, dest + "/linkdir") && makeLink(outside + "/victim", dest + "/linkfile"));
    ASSERT_TRUE(makeLink(outside + "/new", dest + "/dangling") && makeLink(dest + "X", dest + "/sibling"));
    for (const char *name : {"linkdir\\victim", "linkdir\\new", "linkfile", "dangling", "sibling\\x"}) {
        ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{name, "evil"}})));
        const Result r = extract(dest, cab);
        EXPECT_FALSE(r.ok || r.warnings.empty() || !r.files.isEmpty()) << name;
    }
    EXPECT_EQ(listing(outside), QStringList{"victim"});
    EXPECT_EQ(readFile(outside + "/victim"), QByteArray("precious"));
    EXPECT_TRUE(listing(dest + "X").isEmpty());
    ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{"ok.txt", "fine"}})));
    EXPECT_TRUE(extract(dest + "/linkdir", cab).ok);
    EXPECT_EQ(readFile(outside + "/ok.txt"), QByteArray("fine"));
}

// A failed entry leaves only complete files: the second file spans four
// blocks and the last one's checksum is wrong, so libmspack has written 64 KiB
// of it when it fails; the old file of that name is back.
TEST(CabUtil, FailedEntryLeavesOnlyCompleteFiles)
{
    QTemporaryDir dir, out;
    ASSERT_TRUE(writeFile(dir.filePath("damaged.cab"),
                          makeCabinet({CabEntry{"first.txt", "first"}, CabEntry{"second.bin", QByteArray(100000, 'x')}}, 3)));
    ASSERT_TRUE(writeFile(out.filePath("second.bin"), "old content"));
    const Result r = extract(out.path(), dir.filePath("damaged.cab"));
    EXPECT_FALSE(r.ok || !r.files.isEmpty());
    EXPECT_TRUE(r.warned("Cannot extract a cabinet entry: second.bin: checksum mismatch"));
    EXPECT_EQ(contents(out.path()), (QMap<QString, QByteArray>{{"first.txt", "first"}, {"second.bin", "old content"}}));
}

// Files continued from or into other cabinets are skipped with a warning each;
// so is a file that begins in this cabinet but in the folder the previous one
// began. small1.bin is whole in the first part and matches what cabextract
// makes of the complete set.
TEST(CabUtil, SkipsFilesContinuedFromOrIntoOtherCabinets)
{
    QTemporaryDir dir, out;
    CabEntry tail{"tail.bin", "end of a file from the previous cabinet"};
    tail.folder = 0xFFFD;
    ASSERT_TRUE(writeFile(dir.filePath("part2.cab"), makeCabinet({tail, CabEntry{"whole.txt", "whole"}}, -1, true)));
    Result r = extract(out.path(), dir.filePath("part2.cab"));
    EXPECT_TRUE(r.ok && r.files.isEmpty() && r.warnings.size() == 2u);
    EXPECT_TRUE(r.warned("continued from or into another cabinet: whole.txt"));
    EXPECT_TRUE(listing(out.path()).isEmpty());

    REQUIRE_SHARED();
    const std::tuple<const char *, QStringList, int> cases[] = {
        {"libmspack/split-1.cab", {"small1.bin"}, 2}, {"libmspack/split-2.cab", {}, 3}, {"libmspack/split-3.cab", {}, 1},
        {"libmspack/split-4.cab", {}, 3}, {"libmspack/split-5.cab", {}, 2}, {"libmspack/multi_basic_pt1.cab", {}, 3},
        {"libmspack/multi_basic_pt2.cab", {}, 3}, {"libmspack/multi_basic_pt3.cab", {}, 3},
        {"libmspack/multi_basic_pt4.cab", {}, 3}, {"libmspack/multi_basic_pt5.cab", {}, 3},
        {"libarchive/test_read_format_cab_multi.p1.cab", {}, 1}, {"libarchive/test_read_format_cab_multi.p2.cab", {}, 1}};
    for (const auto &[cab, extracted, skipped] : cases) {
        SCOPED_TRACE(cab);
        QTemporaryDir target;
        r = extract(target.path(), sample(cab));
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(r.files, nativePaths(target.path(), extracted));
        EXPECT_EQ(listing(target.path()), extracted);
        EXPECT_EQ(int(r.warnings.size()), skipped);
        EXPECT_TRUE(r.warned("Skipped a file continued from or into another cabinet"));
    }
    REQUIRE_TOOL("cabextract");
    QTemporaryDir reference, ours;
    ASSERT_TRUE(extract(ours.path(), sample("libmspack/split-1.cab")).ok);
    run(tool("cabextract"), {"-q", "-d", reference.path(), sample("libmspack/split-1.cab")});
    EXPECT_EQ(readFile(ours.filePath("small1.bin")), readFile(reference.filePath("small1.bin")));
}

// Nested cabinets go into directories named after them: this level's ordinary
// files first, in cabinet order, then each nested cabinet's, depth first. The
// suffix test is case-sensitive: UPPER.CAB is an ordinary file. Nesting deeper
// than the limit fails.
TEST(CabUtil, ExpandsNestedCabinetsUpToTheDepthLimit)
{
    QTemporaryDir dir, flat, deep, limit, tooDeep;
    const QByteArray inner = makeCabinet({CabEntry{"a.txt", "inner a"}, CabEntry{"deeper.cab", makeCabinet({CabEntry{"b.txt", "b"}})}});
    const QString outer = dir.filePath("outer.cab");
    ASSERT_TRUE(writeFile(outer, makeCabinet({CabEntry{"x.txt", "x"}, CabEntry{"inner.cab", inner},
                                              CabEntry{"UPPER.CAB", makeCabinet({CabEntry{"u.txt", "u"}})}, CabEntry{"y.txt", "y"}})));
    EXPECT_EQ(extract(flat.path(), outer).files, nativePaths(flat.path(), {"x.txt", "inner.cab", "UPPER.CAB", "y.txt"}));
    EXPECT_EQ(extract(deep.path(), outer, true, {"earlier"}).files,
              QStringList{"earlier"} + nativePaths(deep.path(), {"x.txt", "UPPER.CAB", "y.txt", "inner/a.txt", "inner/deeper/b.txt"}));
    EXPECT_EQ(listing(deep.path()), (QStringList{"UPPER.CAB", "inner/", "inner/a.txt", "inner/deeper/", "inner/deeper/b.txt", "x.txt", "y.txt"}));

    // A cabinet that holds a cabinet that holds ... `levels` deep.
    const auto chain = [](int levels) {
        QByteArray cab = makeCabinet({CabEntry{"leaf.txt", "leaf"}});
        for (int i = 0; i < levels; ++i)
            cab = makeCabinet({CabEntry{"n.cab", cab}});
        return cab;
    };
    ASSERT_TRUE(writeFile(dir.filePath("ok.cab"), chain(CabUtilPrivate::kMaxNestingDepth)));
    ASSERT_TRUE(writeFile(dir.filePath("deep.cab"), chain(CabUtilPrivate::kMaxNestingDepth + 1)));
    Result r = extract(limit.path(), dir.filePath("ok.cab"), true);
    ASSERT_TRUE(r.ok && r.files.size() == 1);
    EXPECT_EQ(QDir::fromNativeSeparators(r.files[0]).count("/n/"), CabUtilPrivate::kMaxNestingDepth);
    r = extract(tooDeep.path(), dir.filePath("deep.cab"), true);
    EXPECT_FALSE(r.ok || !r.files.isEmpty());
    EXPECT_TRUE(r.warned("Cabinet nested too deeply"));

    REQUIRE_SHARED();
    // search.cab is junk + cabinet; its cabinet alone holds hello.cab, which holds hello.txt.
    const QByteArray search = readFile(sample("libmspack/search.cab"));
    QTemporaryDir hello;
    ASSERT_TRUE(writeFile(dir.filePath("stripped.cab"), search.mid(search.indexOf("MSCF"))));
    r = extract(hello.path(), dir.filePath("stripped.cab"), true);
    ASSERT_EQ(r.files, nativePaths(hello.path(), {"hello/hello.txt"}));
    EXPECT_EQ(readFile(r.files.value(0)), QByteArray("hello\n"));
}

// A cabinet larger than the free space is refused before a byte is written; a
// nested one is measured when its turn comes. Greedy libmspack allocations are
// refused beyond the limit (mixed.cab: MSZIP with a 32 KiB window, then LZX
// with 256 KiB).
TEST(CabUtil, RefusesWhatExceedsDiskOrMemory)
{
    QTemporaryDir dir, out, out2;
    const QString cab = dir.filePath("c.cab");
    ASSERT_TRUE(writeFile(cab, makeCabinet({CabEntry{"a", QByteArray(60, 'a')}, CabEntry{"b", QByteArray(40, 'b')}})));
    {
        FreeSpace space(99);
        const Result r = extract(out.path(), cab);
        EXPECT_FALSE(r.ok);
        EXPECT_TRUE(r.warned("100 bytes needed, 99 available"));
        EXPECT_TRUE(listing(out.path()).isEmpty());
        EXPECT_EQ(FreeSpace::queries, QStringList{QDir::cleanPath(out.path())});
    }
    {
        FreeSpace space(100);
        EXPECT_TRUE(extract(out.path(), cab).ok);
    }
    REQUIRE_SHARED();
    {
        // The sample nests a cabinet that declares 3 x 2 GiB: the outer level (14 MiB)
        // is extracted, the nested one refused.
        FreeSpace space(qint64(1) << 30);
        const Result r = extract(out2.path(), sample("libmspack/large-files-cab.cab"), true);
        EXPECT_FALSE(r.ok);
        EXPECT_EQ(FreeSpace::queries.size(), 2);
        EXPECT_TRUE(r.warned("6442352640 bytes needed, 1073741824 available"));
        EXPECT_EQ(listing(out2.path()), (QStringList{"large-files.cab", "large-files/"}));
    }
    QTemporaryDir mixed;
    const std::size_t previous = CabUtilPrivate::setAllocationLimit(200 * 1024);
    const Result r = extract(mixed.path(), sample("libmspack/mixed.cab"));
    CabUtilPrivate::setAllocationLimit(previous);
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.warned("Refused a libmspack allocation beyond the limit, bytes: "));
    EXPECT_EQ(listing(mixed.path()), QStringList{"mszip.txt"});
    EXPECT_TRUE(extract(mixed.path(), sample("libmspack/mixed.cab")).ok);
}
