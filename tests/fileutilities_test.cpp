#include <utility/fileutilities.h>

#include "filetree.h"
#include "testsupport.h"

#include <QDate>
#include <QRegularExpression>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include <zlib.h>
using namespace filetree;
using ::testing::EndsWith;

namespace {

using CFU = CFileUtilities;
const auto kAll = COsUtil::eAllPermissions;

// Deterministic bytes that do not repeat within a buffer.
QByteArray noise(int size, quint32 seed = 12345)
{
    QByteArray data(size, Qt::Uninitialized);
    std::generate(data.begin(), data.end(), [&seed] { return char((seed = seed * 1664525u + 1013904223u) >> 24); });
    return data;
}

unsigned long zlibCrc(const QByteArray &data)
{
    return crc32(0L, reinterpret_cast<const Bytef *>(data.constData()), static_cast<uInt>(data.size()));
}

// A directory below root whose absolute path is exactly length characters
// (never a last component of one character).
QString directoryOfLength(const QString &root, int length)
{
    QString path = root;
    while (path.length() < length) {
        const int room = length - path.length() - 1;
        const int component = std::min(room, 200) - (room - std::min(room, 200) == 1 ? 1 : 0);
        path += '/' + QString(component, 'd');
    }
    QDir().mkpath(path);
    return path;
}

// A tree with everything that tends to go wrong: hidden entries, read-only
// files, links to the outside, a relative link, a loop and a dangling link.
struct Tree
{
    QTemporaryDir temp;
    QString root = temp.path(), src = root + "/src", outside = root + "/outside";

    Tree()
    {
        writeFiles(root, {{"outside/precious.txt", "outside data"}, {"src/top.txt", "top"}, {"src/.hidden.txt", "hidden"},
                          {"src/.config/settings.ini", "settings"}, {"src/sub/deep/leaf.txt", "leaf"},
                          {"src/sub/readonly.txt", "read only"}});
        setMode(src + "/sub/readonly.txt", 0444), makeLink(outside, src + "/to-outside");
        makeLink("../top.txt", src + "/sub/rel-top.txt"), makeLink("..", src + "/sub/loop");
        makeLink("nowhere", src + "/sub/dangling");
    }
    const QStringList everything{".config/", ".config/settings.ini", ".hidden.txt", "sub/", "sub/dangling -> nowhere",
                                 "sub/deep/", "sub/deep/leaf.txt", "sub/loop -> ..", "sub/readonly.txt",
                                 "sub/rel-top.txt -> ../top.txt", "to-outside -> " + outside, "top.txt"};
    bool outsideIntact() const { return listing(outside) == QStringList{"precious.txt"}; }
};

} // namespace

TEST(CFileUtilities, SmallQueries)
{
    QTemporaryDir temp;
    const QString file = temp.path() + "/f.txt", nested = temp.path() + "/a/b/c";
    ASSERT_TRUE(writeFile(file, "f"));
    EXPECT_TRUE(CFU::freeDiskSpaceMB(file) > 0 && CFU::freeDiskSpaceMB("/no/such/place/x") == 0);
    // An existing directory is fine; one under a file is not.
    EXPECT_TRUE(CFU::makeDirectory(nested) && QFileInfo(nested).isDir() && CFU::makeDirectory(nested));
    EXPECT_FALSE(CFU::makeDirectory(file + "/under-a-file") || CFU::makeDirectory(QString()));

    // Without a dot the suffix is the whole path; the last dot wins, even in a directory.
    struct Case { const char *path, *suffix; bool flash; };
    const Case cases[] = {{"movie.swf", "swf", true}, {"movie.SWF", "SWF", true}, {"a/b/archive.tar.gz", "gz", false},
                          {"noext", "noext", false},  {"trailing.", "", false},    {"dir.d/file", "d/file", false},
                          {"swf", "swf", true},       {"", "", false}};
    for (const Case &c : cases) {
        EXPECT_EQ(CFU::getFileSuffix(c.path), QString(c.suffix)) << c.path;
        EXPECT_EQ(std::make_pair(CFU::isFlash(c.path), CFU::isImage(c.path)), std::make_pair(c.flash, !c.flash)) << c.path;
    }
}

