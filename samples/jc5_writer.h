#pragma once

#include <string>

#include "samples/picture.h"

struct Jc5Descriptor {
    uint32_t type = 0;
    std::vector<uint8_t> payload = {};
};

struct Jc5Group {
    uint32_t hooks = 0;
    std::string name = {};
};

struct Jc5Options {
    uint8_t majorVersion = 1;
    uint8_t minorVersion = 0;
    std::string name = {};                // no descriptor when empty
    std::vector<Jc5Group> groups = {};    // as wide as the picture together; none: one group of all hooks
    std::vector<uint32_t> layout = {};    // stored when there is one; parts of a set need 0x10000 to 0x1FFFF
    uint32_t firstPick = 0;               // a part holds some of the picks but tells the height of the whole design
    uint32_t pickCount = 0xFFFFFFFF;      // as far as there are any
    bool fillGroups = false;              // sets the bits that fill a group up to whole bytes
    std::vector<Jc5Descriptor> more = {}; // behind the other descriptors of the design
    std::vector<Jc5Descriptor> moreBeforeGroups = {};
};

// The options must fit the picture, which is bilevel; an empty result says that they do not.
std::vector<uint8_t> encodeJc5(const Picture& picture, const Jc5Options& options = {});
// The same, compressed.
std::vector<uint8_t> encodeZc5(const Picture& picture, const Jc5Options& options = {});
