#ifndef UTILITY_TESTS_TESTSUPPORT_H
#define UTILITY_TESTS_TESTSUPPORT_H

#include <logging/logsystem.h>

#include <QString>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace testsupport {

// The folder of real data beside the repository (../shared), or an empty string
// when this clone has none. Tests that need it skip through REQUIRE_SHARED.
QString sharedDir();

// Path of a file under ../shared; empty when ../shared is absent.
QString sharedPath(const QString &relative);

// Collects every line the library emits while it lives, at the level given, and
// restores the previous level and the default sink afterwards.
class CapturedLog
{
public:
    explicit CapturedLog(const std::string &level = "TRACE");
    ~CapturedLog();
    CapturedLog(const CapturedLog &) = delete;
    CapturedLog &operator=(const CapturedLog &) = delete;

    std::vector<std::pair<basic_logging::Severity, std::string>> lines() const;
    std::vector<std::string> traceLines() const;
    std::vector<std::string> warnings() const;
    void clear();

private:
    std::string m_previousLevel;
};

} // namespace testsupport

#define REQUIRE_SHARED()                                                                         \
    do {                                                                                         \
        if (testsupport::sharedDir().isEmpty())                                                  \
            GTEST_SKIP() << "../shared (real sample data) is not beside this clone; skipped";   \
    } while (false)

#endif // UTILITY_TESTS_TESTSUPPORT_H
