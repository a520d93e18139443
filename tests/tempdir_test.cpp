#include <utility/tempdir.h>

#include "filetree.h"

#include <QTemporaryDir>

using namespace filetree;

// Only names with a dot go; the directory goes when nothing else is left. An
// existing directory of the name is taken over with what it holds.
TEST(CTempDir, RemovesDottedFilesAndThenItself)
{
    QTemporaryDir temp;
    const QString path = temp.path() + "/scratch";
    struct Case { const char *name; QStringList before, created, left; };
    const Case cases[] = {
        {"a name without a dot", {}, {"a.txt", "README"}, {"README"}},
        {"a subdirectory", {}, {"a.txt", "sub.d/x.txt"}, {"sub.d/", "sub.d/x.txt"}},
        {"an existing directory, dotted names", {"old.dat"}, {"a.txt", ".hidden", "b.tar.gz"}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        for (const QString &file : c.before)
            ASSERT_TRUE(writeFile(path + '/' + file, "old"));
        {
            CTempDir dir(temp.path(), "scratch");
            // The object stands inside its directory.
            ASSERT_TRUE(dir.isValid() && dir.absolutePath() == path);
            EXPECT_TRUE(c.before.isEmpty() || dir.exists(c.before.first()));
            for (const QString &file : c.created)
                ASSERT_TRUE(writeFile(dir.filePath(file), "x"));
        }
        EXPECT_EQ(present(path), !c.left.isEmpty());
        EXPECT_EQ(listing(path), c.left);
        removeTree(path);
    }
}

// Invalid objects (missing base, a file or a link in the way) must not empty the
// base or a linked directory; links inside are removed as links.
TEST(CTempDir, NothingOutsideItIsTouched)
{
    QTemporaryDir temp;
    const QString base = temp.path();
    ASSERT_TRUE(writeFile(base + "/base.txt", "base") && writeFile(base + "/taken", "a file"));
    ASSERT_TRUE(writeFile(base + "/outside/keep.txt", "keep") && writeFile(base + "/outside.txt", "keep too"));
    ASSERT_TRUE(makeLink(base + "/outside", base + "/linked"));
    {
        CTempDir missingBase(base + "/no/such/base", "x"), fileInTheWay(base, "taken"), link(base, "linked");
        EXPECT_FALSE(missingBase.isValid() || fileInTheWay.isValid() || link.isValid());
        fileInTheWay.empty(), link.empty(); // the first still stands in the base directory
        CTempDir dir(base, "scratch");
        ASSERT_TRUE(dir.isValid() && makeLink(base + "/outside", dir.filePath("dir.link"))
                    && makeLink(base + "/outside.txt", dir.filePath("file.link"))
                    && makeLink("nowhere", dir.filePath("dangling.link")));
        dir.empty();
        const QStringList left = listing(dir.absolutePath());
        EXPECT_FALSE(left.contains("file.link -> " + base + "/outside.txt") || left.contains("dangling.link -> nowhere"));
    }
    EXPECT_EQ(readFile(base + "/base.txt") + readFile(base + "/taken"), QByteArray("basea file"));
    EXPECT_EQ(readFile(base + "/outside/keep.txt") + readFile(base + "/outside.txt"), QByteArray("keepkeep too"));
    EXPECT_TRUE(!present(base + "/no") && isLink(base + "/linked"));
}

TEST(CTempDir, CopiesShareTheDirectory)
{
    QTemporaryDir temp;
    const QString path = temp.path() + "/scratch";
    {
        CTempDir original(temp.path(), "scratch");
        ASSERT_TRUE(original.isValid() && writeFile(original.filePath("a.txt"), "a"));
        {
            CTempDir copy(original), assigned(temp.path(), "other");
            assigned = original;
            EXPECT_TRUE(copy.isValid() && assigned.isValid());
            EXPECT_EQ(copy.absolutePath() + assigned.absolutePath(), path + path);
        }
        EXPECT_FALSE(present(path)) << "each copy removes the shared directory when it dies";
    }
    EXPECT_TRUE(present(temp.path() + "/other")) << "the assigned-over object forgot its own directory";
}
