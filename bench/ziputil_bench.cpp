// ZipUtil against Info-ZIP on the same data, side by side in one run:
// ZipUtil::compress against `zip -r -6`, ZipUtil::decompress against `unzip`.
// The data is a generated tree of about 200 MB of mixed files (prose-like text,
// random bytes, sparse and low-entropy data, thousands of small source-like
// files), made under the temporary directory when the program starts and removed
// at the end. Times are wall-clock (the tools run as child processes); each run
// also reports cpu_ms, the processor time (user + system) of the operation itself
// per iteration - ours from this process, the tools' from their child processes -
// which a busy machine disturbs less. The ratios printed at the end are ZipUtil's
// over the tool's, for both.
#include <benchmark/benchmark.h>

#include <utility/ziputil.h>

#include <logging/logsystem.h>

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>
#include <map>
#include <memory>
#include <random>

namespace {

struct Workspace
{
    std::unique_ptr<QTemporaryDir> temp;
    QString tree;        // the data, canonical
    QString ourArchive;  // ZipUtil::compress of the tree, input of both decompress benchmarks
    qint64 treeBytes = 0;
    int treeFiles = 0;
};

Workspace g_space;

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        std::exit(1);
    }
    g_space.treeBytes += bytes.size();
    ++g_space.treeFiles;
}

QByteArray prose(std::mt19937 &random, int size)
{
    static const char *const words[] = {"the", "whiteboard", "ink", "stroke", "figure", "of", "a", "and",
                                        "recognition", "polygon", "line", "to", "scribble", "document",
                                        "page", "in", "with", "archive", "colour", "pen", "eraser", "is"};
    QByteArray text;
    text.reserve(size + 16);
    while (text.size() < size) {
        text += words[random() % (sizeof words / sizeof *words)];
        text += (random() % 12 == 0) ? ".\n" : " ";
    }
    text.truncate(size);
    return text;
}

QByteArray randomBytes(std::mt19937 &random, int size, unsigned alphabet = 256)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &c : bytes)
        c = static_cast<char>(random() % alphabet);
    return bytes;
}

QByteArray mostlyZeros(std::mt19937 &random, int size)
{
    QByteArray bytes(size, '\0');
    for (int at = 0; at < size; at += 4096 + static_cast<int>(random() % 8192))
        bytes[at] = static_cast<char>(random());
    return bytes;
}

void generateTree(const QString &root)
{
    std::mt19937 random(20240601);
    for (int i = 0; i < 40; ++i)
        writeFile(root + QStringLiteral("/docs/chapter%1.txt").arg(i), prose(random, 1250 * 1024));
    for (int i = 0; i < 20; ++i)
        writeFile(root + QStringLiteral("/media/blob%1.bin").arg(i), randomBytes(random, 2500 * 1024));
    for (int i = 0; i < 10; ++i)
        writeFile(root + QStringLiteral("/disk/image%1.img").arg(i), mostlyZeros(random, 3 * 1024 * 1024));
    for (int i = 0; i < 30; ++i)
        writeFile(root + QStringLiteral("/scans/scan%1.raw").arg(i), randomBytes(random, 1200 * 1024, 16));
    for (int i = 0; i < 4000; ++i) {
        const int size = 1024 + static_cast<int>(random() % (15 * 1024));
        writeFile(root + QStringLiteral("/src/module%1/sub%2/file%3.cpp").arg(i % 40).arg(i % 7).arg(i),
                  prose(random, size));
    }
}

QString tool(const char *name)
{
    return QStandardPaths::findExecutable(QString::fromLatin1(name));
}

bool runTool(const QString &program, const QStringList &arguments, const QString &directory)
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    return process.waitForStarted() && process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

