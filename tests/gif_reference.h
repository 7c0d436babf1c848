// A GIF decoder that follows the description of the codes step by step, one pixel at a time: slow, and the measure for
// the library's. It takes the bytes from the minimum code size on.
#pragma once

#include "tests/support.h"

struct GifResult {
    int status;
    Bytes pixels; // as far as they were decoded
};

GifResult referenceGif(const Bytes& data, u32 colours, u64 pixelCount);
