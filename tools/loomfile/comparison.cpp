#include "comparison.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr u32 bandBytes = 1 << 20;
constexpr Point white = 0xFFFFFFFF, black = 0xFF000000;

Point pointOf(const u8* rgb, u32 alpha)
{
    return alpha << 24 | u32{rgb[0]} << 16 | u32{rgb[1]} << 8 | rgb[2];
}

u32 brightnessOf(Point point)
{
    return (point >> 16 & 0xFF) * 2 + (point >> 8 & 0xFF) * 5 + (point & 0xFF);
}

u8 markOf(Point one, Point other)
{
    if (one != other)
        return brightnessOf(one) <= brightnessOf(other) ? darkerInFirst : darkerInSecond;
    return static_cast<u8>(brightnessOf(one) * (paleGreys - 1) / brightnessOf(white));
}

const u8* rowOf(const Side& side, u32 y)
{
    return side.bytes.data() + u64{y} * side.rowBytes;
}

void unpackRow(Side& side, u32 y)
{
    const u8* from = rowOf(side, y);
    const u32 kind = side.lifts != nullptr ? u32{kindBilevel} : side.picture.info.kind;
    for (u32 x = 0; x < side.points.size(); x++)
        side.points[x] = kind == kindBilevel   ? (from[x / 8] << x % 8 & 0x80) != 0 ? black : white
                         : kind == kindIndexed ? pointOf(side.picture.info.palette + 3 * from[x], 0xFF)
                         : kind == kindRGBA    ? pointOf(from + 4 * x, from[4 * x + 3])
                                               : pointOf(from + 3 * x, 0xFF);
}

void begin(Side& side, bool byLifts)
{
    if (byLifts)
        side.lifts = std::make_unique<Lifts>(side.picture, "");
    side.rowBytes = byLifts ? side.lifts->rowBytes : side.picture.info.rowBytes;
    side.points.resize(side.picture.info.width);
}

void readBand(Side& side, u32 count)
{
    LoomfileFailure failure = loomfileFailure();
    side.bytes.resize(u64{side.rowBytes} * count);
    if (side.lifts != nullptr)
        side.lifts->read(side.bytes.data(), count);
    else if (loomfileReadRows(side.picture.handle.get(), side.bytes.data(), count, side.rowBytes, &failure) !=
             loadSuccess)
        throw Failure{failure.status, side.picture.file, failure.sentence, failure.signal};
}

// Areas that only one of them has, or none.
void markAreas(Comparison& all)
{
    all.marks.reset(static_cast<u8*>(malloc(u64{all.allWidth} * all.allHeight)));
    if (all.marks == nullptr)
        throw Failure{exitOutOfMemory, all.first.picture.file,
                      "there is not enough memory for a picture of the differences"};
    memset(all.marks.get(), inNeither, u64{all.allWidth} * all.allHeight);
    for (const auto& [side, mark] : {std::pair(&all.first, onlyInFirst), std::pair(&all.second, onlyInSecond)})
        for (u64 y = 0; y < side->picture.info.height; y++)
            memset(all.marks.get() + y * all.allWidth, mark, side->picture.info.width);
}

void compareRow(Comparison& all, u32 y, u32 rowOfBand)
{
    Side& one = all.first;
    Side& other = all.second;
    if (all.marks == nullptr && one.lifts != nullptr && one.rowBytes == other.rowBytes &&
        memcmp(rowOf(one, rowOfBand), rowOf(other, rowOfBand), one.rowBytes) == 0)
        return;
    unpackRow(one, rowOfBand);
    unpackRow(other, rowOfBand);
    for (u32 x = 0; x < all.width; x++) {
        if (one.points[x] != other.points[x] && all.differences++ == 0) {
            all.firstPick = y + 1;
            all.firstEnd = x + 1;
        }
        if (all.marks != nullptr)
            all.marks.get()[u64{y} * all.allWidth + x] = markOf(one.points[x], other.points[x]);
    }
}

void comparePoints(Comparison& all)
{
    const u32 most = std::max(bandBytes / std::max(all.first.rowBytes, all.second.rowBytes), 1U);
    for (u32 y = 0, count = 0; y < all.height; y += count) {
        count = std::min(most, all.height - y);
        readBand(all.first, count);
        readBand(all.second, count);
        for (u32 row = 0; row < count; row++)
            compareRow(all, y + row, row);
    }
}

ThreadDifference compareThreads(const std::vector<u8>& one, const std::vector<u8>& other, u32 count)
{
    ThreadDifference found;
    for (u32 i = 0; i < count; i++)
        if (memcmp(one.data() + 3 * i, other.data() + 3 * i, 3) != 0 && found.count++ == 0)
            found.first = i + 1;
    return found;
}

// Of two drafts that are shown in the colours of their yarns.
void compareYarns(Comparison& all)
{
    std::vector<u8> warp[2], weft[2];
    for (const int i : {0, 1}) {
        const Side& side = i == 0 ? all.first : all.second;
        all.yarns += side.lifts != nullptr && side.lifts->draft != nullptr ? 1 : 0;
        warp[i].resize(3 * side.picture.info.width);
        weft[i].resize(3 * side.picture.info.height);
        if (side.lifts != nullptr && side.lifts->draft != nullptr)
            loomfileDraftColours(side.lifts->draft.get(), warp[i].data(), weft[i].data());
    }
    if (all.yarns < 2)
        return;
    all.warpColours = compareThreads(warp[0], warp[1], all.width);
    all.weftColours = compareThreads(weft[0], weft[1], all.height);
}

} // namespace

Comparison::Comparison(const std::string& one, const std::string& other, const OpenOptions& options)
    : first{Picture(one, options)}, second{Picture(other, options)},
      width(std::min(first.picture.info.width, second.picture.info.width)),
      height(std::min(first.picture.info.height, second.picture.info.height)),
      allWidth(std::max(first.picture.info.width, second.picture.info.width)),
      allHeight(std::max(first.picture.info.height, second.picture.info.height))
{
}

void compare(Comparison& all, bool isDrawn)
{
    const bool byLifts = hasLifts(all.first.picture) && hasLifts(all.second.picture);
    begin(all.first, byLifts);
    begin(all.second, byLifts);
    if (isDrawn)
        markAreas(all);
    comparePoints(all);
    compareYarns(all);
}
