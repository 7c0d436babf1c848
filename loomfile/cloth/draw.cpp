// Draws a view of a cloth. Places are numbers of threads with 32 bits behind the point, so that a pixel's place does
// not depend on the pixels before it.
#include <algorithm>
#include <cmath>
#include <memory>

#include "loomfile/cloth/cloth.h"

namespace
{

constexpr int placeBits = 32;
constexpr u64 onePlace = u64{1} << placeBits;
constexpr int phaseBits = 6; // of a place's sample in its tile
static_assert(1 << phaseBits == tileSamples);

// The pixels of one direction.
struct Places {
    u64 first; // the middle of pixel 0; tile 0 begins at 0
    u64 step;

    Places(double corner, double pixelsAThread, u32 threads)
    {
        double within = std::fmod(corner - 0.5, threads);
        if (within < 0)
            within += threads;
        step = static_cast<u64>(std::llround(double{onePlace} / pixelsAThread));
        first = static_cast<u64>(std::llround(within * double{onePlace})) + step / 2;
    }
    u64 of(u32 pixel, u32 threads) const { return (first + step * pixel) % (u64{threads} << placeBits); }
};

struct Spot {
    u32 index;
    u32 fraction;
};

Spot tileAt(u64 place)
{
    return {static_cast<u32>(place >> placeBits), static_cast<u32>(place >> (placeBits - phaseBits)) % tileSamples};
}

// The block before a place and how far the place lies behind its middle, in parts of wholeShare.
Spot blockAt(u64 place, u32 threads, u32 blocks)
{
    u64 inBlocks = place * blocks / threads;
    inBlocks += inBlocks >= onePlace / 2 ? 0 : u64{blocks} << placeBits;
    inBlocks -= onePlace / 2;
    return {static_cast<u32>(inBlocks >> placeBits), static_cast<u32>(inBlocks >> (placeBits - 8)) % wholeShare};
}

// How many tiles or blocks a view spans, the repeat at most.
u32 spanned(const Places& places, u32 pixels, u32 threads, u32 blocks)
{
    const u64 span = (places.step * (pixels - 1) >> placeBits) * blocks / threads + 3;
    return static_cast<u32>(std::min<u64>(span, blocks));
}

template <typename Lanes>
void mixRoots(const u8* upper, const u8* lower, u32 fraction, i16* mixed, u64 size)
{
    const u16 weights[] = {static_cast<u16>(wholeShare - fraction), static_cast<u16>(fraction)};
    u64 i = 0;
    for (; i + Lanes::rootsAtOnce <= size; i += Lanes::rootsAtOnce)
        Lanes::mixRoots(upper + i, lower + i, weights, mixed + i);
    for (; i < size; i++)
        PlainLanes::mixRoots(upper + i, lower + i, weights, mixed + i);
}

// The part of a level that is seen, and where the pixels lie in it.
struct LevelColumns {
    const Level* level;
    u32 share;
    u32 firstBlock;
    u32 count;
    std::vector<u32> block;   // of each pixel, counted from the first
    std::vector<u16> weights; // two a pixel
    std::vector<i16> light;   // of the row's blocks, and the first one again behind the last

    LevelColumns(const Cloth& cloth, u32 number, u32 levelShare, const Places& places, u32 width)
        : level(&cloth.levels[number]), share(levelShare), block(width), weights(2 * size_t{width})
    {
        const u32 columns = level->columns;
        firstBlock = blockAt(places.of(0, cloth.levelEnds), cloth.levelEnds, columns).index;
        count = spanned(places, width, cloth.levelEnds, columns);
        light.resize((u64{count} + 1) * 4);
        for (u32 x = 0; x < width; x++) {
            const Spot spot = blockAt(places.of(x, cloth.levelEnds), cloth.levelEnds, columns);
            block[x] = (spot.index + columns - firstBlock) % columns;
            weights[2 * size_t{x} + 1] = static_cast<u16>(spot.fraction * share / 4);
            weights[2 * size_t{x}] = static_cast<u16>(share * (fullWeight / wholeShare) - weights[2 * size_t{x} + 1]);
        }
    }

    // Mixes two rows of blocks.
    template <typename Lanes>
    void takeRow(u64 place, u32 threads)
    {
        const Spot spot = blockAt(place, threads, level->rows);
        const u32 next = spot.index + 1 == level->rows ? 0 : spot.index + 1;
        const u64 rowBytes = u64{level->columns} * 4;
        const u8* upper = &level->roots[spot.index * rowBytes];
        const u8* lower = &level->roots[next * rowBytes];
        u64 column = firstBlock;
        for (u64 i = 0; i <= count;) {
            const u64 part = std::min<u64>(count + 1 - i, level->columns - column);
            mixRoots<Lanes>(upper + 4 * column, lower + 4 * column, spot.fraction, &light[4 * i], 4 * part);
            i += part;
            column = 0;
        }
    }
};

// The weights of every look at a zoom, for each place in a tile; rows of places are made when they are needed.
class TileTable
{
public:
    TileTable(const Cloth& drawn, const ClothView& view, const Shares& given)
        : cloth(drawn), shares(given), width(samplesAPixel(view.pixelsAnEnd)), height(samplesAPixel(view.pixelsAPick))
    {
        weights.resize(tileSamples);
    }

