#include "colour_words.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

struct ColourWord {
    const char* word;
    u32 rgb;
};

static constexpr ColourWord words[] = {
    {"black", 0x1A1A1C},  {"white", 0xFFFFFF}, {"grey", 0x808080},      {"gray", 0x808080},   {"silver", 0xC4C4C8},
    {"ecru", 0xE6DCC3},   {"cream", 0xF3E7CE}, {"natural", 0xE9E0CC},   {"beige", 0xD8C8A8},  {"red", 0xB8202C},
    {"madder", 0xA0262C}, {"rose", 0xDE8A82},  {"pink", 0xF0A8B8},      {"purple", 0x76406E}, {"violet", 0x5C3C90},
    {"blue", 0x2A54A8},   {"navy", 0x1E2A50},  {"indigo", 0x263468},    {"woad", 0x6898BC},   {"turquoise", 0x2E9CA0},
    {"green", 0x2E7040},  {"moss", 0x3E5C3A},  {"olive", 0x7A7A3A},     {"yellow", 0xF0C830}, {"gold", 0xC89A38},
    {"orange", 0xDC7A28}, {"brown", 0x60402A}, {"terracotta", 0xCC623E}};

std::optional<Rgb> colourCalled(const std::string& text)
{
    auto colour = [](u32 rgb) {
        return Rgb{static_cast<u8>(rgb >> 16), static_cast<u8>(rgb >> 8), static_cast<u8>(rgb)};
    };
    std::string name = text;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char letter) { return tolower(letter); });
    for (const ColourWord& word : words)
        if (name == word.word)
            return colour(word.rgb);
    constexpr size_t digits = 6;
    const std::string number = name.substr(name.starts_with('#') ? 1 : 0);
    if (number.size() != digits || number.find_first_not_of("0123456789abcdef") != std::string::npos)
        return std::nullopt;
    return colour(static_cast<u32>(strtoul(number.c_str(), nullptr, 16)));
}
