// WIF files against reading their lines and nothing else, and the dobby card file against fread.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>

#include "samples/dobby_1858_writer.h"
#include "samples/wif_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

// 2000 ends by 2000 picks on 24 shafts, no two neighbouring picks alike.
static WifDraft benchDraft()
{
    WifDraft draft{.ends = 2000, .picks = 2000, .shafts = 24, .treadles = 24};
    uint64_t state = 1;
    for (uint32_t i = 0; i < 24; i++) {
        draft.tieup.emplace_back();
        for (uint32_t shaft = 1; shaft <= 24; shaft++)
            if (nextRandom(state) % 2 == 0)
                draft.tieup.back().push_back(shaft);
    }
    for (uint32_t i = 0; i < 2000; i++) {
        draft.threading.push_back({1 + nextRandom(state) % 24});
        draft.treadling.push_back(1 + nextRandom(state) % 24);
    }
    return draft;
}

static WifDraft benchLiftplan()
{
    WifDraft draft = withLiftplan(benchDraft());
    uint64_t state = 2;
    for (auto& shafts : draft.liftplan) {
        shafts.clear();
        for (uint32_t shaft = 1; shaft <= 24; shaft++)
            if (nextRandom(state) % 2 == 0)
                shafts.push_back(shaft);
    }
    return draft;
}

struct DraftFolder {
    std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";

    DraftFolder()
    {
        if (mkdtemp(path.data()) == nullptr)
            abort();
        if (!writeFile(path + "/treadles.wif", encodeWif(benchDraft())) ||
            !writeFile(path + "/liftplan.wif", encodeWif(benchLiftplan())) ||
            !writeFile(path + "/cards.db1", encodeDobby1858(noisePicture(pictureBilevel, 40, 20000, 0, 1))))
            abort();
    }
    ~DraftFolder() { std::filesystem::remove_all(path); }
};

static std::string pathOf(const char* name)
{
    static const DraftFolder folder;
    return folder.path + "/" + name;
}

static Bytes rows(2000 * 250);

static void loadFile(benchmark::State& state, const char* name, bool withBand)
{
    const std::string path = pathOf(name);
    u32 kind = 0, width = 0, height = 0, ignored = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    for (auto _ : state) {
        returnLoaderFunctions(formatDetect, path.c_str());
        if (getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette,
                         description, &flag, &ignored, 1) != loadSuccess)
            abort();
        if (withBand && getLoadBand()(rows.data(), height, (width + 7) / 8) != loadSuccess)
            abort();
        getEndLoad()();
    }
}

static void readLines(benchmark::State& state, const char* name)
{
    const std::string path = pathOf(name);
    Bytes line(49152);
    for (auto _ : state) {
        FILE* file = fopen(path.c_str(), "r");
        if (file == nullptr)
            abort();
        while (feof(file) == 0)
            fgetsDosMac(reinterpret_cast<char*>(line.data()), static_cast<int>(line.size()), file);
        fclose(file);
    }
}

static void readBytes(benchmark::State& state, const char* name)
{
    const std::string path = pathOf(name);
    for (auto _ : state) {
        FILE* file = fopen(path.c_str(), "rb");
        if (file == nullptr || fread(rows.data(), 1, rows.size(), file) == 0)
            abort();
        fclose(file);
    }
}

BENCHMARK_CAPTURE(loadFile, treadles.wif, "treadles.wif", false);
BENCHMARK_CAPTURE(readLines, treadles.wif, "treadles.wif");
BENCHMARK_CAPTURE(loadFile, liftplan.wif, "liftplan.wif", false);
BENCHMARK_CAPTURE(readLines, liftplan.wif, "liftplan.wif");
BENCHMARK_CAPTURE(loadFile, cards.db1, "cards.db1", true);
BENCHMARK_CAPTURE(readBytes, cards.db1, "cards.db1");
