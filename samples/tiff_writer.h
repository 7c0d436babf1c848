#pragma once

#include <optional>

#include "samples/picture.h"

// Samples as libtiff takes them: every row starts on a byte, below 8 bits the first pixel in the highest bits, 16 bits
// in the machine's byte order. In separate planes one plane follows the other.
struct TiffImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bits = 8; // a sample
    uint32_t samples = 3;
    std::optional<uint32_t> photometric = 2;
    bool separate = false;
    std::vector<uint8_t> rows = {};
    std::vector<uint16_t> colourMap = {}; // 2^bits reds, then the greens and the blues
};

struct TiffResolution {
    float x, y;
    uint32_t unit; // 1: none, 2: inch, 3: centimetre
};

struct TiffOptions {
    bool bigEndian = false;
    uint32_t compression = 1;
    uint32_t rowsPerStrip = 0; // 0: what makes strips of about 8 KB
    std::optional<uint32_t> orientation = {};
    std::optional<TiffResolution> resolution = {};
    std::optional<uint32_t> extraSample = {}; // 1: associated alpha, 2: unassociated
};

size_t tiffRowBytes(const TiffImage& image); // of a row, or of one in a plane
// Bilevel pictures become white 0 and black 1, indexed ones get 4 or 8 bits.
TiffImage tiffImageOf(const Picture& picture);
TiffImage tiffInksOf(const Picture& picture); // cyan, magenta, yellow, black
TiffImage tiffLabOf(const Picture& picture);

// An empty result says that libtiff does not write such an image.
std::vector<uint8_t> encodeTiff(const TiffImage& image, const TiffOptions& options = {});
std::vector<uint8_t> encodeTiff(const Picture& picture, const TiffOptions& options = {});
