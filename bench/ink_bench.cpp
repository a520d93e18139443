// The ink hot paths: corner smoothing (run twice per stroke by the recogniser),
// the stroke bound after a change, and loading a large scribble record.
#include <benchmark/benchmark.h>

#include <utility/scribble.h>
#include <utility/stroke.h>
#include <utility/strokeutil.h>

#include <logging/logsystem.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <streambuf>
#include <string>

namespace {

// Deterministic jitter in [-1, 1].
class Jitter
{
public:
    double next()
    {
        m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<double>(m_state >> 11) / static_cast<double>(1ULL << 53) * 2.0 - 1.0;
    }

private:
    std::uint64_t m_state = 42;
};

// A five-pointed star drawn in one closed stroke of n points with a pixel of
// noise: a realistic figure whose corner count does not depend on n.
QVector<QPointF> star(int n)
{
    QVector<QPointF> points;
    points.reserve(n);
    Jitter jitter;
    QPointF tips[6];
    for (int k = 0; k < 6; ++k) {
        const double angle = -M_PI / 2 + k * 4 * M_PI / 5; // every second tip of a pentagon
        tips[k] = QPointF(200 + 150 * std::cos(angle), 200 + 150 * std::sin(angle));
    }
    for (int i = 0; i < n; ++i) {
        const double t = 5.0 * i / (n - 1);
        const int edge = std::min(static_cast<int>(t), 4);
        const double f = t - edge;
        const QPointF p = tips[edge] + (tips[edge + 1] - tips[edge]) * f;
        points.append(QPointF(p.x() + jitter.next(), p.y() + jitter.next()));
    }
    return points;
}

// A burst: out from a centre to a rim and back, turning a little for every tooth,
// a tooth every 50 points. Every tooth adds two corners at any scale, so the
// corner count grows with n (about n / 25): the hard case for smoothing.
QVector<QPointF> burst(int n)
{
    QVector<QPointF> points;
    points.reserve(n);
    Jitter jitter;
    for (int i = 0; i < n; ++i) {
        const int tooth = i / 50;
        const int step = i % 50;
        const double radius = 300.0 * (step < 25 ? step : 50 - step) / 25.0;
        const double angle = tooth * 2.399963; // the golden angle spreads the teeth
        points.append(QPointF(400 + radius * std::cos(angle) + jitter.next(),
                              400 + radius * std::sin(angle) + jitter.next()));
    }
    return points;
}

void quiet()
{
    CLogSystem::theRootInstance->setLevel("INFO");
}

void BM_GetSmoothPoints(benchmark::State &state)
{
    quiet();
    const int n = static_cast<int>(state.range(0));
    const QVector<QPointF> points = state.range(1) == 0 ? star(n) : burst(n);
    QVector<QPointF> result;
    for (auto _ : state) {
        Util::getSmoothPoints(points, result, 0.1);
        benchmark::DoNotOptimize(result.data());
    }
    state.SetLabel(state.range(1) == 0 ? "star" : "burst");
    state.counters["corners"] = static_cast<double>(result.size());
    // Seconds per input point (shown in ns): flat across sizes means linear.
    state.counters["per_point"] = benchmark::Counter(static_cast<double>(n),
                                                     benchmark::Counter::kIsIterationInvariantRate
                                                         | benchmark::Counter::kInvert);
}
BENCHMARK(BM_GetSmoothPoints)
    ->ArgNames({"points", "shape"})
    ->ArgsProduct({{100, 1000, 10000}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

void BM_StrokeGetRectBoundAfterChange(benchmark::State &state)
{
    quiet();
    const int n = static_cast<int>(state.range(0));
    CStroke stroke;
    Jitter jitter;
    for (int i = 0; i < n; ++i)
        stroke.addPoint(QPoint(static_cast<int>(jitter.next() * 1000), static_cast<int>(jitter.next() * 1000)));
    long i = 0;
    for (auto _ : state) {
        stroke.setPointAt(i, QPoint(static_cast<int>(i), -static_cast<int>(i)));
        benchmark::DoNotOptimize(stroke.getRectBound());
        i = (i + 1) % n;
    }
    state.counters["per_point"] = benchmark::Counter(static_cast<double>(n),
                                                     benchmark::Counter::kIsIterationInvariantRate
                                                         | benchmark::Counter::kInvert);
}
BENCHMARK(BM_StrokeGetRectBoundAfterChange)->Arg(100)->Arg(1000)->Arg(10000);

// Reads from memory without copying the record for every iteration.
class MemoryBuffer : public std::streambuf
{
public:
    explicit MemoryBuffer(const std::string &data)
    {
        char *begin = const_cast<char *>(data.data());
        setg(begin, begin, begin + data.size());
    }
};

std::string megabyteRecord()
{
    // 128 strokes of 1024 points: 1 MiB of points plus the counts.
    CScribble scribble;
    Jitter jitter;
    for (int s = 0; s < 128; ++s) {
        CStroke stroke;
        for (int i = 0; i < 1024; ++i)
            stroke.addPoint(QPoint(static_cast<int>(jitter.next() * 5000), static_cast<int>(jitter.next() * 5000)));
        scribble.addStroke(stroke);
    }
    std::ostringstream out;
    scribble.writeTo(out);
    return out.str();
}

void BM_ScribbleReadFrom1MB(benchmark::State &state)
{
    quiet();
    const std::string record = megabyteRecord();
    CScribble scribble;
    for (auto _ : state) {
        MemoryBuffer buffer(record);
        std::istream in(&buffer);
        scribble.readFrom(in);
        benchmark::DoNotOptimize(scribble.getRectBound());
    }
    if (scribble.getStrokeNum() != 128)
        state.SkipWithError("record not read back");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(record.size()));
    state.counters["record_bytes"] = static_cast<double>(record.size());
}
BENCHMARK(BM_ScribbleReadFrom1MB)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
