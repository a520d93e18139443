#include <utility/ziputil.h>

#include "qtcompat_p.h"
#include "trace_p.h"
#include "ziputil_p.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTime>
#include <QtEndian>

#include <quazip/ioapi.h>
#include <quazip/unzip.h>
#include <quazip/zip.h>

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>

namespace {

// However large an entry claims to be, extractFile() reserves no more than this
// ahead of the data: the claim comes from the archive, which may lie.
constexpr quint64 kMaxReservation = 64u * 1024u * 1024u;

// Compressed bytes are fetched from minizip in pieces of this size.
constexpr std::size_t kInputChunk = 16384;

// ---- minizip's file layer on QFile ----
//
// minizip hands the "file" argument of zipOpen2_64/unzOpen2_64 to the open
// callback untouched, so it can be the QString path itself: names never pass
// through an 8-bit file API. The stream is the QFile.

QFile *streamFile(voidpf stream)
{
    return static_cast<QFile *>(stream);
}

voidpf ZCALLBACK qfileOpen(voidpf, voidpf file, int mode)
{
    const QString *path = static_cast<const QString *>(file);
    if (!path)
        return nullptr;
    // Buffered: minizip reads and writes its records a few bytes at a time, and
    // unbuffered each of those would be a system call of its own (some 170 per
    // entry when reading).
    QIODevice::OpenMode openMode;
    if ((mode & ZLIB_FILEFUNC_MODE_READWRITEFILTER) == ZLIB_FILEFUNC_MODE_READ)
        openMode = QIODevice::ReadOnly;
    else if (mode & ZLIB_FILEFUNC_MODE_EXISTING)
        openMode = QIODevice::ReadWrite | QIODevice::Append;
    else if (mode & ZLIB_FILEFUNC_MODE_CREATE)
        openMode = QIODevice::ReadWrite | QIODevice::Truncate;
    else
        return nullptr;
    auto *qfile = new QFile(*path);
    if (!qfile->open(openMode)) {
        delete qfile;
        return nullptr;
    }
    return qfile;
}

uLong ZCALLBACK qfileRead(voidpf, voidpf stream, void *buffer, uLong size)
{
    QFile *file = streamFile(stream);
    if (!file)
        return 0;
    const qint64 done = file->read(static_cast<char *>(buffer), static_cast<qint64>(size));
    return done > 0 ? static_cast<uLong>(done) : 0;
}

uLong ZCALLBACK qfileWrite(voidpf, voidpf stream, const void *buffer, uLong size)
{
    QFile *file = streamFile(stream);
    if (!file)
        return 0;
    const qint64 done = file->write(static_cast<const char *>(buffer), static_cast<qint64>(size));
    return done > 0 ? static_cast<uLong>(done) : 0;
}

ZPOS64_T ZCALLBACK qfileTell(voidpf, voidpf stream)
{
    QFile *file = streamFile(stream);
    return file ? static_cast<ZPOS64_T>(file->pos()) : static_cast<ZPOS64_T>(-1);
}

int ZCALLBACK qfileSeek(voidpf, voidpf stream, ZPOS64_T offset, int origin)
{
    QFile *file = streamFile(stream);
    if (!file)
        return -1;
    // Offsets come from the archive's records: do the sums so that a wild one
    // gives -1 rather than an overflow. minizip passes relative offsets as
    // wrapped-around unsigned values, and seeks to the end only with offset 0.
    quint64 base = 0;
    switch (origin) {
    case ZLIB_FILEFUNC_SEEK_SET:
        base = 0;
        break;
    case ZLIB_FILEFUNC_SEEK_CUR:
        base = static_cast<quint64>(file->pos());
        break;
    case ZLIB_FILEFUNC_SEEK_END:
        base = static_cast<quint64>(file->size());
        offset = 0 - offset;
        break;
    default:
        return -1;
    }
    const quint64 target = base + offset;
    if (target > static_cast<quint64>(std::numeric_limits<qint64>::max()))
        return -1;
    return file->seek(static_cast<qint64>(target)) ? 0 : -1;
}

int ZCALLBACK qfileClose(voidpf, voidpf stream)
{
    QFile *file = streamFile(stream);
    if (!file)
        return -1;
    // The last records may still sit in the write buffer: a failure to write
    // them is a failure to close.
    const bool flushed = !file->isWritable() || file->flush();
    file->close();
    delete file;
    return flushed ? 0 : -1;
}

int ZCALLBACK qfileError(voidpf, voidpf stream)
{
    QFile *file = streamFile(stream);
    return file ? static_cast<int>(file->error()) : -1;
}

zlib_filefunc64_def qfileFunctions()
{
    zlib_filefunc64_def functions;
    functions.zopen64_file = qfileOpen;
    functions.zread_file = qfileRead;
    functions.zwrite_file = qfileWrite;
    functions.ztell64_file = qfileTell;
    functions.zseek64_file = qfileSeek;
    functions.zclose_file = qfileClose;
    functions.zerror_file = qfileError;
    functions.opaque = nullptr;
    // Only used when a handle is opened without auto-close, which this library
    // never does; if it did, the QFile must still go.
    functions.zfakeclose_file = qfileClose;
    return functions;
}

// ---- entry names ----

// An entry name as it may go into a log line: bytes outside printable ASCII are
// shown as \xNN, so that a hostile name can neither forge nor garble lines.
std::string printable(const QByteArray &raw)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(static_cast<std::size_t>(raw.size()));
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
            text += c;
        } else {
            text += "\\x";
            text += hex[byte >> 4];
            text += hex[byte & 0xF];
        }
    }
    return text;
}

