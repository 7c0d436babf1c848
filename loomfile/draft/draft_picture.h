// A draft as a picture: its drawdown, in its colours when it tells any.
#pragma once

#include <vector>

#include "loomfile/draft/drawdown.h"

struct DraftPicture {
    explicit DraftPicture(Draft given);
    DraftPicture(const DraftPicture&) = delete;
    DraftPicture& operator=(const DraftPicture&) = delete;

    // Kind, size, resolution and palette.
    void describe(LoomfileInfo& info) const;
    void draw(u32 firstPick, u32 count, u8* rows, u32 stride);

    const Draft draft;

private:
    Drawdown drawdown;
    u32 kind = kindBilevel;
    std::vector<Colour> palette;           // in the order of use, ends first; for kindIndexed
    std::vector<u8> endPixels, pickPixels; // what each is drawn with in colour
};
