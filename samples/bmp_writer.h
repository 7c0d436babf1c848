#pragma once

#include "samples/picture.h"

struct BmpOptions {
    uint32_t bits = 0;        // 1, 4, 8, 24 or 32; 0: 1 for bilevel, 8 for indexed, 24 for RGB, 32 for RGBA
    uint32_t headerSize = 40; // 40 or more; 124 holds the channel masks too
    uint32_t pixelsPerMetreX = 0;
    uint32_t pixelsPerMetreY = 0;
    uint32_t paletteEntries = 0; // as stored and as told by the header; 0 stores 2^bits and tells 0
    // For bilevel pictures.
    bool blackFirst = false;
    bool complementBits = false; // stores set bits for light pixels, as a palette with black first wants it
};

// 24 and 32 bits take any kind of picture, the others indexed ones or, for 1 bit, bilevel ones. Missing palette entries
// are black. Where fields lie, for callers that patch them: 10 offset of the rows, 14 size of the header, 18 width,
// 22 height, 26 planes, 28 bits, 30 compression, 38 and 42 pixels per metre, 46 palette entries, 54 channel masks.
// An empty result says that the options do not fit.
std::vector<uint8_t> encodeBmp(const Picture& picture, const BmpOptions& options = {});
