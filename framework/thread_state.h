// The one block of mutable state that a thread works with: its own, or one that the host has made. Everything the
// library remembers between two calls stands here.
#pragma once

#include <cstddef>

#include "formats/loom/state.h"
#include "formats/native/state.h"
#include "formats/raster/state.h"
#include "framework/reason.h"
#include "tload.h"

constexpr size_t headerBytes = 256;
constexpr size_t headerPathBytes = 2048;
constexpr size_t relativePathBytes = 512;
constexpr size_t dirNameBytes = 4097;

// A text that a setter was given stands behind this; those before it are kept, which a host may still be reading.
struct SettingText {
    SettingText* before;
};

struct LoaderThreadState {
    u32 bonasLinePadding = 1;
    u8 needsInit = 1;
    char pathSeparator = '/';

    TryLoadFn tryLoadFn;
    LoadBandFn loadBandFn;
    EndLoadFn endLoadFn;

    u8 headerBuffer[headerBytes];
    char* headerPath;
    i64 lastFileSize;

    const char* tmpDir;
    const char* gzipCommand;
    const char* unzipCommand;
    const char* msExpandCommand;
    const char* vectorPreviewCommand;
    SettingText* settingTexts; // owned, the latest first
    u32 defaultMappingJC4;
    u32 verboseXML;

    char relativePath[relativePathBytes];
    char dirName[dirNameBytes];

    Messages messages;
    Reasons reasons;

    LoomState loom;
    NativeState native;
    RasterState raster;
};

// The block in use by this thread. Fetch it once a function: every call looks the thread up.
LoaderThreadState& threadState();

// The block that the host has made the thread use; null when it is the thread's own.
LoaderThreadState* usedState();

// Frees what a block owns besides open pictures.
void freeTexts(LoaderThreadState& state);
