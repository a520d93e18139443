// CVariantUtil: the fragment grammar byte for byte, the escape pair, the value
// rule's lenient reading, resources named by strings, what an independent XML-RPC
// reader makes of our output, and the hostile fragments (deep nesting, entities).
#include <utility/variantutil.h>

#include "filetree.h"
#include "testsupport.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

#include <gmock/gmock.h>

namespace {

// Collects what goes to Qt's warning channel while it lives.
struct QtWarnings
{
    static inline QStringList messages;
    QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &m) {
        if (type == QtWarningMsg)
            messages << m;
    });
    QtWarnings() { messages.clear(); }
    ~QtWarnings() { qInstallMessageHandler(previous); }
};

QString toXml(const QVariant &value, const CXMLSerializeInfo &info = {}) { return CVariantUtil::variantToXMLFragment(info, value); }
QVariant fromXml(const QString &xml) { return CVariantUtil::variantFromXMLFragment(xml); }
// The fragment as markup, its single escape undone.
QString plain(const QVariant &value, const CXMLSerializeInfo &info = {}) { return CVariantUtil::deEscape(toXml(value, info)); }

// levels arrays around <value>inner</value>.
QString nestedArrays(int levels, const QString &inner = QStringLiteral("<int>1</int>"))
{
    return QStringLiteral("<value><array><data>").repeated(levels) + QStringLiteral("<value>") + inner
        + QStringLiteral("</value>") + QStringLiteral("</data></array></value>").repeated(levels);
}

QDateTime local(int y, int mo, int d, int h, int mi, int s) { return QDateTime(QDate(y, mo, d), QTime(h, mi, s)); }

} // namespace

TEST(CVariantUtil, EscapesExactlyThreeCharacters)
{
    const std::pair<const char *, const char *> pairs[] = {
        {"", ""}, {"a<b>c&d", "a&lt;b&gt;c&amp;d"}, {"\"quoted\" 'too'", "\"quoted\" 'too'"}, {"&lt;", "&amp;lt;"}};
    for (const auto &[plainText, escaped] : pairs) {
        EXPECT_EQ(CVariantUtil::escape(QString::fromUtf8(plainText)), QString::fromUtf8(escaped)) << plainText;
        EXPECT_EQ(CVariantUtil::deEscape(QString::fromUtf8(escaped)), QString::fromUtf8(plainText)) << escaped;
    }
    // One pass: a replacement is never decoded again, other entities stay, a later "&" moves the mark.
    const std::pair<const char *, const char *> oneWay[] = {
        {"&amp;lt;", "&lt;"}, {"&b; &quot; &#60;", "&b; &quot; &#60;"}, {"a & b;", "a & b;"},
        {"&&lt;", "&<"},      {"&lt", "&lt"},   {";&gt;;", ";>;"},    {"&LT;", "&LT;"}};
    for (const auto &[in, out] : oneWay)
        EXPECT_EQ(CVariantUtil::deEscape(QString::fromUtf8(in)), QString::fromUtf8(out)) << in;
}

