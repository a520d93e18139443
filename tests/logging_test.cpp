// The trace frame and the logging module: the exact line format, the exact level
// test, warnings regardless of level, and the default route into Qt's handler.
#include "testsupport.h"

#include "trace_p.h"

#include <utility/angle.h>
#include <utility/binaryread.h>

#include <QRegularExpression>

#include <gmock/gmock.h>

#include <sstream>

using testsupport::CapturedLog;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

namespace {

class ExposedAngle : public CAngle
{
public:
    using CAngle::normalise;
};

int lineNumberOf(const std::string &line)
{
    const auto first = line.find('\t');
    return std::stoi(line.substr(first + 1));
}

} // namespace

TEST(TraceFrame, TracedCallWritesEnterThenExitExactly)
{
    CapturedLog log("TRACE");
    ExposedAngle angle;
    angle.normalise();

    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], MatchesRegex("\\.\\\\angle\\.cpp\t[0-9]+\tEnterCAngle::normalise"));
    EXPECT_THAT(lines[1], MatchesRegex("\\.\\\\angle\\.cpp\t[0-9]+\tExitCAngle::normalise"));
    EXPECT_LT(lineNumberOf(lines[0]), lineNumberOf(lines[1]));
    EXPECT_TRUE(log.warnings().empty());
}

TEST(TraceFrame, OnlyTheExactLevelNameTraces)
{
    for (const char *level : {"trace", "INFO", "DEBUG", "TRACE ", ""}) {
        CapturedLog log(level);
        ExposedAngle angle;
        angle.normalise();
        EXPECT_TRUE(log.lines().empty()) << "level '" << level << "' must not trace";
    }
}

TEST(TraceFrame, ResultsAreWrittenInParentheses)
{
    struct Case
    {
        std::string bytes;
        std::function<void(std::istream &)> read;
        std::string expectedExit;
    };
    const std::vector<Case> cases = {
        {std::string("\x01", 1), [](std::istream &in) { bool b; binaryRead(in, b); }, "ExitbinaryRead(1 )"},
        {std::string("\x00", 1), [](std::istream &in) { bool b; binaryRead(in, b); }, "ExitbinaryRead(0 )"},
        {std::string("\x01\x02", 2), [](std::istream &in) { unsigned short v; binaryRead(in, v); }, "ExitbinaryRead(513)"},
        // Strings pass through QUrl: a space stays, "%20" is decoded.
        {std::string("\x05\x00\x00\x00" "a%20b", 9), [](std::istream &in) { QString s; binaryRead(in, s); }, "ExitbinaryRead(a b)"},
    };
    for (const Case &c : cases) {
        CapturedLog log("TRACE");
        std::istringstream in(c.bytes);
        c.read(in);
        const auto lines = log.traceLines();
        ASSERT_FALSE(lines.empty());
        const std::string &last = lines.back();
        EXPECT_EQ(last.substr(last.rfind('\t') + 1), c.expectedExit);
    }
}

TEST(TraceFrame, WarningsIgnoreTheLevel)
{
    CapturedLog log("ERROR");
    UTILITY_WARN("Something odd: ", QStringLiteral("value"));
    const auto warnings = log.warnings();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], MatchesRegex("\\.\\\\logging_test\\.cpp\t[0-9]+\tSomething odd: value"));
}

namespace {
QStringList g_qtMessages;
void collectQtMessages(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    g_qtMessages << QString::fromLatin1(context.category) + QLatin1Char('|') + message;
}
} // namespace

TEST(LogSystem, DefaultSinkIsQtsMessageHandler)
{
    g_qtMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectQtMessages);
    UTILITY_WARN_TEXT("routed through Qt");
    qInstallMessageHandler(previous);
    ASSERT_EQ(g_qtMessages.size(), 1);
    EXPECT_TRUE(g_qtMessages[0].startsWith(QStringLiteral("utility|.\\logging_test.cpp\t")));
    EXPECT_TRUE(g_qtMessages[0].endsWith(QStringLiteral("routed through Qt")));
}

TEST(LogSystem, LevelReferenceOutlivesLaterChanges)
{
    const std::string before = CLogSystem::theRootInstance->getLevel();
    const std::string &held = CLogSystem::theRootInstance->getLevel();
    CLogSystem::theRootInstance->setLevel("WARN");
    EXPECT_EQ(CLogSystem::theRootInstance->getLevel(), "WARN");
    EXPECT_EQ(held, before);
    CLogSystem::theRootInstance->setLevel(before);
}
