// The weave of a weave file and of a fabric file.
#pragma once

#include <cstdio>

#include "framework/file.h"
#include "framework/loader.h"

constexpr char weaveStart[] = "#BINDING\n";
constexpr int weaveLineBytes = 100000;

// Opens a file of a format that begins with a text, as its cached header tells, and takes memory for its lines.
LoadStatus openLines(const char* path, const char* start, const char* format, File& file, Buffer& line);

// Reads the weave behind its first line and reports it. line has room for weaveLineBytes.
LoadStatus loadWeave(FILE* stream, char* line, const char* description, ImageInfo& image);
LoadStatus loadWeaveBand(u8* rows, u32 count, u32 bytesPerRow);
LoadStatus endWeave();
