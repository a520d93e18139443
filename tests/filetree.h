#ifndef UTILITY_TESTS_FILETREE_H
#define UTILITY_TESTS_FILETREE_H

// Small helpers for tests that build real file trees in a temporary directory:
// files, links, FIFOs, a way to make permission bits count while the tests run
// as root (root ignores them), and the outside tools that check our archives.

#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

// Readable failure messages for names and listings. Internal linkage, so that
// it cannot clash with a printer that another test file may bring.
static inline void PrintTo(const QString &text, std::ostream *os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace filetree {

inline QByteArray native(const QString &path)
{
    return QFile::encodeName(path);
}

// Writes data to path, creating the parent directories, and dates it when a
// modification time is given.
inline bool writeFile(const QString &path, const QByteArray &data, const QDateTime &modified = QDateTime())
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(data) != data.size() || !file.flush())
        return false;
    return !modified.isValid() || file.setFileTime(modified, QFileDevice::FileModificationTime);
}

// Writes each relative name with its contents below base.
inline bool writeFiles(const QString &base, std::initializer_list<std::pair<const char *, QByteArray>> files)
{
    for (const auto &file : files)
        if (!writeFile(base + QLatin1Char('/') + QString::fromUtf8(file.first), file.second))
            return false;
    return true;
}

// The contents of path, or "<missing>" when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArrayLiteral("<missing>");
    return file.readAll();
}

inline bool makeLink(const QString &target, const QString &link)
{
    return ::symlink(native(target).constData(), native(link).constData()) == 0;
}

// The raw target of a link as stored, relative targets kept relative.
inline QString linkTarget(const QString &link)
{
    char buffer[4096];
    const ssize_t length = ::readlink(native(link).constData(), buffer, sizeof buffer - 1);
    if (length < 0)
        return QString();
    buffer[length] = '\0';
    return QFile::decodeName(buffer);
}

inline bool isLink(const QString &path)
{
    struct stat st;
    return ::lstat(native(path).constData(), &st) == 0 && S_ISLNK(st.st_mode);
}

// Exists as anything, a dangling link included.
inline bool present(const QString &path)
{
    struct stat st;
    return ::lstat(native(path).constData(), &st) == 0;
}

// Removes a file, a link or a tree (QDir::removeRecursively never follows links).
inline void removeTree(const QString &path)
{
    if (isLink(path) || !QFileInfo(path).isDir())
        QFile::remove(path);
    else
        QDir(path).removeRecursively();
}

inline bool makeFifo(const QString &path)
{
    return ::mkfifo(native(path).constData(), 0600) == 0;
}

inline int modeOf(const QString &path)
{
    struct stat st;
    if (::lstat(native(path).constData(), &st) != 0)
        return -1;
    return static_cast<int>(st.st_mode & 07777);
}

inline bool setMode(const QString &path, int mode)
{
    return ::chmod(native(path).constData(), static_cast<mode_t>(mode)) == 0;
}

// Every entry below dir (hidden ones too) as relative paths, sorted; links are
// listed, never entered. Directories end in "/", links read "name -> target".
inline QStringList listing(const QString &dir, const QString &prefix = QString())
{
    QStringList result;
    const QStringList names = QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        const QString path = dir + QLatin1Char('/') + name, relative = prefix + name;
        if (isLink(path))
            result << relative + QStringLiteral(" -> ") + linkTarget(path);
        else if (QFileInfo(path).isDir())
            result << relative + QLatin1Char('/') << listing(path, relative + QLatin1Char('/'));
        else
            result << relative;
    }
    result.sort();
    return result;
}

