// Cloth drawn as yarns.
#pragma once

#include "commands.h"

// In thousandths of a dot per inch: the picture's resolution, or the one that the sett gives.
i32 knownResolution(u32 resolution, double perCentimetre);

// Of the size that is asked for, R, G, B a pixel. Throws Failure.
Pixels drawYarns(const RenderRequest& request, const Picture& picture);
