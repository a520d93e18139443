// Zip archives: what compress stores and under which names, what decompress and
// UnZipUtil accept and refuse, interoperability with Info-ZIP and Python in both
// directions, real archives made by other tools, and hostile archives (zip-slip,
// planted links, headers that lie about sizes).
#include "testsupport.h"

#include <utility/ziputil.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include <gmock/gmock.h>

#include <zlib.h>

#include <random>

using testsupport::CapturedLog;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

namespace {

QString u(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QByteArray randomBytes(int size, unsigned seed)
{
    std::mt19937 generator(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &c : bytes)
        c = static_cast<char>(generator() & 0xFF);
    return bytes;
}

void writeFile(const QString &path, const QByteArray &bytes, const QDateTime &modified = QDateTime())
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
    if (modified.isValid()) {
        file.flush();
        ASSERT_TRUE(file.setFileTime(modified, QFileDevice::FileModificationTime));
    }
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Every file and directory below root, relative, sorted; directories end in "/".
QStringList tree(const QString &root)
{
    QStringList paths;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        QString relative = QDir(root).relativeFilePath(info.filePath());
        if (info.isDir() && !info.isSymLink())
            relative += QLatin1Char('/');
        paths << relative;
    }
    paths.sort();
    return paths;
}

QString canonical(const QString &path)
{
    return QFileInfo(path).canonicalFilePath();
}

// ---- outside tools ----

struct ToolRun
{
    int exitCode = -1;
    QByteArray output;
};

QString tool(const char *name)
{
    return QStandardPaths::findExecutable(QString::fromLatin1(name));
}

ToolRun run(const QString &program, const QStringList &arguments, const QString &workingDirectory = QString())
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (!workingDirectory.isEmpty())
        process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    ToolRun result;
    if (!process.waitForStarted() || !process.waitForFinished(600000))
        return result;
    result.output = process.readAll();
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

#define REQUIRE_TOOL(name)                                                                  \
    do {                                                                                    \
        if (tool(name).isEmpty())                                                           \
            GTEST_SKIP() << name << " is not installed (scripts/install-deps installs it)"; \
    } while (false)

// What Python's zipfile sees in an archive: per entry the raw name bytes (hex),
// DOS time fields, flag bits, method, size and the SHA-256 of the data it reads.
const char *const kPythonList = R"PY(
import hashlib, json, sys, zipfile
out = []
with zipfile.ZipFile(sys.argv[1]) as z:
    for i in z.infolist():
        raw = i.filename.encode('utf-8' if i.flag_bits & 0x800 else 'cp437')
        data = z.read(i)
        out.append({'name': raw.hex(), 'time': list(i.date_time), 'flags': i.flag_bits,
                    'method': i.compress_type, 'size': i.file_size,
                    'sha': hashlib.sha256(data).hexdigest()})
print(json.dumps(out))
)PY";

QJsonArray pythonList(const QString &zip)
{
    const ToolRun result = run(tool("python3"), {QStringLiteral("-c"), QString::fromLatin1(kPythonList), zip});
    EXPECT_EQ(result.exitCode, 0) << result.output.toStdString();
    return QJsonDocument::fromJson(result.output).array();
}

