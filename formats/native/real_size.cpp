// Draws a repeating picture at its physical size. A display pixel is the mean of 32 samples of the picture, jittered
// over the area that the pixel covers, so that fine weaves give calm tones instead of moire.
//
// Positions are 32-bit numbers with 13 bits behind the point, so there are 2^19 whole positions, which follow each
// other in a circle; the picture column is the remainder of the position as an unsigned number.
//
//   picture columns   |  W - 1  |    W    |  W + 1  |  W + 2  |
//   pixel             .              x                            x = W and F / 2^13 of a column
//   its samples       .              :. .  .. : . .:              each in the column W + ((F + its jitter) >> 13)
//
// The samples of a pixel reach but a few columns, the same number on either side of every W. So the remainders are
// taken of these few positions and not of each sample: for every pixel a table of the reached columns, for every
// display row one of the reached rows. Entry `reach` of a table belongs to W itself, those before it to the positions
// of negative jitters, which are large ones come round.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/processor.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace
{

constexpr int fractionBits = 13;
constexpr u32 onePixel = 1 << fractionBits;
constexpr u32 fraction = onePixel - 1;
constexpr u32 samplesPerPixel = 32;
constexpr u32 jitterEntries = 2048;
// Jitters are 16-bit numbers: no sample is farther from its pixel's first position than this, to either side.
constexpr i32 reach = 4;
constexpr u32 reachedPositions = 2 * reach + 1;
constexpr u32 pixelsAtOnce = 64;

// The sums of a pixel's samples, 16 bits for each of R, G and B from the highest.
using Sums = u64;
constexpr int redShift = 32;
constexpr int greenShift = 16;
constexpr Sums white = Sums{255} << redShift | Sums{255} << greenShift | 255;

struct RepeatingPicture {
    const u8* rows;
    i64 stride;
    u32 width;
    u32 height;
    i32 kind;
    const u8* palette;
};

// A sample takes the entries of its number from both tables. The first entries stand again behind the last, for the 32
// samples that begin there.
struct Jitter {
    int16_t x[jitterEntries + samplesPerPixel];
    int16_t y[jitterEntries + samplesPerPixel];
};

struct DisplayRow {
    u32 y;           // the position of its samples but for the jitter
    u32 firstSample; // of its first pixel
    // The picture rows at the positions that the samples reach, the expanded ones where there are such.
    const u8* rows[reachedPositions];
};

// Where the picture's rows lie, for samples that are fetched from it eight at once.
struct FetchTable {
    const u8* firstByte;
    i32 lastWord;                                    // offset of the picture's last four bytes
    i32 rowOffsets[jitterEntries + samplesPerPixel]; // of each sample's row
};

// How a display row's samples find their colours: in the picture, one after the other or eight at once, or in rows
// that are expanded for the purpose.
enum class RowForm { asStored, fetched, expanded };

// With more picture pixels in reach of a display pixel expanding takes longer than fetching, and with less display
// pixels in a row preparing takes longer.
constexpr i32 mostExpandedPixels = 16;
constexpr u32 leastFetchedPixels = 64;

struct Drawing {
    RepeatingPicture picture;
    Jitter jitter;
    i32 firstReachedX; // in whole positions, -reach or more
    i32 lastReachedX;
    i32 firstReachedY;
    i32 lastReachedY;
    u32 stepX;
    u32 stepY;
    u32 x; // the position of the first pixel's samples but for the jitter
    Sums colours[256];
    u32 colourWords[256]; // R, G, B from the lowest byte on
    RowForm rowForm;
    u64 planeBytes; // of an expanded row
    FetchTable fetch;
};

u32 wholePosition(u32 position)
{
    return static_cast<u32>(static_cast<i32>(position) >> fractionBits);
}

u32 sampleOfPixel(const DisplayRow& row, u32 pixel)
{
    return (row.firstSample + pixel * samplesPerPixel) % jitterEntries;
}

// The picture's columns at consecutive positions.
struct ColumnWalk {
    u32 position;
    u32 column;
};

ColumnWalk walkFrom(u32 position, u32 width)
{
    return {position, wholePosition(position) % width};
}

void advance(ColumnWalk& walk, u32 width)
{
    walk.position += onePixel;
    const u32 whole = wholePosition(walk.position);
    const bool comesRound = whole == 0 || walk.position >> fractionBits == 1U << (31 - fractionBits);
    walk.column = comesRound ? whole % width : walk.column + 1 == width ? 0 : walk.column + 1;
}

const u8* pictureRow(const RepeatingPicture& picture, u32 position)
{
    // The picture hangs down from its last row.
    return picture.rows + (i64{picture.height} - 1 - wholePosition(position) % picture.height) * picture.stride;
}

bool isDark(const u8* row, u32 column)
{
    return (row[column / 8] & 0x80 >> column % 8) != 0;
}

template <i32 kind>
Sums colourAt(const Drawing& drawing, const u8* row, u32 column)
{
    if constexpr (kind == kindBilevel)
        return (Sums{isDark(row, column)} - 1) & white;
    if constexpr (kind == kindIndexed)
        return drawing.colours[row[column]];
    const u8* rgb = row + 3 * u64{column};
    return Sums{rgb[0]} << redShift | Sums{rgb[1]} << greenShift | rgb[2];
}

using SumPixels = void (*)(const Drawing& drawing, const DisplayRow& row, u32 firstPixel, u32 count, Sums* sums);

template <i32 kind>
void sumSamples(const Drawing& drawing, const DisplayRow& row, u32 firstPixel, u32 count, Sums* sums)
{
    const i32 fractionY = static_cast<i32>(row.y & fraction);
    for (u32 pixel = firstPixel; pixel < firstPixel + count; pixel++) {
        const u32 x = drawing.x + pixel * drawing.stepX;
        u32 columns[reachedPositions];
        ColumnWalk walk = walkFrom(x + static_cast<u32>(drawing.firstReachedX) * onePixel, drawing.picture.width);
        for (i32 reached = drawing.firstReachedX; reached <= drawing.lastReachedX; reached++) {
            columns[reach + reached] = walk.column;
            advance(walk, drawing.picture.width);
        }
        const i32 fractionX = static_cast<i32>(x & fraction);
        const u32 first = sampleOfPixel(row, pixel);
        Sums sum = 0;
        for (u32 sample = first; sample < first + samplesPerPixel; sample++) {
            const u32 column = columns[reach + ((fractionX + drawing.jitter.x[sample]) >> fractionBits)];
            const u8* pixels = row.rows[reach + ((fractionY + drawing.jitter.y[sample]) >> fractionBits)];
            sum += colourAt<kind>(drawing, pixels, column);
        }
        *sums++ = sum;
    }
}

// Picture rows laid out along the display row, position by position, a plane a colour channel (bilevel: one), so that
// the few positions that a pixel's samples reach are one short vector.
struct ExpandedRows {
    static constexpr u32 slots = 8; // more than a display row needs
    Buffer columnMemory;
    Buffer rowMemory;
    u32* columns = nullptr;
    u64 positions = 0;
    const u8* owners[slots] = {}; // the picture row in each slot
    u32 lastNeeded[slots] = {};   // number of the display row
    u32 nextSlot = 0;
};

constexpr u32 vectorBytes = 16;

constexpr u32 planeCount(i32 kind)
{
    return kind == kindBilevel ? 1 : 3;
}

[[maybe_unused]] bool allocateRows(ExpandedRows& expanded, Drawing& drawing, u32 width)
{
    const u64 span = (drawing.x & fraction) + u64{width - 1} * drawing.stepX;
    expanded.positions = (span >> fractionBits) + 1 + reach;
    drawing.planeBytes = expanded.positions + vectorBytes;
    if (!expanded.columnMemory.allocate(expanded.positions * sizeof(u32)) ||
        !expanded.rowMemory.allocate(ExpandedRows::slots * planeCount(drawing.picture.kind) * drawing.planeBytes))
        return false;
    expanded.columns = reinterpret_cast<u32*>(expanded.columnMemory.bytes);
    ColumnWalk walk = walkFrom(drawing.x, drawing.picture.width);
    for (u64 i = 0; i < expanded.positions; i++) {
        expanded.columns[i] = walk.column;
        advance(walk, drawing.picture.width);
    }
    return true;
}

void expandRow(const Drawing& drawing, const ExpandedRows& expanded, const u8* row, u8* planes)
{
    const u32* columns = expanded.columns;
    if (drawing.picture.kind == kindBilevel) {
        for (u64 i = 0; i < expanded.positions; i++)
            planes[i] = isDark(row, columns[i]) ? 0 : 255;
        return;
    }
    u8* greens = planes + drawing.planeBytes;
    u8* blues = greens + drawing.planeBytes;
    const bool indexed = drawing.picture.kind == kindIndexed;
    for (u64 i = 0; i < expanded.positions; i++) {
        const u8* rgb = indexed ? drawing.picture.palette + 3 * row[columns[i]] : row + 3 * u64{columns[i]};
        planes[i] = rgb[0];
        greens[i] = rgb[1];
        blues[i] = rgb[2];
    }
}

// The expanded form of a picture row, kept from an earlier display row if possible.
const u8* expandedRow(const Drawing& drawing, ExpandedRows& expanded, const u8* row, u32 displayRow)
{
    const u8** owner = std::find(expanded.owners, std::end(expanded.owners), row);
    const bool isNew = owner == std::end(expanded.owners);
    while (isNew && expanded.lastNeeded[expanded.nextSlot] == displayRow)
        expanded.nextSlot = (expanded.nextSlot + 1) % ExpandedRows::slots;
    const u64 slot = isNew ? expanded.nextSlot : static_cast<u64>(owner - expanded.owners);
    u8* planes = expanded.rowMemory.bytes + slot * planeCount(drawing.picture.kind) * drawing.planeBytes;
    if (isNew)
        expandRow(drawing, expanded, row, planes);
    expanded.owners[slot] = row;
    expanded.lastNeeded[slot] = displayRow;
    return planes;
}

#if defined(__x86_64__)
// The whole positions of 32 samples, counted from that of their pixel, a byte each in some order that is always the
// same.
__attribute__((target("avx2"))) inline __m256i positionsOfSamples(const int16_t* jitter, __m256i fractions)
{
    const auto* entries = reinterpret_cast<const __m256i*>(jitter);
    const __m256i low = _mm256_add_epi16(_mm256_loadu_si256(entries), fractions);
    const __m256i high = _mm256_add_epi16(_mm256_loadu_si256(entries + 1), fractions);
    return _mm256_packus_epi16(_mm256_srli_epi16(low, fractionBits), _mm256_srli_epi16(high, fractionBits));
}

// All 32 samples of a pixel at once, each looked up in the vector of its row's positions. Jitters are not negative
// here.
template <u32 planes>
__attribute__((target("avx2"))) void sumExpandedSamples(const Drawing& drawing, const DisplayRow& row, u32 firstPixel,
                                                        u32 count, Sums* sums)
{
    const __m256i nothing = _mm256_setzero_si256();
    const __m256i everything = _mm256_set1_epi8(-1);
    const __m256i fractionsY = _mm256_set1_epi16(static_cast<int16_t>(row.y & fraction));
    u64 x = (drawing.x & fraction) + u64{firstPixel} * drawing.stepX;
    for (u32 pixel = firstPixel; pixel < firstPixel + count; pixel++, x += drawing.stepX) {
        const u32 sample = sampleOfPixel(row, pixel);
        const __m256i fractionsX = _mm256_set1_epi16(static_cast<int16_t>(x & fraction));
        const __m256i positionsX = positionsOfSamples(drawing.jitter.x + sample, fractionsX);
        const __m256i positionsY = positionsOfSamples(drawing.jitter.y + sample, fractionsY);
        __m256i channels[planes] = {};
        for (i32 reached = 0; reached <= drawing.lastReachedY; reached++) {
            // The lookup leaves out the samples of other rows.
            const __m256i isHere = _mm256_cmpeq_epi8(positionsY, _mm256_set1_epi8(static_cast<char>(reached)));
            const __m256i lookup = _mm256_or_si256(positionsX, _mm256_xor_si256(isHere, everything));
            const u8* pixels = row.rows[reach + reached] + (x >> fractionBits);
            for (u32 plane = 0; plane < planes; plane++) {
                const __m128i reachedPixels =
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels + plane * drawing.planeBytes));
                channels[plane] = _mm256_or_si256(
                    channels[plane], _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(reachedPixels), lookup));
            }
        }
        __m256i sum = _mm256_sad_epu8(channels[0], nothing);
        for (u32 plane = 1; plane < planes; plane++)
            sum = _mm256_or_si256(_mm256_slli_epi64(sum, greenShift), _mm256_sad_epu8(channels[plane], nothing));
        const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
        const __m128i whole = _mm_add_epi64(halves, _mm_unpackhi_epi64(halves, halves));
        *sums++ = static_cast<Sums>(_mm_cvtsi128_si64(whole)) * (planes == 1 ? white / 255 : 1);
    }
}

