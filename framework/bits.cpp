#include "framework/bits.h"
#include "framework/processor.h"

#include <array>
#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Three exchanges of halves.
static u8 reversed(u8 bits)
{
    bits = static_cast<u8>(bits >> 4 | bits << 4);
    bits = static_cast<u8>((bits >> 2 & 0x33) | (bits & 0x33) << 2);
    return static_cast<u8>((bits >> 1 & 0x55) | (bits & 0x55) << 1);
}

#if defined(__x86_64__)
// Reverses as many whole blocks as there are and returns how many bytes that were. Each half of a byte is looked up
// reversed, for 32 bytes at once.
__attribute__((target("avx2"))) static size_t reverseBlocks(u8* data, size_t size, u8 flip)
{
    const __m256i lowToHigh = _mm256_broadcastsi128_si256(_mm_setr_epi8(
        0x00, -0x80, 0x40, -0x40, 0x20, -0x60, 0x60, -0x20, 0x10, -0x70, 0x50, -0x30, 0x30, -0x50, 0x70, -0x10));
    const __m256i highToLow =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15));
    const __m256i half = _mm256_set1_epi8(0x0F);
    const __m256i flips = _mm256_set1_epi8(static_cast<char>(flip));
    size_t done = 0;
    for (; done + sizeof(__m256i) <= size; done += sizeof(__m256i)) {
        auto* block = reinterpret_cast<__m256i*>(data + done);
        const __m256i bytes = _mm256_loadu_si256(block);
        const __m256i low = _mm256_and_si256(bytes, half);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half);
        const __m256i turned =
            _mm256_or_si256(_mm256_shuffle_epi8(lowToHigh, low), _mm256_shuffle_epi8(highToLow, high));
        _mm256_storeu_si256(block, _mm256_xor_si256(turned, flips));
    }
    return done;
}

// The same where the processor multiplies bit matrices: the mirror image is one product.
__attribute__((target("avx2,gfni"))) static size_t reverseBlocksByMatrix(u8* data, size_t size, u8 flip)
{
    const __m256i mirror = _mm256_set1_epi64x(static_cast<i64>(0x8040201008040201));
    const __m256i flips = _mm256_set1_epi8(static_cast<char>(flip));
    size_t done = 0;
    for (; done + sizeof(__m256i) <= size; done += sizeof(__m256i)) {
        auto* block = reinterpret_cast<__m256i*>(data + done);
        const __m256i turned = _mm256_gf2p8affine_epi64_epi8(_mm256_loadu_si256(block), mirror, 0);
        _mm256_storeu_si256(block, _mm256_xor_si256(turned, flips));
    }
    return done;
}
#endif

void reverseBits(u8* data, size_t size, bool negate)
{
    const u8 flip = negate ? 0xFF : 0;
    size_t done = 0;
#if defined(__x86_64__)
    if (processorHas(processorAvx2))
        done = processorHas(processorGfni) ? reverseBlocksByMatrix(data, size, flip) : reverseBlocks(data, size, flip);
#endif
    for (; done < size; done++)
        data[done] = reversed(data[done]) ^ flip;
}

void reverseNegateBytes(u8* data, int length, int negate)
{
    if (length > 0)
        reverseBits(data, static_cast<size_t>(length), negate != 0);
}

constexpr std::array<std::array<u8, 8>, 256> unpackedBits = [] {
    std::array<std::array<u8, 8>, 256> table{};
    for (u32 byte = 0; byte < 256; byte++) {
        for (u32 bit = 0; bit < 8; bit++)
            table[byte][bit] = byte >> (7 - bit) & 1;
    }
    return table;
}();

namespace
{

typedef u64 Words __attribute__((vector_size(16)));

// Goes on from byte i as long as whole words fit and returns where it stopped. What crosses from one byte of a word to
// the next is masked out and comes from the same word read one byte further on.
template <typename Word>
u64 shiftWords(u8* to, const u8* from, u64 i, u64 size, u32 bits)
{
    static_assert(std::endian::native == std::endian::little);
    const u64 upper = u64{0x0101010101010101} * (0xFFu << bits & 0xFFu);
    for (; i + sizeof(Word) <= size; i += sizeof(Word)) {
        Word word;
        Word following;
        memcpy(&word, from + i, sizeof word);
        memcpy(&following, from + i + 1, sizeof following);
        word = (word << bits & upper) | (following >> (8 - bits) & ~upper);
        memcpy(to + i, &word, sizeof word);
    }
    return i;
}

} // namespace

void unpackBits(u8* pixels, const u8* bits, u64 width)
{
    const u64 bytes = width / 8;
    for (u64 i = 0; i < bytes; i++)
        memcpy(pixels + 8 * i, unpackedBits[bits[i]].data(), 8);
    if (width % 8 != 0)
        memcpy(pixels + 8 * bytes, unpackedBits[bits[bytes]].data(), width % 8);
}

void shiftBits(u8* to, const u8* from, u64 size, u32 bits)
{
    u64 i = shiftWords<Words>(to, from, 0, size, bits);
    i = shiftWords<u64>(to, from, i, size, bits);
    for (; i < size; i++)
        to[i] = static_cast<u8>(from[i] << bits | from[i + 1] >> (8 - bits));
}
