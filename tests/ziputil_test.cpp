// Zip archives: what compress stores and under which names, what decompress and
// UnZipUtil accept and refuse, interoperability with Info-ZIP and Python in both
// directions, real archives made by other tools, and hostile archives (zip-slip,
// planted links, headers that lie about sizes).
#include "bytes.h"
#include "filetree.h"
#include "testsupport.h"

#include <utility/ziputil.h>

#include <QCryptographicHash>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <zlib.h>

#include <algorithm>
#include <random>

using namespace filetree;
using bytes::put;
using testsupport::CapturedLog;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

namespace {

QByteArray randomBytes(int size, unsigned seed)
{
    std::mt19937 generator(seed);
    QByteArray data(size, Qt::Uninitialized);
    std::generate(data.begin(), data.end(), [&generator] { return char(generator() & 0xFF); });
    return data;
}

QString canonical(const QString &path)
{
    return QFileInfo(path).canonicalFilePath();
}

// ---- a hand-made archive writer, for headers no honest tool writes ----

struct HandEntry
{
    QByteArray name;
    QByteArray data;          // the bytes the entry really holds
    bool deflate = true;
    qint64 declaredSize = -1; // uncompressed size written into both headers; -1: the real one
    qint64 declaredCrc = -1;  // -1: the real CRC
    quint16 flags = 0;
};

// 2021-06-15 13:45:36 in DOS form.
constexpr quint32 kDosTime = (41u << 25) | (6u << 21) | (15u << 16) | (13u << 11) | (45u << 5) | 18u;

QByteArray buildZip(const std::vector<HandEntry> &entries)
{
    QByteArray archive, directory;
    for (const HandEntry &e : entries) {
        // qCompress gives a length and a zlib stream; without the stream's two-byte
        // header and Adler-32 trailer that is raw deflate. Nothing deflates to an
        // empty final block.
        const QByteArray payload = !e.deflate ? e.data : e.data.isEmpty() ? QByteArray("\3\0", 2) : qCompress(e.data).mid(6).chopped(4);
        const auto crc = quint32(e.declaredCrc >= 0 ? e.declaredCrc
                                                    : crc32(0, reinterpret_cast<const Bytef *>(e.data.constData()), uInt(e.data.size())));
        const auto size = quint32(e.declaredSize >= 0 ? e.declaredSize : e.data.size());
        const auto offset = quint32(archive.size()), packed = quint32(payload.size());
        const quint16 method = e.deflate ? 8 : 0, nameLength = quint16(e.name.size());
        put(archive, quint32(0x04034b50), quint16(20), e.flags, method, kDosTime, crc, packed, size, nameLength, quint16(0));
        archive += e.name + payload;
        put(directory, quint32(0x02014b50), quint16(20), quint16(20), e.flags, method, kDosTime, crc, packed, size,
            nameLength, quint16(0), quint16(0), quint16(0), quint16(0), quint32(0), offset);
        directory += e.name;
    }
    const auto count = quint16(entries.size());
    put(directory, quint32(0x06054b50), quint16(0), quint16(0), count, count, quint32(directory.size()),
        quint32(archive.size()), quint16(0));
    return archive + directory;
}

QString writeZip(const QString &path, const std::vector<HandEntry> &entries)
{
    writeFile(path, buildZip(entries));
    return path;
}

const QString kUnicodeName = QString::fromUtf8("Grüße/ñandú €.txt");

// A source tree with the things compress must leave out: hidden files, empty
// directories, links.
struct SourceTree
{
    QTemporaryDir temp;
    QString root = canonical(temp.path()) + "/src", zip = temp.path() + "/out.zip";

    SourceTree()
    {
        const std::pair<QString, QByteArray> files[] = {
            {"top.txt", "top level\n"}, {"sub/inner.bin", randomBytes(100000, 1)}, {"sub/deeper/leaf.txt", QByteArray(5000, 'x')},
            {kUnicodeName, "non-ASCII\n"}, {"empty.dat", {}}, {".hidden", "hidden\n"}, {"sub/.hidden-too", "hidden\n"}};
        for (const auto &file : files)
            writeFile(root + '/' + file.first, file.second, QDateTime(QDate(2021, 6, 15), QTime(13, 45, 37)));
        QDir().mkpath(root + "/empty-dir");
        makeLink(root + "/top.txt", root + "/link-to-top");
        makeLink(root + "/sub", root + "/link-to-sub");
    }
};

} // namespace

// ===================================================================== compress

