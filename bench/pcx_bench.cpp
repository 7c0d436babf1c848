// PCX pictures of four megapixels against the plainest loop that undoes their runs, a character after the other.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "samples/pcx_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

struct PcxCase {
    const char* name;
    Bytes (*encode)();
};

static const PcxCase cases[] = {
    {"photo", [] { return encodePcx(photoPicture(2000, 2000, 1)); }},
    {"motif", [] { return encodePcx(motifPicture(pictureIndexed, 2000, 2000, 64)); }},
    {"noise", [] { return encodePcx(noisePicture(pictureIndexed, 2000, 2000, 256, 1)); }},
    {"planes", [] { return encodePcx(motifPicture(pictureIndexed, 2000, 2000), {.planes = 4}); }},
};

static Bytes rows(2000 * 2000 * 3);

static void byTload(const char* path)
{
    u32 kind, width, height, ignored;
    u8 palette[768], flag;
    char description[4096];
    returnLoaderFunctions(formatDetect, path);
    if (getTryLoad()(path, &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette, description, &flag,
                     &ignored, 1) != loadSuccess ||
        getLoadBand()(rows.data(), height, kind == kindRGB ? 3 * width : width) != loadSuccess)
        abort();
    getEndLoad()();
}

// Only the runs: planes stay apart.
static void byPlainLoop(const char* path)
{
    FILE* file = fopen(path, "rb");
    uint8_t header[128];
    if (file == nullptr || fread(header, 1, sizeof header, file) != sizeof header)
        abort();
    const size_t lineBytes = header[66] + size_t{256} * header[67];
    const size_t count = lineBytes * header[65] * 2000;
    for (size_t i = 0; i < count;) {
        int value = getc(file);
        int run = 1;
        if (value >= 0xC0) {
            run = value & 0x3F;
            value = getc(file);
        }
        for (; run > 0 && i < count; run--)
            rows[i++] = static_cast<uint8_t>(value);
    }
    fclose(file);
}

static void decode(benchmark::State& state, void (*decoder)(const char*), const PcxCase& one)
{
    std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX.pcx";
    const int descriptor = mkstemps(path.data(), 4);
    FILE* file = descriptor >= 0 ? fdopen(descriptor, "wb") : nullptr;
    if (file == nullptr || fclose(file) != 0 || !writeFile(path, one.encode()))
        abort();
    for (auto _ : state)
        decoder(path.c_str());
    remove(path.c_str());
}

static const int registered = [] {
    for (const PcxCase& one : cases) {
        const std::string name = std::string(one.name) + ".pcx";
        benchmark::RegisterBenchmark((name + "/tload").c_str(), decode, byTload, one);
        benchmark::RegisterBenchmark((name + "/plain loop").c_str(), decode, byPlainLoop, one);
    }
    return 0;
}();
