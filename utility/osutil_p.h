#ifndef UTILITY_OSUTIL_P_H
#define UTILITY_OSUTIL_P_H

// The platform seam of COsUtil and openURL: each system implements these in its
// own file (osutil_posix.cpp, osutil_win.cpp), so that osutil.cpp holds only the
// logic the systems share. Not installed. The few exported helpers are pure
// decisions that the tests check with made-up inputs.

#include <utility/utility_export.h>

#include <QString>
#include <QStringList>

#include <cstdio>

namespace OsUtilPlatform {

bool isWindowsVistaOrHigher();
bool isWow64();
bool isUserInAdminGroup();
bool isRunAsAdmin();      // may throw the system error code as unsigned long
bool isProcessElevated(); // may throw the system error code as unsigned long

// The program that runs another one elevated ("pkexec"), and how this process
// was started: its own executable and its arguments without the program name.
QString elevationProgram();
QString ownExecutable();
QStringList ownArguments();

// Both return true when they FAILED, as COsUtil's do.
bool removePath(const QString &path);
bool setPermissions(const QString &path, int mask);

// File operations the copy helpers need below Qt's level. Both never follow a
// symbolic link at the target. copyLink makes newLink a link with the same
// (possibly relative) target as link; it fails when newLink exists.
// replaceFile renames from to to, replacing an existing file there in one step.
bool copyLink(const QString &link, const QString &newLink);
bool replaceFile(const QString &from, const QString &to);
// fopen(path, "rb") for regular files only: a FIFO or a device would block or
// never end. Null when path cannot be opened or is no regular file.
std::FILE *openRegularFile(const char *path);

// Starts program detached; true when it started.
bool startDetached(const QString &program, const QStringList &arguments);
// The desktop's own way of opening a URL or document.
bool openURL(const QString &url);

// True when a process with pointers of pointerBytes runs on a kernel whose
// machine name (uname -m) is that of a 64-bit architecture.
UTILITY_EXPORT bool isWow64Machine(const QString &machine, int pointerBytes);
// True for the root user or a member of one of the groups that may elevate.
UTILITY_EXPORT bool mayElevate(unsigned int realUserId, const QStringList &groupNames);
// The permission bits that a directory or a file gets from mask under umask.
UTILITY_EXPORT int effectiveMode(int mask, bool isDirectory, int umask);

} // namespace OsUtilPlatform

#endif // UTILITY_OSUTIL_P_H