// Files only (no hidden ones, links or directories), by relative UTF-8 name
// without the UTF-8 flag, deflated even when empty, sizes in the local header,
// no extras, comments or attributes, DOS time in two-second steps; a
// directory's files before its subdirectories. Info-ZIP tests the archive and
// Python reads the same names, bytes and times; decompress gives the tree back.
TEST(ZipUtilCompress, WritesPlainArchivesThatOthersRead)
{
    SourceTree src;
    ASSERT_TRUE(ZipUtil::compress(src.zip, src.root, true));
    const QStringList order = UnZipUtil(src.zip).listAllFiles("*"); // a one-character prefix matches all
    EXPECT_LT(std::max(order.indexOf("top.txt"), order.indexOf("empty.dat")), order.indexOf("sub/inner.bin"));
    EXPECT_LT(order.indexOf("sub/inner.bin"), order.indexOf("sub/deeper/leaf.txt"));

    const QString dest = src.temp.path() + "/dest";
    ASSERT_TRUE(ZipUtil::decompress(dest, src.zip));
    EXPECT_EQ(listing(dest), (QStringList{"Grüße/", kUnicodeName, "empty.dat", "sub/", "sub/deeper/", "sub/deeper/leaf.txt",
                                          "sub/inner.bin", "top.txt"}));
    for (const QString &name : {QString("top.txt"), QString("sub/inner.bin"), QString("sub/deeper/leaf.txt"), kUnicodeName})
        EXPECT_EQ(readFile(dest + '/' + name), readFile(src.root + '/' + name)) << name.toStdString();

    if (!tool("unzip").isEmpty()) {
        const auto tested = run(tool("unzip"), {"-t", src.zip});
        EXPECT_EQ(tested.first, 0) << tested.second.toStdString();
        EXPECT_THAT(tested.second.toStdString(), HasSubstr("No errors detected"));
    }
    REQUIRE_TOOL("python3");
    // What Python's zipfile sees in the central directory: per entry the name (as
    // the flag says to read it), DOS time, method, the UTF-8 and data descriptor
    // flags, the lengths of extra field and comment plus both attribute fields,
    // and the SHA-256 of the data it reads.
    const char *script = R"PY(
import hashlib, sys, zipfile
sys.stdout.reconfigure(encoding='utf-8')
z = zipfile.ZipFile(sys.argv[1])
for i in z.infolist():
    name = i.filename.encode('utf-8' if i.flag_bits & 0x800 else 'cp437').decode('utf-8')
    extras = len(i.extra) + len(i.comment) + i.internal_attr + i.external_attr
    print(name, i.date_time, i.compress_type, i.flag_bits & 0x808, extras, hashlib.sha256(z.read(i)).hexdigest())
)PY";
    const auto listed = run(tool("python3"), {"-c", script, src.zip});
    ASSERT_EQ(listed.first, 0) << listed.second.toStdString();
    QStringList expected;
    for (const QString &name : {QString("top.txt"), QString("empty.dat"), QString("sub/inner.bin"), QString("sub/deeper/leaf.txt"), kUnicodeName})
        expected << name + " (2021, 6, 15, 13, 45, 36) 8 0 0 "
                        + QCryptographicHash::hash(readFile(src.root + '/' + name), QCryptographicHash::Sha256).toHex();
    EXPECT_THAT(QString::fromUtf8(listed.second).split('\n', Qt::SkipEmptyParts), ::testing::UnorderedElementsAreArray(expected));
}

