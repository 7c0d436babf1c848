// Tsudakoma dobby programs (DP5) of 128 ends.
//
//   0       8, 0
//   10      height (16 bits, little-endian)
//   14      2 or more
//   34134   the picks, 16 bytes each, the leftmost end in a byte's highest bit
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr i64 headerBytes = 34134;
constexpr u8 mark[] = {8, 0};
constexpr size_t atHeight = 10;
constexpr size_t atVersion = 14;
constexpr u8 leastVersion = 2;
constexpr u32 width = 128;
constexpr u32 rowBytes = width / 8;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = cardHeader(request.path, "dp5", headerBytes);
    if (header == nullptr)
        return loadWrongFormat;
    if (memcmp(header, mark, sizeof mark) != 0 || header[atVersion] < leastVersion)
        return refuseMark("Tsudakoma DP5");
    return keepExactCards(request, headerBytes, threadState().loom.takemura.rows,
                          {"Tsudakoma .DP5", width, littleEndian16(header + atHeight), rowBytes}, image);
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.takemura.rows;
    return tooFewIsUnreadable(slot, loadRows(slot, rows, count, bytesPerRow, BitOrder::asStored));
}

LoadStatus endLoad()
{
    release(threadState().loom.takemura.rows);
    return loadSuccess;
}

} // namespace

void registerLoadTsudakomaDP5()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
