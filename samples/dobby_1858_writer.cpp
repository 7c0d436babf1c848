#include "samples/dobby_1858_writer.h"

std::vector<uint8_t> encodeDobby1858(const Picture& picture, const Dobby1858Options& options)
{
    if (picture.kind != pictureBilevel || picture.width != 40 || picture.height > 65535)
        return {};
    std::vector<uint8_t> bytes;
    for (uint8_t pixels : picture.rows) {
        uint8_t shafts = 0;
        for (unsigned i = 0; i < 8; ++i)
            if ((pixels >> (7 - i) & 1) != 0)
                shafts |= static_cast<uint8_t>(1 << i);
        bytes.push_back(shafts);
    }
    bytes.insert(bytes.end(), 8, 0);
    auto high = static_cast<uint8_t>(picture.height >> 8), low = static_cast<uint8_t>(picture.height);
    if (options.littleEndian)
        bytes.insert(bytes.end(), {low, high});
    else
        bytes.insert(bytes.end(), {high, low});
    return bytes;
}
