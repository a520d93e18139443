// Writes the seed inputs the project generates itself into fuzz/corpus/: records
// from the ink writer, archives from ZipUtil::compress, cabinets and metafiles from
// the tests' own writers, fragments from variantToXMLFragment, strokes for the
// recogniser. Run from the repository root after a build:
// build/qt6/tests/fuzz_make_seeds (see tests/CMakeLists.txt).
#include "cabwriter.h"
#include "metafilewriter.h"

#include <utility/figurerecogniser.h>
#include <utility/scribble.h>
#include <utility/stroke.h>
#include <utility/variantutil.h>
#include <utility/ziputil.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cmath>
#include <cstring>
#include <sstream>

namespace {

void save(const QString &harness, const QString &name, const QByteArray &bytes)
{
    const QString dir = QStringLiteral("fuzz/corpus/") + harness;
    QDir().mkpath(dir);
    QFile file(dir + QLatin1Char('/') + name);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

QByteArray bytesOf(const std::string &s)
{
    return QByteArray(s.data(), static_cast<int>(s.size()));
}

CStroke square(int size)
{
    CStroke stroke;
    for (int i = 0; i <= 4 * size; i += 7) {
        const int side = i / size, t = i % size;
        const QPoint p = side == 0 ? QPoint(t, 0) : side == 1 ? QPoint(size, t) : side == 2 ? QPoint(size - t, size) : QPoint(0, size - t);
        stroke.addPoint(p);
    }
    return stroke;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    {
        std::ostringstream out;
        square(100).writeTo(out);
        save(QStringLiteral("ink"), QStringLiteral("stroke-square"), QByteArray(1, '\0') + bytesOf(out.str()));
        CScribble scribble;
        scribble.addStroke(square(50));
        scribble.addStroke(square(20));
        std::ostringstream two;
        scribble.writeTo(two);
        save(QStringLiteral("ink"), QStringLiteral("scribble-two-strokes"), QByteArray(1, '\1') + bytesOf(two.str()));
        save(QStringLiteral("ink"), QStringLiteral("scribble-truncated"), QByteArray(1, '\1') + bytesOf(two.str()).left(40));
    }
    {
        QTemporaryDir dir;
        QDir(dir.path()).mkpath(QStringLiteral("src/sub"));
        QFile a(dir.filePath(QStringLiteral("src/a.txt")));
        a.open(QIODevice::WriteOnly);
        a.write(QByteArray(3000, 'a'));
        a.close();
        QFile b(dir.filePath(QStringLiteral("src/sub/b.bin")));
        b.open(QIODevice::WriteOnly);
        for (int i = 0; i < 256; ++i)
            b.write(QByteArray(1, static_cast<char>(i)));
        b.close();
        const QString zip = dir.filePath(QStringLiteral("seed.zip"));
        if (ZipUtil::compress(zip, dir.filePath(QStringLiteral("src")), true)) {
            QFile f(zip);
            f.open(QIODevice::ReadOnly);
            save(QStringLiteral("zip"), QStringLiteral("two-files"), f.readAll());
        }
        QDir().mkpath(dir.filePath(QStringLiteral("empty")));
        const QString empty = dir.filePath(QStringLiteral("empty.zip"));
        if (ZipUtil::compress(empty, dir.filePath(QStringLiteral("empty")), true)) {
            QFile f(empty);
            f.open(QIODevice::ReadOnly);
            save(QStringLiteral("zip"), QStringLiteral("empty"), f.readAll());
        }
    }
    {
        using cabwriter::makeCabinet;
        // The harness expands nested cabinets when the input's length is odd.
        const QByteArray inner = makeCabinet({{"inner.txt", "inside"}});
        const QByteArray two = makeCabinet({{"a.txt", QByteArray(3000, 'a')}, {"b.txt", "bee", 0x21}});
        save(QStringLiteral("cab"), QStringLiteral("two-files"), two.size() % 2 ? two + '\0' : two);
        // Entries need their folders to exist: this one stops at its second entry.
        save(QStringLiteral("cab"), QStringLiteral("missing-folder"), makeCabinet({{"a.txt", "a"}, {"sub\\c.txt", "c"}}));
        const QByteArray nested = makeCabinet({{"inner.cab", inner}, {"top.txt", "top"}});
        save(QStringLiteral("cab"), QStringLiteral("nested"), nested.size() % 2 ? nested : nested + '\0');
        save(QStringLiteral("cab"), QStringLiteral("damaged-block"), makeCabinet({{"x.txt", "xyz"}}, 0));
    }
    {
        using namespace testsupport;
        EmfWriter emf(0, 0, 2000, 1500);
        emf.emfPlusHeader();
        emf.solidRectangle(10, 10, 60, 40, colorRef(200, 30, 30));
        save(QStringLiteral("emf"), QStringLiteral("rectangle.emf"), emf.bytes());
        const WmfWriter wmf = rectangleWmf(100, 80, QRect(10, 10, 50, 30), colorRef(30, 30, 200));
        save(QStringLiteral("emf"), QStringLiteral("rectangle.wmf"), wmf.plain());
        save(QStringLiteral("emf"), QStringLiteral("placeable.wmf"), rectangleWmf(100, 80, QRect(5, 5, 20, 20), 0, false).placeable(0, 0, 100, 80, 1440));
        WmfWriter text = rectangleWmf(200, 100, QRect(0, 0, 200, 100), colorRef(255, 255, 255));
        text.font(-20, "Arial");
        text.select(2);
        text.textOut(10, 50, "Board");
        save(QStringLiteral("emf"), QStringLiteral("text.wmf"), text.plain());
    }
    {
        CXMLSerializeInfo info;
        const QVariantMap map{{QStringLiteral("name"), QStringLiteral("board")},
                              {QStringLiteral("count"), 3},
                              {QStringLiteral("scale"), 1.25},
                              {QStringLiteral("shown"), true},
                              {QStringLiteral("data"), QByteArray("\x01\x02\x03", 3)},
                              {QStringLiteral("when"), QDateTime(QDate(2026, 11, 22), QTime(10, 0))},
                              {QStringLiteral("list"), QVariantList{1, QStringLiteral("two"), 3.5}}};
        save(QStringLiteral("variant"), QStringLiteral("map"), CVariantUtil::variantToXMLFragment(info, map).toUtf8());
        save(QStringLiteral("variant"), QStringLiteral("int"), CVariantUtil::variantToXMLFragment(info, 42).toUtf8());
        save(QStringLiteral("variant"), QStringLiteral("dtd"), QByteArray("<!DOCTYPE v [<!ENTITY a \"aaaa\">]><value>&a;</value>"));
    }
    save(QStringLiteral("filter"), QStringLiteral("png"), QByteArray("PNG image (*.png *.PNG)"));
    save(QStringLiteral("filter"), QStringLiteral("file"), QByteArray("/home/user/board.WBD"));
    save(QStringLiteral("filter"), QStringLiteral("two"), QByteArray("Images (*.png);;Whiteboard (*.wbd)"));
    {
        // Recogniser seeds in the harness's byte layout: a triangle, a cross, a line.
        QByteArray triangle("\x03\x01", 2);
        for (int i = 0; i <= 30; ++i) {
            const double a = 2 * 3.14159265 * i / 30;
            const int corner = (i * 3) / 30;
            Q_UNUSED(a);
            const QPoint c[] = {{60, 10}, {110, 100}, {10, 100}};
            const QPoint p = c[corner % 3] + (c[(corner + 1) % 3] - c[corner % 3]) * ((i * 3) % 30) / 30;
            triangle.append(static_cast<char>(p.x())).append(static_cast<char>(p.y()));
        }
        save(QStringLiteral("recogniser"), QStringLiteral("triangle"), triangle);
        QByteArray cross("\x03\x00", 2);
        for (int i = 0; i < 20; ++i)
            cross.append(static_cast<char>(10 + i * 5)).append(static_cast<char>(10 + i * 5));
        cross.append('\xFF');
        for (int i = 0; i < 20; ++i)
            cross.append(static_cast<char>(110 - i * 5)).append(static_cast<char>(10 + i * 5));
        save(QStringLiteral("recogniser"), QStringLiteral("cross"), cross);
        QByteArray wide("\x03\x02", 2);
        const double values[] = {0, 0, 1e308, -1e308, NAN, 5, INFINITY, 3};
        for (double v : values)
            wide.append(reinterpret_cast<const char *>(&v), 8);
        save(QStringLiteral("recogniser"), QStringLiteral("extremes"), wide);
    }
    return 0;
}
