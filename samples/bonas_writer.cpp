#include "samples/bonas_writer.h"

#include <algorithm>

#include "samples/bytes.h"

std::vector<uint8_t> encodeBonas(const Picture& picture, const BonasOptions& options, uint32_t part)
{
    uint32_t selectors = 8 * options.selectorBytes;
    uint32_t picksPerFile = options.picksPerFile != 0 ? options.picksPerFile : picture.height;
    uint64_t first = uint64_t{part} * picksPerFile;
    if (picture.kind != pictureBilevel || picture.width < selectors || picture.width - selectors > 0xFFFF ||
        options.selectorBytes > 255 || picture.height > 0xFFFF || picksPerFile > 0xFFFF || first >= picture.height)
        return {};
    uint32_t hooks = picture.width - selectors;

    std::vector<uint8_t> bytes;
    addLittleEndian(bytes, 0, 3);
    addLittleEndian(bytes, picksPerFile, 2);
    addLittleEndian(bytes, 0, 1);
    std::string name = options.designName;
    name.resize(8);
    addText(bytes, name);
    addLittleEndian(bytes, 0, 1);
    addLittleEndian(bytes, options.tellSelectors ? options.selectorBytes : 0, 1);
    addLittleEndian(bytes, options.tellTotal ? picture.height : 0, 2);
    bytes.resize(bytes.size() + 13);
    addLittleEndian(bytes, options.cadSystem, 1);
    addLittleEndian(bytes, hooks, 2);

    size_t rowBytes = pictureRowBytes(picture);
    size_t storedBytes = options.padLines && hooks >= 896 ? (rowBytes + 3) / 4 * 4 : rowBytes;
    for (uint64_t pick = first; pick < std::min<uint64_t>(first + picksPerFile, picture.height); ++pick) {
        size_t start = bytes.size();
        bytes.resize(start + storedBytes);
        for (uint32_t x = 0; x < picture.width; ++x)
            if ((picture.rows[pick * rowBytes + x / 8] >> (7 - x % 8) & 1) != 0)
                bytes[start + x / 8] |= static_cast<uint8_t>(1 << x % 8);
        std::fill(bytes.begin() + static_cast<ptrdiff_t>(start + rowBytes), bytes.end(), 0xFF);
    }
    return bytes;
}

std::vector<uint8_t> compressForExpand(const std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t> packed = {'S', 'Z', 'D', 'D', 0x88, 0xF0, 0x27, 0x33, 'A', 0};
    addLittleEndian(packed, static_cast<uint32_t>(bytes.size()), 4);
    for (size_t at = 0; at < bytes.size(); at += 8) {
        packed.push_back(0xFF); // eight literals follow
        packed.insert(packed.end(), bytes.begin() + static_cast<ptrdiff_t>(at),
                      bytes.begin() + static_cast<ptrdiff_t>(std::min(at + 8, bytes.size())));
    }
    return packed;
}
