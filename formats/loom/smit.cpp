// Dobby cards of SMIT Textile. Numbers are little-endian but for the length of a terry block.
//
//   header   23 bytes   "X", 15, 00, A5 for 48 shafts or A6 for the 96 of terry looms, number of picks (2)
//   blocks   "X", length (1, terry 2), first pick from 1 on (2), and length - 2 bytes: up to 32 picks as they are
//            delivered
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u8 mark[] = {'X', 0x15, 0};
constexpr size_t cardHeaderBytes = 23;
constexpr i64 smallestFile = 39;
constexpr size_t atShafts = 3;
constexpr size_t atPicks = 4;
constexpr u8 plainLoom = 0xA5;
constexpr u8 terryLoom = 0xA6;
constexpr u32 plainPickBytes = 6;
constexpr u32 terryPickBytes = 12;
constexpr u32 leastPicks = 2;
constexpr u32 mostPicks = 65520;
constexpr u32 mostPicksOfBlock = 32;
constexpr u32 numberBytes = 2; // of the first pick, which counts as part of a block's length

static i64 fileSizeOf(u32 picks, u32 pickBytes)
{
    const i64 blocks = (i64{picks} + mostPicksOfBlock - 1) / mostPicksOfBlock;
    const i64 headBytes = pickBytes == plainPickBytes ? 4 : 5;
    return i64{cardHeaderBytes} + i64{pickBytes} * picks + headBytes * blocks;
}

// Reads a block into its place and tells how many picks it has; 0 when it does not fit.
static u32 readBlock(FILE* stream, u8* table, u32 picks, u32 pickBytes)
{
    u8 blockMark;
    u8 length[2] = {};
    u8* lowByte = length + 1;
    const bool isTerry = pickBytes == terryPickBytes;
    u32 first;
    if (!readByte(stream, blockMark) || blockMark != mark[0] ||
        !readExactly(stream, isTerry ? length : lowByte, isTerry ? 2 : 1) || !readLittleEndian16(stream, first))
        return 0;
    const u32 blockLength = bigEndian16(length);
    if (blockLength < pickBytes || (blockLength - numberBytes) % pickBytes != 0)
        return 0;
    const u32 count = (blockLength - numberBytes) / pickBytes;
    if (count < 1 || count > mostPicksOfBlock || first < 1 || first - 1 + count > picks)
        return 0;
    const bool isComplete = readExactly(stream, table + size_t{first - 1} * pickBytes, size_t{count} * pickBytes);
    return isComplete ? count : 0;
}

static bool isMarked(const u8* header)
{
    return memcmp(header, mark, sizeof mark) == 0;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* probed = loadImgCheckHeader(request.path);
    const i64 size = loadImgLastFilesize();
    if (probed == nullptr || size < smallestFile || !isMarked(probed) || !hasExtension(request.path, "arm"))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[cardHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header) || !isMarked(header) ||
        (header[atShafts] != plainLoom && header[atShafts] != terryLoom))
        return loadWrongFormat;
    const bool isTerry = header[atShafts] == terryLoom;
    const u32 pickBytes = isTerry ? terryPickBytes : plainPickBytes;
    const u32 picks = littleEndian16(header + atPicks);
    if (picks < leastPicks || picks > mostPicks || size != fileSizeOf(picks, pickBytes))
        return loadWrongFormat;

    Buffer table;
    if (!table.allocate(size_t{picks} * pickBytes))
        return loadOutOfMemory;
    // Blocks come in any order.
    for (u32 done = 0; done < picks;) {
        const u32 count = readBlock(file.stream, table.bytes, picks, pickBytes);
        if (count == 0)
            return loadWrongFormat;
        done += count;
    }

    reportImage(image, isTerry ? "SMIT Textile terry .ARM" : "SMIT Textile .ARM", loomOrientation);
    image.kind = kindBilevel;
    image.width = 8 * pickBytes;
    image.height = picks;
    handOver(table, threadState().loom.smit, picks, pickBytes);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.smit, rows, count, bytesPerRow, BitOrder::asStored);
}

static LoadStatus endLoad()
{
    release(threadState().loom.smit);
    return loadSuccess;
}

void registerLoadSMIT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
