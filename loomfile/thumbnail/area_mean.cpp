#include "loomfile/thumbnail/area_mean.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "loomfile/cloth/light.h"

// The sums of the pixels of some rows for each column, each pixel weighted with its parts in the column.
class RowSums
{
public:
    static constexpr u32 mostRows = 255;

    explicit RowSums(u32 givenChannels) : channels(givenChannels) {}
    virtual ~RowSums() = default;
    virtual void add(const u8* row) = 0;
    // All channels of a column, then the next column's. The sums begin anew.
    virtual void take(std::vector<u64>& sums) = 0;
    // R, G, B, A from the means of the channels.
    virtual void colour(const double* means, u8* rgba) const = 0;

    const u32 channels;
};

namespace
{

constexpr u32 whiteLight16 = 65535;
constexpr u32 mostChannels = 4;

// The light of a byte, and the byte that looks nearest to an amount of light.
struct Tables {
    static constexpr u32 step = 16; // less than the light from one byte to the next
    std::array<u32, 256> lightOf;
    std::array<double, 256> brighterFrom; // from where on the next byte is nearer
    std::array<u8, (whiteLight16 + 1) / step> startOf;

    Tables()
    {
        for (u32 byte = 0; byte < 256; byte++) {
            lightOf[byte] = static_cast<u32>(std::lround(lightOfShare(byte / 255.0) * whiteLight16));
            brighterFrom[byte] = lightOfShare((byte + 0.5) / 255) * whiteLight16;
        }
        u8 byte = 0;
        for (u32 i = 0; i < startOf.size(); i++) {
            byte = nearer(byte, i * step);
            startOf[i] = byte;
        }
    }

    u8 nearer(u8 byte, double light) const { return static_cast<u8>(byte + (light >= brighterFrom[byte] ? 1 : 0)); }
    u8 byteOf(double light) const { return nearer(startOf[static_cast<u32>(light) / step], light); }
    void opaque(const double* light, u8* rgba) const
    {
        for (u32 i = 0; i < 3; i++)
            rgba[i] = byteOf(light[i]);
        rgba[3] = 255;
    }
};

const Tables& tables()
{
    static const Tables made;
    return made;
}

// The pixels that a column lies on, and how many parts of the first and the last do not belong to it.
struct Span {
    u32 first;
    u32 count;
    u32 lostBefore;
    u32 lostBehind;
};

// A pixel has as many parts as there are columns.
std::vector<Span> spansOf(u32 pixels, u32 columns)
{
    std::vector<Span> spans(columns);
    for (u32 i = 0; i < columns; i++) {
        const u64 begin = u64{i} * pixels, end = begin + pixels;
        const u64 first = begin / columns, behind = (end + columns - 1) / columns;
        spans[i] = {static_cast<u32>(first), static_cast<u32>(behind - first),
                    static_cast<u32>(begin - first * columns), static_cast<u32>(behind * columns - end)};
    }
    return spans;
}

// The mean of two colours. It has no more tones than bytes in the channel in which they differ most, so that a palette
// has room for them: the other channels follow that one.
class TwoColours
{
public:
    explicit TwoColours(const u8* rgb)
    {
        u32 widest = 0;
        for (u32 i = 1; i < 3; i++)
            if (std::abs(rgb[i] - rgb[i + 3]) > std::abs(rgb[widest] - rgb[widest + 3]))
                widest = i;
        double from[3], to[3];
        for (u32 i = 0; i < 3; i++) {
            from[i] = table.lightOf[rgb[i]];
            to[i] = table.lightOf[rgb[i + 3]];
        }
        first = from[widest];
        difference = to[widest] - first;
        for (u32 byte = 0; byte < tones.size(); byte++) {
            const double light = table.lightOf[byte] - first;
            const double share = difference != 0 ? std::clamp(light / difference, 0.0, 1.0) : 0;
            double mixed[3];
            for (u32 i = 0; i < 3; i++)
                mixed[i] = from[i] + share * (to[i] - from[i]);
            table.opaque(mixed, tones[byte].data());
        }
    }
    // Of a share of the second.
    void colour(double share, u8* rgba) const
    {
        memcpy(rgba, tones[table.byteOf(first + share * difference)].data(), 4);
    }

private:
    const Tables& table = tables();
    double first, difference;
    std::array<std::array<u8, 4>, 256> tones{};
};

// Pixels of two colours: how many rows have the second in each place is counted, and of all places when they are taken.
class Counts : public RowSums
{
public:
    Counts(const MeanSource& source, u32 columns)
        : RowSums(1), width(source.width), counts((u64{width} + 7) / 8 * 8), spans(spansOf(width, columns)),
          colours(source.palette.data())
    {
    }

