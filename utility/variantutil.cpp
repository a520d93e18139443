#include <utility/variantutil.h>

#include <utility/osutil.h>

#include "qtcompat_p.h"
#include "trace_p.h"

#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QDomDocument>
#include <QDomElement>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>
#include <QtDebug>

namespace {

// Each level of array or map takes three elements (value, array/map, data/member)
// and a leaf two (value, type). Documents within the nesting limit therefore stay
// well below this depth; anything deeper is refused before a DOM is built, since
// both building and freeing a DOM (and QDomElement::text()) cost time and stack in
// proportion to the depth.
constexpr int kMaxElementDepth = 4 * CVariantUtil::ms_maxNesting + 16;

// The type numbers QVariant has always used; Qt 6 keeps them as QMetaType ids.
enum WrittenType {
    eBool = QMetaType::Bool,
    eInt = QMetaType::Int,
    eDouble = QMetaType::Double,
    eMap = QMetaType::QVariantMap,
    eList = QMetaType::QVariantList,
    eString = QMetaType::QString,
    eByteArray = QMetaType::QByteArray,
    eDateTime = QMetaType::QDateTime,
};
static_assert(eBool == 1 && eInt == 2 && eDouble == 6 && eMap == 8 && eList == 9 && eString == 10 && eByteArray == 12
                  && eDateTime == 16,
              "the fragment types are identified by their historical numbers");

// ------------------------------------------------------------------ writing

class FragmentWriter
{
public:
    explicit FragmentWriter(const CXMLSerializeInfo &info)
        : m_info(info)
    {
    }

    // Appends the unescaped fragment of value; level counts the arrays and maps
    // around it.
    void write(const QVariant &value, int level)
    {
        switch (QtCompat::typeId(value)) {
        case eBool:
            m_out += value.toBool() ? QLatin1String("<value><boolean>true</boolean></value>")
                                    : QLatin1String("<value><boolean>false</boolean></value>");
            break;
        case eInt:
            m_out += QLatin1String("<value><int>");
            m_out += QString::number(value.toInt());
            m_out += QLatin1String("</int></value>");
            break;
        case eDouble:
            m_out += QLatin1String("<value><double>");
            m_out += QString::number(value.toDouble(), 'g', 6);
            m_out += QLatin1String("</double></value>");
            break;
        case eMap: {
            if (!enter(level))
                break;
            m_out += QLatin1String("<value><map>");
            const QVariantMap map = value.toMap();
            // QMap iterates in ascending key order.
            for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
                m_out += QLatin1String("<member><name>");
                m_out += it.key();
                m_out += QLatin1String("</name>");
                write(it.value(), level + 1);
                m_out += QLatin1String("</member>");
            }
            m_out += QLatin1String("</map></value>");
            break;
        }
        case eList: {
            if (!enter(level))
                break;
            m_out += QLatin1String("<value><array><data>");
            const QVariantList list = value.toList();
            for (const QVariant &element : list)
                write(element, level + 1);
            m_out += QLatin1String("</data></array></value>");
            break;
        }
        case eString:
            m_out += QLatin1String("<value><string>");
            m_out += resourceString(value.toString());
            m_out += QLatin1String("</string></value>");
            break;
        case eByteArray:
            m_out += QLatin1String("<value><base64>");
            m_out += QLatin1String(value.toByteArray().toBase64());
            m_out += QLatin1String("</base64></value>");
            break;
        case eDateTime:
            m_out += QLatin1String("<value><datetime.iso8601>");
            m_out += value.toDateTime().toString(Qt::ISODate);
            m_out += QLatin1String("</datetime.iso8601></value>");
            break;
        default:
            qWarning().noquote().nospace() << "Failed to convert unknown variant type: " << typeText(value);
            m_out += QLatin1String("<value/>");
            break;
        }
    }

    QString &text() { return m_out; }

private:
    // An array or map one level deeper than the limit is written as an empty
    // value, like a type the grammar does not know; its siblings are kept.
    bool enter(int level)
    {
        if (level < CVariantUtil::ms_maxNesting)
            return true;
        qWarning().noquote().nospace() << "Failed to convert variant nested deeper than "
                                       << CVariantUtil::ms_maxNesting << " arrays or maps";
        m_out += QLatin1String("<value/>");
        return false;
    }

    // As Qt 5's debug stream writes a QVariant::Type ("QVariant::uint"), on both
    // Qt versions.
    static QString typeText(const QVariant &value)
    {
        const char *name = value.typeName();
        return QLatin1String("QVariant::") + (name ? QLatin1String(name) : QLatin1String("Invalid"));
    }

