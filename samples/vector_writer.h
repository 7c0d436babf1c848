#pragma once

#include "samples/picture.h"

// Indexed pictures as rectangles of one colour, each pixel a unit of the format; text without any compression.
std::vector<uint8_t> encodeSvg(const Picture& picture);
std::vector<uint8_t> encodeEps(const Picture& picture);
std::vector<uint8_t> encodePdf(const Picture& picture);
