#include "output.h"

#include <cerrno>
#include <cstdio>

#include "host.h"

// The length of the UTF-8 sequence at the start of text, 0 when there is none.
static size_t sequenceLength(std::string_view text)
{
    auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    size_t length = byte(0) < 0x80 ? 1 : byte(0) < 0xC2 ? 0 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
    if (byte(0) > 0xF4 || length > text.size())
        return 0;
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    }
    return length;
}

static bool isControl(std::string_view sequence)
{
    auto first = static_cast<unsigned char>(sequence[0]);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0);
}

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        size_t length = sequenceLength(text);
        bool shown = length > 0 && !isControl(text);
        result += shown ? text.substr(0, length) : "?";
        text.remove_prefix(length > 0 ? length : 1);
    }
    return result;
}

std::string baseNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

void printJson(const Json& document)
{
    constexpr int indentation = 2;
    puts(document.dump(indentation, ' ', true, Json::error_handler_t::replace).c_str());
}

void finishOutput()
{
    bool failedBefore = ferror(stdout) != 0;
    if (fflush(stdout) != 0 || failedBefore)
        throw Failure{exitCannotWrite, "standard output",
                      "the text cannot be written" + (failedBefore ? "" : " " + systemReason(errno))};
}
