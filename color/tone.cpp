// Contrast, and transparency laid on a background.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "color/levels.h"
#include "framework/processor.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace
{

constexpr u32 brightestLevel = 255;

// A multiple of 32 bytes and of every number of channels.
constexpr u32 blockBytes = 96;

u8 stretched(i32 value, u8 darkest, u8 brightest)
{
    return static_cast<u8>(static_cast<i32>((value - darkest) * 255.0 / (brightest - darkest)));
}

struct StretchTables {
    u8 ofChannel[4][256];
};

void makeTables(StretchTables& tables, u32 channels, const Levels& levels)
{
    for (u32 channel = 0; channel < channels; channel++) {
        for (i32 value = 0; value < 256; value++)
            tables.ofChannel[channel][value] = stretched(value, levels.darkest[channel], levels.brightest[channel]);
    }
}

void stretchSamples(u8* samples, u64 size, u32 channels, const StretchTables& tables)
{
    for (u64 i = 0; i < size; i += channels) {
        for (u32 channel = 0; channel < std::min<u64>(channels, size - i); channel++)
            samples[i + channel] = tables.ofChannel[channel][samples[i + channel]];
    }
}

#if defined(__x86_64__)
// floor(255 d / range) for d from 0 to range is floor(d factor / 65536) with the factor 255 * 65536 / range rounded up:
// what it is too large adds less than d / 65536, which is below the 1 / range that lies at least between a quotient and
// the next whole number. The factor's halves are multiplied apart.
struct StretchBlock {
    u8 darkest[blockBytes];
    u16 high[blockBytes];
    u16 low[blockBytes];
};

void makeBlock(StretchBlock& block, u32 channels, const Levels& levels)
{
    for (u32 i = 0; i < blockBytes; i++) {
        const u32 channel = i % channels;
        const u32 range = static_cast<u32>(levels.brightest[channel] - levels.darkest[channel]);
        const u32 factor = ((brightestLevel << 16) + range - 1) / range;
        // In the order in which 32 bytes become two times 16 numbers.
        const u32 place = i / 32 * 32 + i % 8 + i / 8 % 2 * 16 + i / 16 % 2 * 8;
        block.darkest[i] = levels.darkest[channel];
        block.high[place] = static_cast<u16>(factor >> 16);
        block.low[place] = static_cast<u16>(factor);
    }
}

__attribute__((target("avx2"))) __m256i load(const void* bytes)
{
    return _mm256_loadu_si256(static_cast<const __m256i*>(bytes));
}

__attribute__((target("avx2"))) __m256i timesFactor(__m256i values, const u16* high, const u16* low)
{
    return _mm256_add_epi16(_mm256_mullo_epi16(values, load(high)), _mm256_mulhi_epu16(values, load(low)));
}

// The whole blocks of a row; returns how many bytes that were.
__attribute__((target("avx2"))) u64 stretchBlocks(u8* samples, u64 size, const StretchBlock& block)
{
    const __m256i zero = _mm256_setzero_si256();
    u64 done = 0;
    for (; done + blockBytes <= size; done += blockBytes) {
        for (u32 i = 0; i < blockBytes; i += 32) {
            const __m256i values = _mm256_sub_epi8(load(samples + done + i), load(block.darkest + i));
            const __m256i first = timesFactor(_mm256_unpacklo_epi8(values, zero), block.high + i, block.low + i);
            const __m256i second =
                timesFactor(_mm256_unpackhi_epi8(values, zero), block.high + i + 16, block.low + i + 16);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(samples + done + i), _mm256_packus_epi16(first, second));
        }
    }
    return done;
}

