#include "formats/native/nested_load.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/thread_state.h"

constexpr size_t descriptionBytes = 4096;
constexpr size_t paletteBytes = 3 * paletteColours;
constexpr u32 largestSide = 65520;
constexpr int endsProbing = 8; // no format after this one is to be tried

struct NestedPicture {
    ImageInfo info{};
    u8 palette[paletteBytes] = {};
    char description[descriptionBytes] = {};
    Buffer image;
    u64 imageBytes = 0;
};

static u64 rowBytesOf(const ImageInfo& info)
{
    const u64 width = info.width;
    switch (info.kind) {
    case kindBilevel:
        return (width + 7) / 8;
    case kindIndexed:
        return width;
    case kindRGB:
        return 3 * width;
    default:
        return 4 * width;
    }
}

static void printError(int status)
{
    printf("llib drape load error %d\n", status);
}

static int openWith(FormatId format, const char* path, NestedPicture& picture, int wantPalette)
{
    ImageInfo& info = picture.info;
    returnLoaderFunctions(static_cast<u32>(format), path);
    info.kind = kindRGBA;
    return getTryLoad()(path, &info.kind, &info.width, &info.height, &info.resX, &info.resY, &info.mulX, &info.mulY,
                        picture.palette, picture.description, &info.orientationFlag, &info.firstPart, wantPalette);
}

// In one band: some pictures are stored interlaced.
static int readImage(NestedPicture& picture)
{
    const u64 rowBytes = rowBytesOf(picture.info);
    int status = loadOutOfMemory;
    if (rowBytes <= UINT32_MAX && picture.image.allocate(rowBytes * picture.info.height)) {
        picture.imageBytes = rowBytes * picture.info.height;
        status = getLoadBand()(picture.image.bytes, picture.info.height, static_cast<u32>(rowBytes));
    }
    getEndLoad()();
    // Said where it happens, and once more as the result of the whole.
    if (status > 1)
        printError(status);
    return status;
}

static int readWithAny(const char* path, std::span<const FormatId> formats, NestedPicture& picture)
{
    int status = loadCannotRead;
    if (access(path, R_OK) == 0) {
        for (FormatId format : formats) {
            status = openWith(format, path, picture, 1);
            if (status == loadSuccess)
                status = readImage(picture);
            else if (status != endsProbing)
                continue;
            break;
        }
    }
    if (status != loadSuccess)
        printError(status);
    return status;
}

static int probeWithAny(const char* path, std::span<const FormatId> formats, NestedPicture& picture)
{
    auto isSize = [](u32 size) { return size >= 1 && size <= largestSide; };
    for (FormatId format : formats) {
        const int status = openWith(format, path, picture, 0);
        if (status == endsProbing)
            break;
        if (status == loadSuccess) {
            getEndLoad()();
            const ImageInfo& info = picture.info;
            const bool isPicture = picture.description[0] != 0 && isSize(info.width) && isSize(info.height);
            return isPicture ? loadSuccess : loadWrongFormat;
        }
    }
    return loadWrongFormat;
}

LoadStatus loadNested(const char* path, std::span<const FormatId> formats, int wantPalette, const char* description,
                      ImageInfo& image)
{
    NestedState& state = threadState().native.nested;
    if (state.isBusy)
        return loadWrongFormat;
    NestedPicture picture;
    state.isBusy = true;
    const int status = wantPalette != 0 ? readWithAny(path, formats, picture) : probeWithAny(path, formats, picture);
    state.isBusy = false;
    if (status != loadSuccess)
        return loadWrongFormat;

    image.kind = picture.info.kind;
    image.width = picture.info.width;
    image.height = picture.info.height;
    reportImage(image, description, pictureOrientation);
    image.resX = picture.info.resX;
    image.resY = picture.info.resY;
    if (wantPalette != 0 && image.kind == kindIndexed)
        memcpy(image.palette, picture.palette, paletteBytes);
    endNested();
    state.image = picture.image.bytes;
    state.imageBytes = picture.imageBytes;
    picture.image.bytes = nullptr;
    return loadSuccess;
}

// Always from the first row on: the picture is there as a whole, and one band takes it. It goes out as it stands in
// memory, whatever the stride, with zeros behind it.
LoadStatus loadNestedBand(u8* rows, u32 count, u32 bytesPerRow)
{
    const NestedState& state = threadState().native.nested;
    if (state.image == nullptr)
        return loadBadData;
    const u64 size = u64{count} * bytesPerRow;
    deliverRow(rows, state.image, state.imageBytes, size);
    if (size > state.imageBytes)
        memset(rows + state.imageBytes, 0, size - state.imageBytes);
    return loadSuccess;
}

LoadStatus endNested()
{
    NestedState& state = threadState().native.nested;
    free(state.image);
    state.image = nullptr;
    state.imageBytes = 0;
    return loadSuccess;
}