// Free names are numbered "<base>-<n><.suffix>" up to maxNumber; a dangling link
// occupies its name as much as a file does. Whole paths stay within 253
// characters: the base loses characters from its end, down to one, and
// two-digit numbers take one more.
TEST(CFileUtilities, GenerateUniqueFileName)
{
    QTemporaryDir temp;
    const QString d = temp.path();
    ASSERT_LT(d.length(), 200) << "the temporary directory is too deep for this test";
    ASSERT_TRUE(writeFiles(d, {{"report.txt", "r"}, {"report-1.txt", "r1"}, {"report", "no suffix"},
                               {"archive.tar.gz", "a"}, {"taken.txt", "t"}, {"taken-1.txt", "t"}, {"taken-2.txt", "t"},
                               {"taken-3.txt", "t"}, {"linked.txt", "l"}})
                && makeLink("nowhere", d + "/linked-1.txt"));
    const auto made = CFU::eUniqueNameCreated, failed = CFU::eUniqueNameFailed, missing = CFU::eUniqueNameSourceMissing;
    // dirLength 0: the files above; otherwise a fresh directory of that length
    // holding the name and `occupied` numbered names.
    struct Case { int dirLength; const char *name; int maxNumber, occupied; CFU::EUniqueNameResult result; const char *expected; };
    const Case cases[] = {
        {0, "report.txt", 50, 0, made, "report-2.txt"}, {0, "report.txt", 0, 0, failed, "report.txt"},
        {0, "report", 50, 0, made, "report-1."}, {0, "archive.tar.gz", 50, 0, made, "archive.tar-1.gz"},
        {0, "taken.txt", 3, 0, failed, "taken.txt"}, {0, "taken.txt", 4, 0, made, "taken-4.txt"},
        {0, "linked.txt", 50, 0, made, "linked-2.txt"}, {0, "missing.txt", 0, 0, missing, "missing.txt"},
        // 238 + 10 + 2 + 3 = 253: just fits. One more, and the base loses its last character.
        {238, "abcdefghij.txt", 50, 0, made, "abcdefghij-1.txt"}, {239, "abcdefghij.txt", 50, 0, made, "abcdefghi-1.txt"},
        // 240 + 20 + 2 + 3 = 265: twelve characters are cut.
        {240, "abcdefghijklmnopqrst.txt", 50, 0, made, "abcdefgh-1.txt"},
        {240, "abcdefghijklmnopqrst.txt", 50, 9, made, "abcdefg-10.txt"},
        // A single character is still a name; nothing is not.
        {247, "abc.txt", 50, 0, made, "a-1.txt"}, {250, "ab.txt", 50, 0, failed, "ab.txt"}};
    int round = 0;
    for (const Case &c : cases) {
        const QString dir = c.dirLength ? directoryOfLength(d + QStringLiteral("/r%1").arg(round++), c.dirLength) : d;
        QString path = dir + '/' + c.name;
        ASSERT_TRUE(!c.dirLength || writeFile(path, "x"));
        for (int n = 1; n <= c.occupied; ++n)
            ASSERT_TRUE(writeFile(dir + QStringLiteral("/%1-%2.txt").arg(QString(c.name).left(8)).arg(n), "y"));
        EXPECT_EQ(CFU::generateUniqueFileName(path, c.maxNumber), c.result) << c.name << " up to " << c.maxNumber;
        EXPECT_EQ(path, dir + '/' + c.expected) << c.dirLength;
        EXPECT_TRUE(c.result != made || path.length() <= 255);
    }
    // A relative name comes back absolute.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(d));
    QString relative = "report.txt";
    EXPECT_EQ(CFU::generateUniqueFileName(relative, 5), made);
    QDir::setCurrent(previous);
    EXPECT_EQ(relative, QDir(d).canonicalPath() + "/report-2.txt");
}