    // From the first look and the first place on.
    const u16* row(u32 phase)
    {
        if (weights[phase].empty()) {
            weights[phase].resize(lookCount * tileSamples);
            fill(phase);
        }
        return weights[phase].front().data();
    }

private:
    static u32 samplesAPixel(double pixels)
    {
        return std::clamp<u32>(static_cast<u32>(std::lround(tileSamples / pixels)), 1, tileSamples / 2);
    }

    void fill(u32 phase)
    {
        if (shares.yarns == 0) {
            fillSoft(phase);
            return;
        }
        constexpr u32 side = lookSamples + 1;
        const u32 top = tileMargin + phase - height / 2;
        const u32 left = tileMargin - width / 2;
        const u64 reciprocal = ((u64{1} << 32) + width * height / 2) / (width * height);
        for (u32 look = 0; look < lookCount; look++) {
            const u32* upper = &cloth.sums[((u64{look} * side + top) * side + left) * tileYarns];
            const u32* lower = upper + u64{height} * side * tileYarns;
            const u32 across = width * tileYarns;
            u16* out = weights[phase][u64{look} * tileSamples].data();
            const u16* soft = cloth.softWeights[(u64{phase} * lookCount + look) * tileSamples].data();
            for (u32 i = 0; i < tileSamples * tileYarns; i++) {
                const u32 sum = lower[i + across] - lower[i] - upper[i + across] + upper[i];
                const auto yarns = static_cast<u32>(sum * reciprocal >> 32);
                out[i] = static_cast<u16>((yarns * shares.yarns + soft[i] * shares.soft) >> 8);
            }
        }
    }

    void fillSoft(u32 phase)
    {
        const u16* soft = cloth.softWeights[u64{phase} * lookCount * tileSamples].data();
        u16* out = weights[phase].front().data();
        for (u32 i = 0; i < lookCount * tileSamples * tileYarns; i++)
            out[i] = static_cast<u16>(soft[i] * shares.soft >> 8);
    }

    const Cloth& cloth;
    const Shares& shares;
    u32 width, height; // of a pixel, in samples
    std::vector<std::vector<Weights>> weights;
};

// What one row of pixels is made of.
struct LevelParts {
    const u32* block; // of each pixel
    const u16* weights;
    const i16* light;
};

struct RowParts {
    const u32* tile;   // of each pixel
    const u16* weight; // of each pixel, in the table's row
    const u16* table;
    const LightPair* ends;
    const LightPair* picks;
    u32 pickStep;
    LevelParts levels[2];
};

template <typename Lanes>
typename Lanes::Sums levelSums(const LevelParts& level, u32 x)
{
    return Lanes::mixNeighbours(level.light + u64{level.block[x]} * 4, level.weights + 2 * u64{x});
}

template <typename Lanes, bool hasTiles, u32 levelCount, u32 bytesPerPixel>
void drawPixels(const RowParts& given, const u8* byteOf, u32 width, u8* pixels)
{
    const RowParts parts = given; // which the bytes that are written might else change
    for (u32 x = 0; x < width; x++) {
        typename Lanes::Sums sums = Lanes::none();
        if constexpr (hasTiles) {
            const u32 tile = parts.tile[x];
            sums = Lanes::mixFour(parts.ends[tile].data(), parts.picks[u64{tile} * parts.pickStep].data(),
                                  parts.table + u64{parts.weight[x]} * tileYarns);
        }
        if constexpr (levelCount > 0)
            sums = Lanes::add(sums, levelSums<Lanes>(parts.levels[0], x));
        if constexpr (levelCount > 1)
            sums = Lanes::add(sums, levelSums<Lanes>(parts.levels[1], x));
        const u64 light = Lanes::template shifted<16>(sums);
        u8* pixel = pixels + u64{x} * bytesPerPixel;
        if constexpr (bytesPerPixel == 4) {
            const u32 word = byteOf[light & 0xFFFF] | u32{byteOf[light >> 16 & 0xFFFF]} << 8 |
                             u32{byteOf[light >> 32]} << 16 | 0xFF000000U;
            memcpy(pixel, &word, sizeof word);
        } else {
            pixel[0] = byteOf[light & 0xFFFF];
            pixel[1] = byteOf[light >> 16 & 0xFFFF];
            pixel[2] = byteOf[light >> 32];
        }
    }
}

using DrawPixels = void (*)(const RowParts&, const u8*, u32, u8*);

template <typename Lanes, u32 bytesPerPixel>
DrawPixels drawingOf(bool hasTiles, u64 levelCount)
{
    if (!hasTiles)
        return &drawPixels<Lanes, false, 2, bytesPerPixel>;
    return levelCount == 0 ? &drawPixels<Lanes, true, 0, bytesPerPixel> : &drawPixels<Lanes, true, 1, bytesPerPixel>;
}

DrawPixels drawingOf(bool hasTiles, u64 levelCount, u32 bytesPerPixel, bool plainLanes)
{
    if (plainLanes)
        return bytesPerPixel == 4 ? drawingOf<PlainLanes, 4>(hasTiles, levelCount)
                                  : drawingOf<PlainLanes, 3>(hasTiles, levelCount);
    return bytesPerPixel == 4 ? drawingOf<FastLanes, 4>(hasTiles, levelCount)
                              : drawingOf<FastLanes, 3>(hasTiles, levelCount);
}

// The tiles that are seen, and where the pixels lie in them.
struct TileColumns {
    u32 firstEnd;
    u32 count;
    std::vector<u32> tile; // of each pixel, counted from the first end's
    std::vector<u8> phase;
    std::vector<u16> weight; // of each pixel of the row
    TileRow row;
    u32 takenPick = UINT32_MAX;

