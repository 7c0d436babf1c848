#include "samples/eat_writer.h"

#include <algorithm>

#include "samples/bytes.h"

using Bytes = std::vector<uint8_t>;

// The lowest bits of each value one after the other, the first in the highest bits of the first byte.
static void addPacked(Bytes& bytes, const std::vector<uint8_t>& values, unsigned bits)
{
    unsigned held = 0, buffer = 0;
    for (uint8_t value : values) {
        buffer = buffer << bits | value;
        held += bits;
        if (held == 8) {
            bytes.push_back(static_cast<uint8_t>(buffer));
            held = buffer = 0;
        }
    }
    if (held > 0)
        bytes.push_back(static_cast<uint8_t>(buffer << (8 - held)));
}

static void addHeader(Bytes& bytes, const Picture& picture, uint8_t mode, uint8_t depth, size_t colours)
{
    addBigEndian(bytes, picture.width, 4);
    addBigEndian(bytes, picture.height, 4);
    addZeros(bytes, 4);
    bytes.insert(bytes.end(), {mode, depth, static_cast<uint8_t>(colours), 0});
    addZeros(bytes, 4);
}

static Bytes encodeBits(const Picture& picture)
{
    Bytes bytes, pixels;
    addHeader(bytes, picture, 3, 0, 2);
    for (uint32_t y = 0; y < picture.height; ++y)
        for (uint32_t x = 0; x < picture.width; ++x)
            pixels.push_back(isDark(picture, x, y) ? 1 : 0);
    addPacked(bytes, pixels, 1);
    bytes.resize(std::max<size_t>(bytes.size(), 36));
    return bytes;
}

Bytes encodeEat(const Picture& picture, const EatOptions& options)
{
    if (picture.kind == pictureBilevel)
        return encodeBits(picture);
    if (picture.kind != pictureIndexed)
        return {};
    const uint8_t most = *std::max_element(picture.rows.begin(), picture.rows.end());
    const uint32_t bits = options.bits != 0 ? options.bits : (most < 16 ? 4 : 8);
    const uint32_t colours = static_cast<uint32_t>(picture.palette.size() / 3);
    if (most >= 1u << bits || most >= colours || (bits != 4 && bits != 8))
        return {};

    Bytes used;
    for (uint32_t index = 0; index < colours; ++index) {
        const bool occurs = std::find(picture.rows.begin(), picture.rows.end(), index) != picture.rows.end();
        // What fills the last byte up counts as a pixel of index 0.
        const bool fills = index == 0 && bits == 4 && picture.rows.size() % 2 != 0;
        if (options.allColours ? index > 0 : occurs || fills)
            used.push_back(static_cast<uint8_t>(index));
    }
    if ((used.size() >= 125) != options.allColours)
        return {};
    Bytes bytes;
    addHeader(bytes, picture, 1, bits == 4 ? 1 : 3, used.size());
    addZeros(bytes, 16);
    addPacked(bytes, picture.rows, bits);
    for (uint8_t index : used)
        for (size_t i = 0; i < 3; ++i)
            bytes.push_back(picture.palette[3 * size_t{index} + i] / 4);
    return bytes;
}