QString sha256(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

// ---- a hand-made archive writer, for headers no honest tool writes ----

struct HandEntry
{
    QByteArray name;
    QByteArray data;             // the bytes the entry really holds
    bool deflate = true;
    qint64 declaredSize = -1;    // uncompressed size written into both headers; -1: the real one
    qint64 declaredCrc = -1;     // -1: the real CRC
    quint16 flags = 0;
};

QByteArray rawDeflate(const QByteArray &data)
{
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray out(static_cast<int>(deflateBound(&stream, static_cast<uLong>(data.size()))), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.resize(static_cast<int>(stream.total_out));
    deflateEnd(&stream);
    return out;
}

template<typename T>
void put(QByteArray &out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

QByteArray buildZip(const std::vector<HandEntry> &entries)
{
    QByteArray archive;
    QByteArray directory;
    for (const HandEntry &e : entries) {
        const QByteArray payload = e.deflate ? rawDeflate(e.data) : e.data;
        const quint32 crc = e.declaredCrc >= 0
            ? static_cast<quint32>(e.declaredCrc)
            : static_cast<quint32>(crc32(0, reinterpret_cast<const Bytef *>(e.data.constData()),
                                         static_cast<uInt>(e.data.size())));
        const auto size = static_cast<quint32>(e.declaredSize >= 0 ? e.declaredSize : e.data.size());
        const auto offset = static_cast<quint32>(archive.size());
        const quint16 method = e.deflate ? 8 : 0;
        const quint32 dosTime = (41u << 25) | (6u << 21) | (15u << 16) | (13u << 11) | (45u << 5) | 18u;
        put<quint32>(archive, 0x04034b50);
        put<quint16>(archive, 20);
        put<quint16>(archive, e.flags);
        put<quint16>(archive, method);
        put<quint32>(archive, dosTime);
        put<quint32>(archive, crc);
        put<quint32>(archive, static_cast<quint32>(payload.size()));
        put<quint32>(archive, size);
        put<quint16>(archive, static_cast<quint16>(e.name.size()));
        put<quint16>(archive, 0);
        archive += e.name;
        archive += payload;

        put<quint32>(directory, 0x02014b50);
        put<quint16>(directory, 20);
        put<quint16>(directory, 20);
        put<quint16>(directory, e.flags);
        put<quint16>(directory, method);
        put<quint32>(directory, dosTime);
        put<quint32>(directory, crc);
        put<quint32>(directory, static_cast<quint32>(payload.size()));
        put<quint32>(directory, size);
        put<quint16>(directory, static_cast<quint16>(e.name.size()));
        put<quint16>(directory, 0);
        put<quint16>(directory, 0);
        put<quint16>(directory, 0);
        put<quint16>(directory, 0);
        put<quint32>(directory, 0);
        put<quint32>(directory, offset);
        directory += e.name;
    }
    const auto directoryOffset = static_cast<quint32>(archive.size());
    archive += directory;
    put<quint32>(archive, 0x06054b50);
    put<quint16>(archive, 0);
    put<quint16>(archive, 0);
    put<quint16>(archive, static_cast<quint16>(entries.size()));
    put<quint16>(archive, static_cast<quint16>(entries.size()));
    put<quint32>(archive, static_cast<quint32>(directory.size()));
    put<quint32>(archive, directoryOffset);
    put<quint16>(archive, 0);
    return archive;
}

QString writeZip(const QString &path, const std::vector<HandEntry> &entries)
{
    writeFile(path, buildZip(entries));
    return path;
}

// ---- reading our own archives back without minizip ----

struct CentralRecord
{
    QByteArray name;
    quint16 flags = 0;
    quint16 method = 0;
    quint32 dosTime = 0;
    quint16 extraLength = 0;
    quint16 commentLength = 0;
    quint16 internalAttributes = 0;
    quint32 externalAttributes = 0;
};

std::vector<CentralRecord> centralDirectory(const QString &zip)
{
    const QByteArray bytes = readFile(zip);
    std::vector<CentralRecord> records;
    const int end = bytes.lastIndexOf(QByteArray("PK\x05\x06", 4));
    if (end < 0)
        return records;
    const auto *p = reinterpret_cast<const uchar *>(bytes.constData());
    const quint16 count = qFromLittleEndian<quint16>(p + end + 10);
    quint32 at = qFromLittleEndian<quint32>(p + end + 16);
    for (quint16 i = 0; i < count; ++i) {
        CentralRecord r;
        r.flags = qFromLittleEndian<quint16>(p + at + 8);
        r.method = qFromLittleEndian<quint16>(p + at + 10);
        r.dosTime = qFromLittleEndian<quint32>(p + at + 12);
        const quint16 nameLength = qFromLittleEndian<quint16>(p + at + 28);
        r.extraLength = qFromLittleEndian<quint16>(p + at + 30);
        r.commentLength = qFromLittleEndian<quint16>(p + at + 32);
        r.internalAttributes = qFromLittleEndian<quint16>(p + at + 36);
        r.externalAttributes = qFromLittleEndian<quint32>(p + at + 38);
        r.name = bytes.mid(static_cast<int>(at) + 46, nameLength);
        records.push_back(r);
        at += 46u + nameLength + r.extraLength + r.commentLength;
    }
    return records;
}

std::vector<QByteArray> names(const std::vector<CentralRecord> &records)
{
    std::vector<QByteArray> result;
    for (const auto &r : records)
        result.push_back(r.name);
    return result;
}

// A source tree with the things compress must leave out.
struct SourceTree
{
    QTemporaryDir temp;
    QString root;
    QDateTime modified = QDateTime(QDate(2021, 6, 15), QTime(13, 45, 37));

    SourceTree()
    {
        root = canonical(temp.path()) + QStringLiteral("/src");
        writeFile(root + QStringLiteral("/top.txt"), "top level\n", modified);
        writeFile(root + QStringLiteral("/sub/inner.bin"), randomBytes(100000, 1), modified);
        writeFile(root + QStringLiteral("/sub/deeper/leaf.txt"), QByteArray(5000, 'x'), modified);
        writeFile(root + u("/Grüße/ñandú €.txt"), "non-ASCII\n", modified);
        writeFile(root + QStringLiteral("/empty.dat"), QByteArray(), modified);
        writeFile(root + QStringLiteral("/.hidden"), "hidden\n", modified);
        writeFile(root + QStringLiteral("/sub/.hidden-too"), "hidden\n", modified);
        QDir().mkpath(root + QStringLiteral("/empty-dir"));
        QFile::link(root + QStringLiteral("/top.txt"), root + QStringLiteral("/link-to-top"));
        QFile::link(root + QStringLiteral("/sub"), root + QStringLiteral("/link-to-sub"));
    }
};

} // namespace

// ===================================================================== compress

TEST(ZipUtilCompress, StoresFilesByRelativeUtf8NameWithoutTheFlag)
{
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/out.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, true));

    const auto records = centralDirectory(zip);
    EXPECT_THAT(names(records), UnorderedElementsAre(QByteArray("top.txt"), QByteArray("sub/inner.bin"),
                                                     QByteArray("sub/deeper/leaf.txt"),
                                                     u("Grüße/ñandú €.txt").toUtf8(), QByteArray("empty.dat")));
    for (const auto &r : records) {
        SCOPED_TRACE(r.name.toStdString());
        EXPECT_EQ(r.flags & 0x0800, 0) << "no UTF-8 flag";
        EXPECT_EQ(r.flags & 0x0008, 0) << "sizes in the local header, no data descriptor";
        EXPECT_EQ(r.method, 8) << "deflated, even when empty";
        EXPECT_EQ(r.extraLength, 0);
        EXPECT_EQ(r.commentLength, 0);
        EXPECT_EQ(r.externalAttributes, 0u);
        EXPECT_EQ(r.internalAttributes, 0) << "not even the text bit";
        // 2021-06-15 13:45:37 local time, in DOS form (two-second steps: 36).
        EXPECT_EQ(r.dosTime, (41u << 25) | (6u << 21) | (15u << 16) | (13u << 11) | (45u << 5) | 18u);
    }
}

TEST(ZipUtilCompress, DirectoryFilesComeBeforeTheirSubdirectories)
{
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/out.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, true));
    std::vector<QByteArray> order = names(centralDirectory(zip));
    const auto position = [&order](const char *name) {
        return std::find(order.begin(), order.end(), QByteArray(name)) - order.begin();
    };
    EXPECT_LT(position("top.txt"), position("sub/inner.bin"));
    EXPECT_LT(position("empty.dat"), position("sub/inner.bin"));
    EXPECT_LT(position("sub/inner.bin"), position("sub/deeper/leaf.txt"));
}

TEST(ZipUtilCompress, NonRecursiveStoresOnlyTheTopDirectory)
{
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/flat.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, false));
    EXPECT_THAT(names(centralDirectory(zip)),
                UnorderedElementsAre(QByteArray("top.txt"), QByteArray("empty.dat")));
}

TEST(ZipUtilCompress, EmptyDirectoryGivesAnArchiveOfOnlyItsEndRecord)
{
    QTemporaryDir temp;
    const QString source = canonical(temp.path()) + QStringLiteral("/empty");
    QDir().mkpath(source + QStringLiteral("/nothing/inside"));
    const QString zip = temp.path() + QStringLiteral("/empty.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, source, true));
    EXPECT_EQ(QFileInfo(zip).size(), 22);

    const QString dest = temp.path() + QStringLiteral("/dest");
    EXPECT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_TRUE(tree(dest).isEmpty());
    UnZipUtil reader(zip);
    EXPECT_TRUE(reader.listAllFiles(QStringLiteral("a")).isEmpty());
    QByteArray data;
    EXPECT_FALSE(reader.extractFile(QStringLiteral("a"), data));
}

TEST(ZipUtilCompress, RefusesWhatItCannotDo)
{
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/out.zip");
    struct Case
    {
        const char *what;
        QString zipFile;
        QString sourceDir;
    };
    const Case cases[] = {
        {"empty archive path", QString(), src.root},
        {"empty source", zip, QString()},
        {"archive in a missing directory", src.temp.path() + QStringLiteral("/no/such/dir/out.zip"), src.root},
        // Names are cut from canonical paths by the source's length: a trailing
        // separator shifts them by one, and the files are then not found again.
        {"source with a trailing separator", zip, src.root + QLatin1Char('/')},
    };
    for (const Case &c : cases) {
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::compress(c.zipFile, c.sourceDir, true)) << c.what;
    }
}

