#include "samples/bmp_writer.h"

#include "samples/bytes.h"

static uint32_t bitsOfKind(uint32_t kind)
{
    switch (kind) {
    case pictureBilevel:
        return 1;
    case pictureIndexed:
        return 8;
    case pictureRgb:
        return 24;
    default:
        return 32;
    }
}

static void addPalette(std::vector<uint8_t>& bytes, const Picture& picture, uint32_t entries, bool blackFirst)
{
    std::vector<uint8_t> palette = picture.palette;
    if (picture.kind == pictureBilevel) {
        palette.assign(6, 255);
        for (size_t i = 0; i < 3; ++i)
            palette[blackFirst ? i : 3 + i] = 0;
    }
    palette.resize(size_t{3} * entries);
    for (size_t i = 0; i < palette.size(); i += 3)
        bytes.insert(bytes.end(), {palette[i + 2], palette[i + 1], palette[i], 0});
}

static void addIndices(std::vector<uint8_t>& bytes, const uint8_t* row, uint32_t width, uint32_t bits)
{
    uint32_t perByte = 8 / bits;
    for (uint32_t x = 0; x < width; x += perByte) {
        uint32_t packed = 0;
        for (uint32_t i = 0; i < perByte; ++i)
            packed = packed << bits | (x + i < width ? row[x + i] & ((1u << bits) - 1) : 0);
        bytes.push_back(static_cast<uint8_t>(packed));
    }
}

static void addColours(std::vector<uint8_t>& bytes, const uint8_t* row, uint32_t width, bool fromRgba, bool toRgba)
{
    size_t step = fromRgba ? 4 : 3;
    for (const uint8_t* end = row + step * width; row != end; row += step) {
        bytes.insert(bytes.end(), {row[2], row[1], row[0]});
        if (toRgba)
            bytes.push_back(fromRgba ? row[3] : 255);
    }
}

std::vector<uint8_t> encodeBmp(const Picture& picture, const BmpOptions& options)
{
    uint32_t bits = options.bits != 0 ? options.bits : bitsOfKind(picture.kind);
    bool trueColour = bits == 24 || bits == 32;
    bool asIndices = picture.kind == pictureIndexed && (bits == 1 || bits == 4 || bits == 8);
    bool asBits = picture.kind == pictureBilevel && bits == 1;
    if ((!trueColour && !asIndices && !asBits) || options.headerSize < 40)
        return {};

    bool withAlpha = picture.kind == pictureRgba && bits == 32;
    const Picture& source = trueColour && !withAlpha ? toRgb(picture) : picture;
    uint32_t entries = options.paletteEntries != 0 || trueColour ? options.paletteEntries : 1u << bits;
    uint32_t rowBytes = static_cast<uint32_t>((uint64_t{picture.width} * bits + 31) / 32 * 4);
    uint32_t offset = 14 + options.headerSize + 4 * entries;

    std::vector<uint8_t> bytes;
    bytes.reserve(offset + size_t{rowBytes} * picture.height);
    addText(bytes, "BM");
    addLittleEndian(bytes, offset + rowBytes * picture.height, 4);
    addLittleEndian(bytes, 0, 4);
    addLittleEndian(bytes, offset, 4);
    addLittleEndian(bytes, options.headerSize, 4);
    addLittleEndian(bytes, picture.width, 4);
    addLittleEndian(bytes, picture.height, 4);
    addLittleEndian(bytes, 1, 2);
    addLittleEndian(bytes, bits, 2);
    addLittleEndian(bytes, 0, 4);
    addLittleEndian(bytes, rowBytes * picture.height, 4);
    addLittleEndian(bytes, options.pixelsPerMetreX, 4);
    addLittleEndian(bytes, options.pixelsPerMetreY, 4);
    addLittleEndian(bytes, options.paletteEntries, 4);
    addLittleEndian(bytes, 0, 4);
    if (options.headerSize >= 60) {
        for (uint32_t mask : {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0xFF000000u})
            addLittleEndian(bytes, mask, 4);
        addText(bytes, "BGRs");
    }
    bytes.resize(14 + size_t{options.headerSize});
    addPalette(bytes, picture, entries, options.blackFirst);

    size_t sourceBytes = pictureRowBytes(source);
    for (uint32_t y = picture.height; y-- > 0;) {
        const uint8_t* row = source.rows.data() + y * sourceBytes;
        size_t end = bytes.size() + rowBytes;
        if (trueColour)
            addColours(bytes, row, picture.width, withAlpha, bits == 32);
        else if (asIndices)
            addIndices(bytes, row, picture.width, bits);
        else
            for (size_t i = 0; i < sourceBytes; ++i)
                bytes.push_back(static_cast<uint8_t>(options.complementBits ? ~row[i] : row[i]));
        bytes.resize(end);
    }
    return bytes;
}
