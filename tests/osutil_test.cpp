#include <utility/osutil.h>

#include "filetree.h"
#include "osutil_p.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <sys/utsname.h>

using namespace filetree;

namespace {

// Puts the real launcher and opener back whatever a test does.
struct StandInsReset
{
    ~StandInsReset() { COsUtil::setElevationLauncher({}), setURLOpener({}); }
};

} // namespace

// Only a 32-bit process on a 64-bit machine is WOW64; only root or a member of
// exactly sudo, wheel or admin may elevate.
TEST(COsUtil, PlatformMappings)
{
    EXPECT_FALSE(COsUtil::isWindowsVistaOrHigher());
    struct utsname name;
    ASSERT_EQ(::uname(&name), 0);
    EXPECT_EQ(COsUtil::isWow64(), OsUtilPlatform::isWow64Machine(name.machine, int(sizeof(void *))));
    struct Wow { const char *machine; int pointerBytes; bool expected; };
    const Wow machines[] = {{"x86_64", 4, true},   {"aarch64", 4, true}, {"ppc64le", 4, true}, {"x86_64", 8, false},
                            {"aarch64", 8, false}, {"i686", 4, false},   {"armv7l", 4, false}, {"", 4, false}};
    for (const Wow &c : machines)
        EXPECT_EQ(OsUtilPlatform::isWow64Machine(c.machine, c.pointerBytes), c.expected) << c.machine << " " << c.pointerBytes;
    struct Admin { unsigned int uid; QStringList groups; bool expected; };
    const Admin users[] = {{0, {}, true}, {1000, {}, false}, {1000, {"users", "audio"}, false}, {1000, {"users", "sudo"}, true},
                           {1000, {"wheel"}, true}, {1000, {"admin"}, true}, {1000, {"Sudo", "sudoers", "wheels"}, false}};
    for (const Admin &c : users)
        EXPECT_EQ(OsUtilPlatform::mayElevate(c.uid, c.groups), c.expected) << c.uid << " in " << c.groups.join(',').toStdString();
}

// Who may elevate and who is elevated follow the real and the effective user:
// root that has laid its rights down for a while may elevate but is not
// elevated. Only then, or for a member of sudo, wheel or admin, does
// elevateProcess relaunch through the launcher; others are refused.
TEST(COsUtil, ElevationFollowsRealAndEffectiveUser)
{
    StandInsReset reset;
    QStringList launched;
    int calls = 0;
    bool launcherResult = true;
    COsUtil::setElevationLauncher([&](const QString &program, const QStringList &arguments) {
        return ++calls, launched = QStringList{program} + arguments, launcherResult;
    });
    EXPECT_EQ(COsUtil::isRunAsAdmin(), ::geteuid() == 0);
    EXPECT_EQ(COsUtil::isProcessElevated(), ::geteuid() == 0);
    std::unique_ptr<ScopedUser> user;
    if (::geteuid() == 0) {
        EXPECT_TRUE(COsUtil::isUserInAdminGroup());
        EXPECT_TRUE(COsUtil::elevateProcess()) << "already elevated: nothing is launched";
        {
            ScopedUser nobody(kNobody, kNobody);
            if (!nobody.ok())
                GTEST_SKIP() << "user switching not possible here: " << nobody.why();
            // nobody is expected in no sudo/wheel/admin group.
            EXPECT_FALSE(COsUtil::isRunAsAdmin() || COsUtil::isUserInAdminGroup() || COsUtil::elevateProcess());
        }
        user.reset(new ScopedUser(0, kNobody));
        ASSERT_TRUE(user->ok()) << user->why();
        EXPECT_FALSE(COsUtil::isRunAsAdmin() || COsUtil::isProcessElevated());
        EXPECT_TRUE(COsUtil::isUserInAdminGroup());
        EXPECT_EQ(calls, 0);
    } else if (!COsUtil::isUserInAdminGroup()) {
        EXPECT_FALSE(COsUtil::elevateProcess());
        EXPECT_EQ(calls, 0);
        return;
    }
    EXPECT_TRUE(COsUtil::elevateProcess() && calls == 1);
    EXPECT_EQ(launched, (QStringList{"pkexec", QCoreApplication::applicationFilePath()}
                         + QCoreApplication::arguments().mid(1)));
    launcherResult = false;
    EXPECT_FALSE(COsUtil::elevateProcess()) << "a relaunch that did not start";
    EXPECT_EQ(calls, 2);
}

