#include "loomfile/cloth/cloth.h"

#include <algorithm>

static std::vector<Light> lightOfThreads(const LightTables& tables, const std::vector<u8>& colours, u32 count)
{
    std::vector<Light> light(count);
    for (u32 i = 0; i < count && !colours.empty(); i++)
        light[i] = tables.of(&colours[colours.size() == 3 ? 0 : 3 * i]);
    return light;
}

// Sums of samples, so that a mean takes four of them.
static std::vector<u32> sumsOf(const Looks& looks)
{
    constexpr u32 side = lookSamples + 1;
    std::vector<u32> sums(u64{lookCount} * side * side * tileYarns);
    for (u32 look = 0; look < lookCount; look++) {
        for (u32 row = 0; row < lookSamples; row++) {
            u32* above = &sums[(u64{look} * side + row) * side * tileYarns];
            u32* line = above + side * tileYarns;
            u32 left[tileYarns] = {};
            for (u32 column = 0; column < lookSamples; column++) {
                for (u32 yarn = 0; yarn < tileYarns; yarn++) {
                    left[yarn] += looks.at(look, row, column)[yarn];
                    line[(column + 1) * tileYarns + yarn] = above[(column + 1) * tileYarns + yarn] + left[yarn];
                }
            }
        }
    }
    return sums;
}

// What a crossing with the warp up gives of its end's light, and one with the weft up of its pick's: the mean of all
// looks. Were it each look's own, tiles would not join, and pixels of about half a tile would beat with the weave.
struct CrossingWeights {
    u32 warp, weft;
};

static CrossingWeights crossingWeightsOf(const Looks& looks)
{
    u32 warp = 0, weft = 0;
    for (const Weights& means : looks.means) {
        warp += means[leftEnd] + means[rightEnd];
        weft += means[upperPick] + means[lowerPick];
    }
    return {2 * warp / lookCount, 2 * weft / lookCount}; // in the mean half of the corners are up
}

// Each corner's yarn on top counts the more the nearer the corner is.
static Weights softWeightsAt(const CrossingWeights& crossing, u32 look, u32 row, u32 column)
{
    constexpr u32 whole = 4 * tileSamples * tileSamples;
    const u32 down = 2 * row + 1, up = 2 * tileSamples - down;
    const u32 right = 2 * column + 1, left = 2 * tileSamples - right;
    const u32 nearness[] = {left * up, right * up, left * down, right * down};
    Weights weights{};
    for (u32 corner = 0; corner < 4; corner++) {
        const bool isUp = (look >> corner & 1) != 0;
        weights[isUp ? leftEnd + corner % 2 : upperPick + corner / 2] +=
            static_cast<u16>((isUp ? crossing.warp : crossing.weft) * nearness[corner] / whole);
    }
    return weights;
}

static std::vector<Weights> softWeightsOf(const Looks& looks)
{
    const CrossingWeights crossing = crossingWeightsOf(looks);
    std::vector<Weights> weights;
    weights.reserve(u64{tileSamples} * lookCount * tileSamples);
    for (u32 row = 0; row < tileSamples; row++)
        for (u32 look = 0; look < lookCount; look++)
            for (u32 column = 0; column < tileSamples; column++)
                weights.push_back(softWeightsAt(crossing, look, row, column));
    return weights;
}

// Of an odd number of threads a level cannot have half.
static u32 repeatedThreads(u32 threads)
{
    constexpr u32 halvings = 6;
    constexpr u32 most = 2048;
    while (threads % (1U << halvings) != 0 && threads * 2 <= most)
        threads *= 2;
    return threads;
}

Cloth::Cloth(ClothDesign given)
    : design(std::move(given)), looks(design.thickness), sums(sumsOf(looks)), softWeights(softWeightsOf(looks)),
      paletteLight()
{
    warpLight = lightOfThreads(tables, design.warp, design.ends);
    weftLight = lightOfThreads(tables, design.weft, design.picks);
    for (u32 i = 0; i < paletteLight.size(); i++)
        paletteLight[i] = tables.of(&design.palette[3 * i]);
    levelEnds = repeatedThreads(design.ends);
    levelPicks = repeatedThreads(design.picks);
    buildLevels(*this);
}

static LightPair pairOf(const Light& a, const Light& b)
{
    return {a[0], b[0], a[1], b[1], a[2], b[2], 0, 0};
}

