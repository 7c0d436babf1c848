// Runs the three calls of the library for the subcommands.
#pragma once

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tload.h"
#include "work_folder.h"

// The first six are the library's own status numbers.
enum ExitCode {
    exitSuccess = 0,
    exitOutOfMemory = loadOutOfMemory,
    exitCannotRead = loadCannotRead,
    exitDecoderError = loadDecoderError,
    exitUnsupportedVariant = loadUnsupportedVariant,
    exitWrongFormat = loadWrongFormat,
    exitBadData = loadBadData,
    exitNotAnImage = 10,
    exitNameTooShort = 11,
    exitCannotWrite = 12,
    exitUsage = 64
};

// What is thrown when a file cannot be dealt with. The reason is the rest of the sentence that begins with the file's
// name.
struct Failure {
    ExitCode exitCode;
    std::string file;
    std::string reason;
};

// Print a sentence on standard error.
void printFailure(const Failure& failure);
void printComplaint(const struct Picture& picture);
// "(No such file or directory)" for an error number
std::string systemReason(int errorNumber);

// Texts that are empty stay unset in the library.
struct LoaderSettings {
    std::string tmpDir;
    std::string gzipCommand;
    std::string unzipCommand;
    std::string msExpandCommand;
    std::string vectorPreviewCommand;
    u32 bonasLinePadding = 1;
    u32 mappingJC4 = 0;
};

// What is installed on this computer.
LoaderSettings installedSettings();
// For the calling thread, which is then the one to open pictures.
void applySettings(const LoaderSettings& settings);

// A picture that is open in the library from construction to destruction; a thread has one at a time.
struct Picture {
    std::string file;
    WorkFolder work;              // made when another program is needed
    std::vector<char> loaderPath; // the loader's to write into
    FormatId format = 0;
    FormatId refusedBy = 0; // that the file was detected as, when another took it; else 0
    u32 kind = kindBilevel;
    u32 width = 0;
    u32 height = 0;
    u32 resX = 0;
    u32 resY = 0;
    u32 mulX = 1;
    u32 mulY = 1;
    u8 palette[768];
    u32 paletteColours = 0; // up to the last one that the file sets, those behind it are black
    std::string description;
    u8 orientationFlag = 0;
    u32 firstPart = 1;
    std::string firstPartFile; // where the loader began, when that is another part of the design than file; else empty
    std::string complaint;     // what a decoder remarked on the file, though it went on; else empty
    bool complaintIsAboutRows = false; // more than an unusual header, then

    // Throws Failure. forcedFormat 0 detects the format.
    Picture(const std::string& path, u32 forcedFormat);
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture();
};

struct FreeMemory {
    void operator()(u8* memory) const { free(memory); }
};
using Pixels = std::unique_ptr<u8, FreeMemory>;

// Throw Failure.
u64 rowBytes(const Picture& picture);
Pixels loadPixels(Picture& picture);
// One pixel; rgb may begin where rgba does or before it.
void layOnWhite(const u8* rgba, u8* rgb);

// "640 x 480"
std::string sizeText(const Picture& picture);
// Whether the file is a palette, which the library shows as a picture of its colours.
bool isPalette(const Picture& picture);
// 0 for true colour
u32 colourCount(const Picture& picture);
// "256 colours", "true colour", ...
std::string colourText(const Picture& picture);
