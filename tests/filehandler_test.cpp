// CFileHandler, CFileHandlerSingle, CFileHandlerGroup: suffix splitting, dialog
// filter strings (and what QFileDialog makes of them), lookups by suffix, file,
// name and filter, the group's reversed dispatch, shallow copies and ownership.
#include <utility/filehandler.h>

#include "testsupport.h"

#include <QStringList>

#ifdef UTILITY_TESTS_HAVE_WIDGETS
#include <QFileDialog>
#include <QFileSystemModel>
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using testsupport::CapturedLog;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

// Readable failure messages for Qt strings.
static void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace {

// Records every call and its own destruction in a journal shared by the test.
struct Journal
{
    QStringList calls;
    int destroyed = 0;
};

class RecordingAction : public CFileHandler::Action
{
public:
    RecordingAction(std::shared_ptr<Journal> journal, QString tag, bool result = true)
        : m_journal(std::move(journal)), m_tag(std::move(tag)), m_result(result)
    {
    }
    ~RecordingAction() override { ++m_journal->destroyed; }
    bool operator()(const QString &path) override
    {
        m_journal->calls << m_tag + QLatin1Char(':') + path;
        return m_result;
    }

private:
    std::shared_ptr<Journal> m_journal;
    QString m_tag;
    bool m_result;
};

// A top-level handler list that is destroyed with the test.
struct Tree
{
    CFileHandlerSingle *single(const char *name, const char *suffixes, bool result = true)
    {
        return new CFileHandlerSingle(QString::fromUtf8(name), QString::fromUtf8(suffixes),
                                      new RecordingAction(journal, QString::fromUtf8(name), result), nullptr);
    }
    ~Tree() { CFileHandler::destroy(top); }

    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
    QVector<CFileHandler *> top;
};

} // namespace

TEST(CFileHandlerSingle, SplitsSuffixesAtEveryBlank)
{
    struct Case
    {
        const char *suffixes;
        QStringList expected;
        const char *joined;
        const char *filter;
    };
    const Case cases[] = {
        {".png .PNG", {".png", ".PNG"}, ".png.PNG", "PNG image (*.png *.PNG)"},
        {".htm .html", {".htm", ".html"}, ".htm.html", "PNG image (*.htm *.html)"},
        {".a  .b", {".a", "", ".b"}, ".a.b", "PNG image (*.a * *.b)"},
        // An empty suffix string still splits into one (empty) entry: a bare "*".
        {"", {""}, "", "PNG image (*)"},
        {".png ", {".png", ""}, ".png", "PNG image (*.png *)"},
    };
    for (const Case &c : cases) {
        CFileHandlerSingle handler(QStringLiteral("PNG image"), QString::fromUtf8(c.suffixes), nullptr, nullptr);
        EXPECT_EQ(handler.getSuffixes(), c.expected) << c.suffixes;
        EXPECT_EQ(handler.getSuffix(), QString::fromUtf8(c.joined)) << c.suffixes;
        EXPECT_EQ(handler.getFilter(), QString::fromUtf8(c.filter)) << c.suffixes;
    }
}

TEST(CFileHandlerSingle, UntranslatedContextKeepsTheName)
{
    CFileHandlerSingle handler(QStringLiteral("  Bild  "), QStringLiteral(".bmp"), nullptr, "NoSuchContext");
    // The entry is trimmed as a whole: blanks before the title go, those after it stay.
    EXPECT_EQ(handler.getFilter(), QStringLiteral("Bild   (*.bmp)"));
}

TEST(CFileHandlerGroup, FiltersListMembersDepthFirst)
{
    Tree t;
    auto *images = new CFileHandlerGroup(QStringLiteral("Images"), CFileHandler::eListGroupAndMembers, nullptr);
    images->addHandler(t.single("PNG", ".png"));
    auto *jpeg = new CFileHandlerGroup(QStringLiteral("JPEG"), CFileHandler::eListGroupOnly, nullptr);
    jpeg->addHandler(t.single("JPG", ".jpg .jpeg"));
    jpeg->addHandler(t.single("JFIF", ".jpg"));
    images->addHandler(jpeg);
    t.top << images << t.single("Text", ".txt");

    EXPECT_EQ(images->getSuffixes(), QStringList({".png", ".jpg", ".jpeg", ".jpg"}));
    EXPECT_EQ(images->getSuffix(), QString());
    EXPECT_EQ(jpeg->getFilter(), QStringLiteral("JPEG (*.jpg *.jpeg *.jpg)"));
    EXPECT_EQ(CFileHandler::filtersToString(t.top),
              QStringLiteral("Images (*.png *.jpg *.jpeg *.jpg);;PNG (*.png);;JPEG (*.jpg *.jpeg *.jpg);;Text (*.txt)"));

    // A group that lists its members but has none ends its entry in ";;", and the
    // list drops only one trailing separator.
    QVector<CFileHandler *> empty{new CFileHandlerGroup(QStringLiteral("None"), CFileHandler::eListGroupAndMembers, nullptr)};
    EXPECT_EQ(CFileHandler::filtersToString(empty), QStringLiteral("None ();;"));
    QVector<CFileHandler *> onlyGroup{new CFileHandlerGroup(QStringLiteral("None"), static_cast<CFileHandler::EGroupListingMethod>(7), nullptr)};
    EXPECT_EQ(CFileHandler::filtersToString(onlyGroup), QStringLiteral("None ()"));
    EXPECT_EQ(CFileHandler::filtersToString({}), QString());
    CFileHandler::destroy(empty);
    CFileHandler::destroy(onlyGroup);
}

