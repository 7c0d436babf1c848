// Picks of 10752 hooks: delivery in the order of the design against moving one bit after the other, with and without a
// look at the picks for their module, and cards that need no other order against reading the same bytes.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "samples/jc4_writer.h"
#include "tload.h"

constexpr u32 width = 10752;
constexpr u32 height = 2000;
constexpr u32 rowBytes = width / 8;
constexpr u32 module = 1344;

static std::vector<u8> rows(static_cast<size_t>(rowBytes) * height);

static const char* pathOf(bool mapped)
{
    static const std::vector<std::string> paths = [] {
        std::string directory = std::filesystem::temp_directory_path() / "tload-jc4-bench-XXXXXX";
        if (mkdtemp(directory.data()) == nullptr)
            abort();
        static const std::string made = directory;
        atexit([] { std::filesystem::remove_all(made); });
        Picture picture = motifPicture(pictureBilevel, width, height);
        if (!writeFile(directory + "/d.jc4", encodeJc4(picture, {.module = module})) ||
            !writeFile(directory + "/d.oom", encodeJc4Loom(picture)))
            abort();
        return std::vector<std::string>{directory + "/d.oom", directory + "/d.jc4"};
    }();
    return paths[mapped].c_str();
}

static void deliver(benchmark::State& state, bool mapped)
{
    u32 kind, columns, picks, ignored;
    u8 palette[768], flag;
    char description[4096];
    returnLoaderFunctions(formatDetect, pathOf(mapped));
    for (auto _ : state) {
        if (getTryLoad()(pathOf(mapped), &kind, &columns, &picks, &ignored, &ignored, &ignored, &ignored, palette,
                         description, &flag, &ignored, 1) != loadSuccess ||
            getLoadBand()(rows.data(), picks, rowBytes) != loadSuccess)
            abort();
        getEndLoad()();
    }
    state.SetBytesProcessed(static_cast<i64>(rows.size()) * state.iterations());
}

static void mappedOfKnownModule(benchmark::State& state)
{
    setDefaultMappingJC4(1);
    deliver(state, true);
    setDefaultMappingJC4(0);
}
BENCHMARK(mappedOfKnownModule)->Unit(benchmark::kMillisecond);

static void mappedOfDetectedModule(benchmark::State& state)
{
    deliver(state, true);
}
BENCHMARK(mappedOfDetectedModule)->Unit(benchmark::kMillisecond);

static size_t readPicks(const char* path, std::vector<u8>& picks)
{
    FILE* file = fopen(path, "rb");
    if (file == nullptr || fseek(file, jc4PicksStart, SEEK_SET) != 0)
        abort();
    size_t size = fread(picks.data(), 1, picks.size(), file);
    fclose(file);
    return size;
}

static void mappedBitByBit(benchmark::State& state)
{
    std::vector<u32> map(width);
    makeStaubliMapping(map.data(), module);
    invertStaubliMapping(map.data(), module, width / module, 1, 0);
    std::vector<u8> picks(rows.size());
    for (auto _ : state) {
        if (readPicks(pathOf(true), picks) != picks.size())
            abort();
        std::fill(rows.begin(), rows.end(), 0);
        for (u32 y = 0; y < height; y++) {
            const u8* pick = picks.data() + static_cast<size_t>(y) * rowBytes;
            u8* row = rows.data() + static_cast<size_t>(y) * rowBytes;
            for (u32 x = 0; x < width; x++) {
                u32 p = map[x];
                if ((pick[p >> 3] >> (p & 7) & 1) == 0)
                    row[x >> 3] |= static_cast<u8>(0x80 >> (x & 7));
            }
        }
        benchmark::DoNotOptimize(rows.data());
    }
    state.SetBytesProcessed(static_cast<i64>(rows.size()) * state.iterations());
}
BENCHMARK(mappedBitByBit)->Unit(benchmark::kMillisecond);

static void loomCards(benchmark::State& state)
{
    deliver(state, false);
}
BENCHMARK(loomCards)->Unit(benchmark::kMillisecond);

static void loomCardsByFread(benchmark::State& state)
{
    for (auto _ : state) {
        if (readPicks(pathOf(false), rows) != rows.size())
            abort();
        benchmark::DoNotOptimize(rows.data());
    }
    state.SetBytesProcessed(static_cast<i64>(rows.size()) * state.iterations());
}
BENCHMARK(loomCardsByFread)->Unit(benchmark::kMillisecond);
