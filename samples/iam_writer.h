#pragma once

#include "samples/picture.h"

// An indexed picture, up to 256 colours.
std::vector<uint8_t> encodeIamPat(const Picture& picture);
// A bilevel picture, of which each pixel takes four bytes.
std::vector<uint8_t> encodeIamBbi(const Picture& picture);
