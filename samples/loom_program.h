// Programs of picks and repeats, as the writers of the dobby formats store them.
#pragma once

#include "samples/picture.h"

struct LoomStep {
    enum Kind { pick, openRepeat, closeRepeat } kind = pick;
    uint32_t count = 1;            // of a repeat, or how often a pick is woven
    std::vector<uint8_t> row = {}; // of a pick, as in a picture
};

using LoomProgram = std::vector<LoomStep>;

// A bilevel picture, its equal neighbours as repeats, between two hems of 16 picks: repeats of plain weave
// in the first hemBytes of a row, within repeats.
LoomProgram hemmedProgram(const Picture& picture, size_t hemBytes);
