#pragma once

#include "samples/loom_program.h"

struct SometOptions {
    bool longHeader = false; // even where a short one is long enough
};

// Rows of 112 columns for DOP, 48 for COP. What follows the pick in a row (40 columns of DOP, 16 of COP) is written as
// settings where it changes; of DOP's columns 57 to 63 the format keeps none. A pick is woven once. An empty result
// says that the format cannot tell the program.
std::vector<uint8_t> encodeDop(const LoomProgram& program, const SometOptions& options = {});
std::vector<uint8_t> encodeCop(const LoomProgram& program, const SometOptions& options = {});
// Bilevel pictures 40 columns wide.
std::vector<uint8_t> encodeSometArm(const Picture& picture);

// The header before the records of a program, with the checksum of both.
std::vector<uint8_t> withSometHeader(const std::vector<uint8_t>& records, bool longHeader);
