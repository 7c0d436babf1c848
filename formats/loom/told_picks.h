// Which picks of a program its blocks tell. Each block says where its picks begin, so that some may be told twice and
// others not at all.
#pragma once

#include <bit>

#include "framework/loader.h"
#include "framework/reason.h"

constexpr u32 mostPicksOfBlock = 32;

struct ToldPicks {
    u64 words[mostSide / 64 + 2] = {};
};

inline void addBlock(ToldPicks& told, u32 first, u32 count)
{
    const u64 picks = (u64{1} << count) - 1;
    const u32 shift = first % 64;
    told.words[first / 64] |= picks << shift;
    if (shift + count > 64)
        told.words[first / 64 + 1] |= picks >> (64 - shift);
}

inline void remarkUntoldPicks(const ToldPicks& told, u32 picks)
{
    u64 count = picks;
    for (u32 i = 0; i <= picks / 64; i++)
        count -= static_cast<u32>(std::popcount(told.words[i]));
    remarkCount(Gravity::grave, count, "picks are in no block of the file and stay clear");
}
