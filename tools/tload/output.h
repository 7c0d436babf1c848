// What goes to the terminal.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// Keeps keys in the order in which they were added.
using Json = nlohmann::ordered_json;

// The text with a question mark for everything that a terminal might take for a command or that is not UTF-8.
std::string printable(std::string_view text);
std::string baseNameOf(const std::string& path);

// Prints it in ASCII alone, with invalid UTF-8 replaced.
void printJson(const Json& document);
// Throws Failure when standard output did not take everything.
void finishOutput();
