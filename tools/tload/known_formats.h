// What the catalogue of the library does not tell about its formats.
#pragma once

#include <string>
#include <vector>

#include "tload.h"

struct KnownFormat {
    const char* extensions; // separated by spaces; empty when only the contents tell
    bool loads;             // whether this version opens the format
};

// A format whose files are opened with the help of another program.
struct Helper {
    FormatId format;
    const char* (*setting)(); // the library's command for it
    const char* packages;     // of Debian: "package gzip"
};

// Null when the format needs none.
const Helper* helperOf(FormatId id);

// The formats that a file's name speaks for, in the order of the catalogue, as far as this version loads them.
std::vector<FormatId> formatsOfName(const std::string& path);

// id 1..70
const KnownFormat& knownFormat(FormatId id);
