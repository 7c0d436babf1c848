// Act water jet loom programs (WJL) of 40 ends.
//
//   0    "wjl&sb"
//   20   height (16 bits, little-endian)
//   28   the picks, 40 characters each: '1' is a lift, the first end comes last
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr std::string_view mark = "wjl&sb";
constexpr i64 headerBytes = 28;
constexpr size_t atHeight = 20;
constexpr u32 width = 40;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = cardHeader(request.path, "wjl", headerBytes, mark);
    if (header == nullptr)
        return loadWrongFormat;
    if (request.path[strlen(request.path) - 1] != 'l')
        return refuse(loadWrongFormat, "the last letter of its name is a capital");
    return keepExactCards(request, headerBytes, threadState().loom.takemura.rows,
                          {"Act .WJL", width, littleEndian16(header + atHeight), width}, image);
}

// A bit for each of 8 characters, the first in the lowest: set where it is '1'.
u8 liftsOf(const u8* characters)
{
    constexpr u64 ones = 0x0101010101010101 * u64{'1'};
    constexpr u64 lowBits = 0x7F7F7F7F7F7F7F7F;
    u64 text;
    memcpy(&text, characters, sizeof text);
    const u64 difference = text ^ ones;
    const u64 same = ~(((difference & lowBits) + lowBits) | difference | lowBits); // the highest bit of each byte
    return static_cast<u8>((same >> 7) * 0x0102040810204080 >> 56);
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowFile& slot = threadState().loom.takemura.rows;
    if (slot.file == nullptr)
        return refuseUnopened();
    clearRows(rows, count, bytesPerRow);
    const LoadStatus status = convertRows(slot, count, width, [&](const u8* stored, u64 row) {
        u8 lifts[width / 8];
        for (u32 i = 0; i < sizeof lifts; i++)
            lifts[i] = liftsOf(stored + 8 * (sizeof lifts - 1 - i));
        deliverRow(rows + row * bytesPerRow, lifts, sizeof lifts, bytesPerRow);
    });
    return tooFewIsUnreadable(slot, status);
}

LoadStatus endLoad()
{
    release(threadState().loom.takemura.rows);
    return loadSuccess;
}

} // namespace

void registerLoadActWJL()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
