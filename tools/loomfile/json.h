// What is printed for other programs.
#pragma once

#include <nlohmann/json.hpp>

#include "picture.h"

// Keeps keys in the order in which they were added.
using Json = nlohmann::ordered_json;

// Prints it in ASCII alone, with invalid UTF-8 replaced.
void printJson(const Json& document);
// [{"text": "interlaced", "grave": true}]
Json remarksJson(const Picture& picture);
