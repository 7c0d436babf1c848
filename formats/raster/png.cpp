// PNG pictures, decoded by libpng.
//
//   signature   8 bytes
//   chunks      IHDR, PLTE, tRNS, pHYs, text "MulX" and "MulY", then the picture in IDAT
//
// Grey pictures are delivered as indexed ones with a falling ramp: libpng inverts the samples, so that in a picture of
// one bit a set bit is dark. Transparency that stands in a table is expanded to RGBA here.
#include <png.h>

#include <cstdlib>
#include <new>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t signatureBytes = 8;
constexpr u32 opaqueEntries = 255; // entry 255 keeps what an earlier picture left there
constexpr double inchesPerMetre1000 = 25.4;

} // namespace

struct PngPicture {
    png_structp read;
    png_infop info;
    u32 width;
    u32 height;
    int bitDepth;
    int colourType;
    int passes;
    const u8* palette; // the caller's
    bool transparent;
    u32 rowsDelivered;
    Buffer work; // rows that do not fit the caller's stride
};

namespace
{

// The status is that of the function that is jumped back to.
[[noreturn]] void jumpBack(png_structp read, png_const_charp message)
{
    refuse(loadDecoderError, "libpng: %.100s", message);
    png_longjmp(read, 1);
}

void noteWarning(png_structp, png_const_charp message)
{
    remark(Gravity::harmless, "libpng: %.100s", message);
}

void release(PngState& state)
{
    if (state.picture != nullptr) {
        png_destroy_read_struct(&state.picture->read, &state.picture->info, nullptr);
        delete state.picture;
    }
    state.picture = nullptr;
    closeSlot(state.file);
}

u32 thousandthsOfDpi(u32 pixelsPerMetre)
{
    double value = pixelsPerMetre * inchesPerMetre1000 + 0.5;
    return value < 4294967295.0 ? static_cast<u32>(value) : 0xFFFFFFFF;
}

// Returns the number of colours.
u32 readPalette(const PngPicture& picture, u8* palette)
{
    png_colorp colours = nullptr;
    int count = 0;
    if (png_get_PLTE(picture.read, picture.info, &colours, &count) == 0)
        return 0;
    const auto colourCount = static_cast<u32>(count);
    for (u32 i = 0; i < colourCount; i++)
        setColour(palette, i, colours[i].red, colours[i].green, colours[i].blue);
    return colourCount;
}

void readResolution(const PngPicture& picture, ImageInfo& image)
{
    u32 perUnitX = 0;
    u32 perUnitY = 0;
    int unit = PNG_RESOLUTION_METER;
    if (png_get_pHYs(picture.read, picture.info, &perUnitX, &perUnitY, &unit) == 0)
        return;
    image.resX = thousandthsOfDpi(perUnitX);
    image.resY = thousandthsOfDpi(perUnitY);
    if (unit != PNG_RESOLUTION_METER)
        remark(Gravity::harmless, "the resolution is taken for pixels a metre, the file tells no unit");
}

void readTexts(PngPicture& picture, ImageInfo& image)
{
    png_textp texts = nullptr;
    int count = 0;
    png_get_text(picture.read, picture.info, &texts, &count);
    for (int i = 0; i < count; i++) {
        auto value = static_cast<u32>(strtol(texts[i].text, nullptr, 10));
        if (strncmp(texts[i].key, "MulX", 4) == 0)
            image.mulX = value;
        if (strncmp(texts[i].key, "MulY", 4) == 0)
            image.mulY = value;
    }
}

// Grey pictures are looked up by their level of 8 bits.
void readGreyTransparency(PngPicture& picture, u32 level, u8* alpha)
{
    if (level < paletteColours)
        alpha[level] = 0;
    if (picture.bitDepth != 8 && level != 0)
        remark(Gravity::harmless, "the transparent grey level %u of %d bits is not read as such", level,
               picture.bitDepth);
    if (picture.bitDepth == 1)
        remark(Gravity::grave, "black and white are exchanged: one bit with transparency");
}

void readTransparency(PngPicture& picture, u32 colours, u8* alpha)
{
    png_bytep alphas = nullptr;
    png_color_16p key = nullptr;
    int count = 0;
    if (png_get_tRNS(picture.read, picture.info, &alphas, &count, &key) == 0)
        return;
    const bool isGrey = picture.colourType == PNG_COLOR_TYPE_GRAY;
    if (!isGrey && picture.colourType != PNG_COLOR_TYPE_PALETTE) {
        remark(Gravity::harmless, "the transparent colour %u, %u, %u is delivered as an opaque one", key->red,
               key->green, key->blue);
        return;
    }
    picture.transparent = true;
    memset(alpha, 255, opaqueEntries);
    if (isGrey)
        readGreyTransparency(picture, key->gray, alpha);
    else
        memcpy(alpha, alphas, static_cast<size_t>(count));
    const bool isTold = isGrey ? key->gray == opaqueEntries : static_cast<u32>(count) > opaqueEntries;
    if (!isTold && (isGrey || colours > opaqueEntries) && alpha[opaqueEntries] != 255)
        remark(Gravity::grave, "%s gets the alpha %u, which is not the file's", isGrey ? "white" : "colour 255",
               alpha[opaqueEntries]);
}

// Grey levels that fall in equal steps from 255.
void setRamp(u8* palette, u32 levels)
{
    for (u32 i = 0; i < levels; i++) {
        auto grey = static_cast<u8>(255 - i * 255 / (levels - 1));
        setColour(palette, i, grey, grey, grey);
    }
}

void chooseLayout(PngPicture& picture, ImageInfo& image)
{
    const int colourType = picture.colourType;
    const int bitDepth = picture.bitDepth;
    if (bitDepth == 16) {
        png_set_strip_16(picture.read);
        remark(Gravity::harmless, "16 bits a sample are cut to 8");
    }
    switch (colourType) {
    case PNG_COLOR_TYPE_GRAY:
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        image.kind = kindIndexed;
        if (bitDepth < 8 && (bitDepth > 1 || picture.transparent))
            png_set_packing(picture.read);
        if (bitDepth == 1) {
            setColour(image.palette, 0, 0, 0, 0);
            setColour(image.palette, 1, 255, 255, 255);
            image.kind = kindBilevel;
        } else {
            setRamp(image.palette, 1u << std::min(bitDepth, 8));
        }
        if (colourType == PNG_COLOR_TYPE_GRAY_ALPHA)
            image.kind = kindRGBA;
        break;
    case PNG_COLOR_TYPE_RGB:
        image.kind = kindRGB;
        break;
    case PNG_COLOR_TYPE_PALETTE:
        image.kind = kindIndexed;
        if (bitDepth < 8)
            png_set_packing(picture.read);
        break;
    default:
        image.kind = kindRGBA;
    }
    if (picture.transparent)
        image.kind = kindRGBA;
}

// libpng comes back to setjmp from anywhere in here: no local may own anything.
LoadStatus readHeader(PngPicture& picture, FILE* stream, ImageInfo& image, u8* alpha)
{
    picture.read = png_create_read_struct("1.6.34", nullptr, jumpBack, noteWarning);
    if (picture.read == nullptr)
        return refuseMemory();
    picture.info = png_create_info_struct(picture.read);
    if (picture.info == nullptr)
        return refuseMemory();
    if (setjmp(*png_set_longjmp_fn(picture.read, longjmp, sizeof(jmp_buf))) != 0)
        return feof(stream) != 0 ? refuseHeader(loadCannotRead) : loadCannotRead;

    png_init_io(picture.read, stream);
    png_set_sig_bytes(picture.read, signatureBytes);
    png_read_info(picture.read, picture.info);
    png_get_IHDR(picture.read, picture.info, &picture.width, &picture.height, &picture.bitDepth, &picture.colourType,
                 nullptr, nullptr, nullptr);
    const u32 colours = readPalette(picture, image.palette);
    reportImage(image, "PNG", pictureOrientation);
    readResolution(picture, image);
    readTexts(picture, image);
    readTransparency(picture, colours, alpha);

    // Indices beyond the palette are shown as they are: a look at every pixel for a warning that nobody reads is saved.
    png_set_check_for_invalid_index(picture.read, 0);
    png_set_invert_mono(picture.read);
    picture.passes = png_set_interlace_handling(picture.read);
    chooseLayout(picture, image);
    png_read_update_info(picture.read, picture.info);
    picture.palette = image.palette;
    image.width = picture.width;
    image.height = picture.height;
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    File file;
    u8 signature[signatureBytes];
    LoadStatus status = openFile(request.path, file, signature, sizeof signature, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    if (png_sig_cmp(signature, 0, sizeof signature) != 0)
        return refuseMark("PNG");

    PngState& state = threadState().raster.png;
    PngState loaded{};
    loaded.picture = new (std::nothrow) PngPicture{};
    if (loaded.picture == nullptr)
        return refuseMemory();
    status = readHeader(*loaded.picture, file.stream, image, state.alpha);
    if (status != loadSuccess) {
        release(loaded);
        return status;
    }
    release(state);
    state.picture = loaded.picture;
    handOver(file, state.file);
    return loadSuccess;
}

// Grey and alpha, or a palette index or grey level alone, become RGBA in place, from the right end.
void expandRow(const PngPicture& picture, const u8* alpha, u8* row)
{
    const u8* palette = picture.palette;
    for (u64 x = picture.width; x-- > 0;) {
        u8* pixel = row + 4 * x;
        if (picture.colourType == PNG_COLOR_TYPE_GRAY_ALPHA) {
            u8 transparency = row[2 * x + 1];
            u8 grey = palette[3 * row[2 * x]];
            pixel[0] = pixel[1] = pixel[2] = grey;
            pixel[3] = transparency;
        } else {
            u8 sample = row[x];
            const u8* colour = palette + 3 * sample;
            bool grey = picture.colourType == PNG_COLOR_TYPE_GRAY;
            pixel[0] = colour[0];
            pixel[1] = grey ? colour[0] : colour[1];
            pixel[2] = grey ? colour[0] : colour[2];
            pixel[3] = alpha[grey ? colour[0] : sample];
        }
    }
}

void remarkIndices(const PngPicture& picture)
{
    png_colorp colours = nullptr;
    int count = 0;
    if (picture.colourType == PNG_COLOR_TYPE_PALETTE &&
        png_get_PLTE(picture.read, picture.info, &colours, &count) != 0 &&
        png_get_palette_max(picture.read, picture.info) >= count)
        remark(Gravity::grave, "pixels have numbers behind the %d colours of its palette", count);
}

// As readHeader: libpng may jump back here.
LoadStatus readRows(PngPicture& picture, FILE* stream, const u8* alpha, u8* rows, u32 count, u32 bytesPerRow)
{
    if (setjmp(*png_set_longjmp_fn(picture.read, longjmp, sizeof(jmp_buf))) != 0)
        return feof(stream) != 0 ? refuse(loadDecoderError, "the file ends before the picture does") : loadDecoderError;

    const bool expands = picture.transparent || picture.colourType == PNG_COLOR_TYPE_GRAY_ALPHA;
    const u64 rowBytes = expands ? 4 * static_cast<u64>(picture.width) : png_get_rowbytes(picture.read, picture.info);
    // Passes of an interlaced picture add to the rows of the passes before them.
    const bool interlaced = picture.passes > 1;
    if (interlaced && count < picture.height)
        remark(Gravity::grave, "interlaced, and not asked for in one piece: its rows are mixed up");
    const bool narrow = bytesPerRow < rowBytes;
    if (narrow && !picture.work.allocate(rowBytes * (interlaced ? count : 1)))
        return refuseMemory();
    u8* target = narrow ? picture.work.bytes : rows;
    const u64 targetStride = !narrow ? bytesPerRow : interlaced ? rowBytes : 0;

    for (int pass = 1; pass < picture.passes; pass++) {
        for (u32 i = 0; i < count; i++)
            png_read_row(picture.read, target + i * targetStride, nullptr);
    }
    for (u32 i = 0; i < count; i++) {
        u8* row = target + i * targetStride;
        png_read_row(picture.read, row, nullptr);
        if (expands)
            expandRow(picture, alpha, row);
        if (narrow)
            deliverRow(rows + static_cast<u64>(i) * bytesPerRow, row, rowBytes, bytesPerRow);
    }
    picture.rowsDelivered += count;
    if (picture.rowsDelivered == picture.height) {
        remarkIndices(picture);
        png_read_end(picture.read, picture.info);
    }
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    PngState& state = threadState().raster.png;
    if (state.picture == nullptr)
        return refuseUnopened();
    PngPicture& picture = *state.picture;
    u32 wanted = std::min(count, picture.height - picture.rowsDelivered);
    if (wanted > 0) {
        LoadStatus status = readRows(picture, state.file, state.alpha, rows, wanted, bytesPerRow);
        if (status != loadSuccess)
            return status;
    }
    if (wanted == count)
        return loadSuccess;
    refuseRowsBehindPicture();
    return loadDecoderError;
}

LoadStatus endLoad()
{
    release(threadState().raster.png);
    return loadSuccess;
}

} // namespace

void registerLoadPNG()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
