// The subcommands. Each returns the exit code; what goes wrong with a file is thrown as Failure.
#pragma once

#include <string>
#include <vector>

#include "host.h"

struct InfoRequest {
    std::vector<std::string> files;
    u32 format = 0; // 0 = detect it
    bool json = false;
};

struct ConvertRequest {
    std::string source;
    std::string target;
    u32 format = 0;
    bool stretch = false;
    std::string background; // "white", "checker" or empty: transparency stays
};

struct PaletteRequest {
    std::string source;
    std::string gimpTarget; // empty: none is written
    u32 format = 0;
    bool json = false;
};

ExitCode listFormats(bool json);
ExitCode showInfo(const InfoRequest& request);
ExitCode convertPicture(const ConvertRequest& request);
ExitCode showPalette(const PaletteRequest& request);
