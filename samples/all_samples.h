// One sample file of every format, and of its variants.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tload.h"

struct Sample {
    const char* name;
    FormatName format;
    std::vector<uint8_t> (*encode)();
    const char* partner = nullptr; // of a design in several files: the one without which this one is not loaded
};

std::span<const Sample> allSamples();

// From here on pictures whose size is free are drawn as small as possible: for tests that load each of them often.
void drawSmallSamples();
