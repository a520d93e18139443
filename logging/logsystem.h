#ifndef LOGGING_LOGSYSTEM_H
#define LOGGING_LOGSYSTEM_H

#include <logging/logging_export.h>

#include <QMutex>
#include <QString>

#include <atomic>
#include <functional>
#include <sstream>
#include <string>

// The suite's logging module. A process has one root log system; its level is a
// name ("TRACE", "DEBUG", "INFO", "WARN", "ERROR", or anything a program sets) and
// every finished line goes to one sink. The default sink hands lines to Qt's
// message handler under the "utility" category, so qInstallMessageHandler and
// QT_LOGGING_RULES see them.

namespace basic_logging {

enum class Severity { Trace, Warning };

// Receives one finished line (without a newline) and the severity it was emitted at.
using Sink = std::function<void(Severity severity, const std::string &line)>;

// Emitters: hand one finished line to the root log system's sink.
struct LOGGING_EXPORT tracelevel
{
    void operator()(const std::string &text) const;
};

struct LOGGING_EXPORT warnlevel
{
    void operator()(const std::string &text) const;
};

// Builds one line from several insertions and hands it to its emitter when `end`
// is inserted. Each insertion takes the mutex for its own duration only, so two
// threads writing at once may interleave their pieces; whole lines are never torn
// by the sink.
class LOGGING_EXPORT Logger
{
public:
    struct EndOfLine
    {
    };
    static const EndOfLine end;

    using Emitter = std::function<void(const std::string &)>;
    explicit Logger(Emitter emitter);
    Logger(const Logger &) = delete;
    Logger &operator=(const Logger &) = delete;

    Logger &operator<<(const char *text);
    Logger &operator<<(const std::string &text);
    // Strings of the Qt world pass through QUrl on their way in; the URL parser's
    // normalisation is part of the suite's line format.
    Logger &operator<<(const QString &text);
    Logger &operator<<(EndOfLine);

    template<typename Number>
    Logger &operator<<(Number value)
    {
        static_assert(std::is_arithmetic<Number>::value, "only numbers and strings go into a log line");
        QMutexLocker lock(&m_mutex);
        m_stream << value;
        return *this;
    }

private:
    QMutex m_mutex;
    Emitter m_emitter;
    std::ostringstream m_stream;
};

} // namespace basic_logging

class LOGGING_EXPORT CLogSystem
{
public:
    // The process-wide root log system.
    static CLogSystem *theRootInstance;

    CLogSystem();
    CLogSystem(const CLogSystem &) = delete;
    CLogSystem &operator=(const CLogSystem &) = delete;

    // The current level name. Called on every traced function entry and exit:
    // lock-free, allocation-free and inline (one load), since the geometry helpers
    // run thousands of times per recognised scribble; the returned reference stays
    // valid for the life of the process even if the level changes afterwards.
    const std::string &getLevel() const { return *m_level.load(std::memory_order_acquire); }
    void setLevel(const std::string &level);

    // Replaces the sink; an empty function restores the default (Qt's message handler).
    void setSink(basic_logging::Sink sink);

    basic_logging::Logger &traceLogger() { return m_trace; }
    basic_logging::Logger &warningLogger() { return m_warning; }

    // Hands one finished line to the sink.
    void emitLine(basic_logging::Severity severity, const std::string &line);

private:
    std::atomic<const std::string *> m_level;
    QMutex m_sinkMutex;
    basic_logging::Sink m_sink;
    basic_logging::Logger m_trace;
    basic_logging::Logger m_warning;
};

#endif // LOGGING_LOGSYSTEM_H
