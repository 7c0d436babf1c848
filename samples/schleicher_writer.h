#pragma once

#include "samples/picture.h"

struct SchleicherOptions {
    std::string name = "MOTIF"; // 8 characters are stored
    uint32_t block = 1;         // groups of 28 hooks that take turns, up to 99
    uint32_t extraBytes = 0;    // behind the hooks of each record, up to 99
    bool tellExtra = true;      // else three of them are told by a "Y"
};

// A bilevel picture as cards. The ends are spread over the hooks of whole bytes; in a last block that lacks hooks some
// have none and are lost.
std::vector<uint8_t> encodeSchleicher(const Picture& picture, const SchleicherOptions& options = {});
