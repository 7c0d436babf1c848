// Numbers and words in bytes, and the delivery of a row.
#pragma once

#include <algorithm>
#include <cstddef>
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

// As the C library has it everywhere.
inline bool isBlank(int c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

inline bool startsWith(const char* text, const char* beginning)
{
    return strncmp(text, beginning, strlen(beginning)) == 0;
}

// Copies as much of a row as the caller's stride has room for.
inline void deliverRow(u8* destination, const u8* row, u64 rowBytes, u64 bytesPerRow)
{
    const u64 size = std::min(rowBytes, bytesPerRow);
    if (size > 0)
        memcpy(destination, row, size);
}
