// Numbers at the end of a file that is being built.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

inline void addLittleEndian(std::vector<uint8_t>& bytes, uint32_t value, unsigned size)
{
    for (unsigned i = 0; i < size; ++i)
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline void addBigEndian(std::vector<uint8_t>& bytes, uint32_t value, unsigned size)
{
    for (unsigned i = size; i-- > 0;)
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline void addText(std::vector<uint8_t>& bytes, std::string_view text)
{
    bytes.insert(bytes.end(), text.begin(), text.end());
}

// Looms count from the lowest bit of a byte, pictures from the highest.
inline uint8_t mirrored(uint8_t bits)
{
    uint8_t result = 0;
    for (unsigned i = 0; i < 8; ++i)
        result = static_cast<uint8_t>(result << 1 | (bits >> i & 1));
    return result;
}