// Links are removed as links, never followed: not when met inside the tree, not
// when named directly. Read-only and closed directories are forced as their
// owner (permission bits made to count, also when the tests run as root). The
// result is inverted: false means the path is gone.
TEST(COsUtil, RemovePathDeletesTreesButNeverFollowsLinks)
{
    QTemporaryDir temp;
    const QString root = temp.path(), outside = root + "/outside", tree = root + "/tree";
    ASSERT_TRUE(writeFiles(root, {{"outside/precious.txt", "keep me"}, {"tree/a.txt", "x"}, {"tree/.hidden", "x"},
                                  {"tree/sub/deep/b.txt", "x"}, {"tree/sub/readonly.txt", "x"}, {"tree/closed/c.txt", "x"},
                                  {"single.txt", "s"}}));
    ASSERT_TRUE(makeLink(outside, tree + "/to-outside") && makeLink("..", tree + "/sub/loop")
                && makeLink("nowhere", tree + "/dangling") && makeLink(outside, root + "/link"));
    PermissionsCount guard(root);
    REQUIRE_PERMISSIONS_COUNT(guard);
    ASSERT_TRUE(setMode(tree + "/sub/readonly.txt", 0444) && setMode(tree + "/sub/deep", 0555) && setMode(tree + "/sub", 0500)
                && setMode(tree + "/closed", 0) && setMode(root + "/single.txt", 0));
    for (const QString &path : {tree, root + "/link/", root + "/single.txt"}) {
        EXPECT_FALSE(COsUtil::removePath(path)) << path.toStdString();
        EXPECT_FALSE(present(QDir::cleanPath(path)));
    }
    EXPECT_EQ(readFile(outside + "/precious.txt"), QByteArray("keep me"));
    EXPECT_TRUE(COsUtil::removePath(tree)) << "missing paths report failure";
    EXPECT_TRUE(COsUtil::removePath(QString()));
}

// The mask goes through the umask, and files never get an execute bit, as for a
// fresh entry; false means it worked.
TEST(COsUtil, SetPermissionsActsLikeAFreshEntry)
{
    QTemporaryDir temp;
    const QString dir = temp.path() + "/dir", file = temp.path() + "/file.txt", outside = temp.path() + "/outside.txt";
    ASSERT_TRUE(QDir().mkpath(dir) && writeFile(file, "f") && writeFile(outside, "o") && setMode(outside, 0600));
    ASSERT_TRUE(makeLink(outside, temp.path() + "/link.txt"));
    struct Case { mode_t umask; int mask, dirMode, fileMode; };
    const Case cases[] = {{022, 0x1FF, 0755, 0644}, {077, 0x1FF, 0700, 0600}, {0, 0x1FF, 0777, 0666},
                          {022, 0x1C0, 0700, 0600}, {002, 0x1F8, 0770, 0660}, {022, 0, 0, 0}};
    for (const Case &c : cases) {
        const mode_t previous = ::umask(c.umask);
        const auto mask = static_cast<COsUtil::ePermissionMask>(c.mask);
        SCOPED_TRACE(testing::Message() << std::oct << c.mask << " umask " << c.umask);
        EXPECT_FALSE(COsUtil::setPermissions(dir, mask) || COsUtil::setPermissions(file, mask));
        ::umask(previous);
        EXPECT_EQ(std::make_pair(modeOf(dir), modeOf(file)), std::make_pair(c.dirMode, c.fileMode));
    }
    // A link is left alone, and so is what it points to.
    EXPECT_FALSE(COsUtil::setPermissions(temp.path() + "/link.txt", COsUtil::eAllPermissions));
    EXPECT_EQ(modeOf(outside), 0600);
    EXPECT_TRUE(COsUtil::setPermissions(QString(), COsUtil::eAllPermissions)
                && COsUtil::setPermissions(temp.path() + "/missing", COsUtil::eAllPermissions));
}

TEST(COsUtil, OpenUrlHandsOverToTheOpenerAndNothingIsTraced)
{
    StandInsReset reset;
    QStringList opened;
    bool answer = true;
    setURLOpener([&](const QString &url) { return opened << url, answer; });
    QTemporaryDir temp;
    testsupport::CapturedLog log("TRACE");
    EXPECT_TRUE(openURL("https://example.org/a b?x=1"));
    answer = false;
    EXPECT_FALSE(openURL("/tmp/document.pdf"));
    EXPECT_FALSE(openURL(QString())) << "nothing to open";
    EXPECT_EQ(opened, (QStringList{"https://example.org/a b?x=1", "/tmp/document.pdf"}));
    COsUtil::isUserInAdminGroup();
    COsUtil::setPermissions(temp.path(), COsUtil::eAllPermissions);
    COsUtil::removePath(temp.path() + "/missing");
    EXPECT_TRUE(log.lines().empty());
}
