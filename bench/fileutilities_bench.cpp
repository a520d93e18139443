// CFileUtilities::getFileCRC on a 256 MiB file that sits in the page cache,
// against a bare zlib crc32 loop over the same bytes already in memory. The
// difference is what reading the file costs on top of the checksum itself.
//
// The file is written to $TMPDIR (or /tmp) once and removed at the end; the
// throughput of both is reported as bytes_per_second, and the ratio of their
// times is printed after the run.
#include <benchmark/benchmark.h>

#include <utility/fileutilities.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <zlib.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include <unistd.h>

namespace {

constexpr qint64 kFileSize = qint64(256) << 20;
constexpr int kPiece = 4096; // the buffer getFileCRC reads with

struct Data
{
    QTemporaryDir dir;
    QString path;
    QByteArray bytes;
    unsigned long expected = 0;
};

Data &data()
{
    static std::unique_ptr<Data> instance;
    if (!instance) {
        instance.reset(new Data);
        instance->path = instance->dir.filePath(QStringLiteral("crc.bin"));
        instance->bytes.resize(int(kFileSize));
        quint32 state = 2463534242u;
        auto *words = reinterpret_cast<quint32 *>(instance->bytes.data());
        for (qint64 i = 0; i < kFileSize / 4; ++i) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            words[i] = state;
        }
        QFile file(instance->path);
        if (!file.open(QIODevice::WriteOnly) || file.write(instance->bytes) != kFileSize)
            std::fprintf(stderr, "cannot write %s\n", qPrintable(instance->path));
        file.close();
        instance->expected = crc32(crc32(0L, Z_NULL, 0),
                                   reinterpret_cast<const Bytef *>(instance->bytes.constData()),
                                   uInt(kFileSize));
        // Read once, so that the file is in the page cache.
        CFileUtilities::getFileCRC(instance->path);
    }
    return *instance;
}

void BM_GetFileCRC(benchmark::State &state)
{
    Data &d = data();
    unsigned long crc = 0;
    for (auto _ : state) {
        crc = CFileUtilities::getFileCRC(d.path);
        benchmark::DoNotOptimize(crc);
    }
    if (crc != d.expected)
        state.SkipWithError("getFileCRC does not match zlib's crc32");
    state.SetBytesProcessed(state.iterations() * kFileSize);
}
BENCHMARK(BM_GetFileCRC)->Unit(benchmark::kMillisecond)->MinTime(3.0);

void BM_Crc32InMemory(benchmark::State &state)
{
    Data &d = data();
    const auto *bytes = reinterpret_cast<const Bytef *>(d.bytes.constData());
    uLong crc = 0;
    for (auto _ : state) {
        crc = crc32(0L, Z_NULL, 0);
        for (qint64 offset = 0; offset < kFileSize; offset += kPiece)
            crc = crc32(crc, bytes + offset, kPiece);
        benchmark::DoNotOptimize(crc);
    }
    if (crc != d.expected)
        state.SkipWithError("loop does not match one crc32 call");
    state.SetBytesProcessed(state.iterations() * kFileSize);
}
BENCHMARK(BM_Crc32InMemory)->Unit(benchmark::kMillisecond)->MinTime(3.0);

// Keeps each benchmark's time so that the ratio can be printed at the end.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    RatioReporter()
        : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular)
    {
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            const std::string name = run.run_name.function_name;
            const std::pair<double, double> times{run.GetAdjustedRealTime(),
                                                  run.GetAdjustedCPUTime()};
            // With repetitions the median speaks for a benchmark; otherwise its run.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                m_median[name] = times;
            else if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                m_single[name] = times;
        }
    }

    // Real and CPU time per iteration (in the benchmark's unit), or zeros.
    std::pair<double, double> times(const std::string &name) const
    {
        const auto median = m_median.find(name);
        if (median != m_median.end())
            return median->second;
        const auto single = m_single.find(name);
        return single != m_single.end() ? single->second : std::pair<double, double>{0, 0};
    }

private:
    std::map<std::string, std::pair<double, double>> m_median;
    std::map<std::string, std::pair<double, double>> m_single;
};

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const auto file = reporter.times("BM_GetFileCRC");
    const auto memory = reporter.times("BM_Crc32InMemory");
    if (memory.first > 0 && memory.second > 0)
        std::printf("getFileCRC / in-memory crc32: real time ratio %.3f, CPU time ratio %.3f\n",
                    file.first / memory.first, file.second / memory.second);
    benchmark::Shutdown();
    return 0;
}
