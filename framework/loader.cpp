#include "framework/loader.h"

#include <cstring>

#include "framework/thread_state.h"

void reportImage(ImageInfo& image, const char* description, u8 orientationFlag)
{
    image.resX = 0;
    image.resY = 0;
    image.mulX = 1;
    image.mulY = 1;
    image.orientationFlag = orientationFlag;
    image.firstPart = 1;
    strcpy(image.description, description);
}

void reportBilevel(ImageInfo& image, u32 width, u32 height, const char* description, u8 orientationFlag)
{
    image.kind = kindBilevel;
    image.width = width;
    image.height = height;
    reportImage(image, description, orientationFlag);
}

int runTryLoad(LoaderTryLoad tryLoad, const char* path, u32* kind, u32* width, u32* height, u32* resX, u32* resY,
               u32* mulX, u32* mulY, u8* palette, char* description, u8* orientationFlag, u32* firstPart,
               int wantPalette)
{
    beginLoad(threadState().reasons);
    LoadRequest request{const_cast<char*>(path), wantPalette};
    ImageInfo image{*kind,   *width,      *height,          *resX,     *resY, *mulX, *mulY,
                    palette, description, *orientationFlag, *firstPart};
    LoadStatus status = tryLoad(request, image);
    *kind = image.kind;
    *width = image.width;
    *height = image.height;
    *resX = image.resX;
    *resY = image.resY;
    *mulX = image.mulX;
    *mulY = image.mulY;
    *orientationFlag = image.orientationFlag;
    *firstPart = image.firstPart;
    if (status != loadSuccess)
        threadState().reasons.remarkCount = 0;
    return endCall(threadState().reasons, status);
}

int runLoadBand(LoaderLoadBand loadBand, u8* rows, u32 count, u32 bytesPerRow)
{
    beginBand(threadState().reasons);
    return endCall(threadState().reasons, loadBand(rows, count, bytesPerRow));
}

void registerLoader(TryLoadFn tryLoad, LoadBandFn loadBand, EndLoadFn endLoad)
{
    LoaderThreadState& state = threadState();
    state.tryLoadFn = tryLoad;
    state.loadBandFn = loadBand;
    state.endLoadFn = endLoad;
}

TryLoadFn getTryLoad()
{
    return threadState().tryLoadFn;
}

LoadBandFn getLoadBand()
{
    return threadState().loadBandFn;
}

EndLoadFn getEndLoad()
{
    return threadState().endLoadFn;
}

u32 llibRowBytes(u32 kind, u32 width)
{
    const u64 pixels = width;
    u64 bytes = 0;
    switch (kind) {
    case kindBilevel:
        bytes = (pixels + 7) / 8;
        break;
    case kindIndexed:
        bytes = pixels;
        break;
    case kindRGB:
        bytes = 3 * pixels;
        break;
    case kindRGBA:
        bytes = 4 * pixels;
        break;
    default:
        break;
    }
    return bytes <= UINT32_MAX ? static_cast<u32>(bytes) : 0;
}

const char* llibVersion()
{
    return TLOAD_VERSION;
}
