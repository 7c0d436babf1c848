// Points that keep their distance against the plain scan of all points before.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "samples/plain_loops.h"
#include "tload.h"

constexpr i32 areaWidth = 1200;
constexpr i32 areaHeight = 900;

static void selfAvoid(benchmark::State& state)
{
    for (auto _ : state) {
        srand(1);
        u16* points = selfAvoidTable(static_cast<i32>(state.range()), areaWidth, areaHeight);
        benchmark::DoNotOptimize(points);
        free(points);
    }
}

static void selfAvoidPlain(benchmark::State& state)
{
    for (auto _ : state) {
        srand(1);
        benchmark::DoNotOptimize(plainSelfAvoid(static_cast<i32>(state.range()), areaWidth, areaHeight));
    }
}

BENCHMARK(selfAvoid)->Arg(4000)->Unit(benchmark::kMillisecond);
BENCHMARK(selfAvoidPlain)->Arg(4000)->Unit(benchmark::kMillisecond);
