// The palette colour nearest to a pixel, looked up once for each cell of similar colours.
#pragma once

#include "color/block.h"

constexpr u32 cellLevels = 64; // of each channel
constexpr u32 cellCount = cellLevels * cellLevels * cellLevels;

constexpr u32 cellOf(u32 red, u32 green, u32 blue)
{
    return (red >> 2) << 12 | (green >> 2) << 6 | blue >> 2;
}

struct SortedColour {
    u8 rgb[3];
    u32 index; // in the palette
};

// The palette sorted by the channel in which its colours differ most. A colour that is known to be near, the one found
// last for a colour of the same block, limits the levels among which a nearer one can be found.
struct NearestColour {
    static constexpr u32 blockLevels = 16; // of each channel

    Block<SortedColour> colours;
    u32 first[257]; // of the colours with each level
    u32 count;
    int channel;
    u16 found[blockLevels * blockLevels * blockLevels]; // places among the sorted colours
};

// Room for so many colours; false when memory does not suffice.
bool reservePalette(NearestColour& search, u32 count);
void sortPalette(NearestColour& search, const u8* palette, u32 count);
// The colour at the least squared distance, of several the one with the lowest index; 0 for an empty palette.
u32 nearestColour(NearestColour& search, u32 red, u32 green, u32 blue);

// Every cell keeps the palette colour that was nearest to the first pixel that fell into it.
template <typename Index>
struct CellCache {
    NearestColour search;
    Block<Index> map;
    Block<u8> resolved; // a bit a cell
};

template <typename Index>
bool allocateCells(CellCache<Index>& cache)
{
    cache.map = allocateBlock<Index>(cellCount);
    cache.resolved = allocateBlock<u8>(cellCount / 8);
    return cache.map != nullptr && cache.resolved != nullptr;
}

template <typename Index>
inline u32 cachedColour(CellCache<Index>& cache, u32 red, u32 green, u32 blue)
{
    const u32 cell = cellOf(red, green, blue);
    if ((cache.resolved[cell / 8] >> cell % 8 & 1) == 0) [[unlikely]] {
        cache.map[cell] = static_cast<Index>(nearestColour(cache.search, red, green, blue));
        cache.resolved[cell / 8] |= static_cast<u8>(1 << cell % 8);
    }
    return cache.map[cell];
}
