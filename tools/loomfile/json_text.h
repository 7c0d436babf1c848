// An object of JSON, written without building it first: for what is told of millions of files.
#pragma once

#include <string>
#include <string_view>

#include "tload.h"

// In ASCII alone, with invalid UTF-8 replaced.
std::string jsonString(std::string_view text);

struct JsonText {
    std::string text = "{";

    void add(const char* key, std::string_view json); // as it is
    void addText(const char* key, std::string_view value) { add(key, jsonString(value)); }
    void addNumber(const char* key, u64 value) { add(key, std::to_string(value)); }
    void addKnown(const char* key, u64 value) { add(key, value == 0 ? "null" : std::to_string(value)); }
    void addReal(const char* key, double value);
    void addTruth(const char* key, bool value) { add(key, value ? "true" : "false"); }
    std::string finished() const { return text + "}"; }
};
