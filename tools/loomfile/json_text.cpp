#include "json_text.h"

#include <charconv>
#include <cstdio>

#include "messages.h"

// One character of UTF-8, which is valid.
static u32 codePoint(std::string_view sequence)
{
    const auto first = static_cast<unsigned char>(sequence[0]);
    u32 point = sequence.size() == 1 ? first : first & (0x7F >> sequence.size());
    for (const char c : sequence.substr(1))
        point = point << 6 | (static_cast<unsigned char>(c) & 0x3F);
    return point;
}

static void addEscaped(std::string& result, u32 unit)
{
    char text[16];
    snprintf(text, sizeof text, "\\u%04x", unit);
    result += text;
}

std::string jsonString(std::string_view text)
{
    constexpr u32 replacement = 0xFFFD, firstBeyond = 0x10000;
    std::string result = "\"";
    while (!text.empty()) {
        const size_t length = sequenceLength(text);
        const u32 point = length > 0 ? codePoint(text.substr(0, length)) : replacement;
        text.remove_prefix(length > 0 ? length : 1);
        if (point == '"' || point == '\\')
            result += '\\';
        if (point == '\n') {
            result += "\\n";
        } else if (point >= 0x20 && point < 0x7F) {
            result += static_cast<char>(point);
        } else if (point < firstBeyond) {
            addEscaped(result, point);
        } else {
            addEscaped(result, 0xD800 + ((point - firstBeyond) >> 10));
            addEscaped(result, 0xDC00 + ((point - firstBeyond) & 0x3FF));
        }
    }
    return result + '"';
}

void JsonText::add(const char* key, std::string_view json)
{
    text += text.size() > 1 ? ",\"" : "\"";
    text += key;
    text += "\":";
    text += json;
}

void JsonText::addReal(const char* key, double value)
{
    char digits[40];
    const std::string_view number(digits, std::to_chars(digits, std::end(digits), value).ptr);
    add(key, std::string(number) + (number.find_first_of(".e") == std::string_view::npos ? ".0" : ""));
}
