#pragma once

#include "samples/picture.h"

struct UwfRecord {
    uint32_t type;
    std::vector<uint8_t> payload;
};

struct UwfOptions {
    std::vector<UwfRecord> first = {{1, {0x55, 0xAA}}, {10, {24, 12, 99, 18, 5}}}; // the last one is the date
    std::vector<UwfRecord> second = {};                                            // before those of the widths
    std::vector<uint32_t> widths = {};                                             // empty: all ends in one
};

// A bilevel picture. The widths are those of the records 35, 31, 18 and 19; their sum has to need as many bytes as a
// row of the picture.
std::vector<uint8_t> encodeUwf(const Picture& picture, const UwfOptions& options = {});
// Puts the right check value into a file that was patched.
void renewUwfCheck(std::vector<uint8_t>& bytes);
