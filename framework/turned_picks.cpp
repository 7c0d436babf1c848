#include "framework/turned_picks.h"
#include "framework/processor.h"

#include <algorithm>
#include <bit>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "rows are read and written as words");

namespace
{

// Four squares of 64 x 64 bits lie side by side, a square a lane, so that one instruction works on all of them.
typedef u64 Lanes __attribute__((vector_size(32), aligned(8)));
constexpr u64 laneCount = 4;
constexpr u64 chunkBytes = sizeof(Lanes);
constexpr u64 chunkWords = picksAtOnce * laneCount;

// In a square row i is pick i, and afterwards hook i: halves, quarters and so on down to single bits are exchanged
// across the diagonal.
[[gnu::always_inline]] inline void turnSquares(Lanes* rows)
{
    u64 mask = 0x00000000FFFFFFFF;
    for (u64 half = 32; half != 0; half /= 2, mask ^= mask << half) {
        for (u64 base = 0; base < 64; base += 2 * half) {
            for (u64 i = base; i < base + half; i++) {
                Lanes exchanged = (rows[i] >> half ^ rows[i + half]) & mask;
                rows[i] ^= exchanged << half;
                rows[i + half] ^= exchanged;
            }
        }
    }
}

// A whole chunk is copied as one register.
[[gnu::always_inline]] inline void copyChunk(void* destination, const void* source, u64 size)
{
    if (size == chunkBytes)
        memcpy(destination, source, chunkBytes);
    else
        memcpy(destination, source, size);
}

u64 chunksOf(u64 bytes)
{
    return (bytes + chunkBytes - 1) / chunkBytes;
}

u64* wordsOf(const TurnedPicks& turned, u64 firstPick)
{
    return reinterpret_cast<u64*>(turned.buffer.bytes) + firstPick / picksAtOnce * turned.blockWords;
}

[[gnu::always_inline]] inline void turnChunks(u64* words, const u8* stored, u64 pickBytes, u32 count)
{
    for (u64 done = 0; done < pickBytes; done += chunkBytes, words += chunkWords) {
        const u64 size = std::min(chunkBytes, pickBytes - done);
        Lanes rows[picksAtOnce];
        if (count < picksAtOnce || size < chunkBytes)
            memset(rows, 0, sizeof rows);
        for (u64 i = 0; i < count; i++)
            copyChunk(rows + i, stored + i * pickBytes + done, size);
        turnSquares(rows);
        memcpy(words, rows, sizeof rows);
    }
}

// sources holds the word of every column, in the order in which the squares want them.
[[gnu::always_inline]] inline void deliverChunks(u8* rows, u64 bytesPerRow, const u64* words, const u32* sources,
                                                 u64 rowBytes, u64 count)
{
    for (u64 done = 0; done < rowBytes; done += chunkBytes, sources += chunkWords) {
        u64 lifted[chunkWords];
        for (u64 i = 0; i < chunkWords; i++)
            lifted[i] = ~words[sources[i]];
        Lanes squares[picksAtOnce];
        memcpy(squares, lifted, sizeof squares);
        turnSquares(squares);
        const u64 size = std::min(chunkBytes, rowBytes - done);
        for (u64 i = 0; i < count; i++)
            copyChunk(rows + i * bytesPerRow + done, squares + i, size);
    }
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void turnChunksWide(u64* words, const u8* stored, u64 pickBytes, u32 count)
{
    turnChunks(words, stored, pickBytes, count);
}

__attribute__((target("avx2"))) void deliverChunksWide(u8* rows, u64 bytesPerRow, const u64* words, const u32* sources,
                                                       u64 rowBytes, u64 count)
{
    deliverChunks(rows, bytesPerRow, words, sources, rowBytes, count);
}
#endif

u64 bitsSet(u64 word)
{
    word -= word >> 1 & 0x5555555555555555;
    word = (word & 0x3333333333333333) + (word >> 2 & 0x3333333333333333);
    word = (word + (word >> 4)) & 0x0F0F0F0F0F0F0F0F;
    word += word >> 8;
    word += word >> 16;
    word += word >> 32;
    return word & 0x7F;
}

} // namespace

u64* wordsOfBlock(TurnedPicks& turned, u64 firstPick)
{
    u64* words = wordsOf(turned, firstPick);
    words[turned.blockWords - 1] = ~static_cast<u64>(0);
    return words;
}

u64 wordOfHook(u64 hook)
{
    return hook / chunkWords * chunkWords + hook % 64 * laneCount + hook / 64 % laneCount;
}

bool allocateTurned(TurnedPicks& turned, u32 pickBytes, u32 picks)
{
    turned.pickBytes = pickBytes;
    turned.picks = picks;
    turned.blockWords = chunksOf(pickBytes) * chunkWords + 1;
    u64 blocks = (static_cast<u64>(picks) + picksAtOnce - 1) / picksAtOnce;
    return turned.buffer.allocate(blocks * turned.blockWords * sizeof(u64)) &&
           turned.stored.allocate(static_cast<u64>(picksAtOnce) * pickBytes);
}

void turnPicks(TurnedPicks& turned, u32 firstPick, const u8* stored, u32 count)
{
    u64* words = wordsOfBlock(turned, firstPick);
#if defined(__x86_64__)
    if (processorHas(processorAvx2)) {
        turnChunksWide(words, stored, turned.pickBytes, count);
        return;
    }
#endif
    turnChunks(words, stored, turned.pickBytes, count);
}

void countSetBits(const TurnedPicks& turned, u64* counts)
{
    for (u64 pick = 0; pick < turned.picks; pick += picksAtOnce) {
        const u64* words = wordsOf(turned, pick);
        for (u64 i = 0; i < turned.blockWords; i++)
            counts[i] += bitsSet(words[i]);
    }
}

bool deliverTurned(const TurnedPicks& turned, const HookMap& map, u8* rows, u64 bytesPerRow, RowEnd rowEnd)
{
    const u64 rowBytes = std::min(bytesPerRow, (map.columns + 7) / 8);
    const u64 columns = chunksOf(rowBytes) * chunkWords;
    Buffer sourceBuffer;
    if (!sourceBuffer.allocate(columns * sizeof(u32)))
        return false;
    auto* sources = reinterpret_cast<u32*>(sourceBuffer.bytes);
    const u64 hooks = 8ull * turned.pickBytes;
    for (u64 column = 0; column < columns; column++) {
        // A row is written in words whose lowest byte comes first, and its leftmost pixel is a byte's highest bit.
        const u64 source = wordOfHook(column ^ 7);
        const bool exists = column < map.columns && hooksOf(map)[column] < hooks;
        sources[source] = static_cast<u32>(exists ? wordOfHook(hooksOf(map)[column]) : turned.blockWords - 1);
    }

    for (u64 pick = 0; pick < turned.picks; pick += picksAtOnce) {
        const u64 count = std::min<u64>(picksAtOnce, turned.picks - pick);
        const u64* words = wordsOf(turned, pick);
        u8* block = rows + pick * bytesPerRow;
        for (u64 i = 0; rowEnd == RowEnd::cleared && i < count; i++)
            memset(block + i * bytesPerRow + rowBytes, 0, bytesPerRow - rowBytes);
#if defined(__x86_64__)
        if (processorHas(processorAvx2)) {
            deliverChunksWide(block, bytesPerRow, words, sources, rowBytes, count);
            continue;
        }
#endif
        deliverChunks(block, bytesPerRow, words, sources, rowBytes, count);
    }
    return true;
}
