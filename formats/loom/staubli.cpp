#include "formats/loom/staubli.h"

#include <cstdlib>

#include "framework/bytes.h"

namespace
{

constexpr size_t partNumberDigits = 2;
constexpr u32 leastMappedRowBytes = smallModule / 8; // narrower picks have their hooks in order

bool mapBand(StaubliState& state, const TurnedPicks& turned, CountModules countModules, HookMap& map)
{
    if (state.rowBytes < leastMappedRowBytes)
        return makeStraightMap(map, 8ull * state.rowBytes);
    u32 module = 0;
    if (!detectModule(turned, state.width, module))
        return false;
    state.moduleCount = countModules(state, module);
    state.hookModule = module;
    return makeModuleMap(map, module, state.moduleCount, false);
}

} // namespace

bool turnToFirstPart(char* path, const char* extension, u32& firstPart)
{
    const size_t length = strlen(path);
    const size_t tail = strlen(extension) + partNumberDigits;
    if (length <= tail)
        return false;
    char* number = path + length - partNumberDigits;
    if (memcmp(path + length - tail, extension, strlen(extension)) != 0 || !isDigit(number[0]) || !isDigit(number[1]))
        return false;
    firstPart = number[0] == '0' && number[1] == '1';
    number[0] = '0';
    number[1] = '1';
    return true;
}

LoadStatus openPart(StaubliState& state, i64 dataStart)
{
    closeSlot(state.file);
    if (state.partName[0] == 0)
        return refuse(loadCannotRead, "the file ends before the picture does");
    File file;
    if (!file.open(state.partName))
        return refuse(loadCannotRead, "its picks end before the picture does, and there is no part %.150s",
                      baseName(state.partName));
    fseeko(file.stream, dataStart, SEEK_SET);
    state.partDataLength = regularFileSize(file.stream) - dataStart;
    state.partCounter = 0;
    handOver(file, state.file);
    return loadSuccess;
}

LoadStatus refusePart(const StaubliState& state, const char* flaw)
{
    return refuse(loadCannotRead, "its part %.150s %s", baseName(state.partName), flaw);
}

u64 readFilled(FILE* stream, u8* bytes, u64 size, u8 missing)
{
    const u64 arrived = fread(bytes, 1, size, stream);
    memset(bytes + arrived, missing, size - arrived);
    return arrived;
}

void reportCards(ImageInfo& image, u32 width, u32 height, const char* description, const u8* designName)
{
    reportBilevel(image, width, height, description, loomOrientation);
    image.palette[0] = 0;
    if (designName != nullptr)
        strncat(image.description, reinterpret_cast<const char*>(designName), designNameBytes);
}

void remarkDesignSize(const StaubliState& loaded, FILE* stream)
{
    const u64 dataBytes = u64{loaded.rowBytes} * loaded.rowsLeft;
    const bool mayGoOn = loaded.partName[0] != 0 && loaded.partDataLength >= 0;
    if (!mayGoOn || static_cast<u64>(loaded.partDataLength) > dataBytes)
        remarkFileSize(stream, dataBytes, loaded.width, loaded.rowsLeft);
}

void startStaubli(StaubliFormat format, File& file, const StaubliState& loaded)
{
    endStaubli();
    StaubliState& state = threadState().loom.staubli;
    state = loaded;
    state.format = format;
    handOver(file, state.file);
}

LoadStatus loadMappedBand(StaubliFormat format, u8* rows, u32 count, u32 bytesPerRow, ReadPicks readPicks,
                          CountModules countModules)
{
    StaubliState* open = openStaubli(format);
    if (open == nullptr)
        return refuseUnopened();
    StaubliState& state = *open;
    const u32 wanted = std::min(count, state.rowsLeft);
    TurnedPicks turned;
    if (!allocateTurned(turned, state.rowBytes, wanted))
        return refuseMemory();
    u64 lacking = 0;
    for (u32 row = 0; row < wanted; row += picksAtOnce) {
        const u32 picks = std::min(picksAtOnce, wanted - row);
        const LoadStatus status = readPicks(state, turned.stored.bytes, u64{picks} * state.rowBytes, lacking);
        if (status != loadSuccess) {
            // No pick is delivered before the last one was read.
            memset(rows, 0, u64{wanted} * bytesPerRow);
            return status;
        }
        turnPicks(turned, row, turned.stored.bytes, picks);
    }
    HookMap map;
    if (wanted > 0 &&
        (!mapBand(state, turned, countModules, map) || !deliverTurned(turned, map, rows, bytesPerRow, RowEnd::cleared)))
        return refuseMemory();
    remarkCount(Gravity::grave, lacking, lackingPicks);
    state.rowsLeft -= wanted;
    if (wanted == count)
        return loadSuccess;
    // The status is what reading on would find.
    const LoadStatus status = readPicks(state, turned.stored.bytes, 1, lacking);
    const LoadStatus behind = refuseRowsBehindPicture();
    return status == loadSuccess ? behind : status;
}

StaubliState* openStaubli(StaubliFormat format)
{
    StaubliState& state = threadState().loom.staubli;
    return state.file != nullptr && state.format == format ? &state : nullptr;
}

LoadStatus endStaubli()
{
    StaubliState& state = threadState().loom.staubli;
    closeSlot(state.file);
    removeTemporary(state.unpacked);
    state.format = StaubliFormat::none;

    StaubliJc5State& jc5 = threadState().loom.staubliJc5;
    free(jc5.groupWidths);
    jc5 = {};
    return loadSuccess;
}
