// The distinct colours of a picture in the order of their first appearance.
#pragma once

#include "tload.h"

struct DistinctColours {
    static constexpr u32 most = 256;
    static constexpr u32 slots = 4096; // few enough for the first cache, enough for nearly no colour to share one

    u32 count = 0;
    u8 palette[3 * most];
    u32 keys[slots] = {}; // colour + 1, 0 = free
    u8 indices[slots];
};

constexpr u32 packedColour(const u8* rgb)
{
    return u32{rgb[0]} << 16 | u32{rgb[1]} << 8 | rgb[2];
}

// The slot of a colour, which is added when it is new; DistinctColours::slots when that makes more than limit colours.
inline u32 slotOf(DistinctColours& list, u32 colour, u32 limit)
{
    u32 slot = colour * 0x9E3779B1U >> 20;
    while (list.keys[slot] != colour + 1) {
        if (list.keys[slot] == 0) {
            if (list.count >= limit)
                return DistinctColours::slots;
            list.keys[slot] = colour + 1;
            list.indices[slot] = static_cast<u8>(list.count);
            u8* rgb = list.palette + 3 * u64{list.count++};
            rgb[0] = static_cast<u8>(colour >> 16);
            rgb[1] = static_cast<u8>(colour >> 8);
            rgb[2] = static_cast<u8>(colour);
            break;
        }
        slot = (slot + 1) % DistinctColours::slots;
    }
    return slot;
}