// Code page 437, bytes 0x80 to 0xFF: what a zip name means when it is not
// flagged UTF-8 and is no UTF-8 either.
const char16_t kCodePage437[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7,
    0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5,
    0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,
    0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192,
    0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA,
    0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556,
    0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510,
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567,
    0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,
    0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229,
    0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248,
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};

// Entry names are UTF-8 - always in archives this library writes, and in most
// others today. A name that is not valid UTF-8 is decoded as code page 437, the
// format's original encoding (as Info-ZIP and Python do): every byte stays a
// character of its own, so two such names cannot collapse into one file name
// made of replacement characters.
QString decodeEntryName(const QByteArray &raw)
{
    // Decoded with the length: Qt 5 would stop at a NUL byte, and the name checked
    // would not be the name stored.
    const QString utf8 = QString::fromUtf8(raw.constData(), raw.size());
    if (utf8.toUtf8() == raw)
        return utf8;
    QString name;
    name.reserve(raw.size());
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        name += QChar(static_cast<ushort>(byte < 0x80 ? byte : kCodePage437[byte - 0x80]));
    }
    return name;
}

bool isSeparator(QChar c)
{
    // Both, on every platform: the archives this library meets were made on
    // Windows, where a backslash in a name is a directory separator too.
    return c == QLatin1Char('/') || c == QLatin1Char('\\');
}

// Splits an entry name into the path components to create below the target
// directory. Returns why the entry must not be extracted, or null.
const char *splitEntryName(const QString &name, QStringList &parts)
{
    parts.clear();
    if (name.isEmpty())
        return "Entry without a name: ";
    if (name.contains(QChar(0)))
        return "Entry name contains a NUL character: ";
    if (isSeparator(name.at(0)))
        return "Entry name is absolute: ";
    // "C:/x" or "C:x" names a place on a drive of its own on Windows; refused
    // everywhere, so that an archive behaves the same on every platform.
    if (name.size() >= 2 && name.at(1) == QLatin1Char(':') && name.at(0).unicode() < 0x80
        && name.at(0).isLetter())
        return "Entry name starts with a drive letter: ";
    if (isSeparator(name.at(name.size() - 1)))
        return "Directory entries are not extracted: ";
    int start = 0;
    for (int i = 0; i <= name.size(); ++i) {
        if (i < name.size() && !isSeparator(name.at(i)))
            continue;
        const QString part = name.mid(start, i - start);
        start = i + 1;
        if (part.isEmpty() || part == QLatin1String("."))
            continue;
        if (part == QLatin1String(".."))
            return "Entry name leaves the target directory: ";
        parts << part;
    }
    if (parts.isEmpty())
        return "Entry without a name: ";
    return nullptr;
}

// True when path is root or lies below it. Both are real paths; the separator
// added to root keeps a sibling such as /data/outX from passing for /data/out.
bool isInside(const QString &path, const QString &root)
{
    if (path == root)
        return true;
    const QString prefix = root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/');
    return path.startsWith(prefix);
}

