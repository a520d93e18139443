// The POSIX file layer of CabUtil: plain descriptors, so that new files can be
// created exclusively and without following symbolic links, and times and
// permissions set on the descriptor rather than by a name that may change.
#include "cabutil_p.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifndef O_CLOEXEC
#define O_CLOEXEC 0
#endif

namespace CabUtilFile {

namespace {
thread_local int t_lastErrno = 0;

int fail()
{
    t_lastErrno = errno;
    return -1;
}
} // namespace

int openForReading(const QString &path)
{
    // Non-blocking, so that a FIFO given as the cabinet cannot hang the caller;
    // only regular files are read.
    int fd;
    do
        fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return fail();
    struct stat info;
    const bool statted = ::fstat(fd, &info) == 0;
    if (statted && !S_ISREG(info.st_mode))
        errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    if (!statted || !S_ISREG(info.st_mode)) {
        fail();
        ::close(fd);
        return -1;
    }
    return fd;
}

int createNew(const QString &path)
{
    // O_EXCL also refuses a dangling symbolic link; the mode is narrowed by the umask
    // exactly as for any other program's new file.
    int fd;
    do
        fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    0666);
    while (fd < 0 && errno == EINTR);
    return fd < 0 ? fail() : fd;
}

qint64 read(int handle, void *buffer, qint64 bytes)
{
    char *out = static_cast<char *>(buffer);
    qint64 done = 0;
    while (done < bytes) {
        const ssize_t n = ::read(handle, out + done, static_cast<size_t>(bytes - done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return fail();
        }
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

qint64 write(int handle, const void *buffer, qint64 bytes)
{
    const char *in = static_cast<const char *>(buffer);
    qint64 done = 0;
    while (done < bytes) {
        const ssize_t n = ::write(handle, in + done, static_cast<size_t>(bytes - done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return fail();
        }
        done += n;
    }
    return done;
}

bool seek(int handle, qint64 offset, int whence)
{
    const int mode = whence == 0 ? SEEK_SET : whence == 1 ? SEEK_CUR : SEEK_END;
    if (::lseek(handle, static_cast<off_t>(offset), mode) < 0) {
        fail();
        return false;
    }
    return true;
}

qint64 tell(int handle)
{
    const off_t position = ::lseek(handle, 0, SEEK_CUR);
    return position < 0 ? fail() : static_cast<qint64>(position);
}

bool close(int handle)
{
    // Retrying close() after EINTR may close a descriptor another thread has just
    // been given, so it is called once.
    if (::close(handle) != 0) {
        fail();
        return false;
    }
    return true;
}

bool setModificationTime(int handle, const QDateTime &time)
{
    const qint64 msecs = time.toMSecsSinceEpoch();
    struct timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT; // the access time stays as it is
    times[1].tv_sec = static_cast<time_t>(msecs / 1000);
    times[1].tv_nsec = static_cast<long>((msecs % 1000) * 1000000);
    if (::futimens(handle, times) != 0) {
        fail();
        return false;
    }
    return true;
}

bool clearWriteBits(int handle)
{
    struct stat info;
    if (::fstat(handle, &info) != 0 || ::fchmod(handle, info.st_mode & 07555) != 0) {
        fail();
        return false;
    }
    return true;
}

bool replace(const QString &from, const QString &to)
{
    // rename() replaces the name `to` atomically; a symbolic link there is replaced,
    // not followed.
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0) {
        fail();
        return false;
    }
    return true;
}

bool remove(const QString &path)
{
    if (::unlink(QFile::encodeName(path).constData()) != 0) {
        fail();
        return false;
    }
    return true;
}

QString lastError()
{
    return QString::fromLocal8Bit(std::strerror(t_lastErrno));
}

} // namespace CabUtilFile