// Non-recursive: the top directory only. An archive inside the source is
// replaced and leaves itself out. An empty tree, or a missing source (with a
// warning), gives an archive of only its 22-byte end record, which reads as
// nothing. Times before 1980 are clamped to 1980-01-01.
TEST(ZipUtilCompress, FlatEmptyAndOldSources)
{
    SourceTree src;
    const QString inside = src.root + "/inside.zip", base = canonical(src.temp.path());
    writeFile(inside, QByteArray(1000, 'z'));
    ASSERT_TRUE(ZipUtil::compress(inside, src.root, false));
    EXPECT_THAT(UnZipUtil(inside).listAllFiles("*"), UnorderedElementsAre("top.txt", "empty.dat"));

    QDir().mkpath(base + "/empty/nothing/inside");
    ASSERT_TRUE(ZipUtil::compress(base + "/empty.zip", base + "/empty", true));
    EXPECT_EQ(QFileInfo(base + "/empty.zip").size(), 22);
    EXPECT_TRUE(ZipUtil::decompress(base + "/dest", base + "/empty.zip"));
    EXPECT_TRUE(listing(base + "/dest").isEmpty());
    UnZipUtil reader(base + "/empty.zip");
    QByteArray data;
    EXPECT_FALSE(reader.extractFile("a", data) || !reader.listAllFiles("a").isEmpty());
    {
        CapturedLog log("INFO");
        EXPECT_TRUE(ZipUtil::compress(base + "/none.zip", base + "/missing", true));
        EXPECT_EQ(QFileInfo(base + "/none.zip").size(), 22);
        ASSERT_EQ(log.warnings().size(), 1u);
        EXPECT_THAT(log.warnings()[0], HasSubstr("Source directory not found"));
    }
    writeFile(base + "/old/old.txt", "old", QDateTime::fromSecsSinceEpoch(0));
    ASSERT_TRUE(ZipUtil::compress(base + "/old.zip", base + "/old", true));
    const QByteArray old = readFile(base + "/old.zip"); // the time of the central directory record
    EXPECT_EQ(qFromLittleEndian<quint32>(old.constData() + old.indexOf("PK\x01\x02") + 12), (0u << 25) | (1u << 21) | (1u << 16));
}

// Names are cut from canonical paths by the source's length: a trailing
// separator shifts them by one, and the files are then not found again.
TEST(ZipUtilCompress, RefusesWhatItCannotDoAndTraces)
{
    SourceTree src;
    const std::pair<QString, QString> cases[] = {{QString(), src.root}, {src.zip, QString()},
                                                 {src.temp.path() + "/no/such/dir/out.zip", src.root},
                                                 {src.zip, src.root + '/'}};
    for (const auto &c : cases) {
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::compress(c.first, c.second, true)) << c.first.toStdString() << " " << c.second.toStdString();
    }
    const QString source = canonical(src.temp.path()) + "/t";
    writeFile(source + "/a/b.txt", "b");
    CapturedLog log("TRACE");
    ASSERT_TRUE(ZipUtil::compress(src.temp.path() + "/t.zip", source, true));
    ASSERT_TRUE(ZipUtil::decompress(src.temp.path() + "/d", src.temp.path() + "/t.zip"));
    std::vector<std::string> frames;
    for (const std::string &line : log.traceLines())
        frames.push_back(line.substr(line.rfind('\t') + 1));
    EXPECT_THAT(frames, ::testing::ElementsAre("EnterZipUtil::compress", "EnterZipUtil::collectFiles", "EnterZipUtil::collectFiles",
                                               "ExitZipUtil::collectFiles", "ExitZipUtil::collectFiles", "ExitZipUtil::compress",
                                               "EnterZipUtil::decompress", "ExitZipUtil::decompress"));
    EXPECT_THAT(log.traceLines().front(), HasSubstr(".\\ziputil.cpp\t"));
    EXPECT_TRUE(log.warnings().empty());
}

// ==================================================================== decompress

// Backslashes separate like slashes; existing files are overwritten and others
// kept; directory links that stay inside are followed, and a target given
// through a link is resolved.
TEST(ZipUtilDecompress, WritesEntriesUnderTheTarget)
{
    QTemporaryDir temp;
    const QString base = canonical(temp.path()), dest = base + "/out";
    writeFile(dest + "/a.txt", "old and longer content");
    writeFile(dest + "/keep.txt", "untouched");
    QDir().mkpath(dest + "/real");
    ASSERT_TRUE(makeLink(dest + "/real", dest + "/alias") && makeLink(dest, base + "/linked-out"));
    const QString zip = writeZip(base + "/a.zip", {{"a\\b\\c.txt", "abc"}, {"a/./d//e.txt", "de"}, {"a.txt", "new"},
                                                    {"alias/file.txt", "fine"}});
    ASSERT_TRUE(ZipUtil::decompress(base + "/linked-out", zip));
    EXPECT_EQ(listing(dest), (QStringList{"a.txt", "a/", "a/b/", "a/b/c.txt", "a/d/", "a/d/e.txt", "alias -> " + dest + "/real",
                                          "keep.txt", "real/", "real/file.txt"}));
    EXPECT_EQ(readFile(dest + "/a.txt") + readFile(dest + "/keep.txt"), QByteArray("newuntouched"));
}

