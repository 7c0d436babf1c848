// The distinct colours of a picture in the order of their first appearance.
#pragma once

#include <cstring>

#include "tload.h"

struct DistinctColours {
    static constexpr u32 most = 256;
    static constexpr u32 slots = 4096; // few enough for the first cache, enough for nearly no colour to share one

    u32 count = 0;
    u8 palette[3 * most];
    u32 keys[slots] = {}; // a colour's key + 1, 0 = free
    u8 indices[slots];
};

// A number for each colour, whatever the order of bytes in numbers.
inline u32 colourKey(const u8* rgb)
{
    u16 redGreen;
    memcpy(&redGreen, rgb, sizeof redGreen);
    return redGreen | u32{rgb[2]} << 16;
}

// The slot of a colour, which is added when it is new; DistinctColours::slots when that makes more than limit colours.
inline u32 slotOf(DistinctColours& list, const u8* rgb, u32 limit)
{
    const u32 taken = colourKey(rgb) + 1;
    u32 slot = taken * 0x9E3779B1U >> 20;
    while (list.keys[slot] != taken) {
        if (list.keys[slot] == 0) {
            if (list.count == limit)
                return DistinctColours::slots;
            list.keys[slot] = taken;
            list.indices[slot] = static_cast<u8>(list.count);
            memcpy(list.palette + 3 * u64{list.count++}, rgb, 3);
            break;
        }
        slot = (slot + 1) % DistinctColours::slots;
    }
    return slot;
}
