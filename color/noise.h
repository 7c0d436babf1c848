// Random offsets for channels, drawn once a picture and walked through from a random place in every row.
#pragma once

#include "tload.h"

struct Noise {
    static constexpr u32 count = 32768;
    signed char offsets[count];
};

constexpr i32 mostNoise = 100;

// -amount to amount
void drawNoise(Noise& noise, i32 amount);

inline int offsetAt(const Noise& noise, u32 place)
{
    return noise.offsets[place % Noise::count];
}
