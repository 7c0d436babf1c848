#pragma once

#include <string>

#include "samples/picture.h"

struct PbmOptions {
    char type = 0;            // '4', '5' or '6'; 0: 4 for a bilevel picture, else 6
    std::string comment = {}; // a line of the header when not empty
};

// P4 needs a bilevel picture; P5 and P6 take any. An empty result says that the options do not fit.
std::vector<uint8_t> encodePbm(const Picture& picture, const PbmOptions& options = {});
