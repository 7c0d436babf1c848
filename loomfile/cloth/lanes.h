// Sums of four products at once: one way for every processor, and one for those that have instructions for it. Both
// give the same numbers.
#pragma once

#include <array>
#include <cstring>

#include "loomfile/cloth/light.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Two colours with their channels side by side, R R G G B B 0 0.
using LightPair = std::array<i16, 8>;

struct PlainLanes {
    using Sums = std::array<i32, 4>;

    static Sums none() { return {}; }
    static Sums add(Sums a, Sums b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2], a[3] + b[3]}; }

    // Of a pair, each colour with its weight.
    static Sums mix(const i16* pair, const u16* weights)
    {
        Sums sums;
        for (u32 i = 0; i < 4; i++)
            sums[i] = pair[2 * i] * weights[0] + pair[2 * i + 1] * weights[1];
        return sums;
    }
    // Of two pairs with the first two and the last two weights.
    static Sums mixFour(const i16* first, const i16* second, const u16* weights)
    {
        return add(mix(first, weights), mix(second, weights + 2));
    }
    // Of two colours that follow each other, R G B 0 R G B 0.
    static Sums mixNeighbours(const i16* colours, const u16* weights)
    {
        Sums sums;
        for (u32 i = 0; i < 4; i++)
            sums[i] = colours[i] * weights[0] + colours[i + 4] * weights[1];
        return sums;
    }
    // The sums without their lowest bits, 16 bits each from the lowest on.
    template <int bits>
    static u64 shifted(Sums sums)
    {
        u64 word = 0;
        for (u32 i = 0; i < 4; i++)
            word |= static_cast<u64>(sums[i] >> bits) << 16 * i;
        return word;
    }
    // The light of two roots, weighted with parts of 256.
    static constexpr u32 rootsAtOnce = 1;
    static void mixRoots(const u8* upper, const u8* lower, const u16* weights, i16* mixed)
    {
        *mixed = static_cast<i16>((lightPerByte(*upper) * weights[0] + lightPerByte(*lower) * weights[1]) >> 8);
    }
};

#if defined(__SSE2__)
struct SseLanes {
    using Sums = __m128i;

    static Sums none() { return _mm_setzero_si128(); }
    static Sums add(Sums a, Sums b) { return _mm_add_epi32(a, b); }

    static Sums load(const void* bytes) { return _mm_loadu_si128(static_cast<const __m128i*>(bytes)); }
    static Sums both(const u16* weights)
    {
        i32 word;
        memcpy(&word, weights, sizeof word);
        return _mm_set1_epi32(word);
    }
    static Sums mixFour(const i16* first, const i16* second, const u16* weights)
    {
        const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights));
        return add(_mm_madd_epi16(load(first), _mm_shuffle_epi32(four, 0x00)),
                   _mm_madd_epi16(load(second), _mm_shuffle_epi32(four, 0x55)));
    }
    static Sums mixNeighbours(const i16* colours, const u16* weights)
    {
        const __m128i two = load(colours);
        return _mm_madd_epi16(_mm_unpacklo_epi16(two, _mm_unpackhi_epi64(two, two)), both(weights));
    }
    template <int bits>
    static u64 shifted(Sums sums)
    {
        const __m128i words = _mm_packs_epi32(_mm_srli_epi32(sums, bits), _mm_setzero_si128());
        u64 word;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(&word), words);
        return word;
    }
    static constexpr u32 rootsAtOnce = 8;
    static void mixRoots(const u8* upper, const u8* lower, const u16* weights, i16* mixed)
    {
        const __m128i zero = _mm_setzero_si128();
        auto light = [zero](const u8* roots) {
            const __m128i words = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(roots)), zero);
            return _mm_srli_epi16(_mm_mullo_epi16(words, words), 1);
        };
        const __m128i above = light(upper), below = light(lower), shares = both(weights);
        const __m128i first = _mm_srli_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(above, below), shares), 8);
        const __m128i second = _mm_srli_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(above, below), shares), 8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(mixed), _mm_packs_epi32(first, second));
    }
};
using FastLanes = SseLanes;
#else
using FastLanes = PlainLanes;
#endif
