// Reduces pictures to few colours: palettes by median cut, and the mapping of true colours onto a palette.
//
// The median cut works on a histogram of cells, colours of 6 bits a channel. A box is a range of cells; the box with
// the greatest squared error is cut in two across the channel where that leaves the least error, at the level that
// separates the means of the halves best, until there are as many boxes as colours wanted. Counts and their sums are
// whole numbers, so the order of adding does not matter; the rest is rounded in the order it stands here.
#include <algorithm>
#include <cmath>
#include <limits>

#include "color/distinct.h"
#include "color/nearest.h"
#include "color/noise.h"

namespace
{

constexpr i32 mostColours = 256;
constexpr double leastScore = 0.00001; // a box below is not worth a cut
constexpr float levelOfCell = 255.0F / 63;

struct Marginals {
    u64 bins[3][cellLevels]; // pixels at each level of each channel
};

struct Box {
    double score = 0; // share of the total squared error
    float mean[3] = {};
    u64 count = 0; // pixels
    Marginals marginals = {};
    i32 lo[3] = {};
    i32 hi[3] = {}; // the first level behind the box
};

double squaredError(Box& box, int channel)
{
    u64 sum = 0, squares = 0;
    for (i32 i = box.lo[channel]; i < box.hi[channel]; i++) {
        const u64 level = static_cast<u64>(i);
        const u64 pixels = box.marginals.bins[channel][i];
        sum += level * pixels;
        squares += level * level * pixels;
    }
    const double count = static_cast<double>(box.count);
    box.mean[channel] = static_cast<float>(static_cast<double>(sum) / count);
    const double mean = box.mean[channel];
    return static_cast<double>(squares) - mean * mean * count;
}

// A box without pixels keeps the mean of the box that it was cut from.
void computeStatistics(Box& box, u64 total)
{
    box.score = 0;
    if (box.count == 0)
        return;
    const double red = squaredError(box, 0);
    const double green = squaredError(box, 1);
    const double blue = squaredError(box, 2);
    box.score = (red + green + blue) / static_cast<double>(total);
}

Marginals countMarginals(const u64* histogram, const i32* lo, const i32* hi)
{
    Marginals marginals = {};
    auto& [reds, greens, blues] = marginals.bins;
    for (i32 red = lo[0]; red < hi[0]; red++) {
        for (i32 green = lo[1]; green < hi[1]; green++) {
            const u64* line = histogram + (red * i32{cellLevels} + green) * i32{cellLevels};
            u64 pixels = 0;
            for (i32 blue = lo[2]; blue < hi[2]; blue++) {
                pixels += line[blue];
                blues[blue] += line[blue];
            }
            reds[red] += pixels;
            greens[green] += pixels;
        }
    }
    return marginals;
}

void subtract(Marginals& from, const Marginals& amounts)
{
    for (int channel = 0; channel < 3; channel++)
        for (u32 level = 0; level < cellLevels; level++)
            from.bins[channel][level] -= amounts.bins[channel][level];
}

struct Cut {
    i32 level; // the last one of the lower half
    u64 count; // pixels of the lower half
};

// The running mean starts between the lower end and the mean, where the search starts.
Cut bestCut(const Box& box, int channel)
{
    const u64* bins = box.marginals.bins[channel];
    const double mean = box.mean[channel];
    const double count = static_cast<double>(box.count);
    const i32 start = static_cast<i32>((box.lo[channel] + mean) * 0.5);
    const i32 end = static_cast<i32>((box.hi[channel] + mean) * 0.5);
    Cut cut = {start, box.count};
    double best = -1, runningMean = 0;
    u64 lower = 0;
    for (i32 level = box.lo[channel]; level < start; level++)
        lower += bins[level];
    for (i32 level = start; level <= end; level++) {
        lower += bins[level];
        if (lower == box.count)
            break;
        runningMean += static_cast<double>(static_cast<u64>(level) * bins[level]) / count;
        const double difference = mean - runningMean;
        const double ratio = static_cast<double>(lower) / static_cast<double>(box.count - lower);
        const double separation = ratio * difference * difference;
        if (separation > best) {
            best = separation;
            cut = {level, lower};
        }
    }
    return cut;
}

struct Halves {
    Box lower;
    Box upper;
};

u64 cellsIn(const Box& box)
{
    u64 cells = 1;
    for (int channel = 0; channel < 3; channel++)
        cells *= static_cast<u64>(box.hi[channel] - box.lo[channel]);
    return cells;
}

// Counts the half with fewer cells and gets the other one by subtraction.
Halves cutBox(const Box& box, int channel, const u64* histogram, u64 total)
{
    const Cut cut = bestCut(box, channel);
    Halves halves = {box, box};
    halves.lower.count = cut.count;
    halves.lower.hi[channel] = cut.level + 1;
    halves.upper.count = box.count - cut.count;
    halves.upper.lo[channel] = cut.level + 1;
    const bool lowerIsSmaller = cellsIn(halves.lower) <= cellsIn(halves.upper);
    Box& smaller = lowerIsSmaller ? halves.lower : halves.upper;
    Box& larger = lowerIsSmaller ? halves.upper : halves.lower;
    smaller.marginals = countMarginals(histogram, smaller.lo, smaller.hi);
    subtract(larger.marginals, smaller.marginals);
    computeStatistics(halves.lower, total);
    computeStatistics(halves.upper, total);
    return halves;
}

// Cuts a box across the channel that leaves the least error; false when it is not worth it.
bool split(Box& box, Box& added, const u64* histogram, u64 total)
{
    if (box.score < leastScore || box.count == 0)
        return false;
    double leastCost = std::numeric_limits<double>::infinity();
    Halves best;
    for (int channel = 0; channel < 3; channel++) {
        if (box.hi[channel] - box.lo[channel] == 1)
            continue;
        const Halves halves = cutBox(box, channel, histogram, total);
        const double cost = halves.lower.score + halves.upper.score;
        if (cost < leastCost) {
            leastCost = cost;
            best = halves;
        }
    }
    if (std::isinf(leastCost))
        return false;
    box = best.lower;
    added = best.upper;
    return true;
}

i32 cutIntoBoxes(Box* boxes, i32 wanted, const u64* histogram, u64 total)
{
    Box& whole = boxes[0];
    whole = Box{};
    whole.count = total;
    std::fill_n(whole.hi, 3, i32{cellLevels});
    whole.marginals = countMarginals(histogram, whole.lo, whole.hi);
    computeStatistics(whole, total);
    i32 count = 1;
    while (count < wanted) {
        Box* worst =
            std::max_element(boxes, boxes + count, [](const Box& a, const Box& b) { return a.score < b.score; });
        if (!split(*worst, boxes[count], histogram, total))
            break;
        count++;
    }
    return count;
}

u32 cellOfColour(const u8* rgb)
{
    return cellOf(rgb[0], rgb[1], rgb[2]);
}

void countPixels(u64* histogram, const u8* rgb, i32 stride, i32 width, i32 height)
{
    for (i64 y = 0; y < height; y++) {
        const u8* pixel = rgb + y * stride;
        for (i32 x = 0; x < width; x++, pixel += 3)
            histogram[cellOfColour(pixel)]++;
    }
}

void countIndices(u64* histogram, const u8* indices, i32 stride, i32 width, i32 height, const u8* palette)
{
    u64 uses[256] = {};
    for (i64 y = 0; y < height; y++)
        for (i64 x = 0; x < width; x++)
            uses[indices[y * stride + x]]++;
    for (u32 i = 0; i < 256; i++)
        histogram[cellOfColour(palette + 3 * u64{i})] += uses[i];
}

// Gives every pixel its place among the distinct colours; false when they are more than wanted.
bool indexDistinctColours(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                          u8* palette, i32& colourCount)
{
    DistinctColours list;
    const u32 limit = static_cast<u32>(colourCount);
    for (i64 y = 0; y < height; y++) {
        const u8* pixel = rgb + y * rgbStride;
        u8* index = indexOut + y * indexStride;
        for (i32 x = 0; x < width; x++, pixel += 3) {
            const u32 slot = slotOf(list, pixel, limit);
            if (slot == DistinctColours::slots)
                return false;
            index[x] = list.indices[slot];
        }
    }
    std::copy_n(list.palette, 3 * list.count, palette);
    colourCount = static_cast<i32>(list.count);
    return true;
}

void mapPixels(CellCache<u8>& cells, const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height)
{
    for (i64 y = 0; y < height; y++) {
        const u8* pixel = rgb + y * rgbStride;
        u8* index = indexOut + y * indexStride;
        for (i32 x = 0; x < width; x++, pixel += 3)
            index[x] = static_cast<u8>(cachedColour(cells, pixel[0], pixel[1], pixel[2]));
    }
}

// Colours that the picture had before are restored where they land.
void mapIndices(NearestColour& nearest, u8* indices, i64 length, u8* palette, const u8* oldPalette, i32 colourCount)
{
    u8 map[256];
    for (u32 i = 0; i < 256; i++) {
        const u8* old = oldPalette + 3 * u64{i};
        map[i] = static_cast<u8>(nearestColour(nearest, old[0], old[1], old[2]));
    }
    for (i64 i = 0; i < length; i++)
        indices[i] = map[indices[i]];
    for (i32 i = 0; i < colourCount; i++)
        std::copy_n(oldPalette + 3 * i64{i}, 3, palette + 3 * u64{map[i]});
}

bool hasFewColours(const u8* rgb, i32 rgbStride, i32 width, i32 height, i32 most)
{
    u8 palette[3 * mostColours];
    const i64 count = checkTrueColorPalette(rgb, rgbStride, width, height, palette);
    return count >= 1 && count <= most;
}

} // namespace