    // A string naming an existing file or folder stands for a resource of the
    // document: the file is copied into the resource folder and the string is
    // extended (not replaced) by "/resources/" and the copy's path. A failed copy
    // goes unreported; an existing copy is not overwritten.
    QString resourceString(const QString &text) const
    {
        const QFileInfo source(text);
        if (text.isEmpty() || !source.exists())
            return text;
        const QString target = m_info.getResourceFolder() + QLatin1Char('/') + source.fileName();
        QFile::copy(text, target);
        COsUtil::setPermissions(target, COsUtil::eAllPermissions);
        return text + QLatin1String("/resources/") + target;
    }

    const CXMLSerializeInfo &m_info;
    QString m_out;
};

// ------------------------------------------------------------------ reading

// Refuses, before any DOM is built, what a DOM would take too long or too much
// memory to build: a document type declaration (the only place entities can be
// declared, so no entity is ever expanded, however the DOM parser of this Qt
// version treats them) and elements nested deeper than kMaxElementDepth.
// Malformed text is left for the DOM parser to reject.
bool isSafeToParse(const QString &xml)
{
    QXmlStreamReader reader(xml);
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::DTD:
            qWarning("Refusing an XML fragment with a document type declaration");
            return false;
        case QXmlStreamReader::StartElement:
            if (++depth > kMaxElementDepth) {
                qWarning("Refusing an XML fragment nested deeper than %d elements", kMaxElementDepth);
                return false;
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    return !reader.hasError();
}

// The first element below root (in document order) whose tag is lowerTag,
// ignoring case; a null element when there is none.
QDomElement firstDescendant(const QDomNode &root, const QString &lowerTag)
{
    QDomNode node = root.firstChild();
    while (!node.isNull()) {
        if (node.isElement() && node.toElement().tagName().compare(lowerTag, Qt::CaseInsensitive) == 0)
            return node.toElement();
        if (node.hasChildNodes()) {
            node = node.firstChild();
            continue;
        }
        while (!node.isNull() && node != root && node.nextSibling().isNull())
            node = node.parentNode();
        if (node.isNull() || node == root)
            break;
        node = node.nextSibling();
    }
    return QDomElement();
}

class FragmentReader
{
public:
    bool tooDeep() const { return m_tooDeep; }

    // The value of element v (normally a "value" element); level counts the
    // arrays and maps around it.
    QVariant read(const QDomElement &v, int level)
    {
        const QDomNode first = v.firstChild();
        if (!first.isElement())
            return QVariant(v.text()); // "<value>abc</value>", and "<value/>" as ""
        const QDomElement t = first.toElement();
        const QString tag = t.tagName().toLower();
        if (tag == QLatin1String("string"))
            return QVariant(t.text());
        if (tag == QLatin1String("int"))
            return QVariant(t.text().toInt(nullptr, 10));
        if (tag == QLatin1String("double"))
            return QVariant(t.text().toDouble());
        if (tag == QLatin1String("boolean")) {
            const QString text = t.text();
            return QVariant(text.toLower() == QLatin1String("true") || text == QLatin1String("1"));
        }
        if (tag == QLatin1String("base64"))
            return QVariant(QByteArray::fromBase64(t.text().toLatin1()));
        if (tag == QLatin1String("datetime") || tag == QLatin1String("datetime.iso8601"))
            return QVariant(QDateTime::fromString(t.text(), Qt::ISODate));
        if (tag == QLatin1String("array")) {
            if (!enter(level))
                return QVariant();
            QVariantList list;
            // Every child of "data" counts, elements or not.
            for (QDomNode n = t.firstChild().firstChild(); !n.isNull() && !m_tooDeep; n = n.nextSibling())
                list.append(read(n.toElement(), level + 1));
            return m_tooDeep ? QVariant() : QVariant(list);
        }
        if (tag == QLatin1String("map")) {
            if (!enter(level))
                return QVariant();
            QVariantMap map;
            for (QDomNode member = t.firstChild(); !member.isNull() && !m_tooDeep; member = member.nextSibling()) {
                const QString key = firstDescendant(member, QStringLiteral("name")).text();
                map.insert(key, read(firstDescendant(member, QStringLiteral("value")), level + 1));
            }
            return m_tooDeep ? QVariant() : QVariant(map);
        }
        qWarning().noquote().nospace() << "Cannot convert unknown type " << t.tagName();
        return QVariant();
    }

private:
    bool enter(int level)
    {
        if (level < CVariantUtil::ms_maxNesting)
            return true;
        if (!m_tooDeep)
            qWarning("Refusing an XML fragment nested deeper than %d arrays or maps", CVariantUtil::ms_maxNesting);
        m_tooDeep = true;
        return false;
    }

    bool m_tooDeep = false;
};

} // namespace

