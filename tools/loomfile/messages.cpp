#include "messages.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

size_t sequenceLength(std::string_view text)
{
    auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byte(0);
    const size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (first > 0xF4 || length > text.size())
        return 0;
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    }
    // Longer than necessary, a surrogate, behind the last code point.
    const bool isLong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool isNoCharacter = (first == 0xED && byte(1) >= 0xA0) || (first == 0xF4 && byte(1) >= 0x90);
    return isLong || isNoCharacter ? 0 : length;
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
        const size_t length = sequenceLength(text);
        const bool isShown = length > 0 && !isControl(text);
        result += isShown ? text.substr(0, length) : "?";
        text.remove_prefix(length > 0 ? length : 1);
    }
    return result;
}

std::string baseNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

bool hasEnding(const std::string& name, const std::string& ending)
{
    std::string last = name.substr(name.size() - std::min(name.size(), ending.size()));
    stringToLower(last.data());
    return baseNameOf(name).size() > ending.size() && last == ending;
}

std::string shortened(const std::string& name)
{
    constexpr size_t longest = 4096;
    constexpr size_t kept = 50;
    return name.size() < longest ? name : name.substr(0, kept) + "...";
}

std::string systemReason(int errorNumber)
{
    return std::string("(") + strerror(errorNumber) + ")";
}

std::string sentence(const std::string& file, const std::string& text)
{
    return "loomfile: " + printable(file) + ": " + printable(text) + ".\n";
}

void tellRemarks(Result& result, const Picture& picture)
{
    for (const Remark& remark : remarksOf(picture)) {
        result.messages +=
            sentence(picture.file, remark.isGrave ? "made, but not all that the file means: " + remark.text
                                                  : "remarked: " + remark.text);
        if (remark.isGrave)
            result.exitCode = exitNotAsMeant;
    }
}

void tellSummary(Result& result, const OutputFile& target, const std::string& text)
{
    if (target.target != standardStream)
        result.text += printable(text) + "\n";
}

void finishOutput()
{
    const bool failedBefore = ferror(stdout) != 0;
    if (fflush(stdout) != 0 || failedBefore)
        throw Failure{exitCannotWrite, "standard output",
                      "the text cannot be written" + (failedBefore ? "" : " " + systemReason(errno))};
}

void openStandardStreams()
{
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}
