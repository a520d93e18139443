#include <utility/tempdir.h>

#include "filetree.h"
#include "testsupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace filetree;

TEST(CTempDir, RemovesDottedFilesAndThenItself)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString path = temp.path() + QStringLiteral("/scratch");

    struct Case
    {
        const char *name;
        QStringList files;   // created inside
        bool directoryStays; // something without a dot remains
        QStringList left;
    };
    const Case cases[] = {
        {"only dotted names", {QStringLiteral("a.txt"), QStringLiteral(".hidden"), QStringLiteral("b.tar.gz")}, false, {}},
        {"a name without a dot", {QStringLiteral("a.txt"), QStringLiteral("README")}, true, {QStringLiteral("README")}},
        {"a subdirectory", {QStringLiteral("a.txt"), QStringLiteral("sub.d/x.txt")}, true,
         {QStringLiteral("sub.d/"), QStringLiteral("sub.d/x.txt")}},
        {"empty", {}, false, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        {
            CTempDir dir(temp.path(), QStringLiteral("scratch"));
            ASSERT_TRUE(dir.isValid());
            EXPECT_EQ(dir.absolutePath(), path) << "the object stands inside its directory";
            for (const QString &file : c.files)
                ASSERT_TRUE(writeFile(dir.filePath(file), "x"));
        }
        EXPECT_EQ(present(path), c.directoryStays);
        EXPECT_EQ(listing(path), c.left);
        removeTree(path);
    }
}

TEST(CTempDir, TakesOverAnExistingDirectory)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    ASSERT_TRUE(writeFile(temp.path() + QStringLiteral("/scratch/old.dat"), "old"));
    {
        CTempDir dir(temp.path(), QStringLiteral("scratch"));
        ASSERT_TRUE(dir.isValid());
        EXPECT_TRUE(dir.exists(QStringLiteral("old.dat")));
    }
    EXPECT_FALSE(present(temp.path() + QStringLiteral("/scratch")));
}

TEST(CTempDir, InvalidObjectsTouchNothing)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString base = temp.path();
    ASSERT_TRUE(writeFile(base + QStringLiteral("/base.txt"), "base"));
    ASSERT_TRUE(writeFile(base + QStringLiteral("/taken"), "a file of that name"));
    ASSERT_TRUE(writeFile(base + QStringLiteral("/outside/keep.txt"), "keep"));
    ASSERT_TRUE(makeLink(base + QStringLiteral("/outside"), base + QStringLiteral("/linked")));

    {
        CTempDir missingBase(base + QStringLiteral("/no/such/base"), QStringLiteral("x"));
        EXPECT_FALSE(missingBase.isValid());
        CTempDir fileInTheWay(base, QStringLiteral("taken"));
        EXPECT_FALSE(fileInTheWay.isValid());
        fileInTheWay.empty(); // still in the base directory: must not empty it
        // Emptying a link to a directory would delete files somewhere else.
        CTempDir link(base, QStringLiteral("linked"));
        EXPECT_FALSE(link.isValid());
        link.empty();
    }
    EXPECT_FALSE(present(base + QStringLiteral("/no")));
    EXPECT_EQ(readFile(base + QStringLiteral("/base.txt")), QByteArray("base"));
    EXPECT_EQ(readFile(base + QStringLiteral("/taken")), QByteArray("a file of that name"));
    EXPECT_EQ(readFile(base + QStringLiteral("/outside/keep.txt")), QByteArray("keep"));
    EXPECT_TRUE(isLink(base + QStringLiteral("/linked")));
}

TEST(CTempDir, EmptyRemovesLinksAsLinks)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString base = temp.path();
    ASSERT_TRUE(writeFile(base + QStringLiteral("/outside/keep.txt"), "keep"));
    ASSERT_TRUE(writeFile(base + QStringLiteral("/outside.txt"), "keep too"));
    {
        CTempDir dir(base, QStringLiteral("scratch"));
        ASSERT_TRUE(dir.isValid());
        ASSERT_TRUE(makeLink(base + QStringLiteral("/outside"), dir.filePath(QStringLiteral("dir.link"))));
        ASSERT_TRUE(makeLink(base + QStringLiteral("/outside.txt"), dir.filePath(QStringLiteral("file.link"))));
        ASSERT_TRUE(makeLink(QStringLiteral("nowhere"), dir.filePath(QStringLiteral("dangling.link"))));
        dir.empty();
        const QStringList left = listing(dir.absolutePath());
        EXPECT_FALSE(left.contains(QStringLiteral("file.link -> ") + base + QStringLiteral("/outside.txt")));
        EXPECT_FALSE(left.contains(QStringLiteral("dangling.link -> nowhere")));
    }
    EXPECT_EQ(readFile(base + QStringLiteral("/outside/keep.txt")), QByteArray("keep"));
    EXPECT_EQ(readFile(base + QStringLiteral("/outside.txt")), QByteArray("keep too"));
}

TEST(CTempDir, CopiesShareTheDirectory)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString path = temp.path() + QStringLiteral("/scratch");
    {
        CTempDir original(temp.path(), QStringLiteral("scratch"));
        ASSERT_TRUE(original.isValid());
        ASSERT_TRUE(writeFile(original.filePath(QStringLiteral("a.txt")), "a"));
        {
            CTempDir copy(original);
            EXPECT_TRUE(copy.isValid());
            EXPECT_EQ(copy.absolutePath(), original.absolutePath());
            CTempDir assigned(temp.path(), QStringLiteral("other"));
            assigned = original;
            EXPECT_TRUE(assigned.isValid());
            EXPECT_EQ(assigned.absolutePath(), path);
        }
        // Each copy removed the shared directory when it died.
        EXPECT_FALSE(present(path));
    }
    EXPECT_FALSE(present(path));
    EXPECT_TRUE(present(temp.path() + QStringLiteral("/other")))
        << "the assigned-over object forgot its own directory";
}