u64 colorQuantize(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height, u8* palette,
                  i32 fixedCount, i32* colourCount)
{
    if ((rgb == nullptr && indexOut == nullptr) || width < 1 || height < 1 || *colourCount < 1)
        return 0;
    fixedCount = std::clamp(fixedCount, 0, mostColours);
    const bool mapsPixels = rgb != nullptr && indexOut != nullptr;
    const i32 wanted = std::min(*colourCount, mostColours);
    const Block<u64> histogram = allocateBlock<u64>(cellCount);
    const Block<Box> boxes = allocateBlock<Box>(static_cast<u64>(wanted));
    CellCache<u8> cells;
    const bool hasMemory = histogram != nullptr && boxes != nullptr && (!mapsPixels || allocateCells(cells)) &&
                           reservePalette(cells.search, mostColours);
    // Few colours need no memory. Without any they are counted first, so that no index is written in vain.
    if (mapsPixels && fixedCount == 0 && *colourCount <= mostColours &&
        (hasMemory || hasFewColours(rgb, rgbStride, width, height, *colourCount)) &&
        indexDistinctColours(rgb, rgbStride, indexOut, indexStride, width, height, palette, *colourCount))
        return 0;
    if (!hasMemory)
        return 0;

    u8 oldPalette[3 * mostColours];
    std::copy_n(palette, sizeof oldPalette, oldPalette);
    if (rgb != nullptr)
        countPixels(histogram.get(), rgb, rgbStride, width, height);
    else
        countIndices(histogram.get(), indexOut, indexStride, width, height, oldPalette);
    const u64 pixels = static_cast<u64>(width) * static_cast<u64>(height);
    u64 total = pixels;
    for (i32 i = 0; i < fixedCount; i++) {
        histogram[cellOfColour(oldPalette + 3 * i64{i})] += pixels / 2;
        total += pixels / 2;
    }

    const i32 count = cutIntoBoxes(boxes.get(), wanted, histogram.get(), total);
    for (i32 i = 0; i < count; i++)
        for (int channel = 0; channel < 3; channel++)
            palette[3 * i + channel] = static_cast<u8>(double{boxes[i].mean[channel]} * double{levelOfCell} + 0.5);
    *colourCount = count;
    if (indexOut == nullptr)
        return 0;
    sortPalette(cells.search, palette, static_cast<u32>(count));
    if (rgb != nullptr)
        mapPixels(cells, rgb, rgbStride, indexOut, indexStride, width, height);
    else
        mapIndices(cells.search, indexOut, i64{height} * indexStride, palette, oldPalette, count);
    return 0;
}

