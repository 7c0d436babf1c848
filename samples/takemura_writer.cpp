#include "samples/takemura_writer.h"

#include "samples/bytes.h"

using Bytes = std::vector<uint8_t>;

// So many bytes more behind each row.
static void addFilledRows(Bytes& bytes, const Picture& picture, size_t more)
{
    const size_t rowBytes = pictureRowBytes(picture);
    for (size_t i = 0; i < picture.rows.size(); ++i) {
        bytes.push_back(picture.rows[i]);
        if (i % rowBytes == rowBytes - 1)
            bytes.insert(bytes.end(), more, 0xFF);
    }
}

Bytes encodeTakemuraDat(const Picture& picture)
{
    Bytes bytes(6);
    addLittleEndian(bytes, picture.width, 7);
    addLittleEndian(bytes, picture.height, 7);
    addFilledRows(bytes, picture, 4);
    return bytes;
}

Bytes encodeTakemuraCgs(const Picture& picture, uint32_t rowBytes)
{
    if (picture.width < 120 || rowBytes < pictureRowBytes(picture))
        return {};
    Bytes bytes;
    addText(bytes, "CGSII1");
    addZeros(bytes, 79);
    addLittleEndian(bytes, picture.height, 12);
    addLittleEndian(bytes, picture.width - 120, 7);
    addLittleEndian(bytes, rowBytes, 6);
    addFilledRows(bytes, picture, rowBytes - pictureRowBytes(picture));
    return bytes;
}

Bytes encodeTsudakomaDp5(const Picture& picture)
{
    if (picture.width != 128)
        return {};
    Bytes bytes{8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    addLittleEndian(bytes, picture.height, 4);
    bytes.push_back(2);
    bytes.resize(34134);
    addBytes(bytes, picture.rows);
    return bytes;
}

Bytes encodeActWjl(const Picture& picture)
{
    if (picture.width != 40)
        return {};
    Bytes bytes;
    addText(bytes, "wjl&sb");
    addZeros(bytes, 14);
    addLittleEndian(bytes, picture.height, 8);
    for (uint32_t y = 0; y < picture.height; ++y)
        for (uint32_t x = picture.width; x-- > 0;)
            bytes.push_back(isDark(picture, x, y) ? '1' : '0');
    return bytes;
}
