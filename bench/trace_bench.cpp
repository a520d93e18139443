// Cost of the trace frame when the level is not "TRACE": a traced trivial
// function against the same function without the frame.
#include <benchmark/benchmark.h>

#include "trace_p.h"

namespace {

__attribute__((noinline)) int untraced(int value)
{
    return value + 1;
}

__attribute__((noinline)) int traced(int value)
{
    UTILITY_TRACE_ENTER("traced");
    const int result = value + 1;
    UTILITY_TRACE_RESULT("traced", result);
    return result;
}

void BM_Untraced(benchmark::State &state)
{
    CLogSystem::theRootInstance->setLevel("INFO");
    int value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(value = untraced(value));
}
BENCHMARK(BM_Untraced);

void BM_TracedLevelInfo(benchmark::State &state)
{
    CLogSystem::theRootInstance->setLevel("INFO");
    int value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(value = traced(value));
}
BENCHMARK(BM_TracedLevelInfo);

} // namespace

BENCHMARK_MAIN();
