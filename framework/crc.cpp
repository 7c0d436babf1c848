// The CRC-16 of the polynomial x^16 + x^12 + x^5 + 1, lowest bit first.
#include <array>
#include <cstring>

#include "framework/processor.h"
#include "tload.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

constexpr u32 reflectedPolynomial = 0x8408;
constexpr size_t sliceCount = 8;

using Slices = std::array<std::array<u16, 256>, sliceCount>;

// Slice i has for every byte what becomes of it when i zero bytes follow.
static constexpr Slices makeSlices()
{
    Slices slices{};
    for (u32 byte = 0; byte < 256; byte++) {
        u32 crc = byte;
        for (int bit = 0; bit < 8; bit++)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? reflectedPolynomial : 0);
        slices[0][byte] = static_cast<u16>(crc);
    }
    for (size_t i = 1; i < sliceCount; i++) {
        for (u32 byte = 0; byte < 256; byte++) {
            const u32 crc = slices[i - 1][byte];
            slices[i][byte] = static_cast<u16>(crc >> 8 ^ slices[0][crc & 0xFF]);
        }
    }
    return slices;
}

static constexpr Slices slices = makeSlices();

static u32 crcByTable(u32 crc, const u8* bytes, size_t size)
{
    for (; size >= sliceCount; size -= sliceCount, bytes += sliceCount) {
        crc = slices[7][(crc & 0xFF) ^ bytes[0]] ^ slices[6][crc >> 8 ^ bytes[1]] ^ slices[5][bytes[2]] ^
              slices[4][bytes[3]] ^ slices[3][bytes[4]] ^ slices[2][bytes[5]] ^ slices[1][bytes[6]] ^
              slices[0][bytes[7]];
    }
    for (; size > 0; size--, bytes++)
        crc = crc >> 8 ^ slices[0][(crc & 0xFF) ^ *bytes];
    return crc;
}

#if defined(__x86_64__)
// The remainder of x^exponent as a factor of carry-less products of 64 bits, lowest bit first. Such a product comes out
// one power of x too high, which the factor makes good.
static constexpr i64 factorOf(int exponent)
{
    u32 remainder = 0x8000; // x^0
    for (int i = 1; i < exponent; i++)
        remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? reflectedPolynomial : 0);
    return static_cast<i64>(u64{remainder} << 48);
}

constexpr size_t blockBytes = sizeof(__m128i);
constexpr size_t laneCount = 4;
constexpr size_t strideBytes = laneCount * blockBytes;
constexpr int strideBits = 8 * strideBytes;
constexpr int blockBits = 8 * blockBytes;

// The remainder of a block does not change when it is moved to the block that follows and added to that.
__attribute__((target("pclmul"))) static inline __m128i moved(__m128i block, __m128i factors, __m128i following)
{
    const __m128i early = _mm_clmulepi64_si128(block, factors, 0x00);
    const __m128i late = _mm_clmulepi64_si128(block, factors, 0x11);
    return _mm_xor_si128(_mm_xor_si128(early, late), following);
}

__attribute__((target("pclmul"))) static u32 crcByProducts(u32 crc, const u8* bytes, size_t size)
{
    const __m128i overStride = _mm_set_epi64x(factorOf(strideBits), factorOf(strideBits + 64));
    const __m128i overBlock = _mm_set_epi64x(factorOf(blockBits), factorOf(blockBits + 64));
    const u8* end = bytes + size;
    __m128i lanes[laneCount];
    memcpy(lanes, bytes, sizeof lanes);
    lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(crc)));
    for (bytes += strideBytes; static_cast<size_t>(end - bytes) >= strideBytes; bytes += strideBytes) {
        for (size_t i = 0; i < laneCount; i++) {
            __m128i following;
            memcpy(&following, bytes + i * blockBytes, blockBytes);
            lanes[i] = moved(lanes[i], overStride, following);
        }
    }
    for (size_t i = 1; i < laneCount; i++)
        lanes[i] = moved(lanes[i - 1], overBlock, lanes[i]);
    u8 last[blockBytes];
    memcpy(last, &lanes[laneCount - 1], sizeof last);
    return crcByTable(crcByTable(0, last, sizeof last), bytes, static_cast<size_t>(end - bytes));
}
#endif

u32 crcUWF(u32 crc, const void* data, int length)
{
    if (length < 1)
        return crc;
    const auto* bytes = static_cast<const u8*>(data);
    const auto size = static_cast<size_t>(length);
    crc &= 0xFFFF;
#if defined(__x86_64__)
    if (size >= strideBytes && processorHas(processorPclmul))
        return crcByProducts(crc, bytes, size);
#endif
    return crcByTable(crc, bytes, size);
}
