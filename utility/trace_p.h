#ifndef UTILITY_TRACE_P_H
#define UTILITY_TRACE_P_H

// The library's trace frame. Not installed: callers only see the lines it writes.
// Its few functions are exported only so that the benchmarks can measure them.
//
// Every function with a body of its own announces its entry and exit when the
// root log system's level is exactly "TRACE":
//
//     .\angle.cpp<TAB>81<TAB>EnterCAngle::normalise
//     .\angle.cpp<TAB>96<TAB>ExitCAngle::normalise
//
// The level is tested afresh for each line, and nothing is built unless it is
// "TRACE", so a quiet logger costs one lock-free getLevel() and one comparison.
//
// The location and the function name go into the line as they are. Values of type
// QString go through QUrl (see basic_logging::Logger), which is how the suite has
// always written them; doing that to the location as well would percent-encode
// its backslash and tabs on Qt 5 and 6, and lower-case "CAngle:" as a URL scheme.

#include <logging/logsystem.h>
#include <utility/utility_export.h>

#include <QDateTime>
#include <QString>

#include <cstring>

namespace UtilityTrace {

inline bool enabled()
{
    // Exactly "TRACE". Comparing the length first keeps the usual case (any other
    // level) to one load and one compare: std::string's operator== against a C
    // string calls strlen and compare out of line, which costs more than most of
    // the traced functions themselves.
    const std::string &level = CLogSystem::theRootInstance->getLevel();
    return level.size() == 5 && std::memcmp(level.data(), "TRACE", 5) == 0;
}

// ".\" + the source file's name (no directories) + TAB + line + TAB.
UTILITY_EXPORT std::string location(const char *file, int line);

UTILITY_EXPORT void enter(const char *file, int line, const char *name);
UTILITY_EXPORT void exit(const char *file, int line, const char *name);

inline void insertValue(basic_logging::Logger &logger, bool value)
{
    logger << value << " ";
}
inline void insertValue(basic_logging::Logger &logger, const QString &value)
{
    logger << value;
}
UTILITY_EXPORT void insertValue(basic_logging::Logger &logger, const QDateTime &value);
inline void insertValue(basic_logging::Logger &logger, const char *value)
{
    logger << value;
}
inline void insertValue(basic_logging::Logger &logger, const std::string &value)
{
    logger << value;
}
template<typename Number>
inline void insertValue(basic_logging::Logger &logger, Number value)
{
    logger << value;
}

template<typename T>
void enterWith(const char *file, int line, const char *name, const T &value)
{
    basic_logging::Logger &logger = CLogSystem::theRootInstance->traceLogger();
    logger << location(file, line) << "Enter" << name << "(";
    insertValue(logger, value);
    logger << ")" << basic_logging::Logger::end;
}

template<typename T>
void exitWith(const char *file, int line, const char *name, const T &value)
{
    basic_logging::Logger &logger = CLogSystem::theRootInstance->traceLogger();
    logger << location(file, line) << "Exit" << name << "(";
    insertValue(logger, value);
    logger << ")" << basic_logging::Logger::end;
}

// Warnings are written whatever the level: location, message, value.
template<typename T>
void warn(const char *file, int line, const char *message, const T &value)
{
    basic_logging::Logger &logger = CLogSystem::theRootInstance->warningLogger();
    logger << location(file, line) << message;
    insertValue(logger, value);
    logger << basic_logging::Logger::end;
}
UTILITY_EXPORT void warn(const char *file, int line, const char *message);

} // namespace UtilityTrace

#define UTILITY_TRACE_ENTER(name)                                \
    do {                                                         \
        if (UtilityTrace::enabled())                             \
            UtilityTrace::enter(__FILE__, __LINE__, name);       \
    } while (false)

#define UTILITY_TRACE_ENTER_ARG(name, value)                     \
    do {                                                         \
        if (UtilityTrace::enabled())                             \
            UtilityTrace::enterWith(__FILE__, __LINE__, name, value); \
    } while (false)

#define UTILITY_TRACE_EXIT(name)                                 \
    do {                                                         \
        if (UtilityTrace::enabled())                             \
            UtilityTrace::exit(__FILE__, __LINE__, name);        \
    } while (false)

// Traces a result that the function has already computed into a local.
#define UTILITY_TRACE_RESULT(name, value)                        \
    do {                                                         \
        if (UtilityTrace::enabled())                             \
            UtilityTrace::exitWith(__FILE__, __LINE__, name, value); \
    } while (false)

#define UTILITY_WARN(message, value) UtilityTrace::warn(__FILE__, __LINE__, message, value)
#define UTILITY_WARN_TEXT(message) UtilityTrace::warn(__FILE__, __LINE__, message)

#endif // UTILITY_TRACE_P_H