// Missing arguments, no archive, an end record that claims an entry: false and
// no target made; UnZipUtil on such an archive fails everything.
TEST(ZipUtilDecompress, RefusesMissingArgumentsAndNonArchives)
{
    QTemporaryDir temp;
    const QString d = temp.path();
    writeFile(d + "/not.zip", "PK\x05\x06 but not really an archive at all");
    writeFile(d + "/text.zip", "not an archive");
    QByteArray record = buildZip({});
    record[10] = 1;
    writeFile(d + "/almost-empty.zip", record);
    CapturedLog log("INFO");
    EXPECT_FALSE(ZipUtil::decompress(QString(), d + "/not.zip"));
    for (const QString &zip : {d + "/not.zip", d + "/text.zip", d + "/almost-empty.zip", d + "/missing.zip", QString()}) {
        EXPECT_FALSE(ZipUtil::decompress(d + "/t", zip)) << zip.toStdString();
        UnZipUtil broken(zip);
        QByteArray data;
        std::vector<char> vector;
        EXPECT_FALSE(broken.extractFile("x", data) || broken.extractFile("x", vector));
        EXPECT_TRUE(broken.listAllFiles("x").isEmpty());
    }
    EXPECT_FALSE(QFileInfo::exists(d + "/t"));
}

// Each archive holds a hostile entry after a harmless one; the archive itself
// lies in the target, and a victim outside it, an inside file and a sibling
// whose name shares the target's prefix are there to be aimed at, sometimes
// through a link planted in the target. The extraction must stop with false at
// the entry, say why, change nothing but the harmless file (not the archive,
// not a link's target, whether that lies outside, inside, nowhere, or in outX,
// which a textual prefix test would let through) and leave no partial file.
// Sizes and checksums come from the archive: a lie ends with false, never with
// more bytes written than declared, UnZipUtil appends nothing, and however
// much is declared it reserves at most 64 MiB ahead of the data.
TEST(ZipUtilDecompress, HostileEntriesStopTheExtraction)
{
    const QByteArray bomb(4 * 1024 * 1024, '\0'); // inflates from a few KiB
    const auto bombCut = qint64(crc32(0, reinterpret_cast<const Bytef *>(bomb.constData()), 1000));
    struct Case { HandEntry entry; const char *why; bool lie = false; const char *link = nullptr, *target = nullptr; };
    const char *escapes = "leaves the target directory", *links = "symbolic link";
    const Case cases[] = {
        {{"../escaped.txt", "EVIL"}, escapes}, {{"..\\escaped.txt", "EVIL"}, escapes}, {{"inner/../../escaped.txt", "EVIL"}, escapes},
        {{"inner\\..\\..\\escaped.txt", "EVIL"}, escapes}, {{"./../escaped.txt", "EVIL"}, escapes}, {{"..", "EVIL"}, escapes},
        {{"/tmp/escaped.txt", "EVIL"}, "is absolute"}, {{"\\escaped.txt", "EVIL"}, "is absolute"},
        {{"//server/share/escaped.txt", "EVIL"}, "is absolute"}, {{"C:/escaped.txt", "EVIL"}, "drive letter"},
        {{"c:escaped.txt", "EVIL"}, "drive letter"}, {{"./", "EVIL"}, "Directory entries"},
        {{"folder/", ""}, "Directory entries are not extracted: folder/"},
        {{QByteArray("nul\0../../escaped.txt", 21), "EVIL"}, "NUL character"}, {{"bad.zip", "EVIL"}, "overwrite the archive"},
        {{"victim.txt", "EVIL"}, links, false, "victim.txt", "outside/victim.txt"},
        {{"alias.txt", "EVIL"}, links, false, "alias.txt", "out/real.txt"},
        {{"dangling.txt", "EVIL"}, links, false, "dangling.txt", "outside/not-yet.txt"},
        {{"dirlink/new.txt", "EVIL"}, links, false, "dirlink", "outside"}, {{"sibling/new.txt", "EVIL"}, links, false, "sibling", "outX"},
        // Declared smaller than the deflated data (also with the CRC made to fit
        // the cut, or zero), declared larger, wrong CRC, no deflate data (spoilt
        // below), encrypted.
        {{"bomb.bin", bomb, true, 1000}, "inflates beyond", true}, {{"bomb.bin", bomb, true, 1000, bombCut}, "inflates beyond", true},
        {{"bomb.bin", bomb, true, 0}, "inflates beyond", true}, {{"short.bin", "12345", true, 0x7FFFFFF0}, "shorter than", true},
        {{"claim.bin", "12345", true, 0xFFFFFFF0}, "shorter than", true},
        {{"short.bin", "12345", false, 0x7FFFFFF0}, "sizes disagree", true}, {{"crc.bin", "12345", true, -1, 0x12345678}, "CRC", true},
        {{"crc.bin", "12345", false, -1, 0x12345678}, "CRC", true}, {{"junk.bin", "12345"}, "damaged", true},
        {{"secret.bin", "12345", true, -1, -1, 1}, "Encrypted", true}};
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << "row " << (&c - cases) << ": " << c.why);
        QTemporaryDir temp;
        const QString base = canonical(temp.path()), dest = base + "/out", zip = dest + "/bad.zip";
        ASSERT_TRUE(writeFile(base + "/outside/victim.txt", "precious") && writeFile(dest + "/real.txt", "precious"));
        ASSERT_TRUE(QDir().mkpath(base + "/outX") && (!c.link || makeLink(base + '/' + c.target, dest + '/' + c.link)));
        QByteArray archive = buildZip({{"before.txt", "fine"}, c.entry, {"after.txt", "fine"}});
        if (c.entry.name == "junk.bin")
            archive.replace(archive.indexOf("junk.bin") + 8, 2, "\xFF\xFF");
        writeFile(zip, archive);
        QStringList expected = listing(base) << "out/before.txt";
        expected.sort();
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::decompress(dest, zip));
        EXPECT_EQ(listing(base), expected);
        EXPECT_EQ(readFile(base + "/outside/victim.txt") + readFile(dest + "/real.txt") + readFile(zip), "preciousprecious" + archive);
        EXPECT_FALSE(QFileInfo::exists("/tmp/escaped.txt"));
        ASSERT_EQ(log.warnings().size(), 1u);
        EXPECT_THAT(log.warnings()[0], HasSubstr(c.why));
        if (!c.lie)
            continue;
        UnZipUtil reader(zip);
        QByteArray data("kept");
        std::vector<char> vector{'k'};
        const QString name = QString::fromLatin1(c.entry.name);
        EXPECT_FALSE(reader.extractFile(name, data) || reader.extractFile(name, vector));
        EXPECT_EQ(data + QByteArray(vector.data(), int(vector.size())), QByteArray("keptk")) << "a failed extraction appends nothing";
        EXPECT_LE(vector.capacity() - vector.size(), 64u << 20);
        EXPECT_LE(data.capacity() - data.size(), 64 << 20);
    }
}