TEST(ZipUtilCompress, MissingSourceGivesAnEmptyArchiveAndAWarning)
{
    QTemporaryDir temp;
    const QString zip = temp.path() + QStringLiteral("/none.zip");
    CapturedLog log("INFO");
    EXPECT_TRUE(ZipUtil::compress(zip, temp.path() + QStringLiteral("/missing"), true));
    EXPECT_EQ(QFileInfo(zip).size(), 22);
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings()[0], HasSubstr("Source directory not found"));
}

TEST(ZipUtilCompress, ReplacesAnExistingArchiveAndLeavesItselfOut)
{
    SourceTree src;
    const QString zip = src.root + QStringLiteral("/inside.zip");
    writeFile(zip, QByteArray(1000, 'z'));
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, false));
    EXPECT_THAT(names(centralDirectory(zip)),
                UnorderedElementsAre(QByteArray("top.txt"), QByteArray("empty.dat")));
}

TEST(ZipUtilCompress, TimesOutsideTheDosRangeAreClamped)
{
    QTemporaryDir temp;
    const QString source = canonical(temp.path()) + QStringLiteral("/src");
    writeFile(source + QStringLiteral("/old.txt"), "old", QDateTime::fromSecsSinceEpoch(0));
    const QString zip = temp.path() + QStringLiteral("/old.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, source, true));
    const auto records = centralDirectory(zip);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].dosTime, (0u << 25) | (1u << 21) | (1u << 16)) << "1980-01-01 00:00:00";
}

TEST(ZipUtilCompress, TracesItselfAndTheCollection)
{
    QTemporaryDir temp;
    const QString source = canonical(temp.path()) + QStringLiteral("/src");
    writeFile(source + QStringLiteral("/a/b.txt"), "b");
    CapturedLog log("TRACE");
    ASSERT_TRUE(ZipUtil::compress(temp.path() + QStringLiteral("/t.zip"), source, true));
    std::vector<std::string> names;
    for (const std::string &line : log.traceLines())
        names.push_back(line.substr(line.rfind('\t') + 1));
    EXPECT_THAT(names, ElementsAre("EnterZipUtil::compress", "EnterZipUtil::collectFiles",
                                   "EnterZipUtil::collectFiles", "ExitZipUtil::collectFiles",
                                   "ExitZipUtil::collectFiles", "ExitZipUtil::compress"));
    EXPECT_THAT(log.traceLines().front(), HasSubstr(".\\ziputil.cpp\t"));
    EXPECT_TRUE(log.warnings().empty());
}

// ==================================================================== decompress

TEST(ZipUtilDecompress, RoundTripKeepsNamesAndBytes)
{
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/out.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, true));
    const QString dest = src.temp.path() + QStringLiteral("/dest");
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(tree(dest), (QStringList{QStringLiteral("Grüße/"), u("Grüße/ñandú €.txt"), QStringLiteral("empty.dat"),
                                       QStringLiteral("sub/"), QStringLiteral("sub/deeper/"),
                                       QStringLiteral("sub/deeper/leaf.txt"), QStringLiteral("sub/inner.bin"),
                                       QStringLiteral("top.txt")}));
    for (const char *name : {"top.txt", "sub/inner.bin", "sub/deeper/leaf.txt", "empty.dat"}) {
        const QString relative = QString::fromLatin1(name);
        EXPECT_EQ(readFile(dest + QLatin1Char('/') + relative), readFile(src.root + QLatin1Char('/') + relative))
            << name;
    }
    EXPECT_EQ(readFile(dest + u("/Grüße/ñandú €.txt")), QByteArray("non-ASCII\n"));
}

TEST(ZipUtilDecompress, EmptyArchivesSucceedWithNothingExtracted)
{
    REQUIRE_SHARED();
    for (const char *sample : {"testdata/zip/yauzl/empty.zip", "testdata/zip/simplezip/empty-with-comment.zip"}) {
        QTemporaryDir temp;
        const QString dest = temp.path() + QStringLiteral("/dest");
        EXPECT_TRUE(ZipUtil::decompress(dest, testsupport::sharedPath(QString::fromLatin1(sample)))) << sample;
        EXPECT_TRUE(tree(temp.path()).isEmpty()) << sample;
        UnZipUtil reader(testsupport::sharedPath(QString::fromLatin1(sample)));
        EXPECT_TRUE(reader.listAllFiles(QStringLiteral("x")).isEmpty());
    }
}

TEST(ZipUtilDecompress, RefusesMissingArgumentsAndNonArchives)
{
    QTemporaryDir temp;
    const QString notZip = temp.path() + QStringLiteral("/not.zip");
    writeFile(notZip, "PK\x05\x06 but not really an archive at all");
    const QString almostEmpty = temp.path() + QStringLiteral("/almost-empty.zip");
    QByteArray record = buildZip({});
    record[10] = 1; // claims one entry
    writeFile(almostEmpty, record);
    CapturedLog log("INFO");
    EXPECT_FALSE(ZipUtil::decompress(QString(), notZip));
    EXPECT_FALSE(ZipUtil::decompress(temp.path(), QString()));
    EXPECT_FALSE(ZipUtil::decompress(temp.path(), temp.path() + QStringLiteral("/missing.zip")));
    EXPECT_FALSE(ZipUtil::decompress(temp.path() + QStringLiteral("/d"), notZip));
    EXPECT_FALSE(ZipUtil::decompress(temp.path() + QStringLiteral("/d"), almostEmpty));
    EXPECT_FALSE(QFileInfo::exists(temp.path() + QStringLiteral("/d")));
}

TEST(ZipUtilDecompress, DirectoryEntryStopsTheExtraction)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/dirs.zip"),
                                 {{"first.txt", "1"}, {"folder/", ""}, {"folder/second.txt", "2"}});
    const QString dest = temp.path() + QStringLiteral("/dest");
    CapturedLog log("INFO");
    EXPECT_FALSE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(tree(dest), QStringList{QStringLiteral("first.txt")}) << "files before the entry stay";
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings()[0], HasSubstr("Directory entries are not extracted: folder/"));
}

TEST(ZipUtilDecompress, BackslashesSeparateLikeSlashes)
{
    QTemporaryDir temp;
    const QString zip =
        writeZip(temp.path() + QStringLiteral("/sloppy.zip"), {{"a\\b\\c.txt", "abc"}, {"a/./d//e.txt", "de"}});
    const QString dest = temp.path() + QStringLiteral("/dest");
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(tree(dest), (QStringList{QStringLiteral("a/"), QStringLiteral("a/b/"), QStringLiteral("a/b/c.txt"),
                                       QStringLiteral("a/d/"), QStringLiteral("a/d/e.txt")}));
}

