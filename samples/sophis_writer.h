#pragma once

#include "samples/picture.h"

// A weave or a card of a bilevel picture; width is at 66 and height at 70, in a card at 194 and 198.
std::vector<uint8_t> encodeSophisWeave(const Picture& picture);
std::vector<uint8_t> encodeSophisCard(const Picture& picture);
// An indexed picture whose rows start at rowsStart; what lies between its palette and them is free. With less than 2048
// the palette is cut. The start is at 89.
std::vector<uint8_t> encodeSophisImage(const Picture& picture, uint32_t rowsStart = 2048);
