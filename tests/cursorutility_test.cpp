// CCursorUtilities: cursors from "<base name>.png", the hot spot, and every way a
// file can fail to be a cursor (missing, unreadable, not a PNG, absurdly large).
#include "metafilewriter.h"
#include "testsupport.h"

#include <utility/cursorutility.h>

#include <QCursor>
#include <QDir>
#include <QImageReader>
#include <QPixmap>
#include <QTemporaryDir>

#include <memory>

#include <unistd.h>

namespace {

// A diagonal line of opaque black on transparency.
bool saveCursorImage(int width, int height, const QString &path, const char *format = "PNG")
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    for (int i = 0; i < std::min(width, height); ++i)
        image.setPixel(i, i, qRgba(0, 0, 0, 255));
    return image.save(path, format);
}

std::unique_ptr<QCursor> load(const QString &baseName, const QPoint &hotSpot = QPoint(3, 5))
{
    return std::unique_ptr<QCursor>(CCursorUtilities::loadCursor(baseName, hotSpot));
}

} // namespace

TEST(CCursorUtilities, LoadsBaseNameDotPngWithTheHotSpot)
{
    QTemporaryDir dir;
    ASSERT_TRUE(saveCursorImage(32, 24, dir.filePath(QStringLiteral("pen.png"))));
    const auto cursor = load(dir.filePath(QStringLiteral("pen")), QPoint(31, 23));
    ASSERT_TRUE(cursor && cursor->hotSpot() == QPoint(31, 23) && cursor->shape() == Qt::BitmapCursor);
    const QImage pixels = cursor->pixmap().toImage().convertToFormat(QImage::Format_ARGB32);
    EXPECT_TRUE(pixels.size() == QSize(32, 24) && pixels.pixel(4, 4) == qRgba(0, 0, 0, 255) && qAlpha(pixels.pixel(4, 5)) == 0);
    // A relative base name is taken from the working directory.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    const auto relative = load(QStringLiteral("pen"));
    QDir::setCurrent(previous);
    EXPECT_TRUE(relative && relative->hotSpot() == QPoint(3, 5));
}

TEST(CCursorUtilities, IsNullForAnythingButAReadablePngOfCursorSize)
{
    QTemporaryDir dir;
    const auto path = [&](const QString &name) { return dir.filePath(name); };
    ASSERT_TRUE(saveCursorImage(16, 16, path("jpeg.png"), "JPEG") && saveCursorImage(16, 16, path("pen.png"))
                && saveCursorImage(16, 16, path("locked.png")) && QDir(dir.path()).mkdir(QStringLiteral("folder.png"))
                && QFile::setPermissions(path("locked.png"), QFileDevice::WriteOwner));
    ASSERT_TRUE(testsupport::writeFile(path("garbage.png"), QByteArray("\x89PNG\r\n\x1a\nnot really", 18)) && testsupport::writeFile(path("empty.png"), {}));
    QFile whole(path("pen.png")); // a truncated PNG: the header promises more than the file holds
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly) && testsupport::writeFile(path("truncated.png"), whole.readAll().left(40)));
    // A well-formed file whose header claims 100000 x 100000 pixels (40 GB decoded)
    // but whose data is a few bytes: refused from the header alone.
    ASSERT_TRUE(testsupport::writeFile(path("huge.png"), testsupport::pngHeaderOnly(100000, 100000)) && QImageReader(path("huge.png"), "PNG").size() == QSize(100000, 100000));
    // At most 1024 pixels each way.
    ASSERT_TRUE(saveCursorImage(1024, 1, path("1024x1.png")) && saveCursorImage(1, 1024, path("1x1024.png"))
                && saveCursorImage(1025, 1, path("1025x1.png")) && saveCursorImage(1, 1025, path("1x1025.png")));

    const std::pair<QString, const char *> refused[] = {
        {QString(), "null name"}, {QStringLiteral(""), "empty name"}, {path("missing"), "no such file"},
        {path("pen.png"), "the suffix is added, so this looks for pen.png.png"},
        {path("jpeg"), "a JPEG named .png is not taken for what its content says"},
        {path("garbage"), "a PNG signature and nothing else"}, {path("empty"), "an empty file"},
        {path("truncated"), "a truncated file"}, {path("folder"), "a directory"}, {path("huge"), "huge header"},
        {path("1025x1"), "too wide"}, {path("1x1025"), "too high"},
        {::geteuid() == 0 ? QString() : path("locked"), "unreadable (root reads it anyway)"}};
    testsupport::CapturedLog log("INFO");
    for (const auto &[baseName, why] : refused)
        EXPECT_FALSE(load(baseName)) << why;
    EXPECT_TRUE(log.lines().empty()) << "failures are not reported";
    for (const char *name : {"pen", "1024x1", "1x1024"})
        EXPECT_TRUE(load(path(QString::fromLatin1(name)))) << name;
}
