#pragma once

#include "samples/picture.h"

struct Dobby1858Options {
    bool littleEndian = false; // the number of picks
};

// Bilevel pictures 40 ends wide. The trailer is the file's last 10 bytes: 5 free ones, 3 zeros, the number of picks.
std::vector<uint8_t> encodeDobby1858(const Picture& picture, const Dobby1858Options& options = {});