// Bytes flipped anywhere (headers, names, sizes, data) or the file cut short:
// whatever the result, nothing may crash, hang or land outside the target, and
// what UnZipUtil hands out never exceeds what was declared.
TEST(ZipUtilDecompress, DamagedArchivesFailCleanly)
{
    QTemporaryDir temp;
    const QByteArray good = buildZip({{"a/one.txt", QByteArray("one ").repeated(500)}, {"two.bin", randomBytes(3000, 5), false},
                                      {"b/c/three.txt", QByteArray("three ").repeated(300)}});
    std::mt19937 random(42);
    for (int round = 0; round < 300; ++round) {
        QByteArray bad = good;
        if (round % 3 == 0)
            bad.truncate(int(random() % unsigned(good.size())));
        for (int flips = round % 3 ? 1 + int(random() % 4) : 0; flips > 0; --flips)
            bad[int(random() % unsigned(bad.size()))] = char(random());
        SCOPED_TRACE(round);
        const QString base = temp.path() + "/round", damaged = base + "/bad.zip";
        removeTree(base);
        writeFile(damaged, bad);
        CapturedLog log("INFO");
        ZipUtil::decompress(base + "/out", damaged);
        for (const QString &path : listing(base))
            EXPECT_TRUE(path == "bad.zip" || path.startsWith("out/")) << path.toStdString();
        UnZipUtil reader(damaged);
        for (const char *name : {"a/one.txt", "two.bin", "b/c/three.txt"}) {
            QByteArray data;
            EXPECT_TRUE(!reader.extractFile(name, data) || data.size() <= 3000);
        }
        reader.listAllFiles("a");
    }
}

// ================================================================== interoperation

