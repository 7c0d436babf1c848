// What is thrown inside of this library, and what its caller is told.
#pragma once

#include <string>

#include "loomfile.h"

struct Refusal {
    i32 status;
    std::string sentence; // without the file's name and without a full stop
    std::string reason = {};
    FormatId format = 0;
    i32 signal = 0;
};

// "(No such file or directory)"
std::string systemReason(int errorNumber);

// In one line, with '?' for what is no printable character of UTF-8.
std::string printable(const std::string& text);

// Fills in as much as the caller's structure has room for; null does nothing.
void tell(const Refusal& refusal, LoomfileFailure* failure);
void tellSuccess(LoomfileFailure* failure);

// Copies what both versions of a structure have. Both begin with their size.
void copySized(void* destination, const void* source, u32 size);
