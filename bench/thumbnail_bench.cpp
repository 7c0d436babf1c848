// Thumbnails beside reading the same files: the samples, and pictures of 20,000 x 20,000 pixels with the most memory
// that a process takes for each.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "loomfile.h"
#include "samples/all_samples.h"
#include "samples/picture.h"

namespace
{

constexpr u32 largeSide = 20000;

Loomfile* open(const std::string& path)
{
    LoomfileOptions options = loomfileOptions();
    options.libtloadOnly = 1;
    return loomfileOpen(path.c_str(), &options, nullptr);
}

// Other parts of a design are read with the first.
bool isWhole(const std::string& path)
{
    LoomfileInfo info = loomfileInfo();
    Loomfile* file = open(path);
    if (file != nullptr)
        loomfileGetInfo(file, &info);
    loomfileClose(file);
    return info.isFirstPart != 0;
}

// What the process has taken of memory, without the file that a decoder has mapped.
double peakMegabytes()
{
    std::ifstream status("/proc/self/status");
    double kilobytes = 0;
    for (std::string word; status >> word;) {
        double number = 0;
        if (word == "VmHWM:" && status >> number)
            kilobytes += number;
        if (word == "RssFile:" && status >> number)
            kilobytes -= number;
    }
    return kilobytes / 1024;
}

double readFile(const std::string& path)
{
    Loomfile* file = open(path);
    LoomfileInfo info = loomfileInfo();
    loomfileGetInfo(file, &info);
    auto* rows = static_cast<u8*>(malloc(size_t{info.rowBytes} * info.height));
    if (loomfileReadAll(file, rows, info.rowBytes, nullptr) != loadSuccess)
        abort();
    const double peak = peakMegabytes();
    free(rows);
    loomfileClose(file);
    return peak;
}

double makeThumbnail(const std::string& path)
{
    Loomfile* file = open(path);
    u32 width = 0, height = 0;
    loomfileGetThumbnailSize(file, nullptr, &width, &height);
    std::vector<u8> rows(size_t{4} * width * height);
    if (loomfileDrawThumbnail(file, nullptr, rows.data(), 4 * width, nullptr) != loadSuccess)
        abort();
    const double peak = peakMegabytes();
    loomfileClose(file);
    return peak;
}

using Action = double (*)(const std::string& path);

// In a process of its own.
double peakOf(Action action, const std::string& path)
{
    int ends[2];
    if (pipe(ends) != 0)
        abort();
    const pid_t child = fork();
    double peak = 0;
    if (child == 0) {
        peak = action(path);
        _exit(write(ends[1], &peak, sizeof peak) == sizeof peak ? 0 : 1);
    }
    if (read(ends[0], &peak, sizeof peak) != sizeof peak)
        abort();
    close(ends[0]);
    close(ends[1]);
    waitpid(child, nullptr, 0);
    return peak;
}

void addBenchmarks(const std::string& name, const std::string& path)
{
    for (const auto& [label, action] : {std::pair("read ", &readFile), {"thumbnail ", &makeThumbnail}}) {
        auto run = [path, action = action](benchmark::State& state) {
            for (auto _ : state)
                action(path);
            state.counters["MB"] = peakOf(action, path);
        };
        benchmark::RegisterBenchmark((label + name).c_str(), run)->Unit(benchmark::kMillisecond);
    }
}

void writeLarge(const std::string& path, u16 bits, u16 samples, u16 photometric)
{
    TIFF* file = TIFFOpen(path.c_str(), "w");
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, largeSide);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, largeSide);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, 16);
    std::vector<u16> map(768);
    std::vector<u8> row(size_t{largeSide} * bits * samples / 8);
    u64 state = 1;
    for (u16& entry : map)
        entry = static_cast<u16>(nextRandom(state));
    if (photometric == PHOTOMETRIC_PALETTE)
        TIFFSetField(file, TIFFTAG_COLORMAP, &map[0], &map[256], &map[512]);
    for (u32 y = 0; y < largeSide; y++) {
        if (y % 64 == 0)
            for (u8& byte : row)
                byte = static_cast<u8>(nextRandom(state) >> 8);
        if (TIFFWriteScanline(file, row.data(), y, 0) < 0)
            abort();
    }
    TIFFClose(file);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const std::string folder = "/tmp/loomfile-thumbnails-" + std::to_string(getpid());
    std::filesystem::create_directory(folder);
    for (const Sample& sample : allSamples())
        writeFile(folder + "/" + sample.name, sample.encode());
    for (const Sample& sample : allSamples())
        if (const std::string path = folder + "/" + sample.name; isWhole(path))
            addBenchmarks(sample.name, path);
    for (const auto& [name, bits, samples, photometric] :
         {std::tuple("large-bilevel.tif", 1, 1, PHOTOMETRIC_MINISWHITE),
          {"large-indexed.tif", 8, 1, PHOTOMETRIC_PALETTE},
          {"large-rgb.tif", 8, 3, PHOTOMETRIC_RGB}}) {
        const std::string path = folder + "/" + name;
        writeLarge(path, static_cast<u16>(bits), static_cast<u16>(samples), static_cast<u16>(photometric));
        addBenchmarks(name, path);
    }
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(folder);
    return 0;
}
