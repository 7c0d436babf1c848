// How four yarns look that cross, drawn once: every magnification takes its means of these samples.
//
//       end       next end
//        |           |
//   -- A +-----------+ B --  pick         A tile lies between the middles of two ends and two picks. At each of its
//        |   tile    |                    corners the warp is up or not, which makes sixteen looks: bit 0 of a look's
//   -- C +-----------+ D --  next pick    number is A, bit 1 is B, bit 2 is C, bit 3 is D; 1 = the warp is up.
#pragma once

#include <array>
#include <vector>

#include "tload.h"

constexpr u32 lookCount = 16;
constexpr u32 tileSamples = 64;             // a side
constexpr u32 tileMargin = tileSamples / 4; // samples beyond each side, for means that begin in the tile
constexpr u32 lookSamples = tileSamples + 2 * tileMargin;
constexpr u32 fullWeight = 1 << 14;

// How much of a yarn's colour is seen; more than fullWeight where it gleams.
enum TileYarn : u32 { leftEnd, rightEnd, upperPick, lowerPick, tileYarns };
using Weights = std::array<u16, tileYarns>;

// How thick the yarns are, as shares of the room that an end or a pick has.
struct Thickness {
    double warp = 0.92;
    double weft = 0.92;
};

struct Looks {
    // From row 0 and column 0 on, lookSamples rows of as many samples for each look.
    std::vector<Weights> samples;
    // Means over the tile itself.
    std::array<Weights, lookCount> means;

    explicit Looks(const Thickness& thickness);
    const Weights& at(u32 look, u32 row, u32 column) const
    {
        return samples[(u64{look} * lookSamples + row) * lookSamples + column];
    }
};
