// Colorado design pictures of 256 colours. Numbers are big-endian.
//
//   0      4 zeros, width, height (16 bits each), length of the pixel data (32 bits), 7 zeros, 25, zeros
//   512    256 colours of 6 bytes: red, green and blue in bytes 0, 2 and 4
//   ...    at the end of the file: the pixel data, pairs of a count and an index, row after row
#include <utility>

#include "framework/file.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr u32 headerSize = 512;
constexpr u32 headerFieldsEnd = 20;
constexpr size_t atWidth = 4;
constexpr size_t atHeight = 6;
constexpr size_t atLength = 8;
constexpr size_t atZeros = 12;
constexpr size_t atMark = 19;
constexpr u8 mark = 25;
constexpr u32 leastLength = 2;
constexpr u32 colourBytes = 6;
constexpr i64 firstPixelStart = 1536;
constexpr i64 lastPixelStart = 10000;

static bool isZero(const u8* bytes, const u8* end)
{
    return std::all_of(bytes, end, [](u8 byte) { return byte == 0; });
}

static bool isHeader(const u8* header)
{
    return isZero(header, header + atWidth) && isZero(header + atZeros, header + atMark) &&
           bigEndian16(header + atWidth) != 0 && bigEndian16(header + atHeight) != 0 && header[atMark] == mark &&
           bigEndian32(header + atLength) >= leastLength;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* cached = loadImgCheckHeader(request.path);
    if (cached == nullptr || loadImgLastFilesize() < headerFieldsEnd)
        return loadWrongFormat;
    image.width = bigEndian16(cached + atWidth);
    image.height = bigEndian16(cached + atHeight);
    if (!isHeader(cached))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[headerSize];
    u8 colours[paletteColours * colourBytes];
    if (!readExactly(file.stream, header, sizeof header) || !isHeader(header) ||
        !isZero(header + headerFieldsEnd, header + headerSize) || !readExactly(file.stream, colours, sizeof colours))
        return loadWrongFormat;
    for (u32 i = 0; i < paletteColours; i++) {
        const u8* colour = colours + colourBytes * i;
        setColour(image.palette, i, colour[0], colour[2], colour[4]);
    }
    const i64 start = regularFileSize(file.stream) - i64{bigEndian32(header + atLength)};
    if (start < firstPixelStart || start > lastPixelStart || fseeko(file.stream, start, SEEK_SET) != 0)
        return loadWrongFormat;
    image.kind = kindIndexed;
    image.width = bigEndian16(header + atWidth);
    image.height = bigEndian16(header + atHeight);
    reportImage(image, "Colorado", loomOrientation);
    ColoradoState& state = threadState().loom.colorado;
    handOver(file, state.file);
    state.width = image.width;
    state.rowsLeft = image.height;
    return loadSuccess;
}

// Writes a run of pixels of rows that are width pixels long, wherever it begins.
static void deliverRun(u8* rows, u64 first, u64 count, u8 index, u64 width, u64 bytesPerRow)
{
    while (count > 0) {
        const u64 column = first % width;
        const u64 size = std::min(count, width - column);
        if (column < bytesPerRow)
            memset(rows + first / width * bytesPerRow + column, index, std::min(size, bytesPerRow - column));
        first += size;
        count -= size;
    }
}

// Runs do not go on from band to band: one that is longer than the band has room for is dropped.
static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    ColoradoState& state = threadState().loom.colorado;
    if (state.file == nullptr)
        return loadBadData;
    const u32 wanted = std::min(count, state.rowsLeft);
    const u64 total = u64{state.width} * wanted;
    u64 written = 0;
    flockfile(state.file);
    while (written < total) {
        const int length = getc_unlocked(state.file);
        const int index = getc_unlocked(state.file);
        if (length == EOF || length == 0 || index == EOF)
            break;
        const auto pixels = static_cast<u64>(length);
        if (written + pixels > total)
            continue;
        deliverRun(rows, written, pixels, static_cast<u8>(index), state.width, bytesPerRow);
        written += pixels;
    }
    funlockfile(state.file);
    state.rowsLeft -= wanted;
    return written < total || wanted < count ? loadBadData : loadSuccess;
}

static LoadStatus endLoad()
{
    ColoradoState& state = threadState().loom.colorado;
    closeSlot(state.file);
    state = {};
    return loadSuccess;
}

void registerLoadColorado()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
