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
};

ExitCode listFormats(bool json);
ExitCode showInfo(const InfoRequest& request);
ExitCode convertPicture(const ConvertRequest& request);