// Creates the directories of parts (all but the last) below root and returns the
// file path to write in target. Warns and fails when a symbolic link would lead
// out of root, when the target itself is a link (or no regular file), or when a
// file stands where a directory is needed.
bool prepareTarget(const QString &root, const QStringList &parts, const std::string &shown, QString &target)
{
    QString directory = root;
    for (int i = 0; i + 1 < parts.size(); ++i) {
        const QString next = directory + QLatin1Char('/') + parts.at(i);
        const QFileInfo info(next);
        if (info.isSymLink()) {
            // A link (one the user made: extraction makes none) is followed only
            // into a directory that is really inside root.
            const QString real = info.canonicalFilePath();
            if (real.isEmpty() || !isInside(real, root) || !QFileInfo(real).isDir()) {
                UTILITY_WARN("Entry would leave the target directory through a symbolic link: ", shown);
                return false;
            }
            directory = real;
        } else if (info.exists()) {
            if (!info.isDir()) {
                UTILITY_WARN("Entry needs a directory where a file is: ", shown);
                return false;
            }
            directory = next;
        } else {
            if (!QDir().mkdir(next)) {
                UTILITY_WARN("Cannot create the directory of entry: ", shown);
                return false;
            }
            directory = next;
        }
    }
    // The real path decides, not the text.
    const QString realDirectory = QFileInfo(directory).canonicalFilePath();
    if (realDirectory.isEmpty() || !isInside(realDirectory, root)) {
        UTILITY_WARN("Entry would resolve outside the target directory: ", shown);
        return false;
    }
    target = realDirectory + QLatin1Char('/') + parts.last();
    const QFileInfo info(target);
    if (info.isSymLink()) {
        UTILITY_WARN("Entry would be written through a symbolic link: ", shown);
        return false;
    }
    if (info.exists() && !info.isFile()) {
        UTILITY_WARN("Entry's target exists and is not a regular file: ", shown);
        return false;
    }
    return true;
}

// ---- reading entries ----

struct EntryInfo
{
    unz_file_info64 info{};
    QByteArray name; // as stored: bytes, in no particular encoding
};

