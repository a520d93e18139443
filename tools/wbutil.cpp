// wbutil: the utility library from a shell. Subcommands recognise figures in ink,
// work with zip and cabinet archives, render images and metafiles, and compute
// file CRCs; `demo` runs the recogniser over a set of scribbles and draws a
// contact sheet.
#include "command.h"

#include <QDir>
#include <QGuiApplication>

#include <cerrno>
#include <sys/stat.h>

#include <cstdio>
#include <unistd.h>

namespace {

const QVector<Command> &commands()
{
    static const QVector<Command> all = {
        {QStringLiteral("demo"), QStringLiteral("recognise a labelled set of scribbles and draw a contact sheet"), runDemo},
        {QStringLiteral("recognise"), QStringLiteral("classify the scribbles of an ink file"), runRecognise},
        {QStringLiteral("zip"), QStringLiteral("pack a directory into a zip archive"), runZip},
        {QStringLiteral("unzip"), QStringLiteral("extract a zip archive into a directory"), runUnzip},
        {QStringLiteral("list"), QStringLiteral("list the entries of a zip archive"), runList},
        {QStringLiteral("cab"), QStringLiteral("extract a cabinet file into a directory"), runCab},
        {QStringLiteral("render"), QStringLiteral("render an SVG, EMF, WMF or raster image to PNG"), runRender},
        {QStringLiteral("crc"), QStringLiteral("print the CRC-32 of files"), runCrc},
    };
    return all;
}

void usage(FILE *stream)
{
    std::fprintf(stream, "Usage: wbutil COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands:\n");
    for (const Command &command : commands())
        std::fprintf(stream, "  %-10s %s\n", qPrintable(command.name), qPrintable(command.synopsis));
    std::fprintf(stream, "\nRun 'wbutil COMMAND --help' for the options of a command.\n");
}

} // namespace

int main(int argc, char **argv)
{
    // The tool draws pictures but never opens a window.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Without a session (a shell over ssh, CI) Qt would warn on stderr about the
    // missing runtime directory; give it a private one instead.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QByteArray runtime = QDir::tempPath().toLocal8Bit() + "/wbutil-runtime-" + QByteArray::number(getuid());
        if (mkdir(runtime.constData(), 0700) == 0 || errno == EEXIST)
            qputenv("XDG_RUNTIME_DIR", runtime);
    }
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("wbutil"));
    Cli::collectLibraryWarnings();

    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    if (arguments.isEmpty()) {
        usage(stderr);
        return 2;
    }
    const QString name = arguments.first();
    if (name == QLatin1String("--help") || name == QLatin1String("-h") || name == QLatin1String("help")) {
        usage(stdout);
        return 0;
    }
    for (const Command &command : commands()) {
        if (command.name == name)
            return command.run(arguments);
    }
    return Cli::fail(QString(), QStringLiteral("unknown command '%1' (try 'wbutil --help')").arg(name), 2);
}
