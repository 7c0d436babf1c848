// Weaving Information Files as weavers mean them.
#pragma once

#include <string_view>

#include "loomfile/draft/draft_parts.h"

// Whether the text begins as such a file, or, when that is enough, has sections as it has.
bool beginsAsWif(std::string_view text);
bool hasWifSections(std::string_view text);
// Throws Refusal.
Draft readWif(std::string_view text, Remarks& remarks);