    // Indices, 0 and 1.
    void add(const u8* row) override { addTo(counts.data(), row, width); }
    void take(std::vector<u64>& sums) override
    {
        const u64 parts = spans.size();
        u64* sum = sums.data();
        for (const Span& span : spans) {
            const u8* counted = &counts[span.first];
            u64 all = 0;
            for (u32 i = 0; i < span.count; i++)
                all += counted[i];
            *sum++ = parts * all - span.lostBefore * counted[0] - span.lostBehind * counted[span.count - 1];
        }
        std::fill(counts.begin(), counts.end(), u8{0});
    }
    void colour(const double* means, u8* rgba) const override { colours.colour(means[0], rgba); }

protected:
    const u32 width;
    std::vector<u8> counts;

private:
    static void addTo(u8* __restrict numbers, const u8* __restrict row, u32 count)
    {
        for (u32 i = 0; i < count; i++)
            numbers[i] = static_cast<u8>(numbers[i] + row[i]);
    }

    const std::vector<Span> spans;
    const TwoColours colours;
};

// A byte for each bit, the highest bit first.
constexpr std::array<u64, 256> bytesOfBits = [] {
    std::array<u64, 256> words{};
    for (u32 bits = 0; bits < words.size(); bits++) {
        std::array<u8, 8> bytes{};
        for (u32 i = 0; i < bytes.size(); i++)
            bytes[i] = static_cast<u8>(bits >> (7 - i) & 1);
        words[bits] = std::bit_cast<u64>(bytes);
    }
    return words;
}();

// Bits are counted in planes first, of which each holds a digit of all numbers: many are added at once.
class BitCounts : public Counts
{
public:
    BitCounts(const MeanSource& source, u32 columns) : Counts(source, columns), rowBytes((source.width + 7) / 8)
    {
        for (std::vector<u8>& plane : planes)
            plane.resize(rowBytes);
    }

    void add(const u8* row) override
    {
        addToPlanes(row, rowBytes, planes[0].data(), planes[1].data(), planes[2].data(), planes[3].data());
        rowsInPlanes++;
        if (rowsInPlanes == 15)
            empty();
    }
    void take(std::vector<u64>& sums) override
    {
        empty();
        Counts::take(sums);
    }

private:
    static void addToPlanes(const u8* __restrict row, u32 count, u8* __restrict ones, u8* __restrict twos,
                            u8* __restrict fours, u8* __restrict eights)
    {
        for (u32 i = 0; i < count; i++) {
            const u8 two = ones[i] & row[i], four = twos[i] & two, eight = fours[i] & four;
            ones[i] ^= row[i];
            twos[i] ^= two;
            fours[i] ^= four;
            eights[i] ^= eight;
        }
    }
    void empty()
    {
        u8* place = counts.data();
        for (u32 i = 0; i < rowBytes && rowsInPlanes != 0; i++, place += 8) {
            u64 eight;
            memcpy(&eight, place, sizeof eight);
            for (u32 digit = 0; digit < planes.size(); digit++)
                eight += bytesOfBits[planes[digit][i]] << digit;
            memcpy(place, &eight, sizeof eight);
        }
        for (std::vector<u8>& plane : planes)
            std::fill(plane.begin(), plane.end(), u8{0});
        rowsInPlanes = 0;
    }

