#pragma once

#include "samples/picture.h"

struct EatOptions {
    uint32_t bits = 0;       // 4 or 8 of an indexed picture; 0: 4 if its indices allow it
    bool allColours = false; // stores the colours from index 1 on, 125 or more, else those of the indices that occur
};

// Bilevel and indexed pictures. Colours lose their two lowest bits. An empty result says that the options do not fit.
std::vector<uint8_t> encodeEat(const Picture& picture, const EatOptions& options = {});
