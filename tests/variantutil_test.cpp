// CVariantUtil: the fragment grammar byte for byte, the escape pair, the value
// rule's lenient reading, resources named by strings, what an independent XML-RPC
// reader makes of our output, and the hostile fragments (deep nesting, entities).
#include <utility/variantutil.h>

#include "testsupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

static void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace {

// Collects what goes to Qt's warning channel while it lives.
class QtWarnings
{
public:
    QtWarnings()
    {
        s_messages.clear();
        m_previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
            if (type == QtWarningMsg)
                s_messages << text;
        });
    }
    ~QtWarnings() { qInstallMessageHandler(m_previous); }
    QStringList messages() const { return s_messages; }

private:
    static QStringList s_messages;
    QtMessageHandler m_previous;
};
QStringList QtWarnings::s_messages;

QString toXml(const QVariant &value)
{
    return CVariantUtil::variantToXMLFragment(CXMLSerializeInfo(), value);
}

QVariant nestedLists(int levels, const QVariant &leaf)
{
    QVariant value = leaf;
    for (int i = 0; i < levels; ++i)
        value = QVariantList{value};
    return value;
}

QString nestedArrayText(int levels)
{
    QString text;
    for (int i = 0; i < levels; ++i)
        text += QStringLiteral("<value><array><data>");
    text += QStringLiteral("<value><int>1</int></value>");
    for (int i = 0; i < levels; ++i)
        text += QStringLiteral("</data></array></value>");
    return text;
}

QDateTime localDateTime(int y, int mo, int d, int h, int mi, int s)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s));
}

} // namespace

TEST(CVariantUtil, EscapesExactlyThreeCharacters)
{
    struct Case
    {
        const char *plain;
        const char *escaped;
    };
    const Case pairs[] = {
        {"", ""}, {"a<b>c&d", "a&lt;b&gt;c&amp;d"}, {"\"quoted\" 'too'", "\"quoted\" 'too'"}, {"&lt;", "&amp;lt;"},
    };
    for (const Case &c : pairs) {
        EXPECT_EQ(CVariantUtil::escape(QString::fromUtf8(c.plain)), QString::fromUtf8(c.escaped)) << c.plain;
        EXPECT_EQ(CVariantUtil::deEscape(QString::fromUtf8(c.escaped)), QString::fromUtf8(c.plain)) << c.escaped;
    }
    EXPECT_TRUE(CVariantUtil::escape(QString()).isEmpty());

    const Case oneWay[] = {
        {"&amp;lt;", "&lt;"},           // a replacement is never decoded again
        {"&b; &quot; &#60;", "&b; &quot; &#60;"}, // other entities stay
        {"a & b;", "a & b;"},           // "& b;" is no entity we know
        {"&&lt;", "&<"},                // a later "&" moves the mark
        {"&lt", "&lt"}, {";&gt;;", ";>;"}, {"&LT;", "&LT;"},
    };
    for (const Case &c : oneWay)
        EXPECT_EQ(CVariantUtil::deEscape(QString::fromUtf8(c.plain)), QString::fromUtf8(c.escaped)) << c.plain;
}

