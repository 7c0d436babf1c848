#include "words.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <numeric>
#include <sstream>

#include "loomfile.h"

using std::string;
using Words = std::vector<string>;

// How many letters have to be changed, added or left out.
static size_t editDistance(const string& one, const string& other)
{
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < one.size(); i++) {
        size_t diagonal = row[0]++;
        for (size_t j = 0; j < other.size(); j++) {
            const size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

// Empty when no command is meant.
static string nearestCommand(const string& word, const Words& commands)
{
    constexpr size_t mostMistakes = 2;
    auto distance = [&word](const string& command) { return editDistance(word, command); };
    const auto nearest = std::min_element(commands.begin(), commands.end(),
                                          [&](const string& a, const string& b) { return distance(a) < distance(b); });
    return distance(*nearest) <= mostMistakes && word.size() > mostMistakes ? *nearest : "";
}

static bool isOption(const string& word)
{
    return word.size() > 1 && word[0] == '-';
}

UsageError unknownOption(const string& word)
{
    return {"there is no option '" + word + "'; write a file of this name as './" + word + "', or behind '--'"};
}

// The first word that is no option and belongs to none. Letters behind one dash are no options, but taken for several.
static size_t findCommand(const Words& words, const std::function<bool(const string&)>& takesValue)
{
    size_t found = words.size();
    for (size_t i = 0; i < words.size() && words[i] != "--"; i++) {
        const string& word = words[i];
        if (!isOption(word))
            found = std::min(found, i);
        else if (word[1] != '-' && word.size() > 2 && isalpha(static_cast<unsigned char>(word[1])) != 0)
            throw unknownOption(word);
        else if (takesValue(word))
            i++;
    }
    const auto separator = std::find(words.begin(), words.end(), "--");
    return std::min(found, static_cast<size_t>(separator - words.begin()));
}

Words preparedWords(Words words, const Words& commands, const std::function<bool(const string&)>& takesValue)
{
    const size_t index = findCommand(words, takesValue);
    if (index == words.size())
        return words;
    const auto place = words.begin() + static_cast<std::ptrdiff_t>(index);
    const string word = *place;
    auto isCommand = [&commands](const string& text) {
        return std::find(commands.begin(), commands.end(), text) != commands.end();
    };
    if (isCommand(word))
        return words;
    if (word == "help")
        return index + 1 < words.size() && isCommand(words[index + 1]) ? Words{words[index + 1], "--help"}
                                                                       : Words{"--help"};
    if (word == "identify") {
        *place = "info";
        return words;
    }
    const bool isFile = word == "-" || word == "--" || access(word.c_str(), F_OK) == 0;
    const string meant = isFile ? "" : nearestCommand(word, commands);
    if (!meant.empty())
        throw UsageError{"there is no command '" + word + "', did you mean " + meant + "?"};
    if (!isFile && word.find_first_of("./") == string::npos)
        throw UsageError{"there is neither a command nor a file '" + word + "'"};
    words.insert(words.begin(), "info");
    return words;
}

static string lowerCase(string text)
{
    stringToLower(text.data());
    return text;
}

static bool hasExtension(int format, const string& extension)
{
    std::istringstream extensions(returnLoaderExtensions(format));
    return std::find(std::istream_iterator<string>(extensions), {}, extension) != std::istream_iterator<string>();
}

int formatCalled(const string& text)
{
    const bool isNumber = !text.empty() && text.size() < 4 && text.find_first_not_of("0123456789") == string::npos;
    if (const int number = isNumber ? atoi(text.c_str()) : 0; number >= 1 && number <= formatCount)
        return number;
    const string name = lowerCase(text);
    const string extension = name.substr(name.starts_with('.') ? 1 : 0);
    std::vector<int> named, ending;
    for (int format = 1; format <= formatCount; format++) {
        if (lowerCase(returnLoaderString(format)) == name)
            named.push_back(format);
        if (hasExtension(format, extension))
            ending.push_back(format);
    }
    const std::vector<int>& found = named.empty() ? ending : named;
    if (found.empty())
        throw UsageError{"'" + text + "' is no format, 'loomfile formats' lists their numbers and names"};
    if (found.size() == 1)
        return found.front();
    string all;
    for (int format : found)
        all += (all.empty() ? "" : ", ") + std::to_string(format) + " = " + returnLoaderString(format);
    throw UsageError{"'" + text + "' may be several formats, give the number (" + all + ")"};
}
