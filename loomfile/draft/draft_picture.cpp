#include "loomfile/draft/draft_picture.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <unordered_map>

constexpr size_t mostPaletteColours = 256;
constexpr Colour black = {0, 0, 0};
constexpr Colour white = {255, 255, 255};

static bool isAll(const std::vector<Colour>& colours, Colour colour)
{
    return std::all_of(colours.begin(), colours.end(), [colour](Colour other) { return other == colour; });
}

// Colours in the order of use, and the number of each thread's. False when they are too many.
struct PaletteMaker {
    std::vector<Colour> colours = {};
    std::unordered_map<u32, u8> numbers = {};

    bool number(const std::vector<Colour>& threads, std::vector<u8>& pixels)
    {
        pixels.clear();
        for (const Colour colour : threads) {
            const u32 key = static_cast<u32>(colour.red << 16 | colour.green << 8 | colour.blue);
            const auto [place, isNew] = numbers.try_emplace(key, static_cast<u8>(colours.size()));
            if (isNew) {
                if (colours.size() == mostPaletteColours)
                    return false;
                colours.push_back(colour);
            }
            pixels.push_back(place->second);
        }
        return true;
    }
};

static std::vector<u8> bytesOf(const std::vector<Colour>& colours)
{
    std::vector<u8> bytes;
    for (const Colour colour : colours)
        bytes.insert(bytes.end(), {colour.red, colour.green, colour.blue});
    return bytes;
}

DraftPicture::DraftPicture(Draft given) : draft(std::move(given)), drawdown(draft)
{
    const std::vector<Colour>&warp = draft.warp.colours, &weft = draft.weft.colours;
    if (!draft.hasColours() || (isAll(warp, black) && isAll(weft, white)))
        return;
    PaletteMaker maker;
    if (maker.number(warp, endPixels) && maker.number(weft, pickPixels)) {
        kind = kindIndexed;
        palette = std::move(maker.colours);
    } else {
        kind = kindRGB;
        endPixels = bytesOf(warp);
        pickPixels = bytesOf(weft);
    }
}

// In thousandths of a dot per inch; 0 = unknown, or beyond what a loom can weave.
static u32 resolutionOf(const Threads& threads)
{
    constexpr double inch = 2.54, unit = 1000, most = 100000;
    const double dots = threadsPerCentimetre(threads) * inch;
    return dots < most ? static_cast<u32>(dots * unit + 0.5) : 0;
}

void DraftPicture::describe(LoomfileInfo& info) const
{
    info.kind = kind;
    info.width = draft.ends();
    info.height = draft.picks();
    info.rowBytes = llibRowBytes(kind, info.width);
    info.resX = resolutionOf(draft.warp);
    info.resY = resolutionOf(draft.weft);
    info.mulX = info.mulY = 1;
    info.orientation = 1;
    info.isFirstPart = 1;
    info.isDraft = 1;
    const std::vector<u8> colours = bytesOf(kind == kindBilevel ? std::vector<Colour>{white, black} : palette);
    info.colourCount = static_cast<u32>(colours.size() / 3);
    memset(info.palette, 0, sizeof info.palette);
    std::copy(colours.begin(), colours.end(), info.palette);
}

// For eight ends the bytes that are the warp's.
static constexpr std::array<u64, 256> warpBytes = [] {
    std::array<u64, 256> masks{};
    for (u32 bits = 0; bits < masks.size(); bits++)
        for (u32 end = 0; end < 8; end++) {
            const u32 place = std::endian::native == std::endian::little ? end : 7 - end;
            masks[bits] |= (bits << end & 0x80) != 0 ? u64{0xFF} << 8 * place : 0;
        }
    return masks;
}();

static void drawIndexed(const u8* isUp, const std::vector<u8>& ends, u8 pick, u8* row)
{
    const u64 weft = pick * u64{0x0101010101010101};
    auto drawSome = [&](size_t end, size_t count) {
        const u64 mask = warpBytes[isUp[end / 8]];
        u64 warp = 0;
        memcpy(&warp, &ends[end], count);
        const u64 pixels = (warp & mask) | (weft & ~mask);
        memcpy(row + end, &pixels, count);
    };
    size_t end = 0;
    for (; end + 8 <= ends.size(); end += 8)
        drawSome(end, 8);
    if (end < ends.size())
        drawSome(end, ends.size() - end);
}

static void drawTrueColour(const u8* isUp, const std::vector<u8>& ends, const u8* pick, u8* row)
{
    for (size_t at = 0; at < ends.size(); at += 3) {
        const size_t end = at / 3;
        memcpy(row + at, (isUp[end / 8] << end % 8 & 0x80) != 0 ? &ends[at] : pick, 3);
    }
}

void DraftPicture::draw(u32 firstPick, u32 count, u8* rows, u32 stride)
{
    if (kind == kindBilevel) {
        drawdown.draw(firstPick, count, rows, stride);
        return;
    }
    std::vector<u8> isUp((draft.ends() + 7) / 8);
    for (u32 i = 0; i < count; i++) {
        const u32 pick = firstPick + i;
        u8* row = rows + u64{i} * stride;
        drawdown.draw(pick, 1, isUp.data(), 0);
        if (kind == kindIndexed)
            drawIndexed(isUp.data(), endPixels, pickPixels[pick], row);
        else
            drawTrueColour(isUp.data(), endPixels, &pickPixels[3 * size_t{pick}], row);
    }
}