// False when the picture is too small, or too large for offsets of 32 bits.
bool prepareFetching(Drawing& drawing)
{
    const RepeatingPicture& picture = drawing.picture;
    const i64 width = picture.width;
    const i64 rowBytes = picture.kind == kindBilevel   ? (width + 7) / 8
                         : picture.kind == kindIndexed ? width
                                                       : 3 * width;
    const i64 lastRow = (i64{picture.height} - 1) * picture.stride;
    const i64 size = std::abs(lastRow) + rowBytes;
    drawing.fetch.firstByte = picture.rows + std::min<i64>(lastRow, 0);
    drawing.fetch.lastWord = static_cast<i32>(size - static_cast<i64>(sizeof(u32)));
    return picture.width >= reachedPositions && size >= static_cast<i64>(sizeof(u32)) && size <= INT32_MAX;
}

void setRowOffsets(Drawing& drawing, const DisplayRow& row)
{
    const i32 fractionY = static_cast<i32>(row.y & fraction);
    i32 offsets[reachedPositions] = {};
    for (i32 reached = drawing.firstReachedY; reached <= drawing.lastReachedY; reached++)
        offsets[reach + reached] = static_cast<i32>(row.rows[reach + reached] - drawing.fetch.firstByte);
    for (u32 sample = 0; sample < jitterEntries + samplesPerPixel; sample++)
        drawing.fetch.rowOffsets[sample] = offsets[reach + ((fractionY + drawing.jitter.y[sample]) >> fractionBits)];
}

