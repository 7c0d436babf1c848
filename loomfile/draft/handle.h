// What a caller in C holds of a draft.
#pragma once

#include "loomfile/draft/draft.h"

struct LoomfileDraft {
    Draft draft;
    std::string wif = {}; // once it was asked for
};
