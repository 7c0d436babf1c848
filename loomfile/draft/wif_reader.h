// Weaving Information Files as weavers mean them.
#pragma once

#include <string_view>

#include "loomfile/draft/draft_parts.h"

// Whether the text begins as such a file, or, when that is enough, has sections as it has.
bool beginsAsWif(std::string_view content);
bool hasWifSections(std::string_view content);
// Throws Refusal.
Draft readWif(std::string_view content, Remarks& remarks);
