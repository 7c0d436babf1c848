#include "loomfile/draft/draft_picture.h"

#include <algorithm>
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

DraftPicture::DraftPicture(Draft given) : draft(std::move(given))
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

template <u32 size>
static void drawInColour(const u8* isUp, const std::vector<u8>& ends, const u8* pick, u8* row)
{
    const auto count = static_cast<u32>(ends.size() / size);
    for (u32 end = 0; end < count; end++) {
        const u8* top = (isUp[end / 8] << end % 8 & 0x80) != 0 ? &ends[end * size] : pick;
        for (u32 i = 0; i < size; i++)
            row[end * size + i] = top[i];
    }
}

void DraftPicture::draw(u32 firstPick, u32 count, u8* rows, u32 stride) const
{
    if (kind == kindBilevel) {
        drawRows(draft, firstPick, count, rows, stride);
        return;
    }
    constexpr u32 scratchBytes = 1 << 18;
    const u32 bitBytes = (draft.ends() + 7) / 8;
    const u32 most = std::min(std::max(scratchBytes / bitBytes, 1U), count);
    std::vector<u8> bits(u64{most} * bitBytes);
    for (u32 done = 0, part = 0; done < count; done += part) {
        part = std::min(most, count - done);
        drawRows(draft, firstPick + done, part, bits.data(), bitBytes);
        for (u32 i = 0; i < part; i++) {
            const u8* isUp = &bits[u64{i} * bitBytes];
            u8* row = rows + u64{done + i} * stride;
            const u32 pick = firstPick + done + i;
            if (kind == kindIndexed)
                drawInColour<1>(isUp, endPixels, &pickPixels[pick], row);
            else
                drawInColour<3>(isUp, endPixels, &pickPixels[3 * pick], row);
        }
    }
}
