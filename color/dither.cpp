// Scales a picture by taking the nearest pixel and maps it to a palette, carrying what each pixel lost to the right and
// into the next row (Floyd and Steinberg).
#include <algorithm>
#include <limits>
#include <type_traits>

#include "color/nearest.h"
#include "color/noise.h"

namespace
{

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

// The channels of a pixel or what one lost, calculated together. 16 bits hold every product unless noise is added.
typedef short ShortLevels __attribute__((vector_size(8)));
typedef int LongLevels __attribute__((vector_size(16)));

template <typename Levels>
Levels levelsOf(const u8* rgb)
{
    return Levels{rgb[0], rgb[1], rgb[2]};
}

template <typename Levels>
Levels clamped(Levels levels)
{
    const Levels least = {}, most = least + 255;
    levels = levels < least ? least : levels;
    return levels > most ? most : levels;
}

const u8* sourceRow(const Source& source, i64 y, i64 targetHeight)
{
    return source.pixels + y * source.height / targetHeight * source.stride;
}

// Where a row of the target takes its pixels from.
struct SourceRow {
    const u8* pixels;
    const u64* columns; // places in the source row
};

template <typename Levels>
Levels pixelAt(const SourceRow& row, i64 x)
{
    return levelsOf<Levels>(row.pixels + row.columns[x]);
}

// One row serves as the current and the next one: what the next row gets from a pixel is held back until the pixel's
// right neighbours have given their part as well, and by then the current row has no more use for its place. Each part
// is added and clamped by itself, in the order of the pixels.
template <typename Levels, typename Index>
void ditherRow(CellCache<Index>& cells, const Levels* palette, Index* out, i32 width, Levels* row,
               const SourceRow& nextRow, int strength, const Noise* noise, u32 place)
{
    using Level = std::remove_reference_t<decltype(row[0][0])>;
    const Level share = static_cast<Level>(strength);
    const Level rightShare = static_cast<Level>(7 * share), leftShare = static_cast<Level>(3 * share),
                belowShare = static_cast<Level>(5 * share);
    Levels pixel = row[0];
    Levels belowLeft = {};
    Levels below = pixelAt<Levels>(nextRow, 0);
    for (i64 x = 0; x < width; x++) {
        const u32 index =
            cachedColour(cells, static_cast<u32>(pixel[0]), static_cast<u32>(pixel[1]), static_cast<u32>(pixel[2]));
        out[x] = static_cast<Index>(index);
        Levels error = pixel - palette[index];
        if (noise != nullptr) {
            for (int channel = 0; channel < 3; channel++)
                error[channel] = static_cast<Level>(error[channel] + offsetAt(*noise, place++));
        }
        // The last pixel has no right neighbour: it takes itself, and what comes of it is not used.
        const i64 right = std::min<i64>(x + 1, width - 1);
        pixel = clamped(row[right] + (error * rightShare >> 8));
        row[std::max<i64>(x - 1, 0)] = clamped(belowLeft + (error * leftShare >> 8));
        belowLeft = clamped(below + (error * belowShare >> 8));
        below = clamped(pixelAt<Levels>(nextRow, right) + (error * share >> 8));
    }
    row[width - 1] = belowLeft;
}

template <typename Levels, typename Index>
void dither(const Source& source, const Target<Index>& target, const u8* palette, u32 paletteCount, int strength,
            i32 noiseAmount)
{
    const u64 width = static_cast<u64>(target.width);
    CellCache<Index> cells;
    const Block<u64> columns = allocateBlock<u64>(width);
    const Block<Levels> row = allocateBlock<Levels>(width);
    const Block<Levels> colours = allocateBlock<Levels>(paletteCount);
    if (columns == nullptr || row == nullptr || colours == nullptr || !allocateCells(cells) ||
        !reservePalette(cells.search, paletteCount))
        return;
    sortPalette(cells.search, palette, paletteCount);
    for (u64 i = 0; i < paletteCount; i++)
        colours[i] = levelsOf<Levels>(palette + 3 * i);
    Noise noise;
    if (noiseAmount > 0)
        drawNoise(noise, noiseAmount);

    for (u64 x = 0; x < width; x++) {
        columns[x] = 3 * (x * static_cast<u64>(source.width) / width);
        row[x] = levelsOf<Levels>(source.pixels + columns[x]);
    }
    for (i64 y = 0; y < target.height; y++) {
        const u8* next = sourceRow(source, std::min<i64>(y + 1, target.height - 1), target.height);
        const u32 place = static_cast<u32>(rand());
        ditherRow(cells, colours.get(), target.rows + y * target.stride, target.width, row.get(), {next, columns.get()},
                  strength, noiseAmount > 0 ? &noise : nullptr, place);
    }
}

template <typename Index>
void ditherPicture(const Source& source, const Target<Index>& target, const u8* palette, i32 paletteCount, i32 strength,
                   i32 noise)
{
    if (source.pixels == nullptr || target.rows == nullptr || source.width < 1 || source.height < 1 ||
        target.width < 1 || target.height < 1)
        return;
    if (palette == nullptr || paletteCount < 1) {
        for (i64 y = 0; y < target.height; y++)
            std::fill_n(target.rows + y * target.stride, target.width, Index{0});
        return;
    }
    const u32 count = std::min(static_cast<u32>(paletteCount), u32{std::numeric_limits<Index>::max()} + 1);
    strength = std::clamp(strength, 0, fullStrength);
    noise = std::clamp(noise, 0, mostNoise);
    auto* run = noise > 0 ? dither<LongLevels, Index> : dither<ShortLevels, Index>;
    run(source, target, palette, count, strength, noise);
}

} // namespace

void colorQuantizeDitherFS(const u8* src, i32 srcStride, u8* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                           i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise)
{
    ditherPicture<u8>({src, srcStride, srcWidth, srcHeight}, {dst, dstStride, dstWidth, dstHeight}, palette,
                      paletteCount, strength, noise);
}

void colorQuantizeDitherFS16(const u8* src, i32 srcStride, u16* dst, i32 dstStride, i32 srcWidth, i32 srcHeight,
                             i32 dstWidth, i32 dstHeight, const u8* palette, i32 paletteCount, i32 strength, i32 noise)
{
    ditherPicture<u16>({src, srcStride, srcWidth, srcHeight}, {dst, dstStride, dstWidth, dstHeight}, palette,
                       paletteCount, strength, noise);
}