// The bytes from each offset on in the low end of a word; none is read behind the picture.
__attribute__((target("avx2"))) inline __m256i fetchBytes(const FetchTable& fetch, __m256i offsets)
{
    const __m256i inside = _mm256_min_epi32(offsets, _mm256_set1_epi32(fetch.lastWord));
    const __m256i words = _mm256_i32gather_epi32(reinterpret_cast<const int*>(fetch.firstByte), inside, 1);
    return _mm256_srlv_epi32(words, _mm256_slli_epi32(_mm256_sub_epi32(offsets, inside), 3));
}

// The colours of eight samples: R, G, B from the lowest byte on, with anything in the highest. Bilevel: 0 or 255 alone.
template <i32 kind>
__attribute__((target("avx2"))) inline __m256i fetchColours(const Drawing& drawing, __m256i rows, __m256i columns)
{
    const __m256i low = _mm256_set1_epi32(255);
    if constexpr (kind == kindBilevel) {
        const __m256i bytes = fetchBytes(drawing.fetch, _mm256_add_epi32(rows, _mm256_srli_epi32(columns, 3)));
        const __m256i bits = _mm256_srlv_epi32(bytes, _mm256_andnot_si256(columns, _mm256_set1_epi32(7)));
        const __m256i one = _mm256_set1_epi32(1);
        return _mm256_and_si256(_mm256_sub_epi32(_mm256_and_si256(bits, one), one), low);
    } else if constexpr (kind == kindIndexed) {
        const __m256i indices = _mm256_and_si256(fetchBytes(drawing.fetch, _mm256_add_epi32(rows, columns)), low);
        return _mm256_i32gather_epi32(reinterpret_cast<const int*>(drawing.colourWords), indices, sizeof(u32));
    } else {
        const __m256i triples = _mm256_add_epi32(columns, _mm256_slli_epi32(columns, 1));
        return fetchBytes(drawing.fetch, _mm256_add_epi32(rows, triples));
    }
}

