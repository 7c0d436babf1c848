// What is printed for other programs.
#pragma once

#include <nlohmann/json.hpp>

#include "picture.h"

// Keeps keys in the order in which they were added.
using Json = nlohmann::ordered_json;

// In ASCII alone, with invalid UTF-8 replaced: lines that end, one line that does not, and lines of an array that is
// printed piece by piece.
std::string pageOf(const Json& document);
std::string lineOf(const Json& document);
std::string elementOf(const Json& document);
// [{"text": "interlaced", "grave": true}]
Json remarksJson(const Picture& picture);
std::string remarksText(const Picture& picture);
