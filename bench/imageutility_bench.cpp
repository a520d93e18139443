// Util::loadPixmapFromFile on its two expensive routes: a 24-megapixel JPEG reduced
// to a budget of 3 megapixels, and every sample metafile of ../shared/testdata
// (skipped when that folder is absent). The JPEG is generated in the system's
// temporary folder at start.
//
//   build/qt6/bench/imageutility_bench [--benchmark_filter=Jpeg]

#include <utility/imageutility.h>

#include <benchmark/benchmark.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <cstdio>

namespace {

// 6000 x 4000 with gradients and detail, so that the JPEG decoder has real work.
bool writePhoto(const QString &path)
{
    QImage image(6000, 4000, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = qRgb((x / 24) % 256, (y / 16) % 256, ((x ^ y) * 7) % 256);
    }
    return image.save(path, "JPG", 90);
}

void loadFile(benchmark::State &state, const QString &path, long budget)
{
    QSize size;
    for (auto _ : state) {
        const QPixmap pixmap = Util::loadPixmapFromFile(path, budget);
        size = pixmap.size();
        benchmark::DoNotOptimize(size);
    }
    state.counters["width"] = size.width();
    state.counters["height"] = size.height();
}

QString sharedTestdata()
{
    const QFileInfo info(QStringLiteral(UTILITY_SOURCE_DIR "/../shared/testdata"));
    return info.isDir() ? info.absoluteFilePath() : QString();
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);

    QTemporaryDir temporary;
    const QString photo = temporary.filePath(QStringLiteral("photo-24mp.jpg"));
    if (!temporary.isValid() || !writePhoto(photo)) {
        std::fprintf(stderr, "imageutility_bench: cannot write %s\n", qPrintable(photo));
        return 1;
    }
    benchmark::RegisterBenchmark("LoadJpeg24MpBudget3Mp",
                                 [photo](benchmark::State &state) { loadFile(state, photo, 3000000); })
        ->Unit(benchmark::kMillisecond);

    const QString testdata = sharedTestdata();
    if (!testdata.isEmpty()) {
        QStringList files;
        for (const char *kind : {"emf", "wmf"}) {
            QDirIterator it(testdata + QLatin1Char('/') + QLatin1String(kind), QDir::Files,
                            QDirIterator::Subdirectories);
            while (it.hasNext())
                files << it.next();
        }
        files.sort();
        for (const QString &path : files) {
            const std::string name = "LoadMetafile/" + QDir(testdata).relativeFilePath(path).toStdString();
            benchmark::RegisterBenchmark(name.c_str(), [path](benchmark::State &state) { loadFile(state, path, 3000000); })
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
