// What the picture loaders remember between tryLoad, loadBand and endLoad.
#pragma once

#include <cstdio>

#include "framework/temporary.h"
#include "tload.h"

struct GifDecoder;
struct PngPicture;
struct JpegPicture;
struct tiff; // libtiff's
struct PcxReader;

struct BmpState {
    FILE* file;
    u32 bitsPerPixel;
    u32 rowBytes;
    u32 width;
    u32 height;
    u32 rowsDelivered;
    u8 invert;
    bool hasAlpha; // a pixel of 32 bits that is not wholly transparent was read
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

// What the decoder's messages are about: the header, rows of the picture, what was asked of it in vain and is not the
// file's fault, or questions whose answers nobody is told.
enum class TiffSubject { header, rows, request, nothing };

// Serves the pictures of archives, too.
struct TiffState {
    tiff* file;
    bool isReady; // a picture that was refused is open and has no rows
    TiffSubject subject;
    bool isDamageTold; // of rows: once is enough
    u16 bitsPerSample;
    u16 samplesPerPixel;
    u16 photometric;
    u16 planarConfig;
    u16 compression;
    bool withAlpha;
    u32 width;
    u32 rowCursor;
    TemporaryPath folder; // of the unpacked archive
};

struct PcxState {
    FILE* file;
    PcxReader* reader;
    u8* picture; // 24 bit, decoded
    u8* rowWork; // the scanline and the row that is made of it
    u32 width;
    u32 height;
    u32 planes;
    u32 colours;
    u32 scanlineBytes;
    u32 rowsDelivered;
    bool isRowOfEnd; // rowWork holds a scanline of bytes behind the file's end
};

// Of the palettes that are shown as pictures.
struct PaletteFileState {
    FILE* file;
    FormatId format; // whose file it is
    u32 colours;
    u32 coloursDecoded;
    u32 variant; // the version of a swatch file, the colour space of a colour book
};

struct RasterState {
    BmpState bmp;
    GifState gif;
    PngState png;
    JpegState jpeg;
    TiffState tiff;
    PcxState pcx;
    PaletteFileState palette;
};
