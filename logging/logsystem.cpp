#include <logging/logsystem.h>

#include <QLoggingCategory>
#include <QUrl>

#include <cstdlib>
#include <set>

Q_LOGGING_CATEGORY(lcUtility, "utility")

namespace {

// Level names are interned for the life of the process, so that getLevel can hand
// out a reference without a lock: a reader holding an old name still holds valid memory.
const std::string *internLevel(const std::string &name)
{
    static QMutex mutex;
    static std::set<std::string> *names = new std::set<std::string>; // never freed: readers may outlive static destruction
    QMutexLocker lock(&mutex);
    return &*names->insert(name).first;
}

std::string initialLevel()
{
    const char *env = std::getenv("UTILITY_LOG_LEVEL");
    return (env && *env) ? std::string(env) : std::string("INFO");
}

void defaultSink(basic_logging::Severity severity, const std::string &line)
{
    const QString text = QString::fromStdString(line);
    if (severity == basic_logging::Severity::Trace)
        qCDebug(lcUtility).noquote() << text;
    else
        qCWarning(lcUtility).noquote() << text;
}

CLogSystem rootLogSystem;

} // namespace

CLogSystem *CLogSystem::theRootInstance = &rootLogSystem;

namespace basic_logging {

const Logger::EndOfLine Logger::end{};

void tracelevel::operator()(const std::string &text) const
{
    CLogSystem::theRootInstance->emitLine(Severity::Trace, text);
}

void warnlevel::operator()(const std::string &text) const
{
    CLogSystem::theRootInstance->emitLine(Severity::Warning, text);
}

Logger::Logger(Emitter emitter)
    : m_emitter(std::move(emitter))
{
}

Logger &Logger::operator<<(const char *text)
{
    QMutexLocker lock(&m_mutex);
    m_stream << text;
    return *this;
}

Logger &Logger::operator<<(const std::string &text)
{
    QMutexLocker lock(&m_mutex);
    m_stream << text;
    return *this;
}

Logger &Logger::operator<<(const QString &text)
{
    const std::string converted = QUrl(text).toString().toStdString();
    QMutexLocker lock(&m_mutex);
    m_stream << converted;
    return *this;
}

Logger &Logger::operator<<(EndOfLine)
{
    QMutexLocker lock(&m_mutex);
    const std::string line = m_stream.str();
    m_stream.str(std::string());
    m_emitter(line);
    return *this;
}

} // namespace basic_logging

CLogSystem::CLogSystem()
    : m_level(internLevel(initialLevel()))
    , m_trace(basic_logging::tracelevel())
    , m_warning(basic_logging::warnlevel())
{
}


void CLogSystem::setLevel(const std::string &level)
{
    m_level.store(internLevel(level), std::memory_order_release);
}

void CLogSystem::setSink(basic_logging::Sink sink)
{
    QMutexLocker lock(&m_sinkMutex);
    m_sink = std::move(sink);
}

void CLogSystem::emitLine(basic_logging::Severity severity, const std::string &line)
{
    QMutexLocker lock(&m_sinkMutex);
    if (m_sink)
        m_sink(severity, line);
    else
        defaultSink(severity, line);
}