TEST(CVariantUtil, WritesTheGrammarByteForByte)
{
    QVariantMap map;
    map.insert(QStringLiteral("b"), 1);
    map.insert(QStringLiteral("a"), QStringLiteral("x"));
    map.insert(QStringLiteral("B"), true); // upper case sorts first
    struct Case
    {
        QVariant value;
        const char *fragment; // before the escape
    };
    const Case cases[] = {
        {5, "<value><int>5</int></value>"},
        {-2147483647 - 1, "<value><int>-2147483648</int></value>"},
        {true, "<value><boolean>true</boolean></value>"},
        {false, "<value><boolean>false</boolean></value>"},
        {3.14159265, "<value><double>3.14159</double></value>"},
        {1234567.0, "<value><double>1.23457e+06</double></value>"},
        {0.5, "<value><double>0.5</double></value>"},
        {-0.0001, "<value><double>-0.0001</double></value>"},
        {QStringLiteral("plain text"), "<value><string>plain text</string></value>"},
        {QString(), "<value><string></string></value>"},
        {QByteArray("hello"), "<value><base64>aGVsbG8=</base64></value>"},
        {QByteArray(), "<value><base64></base64></value>"},
        {localDateTime(2021, 3, 4, 5, 6, 7), "<value><datetime.iso8601>2021-03-04T05:06:07</datetime.iso8601></value>"},
        {QVariantList(), "<value><array><data></data></array></value>"},
        {QVariantList{1, QStringLiteral("s")},
         "<value><array><data><value><int>1</int></value><value><string>s</string></value></data></array></value>"},
        {map,
         "<value><map><member><name>B</name><value><boolean>true</boolean></value></member>"
         "<member><name>a</name><value><string>x</string></value></member>"
         "<member><name>b</name><value><int>1</int></value></member></map></value>"},
        {QVariantMap(), "<value><map></map></value>"},
        // Types outside the grammar, alone or inside a container.
        {QVariant(7u), "<value/>"},
        {QDate(2021, 3, 4), "<value/>"},
        {QStringList{QStringLiteral("a")}, "<value/>"},
        {QVariant(qlonglong(1)), "<value/>"},
        {QVariant(), "<value/>"},
        {QVariantList{1, 2u, 3}, "<value><array><data><value><int>1</int></value><value/><value><int>3</int></value></data></array></value>"},
    };
    QtWarnings warnings;
    for (const Case &c : cases)
        EXPECT_EQ(toXml(c.value), CVariantUtil::escape(QString::fromUtf8(c.fragment))) << c.fragment;
    EXPECT_EQ(toXml(5), QStringLiteral("&lt;value&gt;&lt;int&gt;5&lt;/int&gt;&lt;/value&gt;"));
    EXPECT_EQ(toXml(true), QStringLiteral("&lt;value&gt;&lt;boolean&gt;true&lt;/boolean&gt;&lt;/value&gt;"));

    EXPECT_THAT(warnings.messages(),
                ::testing::ElementsAre(QStringLiteral("Failed to convert unknown variant type: QVariant::uint"),
                                       QStringLiteral("Failed to convert unknown variant type: QVariant::QDate"),
                                       QStringLiteral("Failed to convert unknown variant type: QVariant::QStringList"),
                                       QStringLiteral("Failed to convert unknown variant type: QVariant::qlonglong"),
                                       QStringLiteral("Failed to convert unknown variant type: QVariant::Invalid"),
                                       QStringLiteral("Failed to convert unknown variant type: QVariant::uint")));
}

TEST(CVariantUtil, RoundTripsEveryType)
{
    QVariantMap inner;
    inner.insert(QStringLiteral("list"), QVariantList{1, 2.5, QStringLiteral("three"), QByteArray("\x00\xff", 2)});
    inner.insert(QStringLiteral("empty"), QVariantMap());
    QVariantMap outer;
    outer.insert(QStringLiteral("inner"), inner);
    outer.insert(QStringLiteral("when"), localDateTime(1999, 12, 31, 23, 59, 58));
    outer.insert(QStringLiteral("flag"), false);
    outer.insert(QStringLiteral("unicode \u00e9\u4e2d"), QStringLiteral("\u00fc\u00df \U0001F600 \"q\" 'a'"));

    struct Case
    {
        QVariant written;
        QVariant expected;
    };
    const Case cases[] = {
        {true, true},
        {false, false},
        {42, 42},
        {-7, -7},
        {3.14159265, 3.14159},
        {1234567.0, 1234570.0},
        {1e-300, 1e-300},
        {QStringLiteral("text with spaces "), QStringLiteral("text with spaces ")},
        {QString(), QString()},
        {QByteArray("\x01\x02\x03 binary", 10), QByteArray("\x01\x02\x03 binary", 10)},
        {localDateTime(2021, 3, 4, 5, 6, 7), localDateTime(2021, 3, 4, 5, 6, 7)},
        {QVariantList(), QVariantList()},
        {QVariantMap(), QVariantMap()},
        {outer, outer},
    };
    for (const Case &c : cases) {
        const QVariant read = CVariantUtil::variantFromXMLFragment(toXml(c.written));
        EXPECT_EQ(read, c.expected) << toXml(c.written).toStdString();
        EXPECT_EQ(read.userType(), c.expected.userType()) << toXml(c.written).toStdString();
    }
}

