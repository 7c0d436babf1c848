// The one block of mutable state a thread has. Everything the library remembers between two calls stands here.
#pragma once

#include <cstddef>

#include "formats/loom/state.h"
#include "formats/native/state.h"
#include "formats/raster/state.h"
#include "tload.h"

constexpr size_t headerBytes = 256;
constexpr size_t headerPathBytes = 2048;
constexpr size_t relativePathBytes = 512;
constexpr size_t dirNameBytes = 4097;

struct LoaderThreadState {
    u32 bonasLinePadding = 1;
    u32 loomDefaults[5] = {1, 1, 1, 1, 6};
    u8 needsInit = 1;
    char pathSeparator = '/';

    TryLoadFn tryLoadFn;
    LoadBandFn loadBandFn;
    EndLoadFn endLoadFn;

    u8 headerBuffer[headerBytes];
    char* headerPath;
    i64 lastFileSize;

    char* tmpDir;
    char* gzipCommand;
    char* unzipCommand;
    char* msExpandCommand;
    char* vectorPreviewCommand;
    u32 defaultMappingJC4;
    u32 verboseXML;

    char relativePath[relativePathBytes];
    char dirName[dirNameBytes];

    LoomState loom;
    NativeState native;
    RasterState raster;
};

// Fetch it once a function: every call looks the thread up.
LoaderThreadState& threadState();
