// Staubli JC4 picks as the network delivers them: no header, the width is the file's extension, as in d.2688.
//
//   picks    one after the other, the first hook in the lowest bit of a byte, a clear bit is a lift
#include "formats/loom/staubli.h"
#include "framework/bytes.h"
#include "framework/probe.h"

namespace
{

constexpr size_t leastDigits = 2;
constexpr u32 leastHooks = 40;
constexpr i64 leastPicks = 2;

// What follows the last "." or "+" of a name; 0 for what is no width.
u32 widthOfName(const char* path)
{
    size_t mark = strlen(path);
    while (mark > 0 && path[mark] != '.' && path[mark] != '+')
        mark--;
    if (mark == 0)
        return 0;
    const char* digits = path + mark + 1;
    if (strlen(digits) < leastDigits)
        return 0;
    u32 width = 0;
    for (; *digits != 0; digits++) {
        if (!isDigit(*digits))
            return 0;
        width = 10 * width + static_cast<u32>(*digits - '0');
        if (width > mostSide)
            return 0;
    }
    return width;
}

u32 moduleOfWidth(u32 width)
{
    if (width == 3 * largeModule || width == 4 * largeModule)
        return largeModule;
    return width % smallModule == 0 ? smallModule : middleModule;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u32 width = widthOfName(request.path);
    if (width < leastHooks)
        return refuse(loadWrongFormat, "the name does not end in a width of %u to %u hooks", leastHooks, mostSide);
    if (probedHeader(request.path, 0) == nullptr)
        return loadWrongFormat;
    // A width that is no multiple of 8 counts as the smaller number of bytes here, and as the larger one in reading.
    const i64 size = loadImgLastFilesize();
    const i64 pickBytes = width / 8;
    const i64 height = size / pickBytes;
    if (size % pickBytes != 0)
        return refuse(loadWrongFormat, "its %s are no whole number of picks of %u hooks",
                      amountOf(static_cast<u64>(size)).text, width);
    if (height < leastPicks || height > mostSide)
        return refuse(loadWrongFormat, "it holds %lld picks, not %lld to %u", static_cast<long long>(height),
                      static_cast<long long>(leastPicks), mostSide);
    File file;
    const LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;

    StaubliState loaded{};
    loaded.width = width;
    loaded.rowsLeft = static_cast<u32>(height);
    loaded.rowBytes = bilevelRowBytes(width);
    loaded.hookModule = moduleOfWidth(width);
    loaded.moduleCount = (width + loaded.hookModule - 1) / loaded.hookModule;
    if (loaded.rowBytes != pickBytes)
        remark(Gravity::grave, "its width of %u is no multiple of 8: picks begin where the one before has not ended",
               width);
    reportCards(image, width, loaded.rowsLeft, "Staubli JC4 network\n", nullptr);
    startStaubli(StaubliFormat::network, file, loaded);
    return loadSuccess;
}

LoadStatus readPicks(StaubliState& state, u8* picks, u64 size, u64& lacking)
{
    const u64 arrived = readFilled(state.file, picks, size, 0);
    lacking += incompleteRows(size / state.rowBytes, arrived, state.rowBytes, state.rowBytes);
    return loadSuccess;
}

// As many as take up the room of those before.
u32 countModules(const StaubliState& state, u32 module)
{
    return state.hookModule * state.moduleCount / module;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadMappedBand(StaubliFormat::network, rows, count, bytesPerRow, readPicks, countModules);
}

} // namespace

void registerLoadStaubliJC4network()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}