// Reads the current entry's central record. The name is read whole (up to the
// format's 65535 bytes), not cut at minizip's customary 256.
bool readEntryInfo(unzFile zip, EntryInfo &entry)
{
    if (unzGetCurrentFileInfo64(zip, &entry.info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
        return false;
    entry.name.resize(static_cast<int>(entry.info.size_filename));
    if (entry.info.size_filename > 0
        && unzGetCurrentFileInfo64(zip, &entry.info, entry.name.data(), entry.info.size_filename, nullptr, 0,
                                   nullptr, 0) != UNZ_OK)
        return false;
    return true;
}

bool equalIgnoringAsciiCase(const QByteArray &a, const std::string &b)
{
    if (static_cast<std::size_t>(a.size()) != b.size())
        return false;
    for (std::size_t i = 0; i < b.size(); ++i) {
        char x = a.at(static_cast<int>(i));
        char y = b[i];
        if (x >= 'a' && x <= 'z')
            x = static_cast<char>(x - 0x20);
        if (y >= 'a' && y <= 'z')
            y = static_cast<char>(y - 0x20);
        if (x != y)
            return false;
    }
    return true;
}

// Makes the entry called name the current one. Names are compared as bytes,
// ignoring the case of ASCII letters, as the library always did on Windows and
// now does everywhere. When nothing matches, the current entry stays.
bool locateEntry(unzFile zip, const std::string &name)
{
    if (name.empty() || name.find('\0') != std::string::npos)
        return false;
    // minizip's own walk handles names that fit its 256-byte buffer.
    if (name.size() < 256)
        return unzLocateFile(zip, name.c_str(), 2) == UNZ_OK;
    unz64_file_pos saved{};
    const bool haveSaved = unzGetFilePos64(zip, &saved) == UNZ_OK;
    EntryInfo entry;
    for (int err = unzGoToFirstFile(zip); err == UNZ_OK; err = unzGoToNextFile(zip)) {
        if (!readEntryInfo(zip, entry))
            break;
        if (equalIgnoringAsciiCase(entry.name, name))
            return true;
    }
    if (haveSaved)
        unzGoToFilePos64(zip, &saved);
    return false;
}

// Opens the current entry for pumpCurrentEntry(), after refusing what cannot be
// read: encrypted entries (no password is ever given) and methods other than
// stored and deflated.
bool openCurrentEntry(unzFile zip, const EntryInfo &entry, const std::string &password)
{
    const unz_file_info64 &info = entry.info;
    if (info.flag & 1) {
        UTILITY_WARN("Encrypted entries are not supported: ", printable(entry.name));
        return false;
    }
    if (info.compression_method != 0 && info.compression_method != Z_DEFLATED) {
        UTILITY_WARN("Entry uses an unsupported compression method: ", printable(entry.name));
        return false;
    }
    if (info.compression_method == 0 && info.compressed_size != info.uncompressed_size) {
        UTILITY_WARN("Stored entry whose sizes disagree: ", printable(entry.name));
        return false;
    }
    // Raw: minizip hands over the bytes as stored (never more than the declared
    // compressed size) and they are inflated and checked here. Left to itself,
    // minizip cuts an entry at its declared size without a word, and skips the
    // CRC of one that ends early.
    if (unzOpenCurrentFile3(zip, nullptr, nullptr, 1, password.empty() ? nullptr : password.c_str()) != UNZ_OK) {
        UTILITY_WARN("Cannot open entry: ", printable(entry.name));
        return false;
    }
    return true;
}

using Sink = std::function<bool(const char *data, std::size_t size)>;

// Reads the open current entry to its end, inflating it through buffer (which
// must not be empty), and hands the bytes to sink. Fails, with a warning, as
// soon as the data would exceed the declared size, and at the end when it is
// shorter than declared, damaged or fails its CRC. Closes the entry.
bool pumpCurrentEntry(unzFile zip, const EntryInfo &entry, std::vector<char> &buffer, const Sink &sink)
{
    const quint64 declared = entry.info.uncompressed_size;
    quint64 produced = 0;
    uLong crc = crc32(0L, Z_NULL, 0);
    const char *why = nullptr;
    bool failed = false;
    const auto deliver = [&](const char *data, std::size_t size) {
        if (size > declared - produced) {
            why = "Entry inflates beyond its declared size: ";
            return false;
        }
        produced += size;
        crc = crc32_z(crc, reinterpret_cast<const Bytef *>(data), size);
        return sink(data, size);
    };

    char input[kInputChunk];
    if (entry.info.compression_method == 0) {
        for (;;) {
            const int got = unzReadCurrentFile(zip, input, sizeof input);
            if (got < 0) {
                why = "Cannot read entry: ";
                failed = true;
                break;
            }
            if (got == 0)
                break;
            if (!deliver(input, static_cast<std::size_t>(got))) {
                failed = true;
                break;
            }
        }
    } else {
        z_stream stream;
        std::memset(&stream, 0, sizeof stream);
        if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) {
            why = "Cannot inflate entry: ";
            failed = true;
        }
        bool inputDone = false;
        while (!failed) {
            if (stream.avail_in == 0 && !inputDone) {
                const int got = unzReadCurrentFile(zip, input, sizeof input);
                if (got < 0) {
                    why = "Cannot read entry: ";
                    failed = true;
                    break;
                }
                if (got == 0) {
                    inputDone = true;
                } else {
                    stream.next_in = reinterpret_cast<Bytef *>(input);
                    stream.avail_in = static_cast<uInt>(got);
                }
            }
            stream.next_out = reinterpret_cast<Bytef *>(buffer.data());
            stream.avail_out = static_cast<uInt>(buffer.size());
            const int status = inflate(&stream, Z_NO_FLUSH);
            const std::size_t out = buffer.size() - stream.avail_out;
            if (out > 0 && !deliver(buffer.data(), out)) {
                failed = true;
                break;
            }
            if (status == Z_STREAM_END)
                break;
            const bool stalled = status == Z_BUF_ERROR || (status == Z_OK && out == 0 && stream.avail_in == 0);
            if (stalled) {
                if (inputDone) {
                    why = "Entry data ends before its deflate stream does: ";
                    failed = true;
                }
                continue;
            }
            if (status != Z_OK) {
                why = "Entry data is damaged: ";
                failed = true;
            }
        }
        inflateEnd(&stream);
    }
    unzCloseCurrentFile(zip);

    if (!failed && produced != declared) {
        why = "Entry is shorter than its declared size: ";
        failed = true;
    }
    if (!failed && crc != entry.info.crc) {
        why = "Entry fails its CRC check: ";
        failed = true;
    }
    if (why)
        UTILITY_WARN(why, printable(entry.name));
    return !failed;
}

// Output buffer for an in-memory extraction: the whole entry and one byte more
// (so that data beyond the declared size shows at once), but never more than
// kMaxReservation whatever the archive claims.
std::size_t memoryChunkSize(quint64 declared)
{
    return static_cast<std::size_t>(declared >= kMaxReservation ? kMaxReservation : declared + 1);
}

void appendBytes(QByteArray &data, const char *bytes, std::size_t size)
{
    data.append(bytes, static_cast<int>(size)); // size <= kMaxReservation
}

void appendBytes(std::vector<char> &data, const char *bytes, std::size_t size)
{
    data.insert(data.end(), bytes, bytes + size);
}

// Extracts the entry called name into data (appending), or leaves data as it was.
template<typename Container>
bool extractInto(unzFile zip, const std::string &name, Container &data, quint64 capacity,
                 std::vector<char> &buffer, std::size_t &chunkSize, const std::string &password)
{
    if (!zip || !locateEntry(zip, name))
        return false;
    EntryInfo entry;
    if (!readEntryInfo(zip, entry))
        return false;
    const quint64 declared = entry.info.uncompressed_size;
    if (declared > capacity - static_cast<quint64>(data.size())) {
        UTILITY_WARN("Entry is too large to be held in memory: ", printable(entry.name));
        return false;
    }
    if (!openCurrentEntry(zip, entry, password))
        return false;
    chunkSize = memoryChunkSize(declared);
    buffer.resize(chunkSize);
    const auto before = data.size();
    data.reserve(before + static_cast<decltype(before)>(std::min(declared, kMaxReservation)));
    const bool ok = pumpCurrentEntry(zip, entry, buffer, [&data](const char *bytes, std::size_t size) {
        appendBytes(data, bytes, size);
        return true;
    });
    if (!ok)
        data.resize(before);
    return ok;
}

// ---- the empty archive ----

// An archive with no entries is nothing but its end record (and a comment).
// minizip does not open it - its search for that record never looks at offset 0 -
// so it is recognised here: a valid end record with zero entries and an empty
// directory, whose comment reaches exactly to the end of the file.
bool holdsOnlyAnEndRecord(const QString &path)
{
    constexpr qint64 kRecordSize = 22;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 size = file.size();
    if (size < kRecordSize || size > kRecordSize + 0xFFFF)
        return false;
    const QByteArray bytes = file.readAll();
    if (bytes.size() != size)
        return false;
    const auto *p = reinterpret_cast<const uchar *>(bytes.constData());
    return qFromLittleEndian<quint32>(p) == 0x06054b50u
        && qFromLittleEndian<quint16>(p + 4) == 0      // this disk
        && qFromLittleEndian<quint16>(p + 6) == 0      // disk of the directory
        && qFromLittleEndian<quint16>(p + 8) == 0      // entries on this disk
        && qFromLittleEndian<quint16>(p + 10) == 0     // entries
        && qFromLittleEndian<quint32>(p + 12) == 0     // directory size
        && qFromLittleEndian<quint32>(p + 16) == 0     // directory offset
        && kRecordSize + qFromLittleEndian<quint16>(p + 20) == size;
}

// ---- extraction to disk ----

// Creates destDir (when missing) and returns its real path in root, once: not
// before an entry has passed its checks, so that an archive refused at its first
// entry leaves no trace.
bool resolveRoot(const QString &destDir, QString &root)
{
    if (!root.isEmpty())
        return true;
    if (!QDir().mkpath(destDir)) {
        UTILITY_WARN("Cannot create the target directory: ", destDir);
        return false;
    }
    root = QFileInfo(destDir).canonicalFilePath();
    if (root.isEmpty()) {
        UTILITY_WARN("Cannot resolve the target directory: ", destDir);
        return false;
    }
    return true;
}

// Extracts the current entry below destDir. archive is the real path of the
// archive being read, which an entry must not overwrite.
bool extractCurrentEntry(unzFile zip, const QString &destDir, QString &root, const QString &archive,
                         std::vector<char> &buffer, const std::string &password)
{
    EntryInfo entry;
    if (!readEntryInfo(zip, entry)) {
        UTILITY_WARN_TEXT("Cannot read the next record of the archive's directory");
        return false;
    }
    const std::string shown = printable(entry.name);
    QStringList parts;
    if (const char *why = splitEntryName(decodeEntryName(entry.name), parts)) {
        UTILITY_WARN(why, shown);
        return false;
    }
    if (!openCurrentEntry(zip, entry, password))
        return false;
    QString target;
    if (!resolveRoot(destDir, root) || !prepareTarget(root, parts, shown, target)) {
        unzCloseCurrentFile(zip);
        return false;
    }
    if (target == archive) {
        UTILITY_WARN("Entry would overwrite the archive being read: ", shown);
        unzCloseCurrentFile(zip);
        return false;
    }
    QFile file;
    if (!ZipUtilPlatform::openTargetForWriting(file, target)) {
        UTILITY_WARN("Cannot create the extracted file: ", target);
        unzCloseCurrentFile(zip);
        return false;
    }
    bool written = pumpCurrentEntry(zip, entry, buffer, [&file, &target](const char *data, std::size_t size) {
        if (file.write(data, static_cast<qint64>(size)) == static_cast<qint64>(size))
            return true;
        UTILITY_WARN("Cannot write the extracted file: ", target);
        return false;
    });
    if (written && !file.flush()) {
        UTILITY_WARN("Cannot write the extracted file: ", target);
        written = false;
    }
    file.close();
    // A failed entry leaves no half file behind.
    if (!written)
        QFile::remove(target);
    return written;
}

// ---- writing ----

// DOS times run from 1980 to 2107 in steps of two seconds; times outside that
// range are clamped to its ends, as Info-ZIP's zip does.
void setEntryTime(tm_zip &time, const QDateTime &modified)
{
    const QDateTime local = modified.toLocalTime();
    QDate date = local.date();
    QTime clock = local.time();
    if (!local.isValid() || date.year() < 1980) {
        date = QDate(1980, 1, 1);
        clock = QTime(0, 0, 0);
    } else if (date.year() > 2107) {
        date = QDate(2107, 12, 31);
        clock = QTime(23, 59, 58);
    }
    time.tm_sec = static_cast<uInt>(clock.second());
    time.tm_min = static_cast<uInt>(clock.minute());
    time.tm_hour = static_cast<uInt>(clock.hour());
    time.tm_mday = static_cast<uInt>(date.day());
    time.tm_mon = static_cast<uInt>(date.month() - 1);
    time.tm_year = static_cast<uInt>(date.year());
}

// Writes an archive. minizip lays out the records; the data is deflated here,
// through one zlib stream reset between entries (the same settings minizip would
// use: default level, raw deflate with a 32 KiB window, memory level 8), which
// spares each entry a fresh quarter megabyte of deflate state - on trees of many
// small files that allocation, not the compression, dominated the time.
class ZipWriter
{
public:
    ZipWriter() = default;
    ZipWriter(const ZipWriter &) = delete;
    ZipWriter &operator=(const ZipWriter &) = delete;
    ~ZipWriter()
    {
        close();
        if (m_deflateReady)
            deflateEnd(&m_deflate);
    }

    bool open(const QString &path)
    {
        zlib_filefunc64_def functions = qfileFunctions();
        m_zipFile = zipOpen2_64(const_cast<QString *>(&path), APPEND_STATUS_CREATE, nullptr, &functions);
        if (!m_zipFile)
            return false;
        // The archive is seekable: sizes and CRC go back into each local header,
        // as minizip has always written them, rather than into data descriptors.
        // Names are UTF-8 bytes, but the UTF-8 flag stays clear, as it always was.
        zipClearFlags(m_zipFile, ZIP_WRITE_DATA_DESCRIPTOR | ZIP_ENCODING_UTF8);
        return true;
    }

    bool addFile(const QString &name, const QString &sourceDir)
    {
        const QString source = sourceDir + QDir::separator() + name;
        const QFileInfo info(source);
        if (!info.exists()) {
            UTILITY_WARN("Source file not found: ", source);
            return false;
        }
        QFile file(source);
        if (!file.open(QIODevice::ReadOnly)) {
            UTILITY_WARN("Cannot read source file: ", source);
            return false;
        }
        const bool deflated = m_compressionLevel != 0;
        if (deflated && !prepareDeflate()) {
            UTILITY_WARN("Cannot deflate: ", source);
            return false;
        }
        zip_fileinfo fileInfo;
        std::memset(&fileInfo, 0, sizeof fileInfo);
        setEntryTime(fileInfo.tmz_date, info.lastModified());
        const QByteArray encoded = name.toUtf8();
        // A zip64 field is reserved in the local header only for a file whose
        // data could reach 4 GiB; the central directory gets zip64 fields by
        // itself where sizes or offsets need them.
        const int zip64 = compressBound(static_cast<uLong>(info.size())) >= 0xFFFFFFFFul ? 1 : 0;
        if (zipOpenNewFileInZip3_64(m_zipFile, encoded.isNull() ? nullptr : encoded.constData(), &fileInfo,
                                    nullptr, 0, nullptr, 0, "", deflated ? Z_DEFLATED : 0, m_compressionLevel,
                                    1, -MAX_WBITS, DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY,
                                    m_password.empty() ? nullptr : m_password.c_str(), 0, zip64) != ZIP_OK) {
            UTILITY_WARN("Cannot add an entry for: ", source);
            return false;
        }
        m_buffer.resize(m_bufferSize);
        const auto chunk = static_cast<qint64>(m_bufferSize);
        quint64 total = 0;
        uLong crc = crc32(0L, Z_NULL, 0);
        bool ok = true;
        bool atEnd = false;
        while (ok && !atEnd) {
            const qint64 got = file.read(m_buffer.data(), chunk);
            if (got < 0 || (got < chunk && !file.atEnd())) {
                UTILITY_WARN("Cannot read source file: ", source);
                ok = false;
                break;
            }
            atEnd = got < chunk;
            total += static_cast<quint64>(got);
            crc = crc32_z(crc, reinterpret_cast<const Bytef *>(m_buffer.data()), static_cast<std::size_t>(got));
            ok = deflated ? deflateChunk(static_cast<std::size_t>(got), atEnd)
                          : store(m_buffer.data(), static_cast<std::size_t>(got));
            if (!ok)
                UTILITY_WARN("Cannot write the archive entry for: ", source);
        }
        file.close();
        if (zipCloseFileInZipRaw64(m_zipFile, total, crc) != ZIP_OK && ok) {
            UTILITY_WARN("Cannot finish the archive entry for: ", source);
            ok = false;
        }
        return ok;
    }

    bool close()
    {
        if (!m_zipFile)
            return true;
        const int status = zipClose(m_zipFile, nullptr);
        m_zipFile = nullptr;
        return status == ZIP_OK;
    }

private:
    bool prepareDeflate()
    {
        if (m_deflateReady)
            return deflateReset(&m_deflate) == Z_OK;
        std::memset(&m_deflate, 0, sizeof m_deflate);
        m_deflateReady = deflateInit2(&m_deflate, m_compressionLevel, Z_DEFLATED, -MAX_WBITS, DEF_MEM_LEVEL,
                                      Z_DEFAULT_STRATEGY) == Z_OK;
        return m_deflateReady;
    }

    bool store(const char *data, std::size_t size)
    {
        return size == 0
            || zipWriteInFileInZip(m_zipFile, data, static_cast<unsigned>(size)) == ZIP_OK;
    }

    // Deflates the first size bytes of m_buffer (finishing the stream when last)
    // and hands the output to minizip as raw entry data.
    bool deflateChunk(std::size_t size, bool last)
    {
        m_output.resize(kDeflateOutput);
        m_deflate.next_in = reinterpret_cast<Bytef *>(m_buffer.data());
        m_deflate.avail_in = static_cast<uInt>(size);
        for (;;) {
            m_deflate.next_out = reinterpret_cast<Bytef *>(m_output.data());
            m_deflate.avail_out = static_cast<uInt>(m_output.size());
            const int status = deflate(&m_deflate, last ? Z_FINISH : Z_NO_FLUSH);
            if (status == Z_STREAM_ERROR)
                return false;
            if (!store(m_output.data(), m_output.size() - m_deflate.avail_out))
                return false;
            if (last ? status == Z_STREAM_END : m_deflate.avail_out != 0)
                return true;
        }
    }

    static constexpr std::size_t kDeflateOutput = 65536;

    zipFile m_zipFile = nullptr;
    std::vector<char> m_buffer;
    int m_compressionLevel = Z_DEFAULT_COMPRESSION;
    std::size_t m_bufferSize = 16384;
    std::string m_password; // always empty: entries are never encrypted
    z_stream m_deflate;
    bool m_deflateReady = false;
    std::vector<char> m_output;
};

} // namespace