// --------------------------------------------------------- CXMLSerializeInfo

CXMLSerializeInfo::CXMLSerializeInfo(const QString &documentPath, const QString &baseFolder,
                                     const QString &resourceFolderName)
    : m_documentPath(documentPath)
    , m_baseFolder(baseFolder)
    , m_resourceFolderName(resourceFolderName)
{
}

QString CXMLSerializeInfo::getResourceFolder() const
{
    return m_baseFolder + QDir::separator() + m_resourceFolderName;
}

// -------------------------------------------------------------- CVariantUtil

QString CVariantUtil::variantToXMLFragment(const CXMLSerializeInfo &info, const QVariant &value)
{
    UTILITY_TRACE_ENTER("CVariantUtil::variantToXMLFragment");
    FragmentWriter writer(info);
    writer.write(value, 0);
    const QString fragment = escape(writer.text());
    UTILITY_TRACE_EXIT("CVariantUtil::variantToXMLFragment");
    return fragment;
}

QVariant CVariantUtil::variantFromXMLFragment(const QString &fragment)
{
    UTILITY_TRACE_ENTER("CVariantUtil::variantFromXMLFragment");
    const QString xml = deEscape(fragment);
    QVariant value;
    if (isSafeToParse(xml)) {
        // The stream reader overload gives both Qt versions the same parser; Qt 5's
        // QString overload would still use the old SAX reader.
        QXmlStreamReader reader(xml);
        QDomDocument document;
        if (document.setContent(&reader, false)) {
            FragmentReader converter;
            value = converter.read(document.firstChildElement(), 0);
            if (converter.tooDeep())
                value = QVariant();
        }
    }
    UTILITY_TRACE_EXIT("CVariantUtil::variantFromXMLFragment");
    return value;
}

QString CVariantUtil::escape(const QString &text)
{
    UTILITY_TRACE_ENTER("CVariantUtil::escape");
    // Fragments run to megabytes: copy the plain runs between the three
    // characters in one piece each.
    QString result;
    if (!text.isEmpty()) {
        result.reserve(static_cast<int>(text.size() * 1.1));
        const QChar *begin = text.constData();
        const QChar *end = begin + text.size();
        const QChar *run = begin;
        for (const QChar *p = begin; p != end; ++p) {
            const char16_t c = p->unicode();
            if (c != u'<' && c != u'>' && c != u'&')
                continue;
            result.append(run, static_cast<int>(p - run));
            result += c == u'<' ? QLatin1String("&lt;") : c == u'>' ? QLatin1String("&gt;") : QLatin1String("&amp;");
            run = p + 1;
        }
        result.append(run, static_cast<int>(end - run));
    }
    UTILITY_TRACE_EXIT("CVariantUtil::escape");
    return result;
}

QString CVariantUtil::deEscape(const QString &text)
{
    UTILITY_TRACE_ENTER("CVariantUtil::deEscape");
    // The result is never longer than the text: write it in place of a copy.
    QString result(text);
    QChar *out = result.data();
    QChar *const outBegin = out;
    // mark: where the last "&" sits in the result, or null. A replacement clears
    // it, so the "&" that "&amp;" turns into never starts another entity.
    QChar *mark = nullptr;
    for (const QChar c : text) {
        if (c == QLatin1Char('&')) {
            mark = out;
        } else if (c == QLatin1Char(';') && mark) {
            QChar *const entityStart = mark;
            const QStringView entity(entityStart, out - entityStart);
            QChar replacement;
            if (entity == QLatin1String("&lt"))
                replacement = QLatin1Char('<');
            else if (entity == QLatin1String("&gt"))
                replacement = QLatin1Char('>');
            else if (entity == QLatin1String("&amp"))
                replacement = QLatin1Char('&');
            mark = nullptr;
            if (!replacement.isNull()) {
                out = entityStart;
                *out++ = replacement;
                continue;
            }
        }
        *out++ = c;
    }
    result.truncate(static_cast<int>(out - outBegin));
    UTILITY_TRACE_EXIT("CVariantUtil::deEscape");
    return result;
}
