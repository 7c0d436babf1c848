// Numbers at the end of a file that is being built.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

inline void addLittleEndian(std::vector<uint8_t>& bytes, uint32_t value, unsigned size)
{
    for (unsigned i = 0; i < size; ++i, value >>= 8)
        bytes.push_back(static_cast<uint8_t>(value));
}

inline void addBigEndian(std::vector<uint8_t>& bytes, uint32_t value, unsigned size)
{
    for (unsigned i = size; i-- > 0;)
        bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

inline void addText(std::vector<uint8_t>& bytes, std::string_view text)
{
    for (char c : text)
        bytes.push_back(static_cast<uint8_t>(c));
}

inline void addZeros(std::vector<uint8_t>& bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        bytes.push_back(0);
}

inline void addBytes(std::vector<uint8_t>& bytes, const std::vector<uint8_t>& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

// Bilevel rows with the leftmost pixel in a byte's lowest bit.
inline void addMirrored(std::vector<uint8_t>& bytes, const std::vector<uint8_t>& rows)
{
    for (uint8_t pixels : rows) {
        uint8_t mirrored = 0;
        for (unsigned i = 0; i < 8; ++i)
            if ((pixels >> (7 - i) & 1) != 0)
                mirrored |= static_cast<uint8_t>(1 << i);
        bytes.push_back(mirrored);
    }
}

// Looms count from the lowest bit of a byte, pictures from the highest.
inline uint8_t mirrored(uint8_t bits)
{
    uint8_t result = 0;
    for (unsigned i = 0; i < 8; ++i)
        result = static_cast<uint8_t>(result << 1 | (bits >> i & 1));
    return result;
}
