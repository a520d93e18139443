#ifndef UTILITY_OSUTIL_H
#define UTILITY_OSUTIL_H

#include <utility/utility_export.h>

#include <QString>
#include <QStringList>

#include <functional>

// Queries and operations on the running system: administrator and elevation
// checks, relaunching the program elevated, forced deletion and permissions.
// Only static members; the class is never instantiated. Nothing here is traced.
//
// The operations were first written for Windows; docs/osutil.md lists what each
// one means on Linux and macOS. Two results are inverted on purpose and callers
// rely on that: removePath() and setPermissions() return true when they FAILED.
class UTILITY_EXPORT COsUtil
{
public:
    // Permission bits in the POSIX layout (owner, group, others; read, write,
    // execute). The library itself only ever passes eAllPermissions.
    enum ePermissionMask {
        eNoPermissions = 0,
        eOthersExecute = 0x001,
        eOthersWrite = 0x002,
        eOthersRead = 0x004,
        eGroupExecute = 0x008,
        eGroupWrite = 0x010,
        eGroupRead = 0x020,
        eOwnerExecute = 0x040,
        eOwnerWrite = 0x080,
        eOwnerRead = 0x100,
        eAllPermissions = 0x1FF
    };

    // Starts a program detached from this process; true when it started.
    // Replaceable so that tests never really elevate or open a browser.
    using Launcher = std::function<bool(const QString &program, const QStringList &arguments)>;

    COsUtil() = delete;

    // A Windows version query: false on every other system.
    static bool isWindowsVistaOrHigher();
    // True when a 32-bit build runs on a 64-bit kernel.
    static bool isWow64();
    // True when the real user may become administrator: root, or a member of
    // one of the groups sudo, wheel or admin. Never throws.
    static bool isUserInAdminGroup();
    // True when the process runs with administrator rights now (effective
    // user root). Throw the system's error code as unsigned long when the
    // query itself fails.
    static bool isRunAsAdmin();
    static bool isProcessElevated();
    // Relaunches the running program with its arguments elevated (pkexec on
    // Linux), detached. False when the user may not elevate, true at once
    // when already elevated, otherwise whether the relaunch started. This
    // process goes on running; the caller decides whether to quit.
    static bool elevateProcess();

    // Forced, permanent deletion of a file, a symbolic link (never what it
    // points to) or a whole tree, read-only entries included.
    // Returns true when the deletion FAILED (so true for a missing path).
    static bool removePath(const QString &path);

    // Gives path the permissions mask, the way a freshly created entry gets
    // them: a directory mask & ~umask, a file mask & 0666 & ~umask. An empty
    // path returns true at once. Returns true when the change FAILED.
    static bool setPermissions(const QString &path, COsUtil::ePermissionMask mask);

    // Replaces the program starter used by elevateProcess(); an empty
    // function restores the real one (QProcess::startDetached).
    static void setElevationLauncher(const Launcher &launcher);
};

inline COsUtil::ePermissionMask operator|(COsUtil::ePermissionMask a, COsUtil::ePermissionMask b)
{
    return static_cast<COsUtil::ePermissionMask>(static_cast<int>(a) | static_cast<int>(b));
}

// Hands a URL or a document path to the desktop (the default browser or the
// application registered for the document). True when the handoff started;
// whether the document could then be shown is not known here.
UTILITY_EXPORT bool openURL(const QString &url);

// Replaces what openURL() hands the URL to; an empty function restores the
// desktop's own (QDesktopServices in a GUI application, xdg-open otherwise).
UTILITY_EXPORT void setURLOpener(const std::function<bool(const QString &url)> &opener);

#endif // UTILITY_OSUTIL_H