// For steps so large that hardly a picture pixel serves two display pixels.
template <i32 kind>
__attribute__((target("avx2"))) void sumFetchedSamples(const Drawing& drawing, const DisplayRow& row, u32 firstPixel,
                                                       u32 count, Sums* sums)
{
    constexpr u32 lanes = 8;
    const auto pictureWidth = static_cast<i32>(drawing.picture.width);
    const __m256i width = _mm256_set1_epi32(pictureWidth);
    const __m256i lastColumn = _mm256_set1_epi32(pictureWidth - 1);
    const __m256i evenBytes = _mm256_set1_epi32(0x00FF00FF);
    for (u32 pixel = firstPixel; pixel < firstPixel + count; pixel++, sums++) {
        const u32 x = drawing.x + pixel * drawing.stepX;
        const u32 first = wholePosition(x + static_cast<u32>(drawing.firstReachedX) * onePixel);
        const u32 last = wholePosition(x + static_cast<u32>(drawing.lastReachedX) * onePixel);
        if (static_cast<i32>(first ^ last) < 0) { // positions come round between them
            sumSamples<kind>(drawing, row, pixel, 1, sums);
            continue;
        }
        const auto firstColumn = static_cast<i32>(first % drawing.picture.width);
        const __m256i columnOffset = _mm256_set1_epi32(firstColumn - drawing.firstReachedX);
        const __m256i fractions = _mm256_set1_epi32(static_cast<i32>(x & fraction));
        const u32 firstSample = sampleOfPixel(row, pixel);
        __m256i redBlue = _mm256_setzero_si256();
        __m256i green = _mm256_setzero_si256();
        for (u32 sample = firstSample; sample < firstSample + samplesPerPixel; sample += lanes) {
            const __m256i jitter =
                _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(drawing.jitter.x + sample)));
            __m256i columns = _mm256_srai_epi32(_mm256_add_epi32(jitter, fractions), fractionBits);
            columns = _mm256_add_epi32(columns, columnOffset);
            const __m256i isBehind = _mm256_cmpgt_epi32(columns, lastColumn);
            columns = _mm256_sub_epi32(columns, _mm256_and_si256(isBehind, width));
            const __m256i rows =
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(drawing.fetch.rowOffsets + sample));
            const __m256i colours = fetchColours<kind>(drawing, rows, columns);
            redBlue = _mm256_add_epi32(redBlue, _mm256_and_si256(colours, evenBytes));
            green = _mm256_add_epi32(green, _mm256_and_si256(_mm256_srli_epi32(colours, 8), evenBytes));
        }
        // The low halves of the lanes become red and green, the high halves blue and nothing of use.
        const __m256i pairs = _mm256_hadd_epi32(redBlue, green);
        const __m256i fours = _mm256_hadd_epi32(pairs, pairs);
        const __m128i whole = _mm_add_epi32(_mm256_castsi256_si128(fours), _mm256_extracti128_si256(fours, 1));
        const u64 both = static_cast<u64>(_mm_cvtsi128_si64(whole));
        const u64 red = both & 0xFFFF;
        *sums = kind == kindBilevel ? white / 255 * red
                                    : red << redShift | (both >> 32 & 0xFFFF) << greenShift | (both >> 16 & 0xFFFF);
    }
}

