#include "samples/colorado_writer.h"

#include "samples/bytes.h"

std::vector<uint8_t> encodeColorado(const Picture& picture, uint32_t gap)
{
    std::vector<uint8_t> pixels;
    const std::vector<uint8_t>& rows = picture.rows;
    for (size_t i = 0; i < rows.size();) {
        uint8_t count = 1;
        while (count < 255 && i + count < rows.size() && rows[i + count] == rows[i])
            ++count;
        pixels.insert(pixels.end(), {count, rows[i]});
        i += count;
    }

    std::vector<uint8_t> bytes(4);
    addBigEndian(bytes, picture.width, 2);
    addBigEndian(bytes, picture.height, 2);
    addBigEndian(bytes, static_cast<uint32_t>(pixels.size()), 4);
    addZeros(bytes, 7);
    bytes.push_back(25);
    bytes.resize(512);
    std::vector<uint8_t> palette = picture.palette;
    palette.resize(768);
    // 16 bits a channel.
    for (uint8_t channel : palette)
        bytes.insert(bytes.end(), {channel, channel});
    addZeros(bytes, gap);
    addBytes(bytes, pixels);
    return bytes;
}
