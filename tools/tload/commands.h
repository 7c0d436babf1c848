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

// Numbers of a pair such as 800x600.
struct NumberPair {
    double x = 0;
    double y = 0;
};

struct RenderRequest {
    std::string source;
    std::string target;
    u32 format = 0;
    double dotsPerInch = 96;
    double zoom = 1;
    NumberPair size = {800, 600}; // of the drawing, in display pixels
    NumberPair at = {0, 0};       // its first display pixel, counted from the corner of a repeat
    NumberPair sett = {24, 24};   // ends and picks per cm of pictures that do not tell
};

struct SeamRequest {
    std::string source;
    u32 format = 0;
    bool json = false;
};

struct QuantizeRequest {
    std::string source;
    std::string target;
    u32 format = 0;
    i32 colours = 256;
    i32 keep = 0;            // colours of the palette that weigh in
    std::string paletteFile; // empty = the palette of the picture
    i32 strength = -1;       // of the dithering, below 0 = none
    i32 noise = 0;
    std::string size; // empty = as it is
};

ExitCode listFormats(bool json);
ExitCode showInfo(const InfoRequest& request);
ExitCode convertPicture(const ConvertRequest& request);
ExitCode renderCloth(const RenderRequest& request);
ExitCode measureSeam(const SeamRequest& request);
ExitCode quantizePicture(const QuantizeRequest& request);
ExitCode showPalette(const PaletteRequest& request);