    const u32 rowBytes;
    u32 rowsInPlanes = 0;
    std::array<std::vector<u8>, 4> planes;
};

// Light that is added up pixel by pixel.
template <typename Pixels>
class Lights : public RowSums
{
public:
    Lights(const MeanSource& source, u32 columns)
        : RowSums(Pixels::channels), spans(spansOf(source.width, columns)), pixels(source),
          rowSums(u64{channels} * columns)
    {
    }

    void add(const u8* row) override
    {
        const u64 parts = spans.size();
        u64* sum = rowSums.data();
        for (const Span& span : spans) {
            const auto all = pixels.sum(row, span.first, span.count);
            const auto first = pixels.at(row, span.first), last = pixels.at(row, span.first + span.count - 1);
            for (u32 i = 0; i < Pixels::channels; i++)
                *sum++ += parts * all[i] - span.lostBefore * first[i] - span.lostBehind * last[i];
        }
    }
    void take(std::vector<u64>& sums) override
    {
        sums.swap(rowSums);
        std::fill(rowSums.begin(), rowSums.end(), 0);
    }
    void colour(const double* means, u8* rgba) const override { pixels.colour(means, rgba); }

private:
    const std::vector<Span> spans;
    const Pixels pixels;
    std::vector<u64> rowSums;
};

template <u32 count>
using Channels = std::array<u64, count>;

// The lights of a colour are added at once, in one word, for as many pixels as no channel runs over.
class IndexedPixels
{
public:
    static constexpr u32 channels = 3;

    explicit IndexedPixels(const MeanSource& source)
    {
        for (u32 i = 0; i < lights.size(); i++)
            for (u32 j = 0; j < channels; j++)
                lights[i] |= u64{table.lightOf[source.palette[3 * i + j]]} << j * bits;
    }
    Channels<channels> at(const u8* row, u32 x) const { return separate(lights[row[x]]); }
    Channels<channels> sum(const u8* row, u32 first, u32 count) const
    {
        Channels<channels> sums{};
        const u8* pixel = row + first;
        const u8* const end = pixel + count;
        for (; end - pixel >= pixelsAtOnce; pixel += pixelsAtOnce) {
            u64 even = 0, odd = 0;
            for (u32 i = 0; i < pixelsAtOnce; i += 2) {
                even += lights[pixel[i]];
                odd += lights[pixel[i + 1]];
            }
            addTo(sums, even + odd);
        }
        u64 rest = 0;
        for (; pixel < end; pixel++)
            rest += lights[*pixel];
        addTo(sums, rest);
        return sums;
    }
    void colour(const double* means, u8* rgba) const { table.opaque(means, rgba); }

private:
    static constexpr u32 bits = 21;
    static constexpr i32 pixelsAtOnce = (1 << bits) / (whiteLight16 + 1);

    static Channels<channels> separate(u64 word)
    {
        constexpr u64 channel = (1U << bits) - 1;
        return {word & channel, word >> bits & channel, word >> 2 * bits};
    }
    static void addTo(Channels<channels>& sums, u64 word)
    {
        const auto more = separate(word);
        for (u32 i = 0; i < channels; i++)
            sums[i] += more[i];
    }

    const Tables& table = tables();
    std::array<u64, 256> lights{};
};

class RgbPixels
{
public:
    static constexpr u32 channels = 3;

