// A draft that is found out from a picture of lifts.
#pragma once

#include <functional>

#include "loomfile/draft/draft.h"

constexpr u32 mostExtractedShafts = 256; // and treadles

// Writes the next rows of the picture one behind the other, a bit an end, 1 = up.
using RowReader = std::function<void(u8* rows, u32 count)>;

// Different columns become shafts, different rows treadles; where those would be too many, there is a lift plan. The
// rows are taken band by band. Throws Refusal when the picture has more different columns than a draft has shafts.
Draft extractDraft(u32 width, u32 height, const RowReader& readNext);
