#pragma once

#include "samples/picture.h"

// An indexed picture of up to 256 colours; runs go on across the ends of rows. gap bytes stand before the pixels.
std::vector<uint8_t> encodeColorado(const Picture& picture, uint32_t gap = 0);
