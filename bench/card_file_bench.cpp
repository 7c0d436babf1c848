// Simple card files: their rows against reading the same bytes, columns and rows of text against a plain loop.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "samples/chinese_writer.h"
#include "samples/colorado_writer.h"
#include "samples/eat_writer.h"
#include "samples/iam_writer.h"
#include "samples/small_dobby_writer.h"
#include "samples/takemura_writer.h"
#include "samples/tis_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

static Picture bits(uint32_t width, uint32_t height)
{
    return noisePicture(pictureBilevel, width, height, 0, 1);
}

static Picture colours(uint32_t count)
{
    return noisePicture(pictureIndexed, 2000, 2000, count, 1);
}

constexpr uint32_t side = 4000;

struct LoomCard {
    const char* name;
    u32 format;
    Bytes (*encode)();
};

static const LoomCard rowFiles[] = {
    {"varitex.pat", 26, [] { return encodeVaritex(bits(side, side)); }},
    {"zhu.pat", 53, [] { return encodeZhuPat(bits(side, side)); }},
    {"odd.pat", 53, [] { return encodeZhuPat(bits(side - 8, side)); }},
    {"zhu.sti", 54, [] { return encodeZhuSti(bits(side, side)); }},
    {"wbf.wbf", 61, [] { return encodeWbf(bits(side, side), 16); }},
    {"wb.wb", 62, [] { return encodeWb(bits(side, side)); }},
    {"takemura.dat", 29, [] { return encodeTakemuraDat(bits(side, side)); }},
    {"takemura.cgs", 50, [] { return encodeTakemuraCgs(bits(side, side), 512); }},
    {"tsudakoma.dp5", 69, [] { return encodeTsudakomaDp5(bits(128, 60000)); }},
    {"design.s01", 17, [] { return encodeTisPart(bits(side, side)); }},
    {"iam.pat", 27, [] { return encodeIamPat(colours(256)); }},
    {"iam.bbi", 28, [] { return encodeIamBbi(bits(1000, 1000)); }},
    {"viable.pun", 24, [] { return encodeViable(bits(side, side)); }},
    {"avl.j1p", 22, [] { return encodeAvl(bits(side, side)); }},
    {"bilevel.eat", 19, [] { return encodeEat(bits(side + 3, side)); }},
    {"16.eat", 19, [] { return encodeEat(colours(16)); }},
    {"100.eat", 19, [] { return encodeEat(colours(100)); }},
    {"noise.colorado", 47, [] { return encodeColorado(colours(256)); }},
};
static const LoomCard orgFile = {"most.org", 65, [] { return encodeOrg(bits(side, side)); }};
static const LoomCard wjlFile = {"act.wjl", 70, [] { return encodeActWjl(bits(40, 60000)); }};
static const LoomCard naxFile = {"nissan.nax", 51, [] { return encodeNissan(bits(40, 60000)); }};

static std::string pathOf(const LoomCard& card)
{
    static const std::string folder = [] {
        std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";
        if (mkdtemp(path.data()) == nullptr)
            abort();
        static const std::string made = path;
        atexit([] { std::filesystem::remove_all(made); });
        if (!writeFile(path + "/sdesign.p", encodeTisHeader(bits(side, side))))
            abort();
        return path;
    }();
    std::string path = folder + "/" + (card.format == 17 ? "d" : "") + card.name;
    if (!std::filesystem::exists(path) && !writeFile(path, card.encode()))
        abort();
    return path;
}

// Both sides write into memory that is there.
static Bytes rows(1 << 24);

static void loadFile(benchmark::State& state, const LoomCard& card)
{
    const std::string path = pathOf(card);
    u32 kind = 0, width = 0, height = 0, ignored = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    returnLoaderFunctions(card.format, path.c_str());
    for (auto _ : state) {
        if (getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette,
                         description, &flag, &ignored, 1) != loadSuccess)
            abort();
        const u32 rowBytes = kind == kindBilevel ? (width + 7) / 8 : width;
        if (getLoadBand()(rows.data(), height, rowBytes) != loadSuccess)
            abort();
        getEndLoad()();
    }
}

static FILE* openFile(const LoomCard& card, long start)
{
    FILE* file = fopen(pathOf(card).c_str(), "rb");
    if (file == nullptr || fseek(file, start, SEEK_SET) != 0)
        abort();
    return file;
}

static void readFile(benchmark::State& state, const LoomCard& card)
{
    for (auto _ : state) {
        FILE* file = openFile(card, 0);
        if (fread(rows.data(), 1, rows.size(), file) == 0)
            abort();
        fclose(file);
    }
}

static void turnColumnsPlainly(benchmark::State& state)
{
    constexpr size_t rowBytes = side / 8;
    Bytes column(side);
    for (auto _ : state) {
        FILE* file = openFile(orgFile, 8);
        memset(rows.data(), 0, rowBytes * side);
        for (size_t x = 0; x < side; ++x) {
            if (fread(column.data(), 1, side, file) != side)
                abort();
            for (size_t y = 0; y < side; ++y)
                if (column[y] != 0)
                    rows[y * rowBytes + x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
        }
        fclose(file);
    }
}

static void readLiftsPlainly(benchmark::State& state)
{
    char text[40];
    for (auto _ : state) {
        FILE* file = openFile(wjlFile, 28);
        memset(rows.data(), 0, size_t{5} * 60000);
        for (size_t y = 0; y < 60000; ++y) {
            if (fread(text, 1, sizeof text, file) != sizeof text)
                abort();
            for (size_t x = 0; x < 40; ++x)
                if (text[39 - x] == '1')
                    rows[5 * y + x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
        }
        fclose(file);
    }
}

static int digitOf(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c == ' ' ? 0 : -1;
}

static void readDigitsPlainly(benchmark::State& state)
{
    char text[11];
    for (auto _ : state) {
        FILE* file = openFile(naxFile, 22);
        for (size_t y = 0; y < 60000; ++y) {
            if (fread(text, 1, sizeof text, file) != sizeof text)
                abort();
            for (size_t i = 0; i < 5; ++i) {
                const int low = digitOf(text[2 * i]), high = digitOf(text[2 * i + 1]);
                rows[5 * y + i] = static_cast<uint8_t>(low < 0 || high < 0 ? 0xFF : high << 4 | low);
            }
        }
        reverseNegateBytes(rows.data(), 5 * 60000, 0);
        fclose(file);
    }
}

static const bool registered = [] {
    for (const LoomCard& card : rowFiles) {
        benchmark::RegisterBenchmark((std::string("load/") + card.name).c_str(), loadFile, card);
        benchmark::RegisterBenchmark((std::string("fread/") + card.name).c_str(), readFile, card);
    }
    benchmark::RegisterBenchmark("load/most.org", loadFile, orgFile);
    benchmark::RegisterBenchmark("plain/most.org", turnColumnsPlainly);
    benchmark::RegisterBenchmark("load/act.wjl", loadFile, wjlFile);
    benchmark::RegisterBenchmark("plain/act.wjl", readLiftsPlainly);
    benchmark::RegisterBenchmark("load/nissan.nax", loadFile, naxFile);
    benchmark::RegisterBenchmark("plain/nissan.nax", readDigitsPlainly);
    return true;
}();
