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

static u32 headBytesOf(u32 pickBytes)
{
    return pickBytes == terryPickBytes ? 5 : 4;
}

static u64 blocksSizeOf(u32 picks, u32 pickBytes)
{
    const u64 blocks = (u64{picks} + mostPicksOfBlock - 1) / mostPicksOfBlock;
    return u64{pickBytes} * picks + headBytesOf(pickBytes) * blocks;
}

struct Blocks {
    const u8* next;
    u64 bytesLeft;
};

// Puts a block into its place and tells how many picks it has; 0 when it does not fit.
static u32 placeBlock(Blocks& blocks, u8* table, u32 picks, u32 pickBytes)
{
    const bool isTerry = pickBytes == terryPickBytes;
    const u32 headBytes = headBytesOf(pickBytes);
    const u8* head = blocks.next;
    if (blocks.bytesLeft < headBytes || head[0] != mark[0])
        return 0;
    const u32 length = isTerry ? bigEndian16(head + 1) : head[1];
    const u32 first = littleEndian16(head + headBytes - numberBytes);
    if (length < pickBytes || (length - numberBytes) % pickBytes != 0)
        return 0;
    const u32 count = (length - numberBytes) / pickBytes;
    const u64 size = u64{count} * pickBytes;
    if (count < 1 || count > mostPicksOfBlock || first < 1 || first - 1 + count > picks ||
        blocks.bytesLeft - headBytes < size)
        return 0;
    memcpy(table + u64{first - 1} * pickBytes, head + headBytes, size);
    blocks.next += headBytes + size;
    blocks.bytesLeft -= headBytes + size;
    return count;
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
    const u64 blocksSize = blocksSizeOf(picks, pickBytes);
    if (picks < leastPicks || picks > mostPicks || static_cast<u64>(size) != cardHeaderBytes + blocksSize)
        return loadWrongFormat;

    Buffer table;
    Buffer stored;
    if (!table.allocate(u64{picks} * pickBytes) || !stored.allocate(blocksSize))
        return loadOutOfMemory;
    Blocks blocks = {stored.bytes, fread(stored.bytes, 1, blocksSize, file.stream)};
    // Blocks come in any order.
    for (u32 done = 0; done < picks;) {
        const u32 count = placeBlock(blocks, table.bytes, picks, pickBytes);
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