TEST(ZipUtilDecompress, OverwritesExistingFilesAndKeepsOthers)
{
    QTemporaryDir temp;
    const QString dest = temp.path() + QStringLiteral("/dest");
    writeFile(dest + QStringLiteral("/a.txt"), "old and longer content");
    writeFile(dest + QStringLiteral("/keep.txt"), "untouched");
    const QString zip = writeZip(temp.path() + QStringLiteral("/a.zip"), {{"a.txt", "new"}});
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(readFile(dest + QStringLiteral("/a.txt")), QByteArray("new"));
    EXPECT_EQ(readFile(dest + QStringLiteral("/keep.txt")), QByteArray("untouched"));
}

TEST(ZipUtilDecompress, NeverOverwritesTheArchiveItReads)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/self.zip"),
                                 {{"first.txt", "1"}, {"self.zip", "overwritten"}, {"last.txt", "2"}});
    const QByteArray before = readFile(zip);
    CapturedLog log("INFO");
    EXPECT_FALSE(ZipUtil::decompress(temp.path(), zip));
    EXPECT_EQ(readFile(zip), before);
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings()[0], HasSubstr("overwrite the archive"));
}

TEST(ZipUtilDecompress, TracesEnterAndExit)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/a.zip"), {{"a.txt", "a"}});
    CapturedLog log("TRACE");
    ASSERT_TRUE(ZipUtil::decompress(temp.path() + QStringLiteral("/d"), zip));
    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], HasSubstr("\tEnterZipUtil::decompress"));
    EXPECT_THAT(lines[1], HasSubstr("\tExitZipUtil::decompress"));
}

// ------------------------------------------------------------- hostile archives

// Each archive holds one hostile entry between two harmless ones. The extraction
// must stop with false at the hostile entry, say why, and write nothing outside
// the target - in particular not the file the entry aims at.
TEST(ZipUtilDecompress, ZipSlipNamesWriteNothingOutside)
{
    struct Case
    {
        QByteArray name;
        const char *why;
    };
    const Case cases[] = {
        {"../escaped.txt", "leaves the target directory"},
        {"..\\escaped.txt", "leaves the target directory"},
        {"inner/../../escaped.txt", "leaves the target directory"},
        {"inner\\..\\..\\escaped.txt", "leaves the target directory"},
        {"./../escaped.txt", "leaves the target directory"},
        {"..", "leaves the target directory"},
        {"/tmp/escaped.txt", "is absolute"},
        {"\\escaped.txt", "is absolute"},
        {"//server/share/escaped.txt", "is absolute"},
        {"C:/escaped.txt", "drive letter"},
        {"c:escaped.txt", "drive letter"},
        {"./", "Directory entries"},
        {QByteArray("nul\0../../escaped.txt", 21), "NUL character"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.why);
        QTemporaryDir temp;
        const QString dest = temp.path() + QStringLiteral("/out");
        const QString zip = writeZip(temp.path() + QStringLiteral("/slip.zip"),
                                     {{"before.txt", "fine"}, {c.name, "EVIL"}, {"after.txt", "fine"}});
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::decompress(dest, zip));
        EXPECT_EQ(tree(temp.path()), (QStringList{QStringLiteral("out/"), QStringLiteral("out/before.txt"),
                                                  QStringLiteral("slip.zip")}));
        EXPECT_FALSE(QFileInfo::exists(QStringLiteral("/tmp/escaped.txt")));
        ASSERT_EQ(log.warnings().size(), 1u);
        EXPECT_THAT(log.warnings()[0], HasSubstr(c.why));
    }
}

TEST(ZipUtilDecompress, RealZipSlipSamplesWriteNothingOutside)
{
    REQUIRE_SHARED();
    for (const char *sample : {"zipslip-dotdot.zip", "zipslip-absolute.zip", "zipslip-drive-letter.zip"}) {
        SCOPED_TRACE(sample);
        QTemporaryDir temp;
        const QString dest = temp.path() + QStringLiteral("/out");
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::decompress(
            dest, testsupport::sharedPath(QStringLiteral("testdata/zip/yauzl/") + QString::fromLatin1(sample))));
        EXPECT_TRUE(tree(temp.path()).isEmpty()) << "the hostile entry comes first: not even the target";
        EXPECT_FALSE(QFileInfo::exists(QStringLiteral("/atxt")));
        EXPECT_EQ(log.warnings().size(), 1u);
    }
}

#ifdef Q_OS_UNIX
TEST(ZipUtilDecompress, PlantedLinksAreNeverWrittenThrough)
{
    struct Case
    {
        const char *what;
        QByteArray entry;
        const char *link;   // inside out/
        const char *target; // relative to the temporary directory
        bool targetIsDirectory;
    };
    const Case cases[] = {
        {"file link to a file outside", "victim.txt", "victim.txt", "outside/victim.txt", false},
        {"file link to a file inside", "alias.txt", "alias.txt", "out/real.txt", false},
        {"dangling file link", "dangling.txt", "dangling.txt", "outside/not-yet.txt", false},
        {"directory link outside", "dirlink/new.txt", "dirlink", "outside", true},
        // A textual prefix test would let this one through: outX starts with out.
        {"directory link to a sibling sharing the prefix", "sibling/new.txt", "sibling", "outX", true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        QTemporaryDir temp;
        const QString base = canonical(temp.path());
        const QString dest = base + QStringLiteral("/out");
        writeFile(base + QStringLiteral("/outside/victim.txt"), "precious");
        writeFile(dest + QStringLiteral("/real.txt"), "precious");
        QDir().mkpath(base + QStringLiteral("/outX"));
        ASSERT_TRUE(QFile::link(base + QLatin1Char('/') + QString::fromLatin1(c.target),
                                dest + QLatin1Char('/') + QString::fromLatin1(c.link)));
        const QStringList before = tree(base);
        const QString zip = writeZip(base + QStringLiteral("/links.zip"), {{c.entry, "EVIL"}});
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::decompress(dest, zip));
        EXPECT_EQ(readFile(base + QStringLiteral("/outside/victim.txt")), QByteArray("precious"));
        EXPECT_EQ(readFile(dest + QStringLiteral("/real.txt")), QByteArray("precious"));
        QStringList after = tree(base);
        after.removeAll(QStringLiteral("links.zip"));
        EXPECT_EQ(after, before);
        ASSERT_EQ(log.warnings().size(), 1u);
        EXPECT_THAT(log.warnings()[0], HasSubstr("symbolic link"));
    }
}

TEST(ZipUtilDecompress, DirectoryLinksThatStayInsideAreFollowed)
{
    QTemporaryDir temp;
    const QString base = canonical(temp.path());
    const QString dest = base + QStringLiteral("/out");
    QDir().mkpath(dest + QStringLiteral("/real"));
    ASSERT_TRUE(QFile::link(dest + QStringLiteral("/real"), dest + QStringLiteral("/alias")));
    const QString zip = writeZip(base + QStringLiteral("/a.zip"), {{"alias/file.txt", "fine"}});
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(readFile(dest + QStringLiteral("/real/file.txt")), QByteArray("fine"));
}

