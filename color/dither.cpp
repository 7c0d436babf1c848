// Scales a picture by taking the nearest pixel and maps it to a palette, carrying what each pixel lost to the right and
// into the next row (Floyd and Steinberg).
#include <algorithm>

#include "color/nearest.h"
#include "color/noise.h"

constexpr i32 fullStrength = 16;

struct Source {
    const u8* pixels;
    i32 stride, width, height;
};

template <typename Index>
struct Target {
    Index* rows;
    i32 stride, width, height; // the stride counts indices
};

// One row of levels serves as the current and the next one: a pixel is finished for the next row when the current one
// has no more use for it.
struct Rows {
    Block<u8> levels;
    Block<u64> columns; // where in a source row each pixel is taken from
};

static u8 clampLevel(int level)
{
    return static_cast<u8>(std::clamp(level, 0, 255));
}

static const u8* sourceRow(const Source& source, i64 y, i64 targetHeight)
{
    return source.pixels + y * source.height / targetHeight * source.stride;
}

// What the next row gets from a pixel is held back until the pixel's right neighbours have given their part as well;
// each part is added and clamped by itself, in the order of the pixels.
template <bool noisy, typename Index>
static void ditherRow(CellCache<Index>& cells, const u8* palette, Index* out, i32 width, u8* levels, const u8* nextRow,
                      const u64* columns, int strength, const Noise* noise, u32 place)
{
    int level[3], below[3], belowRight[3]; // below: of the pixel before this one in the next row, and of this one
    for (int c = 0; c < 3; c++) {
        level[c] = levels[c];
        below[c] = 0;
        belowRight[c] = nextRow[columns[0] + static_cast<u64>(c)];
    }
    for (i64 x = 0; x < width; x++) {
        const u32 index =
            cachedColour(cells, static_cast<u32>(level[0]), static_cast<u32>(level[1]), static_cast<u32>(level[2]));
        out[x] = static_cast<Index>(index);
        const u8* chosen = palette + 3 * u64{index};
        // The last pixel has no right neighbour: it reads itself, and what comes of it is not used.
        const i64 right = std::min<i64>(x + 1, width - 1);
        const u8* next = nextRow + columns[right];
        for (int c = 0; c < 3; c++) {
            int error = level[c] - chosen[c];
            if constexpr (noisy)
                error += offsetAt(*noise, place++);
            const int part = strength * error;
            level[c] = clampLevel(levels[3 * right + c] + (7 * part >> 8));
            const u8 finished = clampLevel(below[c] + (3 * part >> 8));
            below[c] = clampLevel(belowRight[c] + (5 * part >> 8));
            belowRight[c] = clampLevel(next[c] + (part >> 8));
            if (x > 0)
                levels[3 * (x - 1) + c] = finished;
        }
    }
    for (int c = 0; c < 3; c++)
        levels[3 * (i64{width} - 1) + c] = static_cast<u8>(below[c]);
}

template <typename Index>
static void dither(const Source& source, const Target<Index>& target, const u8* palette, i32 paletteCount, i32 strength,
                   i32 noiseAmount)
{
    if (source.pixels == nullptr || target.rows == nullptr || source.width < 1 || source.height < 1 ||
        target.width < 1 || target.height < 1)
        return;
    if (palette == nullptr || paletteCount < 1) {
        for (i64 y = 0; y < target.height; y++)
            std::fill_n(target.rows + y * target.stride, target.width, Index{0});
        return;
    }
    constexpr i32 mostColours = Index(-1) + 1;
    const u32 count = static_cast<u32>(std::min(paletteCount, mostColours));
    const u64 width = static_cast<u64>(target.width);
    CellCache<Index> cells;
    const Rows rows = {allocateBlock<u8>(3 * width), allocateBlock<u64>(width)};
    if (rows.levels == nullptr || rows.columns == nullptr || !allocateCells(cells) ||
        !reservePalette(cells.search, count))
        return;
    sortPalette(cells.search, palette, count);
    strength = std::clamp(strength, 0, fullStrength);
    noiseAmount = std::clamp(noiseAmount, 0, mostNoise);
    Noise noise;
    if (noiseAmount > 0)
        drawNoise(noise, noiseAmount);

    for (u64 x = 0; x < width; x++) {
        rows.columns[x] = 3 * (x * static_cast<u64>(source.width) / width);
        std::copy_n(source.pixels + rows.columns[x], 3, &rows.levels[3 * x]);
    }
    for (i64 y = 0; y < target.height; y++) {
        const u8* nextRow = sourceRow(source, std::min<i64>(y + 1, target.height - 1), target.height);
        const u32 place = static_cast<u32>(rand());
        Index* out = target.rows + y * target.stride;
        auto* row = noiseAmount > 0 ? ditherRow<true, Index> : ditherRow<false, Index>;
        row(cells, palette, out, target.width, rows.levels.get(), nextRow, rows.columns.get(), strength, &noise, place);
    }
}

void colorQuantizeDitherFS(const u8* src, i32 srcStride, u8* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                           i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise)
{
    dither<u8>({src, srcStride, srcWidth, srcHeight}, {dst, dstStride, dstWidth, dstHeight}, palette, paletteCount,
               strength, noise);
}

void colorQuantizeDitherFS16(const u8* src, i32 srcStride, u16* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                             i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise)
{
    dither<u16>({src, srcStride, srcWidth, srcHeight}, {dst, dstStride, dstWidth, dstHeight}, palette, paletteCount,
                strength, noise);
}
