#include "trace_p.h"

#include <cstring>

namespace UtilityTrace {

std::string location(const char *file, int line)
{
    const char *slash = std::strrchr(file, '/');
    const char *backslash = std::strrchr(file, '\\');
    const char *base = file;
    if (slash && slash + 1 > base)
        base = slash + 1;
    if (backslash && backslash + 1 > base)
        base = backslash + 1;
    std::string text = ".\\";
    text += base;
    text += '\t';
    text += std::to_string(line);
    text += '\t';
    return text;
}

void enter(const char *file, int line, const char *name)
{
    CLogSystem::theRootInstance->traceLogger()
        << location(file, line) << "Enter" << name << basic_logging::Logger::end;
}

void exit(const char *file, int line, const char *name)
{
    CLogSystem::theRootInstance->traceLogger()
        << location(file, line) << "Exit" << name << basic_logging::Logger::end;
}

void insertValue(basic_logging::Logger &logger, const QDateTime &value)
{
    logger << value.toString(QStringLiteral("dd-MM-yyyy hh:mm:ss.zzz")).toStdString();
}

void warn(const char *file, int line, const char *message)
{
    CLogSystem::theRootInstance->warningLogger()
        << location(file, line) << message << basic_logging::Logger::end;
}

} // namespace UtilityTrace