TEST(CVariantUtil, WritesTheGrammarByteForByteAndReadsItBack)
{
    const QVariantMap map{{QStringLiteral("b"), 1}, {QStringLiteral("a"), QStringLiteral("x")}, {QStringLiteral("B"), true}};
    struct Case { QVariant value; const char *fragment; QVariant readBack = QVariant(); }; // readBack: the value itself
    const Case cases[] = {
        {5, "<value><int>5</int></value>"}, {-2147483647 - 1, "<value><int>-2147483648</int></value>"},
        {true, "<value><boolean>true</boolean></value>"}, {false, "<value><boolean>false</boolean></value>"},
        {3.14159265, "<value><double>3.14159</double></value>", 3.14159},
        {1234567.0, "<value><double>1.23457e+06</double></value>", 1234570.0},
        {-0.0001, "<value><double>-0.0001</double></value>"}, {1e-300, "<value><double>1e-300</double></value>"},
        {QStringLiteral("plain text "), "<value><string>plain text </string></value>"},
        {QString(), "<value><string></string></value>"}, {QByteArray(), "<value><base64></base64></value>"},
        {QByteArray("hello"), "<value><base64>aGVsbG8=</base64></value>"},
        {local(2021, 3, 4, 5, 6, 7), "<value><datetime.iso8601>2021-03-04T05:06:07</datetime.iso8601></value>"},
        {QVariantList{1, QStringLiteral("s")},
         "<value><array><data><value><int>1</int></value><value><string>s</string></value></data></array></value>"},
        {map, // upper case sorts first
         "<value><map><member><name>B</name><value><boolean>true</boolean></value></member>"
         "<member><name>a</name><value><string>x</string></value></member>"
         "<member><name>b</name><value><int>1</int></value></member></map></value>"},
        {QVariantMap(), "<value><map></map></value>"}, {QVariantList(), "<value><array><data></data></array></value>"},
        // Types outside the grammar, alone or inside a container, are empty values.
        {QVariant(7u), "<value/>", QString()}, {QDate(2021, 3, 4), "<value/>", QString()},
        {QStringList{QStringLiteral("a")}, "<value/>", QString()}, {QVariant(qlonglong(1)), "<value/>", QString()},
        {QVariant(), "<value/>", QString()},
        {QVariantList{1, 2u, 3}, "<value><array><data><value><int>1</int></value><value/><value><int>3</int></value>"
                                 "</data></array></value>", QVariantList{1, QString(), 3}},
    };
    QtWarnings warnings;
    for (const Case &c : cases) {
        const QString xml = toXml(c.value);
        const QVariant expected = c.readBack.isValid() ? c.readBack : c.value, read = fromXml(xml);
        EXPECT_EQ(xml, CVariantUtil::escape(QString::fromUtf8(c.fragment))) << c.fragment; // escaped once, as a whole
        EXPECT_TRUE(read == expected && read.userType() == expected.userType()) << c.fragment;
    }
    EXPECT_EQ(warnings.messages.join(QLatin1Char(',')).remove(QStringLiteral("Failed to convert unknown variant type: ")),
              QStringLiteral("QVariant::uint,QVariant::QDate,QVariant::QStringList,QVariant::qlonglong,QVariant::Invalid,"
                             "QVariant::uint"));

    QVariantMap outer{{QStringLiteral("when"), local(1999, 12, 31, 23, 59, 58)}, {QStringLiteral("flag"), false}};
    outer.insert(QStringLiteral("inner"), QVariantMap{{QStringLiteral("empty"), QVariantMap()},
                                                      {QStringLiteral("list"), QVariantList{1, 2.5, QByteArray("\x00\xff", 2)}}});
    outer.insert(QStringLiteral("unicode \u00e9\u4e2d"), QStringLiteral("\u00fc\u00df \U0001F600 \"q\" 'a'"));
    EXPECT_EQ(fromXml(toXml(outer)), QVariant(outer));
}