// Null when neither way is open.
template <i32 kind>
SumPixels vectorSums(ExpandedRows& expanded, Drawing& drawing, u32 width)
{
    if (!processorHas(processorAvx2))
        return nullptr;
    const bool reachesFewPixels = drawing.firstReachedX >= 0 && drawing.firstReachedY >= 0 &&
                                  (drawing.lastReachedX + 1) * (drawing.lastReachedY + 1) <= mostExpandedPixels;
    if (reachesFewPixels && allocateRows(expanded, drawing, width)) {
        drawing.rowForm = RowForm::expanded;
        return sumExpandedSamples<planeCount(kind)>;
    }
    if (width < leastFetchedPixels || !prepareFetching(drawing))
        return nullptr;
    drawing.rowForm = RowForm::fetched;
    return sumFetchedSamples<kind>;
}
#else
void setRowOffsets(Drawing&, const DisplayRow&) {}

template <i32 kind>
SumPixels vectorSums(ExpandedRows&, Drawing&, u32)
{
    return nullptr;
}
#endif

void storePixels(u8* dst, const Sums* sums, u32 count, i32 bytesPerPixel)
{
    constexpr u32 channelSum = 0xFFFF;
    for (u32 pixel = 0; pixel < count; pixel++, dst += bytesPerPixel) {
        const u32 red = sums[pixel] >> redShift & channelSum;
        const u32 green = sums[pixel] >> greenShift & channelSum;
        const u32 blue = sums[pixel] & channelSum;
        if (bytesPerPixel == 2) {
            const u16 word = static_cast<u16>(red >> 8 << 11 | (green >> 2 & 0xFFE0) | blue >> 8);
            memcpy(dst, &word, sizeof word);
        } else if (bytesPerPixel == 3) {
            dst[0] = static_cast<u8>(red / samplesPerPixel);
            dst[1] = static_cast<u8>(green / samplesPerPixel);
            dst[2] = static_cast<u8>(blue / samplesPerPixel);
        } else {
            const u32 word = red / samplesPerPixel << 16 | green / samplesPerPixel << 8 | blue / samplesPerPixel;
            memcpy(dst, &word, sizeof word);
        }
    }
}

