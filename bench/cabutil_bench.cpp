// CabUtil::decompress against cabextract on the same cabinets, side by side in
// one run, wall-clock time. The ratio lines at the end compare each pair.
//
// Cabinets (from ../shared/testdata/cab, or $UTILITY_SHARED_DIR/testdata/cab):
//  - multi-folder-compressed.cab, the largest sample file (552 KB, MSZIP, a 568 KB
//    JPEG and a text file);
//  - large-files-cab.cab, the largest sample output: 26 KB of LZX (21-bit
//    window) that expand to one 14.7 MB file (the cabinet nested in it is not
//    expanded: neither tool recurses here).
// cabextract runs as a child process, so its figures include starting it;
// BM_CabextractStartup measures that part alone. Throughput counts bytes written.
#include <utility/cabutil.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>

extern char **environ;

namespace {

QString sharedCab(const char *relative)
{
    const QByteArray env = qgetenv("UTILITY_SHARED_DIR");
    const QString shared = env.isEmpty() ? QStringLiteral(UTILITY_SOURCE_DIR "/../shared") : QString::fromLocal8Bit(env);
    return QDir::cleanPath(shared + QStringLiteral("/testdata/cab/") + QString::fromLatin1(relative));
}

bool run(std::vector<std::string> args)
{
    std::vector<char *> argv;
    for (std::string &arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 1 /* O_WRONLY */, 0);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Destination prepared with the directories the entries need (CabUtil does not
// create them); both tools overwrite the same files on every iteration.
struct Target
{
    QTemporaryDir dir;
    Target() { QDir(dir.path()).mkpath(QStringLiteral("test")); }
    // Bytes one extraction writes, for the throughput column.
    qint64 outputBytes() const
    {
        qint64 total = 0;
        QDirIterator it(dir.path(), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            total += QFileInfo(it.next()).size();
        return total;
    }
};

void BM_CabUtil(benchmark::State &state, const char *cab)
{
    const QString path = sharedCab(cab);
    if (!QFileInfo::exists(path)) {
        state.SkipWithError("../shared/testdata/cab is not available");
        return;
    }
    Target target;
    for (auto _ : state) {
        QStringList files;
        if (!CabUtil::decompress(target.dir.path(), path, files, false)) {
            state.SkipWithError("CabUtil::decompress failed");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * target.outputBytes());
}

void BM_Cabextract(benchmark::State &state, const char *cab)
{
    const QString path = sharedCab(cab);
    if (!QFileInfo::exists(path)) {
        state.SkipWithError("../shared/testdata/cab is not available");
        return;
    }
    Target target;
    const std::vector<std::string> args = {"cabextract", "-q", "-d", target.dir.path().toStdString(),
                                           path.toStdString()};
    for (auto _ : state) {
        if (!run(args)) {
            state.SkipWithError("cabextract failed (is it installed? scripts/install-deps)");
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * target.outputBytes());
}

void BM_CabextractStartup(benchmark::State &state)
{
    for (auto _ : state) {
        if (!run({"cabextract", "--version"})) {
            state.SkipWithError("cabextract is not installed");
            return;
        }
    }
}

BENCHMARK_CAPTURE(BM_CabUtil, multi_folder, "python-cabarchive/multi-folder-compressed.cab")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Cabextract, multi_folder, "python-cabarchive/multi-folder-compressed.cab")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_CabUtil, large_lzx21, "libmspack/large-files-cab.cab")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Cabextract, large_lzx21, "libmspack/large-files-cab.cab")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CabextractStartup)->UseRealTime()->Unit(benchmark::kMillisecond);

// Prints the usual table, then CabUtil's time as a fraction of cabextract's for
// each cabinet.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        // One figure per benchmark: the single run, or the median of repetitions.
        for (const Run &run : runs) {
            if (run.error_occurred)
                continue;
            if (run.run_type == Run::RT_Iteration && !m_medians.count(run.run_name.str()))
                m_times[run.run_name.str()] = run.GetAdjustedRealTime();
            else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_times[run.run_name.str()] = run.GetAdjustedRealTime();
                m_medians.insert(run.run_name.str());
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        for (const char *name : {"multi_folder", "large_lzx21"}) {
            const auto ours = m_times.find(std::string("BM_CabUtil/") + name + "/real_time");
            const auto theirs = m_times.find(std::string("BM_Cabextract/") + name + "/real_time");
            if (ours == m_times.end() || theirs == m_times.end() || theirs->second <= 0)
                continue;
            std::printf("ratio CabUtil/cabextract %-13s %.3f  (%.2f ms vs %.2f ms)\n", name,
                        ours->second / theirs->second, ours->second, theirs->second);
        }
    }

private:
    std::map<std::string, double> m_times;
    std::set<std::string> m_medians;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