TEST(ZipUtilDecompress, TargetDirectoryGivenThroughALinkIsResolved)
{
    QTemporaryDir temp;
    const QString base = canonical(temp.path());
    QDir().mkpath(base + QStringLiteral("/real-out"));
    ASSERT_TRUE(QFile::link(base + QStringLiteral("/real-out"), base + QStringLiteral("/out")));
    const QString zip = writeZip(base + QStringLiteral("/a.zip"), {{"d/file.txt", "fine"}});
    ASSERT_TRUE(ZipUtil::decompress(base + QStringLiteral("/out"), zip));
    EXPECT_EQ(readFile(base + QStringLiteral("/real-out/d/file.txt")), QByteArray("fine"));
}
#endif

// Sizes and checksums in the headers come from the archive: a lie must end the
// extraction with false, never with more bytes written than declared, and the
// failed entry's partial file must go.
TEST(ZipUtilDecompress, HeadersThatLieAboutTheDataFail)
{
    const QByteArray bomb(4 * 1024 * 1024, '\0'); // inflates from a few KiB
    struct Case
    {
        const char *what;
        HandEntry entry;
        const char *why;
    };
    const Case cases[] = {
        {"declared smaller than the deflated data", {"bomb.bin", bomb, true, 1000}, "inflates beyond"},
        {"declared smaller, CRC made to fit the cut",
         {"bomb.bin", bomb, true, 1000,
          static_cast<qint64>(crc32(0, reinterpret_cast<const Bytef *>(bomb.constData()), 1000))},
         "inflates beyond"},
        {"declared zero", {"bomb.bin", bomb, true, 0}, "inflates beyond"},
        {"declared larger than the data", {"short.bin", "12345", true, 0x7FFFFFF0}, "shorter than"},
        {"declared larger, stored", {"short.bin", "12345", false, 0x7FFFFFF0}, "sizes disagree"},
        {"wrong CRC", {"crc.bin", "12345", true, -1, 0x12345678}, "CRC"},
        {"wrong CRC, stored", {"crc.bin", "12345", false, -1, 0x12345678}, "CRC"},
        {"not deflate data", {"junk.bin", "12345", true, -1, -1}, "damaged"},
        {"encrypted", {"secret.bin", "12345", true, -1, -1, 1}, "Encrypted"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        QTemporaryDir temp;
        std::vector<HandEntry> entries{{"before.txt", "fine"}, c.entry};
        QByteArray archive = buildZip(entries);
        if (std::string(c.what) == "not deflate data") {
            // Overwrite the deflated payload with bytes that are no deflate stream.
            const int at = archive.indexOf("junk.bin") + 8;
            archive[at] = '\xFF';
            archive[at + 1] = '\xFF';
        }
        const QString zip = temp.path() + QStringLiteral("/lie.zip");
        writeFile(zip, archive);
        const QString dest = temp.path() + QStringLiteral("/out");
        CapturedLog log("INFO");
        EXPECT_FALSE(ZipUtil::decompress(dest, zip));
        EXPECT_EQ(tree(dest), QStringList{QStringLiteral("before.txt")}) << "no partial file";
        ASSERT_EQ(log.warnings().size(), 1u);
        EXPECT_THAT(log.warnings()[0], HasSubstr(c.why));

        UnZipUtil reader(zip);
        QByteArray data("kept");
        std::vector<char> vector{'k'};
        EXPECT_FALSE(reader.extractFile(QString::fromLatin1(c.entry.name), data));
        EXPECT_FALSE(reader.extractFile(QString::fromLatin1(c.entry.name), vector));
        EXPECT_EQ(data, QByteArray("kept")) << "a failed extraction appends nothing";
        EXPECT_EQ(vector, std::vector<char>{'k'});
    }
}

// Damaged archives: bytes flipped anywhere (headers, names, sizes, data) or the
// file cut short. Whatever the result, nothing may crash, hang or land outside
// the target, and what UnZipUtil hands out never exceeds what was declared.
TEST(ZipUtilDecompress, DamagedArchivesFailCleanly)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/good.zip"),
                                 {{"a/one.txt", QByteArray("one ").repeated(500)},
                                  {"two.bin", randomBytes(3000, 5), false},
                                  {"b/c/three.txt", QByteArray("three ").repeated(300)}});
    const QByteArray good = readFile(zip);
    std::mt19937 random(42);
    for (int round = 0; round < 300; ++round) {
        QByteArray bad = good;
        if (round % 3 == 0) {
            bad.truncate(static_cast<int>(random() % static_cast<unsigned>(good.size())));
        } else {
            for (int flips = 1 + static_cast<int>(random() % 4); flips > 0; --flips)
                bad[static_cast<int>(random() % static_cast<unsigned>(bad.size()))] = static_cast<char>(random());
        }
        SCOPED_TRACE(round);
        const QString base = temp.path() + QStringLiteral("/round");
        QDir(base).removeRecursively();
        const QString damaged = base + QStringLiteral("/bad.zip");
        writeFile(damaged, bad);
        CapturedLog log("INFO");
        ZipUtil::decompress(base + QStringLiteral("/out"), damaged);
        for (const QString &path : tree(base))
            EXPECT_TRUE(path == QLatin1String("bad.zip") || path.startsWith(QLatin1String("out/"))) << path.toStdString();
        UnZipUtil reader(damaged);
        for (const char *name : {"a/one.txt", "two.bin", "b/c/three.txt"}) {
            QByteArray data;
            if (reader.extractFile(QString::fromLatin1(name), data))
                EXPECT_LE(data.size(), 3000);
        }
        reader.listAllFiles(QStringLiteral("a"));
    }
}

// ================================================================== interoperation

TEST(ZipUtilInterop, InfoZipTestsOurArchives)
{
    REQUIRE_TOOL("unzip");
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/out.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, true));
    const ToolRun result = run(tool("unzip"), {QStringLiteral("-t"), zip});
    EXPECT_EQ(result.exitCode, 0) << result.output.toStdString();
    EXPECT_THAT(result.output.toStdString(), HasSubstr("No errors detected"));
    EXPECT_THAT(result.output.toStdString(), HasSubstr("testing: sub/deeper/leaf.txt"));
}

