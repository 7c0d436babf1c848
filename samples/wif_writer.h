#pragma once

#include <string>

#include "samples/picture.h"

// A draft for shafts; all numbers count from 1. Sections that are empty are not written.
struct WifDraft {
    uint32_t ends = 0, picks = 0, shafts = 0, treadles = 0;
    std::vector<std::vector<uint32_t>> threading = {}; // the shafts of each end; none = the end has no line
    std::vector<std::vector<uint32_t>> tieup = {};     // the shafts of each treadle
    std::vector<uint32_t> treadling = {};              // the treadle of each pick; 0 = the pick has no line
    std::vector<std::vector<uint32_t>> liftplan = {};  // the shafts of each pick
};

struct WifOptions {
    std::string lineEnd = "\n";
    std::string yes = "yes";     // how [CONTENTS] says that a section is there
    bool blankLines = true;      // before each section
    bool numbersFirst = false;   // threading and the like before the sizes
    bool declareContents = true; // else [CONTENTS] is left out
};

std::vector<uint8_t> encodeWif(const WifDraft& draft, const WifOptions& options = {});

// An ornamental twill of diamonds on 24 shafts.
WifDraft motifDraft();
// The same cloth for a loom without treadles.
WifDraft withLiftplan(const WifDraft& draft);
// A bilevel picture as a lift plan, each end on a shaft of its own.
WifDraft draftOfPicture(const Picture& picture);
