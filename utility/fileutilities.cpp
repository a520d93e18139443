#include <utility/fileutilities.h>

#include "osutil_p.h"
#include "trace_p.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStorageInfo>
#include <QTemporaryFile>

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <vector>

namespace {

// True for anything that occupies the name, a dangling symbolic link included:
// QFileInfo::exists() follows links, and a name taken by a link is not free.
bool entryExists(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymbolicLink();
}

// The absolute, link-free form of path, also for a path that does not exist
// yet: its deepest existing ancestor is resolved and the rest appended.
QString resolvedPath(const QString &path)
{
    const QString absolute = QDir::cleanPath(QDir(path).absolutePath());
    QString current = absolute;
    QStringList rest;
    for (;;) {
        const QString canonical = QFileInfo(current).canonicalFilePath();
        if (!canonical.isEmpty()) {
            rest.prepend(canonical);
            return QDir::cleanPath(rest.join(QLatin1Char('/')));
        }
        const QFileInfo info(current);
        const QString parent = info.absolutePath();
        if (parent == current)
            return absolute;
        rest.prepend(info.fileName());
        current = parent;
    }
}

bool isSameOrInside(const QString &inner, const QString &outer)
{
    if (inner == outer)
        return true;
    const QString prefix = outer.endsWith(QLatin1Char('/')) ? outer : outer + QLatin1Char('/');
    return inner.startsWith(prefix);
}

// The topmost directory that creating path will make, or an empty string when
// path exists already.
QString firstMissing(const QString &path)
{
    QString current = QDir::cleanPath(QDir(path).absolutePath());
    QString missing;
    while (!entryExists(current)) {
        missing = current;
        const QString parent = QFileInfo(current).absolutePath();
        if (parent == current)
            break;
        current = parent;
    }
    return missing;
}

bool isReadableDirectory(const QString &path)
{
    const QFileInfo info(path);
    return info.isDir() && info.isReadable() && info.isExecutable();
}

// What a copy made, in order, so that a failed move can take back its own work
// and nothing else. Only moveDirectory runs the copy this way: it then also
// takes hidden and system entries and treats every failed entry as a failure.
struct CopyRun
{
    QStringList created;

    void noteCreated(const QString &path)
    {
        if (!path.isEmpty())
            created << path;
    }
};

// A free name beside target for a copy in progress. It starts with a dot and
// stays short, whatever the length of target's own name.
QString temporaryName(const QString &target)
{
    const QFileInfo info(target);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString candidate = info.absolutePath() + QStringLiteral("/.utility-copy-")
            + QString::number(QRandomGenerator::global()->generate(), 16);
        if (!entryExists(candidate))
            return candidate;
    }
    return QString();
}

// Copies source (a file, or a link copied as a link) to target and then puts
// it in target's place. The old target goes only when the copy is complete, so
// a failed copy (a full disk, say) loses nothing.
bool copyReplacing(const QFileInfo &source, const QString &target)
{
    const QString temporary = temporaryName(target);
    if (temporary.isEmpty())
        return false;
    const bool copied = source.isSymbolicLink()
        ? OsUtilPlatform::copyLink(source.absoluteFilePath(), temporary)
        : QFile::copy(source.absoluteFilePath(), temporary);
    if (!copied) {
        if (entryExists(temporary))
            QFile::remove(temporary);
        return false;
    }
    if (!OsUtilPlatform::replaceFile(temporary, target)) {
        QFile::remove(temporary);
        return false;
    }
    return true;
}

// Copies one entry of a directory listing to target: a symbolic link as a
// link, a regular file as a file. An existing target is replaced (overwrite)
// or target moves on to a numbered name. Anything else (a FIFO, a socket, a
// device) is not copied: reading a FIFO could block for ever.
bool copyEntry(const QFileInfo &source, QString &target, bool overwrite, int maxNumber,
               CopyRun *run)
{
    const bool isLink = source.isSymbolicLink();
    if (!isLink && !source.isFile())
        return false;
    if (entryExists(target)) {
        if (overwrite)
            return copyReplacing(source, target);
        CFileUtilities::generateUniqueFileName(target, maxNumber);
    }
    const bool copied = isLink ? OsUtilPlatform::copyLink(source.absoluteFilePath(), target)
                               : QFile::copy(source.absoluteFilePath(), target);
    if (copied && run)
        run->noteCreated(target);
    return copied;
}

