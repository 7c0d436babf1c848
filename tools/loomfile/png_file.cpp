#include "png_file.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

struct WriteProblem {
    int errorNumber; // 0 when it is not the file that failed
    char text[200];
};

static void noteProblem(png_structp png, png_const_charp message)
{
    auto* problem = static_cast<WriteProblem*>(png_get_error_ptr(png));
    snprintf(problem->text, sizeof problem->text, "%s", message);
    png_longjmp(png, 1);
}

static void ignoreWarning(png_structp, png_const_charp) {}

static void writeBytes(png_structp png, png_bytep bytes, size_t size)
{
    if (fwrite(bytes, 1, size, static_cast<FILE*>(png_get_io_ptr(png))) == size)
        return;
    static_cast<WriteProblem*>(png_get_error_ptr(png))->errorNumber = errno;
    png_error(png, "write error");
}

static void flushNothing(png_structp) {}

static int colourType(u32 kind)
{
    switch (kind) {
    case kindBilevel:
        return PNG_COLOR_TYPE_GRAY;
    case kindIndexed:
        return PNG_COLOR_TYPE_PALETTE;
    case kindRGBA:
        return PNG_COLOR_TYPE_RGB_ALPHA;
    default:
        return PNG_COLOR_TYPE_RGB;
    }
}

// Enough for every pixel and every colour that is not black.
static int neededColours(const Picture& picture, const u8* pixels)
{
    const u8* last = pixels + u64{picture.info.rowBytes} * picture.info.height;
    int needed = *std::max_element(pixels, last) + 1;
    for (int colour = 255; colour >= needed; colour--) {
        const u8* rgb = picture.info.palette + 3 * colour;
        if (rgb[0] != 0 || rgb[1] != 0 || rgb[2] != 0)
            return colour + 1;
    }
    return needed;
}

static void setPalette(png_structp png, png_infop info, const Picture& picture, const u8* pixels)
{
    png_color colours[256];
    for (int i = 0; i < 256; i++)
        colours[i] = {picture.info.palette[3 * i], picture.info.palette[3 * i + 1], picture.info.palette[3 * i + 2]};
    png_set_PLTE(png, info, colours, neededColours(picture, pixels));
}

static void setResolution(png_structp png, png_infop info, const Picture& picture)
{
    auto pixelsPerMetre = [](u32 resolution) { return static_cast<u32>(resolution / 25.4 + 0.5); };
    if (picture.info.resX != 0 || picture.info.resY != 0)
        png_set_pHYs(png, info, pixelsPerMetre(picture.info.resX), pixelsPerMetre(picture.info.resY),
                     PNG_RESOLUTION_METER);
}

static void setMultiplier(png_structp png, png_infop info, const char* key, u32 multiplier)
{
    char keyText[8];
    char value[16];
    snprintf(keyText, sizeof keyText, "%s", key);
    int length = snprintf(value, sizeof value, "%u", multiplier);
    png_text text = {};
    text.compression = PNG_TEXT_COMPRESSION_NONE;
    text.key = keyText;
    text.text = value;
    text.text_length = static_cast<size_t>(length);
    png_set_text(png, info, &text, 1);
}

// As small as it gets before the time begins to grow faster than the size shrinks.
static void setCompression(png_structp png, u32 kind)
{
    bool trueColour = kind == kindRGB || kind == kindRGBA;
    png_set_compression_level(png, trueColour ? 5 : 6);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, trueColour ? PNG_FILTER_UP : PNG_FILTER_NONE);
    png_set_compression_buffer_size(png, 1 << 16);
}

static void writeEverything(png_structp png, png_infop info, const Picture& picture, const u8* pixels,
                            std::atomic<int>& percentWritten)
{
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, picture.info.width, picture.info.height, picture.info.kind == kindBilevel ? 1 : 8,
                 colourType(picture.info.kind), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    setCompression(png, picture.info.kind);
    if (picture.info.kind == kindIndexed)
        setPalette(png, info, picture, pixels);
    setResolution(png, info, picture);
    setMultiplier(png, info, "MulX", picture.info.mulX);
    setMultiplier(png, info, "MulY", picture.info.mulY);
    png_write_info(png, info);
    if (picture.info.kind == kindBilevel)
        png_set_invert_mono(png); // in a PNG a set bit is white

    const u64 bytesPerRow = picture.info.rowBytes;
    for (u64 y = 0; y < picture.info.height; y++) {
        png_write_row(png, pixels + y * bytesPerRow);
        percentWritten = static_cast<int>((y + 1) * 100 / picture.info.height);
    }
    png_write_end(png, nullptr);
}

// Has nothing to destroy: a problem jumps back here from inside the PNG library.
static bool writeGuarded(png_structp png, png_infop info, const Picture& picture, const u8* pixels,
                         std::atomic<int>& percentWritten)
{
    if (setjmp(png_jmpbuf(png)) != 0)
        return false;
    writeEverything(png, info, picture, pixels, percentWritten);
    return true;
}

void writePng(OutputFile& file, const Picture& picture, const u8* pixels, std::atomic<int>& percentWritten)
{
    WriteProblem problem = {ENOMEM, ""};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &problem, noteProblem, ignoreWarning);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    bool written = false;
    if (info != nullptr) {
        problem.errorNumber = 0;
        png_set_write_fn(png, file.stream, writeBytes, flushNothing);
        written = writeGuarded(png, info, picture, pixels, percentWritten);
    }
    png_destroy_write_struct(&png, &info);
    if (written)
        return;
    if (problem.errorNumber != 0)
        failToWrite(file.target, problem.errorNumber);
    throw Failure{exitCannotWrite, file.target,
                  std::string("no PNG can be made of this picture (") + problem.text + ")"};
}