// Processor time (user + system) used so far by this process or by its finished
// children, in milliseconds.
double cpuMilliseconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    const auto ms = [](const timeval &t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// Adds the processor time of whatever runs between start() and stop().
class CpuMeter
{
public:
    explicit CpuMeter(int who) : m_who(who) {}
    void start() { m_begin = cpuMilliseconds(m_who); }
    void stop() { m_total += cpuMilliseconds(m_who) - m_begin; }
    void report(benchmark::State &state) const
    {
        if (state.iterations() > 0)
            state.counters["cpu_ms"] = m_total / static_cast<double>(state.iterations());
    }

private:
    int m_who;
    double m_begin = 0;
    double m_total = 0;
};

qint64 sizeOf(const QString &path)
{
    return QFileInfo(path).size();
}

void BM_ZipUtilCompress(benchmark::State &state)
{
    const QString zip = g_space.temp->path() + QStringLiteral("/ziputil.zip");
    CpuMeter cpu(RUSAGE_SELF);
    for (auto _ : state) {
        cpu.start();
        if (!ZipUtil::compress(zip, g_space.tree, true))
            state.SkipWithError("ZipUtil::compress failed");
        cpu.stop();
    }
    cpu.report(state);
    state.counters["archive_MB"] = static_cast<double>(sizeOf(zip)) / 1e6;
    state.SetBytesProcessed(state.iterations() * g_space.treeBytes);
}

void BM_InfoZipCompress(benchmark::State &state)
{
    const QString program = tool("zip");
    if (program.isEmpty()) {
        state.SkipWithError("zip is not installed");
        return;
    }
    const QString zip = g_space.temp->path() + QStringLiteral("/infozip.zip");
    CpuMeter cpu(RUSAGE_CHILDREN);
    for (auto _ : state) {
        state.PauseTiming();
        QFile::remove(zip); // zip would otherwise update the archive
        state.ResumeTiming();
        cpu.start();
        if (!runTool(program, {QStringLiteral("-q"), QStringLiteral("-r"), QStringLiteral("-6"), zip,
                               QStringLiteral(".")},
                     g_space.tree))
            state.SkipWithError("zip failed");
        cpu.stop();
    }
    cpu.report(state);
    state.counters["archive_MB"] = static_cast<double>(sizeOf(zip)) / 1e6;
    state.SetBytesProcessed(state.iterations() * g_space.treeBytes);
}

void BM_ZipUtilDecompress(benchmark::State &state)
{
    const QString dest = g_space.temp->path() + QStringLiteral("/out-ziputil");
    CpuMeter cpu(RUSAGE_SELF);
    for (auto _ : state) {
        state.PauseTiming();
        QDir(dest).removeRecursively();
        state.ResumeTiming();
        cpu.start();
        if (!ZipUtil::decompress(dest, g_space.ourArchive))
            state.SkipWithError("ZipUtil::decompress failed");
        cpu.stop();
    }
    cpu.report(state);
    state.SetBytesProcessed(state.iterations() * g_space.treeBytes);
}

void BM_UnzipDecompress(benchmark::State &state)
{
    const QString program = tool("unzip");
    if (program.isEmpty()) {
        state.SkipWithError("unzip is not installed");
        return;
    }
    const QString dest = g_space.temp->path() + QStringLiteral("/out-unzip");
    CpuMeter cpu(RUSAGE_CHILDREN);
    for (auto _ : state) {
        state.PauseTiming();
        QDir(dest).removeRecursively();
        state.ResumeTiming();
        cpu.start();
        if (!runTool(program, {QStringLiteral("-q"), QStringLiteral("-o"), g_space.ourArchive, QStringLiteral("-d"), dest},
                     g_space.temp->path()))
            state.SkipWithError("unzip failed");
        cpu.stop();
    }
    cpu.report(state);
    state.SetBytesProcessed(state.iterations() * g_space.treeBytes);
}

// Each pair runs back to back, on the same data, with the same iteration count.
BENCHMARK(BM_ZipUtilCompress)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_InfoZipCompress)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_ZipUtilDecompress)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_UnzipDecompress)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// Prints the usual table and remembers each benchmark's mean wall time, so that
// the ratios can be printed once all have run.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            if (run.error_occurred)
                continue;
            const auto cpu = run.counters.find("cpu_ms");
            m_times[run.benchmark_name()] = {run.GetAdjustedRealTime(), cpu == run.counters.end() ? 0.0 : cpu->second.value};
        }
    }

    void printRatio(const char *what, const std::string &ours, const std::string &theirs) const
    {
        const auto a = m_times.find(ours);
        const auto b = m_times.find(theirs);
        if (a == m_times.end() || b == m_times.end() || b->second.wall <= 0 || b->second.cpu <= 0)
            return;
        std::printf("%-24s wall %7.0f ms vs %7.0f ms  ratio %.2f   cpu %7.0f ms vs %7.0f ms  ratio %.2f\n", what,
                    a->second.wall, b->second.wall, a->second.wall / b->second.wall, a->second.cpu, b->second.cpu,
                    a->second.cpu / b->second.cpu);
    }

private:
    struct Times
    {
        double wall = 0;
        double cpu = 0;
    };
    std::map<std::string, Times> m_times;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    CLogSystem::theRootInstance->setLevel("INFO");

    g_space.temp = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/ziputil-bench-XXXXXX"));
    if (!g_space.temp->isValid())
        return 1;
    g_space.tree = QFileInfo(g_space.temp->path()).canonicalFilePath() + QStringLiteral("/tree");
    generateTree(g_space.tree);
    std::printf("generated %d files, %.1f MB, in %s\n", g_space.treeFiles, static_cast<double>(g_space.treeBytes) / 1e6,
                qPrintable(g_space.tree));
    g_space.ourArchive = g_space.temp->path() + QStringLiteral("/input.zip");
    if (!ZipUtil::compress(g_space.ourArchive, g_space.tree, true))
        return 1;

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nZipUtil time / Info-ZIP time (below 1: ZipUtil is faster)\n");
    reporter.printRatio("compress vs zip -r -6", "BM_ZipUtilCompress/iterations:3/real_time",
                        "BM_InfoZipCompress/iterations:3/real_time");
    reporter.printRatio("decompress vs unzip", "BM_ZipUtilDecompress/iterations:3/real_time",
                        "BM_UnzipDecompress/iterations:3/real_time");
    benchmark::Shutdown();
    return 0;
}