// "<year><month><day>_<n>" without zero padding; the first n for which no file
// with any of the suffixes (taken as given, dot and all) exists.
TEST(CFileUtilities, DateNameUsesTodayWithoutPadding)
{
    QTemporaryDir temp;
    const QString d = temp.path();
    const QDate today = QDate::currentDate();
    const QString base = QStringLiteral("%1%2%3_").arg(today.year()).arg(today.month()).arg(today.day());
    const auto name = [&d](const QStringList &suffixes) { return CFU::getUniqYYMMDD_Xname(d, suffixes); };
    EXPECT_EQ(name({".png", ".xml"}), base + '1');
    ASSERT_TRUE(writeFile(d + '/' + base + "1.xml", "x"));
    EXPECT_EQ(name({".png", ".xml"}), base + '2');
    ASSERT_TRUE(writeFile(d + '/' + base + "2.png", "p") && writeFile(d + "/plain.txt", "f"));
    EXPECT_EQ(name({".png", ".xml"}), base + '3');
    // No suffixes: 1 without looking.
    EXPECT_EQ(QStringList({name({".png"}), name({}), name({"xml"})}), QStringList({base + '1', base + '1', base + '1'}));
    EXPECT_TRUE(CFU::getUniqYYMMDD_Xname(d + "/missing", {}).isNull() && CFU::getUniqYYMMDD_Xname(d + "/plain.txt", {}).isNull());
}

TEST(CFileUtilities, FileCrcIsZlibsCrc32)
{
    QTemporaryDir temp;
    const QString d = temp.path() + '/';
    // Around a page, large and no whole number of buffers, a name outside ASCII.
    const std::pair<const char *, QByteArray> cases[] = {
        {"empty.bin", {}}, {"check.txt", "123456789"}, {"page-plus-one.bin", noise(4097)},
        {"large.bin", noise(48 * 1024 * 1024 + 123)}, {"cr\u00e7-\u65e5\u672c-\u00fc.bin", noise(10000, 7)}};
    for (const auto &c : cases) {
        ASSERT_TRUE(writeFile(d + c.first, c.second));
        EXPECT_EQ(CFU::getFileCRC(d + c.first), zlibCrc(c.second)) << c.first;
    }
    // Whatever cannot be read as a file gives 0, and a FIFO does not block.
    ASSERT_TRUE(makeFifo(d + "pipe"));
    for (const QString &path : {d + "pipe", d + "missing", d, QString()})
        EXPECT_EQ(CFU::getFileCRC(path), 0ul) << path.toStdString();
}

// Same name (without case), size and CRC; compareFile, getFileCRC and its engine
// are traced, the plain queries are not.
TEST(CFileUtilities, FileCompareNeedsNameSizeAndCrcAndIsTraced)
{
    QTemporaryDir temp;
    const QString d = temp.path() + '/';
    ASSERT_TRUE(writeFiles(d, {{"a/doc.txt", "same text"}, {"b/doc.txt", "same text"}, {"b/DOC.TXT", "same text"},
                               {"b/copy.txt", "same text"}, {"c/doc.txt", "SAME TEXT"}, {"e/doc.txt", "same text, longer"}}));
    const std::pair<const char *, bool> cases[] = {{"b/doc.txt", true},  {"b/DOC.TXT", true},  {"b/copy.txt", false},
                                                   {"c/doc.txt", false}, {"e/doc.txt", false}, {"a/doc.txt", true}};
    for (const auto &c : cases)
        EXPECT_EQ(CFU::fileCompare(d + "a/doc.txt", d + c.first), c.second) << c.first;

    testsupport::CapturedLog log("TRACE");
    CFU::getFileCRC(d + "a/doc.txt"), CFU::getFileSuffix(d + "a/doc.txt"), CFU::hasWriteAccess(d + "a/doc.txt");
    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 4u) << "getFileCRC and its engine only";
    EXPECT_THAT(lines[0], ::testing::StartsWith(".\\fileutilities.cpp\t"));
    EXPECT_THAT(lines[0], EndsWith("\tEnterCFileUtilities::getFileCRC"));
    EXPECT_THAT(lines[3], EndsWith("\tExitCFileUtilities::getFileCRC"));
}

