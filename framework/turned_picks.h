// A band of picks, turned by a quarter: where the file has the bits of one pick side by side, there is one word for
// each hook and block of 64 picks, bit i of which is pick i. Moving a word moves a hook of 64 picks at once.
#pragma once

#include "framework/file.h"

constexpr u32 picksAtOnce = 64;
constexpr u32 noHook = 0xFFFFFFFF; // of a column that stays light

struct TurnedPicks {
    Buffer buffer;
    Buffer stored; // room for 64 picks as they are stored
    u32 pickBytes = 0;
    u32 picks = 0;
    u64 blockWords = 0; // words of a block; the last of them is hooks that do not exist
};

// Which hook stands in which column of the picture.
struct HookMap {
    Buffer buffer;
    u64 columns = 0;
};

inline const u32* hooksOf(const HookMap& map)
{
    return reinterpret_cast<const u32*>(map.buffer.bytes);
}

// False when memory does not suffice.
bool allocateTurned(TurnedPicks& turned, u32 pickBytes, u32 picks);

// Takes up to 64 picks as they are stored, the first hook of each in its lowest bit. firstPick is a multiple of 64.
void turnPicks(TurnedPicks& turned, u32 firstPick, const u8* stored, u32 count);

// The words of the block of 64 picks that begins at firstPick, to be filled by whoever has the picks of a hook side by
// side: that of a hook stands at wordOfHook(), its bits are as turnPicks() takes them.
u64* wordsOfBlock(TurnedPicks& turned, u64 firstPick);
u64 wordOfHook(u64 hook);

// Adds to counts[i], for the hook that wordOfHook() places at i, how many picks have its bit set; blockWords entries.
void countSetBits(const TurnedPicks& turned, u64* counts);

// What becomes of the bytes between a row and the next.
enum class RowEnd { cleared, kept };

// Writes a row a pick. A clear bit of the file is a dark pixel; columns without a hook are light. False when memory
// does not suffice.
bool deliverTurned(const TurnedPicks& turned, const HookMap& map, u8* rows, u64 bytesPerRow, RowEnd rowEnd);
