// zip, unzip, list, cab, render and crc: thin shells over the library's archive,
// image and file helpers.
#include "command.h"

#include <utility/cabutil.h>
#include <utility/emftorasterutil.h>
#include <utility/fileutilities.h>
#include <utility/imageutility.h>
#include <utility/ziputil.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>

namespace {

bool wantsPositional(QCommandLineParser &parser, int count, const QString &command, int &status)
{
    if (parser.positionalArguments().size() != count) {
        status = Cli::fail(command, QStringLiteral("expects %1 argument%2 (see --help)").arg(count).arg(count == 1 ? "" : "s"), 2);
        return false;
    }
    return true;
}

void printJson(const QJsonObject &object)
{
    Cli::out(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

} // namespace

int runZip(const QStringList &arguments)
{
    const QString command = QStringLiteral("zip");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("Directory to pack."));
    parser.addPositionalArgument(QStringLiteral("OUT.zip"), QStringLiteral("Archive to create (replaced if it exists)."));
    const QCommandLineOption flat(QStringLiteral("no-recursive"), QStringLiteral("Pack only the files directly in DIR."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Report as JSON."));
    parser.addOptions({flat, json});
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Packs the files under DIR into a zip archive (no directory entries; names relative to DIR)."), arguments, status)
        || !wantsPositional(parser, 2, command, status))
        return status;
    const QString dir = parser.positionalArguments().at(0), zip = parser.positionalArguments().at(1);
    if (!QFileInfo(dir).isDir())
        return Cli::fail(command, QStringLiteral("%1 is not a directory").arg(dir));
    Cli::progress(QStringLiteral("packing %1 ...").arg(dir));
    if (!ZipUtil::compress(zip, dir, !parser.isSet(flat)))
        return Cli::fail(command, QStringLiteral("could not pack %1 into %2").arg(dir, zip));
    Cli::endProgress();
    if (parser.isSet(json))
        printJson({{QStringLiteral("archive"), zip}, {QStringLiteral("bytes"), QFileInfo(zip).size()}});
    else
        Cli::out(QStringLiteral("%1: %2 bytes").arg(zip).arg(QFileInfo(zip).size()));
    return 0;
}

int runUnzip(const QStringList &arguments)
{
    const QString command = QStringLiteral("unzip");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("ARCHIVE"), QStringLiteral("Zip archive to extract."));
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("Directory to extract into."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Report as JSON."));
    parser.addOption(json);
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Extracts every entry of a zip archive under DIR; entries that would land outside DIR are refused."), arguments, status)
        || !wantsPositional(parser, 2, command, status))
        return status;
    const QString zip = parser.positionalArguments().at(0), dir = parser.positionalArguments().at(1);
    if (!QFileInfo(zip).isFile())
        return Cli::fail(command, QStringLiteral("%1: no such file").arg(zip));
    Cli::progress(QStringLiteral("extracting %1 ...").arg(zip));
    if (!ZipUtil::decompress(dir, zip))
        return Cli::fail(command, QStringLiteral("could not extract %1 (corrupt archive or refused entry)").arg(zip));
    Cli::endProgress();
    if (parser.isSet(json))
        printJson({{QStringLiteral("archive"), zip}, {QStringLiteral("directory"), dir}});
    else
        Cli::out(QStringLiteral("extracted %1 into %2").arg(zip, dir));
    return 0;
}

int runList(const QStringList &arguments)
{
    const QString command = QStringLiteral("list");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("ARCHIVE"), QStringLiteral("Zip archive."));
    parser.addPositionalArgument(QStringLiteral("[PREFIX]"), QStringLiteral("Only entries whose names begin with PREFIX (as in the library, the last character of PREFIX is not compared)."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print a JSON array."));
    parser.addOption(json);
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Lists the entry names of a zip archive."), arguments, status))
        return status;
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty() || positional.size() > 2)
        return Cli::fail(command, QStringLiteral("expects ARCHIVE and an optional PREFIX (see --help)"), 2);
    if (!QFileInfo(positional.at(0)).isFile())
        return Cli::fail(command, QStringLiteral("%1: no such file").arg(positional.at(0)));
    UnZipUtil archive(positional.at(0));
    // The library lists nothing for an empty prefix; a one-character prefix
    // compares no characters at all, so it lists every entry.
    const QStringList names = archive.listAllFiles(positional.size() > 1 ? positional.at(1) : QStringLiteral("*"));
    if (parser.isSet(json)) {
        Cli::out(QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(names)).toJson(QJsonDocument::Compact)));
    } else {
        for (const QString &name : names)
            Cli::out(name);
    }
    return 0;
}

