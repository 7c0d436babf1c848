// What the catalogue of the library does not tell about its formats.
#pragma once

#include "tload.h"

struct KnownFormat {
    const char* extensions; // separated by spaces; empty when only the contents tell
    bool loads;             // whether this version opens the format
};

// id 1..70
const KnownFormat& knownFormat(FormatId id);