// Info-ZIP's archives deflated, stored, without directory entries, and from a
// pipe (sizes only in a data descriptor after the data); Python's with a
// stored entry, a flagged UTF-8 name and a forced zip64 extra.
TEST(ZipUtilInterop, WeReadWhatInfoZipAndPythonWrite)
{
    REQUIRE_TOOL("zip");
    SourceTree src;
    for (const char *level : {"-6", "-0", "-D"}) {
        SCOPED_TRACE(level);
        QFile::remove(src.zip);
        // Files only, named explicitly: zip would store directory entries too.
        const auto made = run(tool("zip"), {"-q", "-r", level, src.zip, "top.txt", "sub/inner.bin", kUnicodeName, "empty.dat"}, src.root);
        ASSERT_EQ(made.first, 0) << made.second.toStdString();
        const QString dest = src.temp.path() + "/from-infozip";
        removeTree(dest);
        ASSERT_TRUE(ZipUtil::decompress(dest, src.zip));
        EXPECT_EQ(readFile(dest + "/sub/inner.bin"), readFile(src.root + "/sub/inner.bin"));
        EXPECT_EQ(readFile(dest + '/' + kUnicodeName) + readFile(dest + "/empty.dat"), QByteArray("non-ASCII\n"));
        QByteArray data;
        EXPECT_TRUE(UnZipUtil(src.zip).extractFile("TOP.TXT", data) && data == "top level\n");
    }
    const QByteArray piped = randomBytes(70000, 7) + QByteArray(70000, 'a');
    ASSERT_EQ(run(tool("zip"), {"-q", src.temp.path() + "/streamed.zip", "-"}, {}, piped).first, 0);
    std::vector<char> streamed;
    EXPECT_TRUE(UnZipUtil(src.temp.path() + "/streamed.zip").extractFile("-", streamed));
    EXPECT_EQ(QByteArray(streamed.data(), int(streamed.size())), piped);

    REQUIRE_TOOL("python3");
    const QString zip = src.temp.path() + "/python.zip", dest = src.temp.path() + "/from-python";
    const char *script = R"PY(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w', compression=zipfile.ZIP_DEFLATED) as z:
    z.writestr('deflated.txt', b'deflated text ' * 1000)
    z.writestr('stored.bin', b'stored bytes ' * 1000, compress_type=zipfile.ZIP_STORED)
    z.writestr('Grüße/ñandú.txt', 'flagged UTF-8 name'.encode())
    z.writestr('dir/empty', b'')
    with z.open('forced-zip64.bin', 'w', force_zip64=True) as f:
        f.write(b'zip64 extra on a small entry' * 100)
)PY";
    const auto made = run(tool("python3"), {"-c", script, zip});
    ASSERT_EQ(made.first, 0) << made.second.toStdString();
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(readFile(dest + "/deflated.txt"), QByteArray("deflated text ").repeated(1000));
    EXPECT_EQ(readFile(dest + "/stored.bin"), QByteArray("stored bytes ").repeated(1000));
    EXPECT_EQ(readFile(dest + "/Grüße/ñandú.txt") + readFile(dest + "/dir/empty"), QByteArray("flagged UTF-8 name"));
    EXPECT_EQ(readFile(dest + "/forced-zip64.bin"), QByteArray("zip64 extra on a small entry").repeated(100));
    QByteArray data;
    EXPECT_TRUE(UnZipUtil(zip).extractFile("GRüßE/ñANDú.TXT", data) && data == "flagged UTF-8 name") << "ASCII case ignored";
}

