#include "samples/dobby_1858_writer.h"

#include "samples/bytes.h"

std::vector<uint8_t> encodeDobby1858(const Picture& picture, const Dobby1858Options& options)
{
    if (picture.kind != pictureBilevel || picture.width != 40 || picture.height > 65535)
        return {};
    std::vector<uint8_t> bytes;
    addMirrored(bytes, picture.rows);
    bytes.insert(bytes.end(), 8, 0);
    auto high = static_cast<uint8_t>(picture.height >> 8), low = static_cast<uint8_t>(picture.height);
    if (options.littleEndian)
        bytes.insert(bytes.end(), {low, high});
    else
        bytes.insert(bytes.end(), {high, low});
    return bytes;
}
