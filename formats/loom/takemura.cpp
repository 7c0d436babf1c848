// Takemura jacquard cards: a plain bitmap, the leftmost end in a byte's highest bit. Numbers are little-endian, of 16
// bits.
//
//         header                            width         height   pick
//   DAT   20 bytes                          at 6          at 13    the bits and 4 bytes more
//   CGS   110 bytes, begins with "CGSII1"   120 + at 97   at 85    as many bytes as is told at 104
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 datHeaderBytes = 20;
constexpr size_t atDatWidth = 6;
constexpr size_t atDatHeight = 13;
constexpr u32 datTrailerBytes = 4;

constexpr std::string_view cgsMark = "CGSII1";
constexpr u32 cgsHeaderBytes = 110;
constexpr size_t atCgsHeight = 85;
constexpr size_t atCgsWidth = 97;
constexpr size_t atCgsRowBytes = 104;
constexpr u32 cgsLeastWidth = 120;

// "prog0001.dat" and the like are programs of the machine.
bool isProgram(const char* path)
{
    return strlen(path) == 12 && startsWith(path, "prog") && isDigit(path[4]) && isDigit(path[5]) && isDigit(path[6]) &&
           isDigit(path[7]);
}

LoadStatus tryLoadDat(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "dat"))
        return refuseName("dat");
    if (isProgram(request.path))
        return refuse(loadWrongFormat, "its name is that of a program of the machine");
    File file;
    u8 header[datHeaderBytes];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    const u32 width = littleEndian16(header + atDatWidth);
    const u32 height = littleEndian16(header + atDatHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    const u32 rowBytes = bilevelRowBytes(width) + datTrailerBytes;
    return keepCards(file, threadState().loom.takemura.rows,
                     {"Takemura .DAT", width, height, rowBytes, loomOrientation, datTrailerBytes}, image);
}

LoadStatus tryLoadCgs(const LoadRequest& request, ImageInfo& image)
{
    if (cardHeader(request.path, "cgs", 0, cgsMark) == nullptr)
        return loadWrongFormat;
    File file;
    u8 header[cgsHeaderBytes];
    const LoadStatus status = openFile(request.path, file, header, sizeof header, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    const u32 width = cgsLeastWidth + littleEndian16(header + atCgsWidth);
    const u32 height = littleEndian16(header + atCgsHeight);
    if (!isPictureSize(width, height))
        return refuseSize(loadWrongFormat, width, height);
    const u32 rowBytes = littleEndian16(header + atCgsRowBytes);
    if (rowBytes < bilevelRowBytes(width))
        return refuse(loadWrongFormat, "its rows of %u bytes are too short for a width of %u", rowBytes, width);
    TakemuraState& state = threadState().loom.takemura;
    state.pixelBytes = bilevelRowBytes(width);
    return keepCards(file, state.rows, {"Takemura .CGS", width, height, rowBytes}, image);
}

LoadStatus loadDat(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.takemura.rows;
    const u32 pixelBytes = slot.rowBytes - datTrailerBytes; // the last trailer may be missing
    return tooFewIsUnreadable(slot, loadRowStarts(slot, pixelBytes, pixelBytes, rows, count, bytesPerRow));
}

LoadStatus loadCgs(u8* rows, u32 count, u32 bytesPerRow)
{
    TakemuraState& state = threadState().loom.takemura;
    RowFile& slot = state.rows;
    const LoadStatus status = slot.rowBytes <= bytesPerRow
                                  ? loadRows(slot, rows, count, bytesPerRow, BitOrder::asStored)
                                  : loadRowStarts(slot, state.pixelBytes, slot.rowBytes, rows, count, bytesPerRow);
    return tooFewIsUnreadable(slot, status);
}

LoadStatus endLoad()
{
    release(threadState().loom.takemura.rows);
    return loadSuccess;
}

} // namespace

void registerLoadTakemuraDAT()
{
    registerEntries<tryLoadDat, loadDat, endLoad>();
}

void registerLoadTakemuraCGS()
{
    registerEntries<tryLoadCgs, loadCgs, endLoad>();
}
