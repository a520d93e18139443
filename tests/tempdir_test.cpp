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
    ASSERT_TRUE(writeFiles(base, {{"base.txt", "base"}, {"taken", "a file"}, {"outside/keep.txt", "keep"},
                                  {"outside.txt", "keep too"}}));
    ASSERT_TRUE(makeLink(base + "/outside", base + "/linked"));
    const QStringList before = listing(base);
    {
        CTempDir missingBase(base + "/no/such/base", "x"), fileInTheWay(base, "taken"), link(base, "linked");
        EXPECT_FALSE(missingBase.isValid() || fileInTheWay.isValid() || link.isValid());
        // The first still stands in the base directory.
        fileInTheWay.empty();
        link.empty();
        CTempDir dir(base, "scratch");
        ASSERT_TRUE(dir.isValid() && makeLink(base + "/outside", dir.filePath("dir.link"))
                    && makeLink(base + "/outside.txt", dir.filePath("file.link"))
                    && makeLink("nowhere", dir.filePath("dangling.link")));
        dir.empty();
        EXPECT_FALSE(present(dir.filePath("file.link")) || present(dir.filePath("dangling.link")));
    }
    removeTree(base + "/scratch");
    EXPECT_EQ(listing(base), before);
}

// Every copy, and every object assigned from one, empties and removes the shared
// directory when it dies; an object assigned over forgets its own.
TEST(CTempDir, CopiesShareTheDirectory)
{
    QTemporaryDir temp;
    {
        CTempDir original(temp.path(), "scratch"), assigned(temp.path(), "other");
        ASSERT_TRUE(original.isValid() && writeFile(original.filePath("a.txt"), "a"));
        assigned = original;
        {
            const CTempDir copy(original);
        }
        EXPECT_FALSE(present(temp.path() + "/scratch"));
    }
    EXPECT_TRUE(present(temp.path() + "/other"));
}
