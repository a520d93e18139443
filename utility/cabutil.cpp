#include <utility/cabutil.h>

#include "cabutil_p.h"
#include "trace_p.h"

#include <mspack.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStorageInfo>
#include <QVector>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

// Cabinets are read with libmspack's decompressor. libmspack parses the headers
// and decodes the folders; everything that decides where bytes land on disk is
// ours: libmspack leaves entry names entirely to its caller.

namespace CabUtilPrivate {

namespace {
std::atomic<FreeSpaceProbe> g_freeSpaceProbe{nullptr};
std::atomic<std::size_t> g_allocationLimit{kDefaultAllocationLimit};

void appendCodePoint(QString &out, char32_t code)
{
    if (code >= 0x10000) {
        out += QChar(QChar::highSurrogate(code));
        out += QChar(QChar::lowSurrogate(code));
    } else {
        out += QChar(static_cast<char16_t>(code));
    }
}
} // namespace

QString decodeEntryName(const QByteArray &raw, bool utf8, bool *valid)
{
    if (valid)
        *valid = true;
    if (!utf8)
        return QString::fromLatin1(raw);

    // Well-formed sequences as in the Unicode standard (table 3-7): the second
    // byte's range excludes overlong forms, surrogates and code points beyond
    // U+10FFFF. A lead byte and the continuation bytes that still fit make one
    // bad sequence and one U+FFFD.
    const auto *bytes = reinterpret_cast<const unsigned char *>(raw.constData());
    const int size = raw.size();
    QString out;
    out.reserve(size);
    bool ok = true;
    int i = 0;
    while (i < size) {
        const unsigned lead = bytes[i];
        if (lead < 0x80) {
            out += QChar(static_cast<char16_t>(lead));
            ++i;
            continue;
        }
        int trailing = 0;
        unsigned low = 0x80;
        unsigned high = 0xBF;
        char32_t code = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            trailing = 1;
            code = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            trailing = 2;
            code = lead & 0x0F;
            if (lead == 0xE0)
                low = 0xA0;
            else if (lead == 0xED)
                high = 0x9F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            trailing = 3;
            code = lead & 0x07;
            if (lead == 0xF0)
                low = 0x90;
            else if (lead == 0xF4)
                high = 0x8F;
        } else {
            out += QChar(QChar::ReplacementCharacter);
            ok = false;
            ++i;
            continue;
        }
        int taken = 1;
        while (taken <= trailing && i + taken < size) {
            const unsigned next = bytes[i + taken];
            if (next < low || next > high)
                break;
            code = (code << 6) | (next & 0x3F);
            low = 0x80;
            high = 0xBF;
            ++taken;
        }
        if (taken <= trailing) {
            out += QChar(QChar::ReplacementCharacter);
            ok = false;
        } else {
            appendCodePoint(out, code);
        }
        i += taken;
    }
    if (valid)
        *valid = ok;
    return out;
}

QString relativeEntryPath(const QString &name, QString *reason)
{
    const auto refuse = [reason](const char *why) {
        if (reason)
            *reason = QString::fromLatin1(why);
        return QString();
    };
    // Both separators count: "\" is the cabinet's own, and "/" is one on Windows.
    QString path = name;
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (path.isEmpty())
        return refuse("empty name");
    if (path.startsWith(QLatin1Char('/')))
        return refuse("absolute name");
    if (path.size() >= 2 && path.at(1) == QLatin1Char(':') && path.at(0).unicode() < 128 && path.at(0).isLetter())
        return refuse("drive letter");
    QStringList parts;
    for (const QString &part : path.split(QLatin1Char('/'))) {
        if (part == QLatin1String(".."))
            return refuse("\"..\" component");
        if (!part.isEmpty() && part != QLatin1String("."))
            parts << part;
    }
    const QString last = path.section(QLatin1Char('/'), -1);
    if (parts.isEmpty() || last.isEmpty() || last == QLatin1String("."))
        return refuse("no file name");
    return parts.join(QLatin1Char('/'));
}