int runCab(const QStringList &arguments)
{
    const QString command = QStringLiteral("cab");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("CABINET"), QStringLiteral("Cabinet file to extract."));
    parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("Directory to extract into."));
    const QCommandLineOption recursive(QStringLiteral("recursive"), QStringLiteral("Also unpack cabinets found inside, each into a directory named after it."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print the extracted files as a JSON array."));
    parser.addOptions({recursive, json});
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Extracts a Microsoft cabinet file and prints the extracted files."), arguments, status)
        || !wantsPositional(parser, 2, command, status))
        return status;
    const QString cab = parser.positionalArguments().at(0), dir = parser.positionalArguments().at(1);
    if (!QFileInfo(cab).isFile())
        return Cli::fail(command, QStringLiteral("%1: no such file").arg(cab));
    if (!QDir().mkpath(dir))
        return Cli::fail(command, QStringLiteral("cannot create %1").arg(dir));
    QStringList files;
    Cli::progress(QStringLiteral("extracting %1 ...").arg(cab));
    const bool ok = CabUtil::decompress(dir, cab, files, parser.isSet(recursive));
    Cli::endProgress();
    if (parser.isSet(json))
        Cli::out(QString::fromUtf8(QJsonDocument(QJsonArray::fromStringList(files)).toJson(QJsonDocument::Compact)));
    else
        for (const QString &file : files)
            Cli::out(file);
    if (!ok)
        return Cli::fail(command, QStringLiteral("could not extract %1 completely (not a cabinet, corrupt, or a refused entry)").arg(cab));
    return 0;
}

int runRender(const QStringList &arguments)
{
    const QString command = QStringLiteral("render");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("SVG, EMF, WMF or raster image."));
    parser.addPositionalArgument(QStringLiteral("OUT.png"), QStringLiteral("PNG to write."));
    const QCommandLineOption budget(QStringLiteral("budget"), QStringLiteral("Largest number of pixels of the result (default 4000000)."), QStringLiteral("PIXELS"), QStringLiteral("4000000"));
    const QCommandLineOption scale(QStringLiteral("scale"), QStringLiteral("Scale factor for metafiles (EMF, WMF); renders at their own size times S."), QStringLiteral("S"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Report as JSON."));
    parser.addOptions({budget, scale, json});
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Loads an image through the library's loaders and writes it as PNG."), arguments, status)
        || !wantsPositional(parser, 2, command, status))
        return status;
    const QString in = parser.positionalArguments().at(0), out = parser.positionalArguments().at(1);
    if (!QFileInfo(in).isFile())
        return Cli::fail(command, QStringLiteral("%1: no such file").arg(in));
    bool ok = false;
    const long maxPixels = parser.value(budget).toLong(&ok);
    if (!ok || maxPixels <= 0)
        return Cli::fail(command, QStringLiteral("--budget wants a positive number of pixels"), 2);

    QSize size;
    if (parser.isSet(scale)) {
        const double factor = parser.value(scale).toDouble(&ok);
        if (!ok || factor <= 0)
            return Cli::fail(command, QStringLiteral("--scale wants a positive number"), 2);
        QByteArray png;
        if (!CEmfToRasterUtil::loadEmfFile(in, png, &size, factor))
            return Cli::fail(command, QStringLiteral("could not render %1 as a metafile").arg(in));
        QFile file(out);
        if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size())
            return Cli::fail(command, QStringLiteral("cannot write %1").arg(out));
    } else {
        const QPixmap pixmap = Util::loadPixmapFromFile(in, maxPixels);
        if (pixmap.isNull())
            return Cli::fail(command, QStringLiteral("could not load %1 (unknown format, corrupt, or too large)").arg(in));
        size = pixmap.size();
        if (!pixmap.save(out, "PNG"))
            return Cli::fail(command, QStringLiteral("cannot write %1").arg(out));
    }
    if (parser.isSet(json))
        printJson({{QStringLiteral("output"), out}, {QStringLiteral("width"), size.width()}, {QStringLiteral("height"), size.height()}});
    else
        Cli::out(QStringLiteral("%1: %2x%3").arg(out).arg(size.width()).arg(size.height()));
    return 0;
}

int runCrc(const QStringList &arguments)
{
    const QString command = QStringLiteral("crc");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("FILE..."), QStringLiteral("Files to check."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print a JSON object of file to CRC."));
    parser.addOption(json);
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Prints the CRC-32 of each file as eight hex digits, a tab and the name, like crc32."), arguments, status))
        return status;
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty())
        return Cli::fail(command, QStringLiteral("expects at least one FILE (see --help)"), 2);
    QJsonObject object;
    int result = 0;
    for (const QString &file : files) {
        const QFileInfo info(file);
        if (!info.isFile() || !info.isReadable()) {
            result = Cli::fail(command, QStringLiteral("%1: cannot read").arg(file));
            continue;
        }
        const QString hex = QStringLiteral("%1").arg(static_cast<qulonglong>(CFileUtilities::getFileCRC(file)), 8, 16, QLatin1Char('0'));
        if (parser.isSet(json))
            object.insert(file, hex);
        else
            Cli::out(hex + QLatin1Char('\t') + file);
    }
    if (parser.isSet(json))
        printJson(object);
    return result;
}