TEST(CVariantUtil, ReadsLeniently)
{
    struct Case { const char *xml; QVariant expected; const char *warning = nullptr; }; // xml before the escape
    const Case cases[] = {
        {"<value><boolean>1</boolean></value>", true},  {"<value><boolean>TRUE</boolean></value>", true},
        {"<value><boolean>yes</boolean></value>", false}, {"<value>abc</value>", QStringLiteral("abc")},
        {"<anything><int>4</int></anything>", 4}, // the root's name is not checked
        {"<value><INT>12</INT></value>", 12},     // tags are compared in lower case
        {"<value><int>twelve</int></value>", 0},  {"<value><double>x</double></value>", 0.0},
        {"<value><string>a<b>bold</b>c</string></value>", QStringLiteral("aboldc")}, {"<value/>", QString()},
        {"<value><datetime>2020-02-29T12:00:00</datetime></value>", local(2020, 2, 29, 12, 0, 0)},
        {"<?xml version=\"1.0\"?>\n<value>\n  <array>\n    <data>\n      <value><int>1</int></value>\n"
         "      <value><int>2</int></value>\n    </data>\n  </array>\n</value>\n", QVariantList{1, 2}},
        // Descendants count; the last duplicate wins; every child of data counts.
        {"<value><map><member><value><int>1</int></value><name>k</name></member>"
         "<member><x><name>k</name></x><y><value><int>2</int></value></y></member></map></value>",
         QVariantMap{{QStringLiteral("k"), 2}}},
        {"<value><array><data>stray<value><int>1</int></value></data></array></value>", QVariantList{QString(), 1}},
        {"<value><i4>3</i4></value>", QVariant(), "Cannot convert unknown type i4"},
        {"<value><struct><member><name>a</name><value><int>1</int></value></member></struct></value>", QVariant(),
         "Cannot convert unknown type struct"},
        {"<value><string>a < b</string></value>", QVariant()}, // not well-formed
        {"<value><int>1</int>", QVariant()}, {"", QVariant()}, {"<value>&unknown;</value>", QVariant()},
    };
    for (const Case &c : cases) {
        QtWarnings warnings;
        const QVariant read = fromXml(CVariantUtil::escape(QString::fromUtf8(c.xml)));
        EXPECT_TRUE(read.isValid() == c.expected.isValid() && read == c.expected) << c.xml;
        EXPECT_EQ(warnings.messages, c.warning ? QStringList{QString::fromUtf8(c.warning)} : QStringList()) << c.xml;
    }
    // The fragment need not be escaped: unescaped markup parses the same.
    EXPECT_EQ(fromXml(QStringLiteral("<value><int>5</int></value>")), QVariant(5));
    // Keys and strings are not escaped one by one: "<" or "&" in them spoils the fragment.
    EXPECT_FALSE(fromXml(toXml(QStringLiteral("a < b"))).isValid());
    EXPECT_FALSE(fromXml(toXml(QVariantMap{{QStringLiteral("R&D"), 1}})).isValid());
}

TEST(CVariantUtil, CopiesFilesNamedByStringsIntoTheResourceFolder)
{
    using filetree::readFile;
    QTemporaryDir base, elsewhere;
    const QString source = elsewhere.filePath(QStringLiteral("picture.png")), missing = elsewhere.filePath(QStringLiteral("missing.png"));
    ASSERT_TRUE(QDir(base.path()).mkdir(QStringLiteral("res")) && filetree::writeFile(source, "not really a picture")
                && QFile::setPermissions(source, QFileDevice::ReadOwner));
    const CXMLSerializeInfo info(QStringLiteral("doc.xml"), base.path(), QStringLiteral("res"));
    const QString copy = base.path() + QDir::separator() + QStringLiteral("res/picture.png"),
                  extended = source + QStringLiteral("/resources/") + copy;

    const QString fragment = toXml(QVariantList{source, missing}, info);
    EXPECT_EQ(CVariantUtil::deEscape(fragment), QStringLiteral("<value><array><data><value><string>%1</string></value>"
                                                               "<value><string>%2</string></value></data></array></value>")
                                                    .arg(extended, missing));
    EXPECT_EQ(readFile(copy), QByteArray("not really a picture"));
    EXPECT_TRUE(QFile::permissions(copy) & QFileDevice::WriteOwner); // read-only source, writable copy
    EXPECT_EQ(fromXml(fragment), QVariant(QVariantList{extended, missing}));

    // Writing again does not overwrite the copy, and still extends the string.
    ASSERT_TRUE(QFile::remove(source) && filetree::writeFile(source, "changed"));
    EXPECT_EQ(plain(source, info), QStringLiteral("<value><string>%1</string></value>").arg(extended));
    EXPECT_EQ(readFile(copy), QByteArray("not really a picture"));

    // Without a resource folder the copy fails silently; the string is extended all the same.
    const CXMLSerializeInfo nowhere(QString(), base.filePath(QStringLiteral("absent")), QStringLiteral("res"));
    const QString target = nowhere.getResourceFolder() + QStringLiteral("/picture.png");
    EXPECT_EQ(plain(source, nowhere),
              QStringLiteral("<value><string>%1/resources/%2</string></value>").arg(source, target));
    EXPECT_FALSE(QFile::exists(target));
}

