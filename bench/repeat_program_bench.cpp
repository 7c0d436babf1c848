// Programs that expand to the largest picture against memcpy of that picture, and the card file against fread.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "samples/somet_writer.h"
#include "samples/vamatex_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

constexpr uint32_t largest = 65520;

// 240 different picks, of which outer repeats of inner repeats make the cloth.
static LoomProgram benchProgram(uint32_t width)
{
    const Picture picture = noisePicture(pictureBilevel, width, 240, 0, 1);
    const size_t rowBytes = pictureRowBytes(picture);
    const uint32_t inner = 3;
    LoomProgram program = {{LoomStep::openRepeat, largest / (picture.height * inner)}};
    for (uint32_t y = 0; y < picture.height; y++) {
        Bytes row(&picture.rows[y * rowBytes], &picture.rows[y * rowBytes] + rowBytes);
        if (width == 112)
            row[4] = 0xFF, row[7] = 0;
        program.insert(program.end(),
                       {{LoomStep::openRepeat, inner}, {LoomStep::pick, 1, row}, {LoomStep::closeRepeat}});
    }
    program.push_back({LoomStep::closeRepeat});
    return program;
}

struct ProgramFolder {
    std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";

    ProgramFolder()
    {
        if (mkdtemp(path.data()) == nullptr)
            abort();
        if (!writeFile(path + "/program.dop", encodeDop(benchProgram(112))) ||
            !writeFile(path + "/program.cop", encodeCop(benchProgram(48))) ||
            !writeFile(path + "/program.pid", encodeVamatex(benchProgram(64), false)) ||
            !writeFile(path + "/cards.arm", encodeSometArm(noisePicture(pictureBilevel, 40, largest, 0, 1))))
            abort();
    }
    ~ProgramFolder() { std::filesystem::remove_all(path); }
};

static std::string pathOf(const char* name)
{
    static const ProgramFolder folder;
    return folder.path + "/" + name;
}

static Bytes rows(largest * 14);

static void loadWhole(benchmark::State& state, const char* name, u32 id)
{
    const std::string path = pathOf(name);
    u32 kind = 0, width = 0, height = 0, ignored = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    returnLoaderFunctions(id, path.c_str());
    for (auto _ : state) {
        if (getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette,
                         description, &flag, &ignored, 1) != loadSuccess ||
            height != largest || getLoadBand()(rows.data(), height, width / 8) != loadSuccess)
            abort();
        getEndLoad()();
    }
}

static void copyImage(benchmark::State& state, size_t rowBytes)
{
    const Bytes image(largest * rowBytes, 1);
    for (auto _ : state) {
        memcpy(rows.data(), image.data(), image.size());
        benchmark::ClobberMemory();
    }
}

static void readCards(benchmark::State& state, const char* name)
{
    const std::string path = pathOf(name);
    for (auto _ : state) {
        FILE* file = fopen(path.c_str(), "rb");
        if (file == nullptr || fread(rows.data(), 10, largest, file) != largest)
            abort();
        fclose(file);
    }
}

BENCHMARK_CAPTURE(loadWhole, program.dop, "program.dop", 30);
BENCHMARK_CAPTURE(copyImage, program.dop, 14);
BENCHMARK_CAPTURE(loadWhole, program.cop, "program.cop", 31);
BENCHMARK_CAPTURE(copyImage, program.cop, 6);
BENCHMARK_CAPTURE(loadWhole, program.pid, "program.pid", 33);
BENCHMARK_CAPTURE(copyImage, program.pid, 8);
BENCHMARK_CAPTURE(loadWhole, cards.arm, "cards.arm", 52);
BENCHMARK_CAPTURE(readCards, cards.arm, "cards.arm");
