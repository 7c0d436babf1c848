// JPEG pictures, decoded by libjpeg.
//
//   0xFF 0xD8   start of image
//   segments    the density of the JFIF segment is the resolution, when its unit is dots per inch
//
// Grey pictures come with a palette of greys; CMYK is turned into RGB here.
#include <cstdio>

#include <jpeglib.h>

#include <csetjmp>
#include <new>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr i64 probedBytes = 2;
constexpr int greyColours = 256;
constexpr int reducedColours = 128; // asked for by a caller that presets kind 1
constexpr u8 dotsPerInch = 1;

struct JpegPicture {
    jpeg_decompress_struct decoder;
    jpeg_error_mgr errors;
    jmp_buf jump;
    bool started;
    FILE* file;
    Buffer work; // a row that is not delivered as it is decoded
};

static void printAndJump(j_common_ptr decoder)
{
    decoder->err->output_message(decoder);
    longjmp(static_cast<JpegPicture*>(decoder->client_data)->jump, 1);
}

static void release(JpegState& state)
{
    if (state.picture != nullptr) {
        jpeg_destroy_decompress(&state.picture->decoder);
        closeSlot(state.picture->file);
        delete state.picture;
    }
    state.picture = nullptr;
}

static void quantizeTo(jpeg_decompress_struct& decoder, int colours, bool twoPasses)
{
    decoder.quantize_colors = TRUE;
    decoder.desired_number_of_colors = colours;
    decoder.two_pass_quantize = twoPasses ? TRUE : FALSE;
}

static void copyColours(const jpeg_decompress_struct& decoder, u8* palette)
{
    bool colour = decoder.out_color_components == 3;
    int count = std::min(decoder.desired_number_of_colors, decoder.actual_number_of_colors);
    for (int i = 0; i < count; i++) {
        u8 first = decoder.colormap[0][i];
        setColour(palette, static_cast<u64>(i), first, colour ? decoder.colormap[1][i] : first,
                  colour ? decoder.colormap[2][i] : first);
    }
}

// libjpeg comes back to setjmp from anywhere in here: no local may own anything.
static LoadStatus readHeader(JpegPicture& picture, int wantPalette, ImageInfo& image)
{
    jpeg_decompress_struct& decoder = picture.decoder;
    decoder.err = jpeg_std_error(&picture.errors);
    picture.errors.error_exit = printAndJump;
    decoder.client_data = &picture;
    if (setjmp(picture.jump) != 0)
        return loadWrongFormat;

    jpeg_create_decompress(&decoder);
    jpeg_stdio_src(&decoder, picture.file);
    jpeg_read_header(&decoder, TRUE);

    bool grey = decoder.out_color_space == JCS_GRAYSCALE;
    if (grey)
        quantizeTo(decoder, greyColours, false);
    else if (decoder.out_color_space == JCS_CMYK || decoder.out_color_space == JCS_YCCK)
        decoder.out_color_space = JCS_CMYK;
    else
        decoder.out_color_space = JCS_RGB;

    if (wantPalette != 0) {
        if (image.kind == kindIndexed && decoder.out_color_space != JCS_CMYK) {
            quantizeTo(decoder, reducedColours, true);
            decoder.dither_mode = JDITHER_NONE;
        }
        jpeg_start_decompress(&decoder);
        picture.started = true;
    }

    reportImage(image, "JPEG", pictureOrientation);
    image.width = decoder.image_width;
    image.height = decoder.image_height;
    image.kind = decoder.quantize_colors == FALSE && !grey ? kindRGB : kindIndexed;
    if (decoder.colormap != nullptr)
        copyColours(decoder, image.palette);
    if (decoder.density_unit == dotsPerInch) {
        image.resX = decoder.X_density * 1000u;
        image.resY = decoder.Y_density * 1000u;
    }
    return loadSuccess;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* header = loadImgCheckHeader(request.path);
    if (header == nullptr || loadImgLastFilesize() < probedBytes || header[0] != 0xFF || header[1] != 0xD8)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;

    JpegState loaded{new (std::nothrow) JpegPicture{}};
    if (loaded.picture == nullptr)
        return loadOutOfMemory;
    handOver(file, loaded.picture->file);
    LoadStatus status = readHeader(*loaded.picture, request.wantPalette, image);
    if (status != loadSuccess) {
        release(loaded);
        return status;
    }
    JpegState& state = threadState().raster.jpeg;
    release(state);
    state = loaded;
    return loadSuccess;
}

static void cmykToRgb(u8* destination, const u8* source, u64 width)
{
    for (u64 x = 0; x < width; x++) {
        u32 key = source[4 * x + 3];
        for (u64 channel = 0; channel < 3; channel++)
            destination[3 * x + channel] = static_cast<u8>(source[4 * x + channel] * key >> 8);
    }
}

// As readHeader: libjpeg may jump back here.
static LoadStatus readRows(JpegPicture& picture, u8* rows, u32 count, u32 bytesPerRow)
{
    if (setjmp(picture.jump) != 0)
        return loadDecoderError;

    jpeg_decompress_struct& decoder = picture.decoder;
    const bool cmyk = decoder.out_color_space == JCS_CMYK;
    const u64 width = decoder.output_width;
    const u64 decodedBytes = width * static_cast<u64>(decoder.output_components);
    const u64 rowBytes = cmyk ? 3 * width : decodedBytes;
    const bool narrow = bytesPerRow < rowBytes;
    if ((cmyk || narrow) && picture.work.bytes == nullptr && !picture.work.allocate(decodedBytes))
        return loadOutOfMemory;

    for (u32 i = 0; i < count && decoder.output_scanline < decoder.output_height; i++) {
        u8* destination = rows + static_cast<u64>(i) * bytesPerRow;
        u8* decoded = cmyk || narrow ? picture.work.bytes : destination;
        jpeg_read_scanlines(&decoder, &decoded, 1);
        if (cmyk && narrow)
            cmykToRgb(decoded, decoded, width);
        else if (cmyk)
            cmykToRgb(destination, decoded, width);
        if (narrow)
            deliverRow(destination, decoded, rowBytes, bytesPerRow);
    }
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    JpegState& state = threadState().raster.jpeg;
    if (state.picture == nullptr)
        return loadBadData;
    if (!state.picture->started)
        return loadDecoderError;
    return readRows(*state.picture, rows, count, bytesPerRow);
}

// A picture whose rows were not all read makes libjpeg jump back.
static void finish(JpegPicture& picture)
{
    if (setjmp(picture.jump) == 0 && picture.started)
        jpeg_finish_decompress(&picture.decoder);
}

static LoadStatus endLoad()
{
    JpegState& state = threadState().raster.jpeg;
    if (state.picture != nullptr)
        finish(*state.picture);
    release(state);
    return loadSuccess;
}

void registerLoadJPEG()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