bool copyFilesBody(const QString &srcDir, const QString &dstDir, bool overwrite,
                   COsUtil::ePermissionMask mask, CopyRun *run)
{
    const QDir source(srcDir);
    if (!source.exists())
        return true;
    QDir::Filters filters = QDir::Files;
    if (run) {
        if (!isReadableDirectory(srcDir))
            return false;
        filters |= QDir::Hidden | QDir::System;
    }
    const QFileInfoList files = source.entryInfoList(filters, QDir::Unsorted);
    if (files.isEmpty())
        return true;

    const QDir target(dstDir);
    if (!target.exists()) {
        const QString absolute = target.absolutePath();
        if (run)
            run->noteCreated(firstMissing(absolute));
        QDir().mkpath(absolute);
        if (!target.exists())
            return false;
        COsUtil::setPermissions(absolute, mask);
    }

    bool result = false;
    for (const QFileInfo &file : files) {
        QString targetPath = target.absoluteFilePath(file.fileName());
        result = copyEntry(file, targetPath, overwrite, 1000, run);
        if (result) {
            COsUtil::setPermissions(targetPath, mask);
        } else {
            UTILITY_WARN(" Failed to copy file ", file.absoluteFilePath());
            // Moving must not go on: the source is cleared afterwards.
            if (run)
                return false;
        }
    }
    return result;
}

bool copyFilesImpl(const QString &srcDir, const QString &dstDir, bool overwrite,
                   COsUtil::ePermissionMask mask, CopyRun *run)
{
    UTILITY_TRACE_ENTER("CFileUtilities::copyFiles");
    const bool result = copyFilesBody(srcDir, dstDir, overwrite, mask, run);
    UTILITY_TRACE_EXIT("CFileUtilities::copyFiles");
    return result;
}

bool copyDirectoryImpl(const QString &srcDir, const QString &dstDir, bool overwrite,
                       COsUtil::ePermissionMask mask, CopyRun *run);

bool copyDirectoryBody(const QString &srcDir, const QString &dstDir, bool overwrite,
                       COsUtil::ePermissionMask mask, CopyRun *run)
{
    // A target inside the source would be copied into itself without end.
    if (isSameOrInside(resolvedPath(dstDir), resolvedPath(srcDir)))
        return false;
    if (!QDir(dstDir).exists()) {
        const QString missing = run ? firstMissing(dstDir) : QString();
        if (!CFileUtilities::makeDirectory(dstDir) || !QDir(dstDir).exists())
            return false;
        if (run)
            run->noteCreated(missing);
    }
    COsUtil::setPermissions(dstDir, mask);

    QDir::Filters filters = QDir::Dirs | QDir::NoDotAndDotDot;
    if (run) {
        // A directory we cannot list would look empty, and be cleared unseen.
        if (QFileInfo::exists(srcDir) && !isReadableDirectory(srcDir))
            return false;
        filters |= QDir::Hidden | QDir::System;
    }
    const QFileInfoList subdirectories = QDir(srcDir).entryInfoList(filters, QDir::Unsorted);

    if (!copyFilesImpl(srcDir, dstDir, overwrite, mask, run))
        return false;

    for (const QFileInfo &subdirectory : subdirectories) {
        // With QDir::System the listing also holds FIFOs and dangling links;
        // copyFiles has dealt with those.
        if (!subdirectory.isDir())
            continue;
        QString target = dstDir + QDir::separator() + subdirectory.fileName();
        if (subdirectory.isSymbolicLink()) {
            // Never entered: it may lead out of the tree, or back into it.
            if (!copyEntry(subdirectory, target, overwrite, 1000, run))
                return false;
            continue;
        }
        // Nor is a link (or a file) in the target written through.
        const QFileInfo existing(target);
        if (existing.isSymbolicLink() || (existing.exists() && !existing.isDir()))
            return false;
        if (!copyDirectoryImpl(subdirectory.absoluteFilePath(), target, overwrite, mask, run))
            return false;
    }
    return true;
}