TEST(CVariantUtil, ReadsLeniently)
{
    struct Case
    {
        const char *xml; // before the escape
        QVariant expected;
        const char *warning; // nullptr: none
    };
    const Case cases[] = {
        {"<value><boolean>1</boolean></value>", true, nullptr},
        {"<value><boolean>TRUE</boolean></value>", true, nullptr},
        {"<value><boolean>yes</boolean></value>", false, nullptr},
        {"<value><boolean>0</boolean></value>", false, nullptr},
        {"<value>abc</value>", QStringLiteral("abc"), nullptr},
        {"<value/>", QString(), nullptr},
        {"<anything><int>4</int></anything>", 4, nullptr},          // the root's name is not checked
        {"<value><INT>12</INT></value>", 12, nullptr},              // tags are compared in lower case
        {"<value><int>twelve</int></value>", 0, nullptr},
        {"<value><double>x</double></value>", 0.0, nullptr},
        {"<value><datetime>2020-02-29T12:00:00</datetime></value>", localDateTime(2020, 2, 29, 12, 0, 0), nullptr},
        {"<value><string>a<b>bold</b>c</string></value>", QStringLiteral("aboldc"), nullptr},
        {"<?xml version=\"1.0\"?>\n<value>\n  <array>\n    <data>\n      <value><int>1</int></value>\n"
         "      <value><int>2</int></value>\n    </data>\n  </array>\n</value>\n",
         QVariantList{1, 2}, nullptr},
        {"<value><map><member><value><int>1</int></value><name>k</name></member>"
         "<member><x><name>k</name></x><y><value><int>2</int></value></y></member></map></value>",
         QVariantMap{{QStringLiteral("k"), 2}}, nullptr}, // descendants count; the last duplicate wins
        {"<value><array><data>stray<value><int>1</int></value></data></array></value>",
         QVariantList{QString(), 1}, nullptr}, // every child of data counts
        {"<value><i4>3</i4></value>", QVariant(), "Cannot convert unknown type i4"},
        {"<value><struct><member><name>a</name><value><int>1</int></value></member></struct></value>", QVariant(),
         "Cannot convert unknown type struct"},
        {"<value><string>a < b</string></value>", QVariant(), nullptr}, // not well-formed
        {"<value><int>1</int>", QVariant(), nullptr},
        {"", QVariant(), nullptr},
        {"<value>&unknown;</value>", QVariant(), nullptr},
    };
    for (const Case &c : cases) {
        QtWarnings warnings;
        const QVariant read = CVariantUtil::variantFromXMLFragment(CVariantUtil::escape(QString::fromUtf8(c.xml)));
        EXPECT_EQ(read.isValid(), c.expected.isValid()) << c.xml;
        EXPECT_EQ(read, c.expected) << c.xml;
        if (c.warning)
            EXPECT_THAT(warnings.messages(), ::testing::ElementsAre(QString::fromUtf8(c.warning))) << c.xml;
        else
            EXPECT_TRUE(warnings.messages().isEmpty()) << c.xml;
    }
    // The fragment need not be escaped: unescaped markup parses the same.
    EXPECT_EQ(CVariantUtil::variantFromXMLFragment(QStringLiteral("<value><int>5</int></value>")), QVariant(5));
    EXPECT_EQ(CVariantUtil::variantFromXMLFragment(QStringLiteral("&lt;value&gt;&lt;boolean&gt;1&lt;/boolean&gt;&lt;/value&gt;")),
              QVariant(true));
    // Keys and strings are not escaped one by one: "<" or "&" in them spoils the fragment.
    EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(toXml(QStringLiteral("a < b"))).isValid());
    EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(toXml(QVariantMap{{QStringLiteral("R&D"), 1}})).isValid());
}

