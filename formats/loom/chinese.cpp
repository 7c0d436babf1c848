// Chinese dobby and jacquard programs without a maker's name: the header takes the place of a row, behind it stand the
// picks as they are woven, the first end in a byte's lowest bit. Numbers have 16 bits and are little-endian, but WB's
// width.
//
//         width                                 height   row
//   WBF   at 6, times the byte at 4             at 0     width / 8 bytes, so up to 7 ends have no place
//   WB    at 15 (big-endian), times 16          at 2     width / 8 bytes
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr i64 wbfProbedBytes = 8;
constexpr size_t atWbfHeight = 0;
constexpr size_t atWbfFactor = 4;
constexpr size_t atWbfWidth = 6;

constexpr i64 wbProbedBytes = 17;
constexpr size_t atWbHeight = 2;
constexpr size_t atWbWidth = 15;
constexpr u32 wbFactor = 16;

LoadStatus keepRowsBehindRow(const LoadRequest& request, const char* description, u32 width, u32 height,
                             ImageInfo& image)
{
    const u32 rowBytes = width / 8;
    return keepExactCards(request, rowBytes, threadState().loom.chinese.rows,
                          {description, width, height, rowBytes, pictureOrientation}, image);
}

LoadStatus tryLoadWbf(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = cardHeader(request.path, "wbf", wbfProbedBytes);
    if (header == nullptr)
        return loadWrongFormat;
    return keepRowsBehindRow(request, "WBF Chinese", header[atWbfFactor] * littleEndian16(header + atWbfWidth),
                             littleEndian16(header + atWbfHeight), image);
}

LoadStatus tryLoadWb(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = cardHeader(request.path, "wb", wbProbedBytes);
    if (header == nullptr)
        return loadWrongFormat;
    return keepRowsBehindRow(request, "WB Chinese", wbFactor * bigEndian16(header + atWbWidth),
                             littleEndian16(header + atWbHeight), image);
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadWholeRows(threadState().loom.chinese.rows, rows, count, bytesPerRow, BitOrder::reversed);
}

LoadStatus endLoad()
{
    release(threadState().loom.chinese.rows);
    return loadSuccess;
}

} // namespace

void registerLoadWBF()
{
    registerEntries<tryLoadWbf, loadBand, endLoad>();
}

void registerLoadWB()
{
    registerEntries<tryLoadWb, loadBand, endLoad>();
}
