#pragma once

#include "samples/picture.h"

// Bilevel pictures of a multiple of 8 pixels, from 32 on: less leaves no room for the header.
std::vector<uint8_t> encodeQte(const Picture& picture);
// A bilevel picture that starts at bit offset (0..7) of rows of rowBytes; the bits around it are set. 0: as many bytes
// as it needs.
std::vector<uint8_t> encodeQteMotif(const Picture& picture, uint32_t offset, uint32_t rowBytes = 0);
// An archive that holds the QTE file under a name.
std::vector<uint8_t> encodeQtz(const Picture& picture, const std::string& member);
