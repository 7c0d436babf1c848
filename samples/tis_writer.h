#pragma once

#include "samples/picture.h"

// The header sNAME.p of a bilevel picture and its part dNAME.s01 and so on. The fields of the header that readers take
// no notice of are zeros.
std::vector<uint8_t> encodeTisHeader(const Picture& picture, uint32_t parts = 1);
// The first block of a part is set bits.
std::vector<uint8_t> encodeTisPart(const Picture& picture, uint32_t firstPick = 0, uint32_t picks = 0xFFFFFFFF);
