#ifndef UTILITY_CABUTIL_P_H
#define UTILITY_CABUTIL_P_H

// Internals of CabUtil shared by cabutil.cpp, its platform file layer
// (cabutil_posix.cpp) and the tests. Not installed. The few exported functions
// exist so that the tests can reach the rules directly and can provoke the
// refusals (a full disk, a greedy allocation) without the real conditions.

#include <utility/utility_export.h>

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <cstddef>

namespace CabUtilPrivate {

// Cabinets nested deeper than this below the one the caller names are refused.
// Real installers nest one or two levels; a cabinet that contains itself would
// otherwise recurse until the disk is full.
constexpr int kMaxNestingDepth = 8;

// libmspack asks for its own memory; no single request may exceed this. Its
// largest legitimate one is a 2 MiB LZX or Quantum window, so anything far
// beyond that means a corrupt or hostile cabinet.
constexpr std::size_t kDefaultAllocationLimit = 8u * 1024u * 1024u;

// Entry names: Latin-1 bytes, or UTF-8 when the entry says so. Invalid UTF-8
// (overlong forms, surrogates, truncated or stray bytes) becomes one U+FFFD per
// maximal bad sequence, as Unicode recommends; *valid tells whether that happened.
UTILITY_EXPORT QString decodeEntryName(const QByteArray &raw, bool utf8, bool *valid = nullptr);

// The entry's path relative to the destination, with "/" between components and
// empty and "." components dropped, or a null string when the name must not be
// written (absolute, drive letter, "..", no file name); *reason then says why.
UTILITY_EXPORT QString relativeEntryPath(const QString &name, QString *reason = nullptr);

// Bytes available to this process on the volume that holds `directory`, or -1
// when that cannot be told.
using FreeSpaceProbe = qint64 (*)(const QString &directory);
// Replaces the free-space query (nullptr restores the real one); returns the
// previous probe. For tests: a cabinet bomb must be refused without a full disk.
UTILITY_EXPORT FreeSpaceProbe setFreeSpaceProbe(FreeSpaceProbe probe);
qint64 availableSpace(const QString &directory);

// Sets the largest single allocation granted to libmspack; returns the previous.
UTILITY_EXPORT std::size_t setAllocationLimit(std::size_t bytes);
std::size_t allocationLimit();

} // namespace CabUtilPrivate

// The little file layer the extraction needs, one implementation per platform.
// Paths are QStrings; handles are small integers, -1 when invalid.
namespace CabUtilFile {

int openForReading(const QString &path);
// Creates a new, empty file for writing; fails if anything exists at `path`
// (a symbolic link included), so that nothing is ever written through one.
int createNew(const QString &path);
// Reads until `bytes` are read or the file ends; -1 on error.
qint64 read(int handle, void *buffer, qint64 bytes);
// Writes all bytes or fails with -1.
qint64 write(int handle, const void *buffer, qint64 bytes);
// whence: 0 from the start, 1 from the current position, 2 from the end.
bool seek(int handle, qint64 offset, int whence);
qint64 tell(int handle);
bool close(int handle);
bool setModificationTime(int handle, const QDateTime &time);
bool clearWriteBits(int handle);
// Moves `from` to `to`, replacing whatever file or symbolic link is at `to`
// (a link is replaced itself, never followed).
bool replace(const QString &from, const QString &to);
bool remove(const QString &path);
// The last failure of the functions above, as text.
QString lastError();

} // namespace CabUtilFile

#endif // UTILITY_CABUTIL_P_H
