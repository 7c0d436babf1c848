// Numbers in bytes, bit order, and the delivery of rows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "tload.h"

inline u32 littleEndian16(const u8* bytes)
{
    return bytes[0] | static_cast<u32>(bytes[1]) << 8;
}

inline u32 littleEndian32(const u8* bytes)
{
    return littleEndian16(bytes) | littleEndian16(bytes + 2) << 16;
}

inline u32 bigEndian16(const u8* bytes)
{
    return static_cast<u32>(bytes[0]) << 8 | bytes[1];
}

inline u32 bigEndian32(const u8* bytes)
{
    return bigEndian16(bytes) << 16 | bigEndian16(bytes + 2);
}

// A number in up to 15 characters of text, as far as it goes; 0 without any.
i32 decimalNumber(const u8* text, size_t length);

inline bool isDigit(int c)
{
    return c >= '0' && c <= '9';
}

// Reverses the bits of every byte, and complements them if asked.
void reverseBits(u8* data, size_t size, bool negate);

// Loom files keep the leftmost end in a byte's lowest bit, card files a lift as a clear bit.
enum class BitOrder { asStored, reversed, reversedAndNegated };

// Reads count rows, as far as rowsLeft goes, as they are stored and turns the bits of rows x bytesPerRow, what lies
// behind a row included. 7 when the data end early or the picture has no more rows: then the rows hold what could be
// read as it is stored, and nothing is turned. 2 when a row that is longer than bytesPerRow finds no memory.
LoadStatus readStoredRows(FILE* stream, u32& rowsLeft, u8* rows, u32 count, u64 rowBytes, u64 bytesPerRow,
                          BitOrder order);

// Copies as much of a row as the caller's stride has room for.
inline void deliverRow(u8* destination, const u8* row, u64 rowBytes, u64 bytesPerRow)
{
    const u64 size = std::min(rowBytes, bytesPerRow);
    if (size > 0)
        memcpy(destination, row, size);
}