// Archives made by other tools (see testdata/PROVENANCE.md): what decompress
// makes of each; the target is only made once an entry is written. Names that
// are no UTF-8 (GBK, Shift-JIS, code page 437) are read as code page 437, as
// Info-ZIP and Python read them, so that distinct names stay distinct; a
// Shift-JIS trail byte can be a backslash, and then separates. An Info-ZIP
// Unicode path extra field (which minizip does not read) changes nothing;
// minizip refuses the second entry of that sample, whose local header disagrees
// with the directory. zip64_demo's classic end record says 65535 entries for
// the one its zip64 record counts: minizip (and libzip) call that
// inconsistent. The zip-slip samples start with their hostile entry, and an
// archive of nothing succeeds with nothing.
TEST(ZipUtilInterop, RealArchivesFromOtherTools)
{
    REQUIRE_SHARED();
    struct Case { const char *sample; bool result; QStringList files; const char *warning = ""; };
    const Case cases[] = {
        {"yauzl/big-compression.zip", true, {"0x21000"}}, {"yauzl/big-uncompressed.zip", true, {"0x21000"}},
        {"yauzl/streaming.zip", true, {"test1.txt", "test2.txt"}}, {"yauzl/zip64.zip", true, {"test1.txt", "test2.txt"}},
        {"yauzl/windows-compressed-folder.zip", true, {"a.txt", "b.txt"}}, {"uv_zip/one-empty-entry.zip", true, {"empty"}},
        {"yauzl/sloppy-filenames.zip", true, {"a/", "a/txt", "b.txt"}}, {"zip-rs/non_utf8.zip", true, {"ô·ò╢", "╓╨╬─"}},
        {"libarchive/test_read_format_zip_nested.zip", true, {"file.txt", "small.zip"}},
        {"libarchive/test_read_format_zip_comment_stored_1.zip", true, {"build.sh", "file0"}},
        {"libarchive/test_read_format_zip_sfx.bin", true, {"build.sh", "file0"}},
        {"libarchive/test_read_format_zip_filename_cp932.zip", true,
         {"ò/", "ò/é╛éµ/", "ò/é╛éµ/è┐ÄÜ.txt", "ò/é╛éµ/êΩùùò/", "ò/é╛éµ/êΩùùò/.txt"}},
        {"yauzl/empty.zip", true, {}}, {"simplezip/empty-with-comment.zip", true, {}},
        {"yauzl/directories.zip", false, {}}, {"yauzl/unicode.zip", false, {}}, {"yauzl/traditional-encryption.zip", false, {}},
        {"libarchive/test_read_format_zip_msdos.zip", false, {"abc", "def"}},
        {"libarchive/test_read_format_zip_traditional_encryption_data.zip", false, {}},
        {"libarchive/test_read_format_zip_winzip_aes128.zip", false, {}}, {"yauzl/truncated-no-eocd.zip", false, {}},
        {"yauzl/unicode-path-extra-field.zip", false, {}}, {"zip-rs/zip64_demo.zip", false, {}},
        {"libarchive/test_read_format_zip_7075_utf8_paths.zip", false, {"File 1.txt"}, "Cannot open entry: File 2 - \\x94.txt"},
        {"yauzl/zipslip-dotdot.zip", false, {}}, {"yauzl/zipslip-absolute.zip", false, {}},
        {"yauzl/zipslip-drive-letter.zip", false, {}}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.sample);
        QTemporaryDir temp;
        CapturedLog log("INFO");
        EXPECT_EQ(ZipUtil::decompress(temp.path() + "/out", testsupport::sharedPath(QStringLiteral("testdata/zip/") + c.sample)), c.result);
        EXPECT_EQ(listing(temp.path() + "/out"), c.files);
        EXPECT_EQ(QFileInfo::exists(temp.path() + "/out"), !c.files.isEmpty());
        EXPECT_EQ(log.warnings().size(), c.result ? 0u : 1u);
        EXPECT_THAT(log.warnings(), ::testing::Each(HasSubstr(c.warning)));
    }
    EXPECT_FALSE(QFileInfo::exists("/atxt"));
    // Our own names are UTF-8 and stay so.
    QTemporaryDir temp;
    ASSERT_TRUE(ZipUtil::decompress(temp.path() + "/out", writeZip(temp.path() + "/utf8.zip", {{"Grüße ☃.txt", "u"}})));
    EXPECT_EQ(listing(temp.path() + "/out"), QStringList{"Grüße ☃.txt"});
}

// ====================================================================== UnZipUtil

// extractFile appends; names match ignoring ASCII case only, whole (also beyond
// 255 bytes); a zero-size entry reads as nothing; failures leave the buffer
// alone.
TEST(UnZipUtil, ExtractFileAppendsAndMatchesAsciiCaseInsensitively)
{
    QTemporaryDir temp;
    const QByteArray longName = QByteArray("d/").repeated(150) + "file.txt";
    const QString zip = writeZip(temp.path() + "/u.zip", {{"Docs/Read Me.txt", "first "}, {"data.bin", randomBytes(300000, 3), false},
                                                          {"empty", ""}, {"Grüße.txt", "gruss"},
                                                          {QByteArray("d/").repeated(150) + "file.tx2", "twin"}, {longName, "long"}});
    UnZipUtil reader(zip);
    QByteArray data, empty("x"), unicode, untouched("same");
    std::vector<char> vector{'>'};
    EXPECT_TRUE(reader.extractFile("docs/read me.TXT", data) && reader.extractFile("DATA.BIN", data));
    EXPECT_EQ(data, QByteArray("first ") + randomBytes(300000, 3));
    EXPECT_TRUE(reader.extractFile("Docs/Read Me.txt", vector));
    EXPECT_EQ(std::string(vector.begin(), vector.end()), ">first ");
    EXPECT_TRUE(reader.extractFile("EMPTY", empty));
    EXPECT_TRUE(reader.extractFile("Grüße.txt", unicode));
    EXPECT_FALSE(reader.extractFile("GRÜßE.TXT", unicode)) << "only ASCII letters fold";
    EXPECT_TRUE(reader.extractFile(QString::fromLatin1(longName.toUpper()), untouched));
    EXPECT_EQ(empty + unicode + untouched, QByteArray("xgrusssamelong"));
    for (const QString &name : {QString("missing"), QString(), QString("Docs/Read Me.tx"), QString::fromLatin1(longName + "x")})
        EXPECT_FALSE(reader.extractFile(name, untouched)) << name.toStdString();
    EXPECT_EQ(untouched, QByteArray("samelong"));
    ASSERT_TRUE(ZipUtil::decompress(temp.path() + "/out", zip));
    EXPECT_EQ(readFile(temp.path() + "/out/" + QString::fromLatin1(longName)), QByteArray("long"));
}

