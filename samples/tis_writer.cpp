#include "samples/tis_writer.h"

#include <algorithm>
#include <cstdio>

#include "samples/bytes.h"

std::vector<uint8_t> encodeTisHeader(const Picture& picture, uint32_t parts)
{
    char sizes[16], count[16];
    snprintf(sizes, sizeof sizes, "%5u,%5u,", picture.width, picture.height);
    snprintf(count, sizeof count, "%4u,0", parts);
    std::vector<uint8_t> bytes;
    addText(bytes, sizes);
    for (int field = 0; field < 10; ++field)
        addText(bytes, "0000000,");
    addText(bytes, "0000000000000,");
    addText(bytes, count);
    return bytes;
}

std::vector<uint8_t> encodeTisPart(const Picture& picture, uint32_t firstPick, uint32_t picks)
{
    const size_t rowBytes = pictureRowBytes(picture);
    const uint32_t first = std::min(firstPick, picture.height);
    const uint32_t last = first + std::min(picks, picture.height - first);
    std::vector<uint8_t> bytes(rowBytes, 0xFF);
    for (size_t i = first * rowBytes; i < last * rowBytes; ++i)
        bytes.push_back(picture.rows[i]);
    return bytes;
}
