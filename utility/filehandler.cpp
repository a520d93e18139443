#include <utility/filehandler.h>

#include "trace_p.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <utility>

namespace {

const QString kFilterSeparator = QStringLiteral(";;");

// "Title (*.a *.b)": the title translated when a context is given, then one
// pattern per suffix. An empty suffix becomes a bare "*". The trim removes the
// blank after the last pattern (and any blanks before the title).
QString buildFilterEntry(const QString &name, const char *context, const QStringList &suffixes)
{
    // Translation sources are UTF-8 text in Qt 5 and 6.
    QString entry = context ? QCoreApplication::translate(context, name.toUtf8().constData()) : name;
    entry += QStringLiteral(" (");
    for (const QString &suffix : suffixes)
        entry += QStringLiteral("*%1 ").arg(suffix);
    entry = entry.trimmed();
    entry += QLatin1Char(')');
    return entry;
}

} // namespace

// ---------------------------------------------------------------- CFileHandler
//
// addHandler() refuses nothing and callers fill their own top-level vectors, so a
// list may hold null pointers: every walk over a list steps over them.

CFileHandler::~CFileHandler() = default;

CFileHandler *CFileHandler::getHandlerForSuffix(const QVector<CFileHandler *> &handlers, const QString &suffix)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandler::getHandlerForSuffix", suffix);
    CFileHandler *found = nullptr;
    for (CFileHandler *handler : handlers) {
        if (!handler)
            continue;
        found = handler->handlesSuffix(suffix);
        if (found)
            break;
    }
    UTILITY_TRACE_EXIT("CFileHandler::getHandlerForSuffix");
    return found;
}

CFileHandler *CFileHandler::getHandlerByName(const QVector<CFileHandler *> &handlers, const QString &name)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandler::getHandlerByName", name);
    CFileHandler *found = nullptr;
    for (CFileHandler *handler : handlers) {
        if (!handler)
            continue;
        found = handler->getHandlerByName(name);
        if (found)
            break;
    }
    UTILITY_TRACE_EXIT("CFileHandler::getHandlerByName");
    return found;
}

CFileHandler *CFileHandler::getHandlerForFile(const QVector<CFileHandler *> &handlers, const QString &fileName)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandler::getHandlerForFile", fileName);
    // The whole path is split, so "C:/a.b/readme" yields ".b/readme", which no
    // handler claims; "file." yields the suffix ".".
    const QStringList parts = fileName.split(QLatin1Char('.'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.size() < 2) {
        UTILITY_WARN("Cannot identify file extension from: ", fileName);
        UTILITY_TRACE_EXIT("CFileHandler::getHandlerForFile");
        return nullptr;
    }
    CFileHandler *found = getHandlerForSuffix(handlers, QLatin1Char('.') + parts.last());
    UTILITY_TRACE_EXIT("CFileHandler::getHandlerForFile");
    return found;
}

CFileHandler *CFileHandler::getHandlerForFilter(const QVector<CFileHandler *> &handlers, const QString &filter)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandler::getHandlerForFilter", filter);
    // The patterns sit between the last "(" and the last ")"; without a "(" the
    // text starts at the beginning, and without a ")" it runs to the end.
    const int open = filter.lastIndexOf(QLatin1Char('('), -1, Qt::CaseSensitive);
    const int close = filter.lastIndexOf(QLatin1Char(')'), -1, Qt::CaseSensitive);
    QString patterns = filter.mid(open + 1, close - (open + 1));
    static const QRegularExpression asterisks(QStringLiteral("[*]"));
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    patterns.remove(asterisks);
    const QStringList parts = patterns.split(blanks, Qt::KeepEmptyParts);
    if (parts.size() != 1) {
        UTILITY_WARN("More than one filter present. There are actually: ", static_cast<int>(parts.size()));
        UTILITY_TRACE_EXIT("CFileHandler::getHandlerForFilter");
        return nullptr;
    }
    CFileHandler *found = getHandlerForSuffix(handlers, parts.first());
    UTILITY_TRACE_EXIT("CFileHandler::getHandlerForFilter");
    return found;
}

