#include "color/nearest.h"

#include <algorithm>
#include <cmath>

static int widestChannel(const u8* palette, u32 count)
{
    int widest = 0;
    int greatestRange = -1;
    for (int channel = 0; channel < 3; channel++) {
        int least = 255, most = 0;
        for (u64 i = 0; i < count; i++) {
            least = std::min(least, int{palette[3 * i + channel]});
            most = std::max(most, int{palette[3 * i + channel]});
        }
        if (most - least > greatestRange) {
            greatestRange = most - least;
            widest = channel;
        }
    }
    return widest;
}

bool reservePalette(NearestColour& search, u32 count)
{
    search.colours = allocateBlock<SortedColour>(std::max(count, 1U));
    return search.colours != nullptr;
}

void sortPalette(NearestColour& search, const u8* palette, u32 count)
{
    search.channel = widestChannel(palette, count);
    search.count = count;
    std::fill(std::begin(search.found), std::end(search.found), u16{0});
    u32 next[257] = {};
    for (u64 i = 0; i < count; i++)
        next[palette[3 * i + search.channel] + 1]++;
    for (u32 level = 0; level < 256; level++)
        next[level + 1] += next[level];
    std::copy(std::begin(next), std::end(next), search.first);
    for (u32 i = 0; i < count; i++) {
        const u8* rgb = palette + 3 * u64{i};
        search.colours[next[rgb[search.channel]]++] = {{rgb[0], rgb[1], rgb[2]}, i};
    }
}

static u32 distanceTo(const SortedColour& colour, u32 red, u32 green, u32 blue)
{
    const int dr = colour.rgb[0] - static_cast<int>(red);
    const int dg = colour.rgb[1] - static_cast<int>(green);
    const int db = colour.rgb[2] - static_cast<int>(blue);
    return static_cast<u32>(dr * dr + dg * dg + db * db);
}

u32 nearestColour(NearestColour& search, u32 red, u32 green, u32 blue)
{
    if (search.count == 0)
        return 0;
    const u32 levels[3] = {red, green, blue};
    const u32 level = levels[search.channel];
    u16& found = search.found[(red >> 4) << 8 | (green >> 4) << 4 | blue >> 4];
    const u32 known = distanceTo(search.colours[found], red, green, blue);
    const u32 reach = static_cast<u32>(std::sqrt(static_cast<float>(known)));
    const u32 begin = search.first[level - std::min(level, reach)];
    const u32 end = search.first[std::min(level + reach, 255U) + 1];
    // Distance, index in the palette and place in the sorted one in a single number, to compare without branches.
    u64 best = UINT64_MAX;
    for (u32 i = begin; i < end; i++) {
        const SortedColour& colour = search.colours[i];
        const u64 distance = distanceTo(colour, red, green, blue);
        best = std::min(best, distance << 32 | u64{colour.index} << 16 | i);
    }
    found = static_cast<u16>(best);
    return best >> 16 & 0xFFFF;
}
