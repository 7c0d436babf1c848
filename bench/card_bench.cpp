// Files whose rows stand one after the other against fread of the same bytes; Schleicher cards, whose hooks change
// places, and the check value of UWF also against one bit at a time.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "samples/nedgraphics_writer.h"
#include "samples/qte_writer.h"
#include "samples/schleicher_writer.h"
#include "samples/smit_writer.h"
#include "samples/sophis_writer.h"
#include "samples/uwf_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

static const uint32_t ends = 1344;
static const uint32_t picks = 4000;
static const uint32_t schleicherBlock = 4;

static Picture cards(uint32_t width, uint32_t height)
{
    return noisePicture(pictureBilevel, width, height, 0, 1);
}

static Picture design()
{
    return noisePicture(pictureIndexed, 1024, 1024, 256, 1);
}

struct CardFile {
    const char* name;
    FormatId format;
    Bytes (*encode)();
};

static const CardFile sophisCard = {"d.card", 6, [] { return encodeSophisCard(cards(ends, picks)); }};
static const CardFile sophisImage = {"d.image", 7, [] { return encodeSophisImage(design()); }};
static const CardFile uwf = {"d.uwf", 38, [] { return encodeUwf(cards(ends, picks)); }};
static const CardFile schleicher = {"d.s01", 9,
                                    [] { return encodeSchleicher(cards(ends, picks), {.block = schleicherBlock}); }};
static const CardFile smit = {"d.arm", 45, [] { return encodeSmit(cards(96, 65520)); }};
static const CardFile nedgraphics = {"d.pat", 48, [] { return encodeNedgraphics(design()); }};
static const CardFile qte = {"d.qte", 25, [] { return encodeQte(cards(ends, picks)); }};
static const CardFile motif = {"d.mot", 35, [] { return encodeQteMotif(cards(ends, picks), 3); }};

// Removed when the program ends.
static std::string pathOf(const CardFile& file)
{
    struct Folder {
        std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";
        Folder()
        {
            if (mkdtemp(path.data()) == nullptr)
                abort();
        }
        ~Folder() { std::filesystem::remove_all(path); }
    };
    static const Folder folder;
    std::string path = folder.path + "/" + file.name;
    if (!std::filesystem::exists(path) && !writeFile(path, file.encode()))
        abort();
    return path;
}

static Bytes rows(2 << 20);
static Bytes stored(2 << 20);

static void byTload(const std::string& path, FormatId format)
{
    u32 kind = 0, width = 0, height = 0, ignored = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    returnLoaderFunctions(static_cast<u32>(format), path.c_str());
    if (getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette, description,
                     &flag, &ignored, 1) != loadSuccess ||
        getLoadBand()(rows.data(), height, static_cast<u32>(pictureRowBytes(kind, width))) != loadSuccess)
        abort();
    getEndLoad()();
}

static size_t readInto(Bytes& bytes, const std::string& path)
{
    FILE* file = fopen(path.c_str(), "rb");
    const size_t size = file != nullptr ? fread(bytes.data(), 1, bytes.size(), file) : 0;
    if (size == 0)
        abort();
    fclose(file);
    return size;
}

static void byFread(const std::string& path, FormatId)
{
    readInto(rows, path);
}

static void hooksBitByBit(const std::string& path, FormatId)
{
    readInto(stored, path);
    memset(rows.data(), 0, size_t{picks} * ends / 8);
    uint32_t hooks[ends];
    for (uint32_t end = 0; end < ends; ++end) {
        const uint32_t place = end % (28 * schleicherBlock);
        hooks[end] = ends - 1 - (end - place) - 28 * (place % schleicherBlock) - place / schleicherBlock;
    }
    for (uint32_t pick = 0; pick < picks; ++pick) {
        const uint8_t* record = stored.data() + (pick + 1) * (ends / 8);
        for (uint32_t end = 0; end < ends; ++end) {
            if ((record[hooks[end] >> 3] & 0x80 >> (hooks[end] & 7)) == 0)
                rows[pick * (ends / 8) + end / 8] |= static_cast<uint8_t>(0x80 >> end % 8);
        }
    }
}

static void cardFile(benchmark::State& state, void (*reader)(const std::string&, FormatId), const CardFile* file)
{
    const std::string path = pathOf(*file);
    for (auto _ : state) {
        reader(path, file->format);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(std::filesystem::file_size(path)) * state.iterations());
}

BENCHMARK_CAPTURE(cardFile, sophis_card, byTload, &sophisCard);
BENCHMARK_CAPTURE(cardFile, sophis_card_fread, byFread, &sophisCard);
BENCHMARK_CAPTURE(cardFile, sophis_image, byTload, &sophisImage);
BENCHMARK_CAPTURE(cardFile, sophis_image_fread, byFread, &sophisImage);
BENCHMARK_CAPTURE(cardFile, uwf, byTload, &uwf);
BENCHMARK_CAPTURE(cardFile, uwf_fread, byFread, &uwf);
BENCHMARK_CAPTURE(cardFile, schleicher, byTload, &schleicher);
BENCHMARK_CAPTURE(cardFile, schleicher_fread, byFread, &schleicher);
BENCHMARK_CAPTURE(cardFile, schleicher_bit_by_bit, hooksBitByBit, &schleicher);
BENCHMARK_CAPTURE(cardFile, smit, byTload, &smit);
BENCHMARK_CAPTURE(cardFile, smit_fread, byFread, &smit);
BENCHMARK_CAPTURE(cardFile, nedgraphics, byTload, &nedgraphics);
BENCHMARK_CAPTURE(cardFile, nedgraphics_fread, byFread, &nedgraphics);
BENCHMARK_CAPTURE(cardFile, qte, byTload, &qte);
BENCHMARK_CAPTURE(cardFile, qte_fread, byFread, &qte);
BENCHMARK_CAPTURE(cardFile, motif, byTload, &motif);
BENCHMARK_CAPTURE(cardFile, motif_fread, byFread, &motif);

static u32 crcBitByBit(u32 crc, const void* data, int length)
{
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (int i = 0; i < length; i++) {
        crc = (crc & 0xFFFF) ^ bytes[i];
        for (int bit = 0; bit < 8; bit++)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0x8408 : 0);
    }
    return crc;
}

// Of a record and of all picks.
static void checkValue(benchmark::State& state, u32 (*crc)(u32, const void*, int))
{
    const Bytes bytes = cards(ends, picks).rows;
    const int length = static_cast<int>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(crc(0, bytes.data(), length));
    state.SetBytesProcessed(length * state.iterations());
}

BENCHMARK_CAPTURE(checkValue, tload, crcUWF)->Arg(12)->Arg(ends / 8 * picks);
BENCHMARK_CAPTURE(checkValue, bit_by_bit, crcBitByBit)->Arg(12)->Arg(ends / 8 * picks);
