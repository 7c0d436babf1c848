// JC5 picks against fread of the same bytes, and against moving them bit by bit.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "samples/jc5_writer.h"
#include "tload.h"

static const uint32_t picks = 4000;

// As many groups of so many hooks.
struct Jc5Layout {
    uint32_t groups, hooks;
};

static const Jc5Layout wholeBytes = {8, 1344};
static const Jc5Layout uneven = {8, 1340};

static uint32_t rowBytes(const Jc5Layout& layout)
{
    return (layout.groups * layout.hooks + 7) / 8;
}

static uint32_t pickBytes(const Jc5Layout& layout)
{
    return layout.groups * ((layout.hooks + 7) / 8);
}

// The file of a layout, removed when the program ends.
struct Jc5File {
    std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";
    uint64_t dataStart = 0;

    explicit Jc5File(const Jc5Layout& layout)
    {
        Picture picture = noisePicture(pictureBilevel, layout.groups * layout.hooks, picks, 0, 1);
        Jc5Options options;
        options.groups.assign(layout.groups, {.hooks = layout.hooks});
        std::vector<uint8_t> bytes = encodeJc5(picture, options);
        dataStart = bytes.size() - uint64_t{picks} * pickBytes(layout);
        if (mkstemp(path.data()) < 0 || !writeFile(path, bytes))
            abort();
    }
    ~Jc5File() { std::filesystem::remove(path); }
    Jc5File(const Jc5File&) = delete;
    Jc5File& operator=(const Jc5File&) = delete;
};

static const Jc5File& fileOf(const Jc5Layout& layout)
{
    static const Jc5File wholeBytesFile(wholeBytes), unevenFile(uneven);
    return &layout == &uneven ? unevenFile : wholeBytesFile;
}

static uint8_t* rowsOfAnyLayout()
{
    static std::vector<uint8_t> rows(uint64_t{picks} * pickBytes(wholeBytes));
    return rows.data();
}

static void readPicks(const Jc5File& file, const Jc5Layout& layout, uint8_t* destination)
{
    FILE* stream = fopen(file.path.c_str(), "rb");
    const size_t size = size_t{picks} * pickBytes(layout);
    if (stream == nullptr || fseek(stream, static_cast<long>(file.dataStart), SEEK_SET) != 0 ||
        fread(destination, 1, size, stream) != size)
        abort();
    fclose(stream);
}

using Jc5Reader = void (*)(const Jc5File& file, const Jc5Layout& layout, uint8_t* rows);

static void byTload(const Jc5File& file, const Jc5Layout& layout, uint8_t* rows)
{
    u32 kind, width, height, ignored;
    u8 palette[768], flag;
    char description[4096];
    registerLoadStaubliJC5();
    std::string path = file.path;
    if (getTryLoad()(path.data(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette, description,
                     &flag, &ignored, 0) != loadSuccess ||
        getLoadBand()(rows, height, rowBytes(layout)) != loadSuccess)
        abort();
    getEndLoad()();
}

static void bitByBit(const Jc5File& file, const Jc5Layout& layout, uint8_t* rows)
{
    static std::vector<uint8_t> stored;
    stored.resize(size_t{picks} * pickBytes(layout));
    readPicks(file, layout, stored.data());
    memset(rows, 0, size_t{picks} * rowBytes(layout));
    for (size_t pick = 0; pick < picks; pick++) {
        const uint8_t* source = stored.data() + pick * pickBytes(layout);
        uint8_t* row = rows + pick * rowBytes(layout);
        for (uint32_t group = 0, x = 0; group < layout.groups; group++, source += (layout.hooks + 7) / 8) {
            for (uint32_t hook = 0; hook < layout.hooks; hook++, x++) {
                if ((source[hook / 8] >> (hook % 8) & 1) != 0)
                    row[x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8));
            }
        }
    }
}

static void jc5(benchmark::State& state, Jc5Reader reader, const Jc5Layout* layout)
{
    const Jc5File& file = fileOf(*layout);
    for (auto _ : state) {
        reader(file, *layout, rowsOfAnyLayout());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(uint64_t{picks} * pickBytes(*layout)) * state.iterations());
}

BENCHMARK_CAPTURE(jc5, whole_bytes_tload, byTload, &wholeBytes)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jc5, whole_bytes_fread, readPicks, &wholeBytes)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jc5, uneven_tload, byTload, &uneven)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jc5, uneven_fread, readPicks, &uneven)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(jc5, uneven_bit_by_bit, bitByBit, &uneven)->Unit(benchmark::kMillisecond);
