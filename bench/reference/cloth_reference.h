// Cloth drawn pixel by pixel, each for itself, as its look is defined.
#pragma once

#include "loomfile/cloth/cloth.h"

void plainCloth(const Cloth& cloth, const ClothView& view, u32 firstRow, u32 count, u8* rows, u64 stride,
                u32 bytesPerPixel);
