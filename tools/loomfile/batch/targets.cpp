#include "batch/targets.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>

#include "messages.h"
#include "output_target.h"

namespace fs = std::filesystem;

static bool isFolder(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

static void makeFolder(const std::string& path)
{
    std::error_code error;
    fs::create_directories(path, error);
    if (error && !isFolder(path))
        throw Failure{exitCannotWrite, path, "the folder cannot be made " + systemReason(error.value())};
}

constexpr const char* placeholders[] = {"{folder}", "{stem}", "{name}", "{ending}"};

static void checkPlaceholders(const std::string& pattern)
{
    for (size_t place = pattern.find('{'); place != std::string::npos; place = pattern.find('{', place + 1)) {
        auto isHere = [&](const char* word) { return pattern.compare(place, std::string(word).size(), word) == 0; };
        if (std::none_of(std::begin(placeholders), std::end(placeholders), isHere))
            throw Failure{exitUsage, pattern, "between braces there can be folder, stem, name or ending"};
    }
}

Targets::Targets(const Batch& given, const BatchOptions& options) : batch(given), pattern(options.output)
{
    if (pattern.empty() || !batch.target.empty())
        return;
    const std::vector<std::string>& endings = batch.endings;
    auto endsLikeIt = [&](const std::string& ending) { return hasEnding(pattern, ending); };
    const bool isWhole = std::any_of(endings.begin(), endings.end(), endsLikeIt) && !isFolder(pattern);
    checkPlaceholders(pattern);
    if (!isWhole && pattern.find('{') != std::string::npos)
        checkEnding(pattern, endings);
    if (!isWhole && !endings.empty())
        pattern += (pattern.ends_with('/') ? "{folder}/{stem}" : "/{folder}/{stem}") + endings.front();
    const size_t fixed = std::min(pattern.find('{'), pattern.size());
    root = pattern.substr(0, pattern.substr(0, fixed).rfind('/') + 1);
    if (root.empty() || root.find_first_not_of('/') == std::string::npos)
        return;
    makeFolder(root);
}

std::string Targets::filledIn(const Input& input) const
{
    const std::string name = baseNameOf(input.path);
    const size_t point = name.rfind('.');
    const bool hasNoEnding = point == std::string::npos || point == 0;
    const std::string words[] = {input.folder, hasNoEnding ? name : name.substr(0, point), name,
                                 hasNoEnding ? "" : name.substr(point + 1)};
    std::string result;
    for (size_t place = 0; place < pattern.size();) {
        size_t length = 1;
        std::string word = pattern.substr(place, 1);
        for (size_t i = 0; i < std::size(words); i++) {
            const std::string placeholder = placeholders[i];
            if (pattern.compare(place, placeholder.size(), placeholder) != 0)
                continue;
            length = placeholder.size();
            word = words[i];
            // A folder that is none takes its slash along.
            if (word.empty() && pattern.compare(place + length, 1, "/") == 0)
                length++;
        }
        result += word;
        place += length;
    }
    return result;
}

std::string Targets::nameFor(const Input& input) const
{
    return !batch.target.empty()       ? batch.target
           : batch.targetOf != nullptr ? batch.targetOf(input)
           : pattern.empty()           ? ""
                                       : filledIn(input);
}

void Targets::makeFoldersFor(const std::string& target)
{
    const std::string folder = target.substr(0, target.rfind('/') + 1);
    if (folder.empty() || folder == madeLast || batch.target == target)
        return;
    makeFolder(folder);
    madeLast = folder;
}

static u64 numberOf(const std::string& word)
{
    return std::max<u64>(std::hash<std::string>()(word), 1);
}

// Where the number is, or would be.
static size_t slotOf(const std::vector<u64>& slots, u64 number)
{
    size_t slot = number % slots.size();
    while (slots[slot] != 0 && slots[slot] != number)
        slot = (slot + 1) % slots.size();
    return slot;
}

bool SeenWords::has(const std::string& word) const
{
    return !slots.empty() && slots[slotOf(slots, numberOf(word))] != 0;
}

bool SeenWords::add(const std::string& word)
{
    if (has(word))
        return false;
    if (2 * count >= slots.size()) {
        std::vector<u64> larger(std::max<size_t>(2 * slots.size(), 1024));
        for (u64 number : slots) {
            if (number != 0)
                larger[slotOf(larger, number)] = number;
        }
        slots = std::move(larger);
    }
    slots[slotOf(slots, numberOf(word))] = numberOf(word);
    count++;
    return true;
}
