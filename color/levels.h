// Stretching the levels of samples, a channel after the other in every pixel.
#pragma once

#include "tload.h"

// The darkest and the brightest level of each channel.
struct Levels {
    u8 darkest[4];
    u8 brightest[4];
};

// Maps every sample of a channel so that its darkest level becomes 0 and its brightest 255, rounded down: no sample may
// lie outside the levels of its channel, and a channel has two levels at least. Channels are 3 or 4, rows do not
// overlap.
void stretchLevels(u8* samples, i64 stride, u64 rowBytes, u64 rows, u32 channels, const Levels& levels);
