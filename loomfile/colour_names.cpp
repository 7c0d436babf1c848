// The names of colours in palette files, which pictures do not need.
//
//   GIMP         red, green, blue, a blank, the name to the end of the line
//   swatches     in version 2 behind each colour; a file of version 1 may append one of version 2
//   books        a name before each colour, with a number in front that stands for a translation
//
// Photoshop's names are a number of characters (32 bits) and as many characters of 16 bits, big-endian.
#include <algorithm>
#include <cstdio>

#include "loomfile/reader.h"

namespace
{

std::vector<u8> bytesOf(const std::string& path)
{
    constexpr size_t mostBytes = 16 << 20;
    std::vector<u8> bytes;
    if (FILE* file = fopen(path.c_str(), "rbe")) {
        u8 block[4096];
        for (size_t count; bytes.size() < mostBytes && (count = fread(block, 1, sizeof block, file)) > 0;)
            bytes.insert(bytes.end(), block, block + count);
        fclose(file);
    }
    return bytes;
}

void addCharacter(std::string& text, u32 code)
{
    constexpr u32 ends[] = {0x80, 0x800, 0x10000, 0x110000}; // of 1, 2, 3 and 4 bytes
    constexpr u32 starts[] = {0, 0xC0, 0xE0, 0xF0};
    u32 more = 0;
    while (code >= ends[more])
        more++;
    text += static_cast<char>(starts[more] | code >> 6 * more);
    while (more > 0)
        text += static_cast<char>(0x80 | (code >> 6 * --more & 0x3F));
}

// Reads numbers one after the other; behind the end they are zero.
struct Numbers {
    const std::vector<u8>& bytes;
    size_t at = 0;

    bool isAtEnd() const { return at >= bytes.size(); }
    u32 take8() { return at < bytes.size() ? bytes[at++] : 0; }
    u32 take16()
    {
        const u32 high = take8();
        return high << 8 | take8();
    }
    u32 take32()
    {
        const u32 high = take16();
        return high << 16 | take16();
    }
    void skip(size_t count) { at = count < bytes.size() - std::min(at, bytes.size()) ? at + count : bytes.size(); }

    std::string takeName()
    {
        std::string name;
        u32 high = 0;
        for (u32 count = take32(); count > 0 && !isAtEnd(); count--) {
            const u32 unit = take16();
            const bool isHigh = unit >= 0xD800 && unit < 0xDC00, isLow = unit >= 0xDC00 && unit < 0xE000;
            if (isLow && high != 0)
                addCharacter(name, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
            else if (unit != 0 && !isHigh && !isLow)
                addCharacter(name, unit);
            high = isHigh ? unit : 0;
        }
        return name;
    }
};

std::vector<std::string> swatchNames(const std::vector<u8>& bytes)
{
    constexpr size_t swatchBytes = 10;
    std::vector<std::string> names;
    Numbers file{bytes};
    u32 version = file.take16();
    u32 count = file.take16();
    if (version == 1) {
        file.skip(count * swatchBytes);
        version = file.take16();
        count = file.take16();
    }
    for (u32 i = 0; version == 2 && i < count && !file.isAtEnd(); i++) {
        file.skip(swatchBytes);
        names.push_back(file.takeName());
    }
    return names;
}

// "$$$/colorbook/x/y=Red" stands for "Red" where nobody translates it.
std::string untranslated(const std::string& name)
{
    return name.starts_with("$$$") ? name.substr(name.find('=') + 1) : name;
}

std::vector<std::string> bookNames(const std::vector<u8>& bytes)
{
    std::vector<std::string> names;
    Numbers file{bytes};
    file.skip(8); // mark, version and identifier
    std::string book, prefix, postfix;
    for (std::string* text : {&book, &prefix, &postfix, &book})
        *text = untranslated(file.takeName());
    const u32 count = file.take16();
    file.skip(4); // colours of a page, selector
    const u32 space = file.take16();
    constexpr u32 cmyk = 2;
    const size_t codeAndComponents = 6 + (space == cmyk ? 4 : 3);
    for (u32 i = 0; i < count && !file.isAtEnd(); i++) {
        std::string name = untranslated(file.takeName());
        file.skip(codeAndComponents);
        if (!name.empty())
            name.insert(0, prefix).append(postfix);
        names.push_back(std::move(name));
    }
    return names;
}

std::vector<std::string> gimpNames(const std::vector<u8>& bytes)
{
    std::vector<std::string> names;
    const std::string text(bytes.begin(), bytes.end());
    if (!text.starts_with("GIMP Palette"))
        return names;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find_first_of("\r\n", at), text.size());
        const std::string line = text.substr(at, end - at);
        at = end + 1;
        unsigned red, green, blue;
        int length = 0;
        if (sscanf(line.c_str(), " %u %u %u%n", &red, &green, &blue, &length) != 3)
            continue;
        const size_t start = line.find_first_not_of(" \t", static_cast<size_t>(length));
        names.push_back(start == std::string::npos ? "" : line.substr(start));
    }
    return names;
}

} // namespace

std::vector<std::string> readColourNames(const std::string& path, FormatId format)
{
    const std::vector<u8> bytes = bytesOf(path);
    switch (format) {
    case formatPalette:
        return gimpNames(bytes);
    case formatPhotoshopAco:
        return swatchNames(bytes);
    case formatPhotoshopAcb:
        return bookNames(bytes);
    default:
        return {};
    }
}

const std::string& Loomfile::colourName(u32 index)
{
    static const std::string none;
    if (info.isPalette != 0 && !hasColourNames)
        colourNames = readColourNames(opened, info.format);
    hasColourNames = true;
    return index < colourNames.size() ? colourNames[index] : none;
}
