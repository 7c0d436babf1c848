#include "samples/nedgraphics_writer.h"

#include "samples/bytes.h"

std::vector<uint8_t> encodeNedgraphics(const Picture& picture, uint32_t resolution)
{
    if (picture.kind != pictureIndexed || picture.width > 65535 || picture.height > 65535)
        return {};
    std::vector<uint8_t> bytes;
    for (uint32_t mark : {0x00010001, 0}) {
        addBigEndian(bytes, picture.width, 2);
        addBigEndian(bytes, picture.height, 2);
        addBigEndian(bytes, mark, 4);
    }
    addBigEndian(bytes, 0, 2);
    addBigEndian(bytes, resolution, 2);
    bytes.resize(512);
    for (size_t channel : {1, 0, 2}) {
        const size_t start = bytes.size();
        for (size_t i = channel; i < picture.palette.size(); i += 3)
            bytes.push_back(picture.palette[i]);
        bytes.resize(start + 256);
    }
    bytes.resize(1536);
    bytes.insert(bytes.end(), picture.rows.begin(), picture.rows.end());
    return bytes;
}
