#include "samples/iam_writer.h"

#include "samples/bytes.h"

std::vector<uint8_t> encodeIamPat(const Picture& picture)
{
    std::vector<uint8_t> bytes;
    addLittleEndian(bytes, picture.width, 2);
    addLittleEndian(bytes, picture.height, 6);
    std::vector<uint8_t> palette = picture.palette;
    palette.resize(768);
    for (size_t i = 0; i < palette.size(); i += 3)
        bytes.insert(bytes.end(), {palette[i + 2], palette[i + 1], palette[i], 0});
    addBytes(bytes, picture.rows);
    return bytes;
}

std::vector<uint8_t> encodeIamBbi(const Picture& picture)
{
    std::vector<uint8_t> bytes;
    addText(bytes, "UBBBB");
    addZeros(bytes, 11);
    addLittleEndian(bytes, picture.width, 4);
    addLittleEndian(bytes, picture.height, 4);
    for (uint32_t y = 0; y < picture.height; ++y)
        for (uint32_t x = 0; x < picture.width; ++x)
            addLittleEndian(bytes, isDark(picture, x, y) ? 1 : 0xFFFFFF00, 4);
    return bytes;
}