TEST(ZipUtilInterop, PythonReadsOurNamesContentsAndTimes)
{
    REQUIRE_TOOL("python3");
    SourceTree src;
    const QString zip = src.temp.path() + QStringLiteral("/out.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, src.root, true));
    const QJsonArray entries = pythonList(zip);
    ASSERT_EQ(entries.size(), 5);
    QStringList seen;
    for (const QJsonValue &value : entries) {
        const QJsonObject e = value.toObject();
        const QString name = QString::fromUtf8(QByteArray::fromHex(e.value(QStringLiteral("name")).toString().toLatin1()));
        seen << name;
        SCOPED_TRACE(name.toStdString());
        EXPECT_EQ(e.value(QStringLiteral("sha")).toString(), sha256(readFile(src.root + QLatin1Char('/') + name)));
        EXPECT_EQ(e.value(QStringLiteral("time")).toArray(), (QJsonArray{2021, 6, 15, 13, 45, 36}));
        EXPECT_EQ(e.value(QStringLiteral("method")).toInt(), 8);
        EXPECT_EQ(e.value(QStringLiteral("flags")).toInt() & 0x800, 0);
    }
    EXPECT_THAT(seen, UnorderedElementsAre(QStringLiteral("top.txt"), QStringLiteral("sub/inner.bin"),
                                           QStringLiteral("sub/deeper/leaf.txt"), u("Grüße/ñandú €.txt"),
                                           QStringLiteral("empty.dat")));
}

TEST(ZipUtilInterop, WeReadWhatInfoZipWrites)
{
    REQUIRE_TOOL("zip");
    SourceTree src;
    const QString zipTool = tool("zip");
    struct Case
    {
        const char *what;
        QStringList arguments;
    };
    const Case cases[] = {
        {"deflated, recursive", {QStringLiteral("-q"), QStringLiteral("-r"), QStringLiteral("-6")}},
        {"stored", {QStringLiteral("-q"), QStringLiteral("-r"), QStringLiteral("-0")}},
        {"without directory entries", {QStringLiteral("-q"), QStringLiteral("-r"), QStringLiteral("-D")}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const QString zip = src.temp.path() + QStringLiteral("/infozip.zip");
        QFile::remove(zip);
        // Files only, named explicitly: zip would store directory entries too.
        const ToolRun made = run(zipTool, QStringList(c.arguments) << zip << QStringLiteral("top.txt")
                                                                   << QStringLiteral("sub/inner.bin")
                                                                   << u("Grüße/ñandú €.txt")
                                                                   << QStringLiteral("empty.dat"),
                                 src.root);
        ASSERT_EQ(made.exitCode, 0) << made.output.toStdString();
        const QString dest = src.temp.path() + QStringLiteral("/from-infozip");
        QDir(dest).removeRecursively();
        ASSERT_TRUE(ZipUtil::decompress(dest, zip));
        EXPECT_EQ(readFile(dest + QStringLiteral("/sub/inner.bin")), readFile(src.root + QStringLiteral("/sub/inner.bin")));
        EXPECT_EQ(readFile(dest + u("/Grüße/ñandú €.txt")), QByteArray("non-ASCII\n"));
        EXPECT_TRUE(QFileInfo(dest + QStringLiteral("/empty.dat")).isFile());

        UnZipUtil reader(zip);
        QByteArray data;
        EXPECT_TRUE(reader.extractFile(QStringLiteral("TOP.TXT"), data));
        EXPECT_EQ(data, QByteArray("top level\n"));
    }

    // Data read from a pipe: sizes only in a data descriptor after the data.
    const QString streamed = src.temp.path() + QStringLiteral("/streamed.zip");
    QProcess zipProcess;
    zipProcess.start(zipTool, {QStringLiteral("-q"), streamed, QStringLiteral("-")});
    ASSERT_TRUE(zipProcess.waitForStarted());
    const QByteArray piped = randomBytes(70000, 7) + QByteArray(70000, 'a');
    zipProcess.write(piped);
    zipProcess.closeWriteChannel();
    ASSERT_TRUE(zipProcess.waitForFinished());
    ASSERT_EQ(zipProcess.exitCode(), 0);
    UnZipUtil reader(streamed);
    std::vector<char> data;
    EXPECT_TRUE(reader.extractFile(QStringLiteral("-"), data));
    EXPECT_EQ(QByteArray(data.data(), static_cast<int>(data.size())), piped);
}

TEST(ZipUtilInterop, WeReadWhatPythonWrites)
{
    REQUIRE_TOOL("python3");
    QTemporaryDir temp;
    const QString zip = temp.path() + QStringLiteral("/python.zip");
    const char *script = R"PY(
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], 'w', compression=zipfile.ZIP_DEFLATED) as z:
    z.writestr('deflated.txt', b'deflated text ' * 1000)
    z.writestr('stored.bin', bytes(range(256)) * 10, compress_type=zipfile.ZIP_STORED)
    z.writestr('Grüße/ñandú.txt', 'flagged UTF-8 name'.encode())
    z.writestr('dir/empty', b'')
    with z.open('forced-zip64.bin', 'w', force_zip64=True) as f:
        f.write(b'zip64 extra on a small entry' * 100)
)PY";
    const ToolRun made = run(tool("python3"), {QStringLiteral("-c"), QString::fromUtf8(script), zip});
    ASSERT_EQ(made.exitCode, 0) << made.output.toStdString();

    const QString dest = temp.path() + QStringLiteral("/dest");
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(readFile(dest + QStringLiteral("/deflated.txt")), QByteArray("deflated text ").repeated(1000));
    QByteArray ramp;
    for (int i = 0; i < 256; ++i)
        ramp.append(static_cast<char>(i));
    EXPECT_EQ(readFile(dest + QStringLiteral("/stored.bin")), ramp.repeated(10));
    EXPECT_EQ(readFile(dest + u("/Grüße/ñandú.txt")), QByteArray("flagged UTF-8 name"));
    EXPECT_TRUE(QFileInfo(dest + QStringLiteral("/dir/empty")).isFile());
    EXPECT_EQ(readFile(dest + QStringLiteral("/forced-zip64.bin")),
              QByteArray("zip64 extra on a small entry").repeated(100));

    UnZipUtil reader(zip);
    QByteArray data;
    EXPECT_TRUE(reader.extractFile(u("GRüßE/ñANDú.TXT"), data)) << "ASCII case ignored";
    EXPECT_EQ(data, QByteArray("flagged UTF-8 name"));
}

