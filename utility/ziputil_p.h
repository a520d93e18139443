#ifndef UTILITY_ZIPUTIL_P_H
#define UTILITY_ZIPUTIL_P_H

// The one place where extraction needs the platform: opening a target file so
// that a symbolic link planted at its name cannot redirect the write.

class QFile;
class QString;

namespace ZipUtilPlatform {

// Opens path write-only, creating it or truncating an existing regular file, and
// hands the descriptor to file. Fails (rather than following it) when path is a
// symbolic link, even one created after the caller looked.
bool openTargetForWriting(QFile &file, const QString &path);

} // namespace ZipUtilPlatform

#endif // UTILITY_ZIPUTIL_P_H
