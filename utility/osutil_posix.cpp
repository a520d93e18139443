// COsUtil and openURL on Linux, macOS and the other POSIX systems.

#include "osutil_p.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace OsUtilPlatform {

bool isWow64Machine(const QString &machine, int pointerBytes)
{
    static const char *const wide[] = {"x86_64", "amd64", "aarch64", "arm64", "ppc64", "ppc64le",
                                       "s390x", "mips64", "riscv64", "sparc64", "loongarch64"};
    if (pointerBytes != 4)
        return false;
    for (const char *name : wide) {
        if (machine == QLatin1String(name))
            return true;
    }
    return false;
}

bool mayElevate(unsigned int realUserId, const QStringList &groupNames)
{
    if (realUserId == 0)
        return true;
    // The groups that sudo (Debian, Ubuntu), wheel (Fedora, Arch, BSD) and the
    // older Ubuntu and macOS admin group allow to become root.
    for (const QString &name : groupNames) {
        if (name == QLatin1String("sudo") || name == QLatin1String("wheel")
            || name == QLatin1String("admin"))
            return true;
    }
    return false;
}

int effectiveMode(int mask, bool isDirectory, int umask)
{
    // A file never becomes executable through the mask: it gets what a freshly
    // created file would get, so that copying never turns data into programs.
    const int allowed = isDirectory ? 0777 : 0666;
    return mask & allowed & ~umask;
}

bool isWindowsVistaOrHigher()
{
    return false;
}

bool isWow64()
{
    struct utsname name;
    if (uname(&name) != 0)
        return false;
    return isWow64Machine(QString::fromLatin1(name.machine), static_cast<int>(sizeof(void *)));
}

namespace {

// The names of the groups the real user belongs to: the primary group, the
// groups of this process and those the group database lists for the user.
QStringList realUserGroupNames()
{
    std::vector<gid_t> ids;
    ids.push_back(getgid());
    const int count = getgroups(0, nullptr);
    if (count > 0) {
        std::vector<gid_t> own(static_cast<size_t>(count));
        const int got = getgroups(count, own.data());
        if (got > 0)
            ids.insert(ids.end(), own.begin(), own.begin() + got);
    }
    struct passwd pwd;
    struct passwd *found = nullptr;
    std::vector<char> buffer(16384);
    if (getpwuid_r(getuid(), &pwd, buffer.data(), buffer.size(), &found) == 0 && found) {
        int listed = 64;
#ifdef __APPLE__
        std::vector<int> raw(static_cast<size_t>(listed));
        if (getgrouplist(found->pw_name, static_cast<int>(found->pw_gid), raw.data(), &listed) != -1) {
            for (int i = 0; i < listed; ++i)
                ids.push_back(static_cast<gid_t>(raw[static_cast<size_t>(i)]));
        }
#else
        std::vector<gid_t> member(static_cast<size_t>(listed));
        if (getgrouplist(found->pw_name, found->pw_gid, member.data(), &listed) == -1 && listed > 64) {
            member.resize(static_cast<size_t>(listed));
            if (getgrouplist(found->pw_name, found->pw_gid, member.data(), &listed) == -1)
                listed = 0;
        }
        if (listed > 0 && static_cast<size_t>(listed) <= member.size())
            ids.insert(ids.end(), member.begin(), member.begin() + listed);
#endif
    }

    QStringList names;
    for (const gid_t id : ids) {
        struct group grp;
        struct group *entry = nullptr;
        std::vector<char> groupBuffer(16384);
        if (getgrgid_r(id, &grp, groupBuffer.data(), groupBuffer.size(), &entry) == 0 && entry)
            names << QString::fromLocal8Bit(entry->gr_name);
    }
    names.removeDuplicates();
    return names;
}

} // namespace

bool isUserInAdminGroup()
{
    try {
        return mayElevate(static_cast<unsigned int>(getuid()), realUserGroupNames());
    } catch (...) {
        // Documented never to throw; an allocation failure simply means "no".
        return false;
    }
}

// geteuid() cannot fail; the declared exception stays for systems whose query can.
bool isRunAsAdmin()
{
    return geteuid() == 0;
}

bool isProcessElevated()
{
    return geteuid() == 0;
}

QString elevationProgram()
{
    return QStringLiteral("pkexec");
}

QString ownExecutable()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
    const QString self = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    return self;
}

QStringList ownArguments()
{
    if (QCoreApplication::instance())
        return QCoreApplication::arguments().mid(1);
    QFile cmdline(QStringLiteral("/proc/self/cmdline"));
    QStringList arguments;
    if (cmdline.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> parts = cmdline.readAll().split('\0');
        for (int i = 1; i < parts.size(); ++i) {
            // The list ends with a zero, which leaves one empty part behind.
            if (i == parts.size() - 1 && parts.at(i).isEmpty())
                break;
            arguments << QFile::decodeName(parts.at(i));
        }
    }
    return arguments;
}

