// Loaders of files that hold, or can be turned into, a picture of another format: the picture is put into a file of its
// own and read by that format's loader.
#pragma once

#include <span>

#include "framework/loader.h"

// Opens the picture at path with the first of these formats that reads it, and reports it. All of it is read when the
// request wants that, and its size is checked otherwise. 6 when no format has a picture to offer. The calling thread's
// current loader is another one afterwards.
LoadStatus loadNested(const char* path, std::span<const FormatId> formats, int wantPalette, const char* description,
                      ImageInfo& image);
LoadStatus loadNestedBand(u8* rows, u32 count, u32 bytesPerRow);
LoadStatus endNested();
