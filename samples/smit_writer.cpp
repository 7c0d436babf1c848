#include "samples/smit_writer.h"

#include <algorithm>

#include "samples/bytes.h"

std::vector<uint8_t> encodeSmit(const Picture& picture, const SmitOptions& options)
{
    const bool isTerry = picture.width == 96;
    if (picture.kind != pictureBilevel || (picture.width != 48 && !isTerry) || picture.height > 65535)
        return {};
    const size_t pickBytes = pictureRowBytes(picture);
    std::vector<std::vector<uint8_t>> blocks;
    for (uint32_t pick = 0; pick < picture.height; pick += options.picksOfBlock) {
        const uint32_t count = std::min(options.picksOfBlock, picture.height - pick);
        const auto length = static_cast<uint32_t>(count * pickBytes + 2);
        std::vector<uint8_t>& block = blocks.emplace_back(1, 'X');
        addBigEndian(block, length, isTerry ? 2 : 1);
        addLittleEndian(block, pick + 1, 2);
        const auto rows = picture.rows.begin() + static_cast<ptrdiff_t>(pick * pickBytes);
        block.insert(block.end(), rows, rows + static_cast<ptrdiff_t>(count * pickBytes));
    }
    if (options.lastBlockFirst)
        std::reverse(blocks.begin(), blocks.end());

    std::vector<uint8_t> bytes = {'X', 0x15, 0, static_cast<uint8_t>(isTerry ? 0xA6 : 0xA5)};
    addLittleEndian(bytes, picture.height, 2);
    bytes.resize(23);
    for (const auto& block : blocks)
        bytes.insert(bytes.end(), block.begin(), block.end());
    return bytes;
}
