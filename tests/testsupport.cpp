#include "testsupport.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>

namespace testsupport {

namespace {
QMutex g_mutex;
std::vector<std::pair<basic_logging::Severity, std::string>> g_lines;
} // namespace

QString sharedDir()
{
    const QByteArray env = qgetenv("UTILITY_SHARED_DIR");
    const QString candidate = env.isEmpty() ? QStringLiteral(UTILITY_SOURCE_DIR "/../shared") : QString::fromLocal8Bit(env);
    const QFileInfo info(candidate);
    return info.isDir() ? QDir::cleanPath(info.absoluteFilePath()) : QString();
}

QString sharedPath(const QString &relative)
{
    const QString dir = sharedDir();
    return dir.isEmpty() ? QString() : dir + QLatin1Char('/') + relative;
}

CapturedLog::CapturedLog(const std::string &level)
    : m_previousLevel(CLogSystem::theRootInstance->getLevel())
{
    clear();
    CLogSystem::theRootInstance->setSink([](basic_logging::Severity severity, const std::string &line) {
        QMutexLocker lock(&g_mutex);
        g_lines.emplace_back(severity, line);
    });
    CLogSystem::theRootInstance->setLevel(level);
}

CapturedLog::~CapturedLog()
{
    CLogSystem::theRootInstance->setLevel(m_previousLevel);
    CLogSystem::theRootInstance->setSink({});
}

std::vector<std::pair<basic_logging::Severity, std::string>> CapturedLog::lines() const
{
    QMutexLocker lock(&g_mutex);
    return g_lines;
}

std::vector<std::string> CapturedLog::traceLines() const
{
    std::vector<std::string> result;
    for (const auto &line : lines())
        if (line.first == basic_logging::Severity::Trace)
            result.push_back(line.second);
    return result;
}

std::vector<std::string> CapturedLog::warnings() const
{
    std::vector<std::string> result;
    for (const auto &line : lines())
        if (line.first == basic_logging::Severity::Warning)
            result.push_back(line.second);
    return result;
}

void CapturedLog::clear()
{
    QMutexLocker lock(&g_mutex);
    g_lines.clear();
}

} // namespace testsupport
