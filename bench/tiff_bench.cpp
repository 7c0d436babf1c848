// TIFF pictures of 9 megapixels against a bare loop of TIFFReadScanline over the same files. Bilevel rows come out of
// the loop packed, out of the library as a byte a pixel.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <filesystem>

#include "samples/tiff_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

constexpr u32 side = 3000;

static std::string pathOf(const std::string& name)
{
    static const std::string directory = [] {
        std::string made = std::filesystem::temp_directory_path() / "tload-tiff-bench-XXXXXX";
        if (mkdtemp(made.data()) == nullptr)
            abort();
        const Picture photo = photoPicture(side, side, 1);
        const Picture weave = motifPicture(pictureBilevel, side, side);
        if (!writeFile(made + "/rgb", encodeTiff(photo)) ||
            !writeFile(made + "/rgb-lzw", encodeTiff(photo, {.compression = COMPRESSION_LZW})) ||
            !writeFile(made + "/bilevel", encodeTiff(weave)) ||
            !writeFile(made + "/bilevel-lzw", encodeTiff(weave, {.compression = COMPRESSION_LZW})) ||
            !writeFile(made + "/bilevel-fax4", encodeTiff(weave, {.compression = COMPRESSION_CCITTFAX4})))
            abort();
        static const std::string kept = made;
        atexit([] { std::filesystem::remove_all(kept); });
        return made;
    }();
    return directory + "/" + name;
}

static Bytes rows(size_t{3} * side * side);

static void tiffByTload(benchmark::State& state, const char* name)
{
    const std::string path = pathOf(name);
    u32 kind = 0, width = 0, height = 0, ignored = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    for (auto _ : state) {
        returnLoaderFunctions(formatDetect, path.c_str());
        if (getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette,
                         description, &flag, &ignored, 1) != loadSuccess ||
            getLoadBand()(rows.data(), height, width * (kind == kindRGB ? 3 : 1)) != loadSuccess)
            abort();
        getEndLoad()();
        benchmark::ClobberMemory();
    }
}

static void tiffByReadScanline(benchmark::State& state, const char* name)
{
    const std::string path = pathOf(name);
    for (auto _ : state) {
        TIFF* file = TIFFOpen(path.c_str(), "rb");
        u32 height = 0;
        if (file == nullptr || TIFFGetField(file, TIFFTAG_IMAGELENGTH, &height) == 0)
            abort();
        const auto rowBytes = static_cast<size_t>(TIFFScanlineSize(file));
        for (u32 y = 0; y < height; y++) {
            if (TIFFReadScanline(file, rows.data() + y * rowBytes, y, 0) < 0)
                abort();
        }
        TIFFClose(file);
        benchmark::ClobberMemory();
    }
}

#define TIFF_PAIR(name, file)                                                                                          \
    BENCHMARK_CAPTURE(tiffByTload, name, file)->Unit(benchmark::kMicrosecond);                                         \
    BENCHMARK_CAPTURE(tiffByReadScanline, name, file)->Unit(benchmark::kMicrosecond)

TIFF_PAIR(rgb, "rgb");
TIFF_PAIR(rgbLzw, "rgb-lzw");
TIFF_PAIR(bilevel, "bilevel");
TIFF_PAIR(bilevelLzw, "bilevel-lzw");
TIFF_PAIR(bilevelFax4, "bilevel-fax4");
