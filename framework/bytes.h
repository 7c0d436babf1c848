// Numbers in bytes, and the delivery of rows.
#pragma once

#include <algorithm>
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

// Copies as much of a row as the caller's stride has room for.
inline void deliverRow(u8* destination, const u8* row, u64 rowBytes, u64 bytesPerRow)
{
    memcpy(destination, row, std::min(rowBytes, bytesPerRow));
}
