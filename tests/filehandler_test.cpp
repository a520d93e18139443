// CFileHandler, CFileHandlerSingle, CFileHandlerGroup: suffix splitting, dialog
// filter strings (and what QFileDialog makes of them), lookups by suffix, file,
// name and filter, the group's reversed dispatch, shallow copies and ownership.
#include <utility/filehandler.h>

#include "testsupport.h"

#ifdef UTILITY_TESTS_HAVE_WIDGETS
#include <QFileDialog>
#include <QFileSystemModel>
#endif

#include <gmock/gmock.h>

#include <initializer_list>
#include <memory>

using testsupport::CapturedLog;
using ::testing::EndsWith;

namespace {

struct Journal { QStringList calls; int destroyed = 0; };

// Records every call, and its own destruction, in a journal shared by the test.
struct RecordingAction : CFileHandler::Action
{
    RecordingAction(std::shared_ptr<Journal> j, QString t, bool r) : journal(std::move(j)), tag(std::move(t)), result(r) {}
    ~RecordingAction() override { ++journal->destroyed; }
    bool operator()(const QString &path) override { return journal->calls << tag + QLatin1Char(':') + path, result; }
    std::shared_ptr<Journal> journal;
    QString tag;
    bool result;
};

// A top-level handler list that is destroyed with the test.
struct Tree
{
    CFileHandlerSingle *single(const char *name, const char *suffixes, bool result = true)
    {
        return new CFileHandlerSingle(QString::fromUtf8(name), QString::fromUtf8(suffixes),
                                      new RecordingAction(journal, QString::fromUtf8(name), result), nullptr);
    }
    // A group listed with its members, or on its own.
    static CFileHandlerGroup *group(const char *name, bool listMembers, std::initializer_list<CFileHandler *> members)
    {
        auto *group = new CFileHandlerGroup(QString::fromUtf8(name), listMembers ? CFileHandler::eListGroupAndMembers
                                                                                 : CFileHandler::eListGroupOnly, nullptr);
        for (CFileHandler *member : members)
            group->addHandler(member);
        return group;
    }
    ~Tree() { CFileHandler::destroy(top); }

    std::shared_ptr<Journal> journal = std::make_shared<Journal>();
    QVector<CFileHandler *> top;
};

} // namespace

TEST(CFileHandler, FiltersSplitSuffixesAtEveryBlankAndListGroupMembersDepthFirst)
{
    struct Case { const char *suffixes; QStringList expected; const char *joined; const char *filter; } const cases[] = {
        {".png .PNG", {".png", ".PNG"}, ".png.PNG", "PNG image (*.png *.PNG)"},
        {".a  .b", {".a", "", ".b"}, ".a.b", "PNG image (*.a * *.b)"},
        // An empty suffix string still splits into one (empty) entry: a bare "*".
        {"", {""}, "", "PNG image (*)"}, {".png ", {".png", ""}, ".png", "PNG image (*.png *)"},
    };
    for (const Case &c : cases) {
        CFileHandlerSingle handler(QStringLiteral("PNG image"), QString::fromUtf8(c.suffixes), nullptr, nullptr);
        EXPECT_EQ(handler.getSuffixes(), c.expected) << c.suffixes;
        EXPECT_EQ(handler.getSuffix(), QString::fromUtf8(c.joined)) << c.suffixes;
        EXPECT_EQ(handler.getFilter(), QString::fromUtf8(c.filter)) << c.suffixes;
    }
    // An untranslated context keeps the name. The entry is trimmed as a whole:
    // blanks before the title go, those after it stay.
    CFileHandlerSingle handler(QStringLiteral("  Bild  "), QStringLiteral(".bmp"), nullptr, "NoSuchContext");
    EXPECT_EQ(handler.getFilter(), QStringLiteral("Bild   (*.bmp)"));

    // Groups list their members depth first.
    Tree t;
    CFileHandlerGroup *jpeg = Tree::group("JPEG", false, {t.single("JPG", ".jpg .jpeg"), t.single("JFIF", ".jpg")});
    CFileHandlerGroup *images = Tree::group("Images", true, {t.single("PNG", ".png"), jpeg});
    t.top << images << t.single("Text", ".txt");
    EXPECT_EQ(images->getSuffixes(), QStringList({".png", ".jpg", ".jpeg", ".jpg"}));
    EXPECT_EQ(images->getSuffix(), QString());
    EXPECT_EQ(jpeg->getFilter(), QStringLiteral("JPEG (*.jpg *.jpeg *.jpg)"));
    EXPECT_EQ(CFileHandler::filtersToString(t.top),
              QStringLiteral("Images (*.png *.jpg *.jpeg *.jpg);;PNG (*.png);;JPEG (*.jpg *.jpeg *.jpg);;Text (*.txt)"));

    // A group that lists its members but has none ends its entry in ";;", and the
    // list drops only one trailing separator.
    QVector<CFileHandler *> empty{Tree::group("None", true, {})},
        onlyGroup{new CFileHandlerGroup(QStringLiteral("None"), CFileHandler::EGroupListingMethod(7), nullptr)};
    EXPECT_EQ(CFileHandler::filtersToString(empty), QStringLiteral("None ();;"));
    EXPECT_EQ(CFileHandler::filtersToString(onlyGroup), QStringLiteral("None ()"));
    EXPECT_EQ(CFileHandler::filtersToString({}), QString());
    for (QVector<CFileHandler *> *list : {&empty, &onlyGroup})
        CFileHandler::destroy(*list);
}

