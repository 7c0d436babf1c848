// EAT design images. Numbers are big-endian.
//
//   header    36 bytes, 20 for bilevel pictures: width at 0, height at 4, mode at 12, depth at 13, colours at 14
//   pixels    one stream, rows are not padded: 1 bit, 4 bits (the left one first) or 8 bits each
//   palette   red, green, blue of 0 to 63, only of those indices that occur, in their order
#include <cstdlib>
#include <utility>

#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

constexpr u32 headerSize = 36;
constexpr u32 bilevelHeaderSize = 20;
constexpr size_t atHeight = 4;
constexpr size_t atMode = 12;
constexpr size_t atDepth = 13;
constexpr size_t atColours = 14;
constexpr u32 forbiddenMode = 512; // in the four bytes from the mode on

constexpr u8 modeBilevel = 3;
constexpr u8 modeColours = 1;
constexpr u8 depth4 = 1;
constexpr u8 depth8 = 3;

constexpr u32 leastFullPalette = 125; // so many colours belong to the indices from 1 on, whether they occur or not
constexpr u32 brightestColour = 255;
constexpr u32 twoColourPaper = 127;
constexpr u64 spareBytes = 8; // behind the pixels, for those who look ahead

struct EatHeader {
    u32 width;
    u32 height;
    u32 bitsPerPixel; // 0 = a variant without pixels
    u32 colours;
    u64 pixelBytes;
    u64 pixelsStart;
};

static bool readHeader(const u8* bytes, EatHeader& header)
{
    header = {bigEndian32(bytes), bigEndian32(bytes + atHeight), 0, bytes[atColours], 1, headerSize};
    if (!isPictureSize(header.width, header.height) || header.colours == 0 ||
        bigEndian32(bytes + atMode) == forbiddenMode)
        return false;
    const u64 pixels = u64{header.width} * header.height;
    if (bytes[atMode] == modeBilevel) {
        header.bitsPerPixel = 1;
        header.pixelsStart = bilevelHeaderSize;
    } else if (bytes[atMode] == modeColours && bytes[atDepth] == depth4) {
        header.bitsPerPixel = 4;
    } else if (bytes[atMode] == modeColours && bytes[atDepth] == depth8) {
        header.bitsPerPixel = 8;
    }
    if (header.bitsPerPixel != 0)
        header.pixelBytes = (pixels * header.bitsPerPixel + 7) / 8;
    return header.colours <= 1u << header.bitsPerPixel;
}

static bool hasPalette(const EatHeader& header)
{
    return header.bitsPerPixel > 1;
}

static u64 leastFileSize(const EatHeader& header)
{
    if (header.bitsPerPixel == 0)
        return headerSize;
    return header.pixelsStart + header.pixelBytes + (hasPalette(header) ? 3 * header.colours : 0);
}

struct IndexUse {
    bool occurs[paletteColours];
};

static IndexUse findIndices(const EatHeader& header, const u8* pixels)
{
    IndexUse bytes{};
    for (u64 i = 0; i < header.pixelBytes; i++)
        bytes.occurs[pixels[i]] = true;
    if (header.bitsPerPixel == 8)
        return bytes;
    IndexUse nibbles{};
    for (u32 i = 0; i < paletteColours; i++) {
        if (bytes.occurs[i])
            nibbles.occurs[i >> 4] = nibbles.occurs[i & 0xF] = true;
    }
    return nibbles;
}

static bool readPalette(FILE* stream, const EatHeader& header, const u8* pixels, u8* palette)
{
    u8 colours[3 * paletteColours];
    if (!readExactly(stream, colours, size_t{3} * header.colours))
        return false;
    const IndexUse use = findIndices(header, pixels);
    const bool isFull = header.colours >= leastFullPalette;
    u32 taken = 0;
    for (u32 index = isFull ? 1 : 0; index < paletteColours && taken < header.colours; index++) {
        if (isFull || use.occurs[index])
            memcpy(palette + 3 * index, colours + 3 * taken++, 3);
    }

    for (u32 index = 0; index < paletteColours; index++) {
        u8* colour = palette + 3 * index;
        const bool isNone = (colour[0] | colour[1] | colour[2]) == 0;
        for (u32 i = 0; i < 3; i++)
            colour[i] = isNone ? brightestColour : static_cast<u8>(4 * colour[i] + 3);
    }
    // Paper and ink.
    if (use.occurs[1] && use.occurs[twoColourPaper] && std::count(use.occurs, use.occurs + paletteColours, true) == 2) {
        setColour(palette, twoColourPaper, brightestColour, brightestColour, brightestColour);
        setColour(palette, 1, 0, 0, 0);
    }
    return true;
}