// ---- ZipUtil ----

void ZipUtil::collectFiles(const QString &directory, bool recursive, QStringList &files)
{
    UTILITY_TRACE_ENTER("ZipUtil::collectFiles");
    // No QDir::Hidden and no QDir::System: hidden files, sockets, pipes and
    // devices stay out, and so do symbolic links.
    const QFileInfoList entries = QDir(directory).entryInfoList(
        QDir::Dirs | QDir::Files | QDir::Drives | QDir::NoSymLinks | QDir::NoDotAndDotDot, QDir::Unsorted);
    QStringList directories;
    for (const QFileInfo &entry : entries) {
        const QString path = entry.canonicalFilePath();
        if (path.isEmpty())
            continue;
        if (entry.isDir())
            directories << path;
        else
            files << path;
    }
    if (recursive) {
        for (const QString &subdirectory : directories)
            collectFiles(subdirectory, true, files);
    }
    UTILITY_TRACE_EXIT("ZipUtil::collectFiles");
}

bool ZipUtil::compress(const QString &zipFile, const QString &sourceDir, bool recursive)
{
    UTILITY_TRACE_ENTER("ZipUtil::compress");
    const bool ok = [&] {
        if (zipFile.isEmpty() || sourceDir.isEmpty())
            return false;
        // A missing source gives an empty archive, as it always has; say so.
        if (!QFileInfo(sourceDir).isDir())
            UTILITY_WARN("Source directory not found, the archive stays empty: ", sourceDir);
        QStringList files;
        collectFiles(sourceDir, recursive, files);
        ZipWriter writer;
        if (!writer.open(zipFile)) {
            UTILITY_WARN("Cannot create the archive: ", zipFile);
            return false;
        }
        // An archive written into the tree it packs must not swallow itself.
        const QString self = QFileInfo(zipFile).canonicalFilePath();
        for (const QString &path : files) {
            if (path == self)
                continue;
            const QString name = path.right(path.size() - sourceDir.size() - 1);
            if (!writer.addFile(name, sourceDir)) {
                writer.close();
                return false;
            }
        }
        if (!writer.close()) {
            UTILITY_WARN("Cannot finish the archive: ", zipFile);
            return false;
        }
        return true;
    }();
    UTILITY_TRACE_EXIT("ZipUtil::compress");
    return ok;
}