#ifdef UTILITY_TESTS_HAVE_WIDGETS
TEST(CFileHandler, QFileDialogReadsTheSamePatterns)
{
    Tree t;
    t.top << Tree::group("Images", true, {t.single("PNG image", ".png .PNG"), t.single("JPEG image", ".jpg .jpeg")})
          << t.single("Anything", "") << t.single("Web page", ".htm .html");
    const QStringList entries = CFileHandler::filtersToString(t.top).split(QStringLiteral(";;"));
    const std::vector<QStringList> patterns = {
        {"*.png", "*.PNG", "*.jpg", "*.jpeg"}, {"*.png", "*.PNG"}, {"*.jpg", "*.jpeg"}, {"*"}, {"*.htm", "*.html"}};
    ASSERT_EQ(entries.size(), int(patterns.size()));

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
        // ... and the entry the dialog hands back leads to a handler if it has one pattern.
        EXPECT_EQ(CFileHandler::getHandlerForFilter(t.top, dialog.selectedNameFilter()) != nullptr, patterns[i].size() == 1);
    }
}
#endif

TEST(CFileHandler, LookupsIgnoreCaseAndTakeTheFirstClaim)
{
    Tree t;
    CFileHandlerSingle *png = t.single("PNG image", ".png"), *jpgA = t.single("JPEG A", ".jpg"),
                       *jpgB = t.single("JPEG B", ".JPG"), *gz = t.single("Gzip", ".gz"), *dot = t.single("Dot", "."),
                       *blank = t.single("Blank", ".x  .y"), *any = t.single("Anything", "");
    // A null member is refused by nobody and skipped by every walk.
    CFileHandlerGroup *group = Tree::group("Images", false, {png, jpgA, nullptr});
    t.top << group << jpgB << gz << dot << blank << any;
    EXPECT_EQ(group->handlesSuffix(QStringLiteral(".JPG")), jpgA);

    enum By { Suffix, Name, File, Filter };
    CFileHandler *(*const lookups[])(const QVector<CFileHandler *> &, const QString &) = {
        &CFileHandler::getHandlerForSuffix, &CFileHandler::getHandlerByName, &CFileHandler::getHandlerForFile,
        &CFileHandler::getHandlerForFilter};
    struct Case { By by; const char *text; CFileHandler *expected; int warned; } const cases[] = {
        {Suffix, ".PNG", png}, {Suffix, ".png", png}, {Suffix, "png", nullptr}, {Suffix, ".jpg", jpgA},
        {Suffix, ".Jpg", jpgA}, {Suffix, ".", dot}, {Suffix, "", blank}, {Suffix, ".bmp", nullptr},
        {Name, "png IMAGE", png}, {Name, "JPEG b", jpgB}, {Name, "Images", nullptr}, {Name, "PNG", nullptr},
        {File, "archive.tar.gz", gz}, {File, "/tmp/photo.PNG", png}, {File, "file.", dot},
        {File, "C:/a.b/readme", nullptr}, {File, "x.jpg", jpgA}, {File, "README", nullptr, 1},
        // A filter needs exactly one pattern, inside the last pair of parentheses if any.
        {Filter, "PNG image (*.png)", png}, {Filter, "(*.png)", png}, {Filter, "*.PNG", png},
        {Filter, "Odd (name) (*.png)", png}, {Filter, "Anything (*)", blank}, // the first empty suffix
        {Filter, "Other (*.bmp)", nullptr}, {Filter, "Images (*.png *.jpg)", nullptr, 2},
        {Filter, "Spaced ( *.png )", nullptr, 3}, // leading and trailing runs split too
    };
    for (const Case &c : cases) {
        CapturedLog log("INFO");
        const QString text = QString::fromUtf8(c.text);
        EXPECT_EQ(lookups[c.by](t.top, text), c.expected) << c.text;
        const std::string warning = c.by == File ? "\tCannot identify file extension from: " + std::string(c.text)
                                                 : "\tMore than one filter present. There are actually: " + std::to_string(c.warned);
        EXPECT_EQ(log.warnings().size(), c.warned ? 1u : 0u) << c.text;
        EXPECT_THAT(log.warnings(), ::testing::Each(EndsWith(warning))) << c.text;
    }
}