static void mapNoisyPixels(CellCache<u8>& cells, const Noise& noise, const u8* rgb, i32 rgbStride, u8* indexOut,
                           i32 indexStride, i32 width, i32 height)
{
    for (i64 y = 0; y < height; y++) {
        const u8* pixel = rgb + y * rgbStride;
        u8* index = indexOut + y * indexStride;
        u32 place = static_cast<u32>(rand());
        auto noisy = [&](u8 level) { return static_cast<u32>(std::clamp(level + offsetAt(noise, place++), 0, 255)); };
        for (i32 x = 0; x < width; x++, pixel += 3) {
            const u32 red = noisy(pixel[0]);
            const u32 green = noisy(pixel[1]);
            const u32 blue = noisy(pixel[2]);
            index[x] = static_cast<u8>(cachedColour(cells, red, green, blue));
        }
    }
}

u64 trueColorRemapToCmap(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                         const u8* palette, i32 paletteCount, i32 noise)
{
    if (rgb == nullptr || indexOut == nullptr || palette == nullptr)
        return 0;
    CellCache<u8> cells;
    const u32 count = static_cast<u32>(std::clamp(paletteCount, 0, mostColours));
    if (!allocateCells(cells) || !reservePalette(cells.search, count))
        return 0;
    sortPalette(cells.search, palette, count);
    const i32 amount = std::clamp(noise, 0, mostNoise);
    if (amount > 0) {
        Noise offsets;
        drawNoise(offsets, amount);
        mapNoisyPixels(cells, offsets, rgb, rgbStride, indexOut, indexStride, width, height);
        return 1;
    }
    for (i64 y = 0; y < height; y++)
        rand(); // the sequence goes on as it does with noise
    mapPixels(cells, rgb, rgbStride, indexOut, indexStride, width, height);
    return 1;
}