FreeSpaceProbe setFreeSpaceProbe(FreeSpaceProbe probe)
{
    return g_freeSpaceProbe.exchange(probe);
}

qint64 availableSpace(const QString &directory)
{
    if (const FreeSpaceProbe probe = g_freeSpaceProbe.load())
        return probe(directory);
    const QStorageInfo storage(directory);
    if (!storage.isValid() || !storage.isReady())
        return -1;
    return storage.bytesAvailable();
}

std::size_t setAllocationLimit(std::size_t bytes)
{
    return g_allocationLimit.exchange(bytes);
}

std::size_t allocationLimit()
{
    return g_allocationLimit.load();
}

} // namespace CabUtilPrivate

namespace {

using namespace CabUtilPrivate;

// Input buffer of libmspack's decoders, and the write size of stored folders.
// Its default of 4 KiB costs a system call per 4 KiB of uncompressed data.
constexpr int kDecompressionBuffer = 64 * 1024;

// Folder indices of CFFILE records that belong to other cabinets of a set.
constexpr quint16 kContinuedFromPrevious = 0xFFFD;
constexpr quint16 kContinuedToNext = 0xFFFE;
constexpr quint16 kContinuedBothWays = 0xFFFF;

// Warnings show names and paths as UTF-8 text. (A QString value would go through
// QUrl, which empties a name such as "c:x" that it cannot parse.)
std::string shown(const QString &text)
{
    return QDir::toNativeSeparators(text).toStdString();
}

const char *errorText(int code)
{
    switch (code) {
    case MSPACK_ERR_OK: return "no error";
    case MSPACK_ERR_ARGS: return "bad arguments";
    case MSPACK_ERR_OPEN: return "cannot open the file";
    case MSPACK_ERR_READ: return "read error";
    case MSPACK_ERR_WRITE: return "write error";
    case MSPACK_ERR_SEEK: return "seek error";
    case MSPACK_ERR_NOMEMORY: return "out of memory";
    case MSPACK_ERR_SIGNATURE: return "no cabinet signature";
    case MSPACK_ERR_DATAFORMAT: return "bad data format";
    case MSPACK_ERR_CHECKSUM: return "checksum mismatch";
    case MSPACK_ERR_CRUNCH: return "compression error";
    case MSPACK_ERR_DECRUNCH: return "decompression error";
    default: return "unknown error";
    }
}

QString joinPath(const QString &base, const QString &relative)
{
    if (relative.isEmpty())
        return base;
    return base.endsWith(QLatin1Char('/')) ? base + relative : base + QLatin1Char('/') + relative;
}

bool isInside(const QString &canonicalPath, const QString &canonicalRoot)
{
    if (canonicalPath.isEmpty() || canonicalRoot.isEmpty())
        return false;
    if (canonicalPath == canonicalRoot)
        return true;
    // The separator matters: "/out" must not admit "/outside".
    const QString prefix = canonicalRoot.endsWith(QLatin1Char('/')) ? canonicalRoot : canonicalRoot + QLatin1Char('/');
    return canonicalPath.startsWith(prefix);
}

QDateTime entryTime(const mscabd_file *file)
{
    const QDate date(file->date_y, file->date_m, file->date_d);
    const QTime time(file->time_h, file->time_m, file->time_s);
    if (!date.isValid() || !time.isValid())
        return QDateTime();
    return QDateTime(date, time); // local time, as the cabinet stores it
}

bool libraryUsable()
{
    static const bool usable = [] {
        int result = MSPACK_ERR_OK;
        MSPACK_SYS_SELFTEST(result);
        return result == MSPACK_ERR_OK;
    }();
    return usable;
}

// ---------------------------------------------------------------------------
// The mspack_system handed to libmspack: our files, our heap limit, our log.

// The temporary file one entry is decoded into. It is created by us before
// libmspack asks for it, so libmspack's open() never creates anything by name.
struct PendingOutput
{
    QString path;
    QByteArray encodedPath;
    int handle = -1;
    bool handedOut = false;
    bool closed = false;
    QDateTime modified;
    bool readOnly = false;
};

struct Handle : mspack_file
{
    int fd = -1;
    PendingOutput *output = nullptr;
};

// The entry being extracted on this thread; libmspack's open() has no user data.
thread_local PendingOutput *t_pending = nullptr;

mspack_file *systemOpen(mspack_system *, const char *filename, int mode)
{
    if (mode == MSPACK_SYS_OPEN_READ) {
        // Only the cabinet itself is read (once for its headers, once for its data).
        const int fd = CabUtilFile::openForReading(QFile::decodeName(filename));
        if (fd < 0) {
            UTILITY_WARN("Cannot open the cabinet: ",
                         std::string(filename) + ": " + CabUtilFile::lastError().toStdString());
            return nullptr;
        }
        Handle *handle = new (std::nothrow) Handle;
        if (!handle) {
            CabUtilFile::close(fd);
            return nullptr;
        }
        handle->fd = fd;
        return handle;
    }
    if (mode == MSPACK_SYS_OPEN_WRITE) {
        PendingOutput *pending = t_pending;
        if (!pending || pending->handedOut || pending->encodedPath != filename)
            return nullptr;
        Handle *handle = new (std::nothrow) Handle;
        if (!handle)
            return nullptr;
        pending->handedOut = true;
        handle->fd = pending->handle;
        handle->output = pending;
        return handle;
    }
    return nullptr; // the cabinet reader never updates or appends
}

void systemClose(mspack_file *file)
{
    Handle *handle = static_cast<Handle *>(file);
    if (PendingOutput *output = handle->output) {
        // Times and permissions go onto the descriptor, after the last write. A
        // failed entry gets them too, and is removed anyway.
        if (output->modified.isValid() && !CabUtilFile::setModificationTime(handle->fd, output->modified))
            UTILITY_WARN("Cannot set the modification time of an extracted file: ",
                         shown(output->path) + ": " + CabUtilFile::lastError().toStdString());
        if (output->readOnly && !CabUtilFile::clearWriteBits(handle->fd))
            UTILITY_WARN("Cannot make an extracted file read-only: ",
                         shown(output->path) + ": " + CabUtilFile::lastError().toStdString());
        output->closed = true;
    }
    CabUtilFile::close(handle->fd);
    delete handle;
}

int systemRead(mspack_file *file, void *buffer, int bytes)
{
    if (bytes < 0)
        return -1;
    return static_cast<int>(CabUtilFile::read(static_cast<Handle *>(file)->fd, buffer, bytes));
}

int systemWrite(mspack_file *file, void *buffer, int bytes)
{
    Handle *handle = static_cast<Handle *>(file);
    if (!handle->output || bytes < 0)
        return -1;
    return static_cast<int>(CabUtilFile::write(handle->fd, buffer, bytes));
}

int systemSeek(mspack_file *file, off_t offset, int mode)
{
    return CabUtilFile::seek(static_cast<Handle *>(file)->fd, offset, mode) ? 0 : -1;
}

off_t systemTell(mspack_file *file)
{
    return static_cast<off_t>(CabUtilFile::tell(static_cast<Handle *>(file)->fd));
}

void systemMessage(mspack_file *, const char *format, ...)
{
    // The file argument may be one of libmspack's own structures, never ours to read.
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    UTILITY_WARN("libmspack: ", std::string(text));
}

void *systemAlloc(mspack_system *, size_t bytes)
{
    if (bytes > allocationLimit()) {
        UTILITY_WARN("Refused a libmspack allocation beyond the limit, bytes: ", static_cast<quint64>(bytes));
        return nullptr;
    }
    return std::malloc(bytes);
}

void systemFree(void *pointer)
{
    std::free(pointer);
}

void systemCopy(void *source, void *destination, size_t bytes)
{
    std::memmove(destination, source, bytes);
}

// One open cabinet and its decompressor.
class Cabinet
{
public:
    explicit Cabinet(const QString &path)
        : m_path(QFile::encodeName(path))
    {
        m_system = mspack_system{&systemOpen, &systemClose, &systemRead, &systemWrite, &systemSeek, &systemTell,
                                 &systemMessage, &systemAlloc, &systemFree, &systemCopy, nullptr};
        m_decompressor = mspack_create_cab_decompressor(&m_system);
        if (!m_decompressor) {
            m_error = MSPACK_ERR_NOMEMORY;
            return;
        }
        m_decompressor->set_param(m_decompressor, MSCABD_PARAM_DECOMPBUF, kDecompressionBuffer);
        m_cabinet = m_decompressor->open(m_decompressor, m_path.constData());
        if (!m_cabinet)
            m_error = m_decompressor->last_error(m_decompressor);
    }