// A byte a pixel: one sample each, and indices instead of colours.
void drawIndices(const Drawing& drawing, const DisplayRow& row, u32 width, u8* dst)
{
    constexpr u8 darkIndex = 255;
    constexpr u8 lightIndex = 254;
    const auto pictureWidth = static_cast<i32>(drawing.picture.width);
    const i32 fractionY = static_cast<i32>(row.y & fraction);
    for (u32 pixel = 0; pixel < width; pixel++) {
        const u32 sample = (row.firstSample + pixel) % jitterEntries;
        const u8* pixels = row.rows[reach + ((fractionY + drawing.jitter.y[sample]) >> fractionBits)];
        const u32 position =
            wholePosition(drawing.x + pixel * drawing.stepX + static_cast<u32>(drawing.jitter.x[sample]));
        if (drawing.picture.kind == kindBilevel) {
            // Unlike everywhere else the remainder is that of a signed number.
            const i32 column = static_cast<i32>(position) % pictureWidth;
            dst[pixel] =
                isDark(pixels, static_cast<u32>(column < 0 ? column + pictureWidth : column)) ? darkIndex : lightIndex;
        } else {
            dst[pixel] = pixels[position % drawing.picture.width];
        }
    }
}

// Picture pixels a display pixel, with 13 bits behind the point. False when that is no 32-bit number.
bool fixedStep(i32 pictureRes, i32 screenRes, float zoom, u32& step)
{
    const float exact = static_cast<float>(pictureRes) * float{onePixel} / (static_cast<float>(screenRes) * zoom);
    if (!(exact < 2147483648.0F))
        return false;
    step = static_cast<u32>(exact);
    return true;
}

void drawJitter(int16_t* table, u32 step, u32 firstEntry, i32& firstReached, i32& lastReached)
{
    for (u32 i = 0; i < jitterEntries; i++)
        table[(i - firstEntry) % jitterEntries] = static_cast<int16_t>(static_cast<i32>(drand48() * step));
    std::copy(table, table + samplesPerPixel, table + jitterEntries);
    const auto [least, most] = std::minmax_element(table, table + jitterEntries);
    firstReached = *least >> fractionBits;
    lastReached = (static_cast<i32>(fraction) + *most) >> fractionBits;
}

void setColours(Drawing& drawing)
{
    if (drawing.picture.kind != kindIndexed || drawing.picture.palette == nullptr)
        return;
    for (u32 i = 0; i < std::size(drawing.colours); i++) {
        const u8* rgb = drawing.picture.palette + 3 * i;
        drawing.colours[i] = Sums{rgb[0]} << redShift | Sums{rgb[1]} << greenShift | rgb[2];
        drawing.colourWords[i] = littleEndian16(rgb) | static_cast<u32>(rgb[2]) << 16;
    }
}

template <i32 kind>
SumPixels fastestSums(ExpandedRows& expanded, Drawing& drawing, u32 width)
{
    const SumPixels sums = vectorSums<kind>(expanded, drawing, width);
    return sums != nullptr ? sums : sumSamples<kind>;
}

SumPixels chooseSums(ExpandedRows& expanded, Drawing& drawing, u32 width)
{
    const i32 kind = drawing.picture.kind;
    return kind == kindBilevel   ? fastestSums<kindBilevel>(expanded, drawing, width)
           : kind == kindIndexed ? fastestSums<kindIndexed>(expanded, drawing, width)
                                 : fastestSums<kindRGB>(expanded, drawing, width);
}

