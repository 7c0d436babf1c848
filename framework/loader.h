// What every loader is made of: its request, its report, and the adapters between its three functions and the exported
// entry types.
#pragma once

#include "framework/reason.h"
#include "tload.h"

struct LoadRequest {
    char* path;      // the caller's own memory: loaders of numbered parts write the first part's name into it
    int wantPalette; // 0 probe, 1 everything, 2 identify only
};

struct ImageInfo {
    u32 kind;
    u32 width;
    u32 height;
    u32 resX;
    u32 resY;
    u32 mulX;
    u32 mulY;
    u8* palette;       // the caller's 768 bytes
    char* description; // the caller's text
    u8 orientationFlag;
    u32 firstPart;
};

constexpr u32 paletteColours = 256;
constexpr u32 pictureOrientation = 0;
constexpr u32 loomOrientation = 1;

// The largest side of a picture in most formats.
constexpr u32 mostSide = 65520;

inline bool isPictureSize(u64 width, u64 height)
{
    return width >= 1 && width <= mostSide && height >= 1 && height <= mostSide;
}

inline u32 bilevelRowBytes(u32 width)
{
    return (width + 7) / 8;
}

// Sets what most loaders report on success: multipliers and firstPart 1, resolutions 0.
void reportImage(ImageInfo& image, const char* description, u8 orientationFlag);

// Stores colour number index, which may be any number that a file holds, and drops those that a palette has no room
// for.
inline void setColour(u8* palette, u64 index, u8 red, u8 green, u8 blue)
{
    if (index >= paletteColours)
        return;
    palette[3 * index] = red;
    palette[3 * index + 1] = green;
    palette[3 * index + 2] = blue;
}

// The same of a bilevel picture, with its kind and size.
void reportBilevel(ImageInfo& image, u32 width, u32 height, const char* description, u8 orientationFlag);

using LoaderTryLoad = LoadStatus (*)(const LoadRequest&, ImageInfo&);
using LoaderLoadBand = LoadStatus (*)(u8* rows, u32 count, u32 bytesPerRow);
using LoaderEndLoad = LoadStatus (*)();

// Gives a loader the caller's outputs as they stand and returns them whatever its status, so that what a loader does
// not set keeps its value.
int runTryLoad(LoaderTryLoad tryLoad, const char* path, u32* kind, u32* width, u32* height, u32* resX, u32* resY,
               u32* mulX, u32* mulY, u8* palette, char* description, u8* orientationFlag, u32* firstPart,
               int wantPalette);
int runLoadBand(LoaderLoadBand loadBand, u8* rows, u32 count, u32 bytesPerRow);

template <LoaderTryLoad tryLoad>
int tryLoadEntry(const char* path, u32* kind, u32* width, u32* height, u32* resX, u32* resY, u32* mulX, u32* mulY,
                 u8* palette, char* description, u8* orientationFlag, u32* firstPart, int wantPalette)
{
    return runTryLoad(tryLoad, path, kind, width, height, resX, resY, mulX, mulY, palette, description, orientationFlag,
                      firstPart, wantPalette);
}

template <LoaderLoadBand loadBand>
int loadBandEntry(u8* rows, u32 count, u32 bytesPerRow)
{
    return runLoadBand(loadBand, rows, count, bytesPerRow);
}

template <LoaderEndLoad endLoad>
int endLoadEntry()
{
    return endLoad();
}

template <LoaderTryLoad tryLoad, LoaderLoadBand loadBand, LoaderEndLoad endLoad>
void registerEntries()
{
    registerLoader(tryLoadEntry<tryLoad>, loadBandEntry<loadBand>, endLoadEntry<endLoad>);
}
