// EAT design images. Numbers are big-endian.
//
//   header    36 bytes, 20 for bilevel pictures: width at 0, height at 4, mode at 12, depth at 13, colours at 14
//   pixels    one stream, rows are not padded: 1 bit, 4 bits (the left one first) or 8 bits each
//   palette   red, green, blue of 0 to 63, only of those indices that occur, in their order
#include <cstdlib>
#include <utility>

#include "formats/loom/card_file.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

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

LoadStatus readHeader(const u8* bytes, EatHeader& header)
{
    header = {bigEndian32(bytes), bigEndian32(bytes + atHeight), 0, bytes[atColours], 1, headerSize};
    if (!isPictureSize(header.width, header.height))
        return refuseSize(loadWrongFormat, header.width, header.height);
    if (header.colours == 0)
        return refuse(loadWrongFormat, "its header tells no colours");
    if (bigEndian32(bytes + atMode) == forbiddenMode)
        return refuse(loadWrongFormat, "its mode is not that of a picture");
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
    if (header.colours > 1u << header.bitsPerPixel)
        return refuse(loadWrongFormat, "%u colours with %u bits a pixel", header.colours, header.bitsPerPixel);
    return loadSuccess;
}

bool hasPalette(const EatHeader& header)
{
    return header.bitsPerPixel > 1;
}

u64 leastFileSize(const EatHeader& header)
{
    if (header.bitsPerPixel == 0)
        return headerSize;
    return header.pixelsStart + header.pixelBytes + (hasPalette(header) ? 3 * header.colours : 0);
}

struct IndexUse {
    bool occurs[paletteColours];
};

IndexUse findIndices(const EatHeader& header, const u8* pixels)
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

bool readPalette(FILE* stream, const EatHeader& header, const u8* pixels, u8* palette)
{
    u8 colours[3 * paletteColours];
    if (!readExactly(stream, colours, size_t{3} * header.colours))
        return false;
    const IndexUse use = findIndices(header, pixels);
    const bool isFull = header.colours >= leastFullPalette;
    u32 taken = 0;
    u32 missing = 0;
    for (u32 index = isFull ? 1 : 0; index < paletteColours; index++) {
        const bool isListed = isFull || use.occurs[index];
        if (isListed && taken < header.colours)
            memcpy(palette + 3 * index, colours + 3 * taken++, 3);
        else if (use.occurs[index])
            missing++;
    }
    remarkCount(Gravity::grave, missing, "colours of the picture are not in its palette");

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

void release(EatState& state)
{
    free(state.pixels);
    state = {};
}

// Opens the file and reads its header once more, as it is now.
LoadStatus openEat(const char* path, File& file, EatHeader& header)
{
    u8 bytes[headerSize];
    LoadStatus status = openFile(path, file, bytes, sizeof bytes, loadWrongFormat);
    if (status == loadSuccess)
        status = readHeader(bytes, header);
    if (status != loadSuccess)
        return status;
    const u64 size = static_cast<u64>(std::max<i64>(0, regularFileSize(file.stream)));
    const u64 least = leastFileSize(header);
    if (size < least)
        return refuse(loadWrongFormat, "the header announces %u x %u, the file holds %s", header.width, header.height,
                      amountOf(size).text);
    if (header.bitsPerPixel == 0)
        remark(Gravity::grave, "pixels of mode %u and depth %u are not read", bytes[atMode], bytes[atDepth]);
    else
        remarkFileSize(file.stream, std::max<u64>(least, headerSize) - headerSize, header.width, header.height);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    EatHeader header;
    const u8* cached = probedHeader(request.path, headerSize);
    if (cached == nullptr)
        return loadWrongFormat;
    LoadStatus status = readHeader(cached, header);
    if (status != loadSuccess)
        return status;
    File file;
    status = openEat(request.path, file, header);
    if (status != loadSuccess)
        return status;

    Buffer pixels;
    if (request.wantPalette != 0) {
        if (!pixels.allocate(header.pixelBytes + spareBytes))
            return refuseMemory();
        if (fseeko(file.stream, static_cast<off_t>(header.pixelsStart), SEEK_SET) != 0 ||
            !readExactly(file.stream, pixels.bytes, header.pixelBytes))
            return refuse(loadBadData, "the file ends in its pixels");
        if (hasPalette(header) && !readPalette(file.stream, header, pixels.bytes, image.palette))
            return refuse(loadBadData, "the file ends in its palette");
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
void deliverBits(u8* row, const u8* pixels, u64 firstBit, u32 width, u64 bytesPerRow)
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

void deliverNibbles(u8* row, const u8* pixels, u64 first, u64 count)
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

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    EatState& state = threadState().loom.eat;
    if (state.pixels == nullptr)
        return refuseUnopened();
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
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.eat);
    return loadSuccess;
}

} // namespace

void registerLoadEAT()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
