// Nuovo Pignone dobby programs (ARM): blocks of picks that tell their place. Numbers are little-endian.
//
//   header   "X", a length L, then L bytes: two zeros, the number of picks, and what is left
//   block    "X", a length L, then L bytes: the number of its first pick, from 1, and picks of 5 bytes
//
// A pick is 40 shafts, the first in a byte's lowest bit.
#include "formats/loom/card_file.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr i64 leastFileSize = 21;
constexpr u32 leastPicks = 2;
constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr u32 headerStart = 6; // up to and with the number of picks
constexpr u32 blockStart = 4;
constexpr u32 headerLengthRead = headerStart - 2; // of the bytes that the length counts
constexpr u32 blockLengthRead = blockStart - 2;
constexpr u32 mostPicksOfBlock = 32;

static bool isMarked(const u8* header)
{
    return header[0] == 'X' && header[1] >= headerLengthRead + 2 && header[2] == 0 && header[3] == 0;
}

static bool isHeight(u32 height)
{
    return height >= leastPicks && isPictureSize(shafts, height);
}

// Reads the block that comes next and returns the number of its picks, or 0 when there is no good one.
static u32 readBlock(FILE* stream, u8* picks, u32 height)
{
    u8 start[blockStart];
    if (!readExactly(stream, start, sizeof start) || start[0] != 'X' || start[1] < blockLengthRead + pickBytes)
        return 0;
    const u32 size = start[1] - blockLengthRead;
    const u32 count = size / pickBytes;
    const u32 first = littleEndian16(start + 2);
    if (size % pickBytes != 0 || count > mostPicksOfBlock || first == 0 || first - 1 + count > height)
        return 0;
    return readExactly(stream, picks + size_t{pickBytes} * (first - 1), size) ? count : 0;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* cached = loadImgCheckHeader(request.path);
    if (cached == nullptr || loadImgLastFilesize() < headerStart || !isMarked(cached))
        return loadWrongFormat;
    image.height = littleEndian16(cached + 4);
    if (!isHeight(image.height) || loadImgLastFilesize() < leastFileSize || !hasExtension(request.path, "arm"))
        return loadWrongFormat;
    image.width = shafts;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[headerStart];
    u8 rest[UINT8_MAX];
    if (!readExactly(file.stream, header, sizeof header) || !isMarked(header) ||
        !readExactly(file.stream, rest, header[1] - headerLengthRead))
        return loadWrongFormat;
    const u32 height = littleEndian16(header + 4);
    if (!isHeight(height))
        return loadWrongFormat;
    Buffer picks;
    if (!picks.allocate(size_t{pickBytes} * height))
        return loadOutOfMemory;
    for (u32 read = 0; read < height;) {
        const u32 count = readBlock(file.stream, picks.bytes, height);
        if (count == 0)
            return loadWrongFormat;
        read += count;
    }
    reverseBits(picks.bytes, size_t{pickBytes} * height, false);
    reportBilevel(image, shafts, height, "Nuovo Pignone .ARM", loomOrientation);
    handOver(picks, threadState().loom.pignone, height, pickBytes);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.pignone, rows, count, bytesPerRow, BitOrder::asStored);
}

static LoadStatus endLoad()
{
    release(threadState().loom.pignone);
    return loadSuccess;
}

void registerLoadPignoneARM()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
