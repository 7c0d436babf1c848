// The bits of rows: their order in a byte, their way to pixels.
#pragma once

#include <array>
#include <cstddef>

#include "tload.h"

// Reverses the bits of every byte, and complements them if asked.
void reverseBits(u8* data, size_t size, bool negate);

// Loom files keep the leftmost end in a byte's lowest bit, card files a lift as a clear bit.
enum class BitOrder { asStored, reversed, reversedAndNegated };

// A byte of 0 or 1 for each bit of a byte, the highest first.
extern const std::array<std::array<u8, 8>, 256> unpackedBits;

// A byte of 0 or 1 for each of width bits, the highest of a byte first.
void unpackBits(u8* pixels, const u8* bits, u64 width);

// Moves the bits of a row up by 1 to 7. There is one byte more to read than to write; both may be the same row.
void shiftBits(u8* to, const u8* from, u64 size, u32 bits);
