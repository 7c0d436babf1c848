// Amounts of light: colours of pictures are told in steps that look alike, means are taken of the light itself.
#pragma once

#include <array>
#include <vector>

#include "tload.h"

// White, as light: the largest square of a byte, halved. A byte in between keeps its light as the root of it.
constexpr i32 whiteLight = 255 * 255 / 2;
constexpr u32 lightPerByte(u32 root)
{
    return root * root / 2;
}

// As instructions for products take them.
using i16 = int16_t;

// Of what a byte of a picture tells, 0 to 1.
double lightOfShare(double share);

// R, G, B and nothing.
using Light = std::array<i16, 4>;

struct LightTables {
    std::array<i16, 256> lightOf; // of a byte of a picture
    std::array<u8, 65536> rootOf; // of an amount of light of up to twice white, as it is kept
    std::vector<u8> byteOf;       // of an amount of light in quarters; what is brighter than white is white

    LightTables();
    Light of(const u8* rgb) const { return {lightOf[rgb[0]], lightOf[rgb[1]], lightOf[rgb[2]], 0}; }
};
