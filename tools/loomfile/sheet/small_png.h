// Pictures for pages: in memory, and as small as their colours allow.
#pragma once

#include <string>
#include <vector>

#include "tload.h"

struct SmallPicture {
    u32 width = 0;
    u32 height = 0;
    std::vector<u8> pixels; // R, G, B, A
};

// Throws std::bad_alloc.
std::string pngOf(const SmallPicture& picture);
// "data:image/png;base64,..."
std::string dataAddress(const std::string& png);
