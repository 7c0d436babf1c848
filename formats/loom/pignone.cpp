// Nuovo Pignone dobby programs (ARM): blocks of picks that tell their place. Numbers are little-endian.
//
//   header   "X", a length L, then L bytes: two zeros, the number of picks, and what is left
//   block    "X", a length L, then L bytes: the number of its first pick, from 1, and picks of 5 bytes
//
// A pick is 40 shafts, the first in a byte's lowest bit.
#include "formats/loom/told_picks.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr u8 blockTag = 'X'; // of the header, too
constexpr size_t atLength = 1;
constexpr size_t atZeros = 2;
constexpr size_t atPicks = 4;
constexpr size_t atFirstPick = 2; // in a block
constexpr i64 leastFileBytes = 21;
constexpr u32 leastPicks = 2;
constexpr u32 shafts = 40;
constexpr u32 pickBytes = shafts / 8;
constexpr u32 headerStart = 6; // up to and with the number of picks
constexpr u32 blockStart = 4;
constexpr u32 headerLengthRead = headerStart - 2; // of the bytes that the length counts
constexpr u32 blockLengthRead = blockStart - 2;

bool isMarked(const u8* header)
{
    return header[0] == blockTag && header[atLength] >= headerLengthRead + 2 && littleEndian16(header + atZeros) == 0;
}

LoadStatus checkPicks(u32 picks)
{
    if (picks < leastPicks || picks > mostSide)
        return refuseSize(loadWrongFormat, shafts, picks);
    return loadSuccess;
}

struct Weave {
    u8* picks;
    u32 height;
    u32 picksRead;
    ToldPicks told;
};

LoadStatus readBlock(FILE* stream, Weave& weave)
{
    u8 head[blockStart];
    if (!readExactly(stream, head, sizeof head))
        return refuse(loadWrongFormat, "the file ends %u picks before the weave does", weave.height - weave.picksRead);
    if (head[0] != blockTag)
        return refuse(loadWrongFormat, "behind %u picks there is no block of picks", weave.picksRead);
    const u32 length = head[atLength];
    if (length < blockLengthRead + pickBytes || (length - blockLengthRead) % pickBytes != 0)
        return refuse(loadWrongFormat, "a block of picks has a wrong length of %u", length);
    const u32 size = length - blockLengthRead;
    const u32 count = size / pickBytes;
    const u32 first = littleEndian16(head + atFirstPick);
    if (count > mostPicksOfBlock)
        return refuse(loadWrongFormat, "a block has %u picks, more than %u", count, mostPicksOfBlock);
    if (first == 0 || first - 1 + count > weave.height)
        return refuse(loadWrongFormat, "a block has %u picks from pick %u on, the weave has %u", count, first,
                      weave.height);
    if (!readExactly(stream, weave.picks + size_t{pickBytes} * (first - 1), size))
        return refuse(loadWrongFormat, "the file ends %u picks before the weave does", weave.height - weave.picksRead);
    addBlock(weave.told, first - 1, count);
    weave.picksRead += count;
    return loadSuccess;
}

LoadStatus readBlocks(FILE* stream, u8* picks, u32 height)
{
    Weave weave = {picks, height, 0, {}};
    while (weave.picksRead < height) {
        const LoadStatus status = readBlock(stream, weave);
        if (status != loadSuccess)
            return status;
    }
    remarkUntoldPicks(weave.told, height);
    remarkFileSize(stream, 0, shafts, height); // what is behind the blocks
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* cached = probedHeader(request.path, headerStart);
    if (cached == nullptr)
        return loadWrongFormat;
    if (!isMarked(cached))
        return refuseMark("Nuovo Pignone");
    image.height = littleEndian16(cached + atPicks);
    LoadStatus status = checkPicks(image.height);
    if (status != loadSuccess)
        return status;
    if (loadImgLastFilesize() < leastFileBytes)
        return refuseFileSize(loadWrongFormat, shafts, image.height, loadImgLastFilesize());
    if (!hasExtension(request.path, "arm"))
        return refuseName("arm");
    image.width = shafts;
    File file;
    u8 header[headerStart];
    status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    if (!isMarked(header))
        return refuseMark("Nuovo Pignone");
    u8 rest[UINT8_MAX];
    if (!readExactly(file.stream, rest, header[atLength] - headerLengthRead))
        return refuseHeader(loadWrongFormat);
    const u32 height = littleEndian16(header + atPicks);
    status = checkPicks(height);
    if (status != loadSuccess)
        return status;
    Buffer picks;
    if (!picks.allocate(size_t{pickBytes} * height))
        return refuseMemory();
    status = readBlocks(file.stream, picks.bytes, height);
    if (status != loadSuccess)
        return status;
    reverseBits(picks.bytes, size_t{pickBytes} * height, false);
    reportBilevel(image, shafts, height, "Nuovo Pignone .ARM", loomOrientation);
    handOver(picks, threadState().loom.pignone, height, pickBytes);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.pignone, rows, count, bytesPerRow, BitOrder::asStored);
}

LoadStatus endLoad()
{
    release(threadState().loom.pignone);
    return loadSuccess;
}

} // namespace

void registerLoadPignoneARM()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
