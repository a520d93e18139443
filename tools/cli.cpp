#include "command.h"

#include <cstdio>
#include <unistd.h>

namespace Cli {

bool parse(QCommandLineParser &parser, const QString &command, const QString &description,
           const QStringList &arguments, int &exitCode)
{
    parser.setApplicationDescription(description);
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
    parser.addOption(help);
    QStringList withProgram = arguments;
    withProgram.first() = QStringLiteral("wbutil ") + command;
    if (!parser.parse(withProgram)) {
        exitCode = fail(command, parser.errorText(), 2);
        return false;
    }
    if (parser.isSet(help)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        exitCode = 0;
        return false;
    }
    return true;
}

int fail(const QString &command, const QString &message, int status)
{
    endProgress();
    const QString prefix = command.isEmpty() ? QStringLiteral("wbutil") : QStringLiteral("wbutil ") + command;
    std::fprintf(stderr, "%s: %s\n", qPrintable(prefix), message.toLocal8Bit().constData());
    return status;
}

void out(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
}

namespace {
bool g_progressShown = false;
}

void progress(const QString &text)
{
    if (!isatty(STDERR_FILENO))
        return;
    std::fprintf(stderr, "\r\033[K%s", text.toLocal8Bit().constData());
    std::fflush(stderr);
    g_progressShown = true;
}

void endProgress()
{
    if (g_progressShown) {
        std::fputs("\r\033[K", stderr);
        g_progressShown = false;
    }
}

} // namespace Cli
