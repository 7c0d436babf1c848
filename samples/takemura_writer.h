#pragma once

#include "samples/picture.h"

// Bilevel pictures for jacquard controllers. An empty result says that the format has no such size.
std::vector<uint8_t> encodeTakemuraDat(const Picture& picture);
// 120 pixels wide or more; rows are filled up with set bits to rowBytes.
std::vector<uint8_t> encodeTakemuraCgs(const Picture& picture, uint32_t rowBytes);
// 128 pixels wide.
std::vector<uint8_t> encodeTsudakomaDp5(const Picture& picture);
// 40 pixels wide.
std::vector<uint8_t> encodeActWjl(const Picture& picture);
