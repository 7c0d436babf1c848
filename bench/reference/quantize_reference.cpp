#include "bench/reference/quantize_reference.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace reference
{

static u32 nearestColour(int red, int green, int blue, const u8* palette, int count)
{
    u32 nearest = 0;
    int least = 1 << 30;
    for (int i = 0; i < count; i++) {
        int dr = red - palette[3 * i], dg = green - palette[3 * i + 1], db = blue - palette[3 * i + 2];
        int distance = dr * dr + dg * dg + db * db;
        if (distance < least) {
            least = distance;
            nearest = static_cast<u32>(i);
        }
    }
    return nearest;
}

// The list of distinct colours: the entry that matched last, then a search from the front, then a new entry.
struct ColourList {
    std::vector<u32> colours;
    size_t last = 0;

    explicit ColourList(const u8* first) { colours.push_back(key(first)); }
    static u32 key(const u8* rgb) { return static_cast<u32>(rgb[0] << 16 | rgb[1] << 8 | rgb[2]); }

    void match(const u8* rgb)
    {
        u32 colour = key(rgb);
        if (colours[last] == colour)
            return;
        for (last = 0; last < colours.size(); last++)
            if (colours[last] == colour)
                return;
        colours.push_back(colour);
    }

    void write(u8* palette) const
    {
        for (u32 colour : colours)
            for (int shift = 16; shift >= 0; shift -= 8)
                *palette++ = static_cast<u8>(colour >> shift);
    }
};

static i64 checkPalette(const u8* pixels, int bytes, i32 stride, i32 width, i32 height, u8* paletteOut)
{
    ColourList list(pixels);
    for (i64 y = 0; y < height; y++)
        for (i64 x = 0; x < width; x++) {
            const u8* pixel = pixels + y * stride + bytes * x;
            if (bytes == 4 && pixel[3] == 0)
                continue;
            if (bytes == 4 && pixel[3] != 255)
                return 0;
            list.match(pixel);
            if (list.colours.size() == 257)
                return 0;
        }
    list.write(paletteOut);
    return static_cast<i64>(list.colours.size());
}

i64 checkTrueColorPalette(const u8* rgb, i32 stride, i32 width, i32 height, u8* paletteOut)
{
    return checkPalette(rgb, 3, stride, width, height, paletteOut);
}

i64 checkRGBAPalette(const u8* rgba, i32 stride, i32 width, i32 height, u8* paletteOut)
{
    return checkPalette(rgba, 4, stride, width, height, paletteOut);
}

struct Box {
    double score;
    float mean[3];
    u64 count;
    u64 hist[3][64];
    i32 lo[3];
    i32 hi[3];
};

static int cellOf(const u8* rgb)
{
    return ((rgb[0] >> 2) * 64 + (rgb[1] >> 2)) * 64 + (rgb[2] >> 2);
}

static void statistics(Box& box, u64 total)
{
    if (box.count == 0) {
        box.score = 0;
        return;
    }
    double error[3];
    for (int c = 0; c < 3; c++) {
        u64 s1 = 0, s2 = 0;
        for (u64 i = static_cast<u64>(box.lo[c]); i < static_cast<u64>(box.hi[c]); i++) {
            s1 += i * box.hist[c][i];
            s2 += i * i * box.hist[c][i];
        }
        box.mean[c] = static_cast<float>(double(s1) / double(box.count));
        error[c] = double(s2) - double(box.mean[c]) * double(box.mean[c]) * double(box.count);
    }
    box.score = (error[0] + error[1] + error[2]) / double(total);
}

static bool split(Box& box, Box& added, const std::vector<u64>& histogram, u64 total)
{
    if (box.score < 0.00001 || box.count == 0)
        return false;
    Box lower[3], upper[3];
    double cost[3];
    for (int c = 0; c < 3; c++) {
        cost[c] = INFINITY;
        if (box.hi[c] - box.lo[c] == 1)
            continue;
        u64 n = box.count;
        double m = box.mean[c];
        int start = static_cast<int>((box.lo[c] + m) * 0.5), end = static_cast<int>((box.hi[c] + m) * 0.5);
        u64 cum = 0;
        for (int t = box.lo[c]; t < start; t++)
            cum += box.hist[c][t];
        double s = 0, best = -1;
        int cut = start;
        u64 cutCount = n;
        for (int t = start; t <= end; t++) {
            cum += box.hist[c][t];
            if (cum == n)
                break;
            s += double(static_cast<u64>(t) * box.hist[c][t]) / double(n);
            double d = m - s;
            double crit = double(cum) / double(n - cum) * d * d;
            if (crit > best) {
                best = crit;
                cut = t;
                cutCount = cum;
            }
        }
        lower[c] = upper[c] = box;
        lower[c].count = cutCount;
        lower[c].hi[c] = cut + 1;
        upper[c].count = n - cutCount;
        upper[c].lo[c] = cut + 1;
        memset(lower[c].hist, 0, sizeof lower[c].hist);
        for (int r = lower[c].lo[0]; r < lower[c].hi[0]; r++)
            for (int g = lower[c].lo[1]; g < lower[c].hi[1]; g++)
                for (int b = lower[c].lo[2]; b < lower[c].hi[2]; b++) {
                    u64 pixels = histogram[static_cast<size_t>((r * 64 + g) * 64 + b)];
                    lower[c].hist[0][r] += pixels;
                    lower[c].hist[1][g] += pixels;
                    lower[c].hist[2][b] += pixels;
                    upper[c].hist[0][r] -= pixels;
                    upper[c].hist[1][g] -= pixels;
                    upper[c].hist[2][b] -= pixels;
                }
        statistics(lower[c], total);
        statistics(upper[c], total);
        cost[c] = lower[c].score + upper[c].score;
    }
    int chosen = 0;
    for (int c = 1; c < 3; c++)
        if (cost[c] < cost[chosen])
            chosen = c;
    if (std::isinf(cost[chosen]))
        return false;
    box = lower[chosen];
    added = upper[chosen];
    return true;
}

// Every cell's index, or -1 before its first pixel.
struct Cells {
    std::vector<int> map = std::vector<int>(262144, -1);

    u32 index(const u8* rgb, const u8* palette, int count)
    {
        int& cell = map[static_cast<size_t>(cellOf(rgb))];
        if (cell < 0)
            cell = static_cast<int>(nearestColour(rgb[0], rgb[1], rgb[2], palette, count));
        return static_cast<u32>(cell);
    }
};

static bool quantizeExactly(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                            u8* palette, i32* colourCount)
{
    ColourList list(rgb);
    for (i64 y = 0; y < height; y++)
        for (i64 x = 0; x < width; x++) {
            list.match(rgb + y * rgbStride + 3 * x);
            if (list.colours.size() > static_cast<size_t>(*colourCount))
                return false;
            indexOut[y * indexStride + x] = static_cast<u8>(list.last);
        }
    list.write(palette);
    *colourCount = static_cast<i32>(list.colours.size());
    return true;
}

void colorQuantize(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height, u8* palette,
                   i32 fixedCount, i32* colourCount)
{
    if ((rgb == nullptr && indexOut == nullptr) || width < 1 || height < 1 || *colourCount < 1)
        return;
    fixedCount = fixedCount < 0 ? 0 : fixedCount > 256 ? 256 : fixedCount;
    if (fixedCount == 0 && *colourCount <= 256 && rgb != nullptr && indexOut != nullptr &&
        quantizeExactly(rgb, rgbStride, indexOut, indexStride, width, height, palette, colourCount))
        return;
    size_t wanted = *colourCount > 256 ? 256 : static_cast<size_t>(*colourCount);
    u8 old[768];
    memcpy(old, palette, 768);

    std::vector<u64> histogram(262144);
    Box whole = {};
    u64 total = 0;
    auto add = [&](const u8* pixel, u64 weight) {
        histogram[static_cast<size_t>(cellOf(pixel))] += weight;
        for (int c = 0; c < 3; c++)
            whole.hist[c][pixel[c] >> 2] += weight;
        total += weight;
    };
    for (i64 y = 0; y < height; y++)
        for (i64 x = 0; x < width; x++)
            add(rgb != nullptr ? rgb + y * rgbStride + 3 * x : old + 3 * indexOut[y * indexStride + x], 1);
    u64 weight = total / 2;
    for (int i = 0; i < fixedCount; i++)
        add(old + 3 * i, weight);
    whole.count = total;
    for (i32& hi : whole.hi)
        hi = 64;
    statistics(whole, total);

    std::vector<Box> boxes = {whole};
    while (boxes.size() < wanted) {
        size_t chosen = 0;
        for (size_t i = 1; i < boxes.size(); i++)
            if (boxes[i].score > boxes[chosen].score)
                chosen = i;
        Box added;
        if (!split(boxes[chosen], added, histogram, total))
            break;
        boxes.push_back(added);
    }
    int count = *colourCount = static_cast<i32>(boxes.size());
    for (int i = 0; i < count; i++)
        for (int c = 0; c < 3; c++)
            palette[3 * i + c] =
                static_cast<u8>(double(boxes[static_cast<size_t>(i)].mean[c]) * double(255.0F / 63.0F) + 0.5);

    if (indexOut == nullptr)
        return;
    if (rgb == nullptr) {
        u8 map[256];
        for (int i = 0; i < 256; i++)
            map[i] = static_cast<u8>(nearestColour(old[3 * i], old[3 * i + 1], old[3 * i + 2], palette, count));
        for (i64 i = 0; i < i64{height} * indexStride; i++)
            indexOut[i] = map[indexOut[i]];
        for (int k = 0; k < count; k++)
            memcpy(palette + 3 * map[k], old + 3 * k, 3);
        return;
    }
    Cells cells;
    for (i64 y = 0; y < height; y++)
        for (i64 x = 0; x < width; x++)
            indexOut[y * indexStride + x] = static_cast<u8>(cells.index(rgb + y * rgbStride + 3 * x, palette, count));
}

static std::vector<int> noiseTable(int noise)
{
    std::vector<int> offsets(noise > 0 ? 32768 : 0);
    for (int& offset : offsets)
        offset = (rand() >> 3) % (2 * noise + 1) - noise;
    return offsets;
}

static int limit(int value, int least, int most)
{
    return value < least ? least : value > most ? most : value;
}

u64 trueColorRemapToCmap(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                         const u8* palette, i32 paletteCount, i32 noise)
{
    if (rgb == nullptr || indexOut == nullptr || palette == nullptr)
        return 0;
    paletteCount = limit(paletteCount, 0, 256);
    std::vector<int> offsets = noiseTable(limit(noise, 0, 100));
    Cells cells;
    for (i64 y = 0; y < height; y++) {
        u32 r = static_cast<u32>(rand());
        for (i64 x = 0; x < width; x++) {
            u8 colour[3];
            memcpy(colour, rgb + y * rgbStride + 3 * x, 3);
            for (u32 c = 0; c < 3 && !offsets.empty(); c++)
                colour[c] = static_cast<u8>(limit(colour[c] + offsets[(r + c) % 32768], 0, 255));
            r += 3;
            indexOut[y * indexStride + x] = static_cast<u8>(cells.index(colour, palette, paletteCount));
        }
    }
    return 1;
}

template <typename Index>
static void dither(const u8* src, i32 srcStride, Index* dst, i32 dstStride, i32 srcWidth, i32 srcHeight, i32 dstWidth,
                   i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise, i32 mostColours)
{
    if (srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1)
        return;
    if (paletteCount < 1) {
        for (i64 y = 0; y < dstHeight; y++)
            for (i64 x = 0; x < dstWidth; x++)
                dst[y * dstStride + x] = 0;
        return;
    }
    paletteCount = limit(paletteCount, 0, mostColours);
    const int s = limit(strength, 0, 16);
    std::vector<int> offsets = noiseTable(limit(noise, 0, 100));
    const size_t width = static_cast<size_t>(dstWidth);
    std::vector<i64> columns(width + 2);
    for (i64 x = 0; x < dstWidth; x++)
        columns[static_cast<size_t>(x + 1)] = x * srcWidth / dstWidth;
    columns[0] = columns[1];
    columns[width + 1] = columns[width];
    std::vector<u8> current(3 * (width + 2)), next = current;
    auto fill = [&](std::vector<u8>& row, i64 y) {
        for (size_t x = 0; x < width + 2; x++)
            memcpy(&row[3 * x], src + y * srcStride + 3 * columns[x], 3);
    };
    fill(current, 0);
    Cells cells;
    for (i64 y = 0; y < dstHeight; y++) {
        if (y + 1 < dstHeight)
            fill(next, (y + 1) * srcHeight / dstHeight);
        u32 r = static_cast<u32>(rand());
        for (size_t x = 0; x < width; x++) {
            const u8* pixel = &current[3 * (x + 1)];
            u32 index = cells.index(pixel, palette, paletteCount);
            dst[y * dstStride + static_cast<i64>(x)] = static_cast<Index>(index);
            for (size_t c = 0; c < 3; c++) {
                int e = pixel[c] - palette[3 * index + c];
                if (!offsets.empty())
                    e += offsets[r++ % 32768];
                auto diffuse = [&](std::vector<u8>& row, size_t column, int share) {
                    u8& level = row[3 * column + c];
                    int part = s == 16 ? share * e >> 4 : share * s * e >> 8;
                    level = static_cast<u8>(limit(level + part, 0, 255));
                };
                diffuse(current, x + 2, 7);
                diffuse(next, x, 3);
                diffuse(next, x + 1, 5);
                diffuse(next, x + 2, 1);
            }
        }
        current = next;
    }
}

void colorQuantizeDitherFS(const u8* src, i32 srcStride, u8* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                           i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise)
{
    dither(src, srcStride, dst, dstStride, srcWidth, srcHeight, dstWidth, dstHeight, palette, paletteCount, strength,
           noise, 256);
}

void colorQuantizeDitherFS16(const u8* src, i32 srcStride, u16* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                             i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise)
{
    dither(src, srcStride, dst, dstStride, srcWidth, srcHeight, dstWidth, dstHeight, palette, paletteCount, strength,
           noise, 65536);
}

} // namespace reference
