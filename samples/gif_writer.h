#pragma once

#include <string>

#include "samples/picture.h"

struct GifOptions {
    bool version89 = true;
    uint8_t aspect = 0;
    bool interlaced = false;

    unsigned tableBits = 0; // 1..8: 2^tableBits colours in the table; 0: as few as the palette needs
    bool globalTable = true;
    bool localTable = false;

    unsigned minimumCodeSize = 0; // 2..11; 0: as small as the table allows
    bool deferredClear = false;   // never empties the full code table but keeps on using it
    unsigned subBlockSize = 255;  // 1..255
    unsigned paddingBytes = 0;    // zero bytes behind the end code, for readers that look ahead

    std::string comment = {}; // an extension when not empty
    bool graphicControl = false;
    int transparentIndex = -1; // needs graphicControl
    bool application = false;  // loop for ever
    bool plainText = false;
};

// Takes indexed and bilevel pictures. Missing colours of a table are black. An empty result says that the options do
// not fit.
std::vector<uint8_t> encodeGif(const Picture& picture, const GifOptions& options = {});
