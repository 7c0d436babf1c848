#pragma once

#include "samples/loom_program.h"

// Rows of 64 columns; the last 8 are written as a setting where they change. In PIW columns 24 to 39 are clear and a
// pick may be woven several times, in PID once. An empty result says that the format cannot tell the program.
std::vector<uint8_t> encodeVamatex(const LoomProgram& program, bool isPiw);
