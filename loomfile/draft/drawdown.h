// Draws the rows of a draft that is prepared once.
#pragma once

#include "loomfile/draft/draft.h"

struct Drawdown {
    // Which must outlive it.
    explicit Drawdown(const Draft& given);

    void draw(u32 firstPick, u32 count, u8* rows, u32 stride);

private:
    using Words = std::vector<u64>; // bits in the order of the rows' bytes

    void addShaft(u32 shaft, Words& row) const;
    void addShafts(const std::vector<u64>& lifted, Words& row) const;
    const Words& treadleRow(u32 treadle);
    void drawPick(u32 pick, Words& row);

    const Draft& draft;
    size_t rowWords;
    std::vector<u32> firstOfShaft;  // in ends, and one more
    std::vector<u32> ends;          // of each shaft, one shaft after the other
    std::vector<Words> shaftRows;   // of shafts with many ends, else empty
    std::vector<Words> treadleRows; // empty until they are needed
};
