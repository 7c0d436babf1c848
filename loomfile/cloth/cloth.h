// Cloth as it is seen: yarns near by, their mean colour from afar. Pure computation, without files and threads.
//
// A pixel lies in a tile between two ends and two picks (look.h) and is the mean of the tile's samples around it, as
// many as the pixel is wide. Farther away single yarns are not told apart any more: from mostSoft pixels an end on the
// four crossings of the tile melt into each other, from leastSoft on levels take over, of which each has half as many
// columns and rows as the one below it. A level's blocks are two pixels wide when it is the only one that is seen, and
// their means are weighted 1 : 3 : 3 : 1, so that no weave leaves a pattern that is not there.
#pragma once

#include <array>
#include <vector>

#include "loomfile/cloth/lanes.h"
#include "loomfile/cloth/light.h"
#include "loomfile/cloth/look.h"

// What a cloth is made of; it repeats without end.
struct ClothDesign {
    u32 ends = 0;
    u32 picks = 0;
    // A bit an end from the highest on, 1 = the warp is up, rows beginning on a byte. Empty: it is not known, and the
    // cloth is shown as a plain weave.
    std::vector<u8> weave;
    // R, G, B of each end and each pick, or of all of them. Not used when there are crossings.
    std::vector<u8> warp, weft;
    // The colour that is seen at each crossing: of a byte, a colour of the palette, or of three, R, G, B.
    std::vector<u8> crossings;
    u32 crossingBytes = 1;
    std::array<u8, 768> palette{};
    Thickness thickness;
    u64 mostBlocks = u64{1} << 26; // of a level; larger ones are left out
};

// Means of blocks of the cloth: roots of light (light.h), R, G, B and nothing.
struct Level {
    u32 number = 0; // the blocks are about 2 to the power of it wide
    u32 columns = 0;
    u32 rows = 0;
    std::vector<u8> roots;
};

struct Cloth {
    ClothDesign design;
    LightTables tables;
    Looks looks;
    std::vector<u32> sums; // of the looks' samples above and left of a place: lookSamples + 1 rows and columns a look
    std::vector<Weights> softWeights; // of melting crossings: of each row of a tile the looks, of each the columns
    std::vector<Light> warpLight, weftLight; // of each end and pick
    std::array<Light, 256> paletteLight;
    // The levels cover so many repeats that small ones can be halved often enough.
    u32 levelEnds = 0;
    u32 levelPicks = 0;
    std::vector<Level> levels;

    explicit Cloth(ClothDesign given);
};

// The tiles between a pick and the next one, as many as asked for.
struct TileRow {
    std::vector<u8> looks;
    std::vector<LightPair> ends; // of each tile, the left one and the right one
    std::vector<LightPair> picks;
    u32 pickStep = 0; // 0: one pair of picks for all tiles

    // All numbers are below those of the repeat; tiles beyond its last end follow from its first.
    void take(const Cloth& cloth, u32 pick, u32 firstEnd, u32 count);

private:
    // What is there from the last time.
    u32 takenFirst = 0;
    u32 takenCount = 0;
    u32 takenNext = UINT32_MAX;
    std::array<std::vector<u8>, 2> up; // of a pick and the next one: a byte a crossing, behind a few others
    std::array<std::vector<Light>, 2> seen;
    void takePick(const Cloth& cloth, u32 pick, u32 line);
    void pairThreads(const Cloth& cloth);
    void pairCrossings();
};

// Fills the levels.
void buildLevels(Cloth& cloth);

// The part of the cloth that is looked at.
struct ClothView {
    double left = 0; // the picture's corner, in ends and picks
    double top = 0;
    double pixelsAnEnd = 8;
    double pixelsAPick = 8;
    u32 width = 0;
};
constexpr double leastPixelsAThread = 1.0 / 4096;
constexpr double mostPixelsAThread = 256;
constexpr double mostSoft = 4; // pixels a thread
constexpr double leastSoft = 2;

// How much each way of seeing counts, of wholeShare.
constexpr u32 wholeShare = 256;
struct Shares {
    u32 yarns = 0;
    u32 soft = 0;      // crossings that melt into each other
    u32 fine = 0;      // a level
    u32 coarse = 0;    // the next one
    u32 fineLevel = 0; // counted in the cloth's levels
    u32 coarseLevel = 0;
};
Shares sharesOf(const Cloth& cloth, const ClothView& view);

// Draws rows of the view. bytesPerPixel 3: R, G, B; 4: with a byte of 255 behind them. plainLanes computes as
// processors without special instructions do.
void drawCloth(const Cloth& cloth, const ClothView& view, u32 firstRow, u32 count, u8* rows, u64 stride,
               u32 bytesPerPixel, bool plainLanes = false);
