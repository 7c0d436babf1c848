#pragma once

#include "samples/picture.h"

struct PcxOptions {
    uint32_t planes = 0;       // of an indexed picture: 0 stores 8 bits, 1 to 8 one bit a plane
    uint8_t version = 5;       // 5 puts the palette of 8 bits behind the rows
    uint32_t linePadding = 0;  // bytes behind each line of each plane
    bool runsOverLines = true; // a run may go on in the next line
    uint16_t left = 0;         // where the picture lies on its page
    uint16_t top = 0;
};

// Indexed pictures, RGB ones of 24 bits, and bilevel ones, whose set bits are the second of two colours, black. Other
// kinds give an empty result. Fields for callers that patch them: 0 mark, 1 version, 2 encoding, 3 bits of a plane,
// 4 left, 6 top, 8 right, 10 bottom, 16 palette, 65 planes, 66 bytes of a line (2 bytes each).
std::vector<uint8_t> encodePcx(const Picture& picture, const PcxOptions& options = {});
