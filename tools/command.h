#ifndef UTILITY_TOOLS_COMMAND_H
#define UTILITY_TOOLS_COMMAND_H

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <functional>

// One subcommand of wbutil. Each subcommand parses its own options, so that
// `wbutil SUBCOMMAND --help` describes exactly that subcommand.
struct Command
{
    QString name;
    QString synopsis;   // one line for the overview
    std::function<int(const QStringList &arguments)> run;
};

namespace Cli {

// Fills the parser with --help and --json and parses `arguments` (the first of
// which is the subcommand's name). Prints help and returns false with exitCode 0
// for --help; prints a one-line error and returns false with exitCode 2 for bad
// usage.
bool parse(QCommandLineParser &parser, const QString &command, const QString &description,
           const QStringList &arguments, int &exitCode);

// Library warnings are collected instead of printed; the failure message carries
// the last one as its reason. Call once at start-up.
void collectLibraryWarnings();

// The one-line failure message convention: "wbutil COMMAND: message" on stderr,
// followed by the library's last warning when there is one, returning the exit
// status to use.
int fail(const QString &command, const QString &message, int status = 1);

void out(const QString &text);           // stdout, with a newline
void progress(const QString &text);      // a transient line on a terminal only
void endProgress();

} // namespace Cli

int runRecognise(const QStringList &arguments);
int runDemo(const QStringList &arguments);
int runZip(const QStringList &arguments);
int runUnzip(const QStringList &arguments);
int runList(const QStringList &arguments);
int runCab(const QStringList &arguments);
int runRender(const QStringList &arguments);
int runCrc(const QStringList &arguments);

#endif // UTILITY_TOOLS_COMMAND_H