bool copyDirectoryImpl(const QString &srcDir, const QString &dstDir, bool overwrite,
                       COsUtil::ePermissionMask mask, CopyRun *run)
{
    UTILITY_TRACE_ENTER("CFileUtilities::copyDirectory");
    const bool result = copyDirectoryBody(srcDir, dstDir, overwrite, mask, run);
    UTILITY_TRACE_EXIT("CFileUtilities::copyDirectory");
    return result;
}

// zlib takes lengths as uInt; a caller's buffer may be larger.
uLong crcOf(uLong crc, const unsigned char *data, size_t length)
{
    while (length > 0) {
        const uInt piece = static_cast<uInt>(std::min<size_t>(length, 1u << 30));
        crc = crc32(crc, data, piece);
        data += piece;
        length -= piece;
    }
    return crc;
}

int fileCrc(const char *path, void *buffer, unsigned long bufferSize, unsigned long *crc)
{
    if (!crc)
        return 1;
    *crc = 0;
    if (!path || !buffer || bufferSize == 0)
        return 1;
    std::FILE *file = OsUtilPlatform::openRegularFile(path);
    if (!file)
        return 1;
    // Small requests are served from a large stream buffer, so that a 4 KiB
    // caller buffer does not cost one system call per 4 KiB.
    std::vector<char> streamBuffer(std::size_t(1) << 18);
    std::setvbuf(file, streamBuffer.data(), _IOFBF, streamBuffer.size());

    uLong value = crc32(0L, Z_NULL, 0);
    bool error = false;
    for (;;) {
        const size_t got = std::fread(buffer, 1, bufferSize, file);
        if (got < bufferSize && !std::feof(file))
            error = true;
        if (got > 0)
            value = crcOf(value, static_cast<const unsigned char *>(buffer), got);
        if (error || got == 0)
            break;
    }
    std::fclose(file);
    *crc = value;
    return error ? 1 : 0;
}

} // namespace

qint64 CFileUtilities::freeDiskSpaceMB(const QString &path)
{
    const QStorageInfo storage(QFileInfo(path).absoluteDir().path());
    if (!storage.isValid() || !storage.isReady())
        return 0;
    const qint64 bytes = storage.bytesAvailable();
    return bytes > 0 ? (bytes >> 20) : 0;
}

bool CFileUtilities::makeDirectory(const QString &path)
{
    if (path.isEmpty())
        return false;
    return QDir().mkpath(QDir::toNativeSeparators(path));
}

QString CFileUtilities::getLongFilePath(const QString &path)
{
    return path;
}

bool CFileUtilities::recycleFile(const QString &path)
{
    if (!QFile::exists(path))
        return true;
    return QFile::moveToTrash(path);
}

QString CFileUtilities::getUniqYYMMDD_Xname(const QString &dir, const QStringList &suffixes)
{
    if (!QFileInfo(dir).isDir())
        return QString();
    // No zero padding: 5 March 2011 is "201135". Names made so far depend on it.
    const QDate today = QDate::currentDate();
    const QString base = QString::number(today.year()) + QString::number(today.month())
        + QString::number(today.day()) + QLatin1Char('_');
    if (suffixes.isEmpty())
        return base + QLatin1Char('1');
    const QString prefix = dir + QDir::separator() + base;
    for (int n = 1; n <= 9999; ++n) {
        const QString number = QString::number(n);
        bool taken = false;
        for (const QString &suffix : suffixes) {
            if (entryExists(prefix + number + suffix))
                taken = true;
        }
        if (!taken)
            return base + number;
    }
    return QString();
}

