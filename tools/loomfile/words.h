// The words of the command line, before they are parsed.
#pragma once

#include <functional>
#include <string>
#include <vector>

// What was not understood, as the rest of a sentence.
struct UsageError {
    std::string text;
};

// Finds the command: "identify" is another word for "info", "help convert" for "convert --help", and a file without a
// command is one for "info". takesValue tells whether another word belongs to an option. Throws UsageError.
std::vector<std::string> preparedWords(std::vector<std::string> words, const std::vector<std::string>& commands,
                                       const std::function<bool(const std::string&)>& takesValue);

// What to do about a word that begins with a dash and is no option.
UsageError unknownOption(const std::string& word);

// The format of a number, a name in any case ("jc5 staubli") or an extension. Throws UsageError.
int formatCalled(const std::string& text);