namespace {

// How deep removePath descends. Each level holds one open directory, and a tree
// deeper than this is not something a user made by hand.
constexpr int kMaxRemoveDepth = 512;

// Removes name inside the directory open as parentFd, and everything below it.
// Works on descriptors and never follows a symbolic link, so that a link in the
// tree (even one swapped in while we work) is removed as a link and the tree it
// points to is left alone.
bool removeEntryAt(int parentFd, const char *name, int depth)
{
    struct stat st;
    if (fstatat(parentFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (!S_ISDIR(st.st_mode))
        return unlinkat(parentFd, name, 0) == 0;
    if (depth >= kMaxRemoveDepth)
        return false;

    const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    int fd = openat(parentFd, name, flags);
    if (fd < 0 && errno == EACCES) {
        // A directory without read or search rights for its owner: forced
        // deletion gives them back first.
        fchmodat(parentFd, name, (st.st_mode & 07777) | S_IRWXU, 0);
        fd = openat(parentFd, name, flags);
    }
    if (fd < 0)
        return false;
    // Entries of a read-only directory can only be unlinked once it is writable.
    if ((st.st_mode & S_IRWXU) != S_IRWXU)
        fchmod(fd, (st.st_mode & 07777) | S_IRWXU);

    std::vector<std::string> names;
    const int listFd = dup(fd);
    DIR *dir = listFd >= 0 ? fdopendir(listFd) : nullptr;
    if (!dir) {
        if (listFd >= 0)
            close(listFd);
        close(fd);
        return false;
    }
    while (struct dirent *entry = readdir(dir)) {
        const char *child = entry->d_name;
        if (child[0] == '.' && (child[1] == '\0' || (child[1] == '.' && child[2] == '\0')))
            continue;
        names.emplace_back(child);
    }
    closedir(dir);

    bool ok = true;
    for (const std::string &child : names) {
        if (!removeEntryAt(fd, child.c_str(), depth + 1))
            ok = false;
    }
    close(fd);
    if (unlinkat(parentFd, name, AT_REMOVEDIR) != 0)
        ok = false;
    return ok;
}

} // namespace

bool removePath(const QString &path)
{
    if (path.isEmpty())
        return true;
    // Clean the name first: "tree/" and "tree/." must mean the tree itself,
    // and "link/" the link, not the directory behind it.
    const QFileInfo info(QDir::cleanPath(QDir(path).absolutePath()));
    const QString name = info.fileName();
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return true;
    const int parentFd = open(QFile::encodeName(info.absolutePath()).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parentFd < 0)
        return true;
    const bool removed = removeEntryAt(parentFd, QFile::encodeName(name).constData(), 0);
    close(parentFd);
    return !removed;
}

namespace {

int currentUmask()
{
    // Linux shows the umask without changing it; elsewhere it can only be read
    // by setting it, which we do under a lock and undo at once.
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> lines = status.readAll().split('\n');
        for (const QByteArray &line : lines) {
            if (line.startsWith("Umask:")) {
                bool ok = false;
                const int value = line.mid(6).trimmed().toInt(&ok, 8);
                if (ok)
                    return value;
            }
        }
    }
    static std::mutex umaskMutex;
    std::lock_guard<std::mutex> lock(umaskMutex);
    const mode_t previous = umask(022);
    umask(previous);
    return static_cast<int>(previous);
}

} // namespace

bool setPermissions(const QString &path, int mask)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat st;
    if (lstat(name.constData(), &st) != 0)
        return true;
    // A symbolic link has no permissions of its own, and changing those of what
    // it points to could reach outside the tree being worked on.
    if (S_ISLNK(st.st_mode))
        return false;
    const int mode = effectiveMode(mask, S_ISDIR(st.st_mode), currentUmask());
    return chmod(name.constData(), static_cast<mode_t>(mode)) != 0;
}

bool copyLink(const QString &link, const QString &newLink)
{
    const QByteArray name = QFile::encodeName(link);
    std::vector<char> target(4096);
    for (;;) {
        const ssize_t length = readlink(name.constData(), target.data(), target.size());
        if (length < 0)
            return false;
        if (static_cast<size_t>(length) < target.size()) {
            target[static_cast<size_t>(length)] = '\0';
            break;
        }
        if (target.size() >= (1u << 20))
            return false;
        target.resize(target.size() * 2);
    }
    return symlink(target.data(), QFile::encodeName(newLink).constData()) == 0;
}

bool replaceFile(const QString &from, const QString &to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

std::FILE *openRegularFile(const char *path)
{
    // Opened without blocking so that a FIFO cannot hold us up before fstat
    // tells what it is.
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return nullptr;
    }
    const int flags = fcntl(fd, F_GETFL);
    if (flags != -1)
        fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    std::FILE *file = fdopen(fd, "rb");
    if (!file)
        close(fd);
    return file;
}

bool startDetached(const QString &program, const QStringList &arguments)
{
    if (QStandardPaths::findExecutable(program).isEmpty() && !QFileInfo(program).isExecutable())
        return false;
    return QProcess::startDetached(program, arguments);
}

bool openURL(const QString &url)
{
    // An existing document is named by its absolute path, so that it can never
    // be taken for an option of the opener; anything else must be a URL.
    const QFileInfo document(url);
    const bool isDocument = document.exists();
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        const QUrl target = isDocument ? QUrl::fromLocalFile(document.absoluteFilePath())
                                       : QUrl::fromUserInput(url);
        if (!target.isValid())
            return false;
        return QDesktopServices::openUrl(target);
    }
    const QString argument = isDocument ? document.absoluteFilePath() : url;
    if (argument.startsWith(QLatin1Char('-')))
        return false;
#ifdef __APPLE__
    return startDetached(QStringLiteral("open"), QStringList(argument));
#else
    return startDetached(QStringLiteral("xdg-open"), QStringList(argument));
#endif
}

} // namespace OsUtilPlatform