// Widens the levels of a block by the whole blocks of a row.
__attribute__((target("avx2"))) u64 findBlockLevels(const u8* samples, u64 size, u8* darkest, u8* brightest)
{
    __m256i low[3];
    __m256i high[3];
    for (u32 i = 0; i < 3; i++) {
        low[i] = load(darkest + 32 * i);
        high[i] = load(brightest + 32 * i);
    }
    u64 done = 0;
    for (; done + blockBytes <= size; done += blockBytes) {
        for (u32 i = 0; i < 3; i++) {
            const __m256i values = load(samples + done + 32 * i);
            low[i] = _mm256_min_epu8(low[i], values);
            high[i] = _mm256_max_epu8(high[i], values);
        }
    }
    for (u32 i = 0; i < 3; i++) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(darkest + 32 * i), low[i]);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(brightest + 32 * i), high[i]);
    }
    return done;
}
#endif

} // namespace

void stretchLevels(u8* samples, i64 stride, u64 rowBytes, u64 rows, u32 channels, const Levels& levels)
{
    StretchTables tables;
    makeTables(tables, channels, levels);
#if defined(__x86_64__)
    const bool inBlocks = processorHas(processorAvx2);
    StretchBlock block;
    if (inBlocks)
        makeBlock(block, channels, levels);
#endif
    for (u64 y = 0; y < rows; y++) {
        u8* row = samples + static_cast<i64>(y) * stride;
        u64 done = 0;
#if defined(__x86_64__)
        if (inBlocks)
            done = stretchBlocks(row, rowBytes, block);
#endif
        stretchSamples(row + done, rowBytes - done, channels, tables);
    }
}

static Levels findLevels(const u8* samples, i64 stride, u64 rowBytes, u64 rows, u32 channels)
{
    u8 darkest[blockBytes];
    u8 brightest[blockBytes];
    memset(darkest, 255, sizeof darkest);
    memset(brightest, 0, sizeof brightest);
#if defined(__x86_64__)
    const bool inBlocks = processorHas(processorAvx2);
#endif
    for (u64 y = 0; y < rows; y++) {
        const u8* row = samples + static_cast<i64>(y) * stride;
        u64 done = 0;
#if defined(__x86_64__)
        if (inBlocks)
            done = findBlockLevels(row, rowBytes, darkest, brightest);
#endif
        for (; done < rowBytes; done += channels) {
            for (u32 channel = 0; channel < channels; channel++) {
                darkest[channel] = std::min(darkest[channel], row[done + channel]);
                brightest[channel] = std::max(brightest[channel], row[done + channel]);
            }
        }
    }
    Levels levels = {{255, 255, 255, 255}, {0, 0, 0, 0}};
    for (u32 i = 0; i < blockBytes; i++) {
        levels.darkest[i % channels] = std::min(levels.darkest[i % channels], darkest[i]);
        levels.brightest[i % channels] = std::max(levels.brightest[i % channels], brightest[i]);
    }
    return levels;
}

static bool canBeStretched(const Levels& levels)
{
    for (int channel = 0; channel < 3; channel++) {
        if (levels.brightest[channel] <= levels.darkest[channel])
            return false;
    }
    return true;
}

#if defined(__x86_64__)
// The whole blocks at the start of the pixels; returns how many bytes that were. The values found so far are a bit
// each, a byte for every low half of a value below 128 and from 128 on: most blocks hold nothing new.
__attribute__((target("avx2"))) static u64 markBlocks(const u8* pixels, u64 count, bool* occurs)
{
    const __m256i bitOfHighHalf =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 1, 2, 4, 8, 16, 32, 64, -128));
    const __m256i upperBit = _mm256_set1_epi8(-128);
    const __m256i lowHalf = _mm256_set1_epi8(15);
    alignas(16) u8 found[2][16] = {};
    __m256i below = _mm256_setzero_si256();
    __m256i above = below;
    u64 done = 0;
    for (; done + 32 <= count; done += 32) {
        const __m256i values = load(pixels + done);
        // A lookup answers zero where the upper bit is set.
        const __m256i places = _mm256_andnot_si256(_mm256_set1_epi8(0x70), values);
        const __m256i known = _mm256_or_si256(_mm256_shuffle_epi8(below, places),
                                              _mm256_shuffle_epi8(above, _mm256_xor_si256(places, upperBit)));
        const __m256i highHalf = _mm256_and_si256(_mm256_srli_epi16(values, 4), lowHalf);
        const __m256i bits = _mm256_and_si256(known, _mm256_shuffle_epi8(bitOfHighHalf, highHalf));
        if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(bits, _mm256_setzero_si256())) == 0)
            continue;
        for (u64 i = done; i < done + 32; i++) {
            occurs[pixels[i]] = true;
            found[pixels[i] >> 7][pixels[i] & 15] |= static_cast<u8>(1U << (pixels[i] >> 4 & 7));
        }
        below = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(found[0])));
        above = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(found[1])));
    }
    return done;
}
#endif

