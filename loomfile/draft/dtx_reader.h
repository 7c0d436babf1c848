// DTX files, which hand weavers keep beside WIF.
#pragma once

#include <string_view>

#include "loomfile/draft/draft_parts.h"

// Whether the text begins as such a file, or, when that is enough, has sections as it has.
bool beginsAsDtx(std::string_view text);
bool hasDtxSections(std::string_view text);
// Throws Refusal.
Draft readDtx(std::string_view text, Remarks& remarks);