// copyFile never loses a document: another file, or a link, of the target name
// keeps its name and the copy is numbered (up to 50); overwrite replaces, also a
// file by itself, and a link by a file, leaving what it pointed to.
TEST(CFileUtilities, CopyFileNeverReplacesAnotherDocument)
{
    QTemporaryDir temp;
    const QString d = temp.path() + '/';
    ASSERT_TRUE(writeFiles(d, {{"name.ext", "new"}, {"same/name.ext", "new"}, {"own/name.ext", "own"},
                               {"over/name.ext", "own"}, {"pointee.ext", "pointee"}, {"full/name.ext", "own"}}));
    for (int n = 1; n <= 50; ++n)
        ASSERT_TRUE(writeFile(d + QStringLiteral("full/name-%1.ext").arg(n), "own"));
    ASSERT_TRUE(QDir(d).mkpath("dangling") && QDir(d).mkpath("link") && makeFifo(d + "pipe"));
    ASSERT_TRUE(makeLink(d + "elsewhere.ext", d + "dangling/name.ext") && makeLink(d + "pointee.ext", d + "link/name.ext"));
    struct Case { const char *from, *to; bool overwrite, ok; const char *result; };
    const Case cases[] = {
        {"missing", "none/name.ext", false, true, "none/name.ext"}, // nothing to copy counts as success
        {"name.ext", "made/name.ext", false, true, "made/name.ext"}, {"name.ext", "same/name.ext", false, true, "same/name.ext"},
        {"name.ext", "own/name.ext", false, true, "own/name-1.ext"},
        {"name.ext", "dangling/name.ext", false, true, "dangling/name-1.ext"},
        {"name.ext", "full/name.ext", false, false, "full/name.ext"},
        {"name.ext", "over/name.ext", true, true, "over/name.ext"}, {"name.ext", "name.ext", true, true, "name.ext"},
        {"name.ext", "link/name.ext", true, true, "link/name.ext"},
        // What is no regular file is not copied (a FIFO would block the read).
        {"pipe", "made/pipe", false, false, "made/pipe"}, {"same", "made/dir", false, false, "made/dir"}};
    for (const Case &c : cases) {
        QString dst = d + c.to;
        EXPECT_EQ(CFU::copyFile(d + c.from, dst, c.overwrite, kAll), c.ok) << c.from << " to " << c.to;
        EXPECT_EQ(dst, d + c.result);
    }
    const QStringList left = listing(d);
    EXPECT_EQ(left.filter(QRegularExpression("^full/.")).size(), 51);
    EXPECT_EQ(left.filter(QRegularExpression("^(?!full/.)")),
              (QStringList{"dangling/", "dangling/name-1.ext", "dangling/name.ext -> " + d + "elsewhere.ext", "full/",
                           "link/", "link/name.ext", "made/", "made/name.ext", "name.ext", "over/", "over/name.ext", "own/",
                           "own/name-1.ext", "own/name.ext", "pipe", "pointee.ext", "same/", "same/name.ext"}));
    for (const char *file : {"name.ext", "made/name.ext", "own/name-1.ext", "over/name.ext", "link/name.ext"})
        EXPECT_EQ(readFile(d + file), QByteArray("new")) << file;
    EXPECT_EQ(readFile(d + "own/name.ext") + readFile(d + "full/name.ext") + readFile(d + "pointee.ext"), "ownownpointee");
    const mode_t umaskNow = ::umask(0);
    ::umask(umaskNow);
    EXPECT_EQ(modeOf(d + "made/name.ext"), int(0666 & ~umaskNow)) << "the permissions of a new file";
}

// A destination where writes fail half-way (as on a full disk, for root too):
// the old file, or the source tree, stays as it was and nothing partial is left.
TEST(CFileUtilities, FullDestinationLosesNothing)
{
    Tree tree;
    const QString d = tree.root;
    ASSERT_TRUE(writeFiles(d, {{"big.bin", noise(4 * 1024 * 1024)}, {"dst/big.bin", "the old version"},
                               {"src/sub/deep/big.bin", noise(3 * 1024 * 1024)}}));
    const QStringList before = listing(tree.src);
    QString dst = d + "/dst/big.bin";
    {
        ScopedFileSizeLimit limit(1024 * 1024);
        if (!limit.ok())
            GTEST_SKIP() << "cannot lower the file size limit here";
        EXPECT_FALSE(CFU::copyFile(d + "/big.bin", dst, true, kAll));
        EXPECT_FALSE(CFU::moveDirectory(tree.src, d + "/moved"));
    }
    EXPECT_EQ(readFile(d + "/dst/big.bin"), QByteArray("the old version"));
    EXPECT_EQ(listing(d + "/dst"), QStringList{"big.bin"}) << "no partial copy is left";
    EXPECT_EQ(listing(tree.src), before);
    EXPECT_EQ(CFU::getFileCRC(tree.src + "/sub/deep/big.bin"), zlibCrc(noise(3 * 1024 * 1024)));
    EXPECT_FALSE(present(d + "/moved"));
}

