// What the host layer asks of the formats. Of libTload's own sources it knows the catalogue alone, a table of
// constants.
#pragma once

#include <string>
#include <vector>

#include "formats/catalogue.h"
#include "loomfile.h"

struct FormatFacts {
    Evidence evidence;
    Bands bands;
    Command helper;
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

// Whether black and white are those of a picture. Those of all other formats are lifts.
bool isPictureFormat(FormatId format);
// Palettes show their colours as a picture.
bool isPaletteFormat(FormatId format);
