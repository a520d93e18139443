// Text readers: variant XML fragments and file-dialog filters on arbitrary strings.
#include "harness.h"

#include <utility/filehandler.h>
#include <utility/variantutil.h>

#include <QString>

namespace Fuzz {

int variantFragments(const std::uint8_t *data, std::size_t size)
{
    const QString fragment = QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const QVariant value = CVariantUtil::variantFromXMLFragment(fragment);
    (void)value.isValid();
    // Escaping and its inverse must not lose text that holds no entity of its own.
    if (!fragment.contains(QLatin1Char('&')))
        check(CVariantUtil::deEscape(CVariantUtil::escape(fragment)) == fragment, "escape does not invert");
    return 0;
}

int fileFilters(const std::uint8_t *data, std::size_t size)
{
    // A registry of the kind an application builds: a group of images and a few
    // single handlers, one of them with an empty suffix.
    // Owned for the life of the process and destroyed at exit, as an application would.
    struct Registry
    {
        QVector<CFileHandler *> list;
        Registry()
        {
            auto *images = new CFileHandlerGroup(QStringLiteral("Images"), CFileHandler::eListGroupAndMembers, nullptr);
            images->addHandler(new CFileHandlerSingle(QStringLiteral("PNG image"), QStringLiteral(".png .PNG"), nullptr, nullptr));
            images->addHandler(new CFileHandlerSingle(QStringLiteral("JPEG image"), QStringLiteral(".jpg .jpeg"), nullptr, nullptr));
            list << images;
            list << new CFileHandlerSingle(QStringLiteral("Whiteboard"), QStringLiteral(".wbd"), nullptr, nullptr);
            list << new CFileHandlerSingle(QStringLiteral("Anything"), QString(), nullptr, nullptr);
        }
        ~Registry() { CFileHandler::destroy(list); }
    };
    static Registry registry;
    const QVector<CFileHandler *> &handlers = registry.list;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    CFileHandler::getHandlerForFilter(handlers, text);
    CFileHandler::getHandlerForFile(handlers, text);
    return 0;
}

} // namespace Fuzz