TEST(CVariantUtil, CopiesFilesNamedByStringsIntoTheResourceFolder)
{
    QTemporaryDir base;
    QTemporaryDir elsewhere;
    ASSERT_TRUE(base.isValid() && elsewhere.isValid());
    ASSERT_TRUE(QDir(base.path()).mkdir(QStringLiteral("res")));
    const QString source = elsewhere.filePath(QStringLiteral("picture.png"));
    {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("not really a picture");
        file.setPermissions(QFileDevice::ReadOwner);
    }
    const CXMLSerializeInfo info(QStringLiteral("doc.xml"), base.path(), QStringLiteral("res"));
    EXPECT_EQ(info.getResourceFolder(), base.path() + QDir::separator() + QStringLiteral("res"));
    const QString copy = info.getResourceFolder() + QStringLiteral("/picture.png");
    const QString extended = source + QStringLiteral("/resources/") + copy;
    const QString missing = elsewhere.filePath(QStringLiteral("missing.png"));

    const QVariantList written{source, missing};
    const QString fragment = CVariantUtil::variantToXMLFragment(info, written);
    EXPECT_EQ(CVariantUtil::deEscape(fragment),
              QStringLiteral("<value><array><data><value><string>") + extended
                  + QStringLiteral("</string></value><value><string>") + missing
                  + QStringLiteral("</string></value></data></array></value>"));
    ASSERT_TRUE(QFileInfo::exists(copy));
    QFile copied(copy);
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    EXPECT_EQ(copied.readAll(), QByteArray("not really a picture"));
    EXPECT_TRUE(copied.permissions() & QFileDevice::WriteOwner); // read-only source, writable copy
    EXPECT_EQ(CVariantUtil::variantFromXMLFragment(fragment), QVariant(QVariantList{extended, missing}));

    // Writing again does not overwrite the copy, and still extends the string.
    QFile::remove(source);
    {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("changed");
    }
    EXPECT_EQ(CVariantUtil::deEscape(CVariantUtil::variantToXMLFragment(info, source)),
              QStringLiteral("<value><string>") + extended + QStringLiteral("</string></value>"));
    copied.close();
    ASSERT_TRUE(copied.open(QIODevice::ReadOnly));
    EXPECT_EQ(copied.readAll(), QByteArray("not really a picture"));

    // Without a resource folder the copy fails silently; the string is extended all the same.
    const CXMLSerializeInfo nowhere(QString(), base.filePath(QStringLiteral("absent")), QStringLiteral("res"));
    const QString target = nowhere.getResourceFolder() + QStringLiteral("/picture.png");
    EXPECT_EQ(CVariantUtil::deEscape(CVariantUtil::variantToXMLFragment(nowhere, source)),
              QStringLiteral("<value><string>") + source + QStringLiteral("/resources/") + target
                  + QStringLiteral("</string></value>"));
    EXPECT_FALSE(QFileInfo::exists(target));
}