// Hands a tree to another user (lchown, links untouched as links).
inline void chownTree(const QString &path, uid_t uid, gid_t gid)
{
    ::lchown(native(path).constData(), uid, gid);
    struct stat st;
    if (::lstat(native(path).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return;
    const QStringList names = QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                                   | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        chownTree(path + QLatin1Char('/') + name, uid, gid);
}

// The unprivileged account the tests borrow when they run as root.
constexpr uid_t kNobody = 65534;

// While it lives, the process runs with the real and effective user given,
// keeping root as its saved user so that the destructor can return. Only
// possible when the tests run as root; ok() says whether the switch happened.
// Permission bits (and access(), which asks for the real user) count again.
class ScopedUser
{
public:
    ScopedUser(uid_t real, uid_t effective)
    {
        if (::geteuid() != 0 || ::getuid() != 0) {
            m_why = "the tests do not run as root, so they cannot switch users";
            return;
        }
        if (::setresuid(real, effective, 0) != 0) {
            m_why = std::string("setresuid failed: ") + std::strerror(errno);
            return;
        }
        m_switched = true;
    }
    ~ScopedUser()
    {
        if (m_switched && ::setresuid(0, 0, 0) != 0)
            std::abort(); // the remaining tests would run as someone else
    }
    ScopedUser(const ScopedUser &) = delete;
    ScopedUser &operator=(const ScopedUser &) = delete;

    bool ok() const { return m_switched; }
    const std::string &why() const { return m_why; }

private:
    bool m_switched = false;
    std::string m_why;
};

// Permission bits hold for whoever runs the tests, except root. Creates the
// situation where they hold: as root the tree is handed to the nobody account
// and the process becomes that user for the lifetime of the object; for any
// other user nothing changes.
class PermissionsCount
{
public:
    explicit PermissionsCount(const QString &tree)
    {
        if (::geteuid() != 0)
            return;
        chownTree(tree, kNobody, kNobody);
        m_user.reset(new ScopedUser(kNobody, kNobody));
    }
    bool ok() const { return !m_user || m_user->ok(); }
    std::string why() const { return m_user ? m_user->why() : std::string(); }

private:
    std::unique_ptr<ScopedUser> m_user;
};

// A destination that is "full": writes beyond limitBytes fail with EFBIG, for
// root as well. Restores the limit and the signal action afterwards.
class ScopedFileSizeLimit
{
public:
    explicit ScopedFileSizeLimit(rlim_t limitBytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_previous);
        m_previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = m_previous;
        limit.rlim_cur = limitBytes;
        m_ok = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~ScopedFileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }
    ScopedFileSizeLimit(const ScopedFileSizeLimit &) = delete;
    ScopedFileSizeLimit &operator=(const ScopedFileSizeLimit &) = delete;
    bool ok() const { return m_ok; }

private:
    struct rlimit m_previous;
    void (*m_previousHandler)(int) = SIG_DFL;
    bool m_ok = false;
};

// The full path of an installed program, or an empty string.
inline QString tool(const char *name)
{
    return QStandardPaths::findExecutable(QString::fromLatin1(name));
}

// Runs a program to its end: exit code (-1 when it did not finish normally) and
// its merged output.
inline std::pair<int, QByteArray> run(const QString &program, const QStringList &arguments,
                                      const QString &workingDirectory = QString(), const QByteArray &input = QByteArray())
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForStarted() || !process.waitForFinished(600000) || process.exitStatus() != QProcess::NormalExit)
        return {-1, process.readAll()};
    return {process.exitCode(), process.readAll()};
}

} // namespace filetree

#define REQUIRE_TOOL(name)                                                                        \
    do {                                                                                         \
        if (filetree::tool(name).isEmpty())                                                      \
            GTEST_SKIP() << name << " is not installed (scripts/install-deps installs it)";      \
    } while (false)

#define REQUIRE_PERMISSIONS_COUNT(guard)                                                       \
    do {                                                                                       \
        if (!(guard).ok())                                                                     \
            GTEST_SKIP() << "cannot make permission bits count here (running as root and "     \
                            "unable to switch to an unprivileged user): "                      \
                         << (guard).why();                                                     \
    } while (false)

#endif // UTILITY_TESTS_FILETREE_H
