#ifndef UTILITY_CABUTIL_H
#define UTILITY_CABUTIL_H

#include <utility/utility_export.h>

#include <QString>
#include <QStringList>

// Extraction of Microsoft cabinet (.cab) files, on libmspack.
//
// decompress() writes every file of cabFile below destDir and appends the full
// native path of each extracted file to `files`. The target comes first, as in
// ZipUtil. It returns false when an argument is empty, when cabFile is not a
// cabinet, or when any entry cannot be extracted; files extracted before the
// failure stay on disk. Nothing is ever written outside destDir. The reason for
// every refusal is written as a warning.
//
// What happens to the entries:
//  - Names use "\" inside a cabinet; they are written with the native separator.
//    An entry inside a directory ("dir\file") needs that directory to exist in
//    destDir already: extraction does not create directories (except for nested
//    cabinets, below), and fails otherwise.
//  - Names are Latin-1, unless the entry carries the cabinet's UTF-8 name flag.
//    Invalid UTF-8 is repaired, one U+FFFD per bad sequence (with a warning), so
//    an overlong encoding of "/" can never become a separator.
//  - Each file gets the entry's date and time (local time) as its modification
//    time. The read-only attribute clears the file's write permissions; hidden,
//    system and archive mean nothing on POSIX and are ignored.
//  - An existing file of the same name is replaced, also a read-only one, and
//    only once the entry has been extracted completely: a failed entry leaves
//    neither a partial file nor a damaged old one.
//  - Files continued from or into another cabinet of a spanning set are skipped
//    (with a warning); the other cabinets of the set are never opened.
//
// Refused, and the extraction fails at that entry:
//  - absolute names ("\x", "/x", "C:x"), names with a ".." component (with
//    either separator) and names that end in a separator or have no name at all;
//  - names that would resolve outside destDir through an existing symbolic link,
//    and targets that are symbolic links themselves;
//  - a cabinet whose declared uncompressed size exceeds the free space of the
//    destination's volume, or whose free space cannot be told (checked before
//    anything of it is written).
//
// With `recursive`, every extracted entry whose name ends in ".cab" (exactly so,
// in lower case) is extracted in turn into a directory beside it that is named
// after it without the suffix, and deleted afterwards. Only the files that are
// not such cabinets are listed. Cabinets nested more than eight levels below
// cabFile are refused (a cabinet that contains itself would otherwise never end).
class UTILITY_EXPORT CabUtil
{
public:
    static bool decompress(const QString &destDir, const QString &cabFile, QStringList &files,
                           bool recursive);

private:
    CabUtil();
};

#endif // UTILITY_CABUTIL_H