static void release(EatState& state)
{
    free(state.pixels);
    state = {};
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    EatHeader header;
    const u8* cached = loadImgCheckHeader(request.path);
    if (cached == nullptr || loadImgLastFilesize() < headerSize || !readHeader(cached, header))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 bytes[headerSize];
    const i64 size = regularFileSize(file.stream);
    if (!readExactly(file.stream, bytes, sizeof bytes) || !readHeader(bytes, header) || size < 0 ||
        static_cast<u64>(size) < leastFileSize(header))
        return loadWrongFormat;

    Buffer pixels;
    if (request.wantPalette != 0) {
        if (!pixels.allocate(header.pixelBytes + spareBytes))
            return loadOutOfMemory;
        if (fseeko(file.stream, static_cast<off_t>(header.pixelsStart), SEEK_SET) != 0 ||
            !readExactly(file.stream, pixels.bytes, header.pixelBytes))
            return loadBadData;
        if (hasPalette(header) && !readPalette(file.stream, header, pixels.bytes, image.palette))
            return loadBadData;
    }
    reportBilevel(image, header.width, header.height, "EAT image", loomOrientation);
    if (header.bitsPerPixel != 1)
        image.kind = kindIndexed;
    EatState& state = threadState().loom.eat;
    release(state);
    state = {std::exchange(pixels.bytes, nullptr), header.bitsPerPixel, header.width, header.height, 0};
    return loadSuccess;
}

// Moves the bits that begin somewhere in a byte to the start of a row and clears those behind the last one.
static void deliverBits(u8* row, const u8* pixels, u64 firstBit, u32 width, u64 bytesPerRow)
{
    const u8* source = pixels + firstBit / 8;
    const u32 shift = firstBit % 8;
    const u64 rowBytes = (width + 7) / 8;
    const u64 size = std::min(rowBytes, bytesPerRow);
    u64 i = 0;
    for (; i + 8 <= size; i += 8) {
        u64 word;
        memcpy(&word, source + i, sizeof word);
        word = __builtin_bswap64(word) << shift | source[i + 8] >> (8 - shift);
        word = __builtin_bswap64(word);
        memcpy(row + i, &word, sizeof word);
    }
    for (; i < size; i++)
        row[i] = static_cast<u8>((source[i] << 8 | source[i + 1]) >> (8 - shift));
    if (size == rowBytes && width % 8 != 0)
        row[size - 1] &= static_cast<u8>(0xFF00 >> width % 8);
    clearRows(row + size, 1, bytesPerRow - size);
}

static void deliverNibbles(u8* row, const u8* pixels, u64 first, u64 count)
{
    u64 i = 0;
    if (first % 2 != 0 && count > 0)
        row[i++] = pixels[first / 2] & 0xF;
    const u8* pair = pixels + (first + i) / 2;
    for (; i + 2 <= count; i += 2, pair++) {
        row[i] = *pair >> 4;
        row[i + 1] = *pair & 0xF;
    }
    if (i < count)
        row[i] = *pair >> 4;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    EatState& state = threadState().loom.eat;
    if (state.pixels == nullptr)
        return loadBadData;
    const u32 wanted = std::min(count, state.height - state.rowCounter);
    for (u64 i = 0; i < wanted; i++) {
        u8* row = rows + i * bytesPerRow;
        const u64 first = (state.rowCounter + i) * state.width;
        if (state.bitsPerPixel == 1)
            deliverBits(row, state.pixels, first, state.width, bytesPerRow);
        else if (state.bitsPerPixel == 4)
            deliverNibbles(row, state.pixels, first, std::min(state.width, bytesPerRow));
        else if (state.bitsPerPixel == 8)
            deliverRow(row, state.pixels + first, state.width, bytesPerRow);
    }
    state.rowCounter += wanted;
    return wanted < count ? loadBadData : loadSuccess;
}

static LoadStatus endLoad()
{
    release(threadState().loom.eat);
    return loadSuccess;
}

void registerLoadEAT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
