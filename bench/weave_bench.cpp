// Weave files: drafts against the lookup of every pixel, full planes against one copy of their bytes.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "samples/picture.h"
#include "tload.h"

constexpr u32 side = 2000;
constexpr u32 rowBytes = side / 8;

using Bytes = std::vector<u8>;

struct WeaveFile {
    std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";
    std::vector<i32> threading;
    Bytes plane;

    WeaveFile(u32 shafts, const char* record)
    {
        u64 state = 1;
        std::string text = "#BINDING\n#DIM=2000 2000," + std::to_string(shafts) + "\n#HARNENDS=\n";
        for (u32 i = 0; i < side; i++) {
            threading.push_back(static_cast<i32>(nextRandom(state) % shafts));
            text += std::to_string(threading.back()) + " ";
        }
        text += std::string("\n#") + record + "=\n";
        plane.resize(strcmp(record, "BATMAP") == 0 ? side * rowBytes : shafts * side / 8 + 1);
        for (u8& byte : plane)
            byte = static_cast<u8>(nextRandom(state));
        Bytes bytes(text.begin(), text.end());
        bytes.insert(bytes.end(), plane.begin(), plane.end());
        const std::string end = "#END\n";
        bytes.insert(bytes.end(), end.begin(), end.end());
        const int descriptor = mkstemp(path.data());
        if (descriptor < 0 || !writeFile(path, bytes))
            abort();
    }
    ~WeaveFile() { std::filesystem::remove(path); }
};

// Nothing but the look-up of the state in use, which nearly every function begins with.
static void lookUpState(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(loadImgLastFilesize());
}
BENCHMARK(lookUpState);

static Bytes rows(side* rowBytes);

// Bands are read from a picture that is open: what opening costs is the file's reading.
static void deliver(benchmark::State& state, const WeaveFile& file)
{
    u32 kind = 0, width = 0, height = 0, ignored = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    for (auto _ : state) {
        state.PauseTiming();
        returnLoaderFunctions(formatDetect, file.path.c_str());
        if (getTryLoad()(file.path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette,
                         description, &flag, &ignored, 1) != loadSuccess)
            abort();
        state.ResumeTiming();
        if (getLoadBand()(rows.data(), height, rowBytes) != loadSuccess)
            abort();
        state.PauseTiming();
        getEndLoad()();
        state.ResumeTiming();
    }
}

static void draft(benchmark::State& state)
{
    deliver(state, WeaveFile(static_cast<u32>(state.range(0)), "BITMAP"));
}

static void draftByPixels(benchmark::State& state)
{
    const WeaveFile file(static_cast<u32>(state.range(0)), "BITMAP");
    for (auto _ : state) {
        memset(rows.data(), 0, rows.size());
        for (u32 end = 0; end < side; end++) {
            const u64 firstBit = static_cast<u64>(file.threading[end]) * side;
            for (u32 pick = 0; pick < side; pick++) {
                const u64 bit = firstBit + pick;
                if ((file.plane[bit / 8] >> bit % 8 & 1) != 0)
                    rows[pick * rowBytes + end / 8] |= static_cast<u8>(0x80 >> end % 8);
            }
        }
        benchmark::DoNotOptimize(rows.data());
    }
}

static void draftByPixelsRowByRow(benchmark::State& state)
{
    const WeaveFile file(static_cast<u32>(state.range(0)), "BITMAP");
    for (auto _ : state) {
        memset(rows.data(), 0, rows.size());
        for (u32 pick = 0; pick < side; pick++) {
            for (u32 end = 0; end < side; end++) {
                const u64 bit = static_cast<u64>(file.threading[end]) * side + pick;
                if ((file.plane[bit / 8] >> bit % 8 & 1) != 0)
                    rows[pick * rowBytes + end / 8] |= static_cast<u8>(0x80 >> end % 8);
            }
        }
        benchmark::DoNotOptimize(rows.data());
    }
}

static void fullPlane(benchmark::State& state)
{
    deliver(state, WeaveFile(1, "BATMAP"));
}

static void copyOfPlane(benchmark::State& state)
{
    const WeaveFile file(1, "BATMAP");
    for (auto _ : state) {
        memcpy(rows.data(), file.plane.data(), rows.size());
        benchmark::DoNotOptimize(rows.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(draft)->Arg(24)->Arg(2000);
BENCHMARK(draftByPixels)->Arg(24)->Arg(2000);
BENCHMARK(draftByPixelsRowByRow)->Arg(24)->Arg(2000);
BENCHMARK(fullPlane);
BENCHMARK(copyOfPlane);
