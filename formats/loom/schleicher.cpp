// Card files of Schleicher.
//
//   header    56 bytes   numbers in decimal, see the offsets below; the rest of the first record is free
//   records   one a pick: the hooks, first hook in the highest bit of a byte, a clear bit is a lift; then extra bytes
//
// The ends begin at the last hook of a record and take their hooks from the groups of 28 of a block in turns: with two
// groups in a block the ends hang on the hooks N, N - 28, N - 1, N - 29 and so on.
#include <cstring>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/thread_state.h"
#include "framework/turned_picks.h"

namespace
{

constexpr size_t cardHeaderBytes = 56;
constexpr u32 groupHooks = 28;

// Offsets in the header and lengths of its fields.
constexpr size_t atHeight = 0;
constexpr size_t atWidth = 5;
constexpr size_t sideDigits = 5;
constexpr size_t atName = 10;
constexpr size_t nameBytes = 8;
constexpr size_t atDate = 18;
constexpr size_t atHasExtra = 28; // "Y": 3 extra bytes where the number of them is 0
constexpr size_t atBlock = 34;
constexpr size_t atType = 36;
constexpr size_t atMark = 37; // "S"
constexpr size_t atZero = 40;
constexpr size_t atVersion = 41;
constexpr size_t atExtraBytes = 50;
constexpr size_t twoDigits = 2;
constexpr i32 usualExtraBytes = 3;

constexpr i64 probedBytes = atZero + 1;
constexpr u32 picksOfBlock = 8 * picksAtOnce; // so that the map is not turned into places too often

bool hasName(const char* path)
{
    const size_t length = strlen(path);
    return length >= 3 && tolowerAZ(path[length - 3]) == 's';
}

void report(ImageInfo& image, const u8* header, u32 width, u32 height, i32 block)
{
    const u8* version = header + atVersion;
    const u8* date = header + atDate;
    char name[nameBytes + 1]{};
    memcpy(name, header + atName, nameBytes);
    char description[128];
    snprintf(description, sizeof description, "Schleicher V%c.%c%c\n%s\nDate %c%c.%c%c.%c%c\nBlock %d\nType %c",
             version[0], version[1], version[2], name, date[4], date[5], date[2], date[3], date[0], date[1], block,
             header[atType]);
    reportBilevel(image, width, height, description, loomOrientation);
    image.palette[0] = 0;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* probed = probedHeader(request.path, probedBytes);
    if (probed == nullptr)
        return loadWrongFormat;
    if (probed[atMark] != 'S' || probed[atZero] != 0)
        return refuseMark("Schleicher");
    if (!hasName(request.path))
        return refuse(loadWrongFormat, "the third character from the end of the name is no s");
    File file;
    u8 header[cardHeaderBytes];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    const i32 height = decimalNumber(header + atHeight, sideDigits);
    const i32 width = decimalNumber(header + atWidth, sideDigits);
    const i32 block = decimalNumber(header + atBlock, twoDigits);
    i32 extraBytes = decimalNumber(header + atExtraBytes, twoDigits);
    if (extraBytes == 0 && header[atHasExtra] == 'Y')
        extraBytes = usualExtraBytes;
    if (height < 1 || width < 1)
        return refuseSize(loadWrongFormat, width, height);
    if (block < 1)
        return refuse(loadWrongFormat, "a block of %d groups of hooks", block);
    if (extraBytes < 0)
        return refuse(loadWrongFormat, "%d extra bytes a pick", extraBytes);
    const u32 rowBytes = bilevelRowBytes(static_cast<u32>(width));
    const i64 recordBytes = i64{rowBytes} + extraBytes;
    if (recordBytes > i64{cardHeaderBytes} && fseeko(file.stream, recordBytes, SEEK_SET) != 0)
        return refuseHeader(loadWrongFormat);

    report(image, header, static_cast<u32>(width), static_cast<u32>(height), block);
    remarkFileSize(file.stream, static_cast<u64>(recordBytes) * image.height, image.width, image.height);
    SchleicherState& state = threadState().loom.schleicher;
    handOver(file, state.file);
    state.rowsLeft = image.height;
    state.rowBytes = rowBytes;
    state.extraBytes = static_cast<u32>(extraBytes);
    state.block = static_cast<u32>(block);
    return loadSuccess;
}

// The last block may lack hooks: what lies before the first hook becomes a number that no hook has.
bool makeMap(HookMap& map, u32 rowBytes, u32 block)
{
    map.columns = 8ull * rowBytes;
    if (!map.buffer.allocate(map.columns * sizeof(u32)))
        return false;
    auto* hooks = reinterpret_cast<u32*>(map.buffer.bytes);
    const u32 blockHooks = groupHooks * block;
    const u32 last = 8 * rowBytes - 1;
    for (u32 column = 0; column < map.columns; column++) {
        const u32 inBlock = column % blockHooks;
        const u32 hook = last - (column - inBlock) - groupHooks * (inBlock % block) - inBlock / block;
        hooks[column] = hook ^ 7; // numbered from the lowest bit of each byte on
    }
    return true;
}

// What the file lacks stays as it was in the record before, which the first one lies behind. Returns how many bytes the
// file had.
u64 readRecords(FILE* stream, u8* before, u64 size, u64 recordBytes)
{
    u8* records = before + recordBytes;
    const u64 arrived = fread(records, 1, size, stream);
    for (u64 i = arrived; i < size; i++)
        records[i] = before[i];
    return arrived;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    SchleicherState& state = threadState().loom.schleicher;
    if (state.file == nullptr)
        return refuseUnopened();
    const u32 wanted = std::min(count, state.rowsLeft);
    const u32 recordBytes = state.rowBytes + state.extraBytes;
    TurnedPicks turned;
    HookMap map;
    Buffer stage;
    if (!allocateTurned(turned, recordBytes, std::min(wanted, picksOfBlock)) ||
        !makeMap(map, state.rowBytes, state.block) || !stage.allocate((u64{picksAtOnce} + 1) * recordBytes))
        return refuseMemory();
    u8* before = stage.bytes;
    u8* records = before + recordBytes;
    memset(before, 0xFF, recordBytes); // nothing is lifted before the first pick

    u64 lacking = 0;
    for (u64 row = 0; row < wanted; row += turned.picks) {
        turned.picks = static_cast<u32>(std::min<u64>(picksOfBlock, wanted - row));
        for (u32 pick = 0; pick < turned.picks; pick += picksAtOnce) {
            const u32 picks = std::min(picksAtOnce, turned.picks - pick);
            const u64 arrived = readRecords(state.file, before, u64{picks} * recordBytes, recordBytes);
            lacking += incompleteRows(picks, arrived, state.rowBytes, recordBytes);
            turnPicks(turned, pick, records, picks);
            memcpy(before, records + u64{picks - 1} * recordBytes, recordBytes);
        }
        if (!deliverTurned(turned, map, rows + row * bytesPerRow, bytesPerRow, RowEnd::kept))
            return refuseMemory();
    }
    remarkCount(Gravity::grave, lacking, "picks that the file lacks are made up");
    state.rowsLeft -= wanted;
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus endLoad()
{
    SchleicherState& state = threadState().loom.schleicher;
    closeSlot(state.file);
    state = {};
    return loadSuccess;
}

} // namespace

void registerLoadSchleicher()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
