#ifndef UTILITY_VARIANTUTIL_H
#define UTILITY_VARIANTUTIL_H

#include <utility/utility_export.h>

#include <QString>
#include <QVariant>

// The context of one serialisation, owned by the caller. The variant fragments
// read its base folder and resource sub-folder: files named by string values are
// copied into base folder + QDir::separator() + sub-folder.
class UTILITY_EXPORT CXMLSerializeInfo
{
public:
    CXMLSerializeInfo() = default;
    CXMLSerializeInfo(const QString &documentPath, const QString &baseFolder, const QString &resourceFolderName);

    // The document being written; kept for the caller, not read by this library.
    QString getDocumentPath() const { return m_documentPath; }
    void setDocumentPath(const QString &path) { m_documentPath = path; }
    QString getBaseFolder() const { return m_baseFolder; }
    void setBaseFolder(const QString &folder) { m_baseFolder = folder; }
    QString getResourceFolderName() const { return m_resourceFolderName; }
    void setResourceFolderName(const QString &name) { m_resourceFolderName = name; }

    // base folder + the platform's directory separator + resource sub-folder.
    QString getResourceFolder() const;

private:
    QString m_documentPath;
    QString m_baseFolder;
    QString m_resourceFolderName;
};

// QVariant values to and from small XML value fragments (the XML-RPC value
// vocabulary), stored by other modules as the character content of an element of
// their own documents: the whole fragment is entity-escaped once.
//
// Written types: bool, int, double (6 significant digits), QString, QByteArray
// (base64), QDateTime (ISO 8601), and QVariantList / QVariantMap of them, nested up
// to 256 levels. Anything else is written as "<value/>" with a Qt warning. Keys and
// strings are not escaped one by one, so a string holding "<" or "&" gives a
// fragment that reads back as an invalid QVariant. A string naming an existing file
// is treated as a resource: the file is copied into the resource folder and the
// string is written extended by "/resources/" and the copy's path.
//
// Reading returns an invalid QVariant for text that is not well-formed XML, for a
// document type declaration (entities are never expanded), for nesting deeper than
// 256 arrays or maps, and for an unknown type tag. docs/variantutil.md lists where
// the format departs from XML-RPC.
class UTILITY_EXPORT CVariantUtil
{
public:
    CVariantUtil() = delete;

    static QString variantToXMLFragment(const CXMLSerializeInfo &info, const QVariant &value);
    static QVariant variantFromXMLFragment(const QString &fragment);

    // "<" -> "&lt;", ">" -> "&gt;", "&" -> "&amp;"; quotes are left alone.
    static QString escape(const QString &text);
    // The inverse for exactly those three entities, in one pass: "&amp;lt;" gives
    // "&lt;", and any other entity stays as it is.
    static QString deEscape(const QString &text);

    // Arrays and maps nested deeper than this are neither written nor read.
    static constexpr int ms_maxNesting = 256;
};

#endif // UTILITY_VARIANTUTIL_H
