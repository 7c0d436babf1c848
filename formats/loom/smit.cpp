// Dobby cards of SMIT Textile. Numbers are little-endian but for the length of a terry block.
//
//   header   23 bytes   "X", 15, 00, A5 for 48 shafts or A6 for the 96 of terry looms, number of picks (2)
//   blocks   "X", length (1, terry 2), first pick from 1 on (2), and length - 2 bytes: up to 32 picks as they are
//            delivered
#include <string_view>

#include "formats/loom/told_picks.h"
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr std::string_view mark("X\x15\0", 3);
constexpr size_t cardHeaderBytes = 23;
constexpr i64 leastFileBytes = 39;
constexpr size_t atShafts = 3;
constexpr size_t atPicks = 4;
constexpr u8 plainLoom = 0xA5;
constexpr u8 terryLoom = 0xA6;
constexpr u32 plainPickBytes = 6;
constexpr u32 terryPickBytes = 12;
constexpr u32 leastPicks = 2;
constexpr u8 blockTag = 'X';
constexpr size_t atBlockLength = 1;
constexpr u32 numberBytes = 2; // of the first pick, which counts as part of a block's length

u32 headBytesOf(u32 pickBytes)
{
    return pickBytes == terryPickBytes ? 5 : 4;
}

u64 blocksSizeOf(u32 picks, u32 pickBytes)
{
    const u64 blocks = (u64{picks} + mostPicksOfBlock - 1) / mostPicksOfBlock;
    return u64{pickBytes} * picks + headBytesOf(pickBytes) * blocks;
}

struct Blocks {
    const u8* next;
    u64 bytesLeft;
    u32 picksRead;
    ToldPicks told;
};

// Puts the block that comes next into its place.
LoadStatus placeBlock(Blocks& blocks, u8* table, u32 picks, u32 pickBytes)
{
    const bool isTerry = pickBytes == terryPickBytes;
    const u32 headBytes = headBytesOf(pickBytes);
    const u8* head = blocks.next;
    if (blocks.bytesLeft < headBytes)
        return refuse(loadWrongFormat, "the file ends %u picks before the weave does", picks - blocks.picksRead);
    if (head[0] != blockTag)
        return refuse(loadWrongFormat, "behind %u picks there is no block of picks", blocks.picksRead);
    const u32 length = isTerry ? bigEndian16(head + atBlockLength) : head[atBlockLength];
    const u32 first = littleEndian16(head + headBytes - numberBytes);
    if (length < numberBytes + pickBytes || (length - numberBytes) % pickBytes != 0)
        return refuse(loadWrongFormat, "a block of picks has a wrong length of %u", length);
    const u32 count = (length - numberBytes) / pickBytes;
    const u64 size = u64{count} * pickBytes;
    if (count > mostPicksOfBlock)
        return refuse(loadWrongFormat, "a block has %u picks, more than %u", count, mostPicksOfBlock);
    if (first < 1 || first - 1 + count > picks)
        return refuse(loadWrongFormat, "a block has %u picks from pick %u on, the weave has %u", count, first, picks);
    if (blocks.bytesLeft - headBytes < size)
        return refuse(loadWrongFormat, "the file ends %u picks before the weave does", picks - blocks.picksRead);
    memcpy(table + u64{first - 1} * pickBytes, head + headBytes, size);
    addBlock(blocks.told, first - 1, count);
    blocks.next += headBytes + size;
    blocks.bytesLeft -= headBytes + size;
    blocks.picksRead += count;
    return loadSuccess;
}

// Blocks come in any order.
LoadStatus readBlocks(FILE* stream, u8* table, u32 picks, u32 pickBytes)
{
    const u64 size = blocksSizeOf(picks, pickBytes);
    Buffer stored;
    if (!stored.allocate(size))
        return refuseMemory();
    Blocks blocks = {stored.bytes, fread(stored.bytes, 1, size, stream), 0, {}};
    while (blocks.picksRead < picks) {
        const LoadStatus status = placeBlock(blocks, table, picks, pickBytes);
        if (status != loadSuccess)
            return status;
    }
    remarkUntoldPicks(blocks.told, picks);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* probed = probedMark(request.path, mark, "SMIT", leastFileBytes);
    const i64 size = loadImgLastFilesize();
    if (probed == nullptr)
        return loadWrongFormat;
    File file;
    u8 header[cardHeaderBytes];
    LoadStatus status = openNamed(request.path, "arm", file, header, sizeof header);
    if (status != loadSuccess)
        return status;
    if (memcmp(header, mark.data(), mark.size()) != 0)
        return refuseMark("SMIT");
    const u8 loom = header[atShafts];
    if (loom != plainLoom && loom != terryLoom)
        return refuse(loadWrongFormat, "it is for a loom of the unknown kind %02X", loom);
    const bool isTerry = loom == terryLoom;
    const u32 pickBytes = isTerry ? terryPickBytes : plainPickBytes;
    const u32 picks = littleEndian16(header + atPicks);
    if (picks < leastPicks || picks > mostSide)
        return refuseSize(loadWrongFormat, 8 * pickBytes, picks);
    if (static_cast<u64>(size) != cardHeaderBytes + blocksSizeOf(picks, pickBytes))
        return refuseFileSize(loadWrongFormat, 8 * pickBytes, picks, size);

    Buffer table;
    if (!table.allocate(u64{picks} * pickBytes))
        return refuseMemory();
    status = readBlocks(file.stream, table.bytes, picks, pickBytes);
    if (status != loadSuccess)
        return status;
    reportBilevel(image, 8 * pickBytes, picks, isTerry ? "SMIT Textile terry .ARM" : "SMIT Textile .ARM",
                  loomOrientation);
    handOver(table, threadState().loom.smit, picks, pickBytes);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.smit, rows, count, bytesPerRow, BitOrder::asStored);
}

LoadStatus endLoad()
{
    release(threadState().loom.smit);
    return loadSuccess;
}

} // namespace

void registerLoadSMIT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
