#include "samples/jc4_writer.h"

#include <algorithm>
#include <cstdio>

#include "samples/bytes.h"

static const size_t nameLength = 16;

// The column of its module that hook number i of a module moves: eight bases take turns, one step apart, and the twelve
// columns of a group lie one stride apart.
static uint32_t columnOfHook(uint32_t i, uint32_t module)
{
    uint32_t stride = module / 12, step = stride / 8;
    if (module == 3072) {
        // Blocks of 96 come in turn from the first and the second half.
        uint32_t block = i / 96;
        i = block % 2 * 1536 + block / 2 * 96 + i % 96;
    }
    uint32_t group = i / 12;
    return group % 8 * step + group / 8 + i % 12 * stride;
}

static std::vector<uint8_t> storedPicks(const Picture& picture, uint32_t module, bool separateModules)
{
    uint32_t columns = (picture.width + 7) / 8 * 8;
    std::vector<uint32_t> columnOf(columns);
    for (uint32_t hook = 0; hook < columns; ++hook) {
        if (module == 0) {
            columnOf[hook] = hook;
        } else if (separateModules) {
            columnOf[hook] = hook / module * module + columnOfHook(hook % module, module);
        } else {
            // Every module in turn has twelve hooks.
            uint32_t count = columns / module;
            uint32_t i = hook / (12 * count) * 12 + hook % 12;
            columnOf[hook] = hook / 12 % count * module + columnOfHook(i, module);
        }
    }
    std::vector<uint8_t> picks;
    picks.reserve(picture.rows.size());
    size_t rowBytes = pictureRowBytes(picture);
    for (size_t y = 0; y < picture.height; ++y) {
        const uint8_t* row = picture.rows.data() + y * rowBytes;
        for (uint32_t hook = 0; hook < columns; hook += 8) {
            uint32_t bits = 0;
            for (uint32_t i = 0; i < 8; ++i) {
                uint32_t x = columnOf[hook + i];
                if ((row[x / 8] << x % 8 & 0x80) == 0)
                    bits |= 1u << i;
            }
            picks.push_back(static_cast<uint8_t>(bits));
        }
    }
    return picks;
}

static bool fits(const Picture& picture, uint32_t module)
{
    return picture.kind == pictureBilevel && picture.width < 65536 &&
           (module == 0 || ((module == 1344 || module == 1536 || module == 3072) && picture.width % module == 0));
}

static void addName(std::vector<uint8_t>& bytes, const std::string& name)
{
    std::string stored = name.substr(0, nameLength);
    stored.resize(nameLength);
    addText(bytes, stored);
}

static void addJc4Header(std::vector<uint8_t>& bytes, const Picture& picture, const CardOptions& options)
{
    size_t start = bytes.size();
    addBigEndian(bytes, picture.width, 2);
    addName(bytes, options.name);
    bytes.resize(start + 20);
    addBigEndian(bytes, static_cast<uint32_t>(picture.rows.size()), 4);
    bytes.resize(start + jc4PicksStart);
}

static void append(std::vector<uint8_t>& bytes, const std::vector<uint8_t>& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

std::vector<uint8_t> encodeJc4Network(const Picture& picture, const CardOptions& options)
{
    if (!fits(picture, options.module))
        return {};
    return storedPicks(picture, options.module, false);
}

std::vector<uint8_t> encodeJc4(const Picture& picture, const CardOptions& options)
{
    if (!fits(picture, options.module))
        return {};
    std::vector<uint8_t> bytes;
    addJc4Header(bytes, picture, options);
    append(bytes, storedPicks(picture, options.module, false));
    return bytes;
}

std::vector<uint8_t> encodeJc4Loom(const Picture& picture, const CardOptions& options)
{
    return encodeJc4(picture, {.module = 0, .name = options.name});
}

std::vector<uint8_t> encodeJc4Email(const Picture& picture, const CardOptions& options)
{
    if (!fits(picture, options.module))
        return {};
    std::vector<uint8_t> bytes(512);
    bytes[0] = 'C';
    bytes[33] = 1;
    bytes[34] = 1;
    addJc4Header(bytes, picture, options);
    bytes.resize(jc4EmailPicksStart);
    append(bytes, storedPicks(picture, options.module, false));
    return bytes;
}

std::vector<uint8_t> encodeJc3(const Picture& picture, const CardOptions& options)
{
    if (!fits(picture, options.module) || options.module != 1344 || picture.width > 9999 || picture.height > 999999 ||
        options.picksPerPart > 9999)
        return {};
    std::vector<uint8_t> bytes{'B'};
    char digits[16];
    snprintf(digits, sizeof digits, "%04u", picture.width);
    addText(bytes, digits);
    addName(bytes, options.name);
    snprintf(digits, sizeof digits, "%06u", picture.height);
    addText(bytes, digits);
    bytes.resize(66);
    snprintf(digits, sizeof digits, "%04u", options.picksPerPart);
    addText(bytes, digits);
    bytes.resize(jc3PicksStart);
    append(bytes, storedPicks(picture, options.module, true));
    return bytes;
}

std::vector<std::vector<uint8_t>> cutCards(const std::vector<uint8_t>& cards, size_t picksStart, size_t partBytes)
{
    std::vector<std::vector<uint8_t>> parts;
    for (size_t done = picksStart; done < cards.size(); done += partBytes) {
        auto from = cards.begin() + static_cast<ptrdiff_t>(done);
        auto size = static_cast<ptrdiff_t>(std::min(partBytes, cards.size() - done));
        parts.emplace_back(cards.begin(), cards.begin() + static_cast<ptrdiff_t>(picksStart));
        parts.back().insert(parts.back().end(), from, from + size);
    }
    return parts;
}