    ~Cabinet()
    {
        if (m_cabinet)
            m_decompressor->close(m_decompressor, m_cabinet);
        if (m_decompressor)
            mspack_destroy_cab_decompressor(m_decompressor);
    }

    Cabinet(const Cabinet &) = delete;
    Cabinet &operator=(const Cabinet &) = delete;

    const mscabd_cabinet *get() const { return m_cabinet; }
    int error() const { return m_error; }

    int extract(mscabd_file *file, PendingOutput *output)
    {
        t_pending = output;
        const int result = m_decompressor->extract(m_decompressor, file, output->encodedPath.constData());
        t_pending = nullptr;
        return result;
    }

private:
    // libmspack keeps this pointer as the cabinet's file name and opens it again
    // for every folder: it must live as long as the cabinet does.
    QByteArray m_path;
    mspack_system m_system;
    mscab_decompressor *m_decompressor = nullptr;
    mscabd_cabinet *m_cabinet = nullptr;
    int m_error = MSPACK_ERR_OK;
};

// The folder index of every CFFILE record, which libmspack does not expose: it
// tells which files are continued from or into another cabinet. The records are
// found the way libmspack found them (strings of at most 255 bytes; the disk
// names of a set may be empty), and must agree with its list.
bool readFolderIndices(const QString &path, const mscabd_cabinet *cabinet, QVector<quint16> *indices)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const auto u16 = [](const uchar *p) { return static_cast<quint16>(p[0] | (p[1] << 8)); };
    const auto u32 = [](const uchar *p) {
        return static_cast<quint32>(p[0]) | (static_cast<quint32>(p[1]) << 8) | (static_cast<quint32>(p[2]) << 16)
            | (static_cast<quint32>(p[3]) << 24);
    };
    const auto readAt = [&file](qint64 position, uchar *buffer, qint64 size) {
        return file.seek(position) && file.read(reinterpret_cast<char *>(buffer), size) == size;
    };
    uchar header[36];
    if (!readAt(0, header, sizeof header) || std::memcmp(header, "MSCF", 4) != 0)
        return false;
    const int folderCount = u16(header + 26);
    const int fileCount = u16(header + 28);
    const int flags = u16(header + 30);
    qint64 position = sizeof header;
    int folderReserve = 0;
    if (flags & 0x0004) {
        uchar reserve[4];
        if (!readAt(position, reserve, sizeof reserve))
            return false;
        folderReserve = reserve[2];
        position += sizeof reserve + u16(reserve);
    }
    const auto skipString = [&]() {
        if (!file.seek(position))
            return false;
        const QByteArray chunk = file.read(256);
        const int end = chunk.indexOf('\0');
        if (end < 0)
            return false;
        position += end + 1;
        return true;
    };
    const int setNames = ((flags & 0x0001) ? 2 : 0) + ((flags & 0x0002) ? 2 : 0);
    for (int i = 0; i < setNames; ++i)
        if (!skipString())
            return false;
    position += static_cast<qint64>(folderCount) * (8 + folderReserve);

