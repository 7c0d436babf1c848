// Staubli JC III cards.
//
//   header   512 bytes  "B", then decimal fields: see the offsets below
//   picks    one after the other, the first hook in the lowest bit of a byte, a clear bit is a lift
//
// A design in several parts is named stem.jc3.01, stem.jc3.02 and so on; each part has the same number of picks and a
// header of its own.
#include <cstdlib>

#include "formats/loom/staubli.h"
#include "framework/bytes.h"
#include "framework/path.h"
#include "framework/probe.h"

namespace
{

constexpr size_t headerSize = 512;

// Offsets in the header and lengths of its fields.
constexpr size_t atWidth = 1;
constexpr size_t widthDigits = 4;
constexpr size_t atName = 5;
constexpr size_t atHeight = 21;
constexpr size_t heightDigits = 6;
constexpr size_t atPicksPerPart = 66;
constexpr size_t picksPerPartDigits = 4;

constexpr i32 leastPicks = 2;

// The picks that the first part of a design has.
u64 picksOfFirstPart(const StaubliState& loaded)
{
    if (!loaded.multiPart || loaded.picksPerPart < 0)
        return loaded.rowsLeft;
    return std::min(loaded.rowsLeft, static_cast<u32>(loaded.picksPerPart));
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    StaubliState loaded{};
    u32 firstPart = 1;
    loaded.multiPart = turnToFirstPart(request.path, "jc3.", firstPart);
    image.firstPart = firstPart;

    File file;
    u8 header[headerSize];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadCannotRead);
    if (status != loadSuccess)
        return status;
    const i32 width = decimalNumber(header + atWidth, widthDigits);
    const i32 height = decimalNumber(header + atHeight, heightDigits);
    if (header[0] != 'B')
        return refuseMark("JC III");
    if (width <= 0 || width % i32{smallModule} != 0)
        return refuse(loadWrongFormat, "its width of %d is no multiple of %u hooks", width, smallModule);
    if (height < leastPicks || height > i32{mostSide})
        return refuseSize(loadWrongFormat, width, height);

    loaded.nameLength = static_cast<u32>(strlen(request.path));
    if (loaded.multiPart)
        strcpy(loaded.partName, request.path); // the system opens no longer names
    loaded.width = static_cast<u32>(width);
    loaded.rowsLeft = static_cast<u32>(height);
    loaded.rowBytes = loaded.width / 8;
    loaded.hookModule = smallModule;
    loaded.moduleCount = loaded.width / smallModule;
    loaded.picksPerPart = decimalNumber(header + atPicksPerPart, picksPerPartDigits);
    remarkFileSize(file.stream, picksOfFirstPart(loaded) * loaded.rowBytes, loaded.width, loaded.rowsLeft);
    reportCards(image, loaded.width, loaded.rowsLeft, "Staubli JC III\n", header + atName);
    image.firstPart = firstPart;
    startStaubli(StaubliFormat::jc3, file, loaded);
    return loadSuccess;
}

// A pick takes as many bytes as the caller has for a row, and never less than it has hooks.
LoadStatus readPick(StaubliState& state, u8* pick, u32 bytesPerRow, u64& lacking)
{
    if (state.multiPart && state.partCounter == state.picksPerPart) {
        nextPartName(state.partName, state.nameLength);
        const LoadStatus status = openPart(state, headerSize);
        if (status != loadSuccess)
            return status;
    }
    if (readFilled(state.file, pick, state.rowBytes, endOfFile) < state.rowBytes)
        lacking++;
    if (bytesPerRow > state.rowBytes)
        fseeko(state.file, static_cast<off_t>(bytesPerRow - state.rowBytes), SEEK_CUR);
    state.partCounter++;
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    StaubliState* open = openStaubli(StaubliFormat::jc3);
    if (open == nullptr)
        return refuseUnopened();
    StaubliState& state = *open;
    const u32 wanted = std::min(count, state.rowsLeft);
    TurnedPicks turned;
    HookMap map;
    if (!allocateTurned(turned, state.rowBytes, wanted) ||
        !makeModuleMap(map, state.hookModule, state.moduleCount, true))
        return refuseMemory();

    LoadStatus status = loadSuccess;
    u64 lacking = 0;
    u32 done = 0;
    while (done < wanted && status == loadSuccess) {
        const u32 first = done;
        const u32 end = std::min(wanted, first + picksAtOnce);
        while (done < end && status == loadSuccess) {
            u8* pick = turned.stored.bytes + u64{done - first} * state.rowBytes;
            status = readPick(state, pick, bytesPerRow, lacking);
            if (status == loadSuccess)
                done++;
        }
        turnPicks(turned, first, turned.stored.bytes, done - first);
    }
    remarkCount(Gravity::grave, lacking, lackingPicks);
    turned.picks = done;
    state.rowsLeft -= done;
    if (!deliverTurned(turned, map, rows, bytesPerRow, RowEnd::cleared))
        return refuseMemory();
    if (status != loadSuccess || wanted == count)
        return status;
    // The status is what reading on would find.
    status = readPick(state, turned.stored.bytes, bytesPerRow, lacking);
    const LoadStatus behind = refuseRowsBehindPicture();
    return status == loadSuccess ? behind : status;
}

} // namespace

void registerLoadStaubliJC3()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}