bool ZipUtil::decompress(const QString &destDir, const QString &zipFile)
{
    UTILITY_TRACE_ENTER("ZipUtil::decompress");
    const bool ok = [&] {
        if (destDir.isEmpty() || zipFile.isEmpty())
            return false;
        UnZipUtil reader(zipFile);
        unzFile zip = reader.m_zipFile;
        if (!zip) {
            if (holdsOnlyAnEndRecord(zipFile))
                return true;
            UTILITY_WARN("Not a zip archive, or it cannot be read: ", zipFile);
            return false;
        }
        QString root;
        const QString archive = QFileInfo(zipFile).canonicalFilePath();
        reader.m_buffer.resize(reader.m_chunkSize);
        for (quint64 i = 0; i < reader.m_entryCount; ++i) {
            if (!extractCurrentEntry(zip, destDir, root, archive, reader.m_buffer, reader.m_password))
                return false;
            if (i + 1 < reader.m_entryCount && unzGoToNextFile(zip) != UNZ_OK) {
                UTILITY_WARN("The archive's directory ends early, after entry: ", static_cast<qulonglong>(i + 1));
                return false;
            }
        }
        return true;
    }();
    UTILITY_TRACE_EXIT("ZipUtil::decompress");
    return ok;
}

// ---- UnZipUtil ----

