// Jacquard controllers that keep a plain bitmap, the leftmost end in a byte's highest bit. Numbers are little-endian.
//
//                   header        width           height   pick
//   Takemura DAT    20 bytes      at 6            at 13    the bits and 4 bytes more
//   Takemura CGS    110 bytes     120 + at 97     at 85    as many bytes as is told at 104
//   Tsudakoma DP5   34134 bytes   128             at 10    16 bytes
//   Act WJL         28 bytes      40              at 20    40 characters, '1' is a lift, the first end comes last
#include "formats/loom/card_file.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u32 datHeaderBytes = 20;
constexpr u32 datTrailerBytes = 4;
constexpr u32 cgsHeaderBytes = 110;
constexpr u32 cgsLeastWidth = 120;
constexpr i64 dp5HeaderBytes = 34134;
constexpr u32 dp5RowBytes = 16;
constexpr i64 wjlHeaderBytes = 28;
constexpr u32 wjlEnds = 40;

// "prog0001.dat" and the like are programs of the machine.
static bool isProgram(const char* path)
{
    return strlen(path) == 12 && memcmp(path, "prog", 4) == 0 && isDigit(path[4]) && isDigit(path[5]) &&
           isDigit(path[6]) && isDigit(path[7]);
}

static LoadStatus tryLoadDat(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "dat") || isProgram(request.path))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[datHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header))
        return loadWrongFormat;
    const u32 width = littleEndian16(header + 6);
    const u32 height = littleEndian16(header + 13);
    if (!isPictureSize(width, height))
        return loadWrongFormat;
    return keepCards(file, threadState().loom.takemura.rows,
                     {"Takemura .DAT", width, height, bilevelRowBytes(width) + datTrailerBytes}, image);
}

static LoadStatus tryLoadCgs(const LoadRequest& request, ImageInfo& image)
{
    const char mark[] = {'C', 'G', 'S', 'I', 'I', '1'};
    const u8* cached = loadImgCheckHeader(request.path);
    if (!hasExtension(request.path, "cgs") || cached == nullptr ||
        loadImgLastFilesize() < static_cast<i64>(sizeof mark) || memcmp(cached, mark, sizeof mark) != 0)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[cgsHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header))
        return loadWrongFormat;
    const u32 width = cgsLeastWidth + littleEndian16(header + 97);
    const u32 height = littleEndian16(header + 85);
    const u32 rowBytes = littleEndian16(header + 104);
    if (!isPictureSize(width, height) || rowBytes < bilevelRowBytes(width))
        return loadWrongFormat;
    threadState().loom.takemura.pixelBytes = bilevelRowBytes(width);
    return keepCards(file, threadState().loom.takemura.rows, {"Takemura .CGS", width, height, rowBytes}, image);
}

// DP5 and WJL, which tell everything in the part of the header that is cached.
static LoadStatus keepBehind(i64 headerSize, const LoadRequest& request, const Cards& cards, ImageInfo& image)
{
    if (!isPictureSize(cards.width, cards.height) ||
        loadImgLastFilesize() != headerSize + i64{cards.rowBytes} * cards.height)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path) || fseeko(file.stream, headerSize, SEEK_SET) != 0)
        return loadCannotRead;
    return keepCards(file, threadState().loom.takemura.rows, cards, image);
}

static LoadStatus tryLoadDp5(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (!hasExtension(request.path, "dp5") || header == nullptr || loadImgLastFilesize() < dp5HeaderBytes ||
        header[0] != 8 || header[1] != 0 || header[14] < 2)
        return loadWrongFormat;
    return keepBehind(dp5HeaderBytes, request, {"Tsudakoma .DP5", 128, littleEndian16(header + 10), dp5RowBytes},
                      image);
}

static LoadStatus tryLoadWjl(const LoadRequest& request, ImageInfo& image)
{
    const char mark[] = {'w', 'j', 'l', '&', 's', 'b'};
    const u8* header = loadImgCheckHeader(request.path);
    // A capital L is not taken.
    if (!hasExtension(request.path, "wjl") || request.path[strlen(request.path) - 1] != 'l' || header == nullptr ||
        loadImgLastFilesize() < wjlHeaderBytes || memcmp(header, mark, sizeof mark) != 0)
        return loadWrongFormat;
    return keepBehind(wjlHeaderBytes, request, {"Act .WJL", wjlEnds, littleEndian16(header + 20), wjlEnds}, image);
}

// Too few picks are told as a file that cannot be read.
static LoadStatus tooFewIsUnreadable(LoadStatus status)
{
    return status == loadBadData && threadState().loom.takemura.rows.file != nullptr ? loadCannotRead : status;
}

static LoadStatus loadDat(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.takemura.rows;
    const u32 pixelBytes = slot.rowBytes - datTrailerBytes; // the last trailer may be missing
    return tooFewIsUnreadable(loadRowStarts(slot, pixelBytes, pixelBytes, rows, count, bytesPerRow));
}

static LoadStatus loadDp5(u8* rows, u32 count, u32 bytesPerRow)
{
    return tooFewIsUnreadable(loadRows(threadState().loom.takemura.rows, rows, count, bytesPerRow, BitOrder::asStored));
}

static LoadStatus loadCgs(u8* rows, u32 count, u32 bytesPerRow)
{
    TakemuraState& state = threadState().loom.takemura;
    RowFile& slot = state.rows;
    if (slot.rowBytes <= bytesPerRow)
        return loadDp5(rows, count, bytesPerRow);
    return tooFewIsUnreadable(loadRowStarts(slot, state.pixelBytes, slot.rowBytes, rows, count, bytesPerRow));
}

// A bit for each of 8 characters, the first in the lowest: set where it is '1'.
static u8 liftsOf(const u8* characters)
{
    constexpr u64 ones = 0x0101010101010101 * u64{'1'};
    constexpr u64 lowBits = 0x7F7F7F7F7F7F7F7F;
    u64 text;
    memcpy(&text, characters, sizeof text);
    const u64 difference = text ^ ones;
    const u64 same = ~(((difference & lowBits) + lowBits) | difference | lowBits); // the highest bit of each byte
    return static_cast<u8>((same >> 7) * 0x0102040810204080 >> 56);
}

static LoadStatus loadWjl(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.takemura.rows;
    if (slot.file == nullptr)
        return loadBadData;
    clearRows(rows, count, bytesPerRow);
    return tooFewIsUnreadable(convertRows(slot, count, wjlEnds, [&](const u8* stored, u64 row) {
        u8 lifts[wjlEnds / 8];
        for (u32 i = 0; i < sizeof lifts; i++)
            lifts[i] = liftsOf(stored + 8 * (sizeof lifts - 1 - i));
        deliverRow(rows + row * bytesPerRow, lifts, sizeof lifts, bytesPerRow);
    }));
}

static LoadStatus endLoad()
{
    release(threadState().loom.takemura.rows);
    return loadSuccess;
}

void registerLoadTakemuraDAT()
{
    registerEntries<tryLoadDat, loadDat, endLoad>();
}

void registerLoadTakemuraCGS()
{
    registerEntries<tryLoadCgs, loadCgs, endLoad>();
}

void registerLoadTsudakomaDP5()
{
    registerEntries<tryLoadDp5, loadDp5, endLoad>();
}

void registerLoadActWJL()
{
    registerEntries<tryLoadWjl, loadWjl, endLoad>();
}
