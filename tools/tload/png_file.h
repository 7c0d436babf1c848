#pragma once

#include <atomic>

#include "host.h"
#include "temporary_file.h"

// Writes the picture with its resolution and multipliers. Throws Failure.
void writePng(TemporaryFile& file, const Picture& picture, const u8* pixels, std::atomic<int>& percentWritten);
