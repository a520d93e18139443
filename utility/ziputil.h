#ifndef UTILITY_ZIPUTIL_H
#define UTILITY_ZIPUTIL_H

#include <utility/utility_export.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <string>
#include <vector>

// Zip archives on minizip (the copy QuaZip ships, which reads zip64 correctly on
// 64-bit platforms). Archive paths are QStrings all the way down: minizip reaches
// the archive only through a file-function table whose callbacks sit on QFile.
//
// Archives written here hold one deflated entry per file, named by its path
// relative to the source directory with "/" separators, as UTF-8 bytes but
// without the UTF-8 name flag, dated with the file's local modification time.
// Entries and archives over 4 GiB get zip64 records where (and only where) they
// need them.
//
// Extraction treats every archive as hostile: see decompress().
class UTILITY_EXPORT ZipUtil
{
public:
    ZipUtil() = delete;

    // Creates zipFile (replacing an existing file) from the files under sourceDir,
    // and from its subdirectories when recursive is set. Hidden files, symbolic
    // links and empty directories are not stored; an empty directory gives an
    // archive with no entries.
    //
    // sourceDir must be canonical (QFileInfo::canonicalFilePath) and carry no
    // trailing separator: entry names are cut from the canonical file paths by
    // its length, and a source file that cannot be found again under the name
    // made that way fails the whole call.
    //
    // Returns false for an empty argument, an archive that cannot be created, or at
    // the first file that cannot be read or stored; the half-written archive is
    // closed and left in place.
    static bool compress(const QString &zipFile, const QString &sourceDir, bool recursive);

    // Extracts every entry of zipFile under destDir (created when missing), in
    // archive order, each path separator ("/" and "\") becoming the native one.
    // Modification times are not restored.
    //
    // Stops with false at the first entry that cannot be extracted: a directory
    // entry (a name ending in a separator), an encrypted entry or an unknown
    // method, an absolute name, a drive letter or a ".." component, a name that
    // would resolve outside destDir through a symbolic link, a target that is
    // itself a symbolic link (never written through), or data that is damaged,
    // shorter than declared or inflates beyond its declared size. The reason is
    // logged as a warning. Files extracted before that entry stay; the failed
    // entry's partial file is removed. An archive that holds only its end record
    // extracts nothing and succeeds.
    static bool decompress(const QString &destDir, const QString &zipFile);

private:
    // Appends the canonical paths of the files of directory to files, then (when
    // recursive) those of each subdirectory in turn.
    static void collectFiles(const QString &directory, bool recursive, QStringList &files);
};

// Keeps one zip archive open for reading single entries into memory.
class UTILITY_EXPORT UnZipUtil
{
public:
    // Opens zipFile. When that fails the object is still usable, but every
    // extractFile() fails and listAllFiles() is empty.
    explicit UnZipUtil(const QString &zipFile);
    ~UnZipUtil();
    UnZipUtil(const UnZipUtil &) = delete;
    UnZipUtil &operator=(const UnZipUtil &) = delete;

    // Appends the uncompressed bytes of the entry named entryName to data (which is
    // not cleared first). The name is matched as UTF-8, ignoring the case of ASCII
    // letters on every platform. The entry becomes the archive's current entry.
    // False when the name is empty or not found, or the entry is damaged, encrypted
    // or larger than its declared size; data is then left as it was. However large
    // an entry claims to be, no more than 64 MiB is reserved ahead of the data.
    bool extractFile(const QString &entryName, QByteArray &data);
    bool extractFile(const QString &entryName, std::vector<char> &data);

    // Names of the entries from the archive's current entry to the last that begin
    // with prefix, decoded as Latin-1. Two long-standing rules are kept on purpose:
    // the last character of prefix is not compared (so "images/" also matches
    // "imagesX"), and the walk does not rewind - it starts at the current entry
    // (the first after opening, the one extractFile() found, or the last after a
    // listing), so a second listing yields at most the last entry. An empty prefix
    // gives an empty list.
    QStringList listAllFiles(const QString &prefix);

private:
    friend class ZipUtil;

    // The one archive held open, as minizip sees it.
    void *m_zipFile = nullptr;   // minizip's unzFile; null when the archive could not be opened
    quint64 m_entryCount = 0;    // from the archive's end record
    std::vector<char> m_buffer;  // inflated data on its way out
    std::size_t m_chunkSize = 8192;
    std::string m_password;      // always empty: encrypted entries are not read
};

#endif // UTILITY_ZIPUTIL_H
