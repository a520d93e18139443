#ifndef UTILITY_FILEUTILITIES_H
#define UTILITY_FILEUTILITIES_H

#include <utility/osutil.h>
#include <utility/utility_export.h>

#include <QString>
#include <QStringList>
#include <QtGlobal>

// Static helpers for the suite's file handling: disk space, unique names, file
// CRCs and comparison, and copying, clearing and moving directory trees.
// Paths are in Qt's form; either separator is accepted. Nothing throws.
//
// The tree operations never follow a symbolic link found inside a tree: such a
// link is copied or removed as a link, and what it points to is never entered.
// The directory named by the caller is taken as given, even when it is a link.
// See docs/osutil.md for what each operation means on Linux and macOS.
class UTILITY_EXPORT CFileUtilities
{
public:
    enum EUniqueNameResult {
        eUniqueNameSourceMissing = 0, // the given file does not exist; nothing changed
        eUniqueNameCreated = 1,       // a free name was written into the argument
        eUniqueNameFailed = 2         // no free number, or the name cannot be cut short enough
    };

    CFileUtilities() = delete;

    // Space available to the calling user, in MiB, on the volume that holds
    // the directory containing path (for a directory: its parent). 0 on failure.
    static qint64 freeDiskSpaceMB(const QString &path);
    // Creates path and all missing parents.
    static bool makeDirectory(const QString &path);
    // The long form of a short (8.3) Windows name; other systems have no short
    // names and get path back unchanged.
    static QString getLongFilePath(const QString &path);
    // Moves a file to the desktop's trash. A missing file counts as done.
    static bool recycleFile(const QString &path);
    // "<year><month><day>_<n>" of today, numbers without zero padding
    // (5 March 2011 gives "201135_1"), with the smallest n from 1 to 9999 for
    // which no dir/name + suffix exists for any of the suffixes (which carry
    // their own dot). A null string when dir is no directory or all are taken.
    static QString getUniqYYMMDD_Xname(const QString &dir, const QStringList &suffixes);
    // Whether a file can be created beside path (in its parent for a
    // directory). An existing read-only file at path answers false.
    static bool hasWriteAccess(const QString &path);
    // Replaces path by the first free "<base>-<n>.<suffix>" for n up to
    // maxNumber. The base name is cut from its end so that the directory,
    // base, number and suffix stay within 253 characters; a file without a
    // suffix gets a trailing dot ("report-1.").
    static EUniqueNameResult generateUniqueFileName(QString &path, int maxNumber);
    // The CRC-32 of a file's contents as zlib computes it; 0 when the file
    // cannot be read.
    static unsigned long getFileCRC(const QString &path);
    // True only for files of the same name (ignoring case), size and CRC-32.
    // Files with different names are never the same document.
    static bool fileCompare(const QString &a, const QString &b);

    // Copies one file. A missing source counts as done. Without overwrite an
    // identical document of the same name is left as it is, and a different
    // one is never replaced: the copy gets a numbered name (up to 50), which
    // is written back into dst. With overwrite an existing dst is replaced
    // only once the copy is complete.
    static bool copyFile(const QString &src, QString &dst, bool overwrite,
                         COsUtil::ePermissionMask mask);
    // Copies the visible files of one directory (no hidden files, no
    // subdirectories). A failed file is logged and skipped; the result is
    // that of the last copy.
    static bool copyFiles(const QString &srcDir, const QString &dstDir, bool overwrite,
                          COsUtil::ePermissionMask mask);
    // Copies the visible part of a tree. Refuses a target inside the source.
    static bool copyDirectory(const QString &srcDir, const QString &dstDir, bool overwrite,
                              COsUtil::ePermissionMask mask);
    // Empties a tree (visible entries; hidden ones only go with the directory
    // itself when removeDir is true). Always returns true.
    static bool clearDirContents(const QString &dir, bool removeDir);
    // Moves a whole tree, hidden files and links included. The source is
    // cleared only once everything has been copied; on failure the source is
    // left whole and what the move created in the target is removed.
    static bool moveDirectory(const QString &srcDir, const QString &dstDir);

    // The text after the last dot, or the whole path when it has no dot.
    static QString getFileSuffix(const QString &path);
    static bool isFlash(const QString &path);
    // Everything that is not Flash counts as an image, by design.
    static bool isImage(const QString &path);

protected:
    // The CRC engine: reads path in pieces of bufferSize bytes into buffer and
    // stores the CRC-32 in *crc. Returns 0 on success, 1 when the file cannot
    // be opened (*crc is 0) or a read fails (*crc covers what was read).
    static int getFileCrc(const char *path, void *buffer, unsigned long bufferSize,
                          unsigned long *crc);
};

#endif // UTILITY_FILEUTILITIES_H