#ifdef UTILITY_TESTS_HAVE_WIDGETS
TEST(CFileHandler, QFileDialogReadsTheSamePatterns)
{
    Tree t;
    auto *images = new CFileHandlerGroup(QStringLiteral("Images"), CFileHandler::eListGroupAndMembers, nullptr);
    images->addHandler(t.single("PNG image", ".png .PNG"));
    images->addHandler(t.single("JPEG image", ".jpg .jpeg"));
    t.top << images << t.single("Anything", "") << t.single("Web page", ".htm .html");

    const QStringList entries = CFileHandler::filtersToString(t.top).split(QStringLiteral(";;"));
    ASSERT_EQ(entries.size(), 5);
    const std::vector<QStringList> patterns = {
        {"*.png", "*.PNG", "*.jpg", "*.jpeg"}, {"*.png", "*.PNG"}, {"*.jpg", "*.jpeg"}, {"*"}, {"*.htm", "*.html"}};

    QFileDialog dialog;
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setNameFilters(entries);
    EXPECT_EQ(dialog.nameFilters(), entries);
    auto *model = dialog.findChild<QFileSystemModel *>();
    ASSERT_NE(model, nullptr);
    CapturedLog log("INFO"); // entries with several patterns warn
    for (int i = 0; i < entries.size(); ++i) {
        dialog.selectNameFilter(entries[i]);
        EXPECT_EQ(dialog.selectedNameFilter(), entries[i]);
        EXPECT_EQ(model->nameFilters(), patterns[i]) << entries[i].toStdString();
        // ... and the entry the dialog hands back leads to the right handler.
        CFileHandler *found = CFileHandler::getHandlerForFilter(t.top, dialog.selectedNameFilter());
        if (patterns[i].size() == 1)
            EXPECT_NE(found, nullptr) << entries[i].toStdString();
        else
            EXPECT_EQ(found, nullptr) << entries[i].toStdString();
    }
}
#endif

TEST(CFileHandler, LookupsIgnoreCaseAndTakeTheFirstClaim)
{
    Tree t;
    CFileHandlerSingle *png = t.single("PNG image", ".png");
    CFileHandlerSingle *jpgA = t.single("JPEG A", ".jpg");
    CFileHandlerSingle *jpgB = t.single("JPEG B", ".JPG");
    CFileHandlerSingle *gz = t.single("Gzip", ".gz");
    CFileHandlerSingle *dot = t.single("Dot", ".");
    CFileHandlerSingle *blank = t.single("Blank", ".x  .y");
    auto *group = new CFileHandlerGroup(QStringLiteral("Images"), CFileHandler::eListGroupOnly, nullptr);
    group->addHandler(png);
    group->addHandler(jpgA);
    group->addHandler(nullptr); // refused by nobody, skipped by every walk
    t.top << group << jpgB << gz << dot << blank;

    struct SuffixCase
    {
        const char *suffix;
        CFileHandler *expected;
    };
    const SuffixCase suffixes[] = {
        {".PNG", png}, {".png", png}, {"png", nullptr}, {".jpg", jpgA}, {".Jpg", jpgA}, {".", dot}, {"", blank}, {".bmp", nullptr},
    };
    for (const SuffixCase &c : suffixes)
        EXPECT_EQ(CFileHandler::getHandlerForSuffix(t.top, QString::fromUtf8(c.suffix)), c.expected) << c.suffix;
    EXPECT_EQ(group->handlesSuffix(QStringLiteral(".JPG")), jpgA);
    EXPECT_EQ(jpgB->handlesSuffix(QStringLiteral(".jpg")), jpgB);

    struct NameCase
    {
        const char *name;
        CFileHandler *expected;
    };
    const NameCase names[] = {{"png IMAGE", png}, {"JPEG b", jpgB}, {"Images", nullptr}, {"PNG", nullptr}};
    for (const NameCase &c : names)
        EXPECT_EQ(CFileHandler::getHandlerByName(t.top, QString::fromUtf8(c.name)), c.expected) << c.name;

    CapturedLog log("INFO");
    struct FileCase
    {
        const char *file;
        CFileHandler *expected;
    };
    const FileCase files[] = {
        {"archive.tar.gz", gz}, {"/tmp/photo.PNG", png}, {"file.", dot}, {"C:/a.b/readme", nullptr}, {"x.jpg", jpgA},
    };
    for (const FileCase &c : files)
        EXPECT_EQ(CFileHandler::getHandlerForFile(t.top, QString::fromUtf8(c.file)), c.expected) << c.file;
    EXPECT_TRUE(log.warnings().empty());

    EXPECT_EQ(CFileHandler::getHandlerForFile(t.top, QStringLiteral("README")), nullptr);
    const auto warnings = log.warnings();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], EndsWith("\tCannot identify file extension from: README"));
}

