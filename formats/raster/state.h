// What the picture loaders remember between tryLoad, loadBand and endLoad.
#pragma once

#include <cstdio>

#include "tload.h"

struct GifDecoder;
struct PngPicture;
struct JpegPicture;

struct BmpState {
    FILE* file;
    u32 bitsPerPixel;
    u32 rowBytes;
    u32 width;
    u32 height;
    u32 rowsDelivered;
    u8 invert;
};

struct GifState {
    FILE* file;
    u32 colourMask;
    u32 width;
    u32 rowsLeft;
    int decodeStatus;
    GifDecoder* decoder;
};

struct PngState {
    FILE* file;
    PngPicture* picture;
    u8 alpha[256];
};

struct JpegState {
    JpegPicture* picture;
};

struct RasterState {
    BmpState bmp;
    GifState gif;
    PngState png;
    JpegState jpeg;
};
