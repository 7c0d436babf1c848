#pragma once

#include <atomic>

#include "output_file.h"
#include "picture.h"

// Writes the picture with its resolution and multipliers. Throws Failure.
void writePng(OutputFile& file, const Picture& picture, const u8* pixels, std::atomic<int>& percentWritten);