TEST(CFileHandler, FilterLookupWantsExactlyOnePattern)
{
    Tree t;
    CFileHandlerSingle *png = t.single("PNG image", ".png");
    CFileHandlerSingle *any = t.single("Anything", "");
    t.top << png << any;

    struct Case
    {
        const char *filter;
        CFileHandler *expected;
        int warnedCount; // 0: no warning
    };
    const Case cases[] = {
        {"PNG image (*.png)", png, 0},
        {"(*.png)", png, 0},
        {"*.PNG", png, 0},                       // no parentheses: the whole text
        {"Odd (name) (*.png)", png, 0},          // the last pair counts
        {"Anything (*)", any, 0},                // nothing left but one empty pattern
        {"Images (*.png *.jpg)", nullptr, 2},
        {"Spaced ( *.png )", nullptr, 3},        // leading and trailing runs split too
        {"Other (*.bmp)", nullptr, 0},
    };
    for (const Case &c : cases) {
        CapturedLog log("INFO");
        EXPECT_EQ(CFileHandler::getHandlerForFilter(t.top, QString::fromUtf8(c.filter)), c.expected) << c.filter;
        const auto warnings = log.warnings();
        if (c.warnedCount == 0) {
            EXPECT_TRUE(warnings.empty()) << c.filter;
        } else {
            ASSERT_EQ(warnings.size(), 1u) << c.filter;
            EXPECT_THAT(warnings[0], EndsWith("\tMore than one filter present. There are actually: " + std::to_string(c.warnedCount)));
        }
    }
}

TEST(CFileHandler, ExecDispatchesToTheSuffixHandler)
{
    Tree t;
    t.top << t.single("PNG image", ".png", true) << t.single("Text", ".txt", false);
    EXPECT_TRUE(CFileHandler::exec(t.top, QStringLiteral("/data/a.PNG")));
    EXPECT_FALSE(CFileHandler::exec(t.top, QStringLiteral("/data/b.txt")));
    EXPECT_FALSE(CFileHandler::exec(t.top, QStringLiteral("/data/c.bmp")));
    {
        CapturedLog quiet("INFO");
        EXPECT_FALSE(CFileHandler::exec(t.top, QStringLiteral("/data/README")));
    }
    EXPECT_EQ(t.journal->calls, QStringList({"PNG image:/data/a.PNG", "Text:/data/b.txt"}));
    CFileHandlerSingle withoutAction(QStringLiteral("Bare"), QStringLiteral(".bare"), nullptr, nullptr);
    EXPECT_FALSE(withoutAction.exec(QStringLiteral("x.bare")));
}

