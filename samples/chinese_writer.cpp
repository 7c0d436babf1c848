#include "samples/chinese_writer.h"

#include "samples/bytes.h"

using Bytes = std::vector<uint8_t>;

Bytes encodeVaritex(const Picture& picture)
{
    if (picture.width % 8 != 0)
        return {};
    Bytes bytes;
    addLittleEndian(bytes, picture.height, 2);
    addZeros(bytes, 6);
    addMirrored(bytes, picture.rows);
    return bytes;
}

Bytes encodeZhuPat(const Picture& picture)
{
    Bytes bytes;
    addText(bytes, "TxST");
    addZeros(bytes, 2);
    addLittleEndian(bytes, picture.width, 2);
    addLittleEndian(bytes, picture.height, 2);
    addZeros(bytes, 48);
    const size_t rowBytes = pictureRowBytes(picture);
    for (size_t i = 0; i < picture.rows.size(); ++i) {
        bytes.push_back(picture.rows[i]);
        if (rowBytes % 2 != 0 && i % rowBytes == rowBytes - 1)
            bytes.push_back(0);
    }
    return bytes;
}

Bytes encodeZhuSti(const Picture& picture)
{
    const uint32_t firstPage = 1024, page = 4096, header = 34;
    const auto size = static_cast<uint32_t>(header + picture.rows.size());
    const uint32_t pages = size > firstPage ? (size - firstPage + page - 1) / page : 0;
    Bytes bytes;
    addLittleEndian(bytes, pages, 3);
    addLittleEndian(bytes, picture.height, 2);
    addZeros(bytes, 27);
    addLittleEndian(bytes, picture.width, 2);
    addMirrored(bytes, picture.rows);
    addZeros(bytes, firstPage + pages * page - size);
    return bytes;
}

// Behind a header that takes the place of a row.
static Bytes behindRow(Bytes header, const Picture& picture)
{
    if (picture.width % 8 != 0 || pictureRowBytes(picture) < header.size())
        return {};
    header.resize(pictureRowBytes(picture));
    addMirrored(header, picture.rows);
    return header;
}

Bytes encodeWbf(const Picture& picture, uint8_t times)
{
    if (times == 0 || picture.width % times != 0)
        return {};
    Bytes header;
    addLittleEndian(header, picture.height, 4);
    addLittleEndian(header, times, 2);
    addLittleEndian(header, picture.width / times, 2);
    return behindRow(header, picture);
}

Bytes encodeWb(const Picture& picture)
{
    if (picture.width % 16 != 0)
        return {};
    Bytes header;
    addZeros(header, 2);
    addLittleEndian(header, picture.height, 13);
    addBigEndian(header, picture.width / 16, 2);
    return behindRow(header, picture);
}

Bytes encodeOrg(const Picture& picture, uint8_t lift)
{
    Bytes bytes;
    addLittleEndian(bytes, picture.width, 4);
    addLittleEndian(bytes, picture.height, 4);
    for (uint32_t x = 0; x < picture.width; ++x)
        for (uint32_t y = 0; y < picture.height; ++y)
            bytes.push_back(isDark(picture, x, y) ? lift : 0);
    return bytes;
}
