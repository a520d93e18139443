#include "command.h"

#include <logging/logsystem.h>

#include <QMutex>

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
        // Qt names the program by its path; the usage line names the subcommand.
        QString text = parser.helpText();
        const int usageEnd = text.indexOf(QLatin1String(" [options]"));
        if (text.startsWith(QLatin1String("Usage: ")) && usageEnd > 0)
            text.replace(7, usageEnd - 7, QStringLiteral("wbutil ") + command);
        std::fputs(text.toLocal8Bit().constData(), stdout);
        exitCode = 0;
        return false;
    }
    return true;
}

namespace {
QMutex g_warningMutex;
std::string g_lastWarning;
} // namespace

void collectLibraryWarnings()
{
    CLogSystem::theRootInstance->setSink([](basic_logging::Severity severity, const std::string &line) {
        if (severity != basic_logging::Severity::Warning)
            return;
        // Keep the message, not the source location in front of it.
        const auto tab = line.rfind('\t');
        QMutexLocker lock(&g_warningMutex);
        g_lastWarning = tab == std::string::npos ? line : line.substr(tab + 1);
    });
}

int fail(const QString &command, const QString &message, int status)
{
    endProgress();
    const QString prefix = command.isEmpty() ? QStringLiteral("wbutil") : QStringLiteral("wbutil ") + command;
    QString text = message;
    {
        QMutexLocker lock(&g_warningMutex);
        if (status != 0 && !g_lastWarning.empty())
            text += QStringLiteral(": ") + QString::fromStdString(g_lastWarning).trimmed();
        g_lastWarning.clear();
    }
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    std::fprintf(stderr, "%s: %s\n", qPrintable(prefix), text.toLocal8Bit().constData());
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