TEST(CFileHandlerGroup, ExecPicksTheFirstMemberThatDoesNotClaimTheSuffix)
{
    Tree t;
    struct Case
    {
        const char *path;
        bool result;
        const char *call; // nullptr: nothing runs
    };
    auto *group = new CFileHandlerGroup(QStringLiteral("G"), CFileHandler::eListGroupAndMembers, nullptr);
    group->addHandler(t.single("A", ".a", true));
    group->addHandler(t.single("B", ".b", false));
    t.top << group;
    const Case cases[] = {
        {"x.a", false, "B:x.a"}, // A claims .a, so B (which does not) runs
        {"x.b", true, "A:x.b"},  // A does not claim .b
        {"x.c", true, "A:x.c"},
        {"noext", false, nullptr},
    };
    for (const Case &c : cases) {
        t.journal->calls.clear();
        EXPECT_EQ(group->exec(QString::fromUtf8(c.path)), c.result) << c.path;
        EXPECT_EQ(t.journal->calls, c.call ? QStringList{QString::fromUtf8(c.call)} : QStringList()) << c.path;
    }

    auto *both = new CFileHandlerGroup(QStringLiteral("Both"), CFileHandler::eListGroupOnly, nullptr);
    both->addHandler(t.single("First", ".z", true));
    both->addHandler(t.single("Last", ".Z", false));
    t.top << both;
    t.journal->calls.clear();
    EXPECT_FALSE(both->exec(QStringLiteral("y.z"))); // all claim it: the last answer runs
    EXPECT_EQ(t.journal->calls, QStringList{QStringLiteral("Last:y.z")});

    CFileHandlerGroup empty(QStringLiteral("Empty"), CFileHandler::eListGroupOnly, nullptr);
    EXPECT_FALSE(empty.exec(QStringLiteral("y.z")));
}

TEST(CFileHandler, DestroyDeletesTheWholeTreeAndCopiesAreShallow)
{
    Tree t;
    auto *group = new CFileHandlerGroup(QStringLiteral("G"), CFileHandler::eListGroupAndMembers, nullptr);
    group->addHandler(t.single("A", ".a"));
    auto *inner = new CFileHandlerGroup(QStringLiteral("Inner"), CFileHandler::eListGroupAndMembers, nullptr);
    inner->addHandler(t.single("B", ".b"));
    group->addHandler(inner);
    t.top << group << nullptr << t.single("C", ".c") << new CFileHandlerSingle(QStringLiteral("NoAction"), QStringLiteral(".n"), nullptr, nullptr);

    {
        // A copy shares the member pointers: it finds and runs the same handlers.
        // Only one of the two may be destroyed with its members, so the copy is
        // emptied by assigning a group without members before it goes.
        CFileHandlerGroup copy(*group);
        EXPECT_EQ(copy.getHandlerByName(QStringLiteral("b")), group->getHandlerByName(QStringLiteral("B")));
        EXPECT_EQ(copy.getFilter(), group->getFilter());
        copy = CFileHandlerGroup(QStringLiteral("Empty"), CFileHandler::eListGroupOnly, nullptr);
        EXPECT_EQ(copy.getFilter(), QStringLiteral("Empty ()"));
    }
    {
        // Likewise a copy of a single handler runs the same action object.
        const auto *c = static_cast<CFileHandlerSingle *>(t.top[2]);
        CFileHandlerSingle copy(*c);
        EXPECT_TRUE(copy.exec(QStringLiteral("copy.c")));
        EXPECT_EQ(t.journal->calls, QStringList{QStringLiteral("C:copy.c")});
        EXPECT_EQ(copy.getFilter(), QStringLiteral("C (*.c)"));
        copy = CFileHandlerSingle(QStringLiteral("X"), QStringLiteral(".x"), nullptr, nullptr); // drops the shared action
    }
    EXPECT_EQ(t.journal->destroyed, 0);

    CFileHandler::destroy(t.top);
    EXPECT_TRUE(t.top.isEmpty());
    EXPECT_EQ(t.journal->destroyed, 3); // A, B and C; NoAction had none
}

TEST(CFileHandler, TracesArgumentsAndResults)
{
    Tree t;
    t.top << t.single("PNG", ".png");
    CapturedLog log("TRACE");
    CFileHandler::getHandlerForSuffix(t.top, QStringLiteral(".png"));
    CFileHandler::filtersToString(t.top);
    const auto lines = log.traceLines();
    ASSERT_GE(lines.size(), 4u);
    EXPECT_THAT(lines[0], EndsWith("\tEnterCFileHandler::getHandlerForSuffix(.png)"));
    EXPECT_THAT(lines[0], ::testing::StartsWith(".\\filehandler.cpp\t"));
    EXPECT_THAT(lines[1], EndsWith("\tEnterCFileHandlerSingle::handlesSuffix(.png)"));
    EXPECT_THAT(lines[2], EndsWith("\tExitCFileHandlerSingle::handlesSuffix"));
    EXPECT_THAT(lines[3], EndsWith("\tExitCFileHandler::getHandlerForSuffix"));
    EXPECT_THAT(lines.back(), HasSubstr("\tExitCFileHandler::filtersToString(PNG"));
    EXPECT_TRUE(log.warnings().empty());
}
