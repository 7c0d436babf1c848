// What one call costs beside the three: the same files, opened and read whole by libTload alone and through loomfile.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "loomfile.h"
#include "samples/bmp_writer.h"
#include "samples/jc5_writer.h"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"

namespace
{

std::vector<u8> rows;

void makeRoom(size_t bytes)
{
    if (rows.size() < bytes)
        rows.resize(bytes);
}

void threeCalls(benchmark::State& state, const std::string& path)
{
    std::vector<char> name(path.c_str(), path.c_str() + path.size() + 1), description(4096);
    for (auto _ : state) {
        u32 kind = 0, width, height, ignored;
        u8 flag;
        u8 palette[768];
        returnLoaderFunctions(formatDetect, name.data());
        if (getTryLoad()(name.data(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette,
                         description.data(), &flag, &ignored, 1) != loadSuccess)
            abort();
        const u32 rowBytes = llibRowBytes(kind, width);
        makeRoom(size_t{rowBytes} * height);
        if (getLoadBand()(rows.data(), height, rowBytes) != loadSuccess)
            abort();
        getEndLoad()();
    }
}

void throughLoomfile(benchmark::State& state, const std::string& path)
{
    for (auto _ : state) {
        Loomfile* file = loomfileOpen(path.c_str(), nullptr, nullptr);
        LoomfileInfo info = loomfileInfo();
        loomfileGetInfo(file, &info);
        makeRoom(size_t{info.rowBytes} * info.height);
        if (loomfileReadAll(file, rows.data(), info.rowBytes, nullptr) != loadSuccess)
            abort();
        loomfileClose(file);
    }
}

// Of thousands of small files, the least that tells what one is.
void openReadAndStat(benchmark::State& state, const std::string& path)
{
    for (auto _ : state) {
        struct stat info;
        u8 first[256];
        stat(path.c_str(), &info);
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(read(descriptor, first, sizeof first));
        close(descriptor);
    }
}

void detection(benchmark::State& state, const std::string& path)
{
    const std::string other = path + "2"; // the first bytes of the last file are kept
    for (auto _ : state) {
        benchmark::DoNotOptimize(returnLoaderFunctions(formatDetect, path.c_str()));
        benchmark::DoNotOptimize(returnLoaderFunctions(formatDetect, other.c_str()));
    }
    state.SetItemsProcessed(2 * state.iterations());
}

struct File {
    const char* name;
    std::function<std::vector<uint8_t>()> encode;
};

const File files[] = {
    {"a.bmp", [] { return encodeBmp(noisePicture(pictureRgb, 3000, 2000, 0, 1)); }},
    {"a.png", [] { return encodePng(noisePicture(pictureIndexed, 2000, 1500, 40, 1)); }},
    {"a.jc5", [] { return encodeJc5(noisePicture(pictureBilevel, 10000, 6000, 0, 1)); }},
    {"a.qte", [] { return encodeQte(noisePicture(pictureBilevel, 16000, 8000, 0, 1)); }},
    {"small.bmp", [] { return encodeBmp(noisePicture(pictureIndexed, 64, 64, 16, 1)); }},
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    std::vector<std::string> paths;
    for (const File& file : files) {
        const std::string& path = paths.emplace_back("/tmp/loomfile-bench-" + std::to_string(getpid()) + file.name);
        writeFile(path, file.encode());
        for (const auto& [label, run] : {std::pair("three calls ", &threeCalls), {"loomfile ", &throughLoomfile}})
            benchmark::RegisterBenchmark((std::string(label) + file.name).c_str(), run, path);
    }
    const std::string small = paths.back();
    writeFile(paths.emplace_back(small + "2"), files[std::size(files) - 1].encode());
    benchmark::RegisterBenchmark("open, read and stat of small.bmp", openReadAndStat, small);
    benchmark::RegisterBenchmark("detection of two like small.bmp", detection, small);
    benchmark::RunSpecifiedBenchmarks();
    for (const std::string& path : paths)
        unlink(path.c_str());
    return 0;
}
