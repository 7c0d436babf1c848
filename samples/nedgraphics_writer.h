#pragma once

#include "samples/picture.h"

// An indexed picture. Resolution is a code: 55 is 50 dots per inch each way, 1208 is 120 and 80.
std::vector<uint8_t> encodeNedgraphics(const Picture& picture, uint32_t resolution = 0);
