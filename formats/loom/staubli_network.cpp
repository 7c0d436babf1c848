// Staubli JC4 picks as the network delivers them: no header, the width is the file's extension, as in d.2688.
//
//   picks    one after the other, the first hook in the lowest bit of a byte, a clear bit is a lift
#include "formats/loom/staubli.h"
#include "framework/bytes.h"

constexpr size_t fewestDigits = 2;
constexpr u32 smallestWidth = 40;
constexpr i64 smallestHeight = 2;
constexpr u32 largestSide = 65520;

// What follows the last "." or "+" of a name; 0 for what is no width.
static u32 widthOfName(const char* path)
{
    size_t mark = strlen(path);
    while (mark > 0 && path[mark] != '.' && path[mark] != '+')
        mark--;
    if (mark == 0)
        return 0;
    const char* digits = path + mark + 1;
    if (strlen(digits) < fewestDigits)
        return 0;
    u32 width = 0;
    for (; *digits != 0; digits++) {
        if (*digits < '0' || *digits > '9')
            return 0;
        width = 10 * width + static_cast<u32>(*digits - '0');
        if (width > largestSide)
            return 0;
    }
    return width;
}

static u32 moduleOfWidth(u32 width)
{
    if (width == 3 * largeModule || width == 4 * largeModule)
        return largeModule;
    return width % smallModule == 0 ? smallModule : middleModule;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u32 width = widthOfName(request.path);
    if (width < smallestWidth || loadImgCheckHeader(request.path) == nullptr)
        return loadWrongFormat;
    // A width that is no multiple of 8 counts as the smaller number of bytes here, and as the larger one in reading.
    const i64 size = loadImgLastFilesize();
    const i64 height = size / (width / 8);
    if (size % (width / 8) != 0 || height < smallestHeight || height > largestSide)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;

    StaubliState loaded{};
    loaded.width = width;
    loaded.rowsLeft = static_cast<u32>(height);
    loaded.rowBytes = (width + 7) / 8;
    loaded.hookModule = moduleOfWidth(width);
    loaded.moduleCount = (width + loaded.hookModule - 1) / loaded.hookModule;
    reportCards(image, width, loaded.rowsLeft, "Staubli JC4 network\n", nullptr);
    startStaubli(StaubliFormat::network, file, loaded);
    return loadSuccess;
}

static LoadStatus readPicks(StaubliState& state, u8* picks, u64 size)
{
    readFilled(state.file, picks, size, 0);
    return loadSuccess;
}

// As many as take up the room of those before.
static u32 countModules(const StaubliState& state, u32 module)
{
    return state.hookModule * state.moduleCount / module;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadMappedBand(StaubliFormat::network, rows, count, bytesPerRow, readPicks, countModules);
}

void registerLoadStaubliJC4network()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}
