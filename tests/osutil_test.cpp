#include <utility/osutil.h>

#include "filetree.h"
#include "osutil_p.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

using namespace filetree;

namespace {

// Puts the real launcher and opener back whatever a test does.
struct StandInsReset
{
    ~StandInsReset()
    {
        COsUtil::setElevationLauncher({});
        setURLOpener({});
    }
};

// Sets the process umask for one test and restores it.
struct ScopedUmask
{
    explicit ScopedUmask(mode_t value) : previous(::umask(value)) {}
    ~ScopedUmask() { ::umask(previous); }
    mode_t previous;
};

} // namespace

TEST(COsUtil, VersionAndArchitectureQueries)
{
    EXPECT_FALSE(COsUtil::isWindowsVistaOrHigher());

    struct utsname name;
    ASSERT_EQ(::uname(&name), 0);
    EXPECT_EQ(COsUtil::isWow64(), OsUtilPlatform::isWow64Machine(QString::fromLatin1(name.machine),
                                                                 int(sizeof(void *))));
    if (sizeof(void *) == 8)
        EXPECT_FALSE(COsUtil::isWow64()) << "a 64-bit build is never a 32-on-64 process";

    struct Case
    {
        const char *machine;
        int pointerBytes;
        bool expected;
    };
    const Case cases[] = {
        {"x86_64", 4, true},   {"aarch64", 4, true}, {"ppc64le", 4, true}, {"x86_64", 8, false},
        {"aarch64", 8, false}, {"i686", 4, false},   {"armv7l", 4, false}, {"", 4, false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(OsUtilPlatform::isWow64Machine(QString::fromLatin1(c.machine), c.pointerBytes),
                  c.expected)
            << c.machine << " with " << c.pointerBytes << "-byte pointers";
}

TEST(COsUtil, WhoMayElevate)
{
    struct Case
    {
        unsigned int uid;
        QStringList groups;
        bool expected;
    };
    const Case cases[] = {
        {0, {}, true},
        {1000, {}, false},
        {1000, {QStringLiteral("users"), QStringLiteral("audio")}, false},
        {1000, {QStringLiteral("users"), QStringLiteral("sudo")}, true},
        {1000, {QStringLiteral("wheel")}, true},
        {1000, {QStringLiteral("admin")}, true},
        // Group names are exact: neither case nor look-alikes count.
        {1000, {QStringLiteral("Sudo"), QStringLiteral("sudoers"), QStringLiteral("wheels")}, false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(OsUtilPlatform::mayElevate(c.uid, c.groups), c.expected)
            << c.uid << " in " << c.groups.join(QLatin1Char(',')).toStdString();
}

TEST(COsUtil, AdministratorQueriesFollowRealAndEffectiveUser)
{
    EXPECT_EQ(COsUtil::isRunAsAdmin(), ::geteuid() == 0);
    EXPECT_EQ(COsUtil::isProcessElevated(), ::geteuid() == 0);
    if (::getuid() == 0)
        EXPECT_TRUE(COsUtil::isUserInAdminGroup());

    {
        // Root that has dropped its rights for a while may still elevate, but
        // is not elevated now.
        ScopedUser user(0, kNobody);
        if (!user.ok())
            GTEST_SKIP() << "user switching not possible here: " << user.why();
        EXPECT_FALSE(COsUtil::isRunAsAdmin());
        EXPECT_FALSE(COsUtil::isProcessElevated());
        EXPECT_TRUE(COsUtil::isUserInAdminGroup());
    }
    {
        ScopedUser user(kNobody, kNobody);
        ASSERT_TRUE(user.ok()) << user.why();
        EXPECT_FALSE(COsUtil::isRunAsAdmin());
        EXPECT_FALSE(COsUtil::isUserInAdminGroup()) << "nobody is expected in no sudo/wheel/admin group";
    }
}

TEST(COsUtil, ElevateProcessRelaunchesThroughTheLauncher)
{
    StandInsReset reset;
    QString program;
    QStringList arguments;
    int calls = 0;
    bool launcherResult = true;
    COsUtil::setElevationLauncher([&](const QString &p, const QStringList &a) {
        ++calls;
        program = p;
        arguments = a;
        return launcherResult;
    });

    if (::geteuid() == 0) {
        EXPECT_TRUE(COsUtil::elevateProcess());
        EXPECT_EQ(calls, 0) << "already elevated: nothing is launched";
    }

    // Someone who may elevate but is not elevated: root with its rights laid
    // down for a while, or a member of sudo, wheel or admin.
    std::unique_ptr<ScopedUser> user;
    if (::getuid() == 0) {
        user.reset(new ScopedUser(0, kNobody));
        if (!user->ok())
            GTEST_SKIP() << "user switching not possible here: " << user->why();
    } else if (!COsUtil::isUserInAdminGroup()) {
        GTEST_SKIP() << "this user may not elevate; the relaunch cannot be reached";
    }
    EXPECT_TRUE(COsUtil::elevateProcess());
    ASSERT_EQ(calls, 1);
    EXPECT_EQ(program, QStringLiteral("pkexec"));
    ASSERT_FALSE(arguments.isEmpty());
    EXPECT_EQ(arguments.first(), QCoreApplication::applicationFilePath());
    EXPECT_EQ(arguments.mid(1), QCoreApplication::arguments().mid(1));

    launcherResult = false;
    EXPECT_FALSE(COsUtil::elevateProcess()) << "a relaunch that did not start";
    EXPECT_EQ(calls, 2);
}

TEST(COsUtil, ElevateProcessRefusesUsersWhoMayNot)
{
    StandInsReset reset;
    int calls = 0;
    COsUtil::setElevationLauncher([&](const QString &, const QStringList &) {
        ++calls;
        return true;
    });
    std::unique_ptr<ScopedUser> user;
    if (::getuid() == 0) {
        user.reset(new ScopedUser(kNobody, kNobody));
        if (!user->ok())
            GTEST_SKIP() << "user switching not possible here: " << user->why();
    } else if (COsUtil::isUserInAdminGroup()) {
        GTEST_SKIP() << "this user may elevate; a refusal cannot be arranged";
    }
    EXPECT_FALSE(COsUtil::elevateProcess());
    EXPECT_EQ(calls, 0);
}

TEST(COsUtil, RemovePathDeletesTreesButNeverFollowsLinks)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString root = temp.path();
    const QString outside = root + QStringLiteral("/outside");
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/precious.txt"), "keep me"));

    const QString tree = root + QStringLiteral("/tree");
    ASSERT_TRUE(writeFile(tree + QStringLiteral("/a.txt"), "a"));
    ASSERT_TRUE(writeFile(tree + QStringLiteral("/.hidden"), "h"));
    ASSERT_TRUE(writeFile(tree + QStringLiteral("/sub/deep/b.txt"), "b"));
    ASSERT_TRUE(writeFile(tree + QStringLiteral("/sub/readonly.txt"), "r"));
    ASSERT_TRUE(setMode(tree + QStringLiteral("/sub/readonly.txt"), 0444));
    ASSERT_TRUE(makeLink(outside, tree + QStringLiteral("/to-outside")));
    ASSERT_TRUE(makeLink(QStringLiteral(".."), tree + QStringLiteral("/sub/loop")));
    ASSERT_TRUE(makeLink(QStringLiteral("nowhere"), tree + QStringLiteral("/dangling")));
    ASSERT_TRUE(setMode(tree + QStringLiteral("/sub/deep"), 0555));
    ASSERT_TRUE(setMode(tree + QStringLiteral("/sub"), 0500));

    EXPECT_FALSE(COsUtil::removePath(tree)) << "false means the tree is gone";
    EXPECT_FALSE(present(tree));
    EXPECT_EQ(readFile(outside + QStringLiteral("/precious.txt")), QByteArray("keep me"));

    // Missing paths report failure: the result is inverted.
    EXPECT_TRUE(COsUtil::removePath(tree));
    EXPECT_TRUE(COsUtil::removePath(QString()));

    // A link named directly goes as a link, with or without a trailing slash.
    ASSERT_TRUE(makeLink(outside, root + QStringLiteral("/link")));
    EXPECT_FALSE(COsUtil::removePath(root + QStringLiteral("/link/")));
    EXPECT_FALSE(present(root + QStringLiteral("/link")));
    EXPECT_EQ(readFile(outside + QStringLiteral("/precious.txt")), QByteArray("keep me"));

    ASSERT_TRUE(writeFile(root + QStringLiteral("/single.txt"), "s"));
    ASSERT_TRUE(setMode(root + QStringLiteral("/single.txt"), 0));
    EXPECT_FALSE(COsUtil::removePath(root + QStringLiteral("/single.txt")));
    EXPECT_FALSE(present(root + QStringLiteral("/single.txt")));
}

TEST(COsUtil, RemovePathForcesReadOnlyDirectoriesAsTheirOwner)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString tree = temp.path() + QStringLiteral("/tree");
    ASSERT_TRUE(writeFile(tree + QStringLiteral("/locked/inner/file.txt"), "x"));
    ASSERT_TRUE(writeFile(tree + QStringLiteral("/closed/file.txt"), "y"));
    PermissionsCount guard(temp.path());
    REQUIRE_PERMISSIONS_COUNT(guard);
    ASSERT_TRUE(setMode(tree + QStringLiteral("/locked/inner"), 0555));
    ASSERT_TRUE(setMode(tree + QStringLiteral("/locked"), 0555));
    ASSERT_TRUE(setMode(tree + QStringLiteral("/closed"), 0));
    EXPECT_FALSE(COsUtil::removePath(tree));
    EXPECT_FALSE(present(tree));
}

TEST(COsUtil, SetPermissionsActsLikeAFreshEntry)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    const QString dir = temp.path() + QStringLiteral("/dir");
    const QString file = temp.path() + QStringLiteral("/file.txt");
    const QString outsideFile = temp.path() + QStringLiteral("/outside.txt");
    const QString link = temp.path() + QStringLiteral("/link.txt");
    ASSERT_TRUE(QDir().mkpath(dir));
    ASSERT_TRUE(writeFile(file, "f"));
    ASSERT_TRUE(writeFile(outsideFile, "o"));
    ASSERT_TRUE(setMode(outsideFile, 0600));
    ASSERT_TRUE(makeLink(outsideFile, link));

    struct Case
    {
        mode_t umask;
        int mask;
        int dirMode;
        int fileMode;
    };
    const Case cases[] = {
        {022, 0x1FF, 0755, 0644},
        {077, 0x1FF, 0700, 0600},
        {0, 0x1FF, 0777, 0666},
        {022, 0x1C0, 0700, 0600}, // owner rwx: a file still gets no execute bit
        {002, 0x1F8, 0770, 0660}, // nothing for others
        {022, 0, 0, 0},
    };
    for (const Case &c : cases) {
        ScopedUmask umask(c.umask);
        const auto mask = static_cast<COsUtil::ePermissionMask>(c.mask);
        EXPECT_FALSE(COsUtil::setPermissions(dir, mask)) << "false means it worked";
        EXPECT_EQ(modeOf(dir), c.dirMode) << std::oct << c.mask << " umask " << c.umask;
        EXPECT_FALSE(COsUtil::setPermissions(file, mask));
        EXPECT_EQ(modeOf(file), c.fileMode) << std::oct << c.mask << " umask " << c.umask;
        EXPECT_EQ(OsUtilPlatform::effectiveMode(c.mask, true, int(c.umask)), c.dirMode);
        EXPECT_EQ(OsUtilPlatform::effectiveMode(c.mask, false, int(c.umask)), c.fileMode);
    }
    setMode(dir, 0755);

    // A link is left alone, and so is what it points to.
    EXPECT_FALSE(COsUtil::setPermissions(link, COsUtil::eAllPermissions));
    EXPECT_EQ(modeOf(outsideFile), 0600);

    EXPECT_TRUE(COsUtil::setPermissions(QString(), COsUtil::eAllPermissions));
    EXPECT_TRUE(COsUtil::setPermissions(temp.path() + QStringLiteral("/missing"),
                                        COsUtil::eAllPermissions));
    EXPECT_EQ(COsUtil::eOwnerRead | COsUtil::eOwnerWrite | COsUtil::eOwnerExecute | COsUtil::eGroupRead
                  | COsUtil::eGroupWrite | COsUtil::eGroupExecute | COsUtil::eOthersRead
                  | COsUtil::eOthersWrite | COsUtil::eOthersExecute,
              COsUtil::eAllPermissions);
}

TEST(COsUtil, OpenUrlHandsOverToTheOpener)
{
    StandInsReset reset;
    QStringList opened;
    bool answer = true;
    setURLOpener([&](const QString &url) {
        opened << url;
        return answer;
    });
    EXPECT_TRUE(openURL(QStringLiteral("https://example.org/a b?x=1")));
    answer = false;
    EXPECT_FALSE(openURL(QStringLiteral("/tmp/document.pdf")));
    EXPECT_FALSE(openURL(QString())) << "nothing to open";
    EXPECT_EQ(opened, (QStringList{QStringLiteral("https://example.org/a b?x=1"),
                                   QStringLiteral("/tmp/document.pdf")}));
}

TEST(COsUtil, NothingIsTraced)
{
    QTemporaryDir temp;
    ASSERT_TRUE(temp.isValid());
    testsupport::CapturedLog log("TRACE");
    COsUtil::isUserInAdminGroup();
    COsUtil::setPermissions(temp.path(), COsUtil::eAllPermissions);
    COsUtil::removePath(temp.path() + QStringLiteral("/missing"));
    EXPECT_TRUE(log.lines().empty());
}
