// A draft as it is to be drawn.
#pragma once

#include <vector>

#include "loomfile/drawing/pen.h"

struct Range {
    u32 first = 0;
    u32 count = 0;

    u32 behind() const { return first + count; }
};

struct View {
    View(const LoomfileDraft* shown, const LoomfileDrawing& drawing);

    // Shafts or treadles, from 1 on.
    std::vector<u16> shaftsOfEnd(u32 end) const { return numbers(loomfileThreading, end); }
    std::vector<u16> shaftsOfTreadle(u32 treadle) const { return numbers(loomfileTieUp, treadle); }
    std::vector<u16> sideOfPick(u32 pick) const; // treadles, or the shafts that are up
    // Rows of the drawdown, a bit an end; they last until other picks are asked for.
    const u8* drawdown(Range picks);
    u32 drawdownBytes() const { return (info.ends + 7) / 8; }

    const LoomfileDraft* draft;
    LoomfileDraftInfo info;
    bool isBelow;
    bool hasLiftPlan;           // at the side, else the treadling
    bool isColoured;            // the drawdown
    u32 sideCount;              // columns at the side
    std::vector<u8> warp, weft; // colours; empty when there are none

private:
    std::vector<u16> numbers(u32 list, u32 index) const;

    Range drawn;
    std::vector<u8> rows;
};
