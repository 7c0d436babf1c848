#include "framework/bytes.h"

#include <cstdlib>

#include "framework/file.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

i32 decimalNumber(const u8* text, size_t length)
{
    char terminated[16]{};
    memcpy(terminated, text, std::min(length, sizeof terminated - 1));
    return atoi(terminated);
}

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
    if (__builtin_cpu_supports("avx2"))
        done =
            __builtin_cpu_supports("gfni") ? reverseBlocksByMatrix(data, size, flip) : reverseBlocks(data, size, flip);
#endif
    for (; done < size; done++)
        data[done] = reversed(data[done]) ^ flip;
}

void reverseNegateBytes(u8* data, int length, int negate)
{
    if (length > 0)
        reverseBits(data, static_cast<size_t>(length), negate != 0);
}

LoadStatus readStoredRows(FILE* stream, u32& rowsLeft, u8* rows, u32 count, u64 rowBytes, u64 bytesPerRow,
                          BitOrder order)
{
    // Turned in blocks that are still in the cache.
    constexpr u64 blockBytes = 1 << 18;
    const u64 rowsAtOnce = rowBytes == bytesPerRow ? std::max<u64>(1, blockBytes / std::max<u64>(1, rowBytes)) : 1;
    Buffer narrowRow;
    if (bytesPerRow < rowBytes && !narrowRow.allocate(rowBytes))
        return loadOutOfMemory;
    const u32 wanted = std::min(count, rowsLeft);
    if (wanted < count)
        order = BitOrder::asStored;
    const bool isNegated = order == BitOrder::reversedAndNegated;
    for (u64 row = 0; row < wanted; row += rowsAtOnce) {
        const u64 size = std::min(rowsAtOnce, wanted - row);
        u8* destination = rows + row * bytesPerRow;
        u8* stored = narrowRow.bytes != nullptr ? narrowRow.bytes : destination;
        const u64 arrived = fread(stored, 1, size * rowBytes, stream);
        if (stored != destination)
            deliverRow(destination, stored, arrived, bytesPerRow);
        if (arrived < size * rowBytes) {
            if (order != BitOrder::asStored)
                reverseBits(rows, row * bytesPerRow, isNegated); // back again
            return loadBadData;
        }
        if (order != BitOrder::asStored)
            reverseBits(destination, size * bytesPerRow, isNegated);
    }
    rowsLeft -= wanted;
    return wanted < count ? loadBadData : loadSuccess;
}
