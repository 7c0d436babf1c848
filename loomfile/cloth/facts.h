// What can be counted in a weave, row by row; the weave repeats in both directions.
#pragma once

#include <vector>

#include "tload.h"

// Crossings that a yarn passes without changing sides. Ends and picks are counted from 0.
struct Float {
    u32 length = 0;
    u32 end = 0; // where it begins
    u32 pick = 0;

    // The longer one; of two the one that begins first.
    void keepLonger(const Float& other);
};

class WeaveCount
{
public:
    WeaveCount(u32 endCount, u32 pickCount);

    // The next row: a bit an end from the highest on, 1 = the warp is up; bits behind the last end are clear.
    void take(const u8* bytes);
    // After the last row.
    void finish();

    Float over[2]; // of the warp, of the weft
    Float under[2];
    u64 warpUp = 0;        // crossings
    u64 changesOfEnds = 0; // from one side to the other, along all ends
    u64 changesOfPicks = 0;

private:
    void countPick();
    void countEnds();
    void keepWarp(u32 end, u32 from, u32 length, bool isUp);
    void keepWeft(u32 end, u32 length, bool isUp);
    bool isUp(const std::vector<u64>& words, u32 end) const { return (words[end / 64] >> (63 - end % 64) & 1) != 0; }

    u32 ends, picks;
    u32 pick = 0;                        // of the row
    std::vector<u64> first, before, row; // the first end in a word's highest bit
    // Of each end: where the float begins that is not over yet, and the first change.
    std::vector<u32> begin, firstChange;
};
