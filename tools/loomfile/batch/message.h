// What the program and its workers say to each other: a message is its length and fields, each behind its own length.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tload.h"

using Fields = std::vector<std::string>;

void appendMessage(std::string& bytes, const Fields& fields);

// Bytes that have arrived, of which messages are taken.
struct Inbox {
    std::string bytes;
    size_t taken = 0;
    bool isBroken = false; // what came is no message

    void add(const char* more, size_t count);
    std::optional<Fields> take(); // none: there is no whole one
};
