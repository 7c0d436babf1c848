// One sample file of every format, and of its variants.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

struct Sample {
    const char* name;
    uint32_t format;
    std::vector<uint8_t> (*encode)();
    const char* partner = nullptr; // of a design in several files: the one without which this one is not loaded
};

std::span<const Sample> allSamples();
// Whether another program has to unpack or draw it.
bool needsCommand(const Sample& sample);

// From here on pictures whose size is free are drawn as small as possible: for tests that load each of them often.
void drawSmallSamples();