QString CFileHandler::filtersToString(const QVector<CFileHandler *> &handlers)
{
    UTILITY_TRACE_ENTER("CFileHandler::filtersToString");
    QString filters;
    for (CFileHandler *handler : handlers) {
        if (!handler)
            continue;
        filters += handler->getFilter();
        filters += kFilterSeparator;
    }
    if (filters.endsWith(kFilterSeparator, Qt::CaseSensitive))
        filters.chop(kFilterSeparator.size());
    UTILITY_TRACE_RESULT("CFileHandler::filtersToString", filters);
    return filters;
}

bool CFileHandler::exec(const QVector<CFileHandler *> &handlers, const QString &path)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandler::exec", path);
    CFileHandler *handler = getHandlerForFile(handlers, path);
    const bool result = handler ? handler->exec(path) : false;
    UTILITY_TRACE_RESULT("CFileHandler::exec", result);
    return result;
}

void CFileHandler::destroy(QVector<CFileHandler *> &handlers)
{
    UTILITY_TRACE_ENTER("CFileHandler::destroy");
    for (CFileHandler *handler : std::as_const(handlers))
        delete handler;
    handlers.clear();
    UTILITY_TRACE_EXIT("CFileHandler::destroy");
}

// ---------------------------------------------------------- CFileHandlerSingle

CFileHandlerSingle::CFileHandlerSingle(QString name, QString suffixes, Action *action, const char *context)
    : m_name(std::move(name))
    , m_suffixes(suffixes.split(QLatin1Char(' '), Qt::KeepEmptyParts, Qt::CaseSensitive))
    , m_action(action)
    , m_context(context)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerSingle::CFileHandlerSingle", m_name);
    UTILITY_TRACE_EXIT("CFileHandlerSingle::CFileHandlerSingle");
}

CFileHandlerSingle::~CFileHandlerSingle()
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerSingle::~CFileHandlerSingle", m_name);
    delete m_action;
    UTILITY_TRACE_EXIT("CFileHandlerSingle::~CFileHandlerSingle");
}

CFileHandler *CFileHandlerSingle::getHandlerByName(const QString &name)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerSingle::getHandlerByName", name);
    CFileHandler *found = m_name.compare(name, Qt::CaseInsensitive) == 0 ? this : nullptr;
    UTILITY_TRACE_EXIT("CFileHandlerSingle::getHandlerByName");
    return found;
}

bool CFileHandlerSingle::exec(const QString &path) const
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerSingle::exec", path);
    // A handler that is ever executed must have been given an action; one without
    // reports false rather than crash.
    const bool result = m_action ? (*m_action)(path) : false;
    UTILITY_TRACE_RESULT("CFileHandlerSingle::exec", result);
    return result;
}

CFileHandler *CFileHandlerSingle::handlesSuffix(const QString &suffix)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerSingle::handlesSuffix", suffix);
    CFileHandler *found = nullptr;
    for (const QString &own : std::as_const(m_suffixes)) {
        if (own.compare(suffix, Qt::CaseInsensitive) == 0) {
            found = this;
            break;
        }
    }
    UTILITY_TRACE_EXIT("CFileHandlerSingle::handlesSuffix");
    return found;
}

QString CFileHandlerSingle::getFilter()
{
    UTILITY_TRACE_ENTER("CFileHandlerSingle::getFilter");
    m_filter = buildFilterEntry(m_name, m_context, m_suffixes);
    const QString result = m_filter;
    UTILITY_TRACE_RESULT("CFileHandlerSingle::getFilter", result);
    return result;
}

QStringList CFileHandlerSingle::getSuffixes() const
{
    UTILITY_TRACE_ENTER("CFileHandlerSingle::getSuffixes");
    const QStringList result = m_suffixes;
    UTILITY_TRACE_EXIT("CFileHandlerSingle::getSuffixes");
    return result;
}

QString CFileHandlerSingle::getSuffix()
{
    UTILITY_TRACE_ENTER("CFileHandlerSingle::getSuffix");
    // Run together without a separator: ".htm .html" gives ".htm.html".
    const QString result = m_suffixes.join(QString());
    UTILITY_TRACE_RESULT("CFileHandlerSingle::getSuffix", result);
    return result;
}

// ----------------------------------------------------------- CFileHandlerGroup

