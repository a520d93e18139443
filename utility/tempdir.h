#ifndef UTILITY_TEMPDIR_H
#define UTILITY_TEMPDIR_H

#include <utility/utility_export.h>

#include <QDir>
#include <QString>

// A scratch directory that lives as long as the object. The object is a QDir
// positioned inside the directory once it is valid, so its path and files are
// reached through QDir's own members (absolutePath(), filePath(), ...).
//
// An existing directory of the name is taken over with its contents. The
// destructor deletes the files whose names contain a dot and then removes the
// directory if it is empty; files without a dot and subdirectories stay, and so
// does the directory then. A symbolic link of the name is never taken over,
// since emptying it would delete files somewhere else.
//
// Copies share the directory: every copy empties and removes it when it dies.
class UTILITY_EXPORT CTempDir : public QDir
{
public:
    CTempDir(const QString &basePath, const QString &dirName);
    CTempDir(const CTempDir &other) = default;
    CTempDir &operator=(const CTempDir &other) = default;
    ~CTempDir();

    bool isValid();
    // Deletes the directory's files that match "*.*" (hidden ones included).
    void empty();

private:
    QString m_dirName;
    QString m_basePath;
    bool m_valid;
};

#endif // UTILITY_TEMPDIR_H