// Finds the picture rows that the samples of a display row reach, in the form in which they are read.
void reachRows(Drawing& drawing, ExpandedRows& expanded, u32 displayRow, DisplayRow& row)
{
    for (i32 reached = drawing.firstReachedY; reached <= drawing.lastReachedY; reached++) {
        const u8* stored = pictureRow(drawing.picture, row.y + static_cast<u32>(reached) * onePixel);
        row.rows[reach + reached] =
            drawing.rowForm == RowForm::expanded ? expandedRow(drawing, expanded, stored, displayRow) : stored;
    }
    if (drawing.rowForm == RowForm::fetched)
        setRowOffsets(drawing, row);
}

void drawColours(const Drawing& drawing, const DisplayRow& row, SumPixels sumPixels, u32 width, u8* dst,
                 i32 bytesPerPixel)
{
    Sums sums[pixelsAtOnce];
    for (u32 first = 0; first < width; first += pixelsAtOnce) {
        const u32 count = std::min(pixelsAtOnce, width - first);
        sumPixels(drawing, row, first, count, sums);
        storePixels(dst + i64{first} * bytesPerPixel, sums, count, bytesPerPixel);
    }
}

// Whether there is something to draw and something to draw it from.
bool isDrawable(const RepeatingPicture& picture, const u8* dst, i32 bytesPerPixel, i32 width, i32 rows)
{
    const bool needsColours = bytesPerPixel != 1;
    return dst != nullptr && picture.rows != nullptr && bytesPerPixel >= 1 && bytesPerPixel <= 4 && width > 0 &&
           rows > 0 && (!needsColours || (picture.kind >= kindBilevel && picture.kind <= kindRGB)) &&
           (!needsColours || picture.kind != kindIndexed || picture.palette != nullptr);
}

} // namespace

void renderRealImg(u8* dst, i32 dstStride, i32 bytesPerPixel, i32 x0, i32 firstRow, i32 width, i32 rows, i32 y0,
                   i32 screenResX, i32 screenResY, const u8* src, i32 srcStride, i32 srcWidth, i32 srcHeight,
                   i32 srcKind, const u8* palette, i32 srcResX, i32 srcResY, float zoom)
{
    if (srcWidth <= 0 || srcHeight <= 0 || screenResX <= 0 || screenResY <= 0 || srcResX <= 0 || srcResY <= 0 ||
        !(zoom > 0))
        return;
    Drawing drawing;
    drawing.picture = {src, srcStride, static_cast<u32>(srcWidth), static_cast<u32>(srcHeight), srcKind, palette};
    if (!isDrawable(drawing.picture, dst, bytesPerPixel, width, rows) ||
        !fixedStep(srcResX, screenResX, zoom, drawing.stepX) || !fixedStep(srcResY, screenResY, zoom, drawing.stepY))
        return;
    const u32 pixels = static_cast<u32>(width);
    drawing.x = static_cast<u32>(x0) * drawing.stepX;
    drawJitter(drawing.jitter.x, drawing.stepX, 0, drawing.firstReachedX, drawing.lastReachedX);
    // A sample's vertical jitter is the one behind that of its number.
    drawJitter(drawing.jitter.y, drawing.stepY, 1, drawing.firstReachedY, drawing.lastReachedY);
    if (bytesPerPixel != 1)
        setColours(drawing);

    ExpandedRows expanded;
    drawing.rowForm = RowForm::asStored;
    const SumPixels sumPixels = bytesPerPixel == 1 ? nullptr : chooseSums(expanded, drawing, pixels);
    DisplayRow row = {};
    for (u32 rowsLeft = static_cast<u32>(rows); rowsLeft > 0; rowsLeft--) {
        row.y = (static_cast<u32>(y0) - static_cast<u32>(firstRow) - (rowsLeft - 1)) * drawing.stepY;
        row.firstSample = static_cast<u32>(drand48() * jitterEntries);
        reachRows(drawing, expanded, rowsLeft, row);
        u8* target = dst + (i64{rowsLeft} - 1) * dstStride;
        if (sumPixels == nullptr)
            drawIndices(drawing, row, pixels, target);
        else
            drawColours(drawing, row, sumPixels, pixels, target, bytesPerPixel);
    }
}
