// Drafts as WIF 1.1 texts.
#pragma once

#include <string>

#include "loomfile/draft/draft.h"

constexpr u32 mostWrittenShafts = 256;

// Every reader draws the same of it, also one that knows rising sheds, two shafts an end and one treadle a pick only,
// and threads straight what the file does not name. Throws Refusal when the draft has more shafts than 256.
std::string wifOf(const Draft& draft);