bool CFileUtilities::hasWriteAccess(const QString &path)
{
    const QFileInfo info(path);
    if (info.isFile() && info.exists() && !info.isWritable())
        return false;
    const QString directory = info.absoluteDir().absolutePath();
    // The probe is created afresh and never opens an existing entry: a user's
    // file called "dummy" (or a link of that name) must not be truncated.
    QFile probe(directory + QDir::separator() + QStringLiteral("dummy"));
    if (probe.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        probe.close();
        probe.remove();
        return true;
    }
    if (!entryExists(probe.fileName()))
        return false;
    QTemporaryFile other(directory + QDir::separator() + QStringLiteral("dummy.XXXXXX"));
    return other.open();
}

CFileUtilities::EUniqueNameResult CFileUtilities::generateUniqueFileName(QString &path,
                                                                        int maxNumber)
{
    UTILITY_TRACE_ENTER("CFileUtilities::generateUniqueFileName");
    EUniqueNameResult result = eUniqueNameFailed;
    const QFileInfo info(path);
    if (!entryExists(path)) {
        result = eUniqueNameSourceMissing;
    } else if (maxNumber >= 1) {
        const QString dirPart = info.absolutePath();
        const QString base = info.completeBaseName();
        const QString ext = info.suffix();
        for (int n = 1; n <= maxNumber; ++n) {
            const QString number = QStringLiteral("-%1").arg(n);
            // Keeps the whole path within 255 characters (253, the separator
            // and the dot) by cutting the end of the base name only.
            const int excess = dirPart.length() + base.length() + number.length() + ext.length() - 253;
            QString candidateBase = base;
            if (excess > 0) {
                if (base.length() - excess < 1)
                    break;
                candidateBase = base.left(base.length() - excess);
            }
            const QString candidate = dirPart + QDir::separator() + candidateBase + number
                + QLatin1Char('.') + ext;
            if (!entryExists(candidate)) {
                path = candidate;
                result = eUniqueNameCreated;
                break;
            }
        }
    }
    UTILITY_TRACE_EXIT("CFileUtilities::generateUniqueFileName");
    return result;
}

int CFileUtilities::getFileCrc(const char *path, void *buffer, unsigned long bufferSize,
                               unsigned long *crc)
{
    UTILITY_TRACE_ENTER("CFileUtilities::getFileCrc");
    const int result = fileCrc(path, buffer, bufferSize, crc);
    UTILITY_TRACE_EXIT("CFileUtilities::getFileCrc");
    return result;
}

unsigned long CFileUtilities::getFileCRC(const QString &path)
{
    UTILITY_TRACE_ENTER("CFileUtilities::getFileCRC");
    const unsigned long bufferSize = 4096;
    std::vector<char> buffer(bufferSize);
    unsigned long crc = 0;
    // Names go to the system in its own encoding, so that non-ASCII names open.
    getFileCrc(QFile::encodeName(path).constData(), buffer.data(), bufferSize, &crc);
    UTILITY_TRACE_EXIT("CFileUtilities::getFileCRC");
    return crc;
}

bool CFileUtilities::fileCompare(const QString &a, const QString &b)
{
    UTILITY_TRACE_ENTER("CFileUtilities::fileCompare");
    const QFileInfo first(a);
    const QFileInfo second(b);
    const bool result = first.fileName().compare(second.fileName(), Qt::CaseInsensitive) == 0
        && first.size() == second.size()
        && getFileCRC(first.absoluteFilePath()) == getFileCRC(second.absoluteFilePath());
    UTILITY_TRACE_EXIT("CFileUtilities::fileCompare");
    return result;
}

