// Pictures of one bit a pixel for looms and CAD programs: set = dark = the end is up.
#pragma once

#include <atomic>

#include "lifts.h"
#include "output_file.h"

// Band by band, with the picture's resolution. Throw Failure.
void writeBmp(OutputFile& file, Lifts& lifts, std::atomic<int>& percentWritten);
void writeTiff(OutputFile& file, Lifts& lifts, std::atomic<int>& percentWritten); // compressed as a fax, group 4
