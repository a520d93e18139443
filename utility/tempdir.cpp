#include <utility/tempdir.h>

#include <QFileInfo>

CTempDir::CTempDir(const QString &basePath, const QString &dirName)
    : QDir(basePath)
    , m_dirName(dirName)
    , m_basePath(basePath)
    , m_valid(false)
{
    if (QFileInfo(filePath(dirName)).isSymbolicLink())
        return;
    if (!mkdir(dirName) && !exists(dirName))
        return;
    m_valid = cd(dirName);
}

CTempDir::~CTempDir()
{
    if (!m_valid)
        return;
    empty();
    cd(QStringLiteral(".."));
    // Fails, on purpose silently, when anything is left inside.
    rmdir(m_dirName);
}

bool CTempDir::isValid()
{
    return m_valid;
}

void CTempDir::empty()
{
    // An invalid object still stands in the base directory, whose files are
    // not ours to delete.
    if (!m_valid)
        return;
    // "*.*" needs a dot in the name on every platform, so names without one
    // stay; links are removed as links, never what they point to.
    const QFileInfoList files = entryInfoList(QStringList(QStringLiteral("*.*")),
                                              QDir::Files | QDir::Hidden | QDir::System
                                                  | QDir::NoDotAndDotDot,
                                              QDir::Unsorted);
    for (const QFileInfo &file : files)
        remove(file.absoluteFilePath());
}
