#include "samples/schleicher_writer.h"

#include <algorithm>

#include "samples/bytes.h"

static std::string decimal(uint32_t number, size_t digits)
{
    std::string text = std::to_string(number);
    return std::string(digits - std::min(digits, text.size()), ' ') + text;
}

std::vector<uint8_t> encodeSchleicher(const Picture& picture, const SchleicherOptions& options)
{
    const uint32_t groupHooks = 28;
    std::string name = options.name;
    name.resize(8, ' ');
    std::vector<uint8_t> bytes;
    addText(bytes, decimal(picture.height, 5) + decimal(picture.width, 5) + name + "991224    ");
    addText(bytes, options.tellExtra ? "N     " : "Y     ");
    addText(bytes, decimal(options.block, 2) + "TS  ");
    bytes.push_back(0);
    addText(bytes, "123      " + decimal(options.tellExtra ? options.extraBytes : 0, 2) + "    ");

    const size_t rowBytes = pictureRowBytes(picture);
    const size_t recordBytes = rowBytes + options.extraBytes;
    bytes.resize(std::max(bytes.size(), recordBytes));
    for (uint32_t pick = 0; pick < picture.height; ++pick) {
        const size_t start = bytes.size();
        bytes.resize(start + rowBytes, 0xFF);
        bytes.resize(start + recordBytes, 0x5A);
        // Each block of hooks is dealt out from the last hook down, a hook of every group in turn.
        uint32_t end = 0;
        for (uint32_t used = 0; used < 8 * rowBytes; used += groupHooks * options.block) {
            for (uint32_t hookOfGroup = 0; hookOfGroup < groupHooks; ++hookOfGroup) {
                for (uint32_t group = 0; group < options.block; ++group, ++end) {
                    const uint32_t fromLast = used + groupHooks * group + hookOfGroup;
                    if (end >= 8 * rowBytes || fromLast >= 8 * rowBytes)
                        continue;
                    const auto hook = static_cast<uint32_t>(8 * rowBytes - 1 - fromLast);
                    if ((picture.rows[pick * rowBytes + end / 8] >> (7 - end % 8) & 1) != 0)
                        bytes[start + hook / 8] &= static_cast<uint8_t>(~(0x80 >> hook % 8));
                }
            }
        }
    }
    return bytes;
}