bool CFileUtilities::copyFile(const QString &src, QString &dst, bool overwrite,
                              COsUtil::ePermissionMask mask)
{
    if (!QFile::exists(src))
        return true;
    const QFileInfo source(src);
    // A directory cannot be copied as a file, and a FIFO would block the read.
    if (!source.isFile())
        return false;
    const QString directory = QFileInfo(dst).absolutePath();
    if (!QDir(directory).exists()) {
        if (!makeDirectory(directory))
            return false;
        COsUtil::setPermissions(directory, mask);
    }
    bool copied = false;
    if (entryExists(dst)) {
        if (overwrite) {
            copied = copyReplacing(QFileInfo(source.canonicalFilePath()), dst);
        } else {
            if (fileCompare(src, dst))
                return true;
            generateUniqueFileName(dst, 50);
            // QFile::copy never replaces an existing file, so when no free
            // number was found this fails instead of losing dst.
            copied = QFile::copy(src, dst);
        }
    } else {
        copied = QFile::copy(src, dst);
    }
    if (copied)
        COsUtil::setPermissions(dst, mask);
    return copied;
}

bool CFileUtilities::copyFiles(const QString &srcDir, const QString &dstDir, bool overwrite,
                               COsUtil::ePermissionMask mask)
{
    return copyFilesImpl(srcDir, dstDir, overwrite, mask, nullptr);
}

bool CFileUtilities::copyDirectory(const QString &srcDir, const QString &dstDir, bool overwrite,
                                   COsUtil::ePermissionMask mask)
{
    return copyDirectoryImpl(srcDir, dstDir, overwrite, mask, nullptr);
}

bool CFileUtilities::clearDirContents(const QString &dir, bool removeDir)
{
    UTILITY_TRACE_ENTER("CFileUtilities::clearDirContents");
    // An empty name would be the current directory.
    if (dir.isEmpty()) {
        UTILITY_TRACE_EXIT("CFileUtilities::clearDirContents");
        return true;
    }
    QDir directory(QDir::cleanPath(QDir(dir).absolutePath()));
    const QFileInfoList entries = directory.entryInfoList(
        QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QFileInfo &entry : entries) {
        const QString path = entry.absoluteFilePath();
        // A link to a directory goes as a link; what it points to is not ours.
        if (entry.isDir() && !entry.isSymbolicLink())
            clearDirContents(path, true);
        else if (!QFile::remove(path))
            COsUtil::removePath(path);
    }
    if (removeDir) {
        const QString name = directory.dirName();
        if (!name.isEmpty() && directory.cdUp() && !directory.rmdir(name))
            COsUtil::removePath(directory.absolutePath() + QLatin1Char('/') + name);
    }
    UTILITY_TRACE_EXIT("CFileUtilities::clearDirContents");
    return true;
}

bool CFileUtilities::moveDirectory(const QString &srcDir, const QString &dstDir)
{
    if (srcDir.isEmpty() || dstDir.isEmpty())
        return false;
    // A file is no tree: the clean-up below would delete it without a copy.
    if (entryExists(srcDir) && !QFileInfo(srcDir).isDir())
        return false;
    // Overlapping trees would have the copy land in what is cleared afterwards.
    const QString source = resolvedPath(srcDir);
    const QString target = resolvedPath(dstDir);
    if (isSameOrInside(target, source) || isSameOrInside(source, target))
        return false;

    CopyRun run;
    if (!copyDirectoryImpl(srcDir, dstDir, false, COsUtil::eAllPermissions, &run)) {
        // Take back what this move made, newest first; whatever the target
        // held before stays.
        for (auto it = run.created.crbegin(); it != run.created.crend(); ++it)
            COsUtil::removePath(*it);
        return false;
    }
    clearDirContents(srcDir, true);
    return true;
}

QString CFileUtilities::getFileSuffix(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('.')) + 1);
}

bool CFileUtilities::isFlash(const QString &path)
{
    return getFileSuffix(path).compare(QLatin1String("swf"), Qt::CaseInsensitive) == 0;
}

bool CFileUtilities::isImage(const QString &path)
{
    return !isFlash(path);
}