TEST(CFileHandler, ExecDispatchesToTheSuffixHandlerAndGroupsInReverse)
{
    Tree t;
    CFileHandlerGroup *group = Tree::group("G", true, {t.single("A", ".a", true), t.single("B", ".b", false)});
    CFileHandlerGroup *both = Tree::group("Both", false, {t.single("First", ".z", true), t.single("Last", ".Z", false)});
    t.top << t.single("PNG image", ".png", true) << t.single("Text", ".txt", false) << group << both;
    // A group runs the first member that does not claim the suffix; when all claim
    // it, the last one.
    struct Case { CFileHandler *handler; const char *path; bool result; const char *call; } const cases[] = {
        {nullptr, "/data/a.PNG", true, "PNG image:/data/a.PNG"}, {nullptr, "/data/b.txt", false, "Text:/data/b.txt"},
        {nullptr, "/data/c.bmp", false, nullptr},   {nullptr, "/data/README", false, nullptr},
        {group, "x.a", false, "B:x.a"}, // A claims .a, so B (which does not) runs
        {group, "x.b", true, "A:x.b"},  // A does not claim .b
        {group, "x.c", true, "A:x.c"},  {group, "noext", false, nullptr}, {both, "y.z", false, "Last:y.z"},
    };
    for (const Case &c : cases) {
        CapturedLog quiet("INFO");
        t.journal->calls.clear();
        const QString path = QString::fromUtf8(c.path);
        EXPECT_EQ(c.handler ? c.handler->exec(path) : CFileHandler::exec(t.top, path), c.result) << c.path;
        EXPECT_EQ(t.journal->calls, c.call ? QStringList{QString::fromUtf8(c.call)} : QStringList()) << c.path;
    }
    EXPECT_FALSE(CFileHandlerSingle(QStringLiteral("Bare"), QStringLiteral(".bare"), nullptr, nullptr).exec(QStringLiteral("x.bare")));
    EXPECT_FALSE(CFileHandlerGroup(QStringLiteral("Empty"), CFileHandler::eListGroupOnly, nullptr).exec(QStringLiteral("y.z")));
}

TEST(CFileHandler, DestroyDeletesTheWholeTreeAndCopiesAreShallow)
{
    Tree t;
    CFileHandlerGroup *group =
        Tree::group("G", true, {t.single("A", ".a"), Tree::group("Inner", true, {t.single("B", ".b")})});
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
        CFileHandlerSingle copy(*static_cast<CFileHandlerSingle *>(t.top[2]));
        EXPECT_TRUE(copy.exec(QStringLiteral("copy.c")));
        EXPECT_EQ(t.journal->calls, QStringList{QStringLiteral("C:copy.c")});
        EXPECT_EQ(copy.getFilter(), QStringLiteral("C (*.c)"));
        copy = CFileHandlerSingle(QStringLiteral("X"), QStringLiteral(".x"), nullptr, nullptr); // drops the shared action
    }
    EXPECT_EQ(t.journal->destroyed, 0);
    CFileHandler::destroy(t.top);
    EXPECT_TRUE(t.top.isEmpty() && t.journal->destroyed == 3); // A, B and C; NoAction had none
}