// hasWriteAccess probes by making a file "dummy" beside the path (in the parent
// for a directory) and removing it again; a user's file of that name, and the
// target of a link of that name, are kept. With permission bits counting,
// read-only places are reported and left alone, and clearDirContents still
// removes read-only parts of its own tree.
TEST(CFileUtilities, WriteAccessAndReadOnlyPlaces)
{
    QTemporaryDir temp;
    const QString d = temp.path() + '/';
    ASSERT_TRUE(writeFiles(d, {{"src/a.txt", "a"}, {"ro/existing.txt", "mine"}, {"rw/readonly.txt", "ro"}, {"doc.txt", "d"},
                               {"tree/locked/file.txt", "x"}, {"tree/locked/.hidden", "y"}, {"dummy", "user data"},
                               {"sub/other.txt", "other"}}));
    ASSERT_TRUE(makeLink(d + "sub/other.txt", d + "sub/dummy"));
    PermissionsCount guard(d);
    REQUIRE_PERMISSIONS_COUNT(guard);
    ASSERT_TRUE(setMode(d + "ro", 0555) && setMode(d + "rw/readonly.txt", 0444) && setMode(d + "tree/locked", 0555));
    // A read-only file is enough: its directory is not tried.
    const std::pair<const char *, bool> cases[] = {
        {"ro/existing.txt", false}, {"ro/new.txt", false}, {"rw/readonly.txt", false}, {"missing/x.txt", false},
        {"rw/new.txt", true}, {"doc.txt", true}, {"not-yet.txt", true}, {"sub/x", true}, {"sub", true}};
    for (const auto &c : cases)
        EXPECT_EQ(CFU::hasWriteAccess(d + c.first), c.second) << c.first;
    EXPECT_EQ(readFile(d + "dummy") + readFile(d + "sub/other.txt"), QByteArray("user dataother"));
    EXPECT_EQ(listing(d + "rw") + listing(d + "sub"), (QStringList{"readonly.txt", "dummy -> " + d + "sub/other.txt", "other.txt"}));
    QString dst = d + "ro/a.txt";
    EXPECT_FALSE(CFU::copyFile(d + "src/a.txt", dst, false, kAll) || CFU::copyFiles(d + "src", d + "ro", true, kAll));
    EXPECT_EQ(listing(d + "ro"), QStringList{"existing.txt"});
    EXPECT_TRUE(CFU::clearDirContents(d + "tree", true) && !present(d + "tree"));
    setMode(d + "ro", 0755);
}

