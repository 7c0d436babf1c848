#include "samples/sophis_writer.h"

#include "samples/bytes.h"

static std::vector<uint8_t> encodeHeader(const Picture& picture, const char* mark, size_t atSizes, size_t size)
{
    std::vector<uint8_t> bytes;
    addText(bytes, mark);
    bytes.resize(atSizes);
    addBigEndian(bytes, picture.width, 2);
    addBigEndian(bytes, 0, 2);
    addBigEndian(bytes, picture.height, 2);
    bytes.resize(size);
    return bytes;
}

static std::vector<uint8_t> withRows(std::vector<uint8_t> bytes, const Picture& picture)
{
    bytes.insert(bytes.end(), picture.rows.begin(), picture.rows.end());
    return bytes;
}

std::vector<uint8_t> encodeSophisWeave(const Picture& picture)
{
    return withRows(encodeHeader(picture, "@(#)BWEAVE..FILE", 66, 72), picture);
}

std::vector<uint8_t> encodeSophisCard(const Picture& picture)
{
    return withRows(encodeHeader(picture, "@(#)CARDIM..FILE", 194, 1088), picture);
}

std::vector<uint8_t> encodeSophisImage(const Picture& picture, uint32_t rowsStart)
{
    std::vector<uint8_t> bytes = encodeHeader(picture, "/*DESIGN..FILE*/", 66, 89);
    addBigEndian(bytes, rowsStart, 3);
    bytes.resize(1024);
    for (size_t i = 0; i + 3 <= picture.palette.size(); i += 3)
        bytes.insert(bytes.end(), {picture.palette[i], picture.palette[i + 1], picture.palette[i + 2], 0xEE});
    bytes.resize(rowsStart);
    return withRows(bytes, picture);
}
