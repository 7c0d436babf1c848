#pragma once

#include <string>

#include "samples/picture.h"

struct BonasOptions {
    std::string designName = "MOTIF"; // 8 characters are stored
    uint32_t selectorBytes = 4;       // a pick; the last 8 x selectorBytes pixels of a row, the others are hooks
    bool tellSelectors = true;        // else the header tells 0, which stands for 4
    bool padLines = true;             // picks of 896 hooks and more take a multiple of 4 bytes
    uint32_t picksPerFile = 0;        // 0: all in one file
    bool tellTotal = true;            // else the header tells 0, which stands for the picks of a file
    uint8_t cadSystem = 15;
};

// The bytes of a bilevel picture's file number part. What pads a pick is set bits. Where fields lie, for callers that
// patch them: 2 mark, 3 picks of a file, 6 design name, 15 selector bytes, 16 picks of the design, 31 CAD system,
// 32 hooks, 34 picks. An empty result says that the options do not fit.
std::vector<uint8_t> encodeBonas(const Picture& picture, const BonasOptions& options = {}, uint32_t part = 0);

// Packs any file as the compress command of old Windows does, as literals alone.
std::vector<uint8_t> compressForExpand(const std::vector<uint8_t>& bytes);