// Visible files and links of the top level only; nothing to copy is success
// without a target made; without overwrite numbered copies, with it replaced
// in place. Failures are logged and the result is the last file's.
TEST(CFileUtilities, CopyFilesTakesVisibleFilesOnly)
{
    QTemporaryDir temp;
    const QString d = temp.path() + '/', src = d + "src", dst = d + "deep/dst";
    ASSERT_LT(d.length(), 200);
    ASSERT_TRUE(writeFiles(d, {{"src/a.txt", "a"}, {"src/b.txt", "b"}, {"src/.hidden", "h"}, {"src/sub/c.txt", "c"},
                               {"outside.txt", "o"}, {"two/a.txt", "new a"}, {"two/bbbbbbbbbbbbbbbb.txt", "b"}}));
    ASSERT_TRUE(makeLink("a.txt", src + "/rel.txt") && makeLink(d + "outside.txt", src + "/abs.txt"));
    ASSERT_TRUE(makeLink(d, src + "/up") && QDir().mkpath(d + "empty"));
    EXPECT_TRUE(CFU::copyFiles(d + "missing", d + "x", false, kAll) && CFU::copyFiles(d + "empty", d + "x", false, kAll));
    EXPECT_FALSE(present(d + "x"));
    EXPECT_TRUE(CFU::copyFiles(src, dst, false, kAll));
    EXPECT_EQ(listing(dst), (QStringList{"a.txt", "abs.txt -> " + d + "outside.txt", "b.txt", "rel.txt -> a.txt"}));
    ASSERT_TRUE(writeFile(dst + "/a.txt", "changed"));
    EXPECT_TRUE(CFU::copyFiles(src, dst, false, kAll));
    EXPECT_EQ(readFile(dst + "/a.txt") + readFile(dst + "/a-1.txt"), QByteArray("changeda"));
    EXPECT_TRUE(isLink(dst + "/rel-1.txt"));
    EXPECT_TRUE(CFU::copyFiles(src, dst, true, kAll));
    EXPECT_EQ(readFile(dst + "/a.txt"), QByteArray("a"));
    EXPECT_EQ(listing(dst).size(), 8);

    // So deep that "a.txt" cannot be numbered within 253 characters: its copy
    // fails, while the other file has no name to avoid.
    const QString deep = directoryOfLength(d + "long", 251);
    ASSERT_TRUE(writeFile(deep + "/a.txt", "the user's a"));
    const QFileInfoList order = QDir(d + "two").entryInfoList(QDir::Files, QDir::Unsorted);
    testsupport::CapturedLog log("INFO");
    EXPECT_EQ(CFU::copyFiles(d + "two", deep, false, kAll), order.value(1).fileName() != QLatin1String("a.txt"));
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_THAT(log.warnings()[0], EndsWith("\t Failed to copy file " + d.toStdString() + "two/a.txt"));
    EXPECT_EQ(readFile(deep + "/a.txt") + readFile(deep + "/bbbbbbbbbbbbbbbb.txt"), QByteArray("the user's ab"));
}

// Trees: links are copied and moved as links and never entered, hidden entries
// move too and are left by copy and clear (the dangling link is no file to QDir
// and stays behind on copy). Targets inside the source, or holding a link in
// place of a subdirectory, are refused, and a move that fails half-way takes
// back only what it made and keeps the source whole.
TEST(CFileUtilities, TreesLoseNothingAndKeepLinksAsLinks)
{
    Tree tree;
    const QString d = tree.root, copy = d + "/copy", trap = d + "/trap", moved = d + "/moved";
    // "zz" comes after the top-level files, so the move fails once files have
    // been copied: a FIFO cannot be copied.
    ASSERT_TRUE(QDir().mkpath(tree.src + "/zz") && makeFifo(tree.src + "/zz/pipe"));
    ASSERT_TRUE(writeFiles(copy, {{"top.txt", "mine"}, {"sub/own.txt", "own"}}));
    ASSERT_TRUE(QDir().mkpath(trap) && makeLink(tree.outside, trap + "/sub") && writeFile(d + "/a-file", "f"));
    ASSERT_TRUE(makeLink(tree.src, d + "/alias"));
    const QStringList before = listing(tree.src), copyBefore = listing(copy);
    EXPECT_FALSE(CFU::moveDirectory(tree.src, d + "/fresh/target") || CFU::moveDirectory(tree.src, copy));
    EXPECT_FALSE(present(d + "/fresh"));
    EXPECT_EQ(listing(copy), copyBefore);
    for (const auto &move : {std::make_pair(tree.src, tree.src), std::make_pair(tree.src, tree.src + "/sub/new"),
                             std::make_pair(tree.src + "/sub", tree.src), std::make_pair(tree.src, d + "/alias/new"),
                             std::make_pair(d + "/a-file", d + "/elsewhere"), std::make_pair(QString(), d + "/elsewhere")})
        EXPECT_FALSE(CFU::moveDirectory(move.first, move.second)) << move.second.toStdString();
    for (const QString &target : {tree.src + "/sub/inner", tree.src, trap, d + "/a-file"})
        EXPECT_FALSE(CFU::copyDirectory(tree.src, target, false, kAll)) << target.toStdString();
    EXPECT_EQ(readFile(d + "/a-file"), QByteArray("f"));
    EXPECT_EQ(listing(tree.src), before);
    EXPECT_TRUE(tree.outsideIntact());

    removeTree(tree.src + "/zz"), removeTree(copy);
    EXPECT_TRUE(CFU::copyDirectory(tree.src, copy, false, kAll));
    EXPECT_EQ(listing(copy), (QStringList{"sub/", "sub/deep/", "sub/deep/leaf.txt", "sub/loop -> ..", "sub/readonly.txt",
                                          "sub/rel-top.txt -> ../top.txt", "to-outside -> " + tree.outside, "top.txt"}));
    EXPECT_EQ(readFile(copy + "/sub/rel-top.txt"), QByteArray("top"));
    EXPECT_TRUE(CFU::moveDirectory(tree.src, moved) && !present(tree.src));
    EXPECT_EQ(listing(moved), tree.everything);
    EXPECT_EQ(readFile(moved + "/.config/settings.ini") + readFile(moved + "/sub/readonly.txt"), QByteArray("settingsread only"));
    // Into an existing directory: what was there stays, clashes are numbered.
    ASSERT_TRUE(writeFile(copy + "/top.txt", "mine"));
    EXPECT_TRUE(CFU::moveDirectory(moved, copy) && !present(moved));
    EXPECT_EQ(readFile(copy + "/top.txt") + readFile(copy + "/top-1.txt"), QByteArray("minetop"));

    // Hidden entries are not listed; they only go with the directory.
    EXPECT_TRUE(CFU::clearDirContents(copy, false));
    EXPECT_EQ(listing(copy), (QStringList{".config/", ".config/settings.ini", ".hidden.txt"}));
    EXPECT_TRUE(CFU::clearDirContents(copy, true) && !present(copy));
    // An empty name is not the current directory.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(tree.outside));
    EXPECT_TRUE(CFU::clearDirContents(QString(), true));
    QDir::setCurrent(previous);
    EXPECT_TRUE(tree.outsideIntact());
    EXPECT_TRUE(CFU::clearDirContents(d + "/missing", true));
}

