// How large a thumbnail is: the picture's true proportions within a square.
#pragma once

#include "loomfile.h"

struct ThumbnailShape {
    u32 width;
    u32 height;
};

constexpr u32 usualThumbnailSide = 256;
constexpr u32 mostThumbnailSide = 4096;

// A sett that is not known is 0. Pixels of which too little is known are squares.
ThumbnailShape thumbnailShape(const LoomfileInfo& info, u32 side, double endsPerCm, double picksPerCm);