static void stretchPalette(const u8* pixels, u64 count, u8* palette)
{
    bool occurs[256] = {};
    u64 done = 0;
#if defined(__x86_64__)
    if (processorHas(processorAvx2))
        done = markBlocks(pixels, count, occurs);
#endif
    for (; done < count; done++)
        occurs[pixels[done]] = true;
    Levels levels = {{255, 255, 255, 255}, {0, 0, 0, 0}};
    for (u32 colour = 0; colour < 256; colour++) {
        for (u32 channel = 0; occurs[colour] && channel < 3; channel++) {
            const u8 value = palette[3 * colour + channel];
            levels.darkest[channel] = std::min(levels.darkest[channel], value);
            levels.brightest[channel] = std::max(levels.brightest[channel], value);
        }
    }
    if (!canBeStretched(levels))
        return;
    // Colours that do not occur may lie outside the levels.
    StretchTables tables;
    makeTables(tables, 3, levels);
    stretchSamples(palette, u64{3} * 256, 3, tables);
}

void contrastStretch(u8* pixels, i32 stride, i32 kind, i32 width, i32 height, u8* palette)
{
    if (width < 1 || height < 1)
        return;
    const auto columns = static_cast<u64>(width);
    auto rows = static_cast<u64>(height);
    if (kind == kindIndexed) {
        stretchPalette(pixels, columns * rows, palette);
        return;
    }
    const u32 channels = kind == kindRGBA ? 4 : 3;
    u64 rowBytes = columns * channels;
    const bool overlap = static_cast<u64>(std::abs(i64{stride})) < rowBytes;
    if (stride > 0 && static_cast<u64>(stride) == rowBytes) {
        rowBytes *= rows;
        rows = 1;
    }
    Levels levels = findLevels(pixels, stride, rowBytes, rows, channels);
    if (!canBeStretched(levels))
        return;
    levels.darkest[3] = 0; // transparency stays as it is
    levels.brightest[3] = 255;
    if (!overlap) {
        stretchLevels(pixels, stride, rowBytes, rows, channels, levels);
        return;
    }
    // What two rows share is stretched twice.
    StretchTables tables;
    makeTables(tables, channels, levels);
    for (u64 y = 0; y < rows; y++)
        stretchSamples(pixels + static_cast<i64>(y) * stride, rowBytes, channels, tables);
}

constexpr u32 lightSquare = 153;
constexpr u32 darkSquare = 102;

// The grey of the checkerboard's square that pixel x of row y lies in.
static u32 squareOf(u64 x, u64 y)
{
    return (x / 8 + y / 8) % 2 != 0 ? darkSquare : lightSquare;
}

static void layPixelOnWhite(u8* rgb, const u8* rgba)
{
    const u32 alpha = rgba[3];
    const u32 weight = alpha == 255 ? 256 : alpha;
    for (int channel = 0; channel < 3; channel++)
        rgb[channel] = static_cast<u8>((rgba[channel] * weight >> 8) + 255 - alpha);
}

static void layPixelOnGrey(u8* rgb, const u8* rgba, u32 grey)
{
    const u32 alpha = rgba[3];
    const u32 weight = alpha == 255 ? 256 : alpha;
    const u32 greyWeight = alpha == 0 ? 256 : 255 - alpha;
    for (int channel = 0; channel < 3; channel++)
        rgb[channel] = static_cast<u8>((rgba[channel] * weight + grey * greyWeight) >> 8);
}

