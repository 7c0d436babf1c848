#pragma once

#include "samples/picture.h"

struct SmitOptions {
    uint32_t picksOfBlock = 32;
    bool lastBlockFirst = false;
};

// A bilevel picture of 48 shafts, or of 96 for a terry loom, in blocks behind a header of 23 bytes.
std::vector<uint8_t> encodeSmit(const Picture& picture, const SmitOptions& options = {});
