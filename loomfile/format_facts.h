// What a host knows of the formats besides the library's catalogue.
#pragma once

#include <string>
#include <vector>

#include "loomfile.h"

// How well the contents tell that a file is of a format: by a mark or a check that no other file passes, by a size that
// the header announces, or not at all.
enum class Evidence { mark, size, none };

enum class Helper { none, gzip, unzip, msExpand, vectorPreview };

struct FormatFacts {
    Evidence evidence;
    bool isStreamed; // bands in order give the same rows as the whole picture in one call
    Helper helper;
};

// format 1..70
const FormatFacts& factsOf(FormatId format);
// Of Debian; "" when the format needs none.
const char* helperPackages(FormatId format);

// The last extension of a path without its dot, in lower case; "" when there is none.
std::string extensionOf(const std::string& path);
// Whether the name ends as those of the format's files do, or the format's files have no such ending.
bool hasNameOf(const std::string& path, FormatId format);
// The first ending of a format's files with its dot, "" when they have none.
std::string firstExtension(FormatId format);

// The formats that are read and that a file's name speaks for, also as part of a design, in the order of the catalogue.
std::vector<FormatId> formatsOfName(const std::string& path);

// Palettes show their colours as a picture.
bool isPaletteFormat(FormatId format);