    indices->clear();
    indices->reserve(fileCount);
    const mscabd_file *entry = cabinet->files;
    for (int i = 0; i < fileCount; ++i, entry = entry->next) {
        uchar record[16];
        if (!entry || !readAt(position, record, sizeof record))
            return false;
        if (u32(record) != entry->length || u32(record + 4) != entry->offset)
            return false;
        indices->push_back(u16(record + 8));
        position += sizeof record;
        if (!skipString())
            return false;
    }
    return entry == nullptr;
}

struct Entry
{
    mscabd_file *file;
    QString name;
    bool validName;
};

// Decodes one entry into a new file beside its target, then moves it into place,
// so that a failure leaves no partial file and an existing file intact.
bool extractEntry(Cabinet &cabinet, const Entry &entry, const QString &target, const QString &relative)
{
    const QString directory = QFileInfo(target).path();
    PendingOutput output;
    for (int attempt = 0; attempt < 8 && output.handle < 0; ++attempt) {
        output.path = joinPath(directory, QStringLiteral(".cabpart-%1")
                                              .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0')));
        output.handle = CabUtilFile::createNew(output.path);
    }
    if (output.handle < 0) {
        UTILITY_WARN("Cannot create a file for a cabinet entry: ",
                     shown(output.path) + ": " + CabUtilFile::lastError().toStdString());
        return false;
    }
    output.encodedPath = QFile::encodeName(output.path);
    output.modified = entryTime(entry.file);
    output.readOnly = (entry.file->attribs & MSCAB_ATTRIB_RDONLY) != 0;

    const int error = cabinet.extract(entry.file, &output);
    if (!output.handedOut)
        CabUtilFile::close(output.handle);
    if (error != MSPACK_ERR_OK || !output.handedOut || !output.closed) {
        CabUtilFile::remove(output.path);
        UTILITY_WARN("Cannot extract a cabinet entry: ", shown(relative) + ": " + errorText(error));
        return false;
    }
    if (!CabUtilFile::replace(output.path, target)) {
        const std::string why = CabUtilFile::lastError().toStdString();
        CabUtilFile::remove(output.path);
        UTILITY_WARN("Cannot write a cabinet entry: ", shown(target) + ": " + why);
        return false;
    }
    return true;
}

// `root` is the canonical destination of the outermost call; every nested
// destination and every target directory must lie inside it.
bool extractCabinet(const QString &destDir, const QString &cabFile, QStringList &files, bool recursive, int depth,
                    QString &root)
{
    if (destDir.isEmpty() || cabFile.isEmpty()) {
        UTILITY_WARN_TEXT("Cabinet extraction needs a destination directory and a cabinet file");
        return false;
    }
    if (depth > kMaxNestingDepth) {
        UTILITY_WARN("Cabinet nested too deeply, not extracted: ", shown(cabFile));
        return false;
    }
    if (!libraryUsable()) {
        UTILITY_WARN_TEXT("libmspack was built with a different file offset size; cabinets cannot be read");
        return false;
    }

    const QString base = QDir::cleanPath(destDir);
    QStringList extracted;
    {
        Cabinet cabinet(cabFile);
        if (!cabinet.get()) {
            UTILITY_WARN("Not a cabinet file: ", shown(cabFile) + " (" + errorText(cabinet.error()) + ")");
            return false;
        }
        QVector<quint16> folderIndices;
        if (!readFolderIndices(cabFile, cabinet.get(), &folderIndices)) {
            UTILITY_WARN("Cabinet file list is inconsistent: ", shown(cabFile));
            return false;
        }

        // Spanning sets are not followed. A file continued from the previous
        // cabinet cannot be decoded without it, nor can any other file of the
        // folder that continues from there.
        bool firstFolderContinued = false;
        for (const quint16 index : folderIndices)
            firstFolderContinued |= index == kContinuedFromPrevious || index == kContinuedBothWays;
        QVector<Entry> entries;
        quint64 declaredSize = 0;
        int i = 0;
        for (mscabd_file *file = cabinet.get()->files; file; file = file->next, ++i) {
            bool validName = true;
            const QString name =
                decodeEntryName(QByteArray(file->filename), (file->attribs & MSCAB_ATTRIB_UTF_NAME) != 0, &validName);
            const quint16 index = folderIndices.at(i);
            if (index == kContinuedFromPrevious || index == kContinuedToNext || index == kContinuedBothWays
                || (firstFolderContinued && file->folder == cabinet.get()->folders)) {
                UTILITY_WARN("Skipped a file continued from or into another cabinet: ", shown(name));
                continue;
            }
            entries.push_back(Entry{file, name, validName});
            declaredSize += file->length;
        }

        if (!entries.isEmpty()) {
            const QFileInfo destInfo(base);
            if (!destInfo.isDir()) {
                UTILITY_WARN("Cabinet destination is not a directory: ", shown(destDir));
                return false;
            }
            const QString canonicalDest = destInfo.canonicalFilePath();
            if (root.isEmpty())
                root = canonicalDest;
            else if (!isInside(canonicalDest, root)) {
                UTILITY_WARN("Nested cabinet destination lies outside the destination: ", shown(destDir));
                return false;
            }
            // The declared sizes are what libmspack writes, so a cabinet that would
            // fill the volume is refused before its first byte.
            const qint64 available = availableSpace(base);
            if (available < 0 || static_cast<quint64>(available) < declaredSize) {
                UTILITY_WARN("Not enough free space to extract the cabinet: ",
                             shown(cabFile) + ": " + std::to_string(declaredSize) + " bytes needed, "
                                 + (available < 0 ? std::string("free space unknown")
                                                  : std::to_string(available) + " available"));
                return false;
            }
        }

        for (const Entry &entry : entries) {
            if (!entry.validName)
                UTILITY_WARN("Cabinet entry name is not valid UTF-8, bad bytes replaced: ", shown(entry.name));
            QString reason;
            const QString relative = relativeEntryPath(entry.name, &reason);
            if (relative.isNull()) {
                UTILITY_WARN("Refused a cabinet entry: ", shown(entry.name) + " (" + reason.toStdString() + ")");
                return false;
            }
            const QString target = joinPath(base, relative);
            const QFileInfo directory(QFileInfo(target).path());
            if (!directory.isDir()) {
                // As on the original platform: entries do not create directories.
                UTILITY_WARN("Directory of a cabinet entry does not exist: ", shown(relative));
                return false;
            }
            if (!isInside(directory.canonicalFilePath(), root)) {
                UTILITY_WARN("Refused a cabinet entry that leads outside the destination: ", shown(relative));
                return false;
            }
            if (QFileInfo(target).isSymLink()) {
                UTILITY_WARN("Refused to write a cabinet entry over a symbolic link: ", shown(relative));
                return false;
            }
            if (!extractEntry(cabinet, entry, target, relative))
                return false;
            extracted << relative;
        }
    } // the cabinet is closed before nested ones are opened

    const QLatin1String suffix(".cab");
    for (const QString &name : std::as_const(extracted)) {
        if (!recursive || !name.endsWith(suffix))
            files << QDir::toNativeSeparators(joinPath(base, name));
    }
    if (!recursive)
        return true;

    for (const QString &name : std::as_const(extracted)) {
        if (!name.endsWith(suffix))
            continue;
        const QString sub = name.left(name.size() - suffix.size());
        const QString subDir = joinPath(base, sub);
        if (!QFileInfo::exists(subDir)) {
            if (!QDir().mkpath(base) || !QDir(base).mkdir(sub)) {
                UTILITY_WARN("Cannot create the directory for a nested cabinet: ", shown(subDir));
                return false;
            }
        }
        const QString nested = joinPath(base, name);
        if (!extractCabinet(subDir, nested, files, true, depth + 1, root))
            return false;
        if (!QFile::remove(nested))
            UTILITY_WARN("Cannot remove an expanded nested cabinet: ", shown(nested));
    }
    return true;
}

} // namespace

bool CabUtil::decompress(const QString &destDir, const QString &cabFile, QStringList &files, bool recursive)
{
    QString root;
    return extractCabinet(destDir, cabFile, files, recursive, 0, root);
}
