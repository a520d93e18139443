// Zip and cabinet readers on arbitrary archive bytes. The archive is written into a
// scratch folder beside the extraction target; after extraction the scratch folder
// must hold nothing but the archive and the target (nothing escaped), and no file
// may have been written through a link.
#include "harness.h"

#include <utility/cabutil.h>
#include <utility/ziputil.h>

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QTemporaryDir>

#include <vector>

namespace Fuzz {

namespace {

struct Scratch
{
    QTemporaryDir root;
    QString archive;
    QString target;

    Scratch(const std::uint8_t *data, std::size_t size, const char *name)
    {
        check(root.isValid(), "no scratch folder");
        archive = root.filePath(QString::fromLatin1(name));
        target = root.filePath(QStringLiteral("target"));
        QDir().mkpath(target);
        QFile file(archive);
        check(file.open(QIODevice::WriteOnly), "cannot write the archive");
        file.write(reinterpret_cast<const char *>(data), static_cast<qint64>(size));
    }

    void checkNothingEscaped() const
    {
        const QStringList entries = QDir(root.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QString &entry : entries)
            check(entry == QFileInfo(archive).fileName() || entry == QLatin1String("target"),
                  "an archive wrote outside its target directory");
    }
};

} // namespace

int zipArchives(const std::uint8_t *data, std::size_t size)
{
    Scratch scratch(data, size, "archive.zip");
    ZipUtil::decompress(scratch.target, scratch.archive);
    scratch.checkNothingEscaped();

    UnZipUtil reader(scratch.archive);
    const QStringList names = reader.listAllFiles(QStringLiteral("*"));
    for (const QString &name : names.mid(0, 16)) {
        QByteArray bytes;
        reader.extractFile(name, bytes);
        std::vector<char> raw;
        reader.extractFile(name, raw);
    }
    scratch.checkNothingEscaped();
    return 0;
}

int cabArchives(const std::uint8_t *data, std::size_t size)
{
    Scratch scratch(data, size, "archive.cab");
    QStringList files;
    CabUtil::decompress(scratch.target, scratch.archive, files, (size & 1) != 0);
    scratch.checkNothingEscaped();
    const QString inside = QDir(scratch.target).canonicalPath() + QLatin1Char('/');
    for (const QString &file : files) {
        const QFileInfo info(file);
        if (info.exists())
            check(info.canonicalFilePath().startsWith(inside), "a listed file lies outside the target");
    }
    return 0;
}

} // namespace Fuzz