// Archives made by other tools (see testdata/PROVENANCE.md): what decompress
// makes of each, entry by entry.
TEST(ZipUtilInterop, RealArchivesFromOtherTools)
{
    REQUIRE_SHARED();
    struct Case
    {
        const char *sample;
        bool result;
        QStringList files; // what the target holds afterwards
    };
    const QString replacement(QChar(0xFFFD));
    const Case cases[] = {
        {"yauzl/big-compression.zip", true, {QStringLiteral("0x21000")}},
        {"yauzl/big-uncompressed.zip", true, {QStringLiteral("0x21000")}},
        {"yauzl/streaming.zip", true, {QStringLiteral("test1.txt"), QStringLiteral("test2.txt")}},
        {"yauzl/zip64.zip", true, {QStringLiteral("test1.txt"), QStringLiteral("test2.txt")}},
        {"yauzl/windows-compressed-folder.zip", true, {QStringLiteral("a.txt"), QStringLiteral("b.txt")}},
        {"yauzl/sloppy-filenames.zip", true, {QStringLiteral("a/"), QStringLiteral("a/txt"), QStringLiteral("b.txt")}},
        {"uv_zip/one-empty-entry.zip", true, {QStringLiteral("empty")}},
        {"libarchive/test_read_format_zip_nested.zip", true,
         {QStringLiteral("file.txt"), QStringLiteral("small.zip")}},
        {"libarchive/test_read_format_zip_comment_stored_1.zip", true,
         {QStringLiteral("build.sh"), QStringLiteral("file0")}},
        {"libarchive/test_read_format_zip_sfx.bin", true, {QStringLiteral("build.sh"), QStringLiteral("file0")}},
        {"yauzl/directories.zip", false, {}},
        {"yauzl/unicode.zip", false, {}},
        {"libarchive/test_read_format_zip_msdos.zip", false,
         {QStringLiteral("abc"), QStringLiteral("def")}},
        {"yauzl/traditional-encryption.zip", false, {}},
        {"libarchive/test_read_format_zip_traditional_encryption_data.zip", false, {}},
        {"libarchive/test_read_format_zip_winzip_aes128.zip", false, {}},
        {"yauzl/truncated-no-eocd.zip", false, {}},
        {"yauzl/unicode-path-extra-field.zip", false, {}},
        // Its classic end record says 65535 entries for the one its zip64 record
        // counts: minizip (and libzip) call that inconsistent.
        {"zip-rs/zip64_demo.zip", false, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.sample);
        QTemporaryDir temp;
        const QString dest = temp.path() + QStringLiteral("/out");
        CapturedLog log("INFO");
        EXPECT_EQ(ZipUtil::decompress(dest, testsupport::sharedPath(QStringLiteral("testdata/zip/") +
                                                                   QString::fromLatin1(c.sample))),
                  c.result);
        EXPECT_EQ(tree(dest), c.files);
        EXPECT_EQ(log.warnings().size(), c.result ? 0u : 1u);
    }
}

TEST(ZipUtilInterop, NamesThatAreNotUtf8AreReadAsCodePage437)
{
    REQUIRE_SHARED();
    // GBK, Shift-JIS and code page 437 bytes are no UTF-8: they are read as code
    // page 437, as Info-ZIP and Python read them, so that distinct names stay
    // distinct (as replacement characters they would all be one name). A
    // Shift-JIS trail byte can be a backslash, and then separates.
    struct Case
    {
        const char *sample;
        QStringList files;
    };
    const Case cases[] = {
        {"zip-rs/non_utf8.zip", {u("ô·ò╢"), u("╓╨╬─")}},
        {"libarchive/test_read_format_zip_filename_cp932.zip",
         {u("ò/"), u("ò/é╛éµ/"), u("ò/é╛éµ/è┐ÄÜ.txt"), u("ò/é╛éµ/êΩùùò/"), u("ò/é╛éµ/êΩùùò/.txt")}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.sample);
        QTemporaryDir temp;
        const QString dest = temp.path() + QStringLiteral("/out");
        ASSERT_TRUE(ZipUtil::decompress(dest, testsupport::sharedPath(QStringLiteral("testdata/zip/") +
                                                                     QString::fromLatin1(c.sample))));
        EXPECT_EQ(tree(dest), c.files);
    }
    // Our own names are UTF-8 and stay so.
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/utf8.zip"), {{u("Grüße ☃.txt").toUtf8(), "u"}});
    ASSERT_TRUE(ZipUtil::decompress(temp.path() + QStringLiteral("/out"), zip));
    EXPECT_EQ(tree(temp.path() + QStringLiteral("/out")), QStringList{u("Grüße ☃.txt")});
}

TEST(ZipUtilInterop, InfoZipUnicodePathsAreReadByTheirCodePage437Names)
{
    REQUIRE_SHARED();
    // Raw code page 437 names with an Info-ZIP Unicode path extra field (which
    // minizip does not read): the names come out right all the same. minizip
    // refuses the second entry, whose local header disagrees with the directory.
    QTemporaryDir temp;
    const QString dest = temp.path() + QStringLiteral("/out");
    CapturedLog log("INFO");
    EXPECT_FALSE(ZipUtil::decompress(
        dest, testsupport::sharedPath(QStringLiteral("testdata/zip/libarchive/test_read_format_zip_7075_utf8_paths.zip"))));
    EXPECT_EQ(tree(dest), QStringList{QStringLiteral("File 1.txt")});
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings()[0], HasSubstr("Cannot open entry: File 2 - \\x94.txt"));
}

// ====================================================================== UnZipUtil

TEST(UnZipUtil, ExtractFileAppendsAndMatchesAsciiCaseInsensitively)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/u.zip"),
                                 {{"Docs/Read Me.txt", "first "}, {"data.bin", randomBytes(300000, 3), false},
                                  {"empty", ""}, {u("Grüße.txt").toUtf8(), "gruss"}});
    UnZipUtil reader(zip);
    QByteArray data;
    EXPECT_TRUE(reader.extractFile(QStringLiteral("docs/read me.TXT"), data));
    EXPECT_TRUE(reader.extractFile(QStringLiteral("DATA.BIN"), data));
    EXPECT_EQ(data, QByteArray("first ") + randomBytes(300000, 3));

    std::vector<char> vector{'>'};
    EXPECT_TRUE(reader.extractFile(QStringLiteral("Docs/Read Me.txt"), vector));
    EXPECT_EQ(std::string(vector.begin(), vector.end()), ">first ");

    QByteArray empty("x");
    EXPECT_TRUE(reader.extractFile(QStringLiteral("EMPTY"), empty)) << "a zero-size entry reads as nothing";
    EXPECT_EQ(empty, QByteArray("x"));

    QByteArray unicode;
    EXPECT_TRUE(reader.extractFile(u("Grüße.txt"), unicode));
    EXPECT_FALSE(reader.extractFile(u("GRÜßE.TXT"), unicode)) << "only ASCII letters fold";
    EXPECT_EQ(unicode, QByteArray("gruss"));

    QByteArray untouched("same");
    EXPECT_FALSE(reader.extractFile(QStringLiteral("missing"), untouched));
    EXPECT_FALSE(reader.extractFile(QString(), untouched));
    EXPECT_FALSE(reader.extractFile(QStringLiteral("Docs/Read Me.tx"), untouched));
    EXPECT_EQ(untouched, QByteArray("same"));
}

TEST(UnZipUtil, NamesLongerThan255BytesAreFoundWhole)
{
    QTemporaryDir temp;
    const QByteArray longName = QByteArray("d/").repeated(150) + "file.txt";
    const QByteArray twin = QByteArray("d/").repeated(150) + "file.tx2";
    const QString zip = writeZip(temp.path() + QStringLiteral("/long.zip"), {{twin, "twin"}, {longName, "long"}});
    UnZipUtil reader(zip);
    QByteArray data;
    EXPECT_TRUE(reader.extractFile(QString::fromLatin1(longName.toUpper()), data));
    EXPECT_EQ(data, QByteArray("long"));
    EXPECT_FALSE(reader.extractFile(QString::fromLatin1(longName + "x"), data));

    const QString dest = temp.path() + QStringLiteral("/out");
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    EXPECT_EQ(readFile(dest + QLatin1Char('/') + QString::fromLatin1(longName)), QByteArray("long"));
}