TEST(CVariantUtil, NestingStopsAt256ArraysOrMaps)
{
    const QVariant deepest = nestedLists(CVariantUtil::ms_maxNesting, 1);
    {
        QtWarnings warnings;
        EXPECT_EQ(CVariantUtil::variantFromXMLFragment(toXml(deepest)), deepest);
        EXPECT_EQ(CVariantUtil::deEscape(toXml(deepest)), nestedArrayText(CVariantUtil::ms_maxNesting));
        QVariant maps = 1;
        for (int i = 0; i < CVariantUtil::ms_maxNesting; ++i)
            maps = QVariantMap{{QStringLiteral("k"), maps}};
        EXPECT_EQ(CVariantUtil::variantFromXMLFragment(toXml(maps)), maps);
        EXPECT_TRUE(warnings.messages().isEmpty());
    }
    {
        // One level more: the writer keeps what it can and empties the innermost array.
        QtWarnings warnings;
        const QString fragment = CVariantUtil::deEscape(toXml(nestedLists(CVariantUtil::ms_maxNesting + 1, 1)));
        QString expected;
        for (int i = 0; i < CVariantUtil::ms_maxNesting; ++i)
            expected += QStringLiteral("<value><array><data>");
        expected += QStringLiteral("<value/>");
        for (int i = 0; i < CVariantUtil::ms_maxNesting; ++i)
            expected += QStringLiteral("</data></array></value>");
        EXPECT_EQ(fragment, expected);
        EXPECT_EQ(warnings.messages().size(), 1);
    }
    {
        // ... and the reader refuses the whole of a fragment nested one level too deep.
        QtWarnings warnings;
        EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(nestedArrayText(CVariantUtil::ms_maxNesting + 1)).isValid());
        EXPECT_EQ(warnings.messages().size(), 1);
    }
    {
        // Far deeper nesting, of our elements or of any others, is refused before
        // a DOM is built.
        QtWarnings warnings;
        EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(nestedArrayText(100000)).isValid());
        const int depth = 200000;
        const QString junk = QStringLiteral("<value><string>") + QStringLiteral("<a>").repeated(depth)
            + QStringLiteral("</a>").repeated(depth) + QStringLiteral("</string></value>");
        EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(junk).isValid());
        EXPECT_EQ(warnings.messages().size(), 2);
    }
}

TEST(CVariantUtil, RefusesEntityDeclarations)
{
    // The classic exponential expansion: ten to the ninth "lol"s from a few hundred bytes.
    QString laughs = QStringLiteral("<?xml version=\"1.0\"?>\n<!DOCTYPE value [\n<!ENTITY lol0 \"lol\">\n");
    for (int i = 1; i <= 9; ++i)
        laughs += QStringLiteral("<!ENTITY lol%1 \"%2\">\n").arg(i).arg(QStringLiteral("&lol%1;").arg(i - 1).repeated(10));
    laughs += QStringLiteral("]>\n<value><string>&lol9;</string></value>");
    // One large entity referenced many times: quadratic rather than exponential.
    const QString quadratic = QStringLiteral("<!DOCTYPE value [<!ENTITY a \"") + QString(50000, QLatin1Char('x'))
        + QStringLiteral("\">]><value><string>") + QStringLiteral("&a;").repeated(50000) + QStringLiteral("</string></value>");
    const QString harmless = QStringLiteral("<!DOCTYPE value [<!ENTITY a \"ok\">]><value><string>&a;</string></value>");
    const QString doctypeOnly = QStringLiteral("<!DOCTYPE value><value><int>1</int></value>");

    for (const QString &xml : {laughs, quadratic, harmless, doctypeOnly}) {
        QtWarnings warnings;
        // As stored in a document (escaped once) and as raw markup.
        EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(CVariantUtil::escape(xml)).isValid()) << xml.left(60).toStdString();
        EXPECT_FALSE(CVariantUtil::variantFromXMLFragment(xml).isValid()) << xml.left(60).toStdString();
        EXPECT_EQ(warnings.messages().size(), 2);
    }
}

