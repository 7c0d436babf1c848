#include "color/nearest.h"

#include <algorithm>

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

u32 nearestColour(const NearestColour& search, u32 red, u32 green, u32 blue)
{
    const int wanted[3] = {static_cast<int>(red), static_cast<int>(green), static_cast<int>(blue)};
    int least = 3 * 255 * 255 + 1;
    u32 nearest = 0;
    auto tryLevel = [&](int level) {
        for (u32 i = search.first[level]; i < search.first[level + 1]; i++) {
            const SortedColour& colour = search.colours[i];
            const int dr = colour.rgb[0] - wanted[0], dg = colour.rgb[1] - wanted[1], db = colour.rgb[2] - wanted[2];
            const int distance = dr * dr + dg * dg + db * db;
            if (distance < least || (distance == least && colour.index < nearest)) {
                least = distance;
                nearest = colour.index;
            }
        }
    };
    const int level = wanted[search.channel];
    tryLevel(level);
    for (int away = 1; away < 256 && away * away <= least; away++) {
        if (level - away >= 0)
            tryLevel(level - away);
        if (level + away < 256)
            tryLevel(level + away);
    }
    return nearest;
}
