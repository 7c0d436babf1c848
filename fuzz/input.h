// Takes the bytes of a fuzzer's input apart; what is missing counts as 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "tload.h"

struct Input {
    const u8* data;
    size_t left;
};

inline u8 takeByte(Input& input)
{
    if (input.left == 0)
        return 0;
    input.left--;
    return *input.data++;
}

inline i32 takeNumber(Input& input, i32 least, i32 most)
{
    const u32 value = takeByte(input) | static_cast<u32>(takeByte(input)) << 8;
    return least + static_cast<i32>(value % static_cast<u32>(most - least + 1));
}

inline std::vector<u8> takeBytes(Input& input, size_t size)
{
    std::vector<u8> bytes(size);
    const size_t there = std::min(size, input.left);
    std::copy_n(input.data, there, bytes.begin());
    input.data += there;
    input.left -= there;
    return bytes;
}

// Up to a zero byte or the end.
inline std::string takeText(Input& input)
{
    std::string text;
    while (u8 byte = takeByte(input))
        text.push_back(static_cast<char>(byte));
    return text;
}