TEST(CVariantUtil, NestingStopsAt256ArraysOrMaps)
{
    const int max = CVariantUtil::ms_maxNesting;
    QVariant deepest = 1, maps = 1;
    for (int i = 0; i < max; ++i) {
        deepest = QVariantList{deepest};
        maps = QVariantMap{{QStringLiteral("k"), maps}};
    }
    QtWarnings warnings;
    EXPECT_EQ(plain(deepest), nestedArrays(max));
    EXPECT_TRUE(fromXml(toXml(deepest)) == deepest && fromXml(toXml(maps)) == maps);
    EXPECT_TRUE(warnings.messages.isEmpty());
    // One level more: the writer keeps what it can and empties the innermost array ...
    EXPECT_EQ(plain(QVariantList{deepest}), nestedArrays(max - 1, QStringLiteral("<array><data><value/></data></array>")));
    // ... the reader refuses the whole of a fragment nested one level too deep, and far
    // deeper nesting, of our elements or of any others, is refused before a DOM is built.
    EXPECT_FALSE(fromXml(nestedArrays(max + 1)).isValid());
    EXPECT_FALSE(fromXml(nestedArrays(100000)).isValid());
    EXPECT_FALSE(fromXml(QStringLiteral("<value><string>") + QStringLiteral("<a>").repeated(200000)
                         + QStringLiteral("</a>").repeated(200000) + QStringLiteral("</string></value>")).isValid());
    EXPECT_EQ(warnings.messages.size(), 4);
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
    const QString harmless = QStringLiteral("<!DOCTYPE value [<!ENTITY a \"ok\">]><value><string>&a;</string></value>"),
                  doctypeOnly = QStringLiteral("<!DOCTYPE value><value><int>1</int></value>");
    for (const QString &xml : {laughs, quadratic, harmless, doctypeOnly}) {
        QtWarnings warnings;
        // As stored in a document (escaped once) and as raw markup.
        EXPECT_FALSE(fromXml(CVariantUtil::escape(xml)).isValid() || fromXml(xml).isValid()) << xml.left(60).toStdString();
        EXPECT_EQ(warnings.messages.size(), 2);
    }
}

TEST(CVariantUtil, AnXmlRpcReaderAgreesOnTheSharedTypes)
{
    const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
    if (python.isEmpty())
        GTEST_SKIP() << "python3 is not installed";
    // Our maps are XML-RPC structs under another tag name: the reader is shown the
    // same members with the tag renamed.
    const QVariantMap map{{QStringLiteral("name"), QStringLiteral("whiteboard")}, {QStringLiteral("size"), 3},
                          {QStringLiteral("nested"), QVariantList{1, QStringLiteral("two")}}};
    const QVariantList value{42, -7, 3.14159265, 1234567.0, QStringLiteral("h\u00e9llo \"world\""), QString(),
                             QByteArray("\x00\x01\xfe\xff binary", 11), QVariantList{QVariantList{}, 0}, map};
    const QString xml = plain(value).replace(QStringLiteral("map>"), QStringLiteral("struct>"));
    // Prints the value as JSON, with base64 data as {"base64": hex}.
    const QString script = QStringLiteral(
        "import json, sys, xmlrpc.client\n"
        "params, method = xmlrpc.client.loads(sys.stdin.buffer.read())\n"
        "print(json.dumps(params, default=lambda b: {'base64': b.data.hex()}))\n");
    QProcess process;
    process.start(python, {QStringLiteral("-c"), script});
    process.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<methodResponse><params><param>" + xml.toUtf8()
                  + "</param></params></methodResponse>\n");
    process.closeWriteChannel();
    ASSERT_TRUE(process.waitForFinished(60000));
    ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    const QJsonDocument expected = QJsonDocument::fromJson(
        R"([[42, -7, 3.14159, 1234570.0, "h\u00e9llo \"world\"", "", {"base64": "0001feff2062696e617279"}, [[], 0],
            {"name": "whiteboard", "size": 3, "nested": [1, "two"]}]])");
    const QByteArray read = process.readAllStandardOutput();
    EXPECT_EQ(QJsonDocument::fromJson(read), expected) << read.toStdString();
}