CFileHandlerGroup::CFileHandlerGroup() = default;

CFileHandlerGroup::CFileHandlerGroup(const QString &name, CFileHandler::EGroupListingMethod method, const char *context)
    : m_name(name)
    , m_listingMethod(method)
    , m_context(context)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerGroup::CFileHandlerGroup", name);
    UTILITY_TRACE_EXIT("CFileHandlerGroup::CFileHandlerGroup");
}

CFileHandlerGroup::~CFileHandlerGroup()
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerGroup::~CFileHandlerGroup", m_name);
    for (CFileHandler *handler : std::as_const(m_handlers))
        delete handler;
    m_handlers.clear();
    UTILITY_TRACE_EXIT("CFileHandlerGroup::~CFileHandlerGroup");
}

void CFileHandlerGroup::addHandler(CFileHandler *handler)
{
    UTILITY_TRACE_ENTER("CFileHandlerGroup::addHandler");
    m_handlers.append(handler);
    UTILITY_TRACE_EXIT("CFileHandlerGroup::addHandler");
}

CFileHandler *CFileHandlerGroup::getHandlerByName(const QString &name)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerGroup::getHandlerByName", name);
    CFileHandler *found = nullptr;
    for (CFileHandler *handler : std::as_const(m_handlers)) {
        if (!handler)
            continue;
        found = handler->getHandlerByName(name);
        if (found)
            break;
    }
    UTILITY_TRACE_EXIT("CFileHandlerGroup::getHandlerByName");
    return found;
}

bool CFileHandlerGroup::exec(const QString &path) const
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerGroup::exec", path);
    const QStringList parts = path.split(QLatin1Char('.'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.size() < 2) {
        const bool result = false;
        UTILITY_TRACE_RESULT("CFileHandlerGroup::exec", result);
        return result;
    }
    const QString suffix = QStringLiteral(".%1").arg(parts.last());
    // The target is the first member that does not claim the suffix; when every
    // member claims it, the last member's answer. This is the reverse of
    // handlesSuffix and is relied upon as it stands.
    CFileHandler *target = nullptr;
    for (CFileHandler *handler : m_handlers) {
        if (!handler)
            continue;
        CFileHandler *answer = handler->handlesSuffix(suffix);
        if (!answer) {
            target = handler;
            break;
        }
        target = answer;
    }
    const bool result = target ? target->exec(path) : false;
    UTILITY_TRACE_RESULT("CFileHandlerGroup::exec", result);
    return result;
}

CFileHandler *CFileHandlerGroup::handlesSuffix(const QString &suffix)
{
    UTILITY_TRACE_ENTER_ARG("CFileHandlerGroup::handlesSuffix", suffix);
    CFileHandler *found = nullptr;
    for (CFileHandler *handler : std::as_const(m_handlers)) {
        if (!handler)
            continue;
        found = handler->handlesSuffix(suffix);
        if (found)
            break;
    }
    UTILITY_TRACE_EXIT("CFileHandlerGroup::handlesSuffix");
    return found;
}

QString CFileHandlerGroup::getFilter()
{
    UTILITY_TRACE_ENTER("CFileHandlerGroup::getFilter");
    m_filter = buildFilterEntry(m_name, m_context, getSuffixes());
    if (m_listingMethod == eListGroupAndMembers)
        m_filter += kFilterSeparator + filtersToString(m_handlers);
    const QString result = m_filter;
    UTILITY_TRACE_RESULT("CFileHandlerGroup::getFilter", result);
    return result;
}

QStringList CFileHandlerGroup::getSuffixes() const
{
    UTILITY_TRACE_ENTER("CFileHandlerGroup::getSuffixes");
    QStringList result;
    for (CFileHandler *handler : m_handlers)
        if (handler)
            result += handler->getSuffixes();
    UTILITY_TRACE_EXIT("CFileHandlerGroup::getSuffixes");
    return result;
}

QString CFileHandlerGroup::getSuffix()
{
    UTILITY_TRACE_ENTER("CFileHandlerGroup::getSuffix");
    const QString result;
    UTILITY_TRACE_RESULT("CFileHandlerGroup::getSuffix", result);
    return result;
}
