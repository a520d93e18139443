// CFigureRecogniser::classifyScribble over every scribble of the hand-drawn ink sets
// beside the repository (../shared/ink), at whiteboard pixels (see tests/inkset.h),
// with vertexLimit 6 and normalize true, the trace level at "INFO".
//
//   ClassifyScribble/all            the whole set per iteration; time per scribble
//   ScribbleTimes/<set or all>      each scribble timed on its own (the median of
//                                   15 calls, so that a preempted call does not
//                                   count): median, 90th percentile and worst
//                                   scribble, in microseconds, as counters
//
// The whiteboard recognises on pen-up; a peer recogniser needs about 5 us per
// scribble (median) on this kind of machine.
#include <utility/figurerecogniser.h>

#include <logging/logsystem.h>

#include "../tests/inkset.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

using Strokes = QVector<QVector<QPointF>>;

struct Sample
{
    QString set;
    Strokes strokes;
};

const std::vector<Sample> &samples()
{
    static const std::vector<Sample> all = [] {
        std::vector<Sample> out;
        QVector<inkset::DataSet> sets;
        if (!inkset::readAll(QStringLiteral(UTILITY_SOURCE_DIR "/../shared/ink"), sets))
            return out;
        for (const inkset::DataSet &set : sets) {
            for (const inkset::Scribble &scribble : set.scribbles)
                out.push_back({set.file.section(QLatin1Char('.'), 0, 0), inkset::toPixels(scribble.strokes, set.scale)});
        }
        return out;
    }();
    return all;
}

int classify(const Strokes &strokes)
{
    QRectF rect;
    QVector<QPointF> points;
    return CFigureRecogniser::classifyScribble(strokes, rect, points, 6, true);
}

void ClassifyScribble(benchmark::State &state)
{
    const std::vector<Sample> &all = samples();
    if (all.empty()) {
        state.SkipWithError("../shared/ink is not beside this clone");
        return;
    }
    CLogSystem::theRootInstance->setLevel("INFO");
    for (auto _ : state) {
        for (const Sample &sample : all)
            benchmark::DoNotOptimize(classify(sample.strokes));
    }
    state.SetItemsProcessed(state.iterations() * int64_t(all.size()));
    state.counters["us_per_scribble"] = benchmark::Counter(
        double(state.iterations()) * double(all.size()) * 1e-6,
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

double percentile(std::vector<double> sorted, double share)
{
    std::sort(sorted.begin(), sorted.end());
    const std::size_t index = std::min(sorted.size() - 1, std::size_t(share * double(sorted.size() - 1) + 0.5));
    return sorted[index];
}

void ScribbleTimes(benchmark::State &state, const QString &set)
{
    std::vector<const Sample *> chosen;
    for (const Sample &sample : samples()) {
        if (set == QLatin1String("all") || sample.set == set)
            chosen.push_back(&sample);
    }
    if (chosen.empty()) {
        state.SkipWithError("../shared/ink is not beside this clone");
        return;
    }
    CLogSystem::theRootInstance->setLevel("INFO");
    using Clock = std::chrono::steady_clock;
    constexpr int kCalls = 15;
    std::vector<double> perScribble(chosen.size());
    for (auto _ : state) {
        for (std::size_t k = 0; k < chosen.size(); ++k) {
            double calls[kCalls];
            for (double &call : calls) {
                const Clock::time_point start = Clock::now();
                benchmark::DoNotOptimize(classify(chosen[k]->strokes));
                call = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
            }
            std::nth_element(calls, calls + kCalls / 2, calls + kCalls);
            perScribble[k] = calls[kCalls / 2];
        }
    }
    state.counters["scribbles"] = double(chosen.size());
    state.counters["median_us"] = percentile(perScribble, 0.5);
    state.counters["p90_us"] = percentile(perScribble, 0.9);
    state.counters["worst_us"] = percentile(perScribble, 1.0);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::RegisterBenchmark("ClassifyScribble/all", ClassifyScribble)->Unit(benchmark::kMillisecond);
    QStringList sets = {QStringLiteral("all")};
    for (const Sample &sample : samples()) {
        if (!sets.contains(sample.set))
            sets.append(sample.set);
    }
    for (const QString &set : sets) {
        benchmark::RegisterBenchmark(("ScribbleTimes/" + set.toStdString()).c_str(), ScribbleTimes, set)
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
