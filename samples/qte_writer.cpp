#include "samples/qte_writer.h"

#include <cstdio>

#include "samples/bytes.h"
#include "samples/zip_writer.h"

std::vector<uint8_t> encodeQte(const Picture& picture)
{
    if (picture.kind != pictureBilevel || picture.width < 32 || picture.width % 8 != 0)
        return {};
    std::vector<uint8_t> bytes;
    addLittleEndian(bytes, picture.width, 2);
    addLittleEndian(bytes, picture.height, 2);
    while (bytes.size() < pictureRowBytes(picture))
        bytes.push_back(0);
    bytes.insert(bytes.end(), picture.rows.begin(), picture.rows.end());
    return bytes;
}

std::vector<uint8_t> encodeQteMotif(const Picture& picture, uint32_t offset, uint32_t rowBytes)
{
    if (rowBytes == 0)
        rowBytes = (offset + picture.width + 7) / 8;
    std::vector<uint8_t> bytes(size_t{rowBytes} * picture.height, 0xFF);
    for (uint32_t y = 0; y < picture.height; ++y) {
        for (uint32_t x = 0; x < picture.width; ++x) {
            if ((picture.rows[y * pictureRowBytes(picture) + x / 8] >> (7 - x % 8) & 1) == 0)
                bytes[size_t{y} * rowBytes + (offset + x) / 8] &= static_cast<uint8_t>(~(0x80 >> (offset + x) % 8));
        }
    }
    for (uint32_t number : {offset + 1, offset + picture.width, rowBytes, picture.height}) {
        char text[16];
        snprintf(text, sizeof text, "%5u", number);
        addText(bytes, text);
    }
    return bytes;
}

std::vector<uint8_t> encodeQtz(const Picture& picture, const std::string& member)
{
    return encodeZip({{"readme.txt", {'Q', 'T', 'E'}}, {member, encodeQte(picture)}});
}
