// wbutil end to end: every subcommand on real data where ../shared has it, on
// generated data otherwise, and one failure case each. Exit codes and output are
// checked, as a shell script using the tool would.
#ifdef WBUTIL_PATH

#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <zlib.h>

namespace {

struct ToolRun
{
    int exitCode = -1;
    QString out;
    QString err;
};

ToolRun wbutil(const QStringList &arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(WBUTIL_PATH), arguments);
    process.waitForFinished(120000);
    ToolRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

} // namespace

TEST(Wbutil, EveryCommandHasHelpAndRejectsBadUsage)
{
    for (const char *command : {"demo", "recognise", "zip", "unzip", "list", "cab", "render", "crc"}) {
        const ToolRun help = wbutil({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(help.exitCode, 0) << command;
        EXPECT_TRUE(help.out.contains(QStringLiteral("Usage: wbutil ") + QLatin1String(command))) << help.out.toStdString();
        const ToolRun bad = wbutil({QString::fromLatin1(command), QStringLiteral("--no-such-option")});
        EXPECT_EQ(bad.exitCode, 2) << command;
        EXPECT_EQ(bad.err.count(QLatin1Char('\n')), 1) << "one-line message: " << bad.err.toStdString();
    }
    EXPECT_EQ(wbutil({QStringLiteral("frobnicate")}).exitCode, 2);
    EXPECT_EQ(wbutil({}).exitCode, 2);
}

TEST(Wbutil, DemoRecognisesTheBuiltInSetAndWritesASheet)
{
    QTemporaryDir dir;
    const QString png = dir.filePath(QStringLiteral("sheet.png"));
    const ToolRun run = wbutil({QStringLiteral("demo"), QStringLiteral("--out"), png});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("triangle")));
    EXPECT_TRUE(run.out.contains(QStringLiteral("contact sheet: ")));
    const QImage image(png);
    EXPECT_FALSE(image.isNull());

    const ToolRun json = wbutil({QStringLiteral("demo"), QStringLiteral("--json"), QStringLiteral("--out"), png});
    ASSERT_EQ(json.exitCode, 0);
    const QJsonArray rows = QJsonDocument::fromJson(json.out.toUtf8()).array();
    EXPECT_GE(rows.size(), 10);
}

TEST(Wbutil, RecogniseReadsJsonLinesAndFailsOnMissingFiles)
{
    QTemporaryDir dir;
    const QString ink = dir.filePath(QStringLiteral("line.jsonl"));
    writeFile(ink, "{\"id\": \"a\", \"label\": \"line\", \"strokes\": [[[0, 0], [50, 2], [100, 4], [150, 6], [200, 8]]]}\n");
    const ToolRun run = wbutil({QStringLiteral("recognise"), QStringLiteral("--json"), ink});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject result = QJsonDocument::fromJson(run.out.toUtf8()).object();
    EXPECT_EQ(result.value(QStringLiteral("category")).toInt(), 205) << run.out.toStdString();

    const ToolRun missing = wbutil({QStringLiteral("recognise"), dir.filePath(QStringLiteral("nothing.jsonl"))});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.startsWith(QStringLiteral("wbutil recognise: ")));
}

TEST(Wbutil, RecogniseOnRealInk)
{
    REQUIRE_SHARED();
    QTemporaryDir dir;
    const QString png = dir.filePath(QStringLiteral("mmg.png"));
    const ToolRun run = wbutil({QStringLiteral("recognise"), QStringLiteral("--extent"), QStringLiteral("200"), QStringLiteral("--png"), png,
                            testsupport::sharedPath(QStringLiteral("ink/mmg.jsonl"))});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.count(QLatin1Char('\n')), 2200);
    EXPECT_TRUE(QFileInfo(png).size() > 0);
}