#if defined(__x86_64__)
// Both take the blocks of eight pixels at the start of a row and return how many pixels that were. The packed pixels
// may lie where the row begins or before it: of every block only bytes that were read are written over.
template <bool onWhite>
__attribute__((target("avx2"))) static u64 layBlocks(u8* rgb, const u8* rgba, u64 width, u64 y)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i full = _mm256_set1_epi8(-1);
    const __m256i alphaOfPixel =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15));
    const __m256i withoutAlpha =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    u64 x = 0;
    for (; x + 8 <= width; x += 8) {
        const __m256i pixels = load(rgba + 4 * x);
        const __m256i alpha = _mm256_shuffle_epi8(pixels, alphaOfPixel);
        const __m256i rest = _mm256_xor_si256(alpha, full);
        const __m256i isOpaque = _mm256_cmpeq_epi8(alpha, full);
        const __m256i isClear = _mm256_cmpeq_epi8(alpha, zero);
        const __m256i grey = _mm256_set1_epi16(static_cast<int16_t>(squareOf(x, y)));
        __m256i halves[2];
        for (int half = 0; half < 2; half++) {
            const auto widen = [half](__m256i bytes, __m256i with) __attribute__((target("avx2")))
            {
                return half == 0 ? _mm256_unpacklo_epi8(bytes, with) : _mm256_unpackhi_epi8(bytes, with);
            };
            // One more where a weight is full.
            const __m256i weight = _mm256_sub_epi16(widen(alpha, zero), widen(isOpaque, isOpaque));
            __m256i sum = _mm256_mullo_epi16(widen(pixels, zero), weight);
            if (!onWhite) {
                const __m256i greyWeight = _mm256_sub_epi16(widen(rest, zero), widen(isClear, isClear));
                sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(grey, greyWeight));
            }
            halves[half] = _mm256_srli_epi16(sum, 8);
        }
        __m256i mixed = _mm256_packus_epi16(halves[0], halves[1]);
        if (onWhite)
            mixed = _mm256_add_epi8(mixed, rest);
        const __m256i packed = _mm256_shuffle_epi8(mixed, withoutAlpha);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb + 3 * x), _mm256_castsi256_si128(packed));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rgb + 3 * x + 12), _mm256_extracti128_si256(packed, 1));
    }
    return x;
}
#endif

static void layRow(u8* rgb, const u8* rgba, u64 width, u64 y, bool onWhite)
{
    u64 x = 0;
#if defined(__x86_64__)
    if (processorHas(processorAvx2))
        x = onWhite ? layBlocks<true>(rgb, rgba, width, y) : layBlocks<false>(rgb, rgba, width, y);
#endif
    for (; x < width; x++) {
        u8 pixel[4];
        memcpy(pixel, rgba + 4 * x, sizeof pixel);
        if (onWhite)
            layPixelOnWhite(rgb + 3 * x, pixel);
        else
            layPixelOnGrey(rgb + 3 * x, pixel, squareOf(x, y));
    }
}

u8* collapseRGBA(u8* buffer, i32 width, i32 height, i32* stride, i32 checkerboard)
{
    const i64 oldStride = *stride;
    if (width < 0 || oldStride < i64{4} * width)
        return buffer;
    *stride = 3 * width;
    if (width == 0 || height < 1)
        return buffer;
    const auto columns = static_cast<u64>(width);
    const auto rows = static_cast<u64>(height);
    for (u64 y = 0; y < rows; y++)
        layRow(buffer + 3 * columns * y, buffer + static_cast<u64>(oldStride) * y, columns, y, checkerboard == 0);
    auto* shrunk = static_cast<u8*>(realloc(buffer, 3 * columns * rows));
    return shrunk != nullptr ? shrunk : buffer;
}