UnZipUtil::UnZipUtil(const QString &zipFile)
{
    if (zipFile.isEmpty())
        return;
    zlib_filefunc64_def functions = qfileFunctions();
    m_zipFile = unzOpen2_64(const_cast<QString *>(&zipFile), &functions);
    unz_global_info64 global;
    if (m_zipFile && unzGetGlobalInfo64(m_zipFile, &global) == UNZ_OK)
        m_entryCount = global.number_entry;
}

UnZipUtil::~UnZipUtil()
{
    if (!m_zipFile)
        return;
    unzCloseCurrentFile(m_zipFile);
    unzClose(m_zipFile);
}

bool UnZipUtil::extractFile(const QString &entryName, QByteArray &data)
{
    if (entryName.isEmpty() || !m_zipFile)
        return false;
    return extractInto(m_zipFile, entryName.toStdString(), data, QtCompat::maxByteArraySize(), m_buffer,
                       m_chunkSize, m_password);
}

bool UnZipUtil::extractFile(const QString &entryName, std::vector<char> &data)
{
    if (entryName.isEmpty() || !m_zipFile)
        return false;
    // The name makes the same round trip through 8 bits as it always has.
    const std::string name = QString::fromStdString(entryName.toStdString()).toStdString();
    return extractInto(m_zipFile, name, data, static_cast<quint64>(data.max_size()), m_buffer, m_chunkSize,
                       m_password);
}

QStringList UnZipUtil::listAllFiles(const QString &prefix)
{
    QStringList names;
    if (prefix.isEmpty() || !m_zipFile || m_entryCount == 0)
        return names;
    const std::string wanted = prefix.toStdString();
    // Deliberately one byte short: the last character of the prefix is not compared.
    const std::size_t compared = wanted.size() - 1;
    EntryInfo entry;
    do {
        if (!readEntryInfo(m_zipFile, entry))
            break;
        if (wanted.size() <= static_cast<std::size_t>(entry.name.size())
            && std::strncmp(entry.name.constData(), wanted.c_str(), compared) == 0)
            names << QString::fromLatin1(entry.name.constData());
    } while (unzGoToNextFile(m_zipFile) == UNZ_OK);
    return names;
}
