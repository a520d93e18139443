#include "ziputil_p.h"

#include <QFile>
#include <QString>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace ZipUtilPlatform {

bool openTargetForWriting(QFile &file, const QString &path)
{
    // O_NOFOLLOW closes the gap between the caller's look at the name and the
    // open: a link put there in between makes the open fail instead of writing
    // wherever it points.
    const QByteArray native = QFile::encodeName(path);
    int fd = -1;
    do {
        fd = ::open(native.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return false;
    if (!file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return false;
    }
    return true;
}

} // namespace ZipUtilPlatform
