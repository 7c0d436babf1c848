#include "formats/native/nested_load.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t descriptionBytes = 4096;
constexpr size_t paletteBytes = 3 * paletteColours;
constexpr int endsProbing = 8; // no format after this one is to be tried

struct NestedPicture {
    ImageInfo info{};
    u8 palette[paletteBytes] = {};
    char description[descriptionBytes] = {};
    Buffer image;
    u64 imageBytes = 0;
};

// Why the picture is not read: of the loaders that were tried, what the first says that took it for its own.
struct Cause {
    char text[reasonBytes] = {};
};

void keepReason(Cause& cause, int status)
{
    if (status != loadSuccess && status != loadWrongFormat && cause.text[0] == 0)
        strcpy(cause.text, llibGetReason());
}

void tellError(int status)
{
    tell(stdout, "llib drape load error %d\n", status);
}

int openWith(FormatId format, const char* path, NestedPicture& picture, int wantPalette, Cause& cause)
{
    ImageInfo& info = picture.info;
    returnLoaderFunctions(static_cast<u32>(format), path);
    info.kind = kindRGBA;
    const int status =
        getTryLoad()(path, &info.kind, &info.width, &info.height, &info.resX, &info.resY, &info.mulX, &info.mulY,
                     picture.palette, picture.description, &info.orientationFlag, &info.firstPart, wantPalette);
    keepReason(cause, status);
    return status;
}

// In one band: some pictures are stored interlaced.
int readImage(NestedPicture& picture, Cause& cause)
{
    const ImageInfo& info = picture.info;
    const u32 rowBytes = llibRowBytes(info.kind, info.width);
    const bool isCountable = rowBytes > 0 || info.width == 0;
    int status = loadOutOfMemory;
    if (isCountable && picture.image.allocate(u64{rowBytes} * info.height)) {
        picture.imageBytes = u64{rowBytes} * info.height;
        status = getLoadBand()(picture.image.bytes, info.height, rowBytes);
    } else {
        refuseMemory();
    }
    keepReason(cause, status);
    getEndLoad()();
    // Said where it happens, and once more as the result of the whole.
    if (status > 1)
        tellError(status);
    return status;
}

int readWithAny(const char* path, std::span<const FormatId> formats, NestedPicture& picture, Cause& cause)
{
    int status = loadCannotRead;
    if (access(path, R_OK) == 0) {
        for (FormatId format : formats) {
            status = openWith(format, path, picture, 1, cause);
            if (status == loadSuccess)
                status = readImage(picture, cause);
            else if (status != endsProbing)
                continue;
            break;
        }
    } else {
        refuseOpening();
        keepReason(cause, status);
    }
    if (status != loadSuccess)
        tellError(status);
    return status;
}

int probeWithAny(const char* path, std::span<const FormatId> formats, NestedPicture& picture, Cause& cause)
{
    for (FormatId format : formats) {
        const int status = openWith(format, path, picture, 0, cause);
        if (status == endsProbing)
            break;
        if (status == loadSuccess) {
            getEndLoad()();
            const ImageInfo& info = picture.info;
            if (picture.description[0] != 0 && isPictureSize(info.width, info.height))
                return loadSuccess;
            refuseSize(loadBadData, info.width, info.height);
            keepReason(cause, loadBadData);
            return loadWrongFormat;
        }
    }
    return loadWrongFormat;
}

} // namespace

LoadStatus loadNested(const char* path, std::span<const FormatId> formats, int wantPalette, const char* description,
                      ImageInfo& image)
{
    NestedState& state = threadState().native.nested;
    if (state.isBusy)
        return refuse(loadWrongFormat, "a preview is being read already");
    NestedPicture picture;
    Cause cause;
    state.isBusy = true;
    const int status =
        wantPalette != 0 ? readWithAny(path, formats, picture, cause) : probeWithAny(path, formats, picture, cause);
    state.isBusy = false;
    if (status != loadSuccess)
        return refuse(loadWrongFormat, "the preview cannot be read: %s",
                      cause.text[0] != 0 ? cause.text : "it is of another format");

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
        return refuse(loadBadData, "no preview is open whose rows were asked for");
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
