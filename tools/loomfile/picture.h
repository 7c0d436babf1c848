// Open files, as the subcommands see them.
#pragma once

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "loomfile.h"

// Most are the library's own status numbers.
enum ExitCode {
    exitSuccess = 0,
    exitDiffers = 1, // of two files that were compared
    exitOutOfMemory = loadOutOfMemory,
    exitCannotRead = loadCannotRead,
    exitUnsupportedVariant = loadUnsupportedVariant,
    exitBadData = loadBadData,
    exitNotAsMeant = 8, // made, but not all that the file means
    exitCannotWrite = loomfileCannotWrite,
    exitUsage = 64
};

// What is thrown when a file cannot be dealt with. The reason is the rest of the sentence that begins with the file's
// name.
struct Failure {
    int exitCode;
    std::string file;
    std::string reason;
    int signal = 0;      // that ended a helper program
    FormatId format = 0; // the file was taken for, when that is known
};

// The words that stand for standard input and standard output.
constexpr const char* standardStream = "-";

// Texts that are empty, and commands that are not given, are the library's defaults.
struct OpenOptions {
    FormatId format = 0;
    bool libtloadOnly = false;
    std::string name; // of what comes from standard input
    std::string tmpDir;
    std::optional<std::string> gzip;
    std::optional<std::string> unzip;
    std::optional<std::string> msExpand;
    std::optional<std::string> vectorPreview;
    std::optional<std::string> graphics;
    u32 bonasLinePadding = 1;
    u32 jc4Module = 0;
};

struct CloseFile {
    void operator()(Loomfile* file) const { loomfileClose(file); }
};

struct CloseDraft {
    void operator()(LoomfileDraft* draft) const { loomfileCloseDraft(draft); }
};
using DraftHandle = std::unique_ptr<LoomfileDraft, CloseDraft>;

struct FreeMemory {
    void operator()(u8* memory) const { free(memory); }
};
using Pixels = std::unique_ptr<u8, FreeMemory>;

struct Remark {
    std::string text;
    bool isGrave;
};

// A picture that is open, and what is made of it: what changes its pixels changes its info.
struct Picture {
    std::string source; // as the user has named it
    std::string file;   // as sentences call it
    std::unique_ptr<Loomfile, CloseFile> handle;
    LoomfileInfo info;

    // Throws Failure.
    Picture(const std::string& source, const OpenOptions& options);
};

// The draft of the picture, also one that is found out from it. Throws Failure.
DraftHandle openDraft(const Picture& picture);
// The draft of a file that is one; null for others. Throws Failure.
DraftHandle writtenDraft(const Picture& picture);

// Throws Failure.
Pixels loadPixels(Picture& picture);
// One pixel; rgb may begin where rgba does or before it.
void layOnWhite(const u8* rgba, u8* rgb);

std::vector<Remark> remarksOf(const Picture& picture);
std::vector<FormatId> candidatesOf(const Picture& picture);
std::string colourNameOf(const Picture& picture, u32 index);

// What is made of the picture sizes that functions of the library count in 32 bits. Throws Failure.
void requireUsualSize(const Picture& picture);

// "640 x 480"
std::string sizeText(const LoomfileInfo& info);
// "256 colours", "true colour", ...
std::string colourText(const LoomfileInfo& info);
// "1 colour", "2 colours"
std::string countText(u64 count, const char* noun);
