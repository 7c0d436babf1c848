// The lines and numbers of drafts that are kept as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "loomfile.h"

// The text of a file without its byte-order mark; UTF-16, also without a mark, becomes UTF-8. Ends where old systems
// mark the end with a control character.
std::string textOf(std::string bytes);

// Goes through the lines of a text, which end in CR, LF or both.
struct TextLines {
    std::string_view rest;
    u32 number = 0; // of the line that was taken last, from 1 on

    bool take(std::string_view& line);
};

// Without blanks and control characters at either end.
std::string_view trimmed(std::string_view text);
// Without blanks, in small letters, and British words as American ones: "WARP Colours" becomes "warpcolors".
std::string plainWord(std::string_view text);
// A text for people: UTF-8, or else Latin-1 as Windows has it; without the quotation marks around it.
std::string readableText(std::string_view text);
// In quotation marks, shortened.
std::string quotation(std::string_view text);

constexpr u32 endlessNumber = 1000000000; // stands for all that are larger

inline bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

// Takes the number that the text begins with. The text must begin with a digit.
inline u32 takeDigits(std::string_view& text)
{
    u64 number = 0;
    size_t at = 0;
    for (; at < text.size() && isDigit(text[at]); at++)
        number = std::min<u64>(10 * number + static_cast<u64>(text[at] - '0'), endlessNumber);
    text.remove_prefix(at);
    return static_cast<u32>(number);
}

// Gives action each number of "3,4, 5". False when something else stands there.
template <typename Action>
bool eachNumber(std::string_view text, const Action& action)
{
    while (!text.empty()) {
        const char letter = text.front();
        if (isDigit(letter)) {
            action(takeDigits(text));
            if (!text.empty() && text.front() != ',' && static_cast<unsigned char>(text.front()) > ' ')
                return false;
        } else if (letter == ',' || static_cast<unsigned char>(letter) <= ' ') {
            text.remove_prefix(1);
        } else {
            return false;
        }
    }
    return true;
}

// A whole number and nothing else.
std::optional<u32> wholeNumber(std::string_view text);
// A length above 0, with a point or, as some countries write it, a comma.
std::optional<double> positiveNumber(std::string_view text);
