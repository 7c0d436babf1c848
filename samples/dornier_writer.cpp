#include "samples/dornier_writer.h"

#include <algorithm>

#include "samples/bytes.h"

static const uint32_t pickBytes = 8;

static bool isOfShafts(const Picture& picture)
{
    return picture.kind == pictureBilevel && picture.width == 8 * pickBytes;
}

std::vector<uint8_t> encodeDoStyle(const Picture& picture, uint32_t picksPerBlock)
{
    if (!isOfShafts(picture) || picksPerBlock < 1 || picksPerBlock > 6)
        return {};
    std::vector<uint8_t> bytes;
    addText(bytes, "B#");
    bytes.resize(26);
    addLittleEndian(bytes, picture.height, 2);
    addLittleEndian(bytes, picture.height * pickBytes, 4);
    bytes.insert(bytes.end(), {28, 16, 8, 8, 8});
    for (uint32_t pick = 0; pick < picture.height; pick += picksPerBlock) {
        const uint32_t size = std::min(picksPerBlock, picture.height - pick) * pickBytes;
        bytes.insert(bytes.end(), {'C', static_cast<uint8_t>(size + 2)});
        addLittleEndian(bytes, pick, 2);
        for (uint32_t i = 0; i < size; ++i)
            bytes.push_back(mirrored(picture.rows[pick * pickBytes + i]));
    }
    return bytes;
}

static std::string pickLines(const Picture& picture, const std::string& lineEnd)
{
    std::string text;
    for (size_t i = 0; i < picture.rows.size(); ++i) {
        const uint8_t shafts = mirrored(picture.rows[i]);
        text += "0123456789ABCDEF"[shafts >> 4];
        text += "0123456789abcdef"[shafts & 15];
        text += i % pickBytes + 1 < pickBytes ? " " : lineEnd;
    }
    return text;
}

std::vector<uint8_t> encodeDoTech(const Picture& picture, const std::string& lineEnd)
{
    std::vector<uint8_t> bytes;
    if (!isOfShafts(picture))
        return bytes;
    addText(bytes, "MOTIF 24 " + std::to_string(picture.height) + lineEnd + "woven" + lineEnd + "\x05" + lineEnd);
    addText(bytes, pickLines(picture, lineEnd));
    return bytes;
}

std::vector<uint8_t> encodeMuster(const Picture& picture, const std::string& lineEnd)
{
    std::vector<uint8_t> bytes;
    if (isOfShafts(picture))
        addText(bytes, pickLines(picture, lineEnd));
    return bytes;
}