TEST(Wbutil, ZipUnzipListRoundTripAndCorruptArchive)
{
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("src/a.txt")), "alpha");
    writeFile(dir.filePath(QStringLiteral("src/sub/b.txt")), "beta");
    const QString zip = dir.filePath(QStringLiteral("out.zip"));
    ASSERT_EQ(wbutil({QStringLiteral("zip"), dir.filePath(QStringLiteral("src")), zip}).exitCode, 0);
    const ToolRun list = wbutil({QStringLiteral("list"), QStringLiteral("--json"), zip});
    ASSERT_EQ(list.exitCode, 0);
    EXPECT_EQ(QJsonDocument::fromJson(list.out.toUtf8()).array().size(), 2);
    ASSERT_EQ(wbutil({QStringLiteral("unzip"), zip, dir.filePath(QStringLiteral("dest"))}).exitCode, 0);
    QFile b(dir.filePath(QStringLiteral("dest/sub/b.txt")));
    ASSERT_TRUE(b.open(QIODevice::ReadOnly));
    EXPECT_EQ(b.readAll(), QByteArray("beta"));

    const QString corrupt = dir.filePath(QStringLiteral("corrupt.zip"));
    writeFile(corrupt, QByteArray("PK\x03\x04 this is not really a zip archive"));
    const ToolRun bad = wbutil({QStringLiteral("unzip"), corrupt, dir.filePath(QStringLiteral("dest2"))});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_EQ(bad.err.count(QLatin1Char('\n')), 1);
    EXPECT_EQ(wbutil({QStringLiteral("list"), dir.filePath(QStringLiteral("missing.zip"))}).exitCode, 1);
}

TEST(Wbutil, CabExtractsRealCabinetsAndRefusesOthers)
{
    REQUIRE_SHARED();
    QTemporaryDir dir;
    const ToolRun run = wbutil({QStringLiteral("cab"), testsupport::sharedPath(QStringLiteral("testdata/cab/libmspack/simple.cab")), dir.path()});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.count(QLatin1Char('\n')), 2);
    const ToolRun bad = wbutil({QStringLiteral("cab"), testsupport::sharedPath(QStringLiteral("testdata/cab/libmspack/bad_signature.cab")), dir.path()});
    EXPECT_EQ(bad.exitCode, 1);
}

TEST(Wbutil, RenderLoadsSvgAndMetafiles)
{
    QTemporaryDir dir;
    const QString svg = dir.filePath(QStringLiteral("box.svg"));
    writeFile(svg, "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='30'><rect width='40' height='30' fill='red'/></svg>");
    const QString png = dir.filePath(QStringLiteral("box.png"));
    const ToolRun run = wbutil({QStringLiteral("render"), QStringLiteral("--json"), svg, png});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_FALSE(QImage(png).isNull());
    EXPECT_EQ(wbutil({QStringLiteral("render"), dir.filePath(QStringLiteral("none.svg")), png}).exitCode, 1);

    if (!testsupport::sharedDir().isEmpty()) {
        const QString emfPng = dir.filePath(QStringLiteral("emf.png"));
        const ToolRun emf = wbutil({QStringLiteral("render"), QStringLiteral("--scale"), QStringLiteral("0.5"),
                                testsupport::sharedPath(QStringLiteral("testdata/emf/libemf2svg/test-007.emf")), emfPng});
        EXPECT_EQ(emf.exitCode, 0) << emf.err.toStdString();
        EXPECT_FALSE(QImage(emfPng).isNull());
    }
}

TEST(Wbutil, CrcPrintsZlibsValue)
{
    QTemporaryDir dir;
    const QByteArray bytes("The quick brown fox jumps over the lazy dog");
    const QString file = dir.filePath(QStringLiteral("fox.txt"));
    writeFile(file, bytes);
    const ToolRun run = wbutil({QStringLiteral("crc"), file});
    ASSERT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, QStringLiteral("414fa339\t") + file + QLatin1Char('\n'));
    const ToolRun missing = wbutil({QStringLiteral("crc"), file, dir.filePath(QStringLiteral("gone"))});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.startsWith(QStringLiteral("414fa339")));
}

#endif // WBUTIL_PATH
