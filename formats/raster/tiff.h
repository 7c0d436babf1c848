// The TIFF loader's functions, which read the picture of an archive too.
#pragma once

#include "framework/loader.h"

constexpr size_t tiffMarkBytes = 4;

bool isTiffMark(const u8* bytes);

// What lies open is closed first; a refused file stays open until the next call or endTiff.
LoadStatus openTiff(const char* path, ImageInfo& image);
LoadStatus loadTiffRows(u8* rows, u32 count, u32 bytesPerRow);
// Removes the folder of an unpacked archive as well.
LoadStatus endTiff();
