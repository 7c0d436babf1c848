#include "formats/loom/staubli.h"

#include <unistd.h>

#include <cstdlib>

#include "framework/bytes.h"

constexpr size_t partNumberDigits = 2;
constexpr u32 smallestMappedRow = smallModule / 8; // bytes; narrower picks have their hooks in order

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

void nextPartName(char* name, u32 nameLength)
{
    char* last = name + nameLength - 1;
    (*last)++;
    if (*last == '0')
        last[-1]++;
}

bool openPart(StaubliState& state, i64 dataStart)
{
    closeSlot(state.file);
    File file;
    if (state.partName[0] == 0 || !file.open(state.partName))
        return false;
    fseeko(file.stream, dataStart, SEEK_SET);
    state.partDataLength = regularFileSize(file.stream) - dataStart;
    state.partCounter = 0;
    handOver(file, state.file);
    return true;
}

void readFilled(FILE* stream, u8* bytes, u64 size, u8 missing)
{
    const size_t read = fread(bytes, 1, size, stream);
    memset(bytes + read, missing, size - read);
}

void reportCards(ImageInfo& image, u32 width, u32 height, const char* description, const u8* designName)
{
    image.kind = kindBilevel;
    image.width = width;
    image.height = height;
    image.palette[0] = 0;
    reportImage(image, description, loomOrientation);
    if (designName != nullptr)
        strncat(image.description, reinterpret_cast<const char*>(designName), designNameBytes);
}

void startStaubli(StaubliFormat format, File& file, const StaubliState& loaded)
{
    endStaubli();
    StaubliState& state = threadState().loom.staubli;
    state = loaded;
    state.format = format;
    handOver(file, state.file);
}

static bool mapBand(StaubliState& state, const TurnedPicks& turned, CountModules countModules, HookMap& map)
{
    if (state.rowBytes < smallestMappedRow)
        return makeStraightMap(map, 8ull * state.rowBytes);
    u32 module = 0;
    if (!detectModule(turned, state.width, module))
        return false;
    state.moduleCount = countModules(state, module);
    state.hookModule = module;
    return makeModuleMap(map, module, state.moduleCount, false);
}

LoadStatus loadMappedBand(StaubliFormat format, u8* rows, u32 count, u32 bytesPerRow, ReadPicks readPicks,
                          CountModules countModules)
{
    StaubliState* open = openStaubli(format);
    if (open == nullptr)
        return loadBadData;
    StaubliState& state = *open;
    const u32 wanted = std::min(count, state.rowsLeft);
    TurnedPicks turned;
    if (!allocateTurned(turned, state.rowBytes, wanted))
        return loadOutOfMemory;
    for (u32 row = 0; row < wanted; row += picksAtOnce) {
        const u32 picks = std::min(picksAtOnce, wanted - row);
        const LoadStatus status = readPicks(state, turned.stored.bytes, static_cast<u64>(picks) * state.rowBytes);
        if (status != loadSuccess) {
            // No pick is delivered before the last one was read.
            memset(rows, 0, static_cast<u64>(wanted) * bytesPerRow);
            return status;
        }
        turnPicks(turned, row, turned.stored.bytes, picks);
    }
    HookMap map;
    if (wanted > 0 &&
        (!mapBand(state, turned, countModules, map) || !deliverTurned(turned, map, rows, bytesPerRow, RowEnd::cleared)))
        return loadOutOfMemory;
    state.rowsLeft -= wanted;
    if (wanted == count)
        return loadSuccess;
    // What reading on would find.
    const LoadStatus status = readPicks(state, turned.stored.bytes, 1);
    return status == loadSuccess ? loadBadData : status;
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
    if (state.tempName[0] != 0)
        unlink(state.tempName);
    state.tempName[0] = 0;
    state.format = StaubliFormat::none;

    StaubliJc5State& jc5 = threadState().loom.staubliJc5;
    free(jc5.groupWidths);
    jc5 = {};
    return loadSuccess;
}
