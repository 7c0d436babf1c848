#include "loomfile/draft/draft_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "loomfile/refusal.h"

// From 0x80 on, where Latin-1 has control characters and Windows has these. 0 = none.
static constexpr u16 windowsLetters[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                           0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                           0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                           0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

static void appendLetter(std::string& text, u32 code)
{
    auto add = [&text](u32 byte) { text += static_cast<char>(byte); };
    auto addRest = [&](u32 shift) { add(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xC0 | code >> 6);
        addRest(0);
    } else if (code < 0x10000) {
        add(0xE0 | code >> 12);
        addRest(6);
        addRest(0);
    } else {
        add(0xF0 | code >> 18);
        addRest(12);
        addRest(6);
        addRest(0);
    }
}

static std::string fromUtf16(std::string_view bytes, bool isBigEndian)
{
    auto unitAt = [&](size_t at) {
        const u32 first = static_cast<u8>(bytes[at]), second = static_cast<u8>(bytes[at + 1]);
        return isBigEndian ? first << 8 | second : second << 8 | first;
    };
    std::string text;
    text.reserve(bytes.size() / 2);
    for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
        u32 code = unitAt(at);
        const u32 next = code >= 0xD800 && code < 0xDC00 && at + 3 < bytes.size() ? unitAt(at + 2) : 0;
        if (next >= 0xDC00 && next < 0xE000) {
            code = 0x10000 + ((code & 0x3FF) << 10 | (next & 0x3FF));
            at += 2;
        }
        appendLetter(text, code >= 0xD800 && code < 0xE000 ? '?' : code);
    }
    return text;
}

std::string textOf(std::string bytes)
{
    const std::string_view start = bytes;
    auto hasZero = [start](size_t at) { return start.size() > 3 && start[at] == 0 && start[at + 2] == 0; };
    if (start.starts_with("\xEF\xBB\xBF"))
        bytes.erase(0, 3);
    else if (start.starts_with("\xFE\xFF") || start.starts_with("\xFF\xFE"))
        bytes = fromUtf16(start.substr(2), start[0] == '\xFE');
    else if (hasZero(0) != hasZero(1))
        bytes = fromUtf16(start, hasZero(0));
    constexpr char endOfFile = 0x1A;
    bytes.resize(std::min(bytes.find(endOfFile), bytes.size()));
    return bytes;
}

bool TextLines::take(std::string_view& line)
{
    if (rest.empty())
        return false;
    size_t end = 0;
    while (end < rest.size() && rest[end] != '\n' && rest[end] != '\r')
        end++;
    line = rest.substr(0, end);
    const bool isDouble = end + 1 < rest.size() && rest[end] == '\r' && rest[end + 1] == '\n';
    rest.remove_prefix(std::min(end + (isDouble ? 2 : 1), rest.size()));
    number++;
    return true;
}

std::string_view trimmed(std::string_view text)
{
    auto isBlank = [](char letter) { return static_cast<unsigned char>(letter) <= ' '; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string plainWord(std::string_view text)
{
    std::string word;
    for (char letter : text)
        if (static_cast<unsigned char>(letter) > ' ')
            word += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    if (const size_t british = word.find("colour"); british != std::string::npos)
        word.erase(british + 4, 1);
    return word;
}

std::string readableText(std::string_view text)
{
    text = trimmed(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = trimmed(text.substr(1, text.size() - 2));
    std::string clean(text);
    std::replace_if(
        clean.begin(), clean.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }, ' ');
    if (printable(clean) == clean)
        return clean;
    std::string converted;
    for (const char byte : clean) {
        const u32 code = static_cast<u8>(byte);
        const u32 letter = code >= 0x80 && code < 0xA0 ? windowsLetters[code - 0x80] : code;
        appendLetter(converted, letter != 0 ? letter : '?');
    }
    return converted;
}

std::string quotation(std::string_view text)
{
    constexpr size_t longest = 40;
    std::string readable = readableText(text);
    if (readable.size() > longest) {
        size_t end = longest;
        while (end > 0 && (static_cast<u8>(readable[end]) & 0xC0) == 0x80)
            end--;
        readable = readable.substr(0, end) + "...";
    }
    return '"' + readable + '"';
}

std::optional<u32> wholeNumber(std::string_view text)
{
    text = trimmed(text);
    if (text.empty() || !isDigit(text.front()))
        return std::nullopt;
    const u32 number = takeDigits(text);
    return text.empty() ? std::optional<u32>(number) : std::nullopt;
}

std::optional<double> positiveNumber(std::string_view text)
{
    std::string plain(trimmed(text));
    std::replace(plain.begin(), plain.end(), ',', '.');
    double number = 0;
    const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), number);
    const bool isNumber = error == std::errc() && end == plain.data() + plain.size() && std::isfinite(number);
    return isNumber && number > 0 ? std::optional<double>(number) : std::nullopt;
}
