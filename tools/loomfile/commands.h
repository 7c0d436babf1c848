// The subcommands. Each returns the exit code; what cannot be gone on with is thrown as Failure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "batch/batch.h"
#include "colour_words.h"
#include "picture.h"

// Numbers of a pair such as 800x600.
struct NumberPair {
    double x = 0;
    double y = 0;
};

// What is printed of files for other programs.
enum class Form { text, json, jsonLines, csv };

struct InfoRequest {
    BatchOptions batch;
    Form form = Form::text;
    std::vector<std::string> fields; // of the other forms; empty = all
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

struct ConvertRequest {
    BatchOptions batch;
    std::string target; // of the only input, "" = by the options of the batch
    bool stretch = false;
    std::string background; // "white", "checker" or empty: transparency stays
};

enum class Colouring { automatic, always, never };

struct PaletteRequest {
    BatchOptions batch;
    std::string gimpTarget; // empty: none is written, unless the batch tells
    Form form = Form::text;
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

struct DraftRequest {
    BatchOptions batch;
    std::string target;
    LoomfileDrawing drawing = loomfileDrawing();
};

struct ThumbnailRequest {
    BatchOptions batch;
    std::string target;
    u32 side = 256;           // of the square that it fits
    NumberPair sett = {0, 0}; // of files that do not tell; 0 = not given
};

// The page is the output of the batch.
struct SheetRequest {
    BatchOptions batch;
    bool isOneFile = false;
    std::string title;        // "" = the name of the folder
    NumberPair sett = {0, 0}; // of files that do not tell; 0 = not given
};

struct SeamRequest {
    BatchOptions batch;
    Form form = Form::text;
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
int convertPictures(const ConvertRequest& request, const OpenOptions& options);
int renderCloth(const RenderRequest& request, const OpenOptions& options);
int drawDrafts(const DraftRequest& request, const OpenOptions& options);
int makeSheet(const SheetRequest& request, const OpenOptions& options);
int makeThumbnails(const ThumbnailRequest& request, const OpenOptions& options);
int measureSeams(const SeamRequest& request, const OpenOptions& options);
int compareFiles(const CompareRequest& request, const OpenOptions& options);
int quantizePicture(const QuantizeRequest& request, const OpenOptions& options);
int showPalettes(const PaletteRequest& request, const OpenOptions& options);
