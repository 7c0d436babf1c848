// What the catalogue of the library does not tell about its formats.
#pragma once

#include <string>
#include <vector>

#include "tload.h"

constexpr FormatId pngImage = 2;
constexpr FormatId tisDesign = 17;
constexpr FormatId eatImage = 19;

struct KnownFormat {
    const char* extensions; // separated by spaces; empty when only the contents tell
    bool loads;             // else its files are recognised, but not read
};

// A format whose files are opened with the help of another program.
struct Helper {
    FormatId format;
    const char* (*setting)(); // the library's command for it
    const char* packages;     // of Debian: "package gzip"
};

// Null when the format needs none.
const Helper* helperOf(FormatId id);

// Whether the name ends as those of the format's files do, or the format's files have no such ending.
bool hasNameOf(const std::string& path, FormatId id);

// The formats that a file's name speaks for and, where it speaks for none, those that detection never finds: in the
// order of the catalogue, as far as they load.
std::vector<FormatId> formatsOfName(const std::string& path);

// id 1..70
const KnownFormat& knownFormat(FormatId id);