    explicit RgbPixels(const MeanSource&) {}
    Channels<channels> at(const u8* row, u32 x) const { return sum(row, x, 1); }
    Channels<channels> sum(const u8* row, u32 first, u32 count) const
    {
        u64 red = 0, green = 0, blue = 0;
        const u8* pixel = row + u64{channels} * first;
        for (u32 i = 0; i < count; i++, pixel += channels) {
            red += table.lightOf[pixel[0]];
            green += table.lightOf[pixel[1]];
            blue += table.lightOf[pixel[2]];
        }
        return {red, green, blue};
    }
    void colour(const double* means, u8* rgba) const { table.opaque(means, rgba); }

private:
    const Tables& table = tables();
};

// Light counts as far as it is seen: what is transparent has no colour.
class RgbaPixels
{
public:
    static constexpr u32 channels = 4;

    explicit RgbaPixels(const MeanSource&) {}
    Channels<channels> at(const u8* row, u32 x) const { return sum(row, x, 1); }
    Channels<channels> sum(const u8* row, u32 first, u32 count) const
    {
        Channels<channels> sums{};
        const u8* pixel = row + u64{channels} * first;
        for (u32 i = 0; i < count; i++, pixel += channels) {
            const u64 alpha = pixel[3];
            for (u32 j = 0; j < 3; j++)
                sums[j] += alpha * table.lightOf[pixel[j]];
            sums[3] += alpha;
        }
        return sums;
    }
    void colour(const double* means, u8* rgba) const
    {
        const auto alpha = static_cast<u8>(std::lround(means[3]));
        double light[3] = {};
        for (u32 i = 0; i < 3 && alpha != 0; i++)
            light[i] = std::min(means[i] / means[3], double{whiteLight16});
        table.opaque(light, rgba);
        rgba[3] = alpha;
    }

private:
    const Tables& table = tables();
};

std::unique_ptr<RowSums> sumsFor(const MeanSource& source, u32 columns)
{
    switch (source.kind) {
    case kindBilevel:
        return std::make_unique<BitCounts>(source, columns);
    case kindIndexed:
        if (source.colourCount == 2)
            return std::make_unique<Counts>(source, columns);
        return std::make_unique<Lights<IndexedPixels>>(source, columns);
    case kindRGBA:
        return std::make_unique<Lights<RgbaPixels>>(source, columns);
    default:
        return std::make_unique<Lights<RgbPixels>>(source, columns);
    }
}

} // namespace

AreaMean::AreaMean(const MeanSource& source, ThumbnailShape shape, u8* resultRows, u32 resultStride)
    : width(source.width), height(source.height), result(shape), rows(resultRows), stride(resultStride),
      sums(sumsFor(source, shape.width)), rowSums(u64{sums->channels} * shape.width), totals(rowSums.size())
{
}

AreaMean::~AreaMean() = default;

void AreaMean::take(const u8* row)
{
    const u64 end = position + result.height;
    if (end < resultEnd()) {
        sums->add(row);
        gathered++;
        if (gathered == RowSums::mostRows)
            addGathered();
        position = end;
        return;
    }
    addGathered();
    sums->add(row);
    sums->take(rowSums);
    while (position < end) {
        const u64 next = std::min(end, resultEnd());
        addToTotals(next - position);
        position = next;
        if (position == resultEnd())
            finishRow();
    }
}

// Of rows that lie wholly in a row of the result.
void AreaMean::addGathered()
{
    if (gathered == 0)
        return;
    sums->take(rowSums);
    addToTotals(result.height);
    gathered = 0;
}

void AreaMean::addToTotals(u64 parts)
{
    const auto weight = static_cast<double>(parts);
    for (u64 i = 0; i < totals.size(); i++)
        totals[i] += weight * static_cast<double>(static_cast<i64>(rowSums[i]));
}

void AreaMean::finishRow()
{
    const double share = 1 / (static_cast<double>(width) * height);
    u8* rgba = rows + u64{resultRow} * stride;
    const double* total = totals.data();
    for (u32 x = 0; x < result.width; x++, rgba += 4) {
        double means[mostChannels];
        for (u32 i = 0; i < sums->channels; i++)
            means[i] = *total++ * share;
        sums->colour(means, rgba);
    }
    std::fill(totals.begin(), totals.end(), 0.0);
    resultRow++;
}
