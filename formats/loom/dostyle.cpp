// Dornier DoStyle dobby programs. Numbers are little-endian.
//
//    0  "B#", 0, 0
//   26  picks
//   28  bytes of all picks
//   32  five numbers of a known range
//   37  blocks: 'C', L, the number of the first pick, and L - 2 bytes of picks, 8 bytes each
#include <string_view>

#include "formats/loom/dornier.h"
#include "framework/bytes.h"
#include "framework/probe.h"

namespace
{

constexpr std::string_view mark("B#\0\0", 4);
constexpr size_t atPicks = 26;
constexpr size_t atTableBytes = 28;
constexpr size_t atNumbers = 32;
constexpr u8 leastNumbers[] = {2, 1, 1, 1, 1};
constexpr u8 mostNumbers[] = {28, 16, 8, 8, 8};
constexpr size_t headerBytes = atNumbers + sizeof mostNumbers;
constexpr u32 leastPicks = 2;

constexpr u8 blockTag = 'C';
constexpr size_t atBlockLength = 1;
constexpr size_t atFirstPick = 2;
constexpr size_t blockHeadBytes = 4;
constexpr u32 leastBlockLength = 10; // which counts two bytes more than the picks
constexpr u32 mostBlockLength = 50;
constexpr u32 blockExtraBytes = 2;

LoadStatus checkHeader(const u8* header)
{
    const u32 picks = littleEndian16(header + atPicks);
    if (picks < leastPicks || picks > mostSide)
        return refuseSize(loadWrongFormat, dornierShafts, picks);
    if (littleEndian32(header + atTableBytes) != picks * dornierPickBytes)
        return refuse(loadWrongFormat, "its header tells %u bytes for %u picks of %u bytes",
                      littleEndian32(header + atTableBytes), picks, dornierPickBytes);
    for (size_t i = 0; i < sizeof mostNumbers; i++) {
        const u8 number = header[atNumbers + i];
        if (number < leastNumbers[i] || number > mostNumbers[i])
            return refuse(loadWrongFormat, "byte %zu of its header is %u, which is to be %u to %u", atNumbers + i,
                          number, leastNumbers[i], mostNumbers[i]);
    }
    return loadSuccess;
}

// Bytes that make no whole pick are written over by the next block.
LoadStatus readBlocks(FILE* stream, u8* table, u32 picks)
{
    u64 leftOut = 0;
    for (u32 done = 0; done < picks;) {
        u8 head[blockHeadBytes];
        if (!readExactly(stream, head, sizeof head))
            return refuse(loadWrongFormat, "the file ends %u picks before the weave does", picks - done);
        const u32 length = head[atBlockLength];
        if (head[0] != blockTag || length < leastBlockLength || length > mostBlockLength)
            return refuse(loadWrongFormat, "behind %u picks there is no block of picks", done);
        if (littleEndian16(head + atFirstPick) != done)
            return refuse(loadWrongFormat, "a block of picks begins with pick %u instead of %u",
                          littleEndian16(head + atFirstPick), done);
        const u32 size = length - blockExtraBytes;
        if (size > (picks - done) * dornierPickBytes)
            return refuse(loadWrongFormat, "a block of picks goes on behind the %u of the header", picks);
        if (!readExactly(stream, table + u64{done} * dornierPickBytes, size))
            return refuse(loadWrongFormat, "the file ends %u picks before the weave does", picks - done);
        done += size / dornierPickBytes;
        leftOut += size % dornierPickBytes;
    }
    remarkCount(Gravity::harmless, leftOut, "bytes of blocks make no whole pick and are not read");
    remarkFileSize(stream, 0, dornierShafts, picks); // what is behind the blocks
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (probedMark(request.path, mark, "DoStyle") == nullptr)
        return loadWrongFormat;
    File file;
    u8 header[headerBytes];
    LoadStatus status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status == loadSuccess)
        status = checkHeader(header);
    if (status != loadSuccess)
        return status;

    const u32 picks = littleEndian16(header + atPicks);
    Buffer table;
    if (request.wantPalette != 0) {
        if (!table.allocate(u64{picks} * dornierPickBytes))
            return refuseMemory();
        status = readBlocks(file.stream, table.bytes, picks);
        if (status != loadSuccess)
            return status;
    }
    keepDornierPicks(image, "Dornier DoStyle", table, picks);
    return loadSuccess;
}

} // namespace

void registerLoadDoStyle()
{
    registerEntries<tryLoad, loadDornierBand, endDornierLoad>();
}
