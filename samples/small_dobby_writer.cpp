#include "samples/small_dobby_writer.h"

#include <algorithm>
#include <cstdio>

#include "samples/bytes.h"

using Bytes = std::vector<uint8_t>;

Bytes encodeNissan(const Picture& picture, bool capitals)
{
    if (picture.width != 40)
        return {};
    const char* digits = capitals ? "0123456789ABCDEF" : "0123456789abcdef";
    auto addDigit = [digits](Bytes& bytes, uint32_t value) {
        bytes.push_back(static_cast<uint8_t>(digits[value % 16]));
    };
    Bytes bytes;
    addText(bytes, "patfil 1.00 40 SH");
    for (uint32_t shift : {12, 8, 4, 0})
        addDigit(bytes, picture.height >> shift);
    bytes.push_back('\n');
    for (uint32_t y = 0; y < picture.height; ++y) {
        for (uint32_t x = 0; x < picture.width; x += 4) {
            uint32_t digit = 0;
            for (uint32_t i = 0; i < 4; ++i)
                digit |= isDark(picture, x + i, y) ? 1u << i : 0;
            addDigit(bytes, digit);
        }
        bytes.push_back('\n');
    }
    return bytes;
}

Bytes encodeViable(const Picture& picture)
{
    if (picture.width < 64)
        return {};
    Bytes bytes(16);
    addLittleEndian(bytes, picture.height, 2);
    addLittleEndian(bytes, picture.width - 64, 2);
    bytes.resize(512);
    addMirrored(bytes, picture.rows);
    return bytes;
}

Bytes encodePignone(const Picture& picture, uint32_t picksOfBlock, bool lastFirst)
{
    if (picture.width != 40)
        return {};
    Bytes picks;
    addMirrored(picks, picture.rows);
    std::vector<uint32_t> firsts;
    for (uint32_t first = 0; first < picture.height; first += picksOfBlock)
        firsts.push_back(first);
    if (lastFirst)
        std::reverse(firsts.begin(), firsts.end());
    Bytes bytes{'X', 16, 0, 0};
    addLittleEndian(bytes, picture.height, 14);
    for (uint32_t first : firsts) {
        const uint32_t size = 5 * std::min(picksOfBlock, picture.height - first);
        bytes.insert(bytes.end(), {'X', static_cast<uint8_t>(size + 2)});
        addLittleEndian(bytes, first + 1, 2);
        for (uint32_t i = 0; i < size; ++i)
            bytes.push_back(picks[5 * first + i]);
    }
    return bytes;
}

// The numbers are those of the first 20 pixels, of the four behind them when only these are dark, and of the last four.
Bytes encodeTongYuan(const Picture& picture)
{
    if (picture.width != 32)
        return {};
    Bytes bytes;
    addText(bytes, std::to_string(picture.height) + "\r\n");
    for (uint32_t y = 0; y < picture.height; ++y) {
        uint32_t pixels = 0;
        for (uint32_t x = 0; x < 32; ++x)
            pixels = pixels << 1 | (isDark(picture, x, y) ? 1 : 0);
        const uint32_t left = pixels >> 8 & 0xF, right = pixels >> 4 & 0xF, c = pixels & 0xF;
        if ((left != 0 && right != 0) || left > 8 || c > 8)
            return {};
        addText(bytes, std::to_string(pixels >> 12) + "," + std::to_string(left != 0 ? left << 4 : right) + "," +
                           std::to_string(c) + "\r\n");
    }
    return bytes;
}

Bytes encodeAvl(const Picture& picture)
{
    Bytes bytes{'_', 0, 0, 0, 0, 0, 0, 0, 0};
    addBigEndian(bytes, picture.width, 2);
    addBigEndian(bytes, picture.height, 2);
    bytes.resize(256);
    addMirrored(bytes, picture.rows);
    return bytes;
}
