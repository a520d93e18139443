#include <utility/osutil.h>

#include "osutil_p.h"

#include <mutex>

// The replaceable starters. Tests install stand-ins so that no test ever asks
// for a password or opens a browser window.
namespace {

std::mutex g_hookMutex;

COsUtil::Launcher &elevationLauncher()
{
    static COsUtil::Launcher launcher;
    return launcher;
}

std::function<bool(const QString &)> &urlOpener()
{
    static std::function<bool(const QString &)> opener;
    return opener;
}

} // namespace

bool COsUtil::isWindowsVistaOrHigher()
{
    return OsUtilPlatform::isWindowsVistaOrHigher();
}

bool COsUtil::isWow64()
{
    return OsUtilPlatform::isWow64();
}

bool COsUtil::isUserInAdminGroup()
{
    return OsUtilPlatform::isUserInAdminGroup();
}

bool COsUtil::isRunAsAdmin()
{
    return OsUtilPlatform::isRunAsAdmin();
}

bool COsUtil::isProcessElevated()
{
    return OsUtilPlatform::isProcessElevated();
}

bool COsUtil::elevateProcess()
{
    if (!isUserInAdminGroup())
        return false;
    if (isRunAsAdmin())
        return true;
    const QString program = OsUtilPlatform::ownExecutable();
    if (program.isEmpty())
        return false;
    Launcher launcher;
    {
        std::lock_guard<std::mutex> lock(g_hookMutex);
        launcher = elevationLauncher();
    }
    const QStringList arguments = QStringList(program) + OsUtilPlatform::ownArguments();
    if (launcher)
        return launcher(OsUtilPlatform::elevationProgram(), arguments);
    return OsUtilPlatform::startDetached(OsUtilPlatform::elevationProgram(), arguments);
}

bool COsUtil::removePath(const QString &path)
{
    return OsUtilPlatform::removePath(path);
}

bool COsUtil::setPermissions(const QString &path, COsUtil::ePermissionMask mask)
{
    if (path.isEmpty())
        return true;
    return OsUtilPlatform::setPermissions(path, static_cast<int>(mask));
}

void COsUtil::setElevationLauncher(const Launcher &launcher)
{
    std::lock_guard<std::mutex> lock(g_hookMutex);
    elevationLauncher() = launcher;
}

bool openURL(const QString &url)
{
    if (url.isEmpty())
        return false;
    std::function<bool(const QString &)> opener;
    {
        std::lock_guard<std::mutex> lock(g_hookMutex);
        opener = urlOpener();
    }
    if (opener)
        return opener(url);
    return OsUtilPlatform::openURL(url);
}

void setURLOpener(const std::function<bool(const QString &url)> &opener)
{
    std::lock_guard<std::mutex> lock(g_hookMutex);
    urlOpener() = opener;
}
