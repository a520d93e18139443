#include "ziputil_p.h"

#include <QFile>
#include <QString>

namespace ZipUtilPlatform {

bool openTargetForWriting(QFile &file, const QString &path)
{
    // The caller has refused a name that is a symbolic link or junction; creating
    // one needs a privilege ordinary users lack, so the window left between that
    // look and this open is not reachable from an archive.
    file.setFileName(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

} // namespace ZipUtilPlatform
