// What the palettes that are shown as pictures share: every pixel is another colour, in the order of the file.
#pragma once

#include "framework/file.h"
#include "framework/loader.h"

// Hands a file over that has been opened for a format, for endPaletteFile to close.
void keepPaletteFile(File& file, FormatId format, u32 colours, u32 variant = 0);

// The rows of colours in a picture of the given width; a single row is only as wide as it has colours.
void reportPaletteSize(ImageInfo& image, u32 colours, u32 width);

// Pixel after pixel the number of its colour, the next row going on bytesPerRow further whatever the width is. Every
// call begins again with colour 0: the picture is asked for at once.
LoadStatus deliverColourNumbers(u8* rows, u32 count, u32 bytesPerRow, u32 colours);

// The endLoad of all of them.
LoadStatus endPaletteFile();
