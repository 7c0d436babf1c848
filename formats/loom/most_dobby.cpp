// Weaves of the Most dobby (ORG). Numbers are little-endian.
//
//   0   width, height (32 bits each)
//   8   end after end, a byte a pick: a lift is not zero
//
// A picture has pick after pick, a bit an end. So tiles of 64 ends and 16 picks are turned: 8 ends become a vector of
// 16 bytes, A to H, and all neighbouring vectors are merged three times, until the 8 bytes of a pick stand together.
//
//   end  0  p0 p1 .. p15 |
//   ...                  |> A0 A1 .. A15 |
//   end  7  p0 p1 .. p15 |               |> A0 B0 A1 B1 .. |
//   end  8  p0 p1 .. p15 |               |                 |> A0 B0 C0 D0 A1 B1 C1 D1 .. |> A0 B0 .. H0   pick 0
//   ...                  |> B0 B1 .. B15 |                 |                             |  A1 B1 .. H1   pick 1
//   end 15  p0 p1 .. p15 |                                 |                             |  ...
//   ...                     C0 C1 .. C15    C0 D0 C1 D1 ..    E0 F0 G0 H0 E1 F1 G1 H1 ..    A15 .. H15    pick 15
//   a byte a pick           a bit an end    bytes merged      pairs merged                  fours merged
#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 headerBytes = 8;
constexpr size_t atWidth = 0;
constexpr size_t atHeight = 4;

constexpr u64 tileEnds = 64;
constexpr u64 tilePicks = 16;
constexpr u64 endsInByte = 8;

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = cardHeader(request.path, "org", headerBytes);
    if (header == nullptr)
        return loadWrongFormat;
    const u32 width = littleEndian32(header + atWidth);
    const u32 height = littleEndian32(header + atHeight);
    ChineseState& state = threadState().loom.chinese;
    const LoadStatus status =
        keepExactCards(request, headerBytes, state.rows, {"Most Dobby weave", width, height, width}, image);
    if (status == loadSuccess)
        state.columns = width;
    return status;
}

typedef u8 Picks __attribute__((vector_size(tilePicks)));
typedef u16 Pairs __attribute__((vector_size(tilePicks)));
typedef u32 Fours __attribute__((vector_size(tilePicks)));

// The bits of 8 neighbouring ends: a byte a pick.
void gatherEnds(const u8* ends, u64 height, Picks& bits)
{
    bits = Picks{};
    Picks bit = bits + u8{0x80};
    for (u64 i = 0; i < endsInByte; i++, bit >>= 1) {
        Picks lifts;
        memcpy(&lifts, ends + i * height, sizeof lifts);
        const Picks isLifted = (Picks)(lifts != 0);
        bits |= isLifted & bit;
    }
}

// Bytes, pairs or fours of the left and the right by turns: first those of the first half of the picks.
template <u32 together>
void merge(const Picks& left, const Picks& right, Picks& first, Picks& second)
{
    if constexpr (together == 1) {
        first = __builtin_shufflevector(left, right, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
        second = __builtin_shufflevector(left, right, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    } else if constexpr (together == 2) {
        first = (Picks)__builtin_shufflevector((Pairs)left, (Pairs)right, 0, 8, 1, 9, 2, 10, 3, 11);
        second = (Picks)__builtin_shufflevector((Pairs)left, (Pairs)right, 4, 12, 5, 13, 6, 14, 7, 15);
    } else {
        first = (Picks)__builtin_shufflevector((Fours)left, (Fours)right, 0, 4, 1, 5);
        second = (Picks)__builtin_shufflevector((Fours)left, (Fours)right, 2, 6, 3, 7);
    }
}

// Merges neighbours until all that belongs to a pick stands together: each time half as many hold half the picks.
template <u32 count>
void mergeAll(const Picks* vectors, u8* tile)
{
    if constexpr (count == 1) {
        memcpy(tile, vectors, sizeof *vectors);
    } else {
        Picks first[count / 2];
        Picks second[count / 2];
        for (u32 i = 0; i < count / 2; i++)
            merge<8 / count>(vectors[2 * i], vectors[2 * i + 1], first[i], second[i]);
        mergeAll<count / 2>(first, tile);
        mergeAll<count / 2>(second, tile + sizeof first);
    }
}

// Reads 16 picks of each of 64 ends and leaves 8 bytes a pick.
void turnTile(const u8* ends, u64 height, u8* tile)
{
    constexpr u32 groups = tileEnds / endsInByte;
    Picks bits[groups];
    for (u64 i = 0; i < groups; i++)
        gatherEnds(ends + endsInByte * i * height, height, bits[i]);
    mergeAll<groups>(bits, tile);
}

// Writes so many ends, the first of which stands at a multiple of 64 pixels.
void turnEnds(const u8* ends, u64 count, u64 height, u8* rows, u64 firstEnd, u64 bytesPerRow)
{
    for (u64 pick = 0; pick < height; pick += tilePicks) {
        const u64 picks = std::min(tilePicks, height - pick);
        for (u64 end = 0; end < count; end += tileEnds) {
            u8 tile[tilePicks * tileEnds / 8];
            turnTile(ends + end * height + pick, height, tile);
            const u64 offset = (firstEnd + end) / 8;
            if (offset >= bytesPerRow)
                break;
            u8* row = rows + pick * bytesPerRow + offset;
            const u64 room = bytesPerRow - offset;
            for (u64 i = 0; i < picks; i++, row += bytesPerRow) {
                if (room >= 8)
                    memcpy(row, tile + 8 * i, 8);
                else
                    memcpy(row, tile + 8 * i, room);
            }
        }
    }
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u64 blockBytes = 1 << 20;
    ChineseState& state = threadState().loom.chinese;
    if (state.rows.file == nullptr)
        return refuseUnopened();
    clearRows(rows, count, bytesPerRow);
    const u64 height = state.rows.rowsLeft;
    if (count != height)
        return refuse(loadDecoderError, "its %llu rows can only be loaded at once",
                      static_cast<unsigned long long>(height));
    if (height == 0) // all rows of another loader's file were delivered
        return loadSuccess;
    // As many ends at once as stay in the cache; those behind the last one stay clear.
    const u64 tiles = std::max<u64>(1, (u64{state.columns} + tileEnds - 1) / tileEnds);
    const u64 endsAtOnce = std::clamp<u64>(blockBytes / (height * tileEnds), 1, tiles) * tileEnds;
    Buffer block;
    if (!block.allocate(endsAtOnce * height + tilePicks))
        return refuseMemory();
    for (u64 end = 0; end < state.columns; end += endsAtOnce) {
        const u64 ends = std::min<u64>(endsAtOnce, state.columns - end);
        if (!readExactly(state.rows.file, block.bytes, ends * height))
            return refuse(loadBadData, "the file ends before its %u ends do", state.columns);
        memset(block.bytes + ends * height, 0, (endsAtOnce - ends) * height);
        turnEnds(block.bytes, ends, height, rows, end, bytesPerRow);
    }
    return loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.chinese.rows);
    return loadSuccess;
}

} // namespace

void registerLoadORG()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
