// The subcommands. Each returns the exit code; what goes wrong with a file is thrown as Failure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "colour_words.h"
#include "picture.h"

// Numbers of a pair such as 800x600.
struct NumberPair {
    double x = 0;
    double y = 0;
};

struct InfoRequest {
    std::vector<std::string> files;
    bool json = false;
    bool isVerbose = false;
    bool weave = false;
    double length = 0; // of the cloth, in cm; 0 = the yarn is not asked for
    double width = 0;
    double takeUp = 8;        // percent by which yarn is longer than the cloth
    NumberPair sett = {0, 0}; // of files that do not tell; 0 = not given
};

struct FormatsRequest {
    bool json = false;
    bool isVerbose = false;
};

// What becomes a picture or a draft.
struct PictureRequest {
    std::string source;
    std::string target;
    bool mayReplace = false;
};

struct ConvertRequest : PictureRequest {
    bool stretch = false;
    std::string background; // "white", "checker" or empty: transparency stays
};

enum class Colouring { automatic, always, never };

struct PaletteRequest {
    std::string source;
    std::string gimpTarget; // empty: none is written
    bool mayReplace = false;
    bool json = false;
    Colouring colouring = Colouring::automatic;
};

struct RenderRequest : PictureRequest {
    double dotsPerInch = 96;
    double zoom = 1;
    NumberPair size = {800, 600}; // of the drawing, in display pixels
    NumberPair at = {0, 0};       // its first display pixel, counted from the corner of a repeat
    NumberPair sett = {24, 24};   // ends and picks per cm of pictures that do not tell
    bool yarn = false;
    std::optional<Rgb> warp, weft; // of yarns
};

struct DraftRequest : PictureRequest {
    LoomfileDrawing drawing = loomfileDrawing();
};

struct ThumbnailRequest : PictureRequest {
    u32 side = 256;           // of the square that it fits
    NumberPair sett = {0, 0}; // of files that do not tell; 0 = not given
};

struct SeamRequest {
    std::string source;
    bool json = false;
};

// The target is the picture of the differences, empty = none.
struct CompareRequest : PictureRequest {
    std::string other;
};

struct QuantizeRequest : PictureRequest {
    i32 colours = 256;
    i32 keep = 0;            // colours of the palette that weigh in
    std::string paletteFile; // empty = none is given
    i32 strength = -1;       // of the dithering, below 0 = none
    i32 noise = 0;
    NumberPair size; // 0 = as it is
};

ExitCode listFormats(const FormatsRequest& request);
int showInfo(const InfoRequest& request, const OpenOptions& options);
ExitCode convertPicture(const ConvertRequest& request, const OpenOptions& options);
ExitCode renderCloth(const RenderRequest& request, const OpenOptions& options);
ExitCode drawDraft(const DraftRequest& request, const OpenOptions& options);
ExitCode makeThumbnail(const ThumbnailRequest& request, const OpenOptions& options);
ExitCode measureSeam(const SeamRequest& request, const OpenOptions& options);
ExitCode compareFiles(const CompareRequest& request, const OpenOptions& options);
ExitCode quantizePicture(const QuantizeRequest& request, const OpenOptions& options);
ExitCode showPalette(const PaletteRequest& request, const OpenOptions& options);