TEST(CVariantUtil, AnXmlRpcReaderAgreesOnTheSharedTypes)
{
    const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
    if (python.isEmpty())
        GTEST_SKIP() << "python3 is not installed";

    // int, double, string, base64 and array are read as XML-RPC reads them. Our
    // maps are XML-RPC structs under another tag name: the reader is shown the
    // same members with the tag renamed.
    QVariantMap map;
    map.insert(QStringLiteral("name"), QStringLiteral("whiteboard"));
    map.insert(QStringLiteral("size"), 3);
    map.insert(QStringLiteral("nested"), QVariantList{1, QStringLiteral("two")});
    const QVariantList value{42, -7, 3.14159265, 1234567.0, QStringLiteral("h\u00e9llo \"world\""), QString(),
                             QByteArray("\x00\x01\xfe\xff binary", 11), QVariantList{QVariantList{}, 0}, map};

    QString xml = CVariantUtil::deEscape(toXml(value));
    xml.replace(QStringLiteral("<map>"), QStringLiteral("<struct>")).replace(QStringLiteral("</map>"), QStringLiteral("</struct>"));
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    QFile response(dir.filePath(QStringLiteral("response.xml")));
    ASSERT_TRUE(response.open(QIODevice::WriteOnly));
    response.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<methodResponse><params><param>");
    response.write(xml.toUtf8());
    response.write("</param></params></methodResponse>\n");
    response.close();

    // Prints the value as JSON, with base64 data as {"base64": hex}.
    const QString script = QStringLiteral(
        "import json, sys, xmlrpc.client\n"
        "params, method = xmlrpc.client.loads(open(sys.argv[1], 'rb').read())\n"
        "def plain(v):\n"
        "    if isinstance(v, xmlrpc.client.Binary): return {'base64': v.data.hex()}\n"
        "    if isinstance(v, list): return [plain(x) for x in v]\n"
        "    if isinstance(v, dict): return {k: plain(x) for k, x in v.items()}\n"
        "    return v\n"
        "print(json.dumps([plain(p) for p in params]))\n");
    QProcess process;
    process.start(python, {QStringLiteral("-c"), script, response.fileName()});
    ASSERT_TRUE(process.waitForFinished(60000));
    ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    const QJsonArray params = QJsonDocument::fromJson(process.readAllStandardOutput()).array();
    ASSERT_EQ(params.size(), 1);
    const QJsonArray read = params[0].toArray();
    ASSERT_EQ(read.size(), value.size());

    EXPECT_EQ(read[0], QJsonValue(42));
    EXPECT_EQ(read[1], QJsonValue(-7));
    EXPECT_EQ(read[2], QJsonValue(3.14159));
    EXPECT_EQ(read[3], QJsonValue(1234570.0));
    EXPECT_EQ(read[4], QJsonValue(QStringLiteral("h\u00e9llo \"world\"")));
    EXPECT_EQ(read[5], QJsonValue(QString()));
    EXPECT_EQ(read[6], QJsonValue(QJsonObject{{QStringLiteral("base64"), QStringLiteral("0001feff2062696e617279")}}));
    EXPECT_EQ(read[7], QJsonValue(QJsonArray{QJsonArray{}, 0}));
    EXPECT_EQ(read[8], QJsonValue(QJsonObject{{QStringLiteral("name"), QStringLiteral("whiteboard")},
                                              {QStringLiteral("size"), 3},
                                              {QStringLiteral("nested"), QJsonArray{1, QStringLiteral("two")}}}));
}

TEST(CVariantUtil, TracesEntryAndExit)
{
    testsupport::CapturedLog log("TRACE");
    CVariantUtil::variantFromXMLFragment(QStringLiteral("&lt;value/&gt;"));
    const auto lines = log.traceLines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[0], ::testing::EndsWith("\tEnterCVariantUtil::variantFromXMLFragment"));
    EXPECT_THAT(lines[1], ::testing::EndsWith("\tEnterCVariantUtil::deEscape"));
    EXPECT_THAT(lines[2], ::testing::EndsWith("\tExitCVariantUtil::deEscape"));
    EXPECT_THAT(lines[3], ::testing::EndsWith("\tExitCVariantUtil::variantFromXMLFragment"));
}
