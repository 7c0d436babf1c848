#pragma once

#include "samples/loom_program.h"

struct DoWeaveOptions {
    std::string lineEnd = "\r\n";
    bool longDescription = false; // record type 66 instead of 68
    bool remarks = false;         // records that say nothing about the weave, between those that do
    uint32_t records = 0;         // as the description tells; 0: as many as there are
};

// Rows of 64 columns, height of them; every pick is woven once. An empty result says that the format cannot tell it.
std::vector<uint8_t> encodeDoWeave(const LoomProgram& program, uint32_t height, const DoWeaveOptions& options = {});