// The move gives the directories it copies into the permissions of new ones, so
// its owner could always write there again. The place must belong to someone
// else: root, while the move runs as nobody.
TEST(CFileUtilities, MoveDirectoryIntoAReadOnlyPlaceKeepsTheSource)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs a directory of another user; only arranged when the tests run as root";
    Tree tree;
    const QString dst = tree.root + "/dst";
    ASSERT_TRUE(writeFile(dst + "/sub/theirs.txt", "theirs"));
    chownTree(tree.root, kNobody, kNobody), chownTree(dst + "/sub", 0, 0);
    ASSERT_TRUE(setMode(dst + "/sub", 0755));
    {
        ScopedUser user(kNobody, kNobody);
        if (!user.ok())
            GTEST_SKIP() << "user switching not possible here: " << user.why();
        EXPECT_FALSE(CFU::moveDirectory(tree.src, dst));
    }
    EXPECT_EQ(listing(tree.src), tree.everything);
    EXPECT_EQ(listing(dst), (QStringList{"sub/", "sub/theirs.txt"}));
}

TEST(CFileUtilities, RecycleFileMovesToTheTrash)
{
    QTemporaryDir temp;
    // A trash of our own, so that the user's is never touched.
    const QByteArray previous = qgetenv("XDG_DATA_HOME");
    const bool hadPrevious = qEnvironmentVariableIsSet("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QFile::encodeName(temp.path() + "/data"));
    ASSERT_TRUE(QDir().mkpath(temp.path() + "/data") && writeFile(temp.path() + "/docs/old.txt", "old"));
    EXPECT_TRUE(CFU::recycleFile(temp.path() + "/docs/missing.txt"));
    const bool recycled = CFU::recycleFile(temp.path() + "/docs/old.txt");
    const QByteArray trashed = readFile(temp.path() + "/data/Trash/files/old.txt");
    hadPrevious ? qputenv("XDG_DATA_HOME", previous) : qunsetenv("XDG_DATA_HOME");
    EXPECT_TRUE(recycled && !present(temp.path() + "/docs/old.txt"));
    // Files on another volume than the home directory go to that volume's own
    // trash, which is not ours to look into.
    if (QStorageInfo(temp.path()) != QStorageInfo(QDir::homePath()))
        GTEST_SKIP() << "the temporary directory is not on the home volume; the trash used is that volume's";
    EXPECT_EQ(trashed, QByteArray("old"));
}
