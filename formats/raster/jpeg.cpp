// JPEG pictures, decoded by libjpeg.
//
//   0xFF 0xD8   start of image
//   segments    the density of the JFIF segment is the resolution, when its unit is dots per inch
//
// Grey pictures come with a palette of greys; CMYK is turned into RGB here.
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

#include <csetjmp>
#include <new>
#include <string_view>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

// Which the thread's state keeps.
struct JpegPicture {
    jpeg_decompress_struct decoder;
    jpeg_error_mgr errors;
    jmp_buf jump;
    bool started;
    bool isInData; // not in the header, and not behind the last row
    bool isDataMadeUp;
    FILE* file;
    Buffer work; // a row that is not delivered as it is decoded
};

namespace
{

constexpr std::string_view mark = "\xFF\xD8";
constexpr int greyColours = 256;
constexpr int reducedColours = 128; // asked for by a caller that presets kind 1
constexpr u8 dotsPerInch = 1;
constexpr u8 dotsPerCentimetre = 2;

// Of a camera's segment, which is a small TIFF file behind its name, the beginning with the first directory:
//   name "Exif" 0 0, "II" or "MM", 42 (16 bits), where the directory lies (32), there the number of its entries (16)
//   and, 12 bytes each, a tag (16), a type (16), a count (32) and a value
constexpr int exifMarker = JPEG_APP0 + 1;
constexpr u32 keptOfExif = 4096;
constexpr std::string_view exifName{"Exif\0\0", 6};
constexpr u32 tiffHeaderBytes = 8;
constexpr u32 atDirectory = 4;
constexpr u32 directoryEntryBytes = 12;
constexpr u32 atEntryValue = 8;
constexpr u32 orientationTag = 0x112;
constexpr u32 upright = 1;
constexpr u32 mostOrientation = 8;

JpegPicture& pictureOf(j_common_ptr decoder)
{
    return *static_cast<JpegPicture*>(decoder->client_data);
}

void tellMessage(j_common_ptr decoder)
{
    char text[JMSG_LENGTH_MAX];
    decoder->err->format_message(decoder, text);
    tell(stderr, "%s\n", text);
}

void remarkWarning(j_common_ptr decoder)
{
    JpegPicture& picture = pictureOf(decoder);
    if (picture.isDataMadeUp)
        return; // once is enough: what is damaged is warned of many times
    char text[JMSG_LENGTH_MAX];
    decoder->err->format_message(decoder, text);
    picture.isDataMadeUp = picture.isInData && decoder->err->msg_code != JWRN_EXTRANEOUS_DATA;
    if (picture.isDataMadeUp)
        remark(Gravity::grave, "the decoder made data up: %s", text);
    else
        remark(Gravity::harmless, "%s", text);
}

// As libjpeg's own, which tells the first warning alone.
void hearMessage(j_common_ptr decoder, int level)
{
    jpeg_error_mgr& errors = *decoder->err;
    const bool isWarning = level < 0;
    if (isWarning)
        remarkWarning(decoder);
    if (isWarning ? errors.num_warnings == 0 : errors.trace_level >= level)
        errors.output_message(decoder);
    if (isWarning)
        errors.num_warnings++;
}

void printAndJump(j_common_ptr decoder)
{
    decoder->err->output_message(decoder);
    longjmp(pictureOf(decoder).jump, 1);
}

// For the error that libjpeg jumped back with.
LoadStatus refuseDecoder(JpegPicture& picture, LoadStatus status)
{
    char text[JMSG_LENGTH_MAX];
    picture.errors.format_message(reinterpret_cast<j_common_ptr>(&picture.decoder), text);
    return refuse(status, "%s", text);
}

void release(JpegState& state)
{
    if (state.picture != nullptr) {
        jpeg_destroy_decompress(&state.picture->decoder);
        closeSlot(state.picture->file);
        delete state.picture;
    }
    state.picture = nullptr;
}

void quantizeTo(jpeg_decompress_struct& decoder, int colours, bool twoPasses)
{
    decoder.quantize_colors = TRUE;
    decoder.desired_number_of_colors = colours;
    decoder.two_pass_quantize = twoPasses ? TRUE : FALSE;
}

void copyColours(const jpeg_decompress_struct& decoder, u8* palette)
{
    bool colour = decoder.out_color_components == 3;
    int count = std::min(decoder.desired_number_of_colors, decoder.actual_number_of_colors);
    for (int i = 0; i < count; i++) {
        u8 first = decoder.colormap[0][i];
        setColour(palette, static_cast<u64>(i), first, colour ? decoder.colormap[1][i] : first,
                  colour ? decoder.colormap[2][i] : first);
    }
}

// 1, upright, also where nothing tells.
u32 orientationOfExif(const u8* exif, u32 size)
{
    const bool isIntel = exif[0] == 'I';
    auto number16 = [&](u32 at) { return isIntel ? littleEndian16(exif + at) : bigEndian16(exif + at); };
    const u32 directory = isIntel ? littleEndian32(exif + atDirectory) : bigEndian32(exif + atDirectory);
    if (directory > size - 2)
        return upright;
    const u32 entries = std::min(number16(directory), (size - directory - 2) / directoryEntryBytes);
    for (u32 i = 0; i < entries; i++) {
        const u32 entry = directory + 2 + i * directoryEntryBytes;
        if (number16(entry) == orientationTag)
            return number16(entry + atEntryValue);
    }
    return upright;
}

void remarkOrientation(const jpeg_decompress_struct& decoder)
{
    for (const jpeg_marker_struct* segment = decoder.marker_list; segment != nullptr; segment = segment->next) {
        if (segment->data_length < exifName.size() + tiffHeaderBytes ||
            memcmp(segment->data, exifName.data(), exifName.size()) != 0)
            continue;
        const u32 size = segment->data_length - static_cast<u32>(exifName.size());
        const u32 orientation = orientationOfExif(segment->data + exifName.size(), size);
        if (orientation > upright && orientation <= mostOrientation)
            remark(Gravity::harmless, "the picture is not turned as its orientation %u asks for", orientation);
    }
}

void remarkLosses(const jpeg_decompress_struct& decoder)
{
    remarkOrientation(decoder);
    if (decoder.out_color_space == JCS_GRAYSCALE && decoder.desired_number_of_colors == greyColours)
        remark(Gravity::harmless, "levels of grey pass through the decoder's quantizer and may be off by one");
    if (decoder.out_color_space == JCS_CMYK && decoder.saw_Adobe_marker == FALSE)
        remark(Gravity::grave, "its inks are taken for inverted ones, of which it tells nothing");
    if (decoder.density_unit == dotsPerCentimetre)
        remark(Gravity::harmless, "its resolution, in dots per centimetre, is not read");
}

// libjpeg comes back to setjmp from anywhere in here: no local may own anything.
LoadStatus readHeader(JpegPicture& picture, int wantPalette, ImageInfo& image)
{
    jpeg_decompress_struct& decoder = picture.decoder;
    decoder.err = jpeg_std_error(&picture.errors);
    picture.errors.error_exit = printAndJump;
    picture.errors.emit_message = hearMessage;
    picture.errors.output_message = tellMessage;
    decoder.client_data = &picture;
    if (setjmp(picture.jump) != 0)
        return refuseDecoder(picture, loadWrongFormat);

    jpeg_create_decompress(&decoder);
    jpeg_stdio_src(&decoder, picture.file);
    jpeg_save_markers(&decoder, exifMarker, keptOfExif);
    jpeg_read_header(&decoder, TRUE);
    picture.isInData = true;

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
    remarkLosses(decoder);
    return loadSuccess;
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (probedMark(request.path, mark, "JPEG") == nullptr)
        return loadWrongFormat;
    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;

    JpegState loaded{new (std::nothrow) JpegPicture{}};
    if (loaded.picture == nullptr)
        return refuseMemory();
    handOver(file, loaded.picture->file);
    status = readHeader(*loaded.picture, request.wantPalette, image);
    if (status != loadSuccess) {
        release(loaded);
        return status;
    }
    JpegState& state = threadState().raster.jpeg;
    release(state);
    state = loaded;
    return loadSuccess;
}

void cmykToRgb(u8* destination, const u8* source, u64 width)
{
    for (u64 x = 0; x < width; x++) {
        u32 key = source[4 * x + 3];
        for (u64 channel = 0; channel < 3; channel++)
            destination[3 * x + channel] = static_cast<u8>(source[4 * x + channel] * key >> 8);
    }
}

// As readHeader: libjpeg may jump back here.
LoadStatus readRows(JpegPicture& picture, u8* rows, u32 count, u32 bytesPerRow)
{
    if (setjmp(picture.jump) != 0)
        return refuseDecoder(picture, loadDecoderError);

    jpeg_decompress_struct& decoder = picture.decoder;
    const bool cmyk = decoder.out_color_space == JCS_CMYK;
    const u64 width = decoder.output_width;
    const u64 decodedBytes = width * static_cast<u64>(decoder.output_components);
    const u64 rowBytes = cmyk ? 3 * width : decodedBytes;
    const bool narrow = bytesPerRow < rowBytes;
    if ((cmyk || narrow) && picture.work.bytes == nullptr && !picture.work.allocate(decodedBytes))
        return refuseMemory();

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

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    JpegState& state = threadState().raster.jpeg;
    if (state.picture == nullptr)
        return refuseUnopened();
    if (!state.picture->started)
        return refuse(loadDecoderError, "it was opened without its palette, and then has no rows");
    return readRows(*state.picture, rows, count, bytesPerRow);
}

// A picture whose rows were not all read makes libjpeg jump back.
void finish(JpegPicture& picture)
{
    picture.isInData = false;
    if (setjmp(picture.jump) == 0 && picture.started)
        jpeg_finish_decompress(&picture.decoder);
}

LoadStatus endLoad()
{
    JpegState& state = threadState().raster.jpeg;
    if (state.picture != nullptr)
        finish(*state.picture);
    release(state);
    return loadSuccess;
}

} // namespace

void registerLoadJPEG()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