// Room before the crossings, since eight are unpacked at once.
constexpr u32 unpackedAtOnce = 8;

static constexpr std::array<u64, 256> unpackedBits = [] {
    std::array<u64, 256> words{};
    for (u32 byte = 0; byte < words.size(); byte++)
        for (u32 bit = 0; bit < 8; bit++)
            words[byte] |= u64{byte >> (7 - bit) & 1} << 8 * bit;
    return words;
}();

static void unpack(const u8* row, u32 first, u32 count, u8* bytes)
{
    bytes -= first % 8;
    for (u32 byte = first / 8; byte <= (first + count - 1) / 8; byte++, bytes += unpackedAtOnce)
        memcpy(bytes, &unpackedBits[row[byte]], unpackedAtOnce);
}

// Whether the warp is up at each crossing, and the colour that is seen when only that is known.
void TileRow::takePick(const Cloth& cloth, u32 pick, u32 line)
{
    const ClothDesign& design = cloth.design;
    const u32 count = takenCount + 1;
    up[line].resize(count + 2 * size_t{unpackedAtOnce});
    u8* bytes = up[line].data() + unpackedAtOnce;
    for (u32 i = 0, end = takenFirst; i < count; end = 0) {
        const u32 part = std::min(count - i, design.ends - end);
        if (design.weave.empty())
            for (u32 n = 0; n < part; n++)
                bytes[i + n] = static_cast<u8>((end + n + pick + 1) & 1);
        else
            unpack(&design.weave[u64{pick} * ((design.ends + 7) / 8)], end, part, bytes + i);
        i += part;
    }
    if (design.crossings.empty())
        return;
    seen[line].resize(count);
    const u8* crossings = &design.crossings[u64{pick} * design.ends * design.crossingBytes];
    for (u32 i = 0, end = takenFirst; i < count; i++) {
        seen[line][i] =
            design.crossingBytes == 1 ? cloth.paletteLight[crossings[end]] : cloth.tables.of(crossings + 3 * u64{end});
        end = end + 1 == design.ends ? 0 : end + 1;
    }
}

// A yarn has the colour of the crossing where it is on top.
void TileRow::pairCrossings()
{
    ends.resize(takenCount);
    picks.resize(takenCount);
    pickStep = 1;
    for (u32 i = 0; i < takenCount; i++) {
        const Light &a = seen[0][i], &b = seen[0][i + 1], &c = seen[1][i], &d = seen[1][i + 1];
        const bool aUp = (looks[i] & 1) != 0, bUp = (looks[i] & 2) != 0, cUp = (looks[i] & 4) != 0,
                   dUp = (looks[i] & 8) != 0;
        ends[i] = pairOf(aUp ? a : c, dUp ? d : b);
        picks[i] = pairOf(bUp ? a : b, cUp ? d : c);
    }
}

void TileRow::pairThreads(const Cloth& cloth)
{
    ends.resize(takenCount);
    for (u32 i = 0, end = takenFirst; i < takenCount; i++) {
        const u32 next = end + 1 == cloth.design.ends ? 0 : end + 1;
        ends[i] = pairOf(cloth.warpLight[end], cloth.warpLight[next]);
        end = next;
    }
}

void TileRow::take(const Cloth& cloth, u32 pick, u32 firstEnd, u32 count)
{
    const bool areOthers = takenFirst != firstEnd || takenCount != count;
    takenFirst = firstEnd;
    takenCount = count;
    if (areOthers)
        pairThreads(cloth);
    if (!areOthers && takenNext == pick) {
        std::swap(up[0], up[1]);
        std::swap(seen[0], seen[1]);
    } else {
        takePick(cloth, pick, 0);
    }
    takenNext = pick + 1 == cloth.design.picks ? 0 : pick + 1;
    takePick(cloth, takenNext, 1);
    looks.resize(count);
    const u8* upper = up[0].data() + unpackedAtOnce;
    const u8* lower = up[1].data() + unpackedAtOnce;
    for (u32 i = 0; i < count; i++)
        looks[i] = static_cast<u8>(upper[i] | upper[i + 1] << 1 | lower[i] << 2 | lower[i + 1] << 3);
    if (cloth.design.crossings.empty())
        picks.assign(1, pairOf(cloth.weftLight[pick], cloth.weftLight[takenNext]));
    else
        pairCrossings();
}
