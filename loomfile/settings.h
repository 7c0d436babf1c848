// How a file is opened: the caller's options with their defaults.
#pragma once

#include <optional>
#include <string>

#include "loomfile.h"

struct Settings {
    FormatId format = 0;
    bool libtloadOnly = false;
    bool bonasUnpadded = false;
    u32 jc4Module = 0;
    u64 mostPixels = u64{1} << 32;
    u64 mostBytes = u64{1} << 33;
    std::string tmpDir;
    // Without a value what is installed is taken; empty stands for none.
    std::optional<std::string> gzip, unzip, msExpand, vectorPreview, graphics;
};

Settings settingsOf(const LoomfileOptions* options);
