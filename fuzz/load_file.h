// Loads a file the way a careful host does: with buffers of exactly the size that is reported.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "tload.h"

struct LoadedFile {
    int format = 0;     // what returnLoaderFunctions answers
    int status = -1;    // of tryLoad
    int bandStatus = 0; // of the last loadBand
    u32 kind = 0;
    u32 width = 0;
    u32 height = 0;
    std::vector<u8> rows;

    bool operator==(const LoadedFile&) const = default;
};

// A file that no loader is found for has status -1. format 0 detects it; bandRows 0 takes all rows at once; rows are
// extraBytes further apart, or nearer, than they are long. Of a huge picture some rows are taken.
LoadedFile loadFile(const std::string& path, u32 format, u32 bandRows = 0, i64 extraBytes = 0);

// Whether the rows are written to their place in the whole picture, whose first row every call is given.
bool goesToItsPlace(int format, u32 kind);
// 0 or 2 to 7: what the entries of a loader may answer.
bool isStatus(int status);
// Draws the samples small and writes all of them, since designs of several files need each other.
void storeSamples(const std::string& folder);
// Sends what the libraries say about damaged files nowhere; answers go to the stream that is returned.
FILE* silenceLibraries();
int openDescriptors();
// Of the whole process; 0 where no sanitizer counts them.
size_t allocatedBytes();
