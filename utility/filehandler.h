#ifndef UTILITY_FILEHANDLER_H
#define UTILITY_FILEHANDLER_H

#include <utility/functor.h>
#include <utility/utility_export.h>

#include <QString>
#include <QStringList>
#include <QVector>

// A tree of file-type handlers. A CFileHandlerSingle describes one file type (display
// name, suffixes with their leading dot, an action to run on a file of that type); a
// CFileHandlerGroup gathers handlers under one name and may itself be a member of
// another group. The caller keeps the top level in a QVector<CFileHandler*> and uses
// the static operations below to build file-dialog filters, look handlers up and
// dispatch a file.
//
// Ownership: a single handler owns its action, a group owns its members, and
// CFileHandler::destroy() deletes a top-level list. Copies are shallow on purpose: a
// copy shares the action or the member pointers with its original, so only one of
// them may ever be destroyed.
class UTILITY_EXPORT CFileHandler
{
public:
    using Action = IFunctorP1R<const QString &, bool>;

    // Only 0 is tested: every other value lists the group's entry alone. The
    // underlying type is fixed so that any int is a valid value.
    enum EGroupListingMethod : int { eListGroupAndMembers = 0, eListGroupOnly = 1 };

    CFileHandler(const CFileHandler &other) = default;
    CFileHandler &operator=(const CFileHandler &other) = default;

    // The handler (never a group) whose display name equals name, ignoring case.
    virtual CFileHandler *getHandlerByName(const QString &name) = 0;
    // Runs the action for path and returns its result (false without an action).
    virtual bool exec(const QString &path) const = 0;
    // The handler (never a group) that claims suffix (with its dot), ignoring case.
    virtual CFileHandler *handlesSuffix(const QString &suffix) = 0;
    // Rebuilds, stores and returns this handler's file-dialog entry.
    virtual QString getFilter() = 0;
    virtual QStringList getSuffixes() const = 0;
    // A single handler's suffixes run together (".htm.html"); empty for a group.
    virtual QString getSuffix() = 0;
    virtual ~CFileHandler();

    static CFileHandler *getHandlerForSuffix(const QVector<CFileHandler *> &handlers, const QString &suffix);
    static CFileHandler *getHandlerByName(const QVector<CFileHandler *> &handlers, const QString &name);
    // The suffix is everything after the last dot of the whole path, directories
    // included; a name without any dot gives null and a warning.
    static CFileHandler *getHandlerForFile(const QVector<CFileHandler *> &handlers, const QString &fileName);
    // The handler for the dialog entry the user chose, "Name (*.ext)". An entry with
    // more (or fewer) than one pattern gives null and a warning.
    static CFileHandler *getHandlerForFilter(const QVector<CFileHandler *> &handlers, const QString &filter);
    // The entries of all handlers joined by ";;", as QFileDialog::setNameFilter takes them.
    static QString filtersToString(const QVector<CFileHandler *> &handlers);
    // Runs the handler that getHandlerForFile finds; false when there is none.
    static bool exec(const QVector<CFileHandler *> &handlers, const QString &path);
    // Deletes every handler of the list (groups delete their members) and empties it.
    static void destroy(QVector<CFileHandler *> &handlers);

protected:
    CFileHandler() = default;
};

class UTILITY_EXPORT CFileHandlerSingle : public CFileHandler
{
public:
    // suffixes: the suffixes with their dots, separated by single blanks (".png .PNG");
    // two blanks in a row make an empty suffix. The handler takes over action (may
    // be null for a handler that is never executed). context: translation context
    // of name, or null for none; it must outlive the handler.
    CFileHandlerSingle(QString name, QString suffixes, Action *action, const char *context);
    CFileHandlerSingle(const CFileHandlerSingle &other) = default;
    CFileHandlerSingle &operator=(const CFileHandlerSingle &other) = default;
    ~CFileHandlerSingle() override;

    CFileHandler *getHandlerByName(const QString &name) override;
    bool exec(const QString &path) const override;
    CFileHandler *handlesSuffix(const QString &suffix) override;
    QString getFilter() override;
    QStringList getSuffixes() const override;
    QString getSuffix() override;

private:
    QString m_name;
    QStringList m_suffixes;
    QString m_filter;
    Action *m_action = nullptr;
    const char *m_context = nullptr;
};

class UTILITY_EXPORT CFileHandlerGroup : public CFileHandler
{
public:
    CFileHandlerGroup(const QString &name, CFileHandler::EGroupListingMethod method, const char *context);
    CFileHandlerGroup(const CFileHandlerGroup &other) = default;
    CFileHandlerGroup &operator=(const CFileHandlerGroup &other) = default;
    ~CFileHandlerGroup() override;

    // Appends handler and takes it over; neither null nor duplicates are refused.
    void addHandler(CFileHandler *handler);

    // Only the members are asked: a group is never found by its own name.
    CFileHandler *getHandlerByName(const QString &name) override;
    // Dispatches to the first member that does NOT claim the path's suffix (or to
    // the last member's answer when all claim it). Callers normally go through the
    // static exec(), which resolves the single handler and never gets here.
    bool exec(const QString &path) const override;
    CFileHandler *handlesSuffix(const QString &suffix) override;
    // The group's entry with all members' patterns; with eListGroupAndMembers it is
    // followed by ";;" and the members' own entries, depth first.
    QString getFilter() override;
    QStringList getSuffixes() const override;
    QString getSuffix() override;

private:
    CFileHandlerGroup();

    QVector<CFileHandler *> m_handlers;
    QString m_name;
    QString m_filter;
    QStringList m_suffixes; // never filled; kept beside the single handler's
    CFileHandler::EGroupListingMethod m_listingMethod = eListGroupAndMembers;
    const char *m_context = nullptr;
};

#endif // UTILITY_FILEHANDLER_H