TEST(UnZipUtil, ListAllFilesKeepsItsPrefixRuleAndDoesNotRewind)
{
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/l.zip"),
                                 {{"images/a.png", "a"}, {"imagesX", "x"}, {"image", "i"}, {"other/b.png", "b"},
                                  {"images/c.png", "c"}, {u("images/é.png").toUtf8(), "e"}});
    {
        UnZipUtil reader(zip);
        EXPECT_TRUE(reader.listAllFiles(QString()).isEmpty());
        // The last character is not compared: "images/" also matches "imagesX",
        // but "image" is shorter than the prefix.
        EXPECT_EQ(reader.listAllFiles(QStringLiteral("images/")),
                  (QStringList{QStringLiteral("images/a.png"), QStringLiteral("imagesX"), QStringLiteral("images/c.png"),
                               QString::fromLatin1(u("images/é.png").toUtf8())}));
        // The walk ended on the last entry and does not rewind.
        EXPECT_EQ(reader.listAllFiles(QStringLiteral("images/")),
                  QStringList{QString::fromLatin1(u("images/é.png").toUtf8())});
        EXPECT_TRUE(reader.listAllFiles(QStringLiteral("other/")).isEmpty());
    }
    {
        UnZipUtil reader(zip);
        QByteArray data;
        ASSERT_TRUE(reader.extractFile(QStringLiteral("other/b.png"), data));
        EXPECT_EQ(reader.listAllFiles(QStringLiteral("i")),
                  (QStringList{QStringLiteral("other/b.png"), QStringLiteral("images/c.png"),
                               QString::fromLatin1(u("images/é.png").toUtf8())}))
            << "starts at the extracted entry; a one-character prefix compares nothing";
    }
}

TEST(UnZipUtil, AnArchiveThatCannotBeOpenedFailsEverything)
{
    QTemporaryDir temp;
    const QString notZip = temp.path() + QStringLiteral("/x.zip");
    writeFile(notZip, "not an archive");
    for (const QString &path : {notZip, temp.path() + QStringLiteral("/missing.zip"), QString()}) {
        UnZipUtil reader(path);
        QByteArray data;
        std::vector<char> vector;
        EXPECT_FALSE(reader.extractFile(QStringLiteral("x"), data));
        EXPECT_FALSE(reader.extractFile(QStringLiteral("x"), vector));
        EXPECT_TRUE(reader.listAllFiles(QStringLiteral("x")).isEmpty());
    }
}

TEST(UnZipUtil, HugeDeclaredSizesReserveNoMoreThanABoundedChunk)
{
    // 0xFFFFFFF0 bytes claimed, five present: the answer is false, at once, and
    // without a 4 GiB allocation (which would throw or take the machine down).
    QTemporaryDir temp;
    const QString zip = writeZip(temp.path() + QStringLiteral("/claim.zip"), {{"claim.bin", "12345", true, 0xFFFFFFF0}});
    UnZipUtil reader(zip);
    CapturedLog log("INFO");
    std::vector<char> vector;
    EXPECT_FALSE(reader.extractFile(QStringLiteral("claim.bin"), vector));
    EXPECT_LE(vector.capacity(), 64u * 1024u * 1024u);
    QByteArray data;
    EXPECT_FALSE(reader.extractFile(QStringLiteral("claim.bin"), data));
    EXPECT_LE(data.capacity(), 64 * 1024 * 1024);
}

// ============================================================ over 4 GiB (long)

// Writes a sparse file of 4 GiB + 1 MiB with marks at both ends, packs it, tests
// the archive with unzip, and reads it back through decompress and extractFile.
// Takes a few minutes and ~9 GiB of disk and memory: run with UTILITY_LONG_TESTS=1.
TEST(ZipUtilLong, EntryOver4GiBRoundTrips)
{
    if (qEnvironmentVariableIntValue("UTILITY_LONG_TESTS") != 1)
        GTEST_SKIP() << "long test: set UTILITY_LONG_TESTS=1 to run it";
    QTemporaryDir temp(QDir::tempPath() + QStringLiteral("/ziputil-long-XXXXXX"));
    const QString source = canonical(temp.path()) + QStringLiteral("/src");
    const qint64 size = (Q_INT64_C(4) << 30) + (1 << 20);
    const QByteArray head("head of a big file");
    const QByteArray tail("tail of a big file");
    {
        QDir().mkpath(source);
        QFile big(source + QStringLiteral("/big.bin"));
        ASSERT_TRUE(big.open(QIODevice::WriteOnly));
        ASSERT_TRUE(big.resize(size));
        big.write(head);
        ASSERT_TRUE(big.seek(size - tail.size()));
        big.write(tail);
    }
    writeFile(source + QStringLiteral("/small.txt"), "small");
    const QString zip = temp.path() + QStringLiteral("/big.zip");
    ASSERT_TRUE(ZipUtil::compress(zip, source, true));
    EXPECT_LT(QFileInfo(zip).size(), 64 * 1024 * 1024);

    if (!tool("unzip").isEmpty()) {
        const ToolRun tested = run(tool("unzip"), {QStringLiteral("-tq"), zip});
        EXPECT_EQ(tested.exitCode, 0) << tested.output.toStdString();
    }

    const QString dest = temp.path() + QStringLiteral("/out");
    ASSERT_TRUE(ZipUtil::decompress(dest, zip));
    {
        QFile big(dest + QStringLiteral("/big.bin"));
        ASSERT_TRUE(big.open(QIODevice::ReadOnly));
        EXPECT_EQ(big.size(), size);
        EXPECT_EQ(big.read(head.size()), head);
        ASSERT_TRUE(big.seek(size - tail.size()));
        EXPECT_EQ(big.read(tail.size()), tail);
    }
    QFile::remove(dest + QStringLiteral("/big.bin"));

    UnZipUtil reader(zip);
    std::vector<char> data;
    ASSERT_TRUE(reader.extractFile(QStringLiteral("big.bin"), data));
    ASSERT_EQ(static_cast<qint64>(data.size()), size);
    EXPECT_EQ(QByteArray(data.data(), head.size()), head);
    EXPECT_EQ(QByteArray(data.data() + size - tail.size(), tail.size()), tail);
    std::vector<char>().swap(data);
    QByteArray small;
    EXPECT_TRUE(reader.extractFile(QStringLiteral("small.txt"), small));
    EXPECT_EQ(small, QByteArray("small"));
}