// The last character of the prefix is not compared: "images/" also matches
// "imagesX", but "image" is shorter than the prefix, and a one-character prefix
// compares nothing. The walk starts at the current entry (the one last
// extracted) and does not rewind. Names come back as Latin-1 of their bytes.
TEST(UnZipUtil, ListAllFilesKeepsItsPrefixRuleAndDoesNotRewind)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + "/l.zip", {{"images/a.png", "a"}, {"imagesX", "x"}, {"image", "i"}, {"other/b.png", "b"},
                                                          {"images/c.png", "c"}, {"images/é.png", "e"}});
    const QString accented = QString::fromLatin1(QByteArray("images/é.png"));
    UnZipUtil reader(zip);
    EXPECT_TRUE(reader.listAllFiles(QString()).isEmpty());
    EXPECT_EQ(reader.listAllFiles("images/"), (QStringList{"images/a.png", "imagesX", "images/c.png", accented}));
    EXPECT_EQ(reader.listAllFiles("images/"), QStringList{accented});
    EXPECT_TRUE(reader.listAllFiles("other/").isEmpty());
    UnZipUtil again(zip);
    QByteArray data;
    ASSERT_TRUE(again.extractFile("other/b.png", data));
    EXPECT_EQ(again.listAllFiles("i"), (QStringList{"other/b.png", "images/c.png", accented}));
}

// ============================================================ over 4 GiB (long)

// A sparse file of 4 GiB + 1 MiB with marks at both ends: packed, tested with
// unzip, read back through decompress and extractFile. Takes a few minutes and
// ~9 GiB of disk and memory: run with UTILITY_LONG_TESTS=1.
TEST(ZipUtilLong, EntryOver4GiBRoundTrips)
{
    if (qEnvironmentVariableIntValue("UTILITY_LONG_TESTS") != 1)
        GTEST_SKIP() << "long test: set UTILITY_LONG_TESTS=1 to run it";
    QTemporaryDir temp(QDir::tempPath() + "/ziputil-long-XXXXXX");
    const QString source = canonical(temp.path()) + "/src", zip = temp.path() + "/big.zip", dest = temp.path() + "/out";
    const qint64 size = (Q_INT64_C(4) << 30) + (1 << 20);
    const QByteArray head("head of a big file"), tail("tail of a big file");
    writeFile(source + "/small.txt", "small");
    QFile big(source + "/big.bin");
    ASSERT_TRUE(big.open(QIODevice::WriteOnly) && big.resize(size) && big.write(head) == head.size());
    ASSERT_TRUE(big.seek(size - tail.size()) && big.write(tail) == tail.size());
    big.close();
    ASSERT_TRUE(ZipUtil::compress(zip, source, true));
    EXPECT_LT(QFileInfo(zip).size(), 64 * 1024 * 1024);
    if (!tool("unzip").isEmpty())
        EXPECT_EQ(run(tool("unzip"), {"-tq", zip}).first, 0);
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    big.setFileName(dest + "/big.bin");
    ASSERT_TRUE(big.open(QIODevice::ReadOnly) && big.size() == size);
    const QByteArray start = big.read(head.size()); // before the seek: the operands of + have no order
    ASSERT_TRUE(big.seek(size - tail.size()));
    EXPECT_EQ(start + big.read(tail.size()), head + tail);
    big.remove();
    UnZipUtil reader(zip);
    std::vector<char> data;
    ASSERT_TRUE(reader.extractFile("big.bin", data));
    ASSERT_EQ(qint64(data.size()), size);
    EXPECT_EQ(QByteArray(data.data(), head.size()) + QByteArray(data.data() + size - tail.size(), tail.size()), head + tail);
    std::vector<char>().swap(data);
    QByteArray small;
    EXPECT_TRUE(reader.extractFile("small.txt", small) && small == "small");
}