    TileColumns(const Cloth& cloth, const Places& places, u32 width) : tile(width), phase(width), weight(width)
    {
        const u32 ends = cloth.design.ends;
        firstEnd = tileAt(places.of(0, ends)).index;
        count = spanned(places, width, ends, ends);
        for (u32 x = 0; x < width; x++) {
            const Spot spot = tileAt(places.of(x, ends));
            tile[x] = (spot.index + ends - firstEnd) % ends;
            phase[x] = static_cast<u8>(spot.fraction);
        }
    }

    void takePick(const Cloth& cloth, u32 pick)
    {
        if (takenPick == pick)
            return;
        takenPick = pick;
        row.take(cloth, pick, firstEnd, count);
        for (size_t x = 0; x < weight.size(); x++)
            weight[x] = static_cast<u16>(row.looks[tile[x]] * tileSamples + phase[x]);
    }
};

} // namespace

Shares sharesOf(const Cloth& cloth, const ClothView& view)
{
    const double zoom = std::min(view.pixelsAnEnd, view.pixelsAPick);
    auto part = [](double share) { return static_cast<u32>(std::lround(std::clamp(share, 0.0, 1.0) * wholeShare)); };
    Shares shares;
    if (zoom >= leastSoft) {
        shares.yarns = part(std::log2(zoom / leastSoft) / std::log2(mostSoft / leastSoft));
        shares.soft = wholeShare - shares.yarns;
        return shares;
    }
    double number = std::log2(leastSoft / zoom);
    number -= std::clamp(number - 1, 0.0, 1.0) / 2; // larger blocks need not hide single threads
    const u32 first = cloth.levels.front().number;
    if (number < first) {
        shares.coarse = part(number / first);
        shares.soft = wholeShare - shares.coarse;
        return shares;
    }
    const auto last = static_cast<u32>(cloth.levels.size() - 1);
    shares.fineLevel = std::min(static_cast<u32>(number) - first, last);
    shares.coarseLevel = std::min(shares.fineLevel + 1, last);
    shares.coarse = part(number - std::floor(number));
    shares.fine = wholeShare - shares.coarse;
    return shares;
}

void drawCloth(const Cloth& cloth, const ClothView& view, u32 firstRow, u32 count, u8* rows, u64 stride,
               u32 bytesPerPixel, bool plainLanes)
{
    if (view.width == 0 || count == 0)
        return;
    const Shares shares = sharesOf(cloth, view);
    const bool hasTiles = shares.yarns + shares.soft != 0;
    const Places across(view.left, view.pixelsAnEnd, cloth.design.ends);
    const Places along(view.top, view.pixelsAPick, cloth.design.picks);
    std::vector<LevelColumns> levels;
    if (!hasTiles)
        levels.emplace_back(cloth, shares.fineLevel, shares.fine, across, view.width);
    if (!hasTiles || shares.coarse != 0)
        levels.emplace_back(cloth, shares.coarseLevel, shares.coarse, across, view.width);
    std::unique_ptr<TileColumns> tiles;
    if (hasTiles)
        tiles = std::make_unique<TileColumns>(cloth, across, view.width);
    TileTable table(cloth, view, shares);
    const DrawPixels draw = drawingOf(hasTiles, levels.size(), bytesPerPixel, plainLanes);

    RowParts parts{};
    for (size_t i = 0; i < levels.size(); i++)
        parts.levels[i] = {levels[i].block.data(), levels[i].weights.data(), levels[i].light.data()};
    for (u32 y = 0; y < count; y++) {
        if (hasTiles) {
            const Spot spot = tileAt(along.of(firstRow + y, cloth.design.picks));
            tiles->takePick(cloth, spot.index);
            parts.tile = tiles->tile.data();
            parts.weight = tiles->weight.data();
            parts.table = table.row(spot.fraction);
            parts.ends = tiles->row.ends.data();
            parts.picks = tiles->row.picks.data();
            parts.pickStep = tiles->row.pickStep;
        }
        for (LevelColumns& level : levels)
            if (plainLanes)
                level.takeRow<PlainLanes>(along.of(firstRow + y, cloth.levelPicks), cloth.levelPicks);
            else
                level.takeRow<FastLanes>(along.of(firstRow + y, cloth.levelPicks), cloth.levelPicks);
        draw(parts, cloth.tables.byteOf.data(), view.width, rows + y * stride);
    }
}
