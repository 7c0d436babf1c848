#pragma once

#include "samples/picture.h"

struct ZipMember {
    std::string name; // with "/" at the end for a folder
    std::vector<uint8_t> bytes = {};
    uint32_t mode = 0100644; // type and rights as stat() tells them; a link's bytes are its target
};

// An archive of members that are stored as they are.
std::vector<uint8_t> encodeZip(const std::vector<ZipMember>& members);
