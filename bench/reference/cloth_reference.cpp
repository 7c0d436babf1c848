#include "bench/reference/cloth_reference.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr u64 onePlace = u64{1} << 32;

u64 placeOf(u32 pixel, double corner, double pixelsAThread, u32 threads, u32 repeated)
{
    double within = std::fmod(corner - 0.5, threads);
    within += within < 0 ? threads : 0;
    const auto step = static_cast<u64>(std::llround(onePlace / pixelsAThread));
    return (static_cast<u64>(std::llround(within * onePlace)) + step / 2 + step * pixel) % (repeated * onePlace);
}

struct Crossing {
    bool isUp;
    Light seen;
};

Crossing crossingAt(const Cloth& cloth, u32 end, u32 pick)
{
    const ClothDesign& design = cloth.design;
    const bool isUp = design.weave.empty()
                          ? (end + pick) % 2 == 0
                          : (design.weave[u64{pick} * ((design.ends + 7) / 8) + end / 8] & 0x80 >> end % 8) != 0;
    if (design.crossings.empty())
        return {isUp, isUp ? cloth.warpLight[end] : cloth.weftLight[pick]};
    const u8* bytes = &design.crossings[(u64{pick} * design.ends + end) * design.crossingBytes];
    return {isUp, design.crossingBytes == 1 ? cloth.paletteLight[*bytes] : cloth.tables.of(bytes)};
}

struct Sums {
    u32 channels[3] = {};
    void add(const Light& light, u32 weight)
    {
        for (u32 i = 0; i < 3; i++)
            channels[i] += static_cast<u32>(light[i]) * weight;
    }
};

u32 samplesOf(double pixels)
{
    return std::clamp<u32>(static_cast<u32>(std::lround(64 / pixels)), 1, 32);
}

void addTile(const Cloth& cloth, const ClothView& view, const Shares& shares, u64 x, u64 y, Sums& sums)
{
    const ClothDesign& design = cloth.design;
    const auto end = static_cast<u32>(x / onePlace), pick = static_cast<u32>(y / onePlace);
    const u32 nextEnd = (end + 1) % design.ends, nextPick = (pick + 1) % design.picks;
    const Crossing a = crossingAt(cloth, end, pick), b = crossingAt(cloth, nextEnd, pick),
                   c = crossingAt(cloth, end, nextPick), d = crossingAt(cloth, nextEnd, nextPick);
    Light yarns[4];
    if (design.crossings.empty()) {
        yarns[leftEnd] = cloth.warpLight[end];
        yarns[rightEnd] = cloth.warpLight[nextEnd];
        yarns[upperPick] = cloth.weftLight[pick];
        yarns[lowerPick] = cloth.weftLight[nextPick];
    } else {
        yarns[leftEnd] = a.isUp ? a.seen : c.seen;
        yarns[rightEnd] = d.isUp ? d.seen : b.seen;
        yarns[upperPick] = b.isUp ? a.seen : b.seen;
        yarns[lowerPick] = c.isUp ? d.seen : c.seen;
    }
    const u32 look = (a.isUp ? 1 : 0) + (b.isUp ? 2 : 0) + (c.isUp ? 4 : 0) + (d.isUp ? 8 : 0);
    const u32 column = x / (onePlace / 64) % 64, row = y / (onePlace / 64) % 64;
    const u32 width = samplesOf(view.pixelsAnEnd), height = samplesOf(view.pixelsAPick);
    const u64 reciprocal = (onePlace + width * height / 2) / (width * height);
    for (u32 yarn = 0; yarn < 4; yarn++) {
        u64 sum = 0;
        for (u32 i = 0; shares.yarns != 0 && i < height; i++)
            for (u32 j = 0; j < width; j++)
                sum +=
                    cloth.looks.at(look, tileMargin + row - height / 2 + i, tileMargin + column - width / 2 + j)[yarn];
        const u32 soft = cloth.softWeights[(row * 16 + look) * 64 + column][yarn];
        sums.add(yarns[yarn],
                 static_cast<u32>((sum * reciprocal / onePlace) * shares.yarns + soft * shares.soft) / 256);
    }
}

void addLevel(const Cloth& cloth, const Level& level, u32 share, u64 x, u64 y, Sums& sums)
{
    auto middle = [](u64 place, u32 threads, u32 blocks) {
        return (place * blocks / threads + blocks * onePlace - onePlace / 2) % (blocks * onePlace);
    };
    const u64 across = middle(x, cloth.levelEnds, level.columns), along = middle(y, cloth.levelPicks, level.rows);
    const u32 fractionX = across / (onePlace / 256) % 256, fractionY = along / (onePlace / 256) % 256;
    const u32 behindX = fractionX * share / 4, beforeX = share * 64 - behindX;
    for (u32 i = 0; i < 2; i++) {
        const u64 column = (across / onePlace + i) % level.columns;
        const u64 row = along / onePlace, next = (row + 1) % level.rows;
        Light light{};
        for (u32 channel = 0; channel < 3; channel++) {
            const u32 above = level.roots[(row * level.columns + column) * 4 + channel];
            const u32 below = level.roots[(next * level.columns + column) * 4 + channel];
            light[channel] =
                static_cast<i16>((above * above / 2 * (256 - fractionY) + below * below / 2 * fractionY) / 256);
        }
        sums.add(light, i == 0 ? beforeX : behindX);
    }
}

} // namespace

void plainCloth(const Cloth& cloth, const ClothView& view, u32 firstRow, u32 count, u8* rows, u64 stride,
                u32 bytesPerPixel)
{
    const Shares shares = sharesOf(cloth, view);
    const u32 ends = cloth.design.ends, picks = cloth.design.picks;
    for (u32 y = 0; y < count; y++) {
        for (u32 x = 0; x < view.width; x++) {
            Sums sums;
            if (shares.yarns + shares.soft != 0)
                addTile(cloth, view, shares, placeOf(x, view.left, view.pixelsAnEnd, ends, ends),
                        placeOf(firstRow + y, view.top, view.pixelsAPick, picks, picks), sums);
            const u64 across = placeOf(x, view.left, view.pixelsAnEnd, ends, cloth.levelEnds);
            const u64 along = placeOf(firstRow + y, view.top, view.pixelsAPick, picks, cloth.levelPicks);
            if (shares.fine != 0)
                addLevel(cloth, cloth.levels[shares.fineLevel], shares.fine, across, along, sums);
            if (shares.coarse != 0)
                addLevel(cloth, cloth.levels[shares.coarseLevel], shares.coarse, across, along, sums);
            u8* pixel = rows + y * stride + u64{x} * bytesPerPixel;
            for (u32 channel = 0; channel < 3; channel++)
                pixel[channel] = cloth.tables.byteOf[sums.channels[channel] >> 16];
            if (bytesPerPixel == 4)
                pixel[3] = 255;
        }
    }
}
