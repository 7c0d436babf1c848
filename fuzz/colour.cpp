// The colour and image utilities on pictures of odd sizes and strides: the first byte of the input chooses one, then
// come its numbers and its pixels.
#include <cstdlib>
#include <cstring>

#include "fuzz/input.h"

struct Size {
    i32 width;
    i32 height;
    i32 stride; // in elements
};

static Size takeSize(Input& input, i32 pixelBytes)
{
    const i32 width = takeNumber(input, 0, 60);
    const i32 height = takeNumber(input, 0, 40);
    return {width, height, width * pixelBytes + takeNumber(input, 0, 7)};
}

static std::vector<u8> takePixels(Input& input, Size size)
{
    return takeBytes(input, static_cast<size_t>(size.stride) * static_cast<size_t>(size.height));
}

static i32 bytesOfKind(i32 kind)
{
    return kind == kindRGBA ? 4 : kind == kindRGB ? 3 : 1;
}

static void quantize(Input& input, int way)
{
    const i32 count = takeNumber(input, -1, 300);
    const i32 extra = takeNumber(input, -2, 120); // fixed colours or noise
    std::vector<u8> palette = takeBytes(input, 768);
    const Size size = takeSize(input, way == 1 ? 4 : 3);
    const i32 indexStride = size.width + takeNumber(input, 0, 3);
    std::vector<u8> indices(static_cast<size_t>(indexStride * size.height));
    const std::vector<u8> pixels = takePixels(input, size);
    i32 colours = count;
    switch (way) {
    case 0:
        if (size.width > 0 && size.height > 0)
            checkTrueColorPalette(pixels.data(), size.stride, size.width, size.height, palette.data());
        break;
    case 1:
        if (size.width > 0 && size.height > 0)
            checkRGBAPalette(pixels.data(), size.stride, size.width, size.height, palette.data());
        break;
    case 2:
        colorQuantize(pixels.data(), size.stride, indices.data(), indexStride, size.width, size.height, palette.data(),
                      extra, &colours);
        break;
    case 3:
        colorQuantize(nullptr, 0, indices.data(), indexStride, size.width, size.height, palette.data(), extra,
                      &colours);
        break;
    default:
        trueColorRemapToCmap(pixels.data(), size.stride, indices.data(), indexStride, size.width, size.height,
                             palette.data(), std::min(count, 256), extra);
    }
}

template <typename Index>
static void dither(Input& input,
                   void (*function)(const u8*, i32, Index*, i32, i32, i32, i32, i32, const u8*, i32, i32, i32))
{
    const i32 count = takeNumber(input, 0, 400);
    const i32 strength = takeNumber(input, -1, 20), noise = takeNumber(input, -1, 120);
    const std::vector<u8> palette = takeBytes(input, 3 * static_cast<size_t>(count));
    const Size size = takeSize(input, 3);
    const i32 width = takeNumber(input, 0, 80), height = takeNumber(input, 0, 80);
    const i32 stride = width + takeNumber(input, 0, 3);
    std::vector<Index> indices(static_cast<size_t>(stride * height));
    const std::vector<u8> pixels = takePixels(input, size);
    function(pixels.data(), size.stride, indices.data(), stride, size.width, size.height, width, height, palette.data(),
             count, strength, noise);
}

static void render(Input& input)
{
    const i32 pixelBytes = takeNumber(input, 0, 5), kind = takeNumber(input, 0, 2);
    const Size target = takeSize(input, pixelBytes);
    const Size source = takeSize(input, bytesOfKind(kind));
    const i32 x = takeNumber(input, -30000, 30000), y = takeNumber(input, -30000, 30000);
    const i32 first = takeNumber(input, -1000, 1000);
    const i32 screen = takeNumber(input, -1, 60000), resolution = takeNumber(input, -1, 60000);
    const float zoom = static_cast<float>(takeNumber(input, -1, 2000)) / 64;
    const std::vector<u8> palette = takeBytes(input, 768);
    std::vector<u8> rows(static_cast<size_t>(target.stride * target.height));
    const std::vector<u8> pixels = takePixels(input, source);
    renderRealImg(rows.data(), target.stride, pixelBytes, x, first, target.width, target.height, y, screen, screen,
                  pixels.data(), source.stride, source.width, source.height, kind, palette.data(), resolution,
                  resolution, zoom);
}

static void changeTone(Input& input)
{
    const i32 kind = takeByte(input) % 8;
    std::vector<u8> palette = takeBytes(input, 768);
    const Size size = takeSize(input, kind == kindIndexed ? 1 : kind == kindRGBA ? 4 : 3);
    std::vector<u8> pixels = takePixels(input, size);
    contrastStretch(pixels.data(), size.stride, kind, size.width, size.height, palette.data());
}

static void flatten(Input& input)
{
    const i32 checkerboard = takeByte(input) & 1;
    const Size size = takeSize(input, 4);
    const std::vector<u8> pixels = takePixels(input, size);
    u8* buffer = static_cast<u8*>(malloc(std::max<size_t>(pixels.size(), 1)));
    if (!pixels.empty())
        memcpy(buffer, pixels.data(), pixels.size());
    i32 stride = size.stride;
    free(collapseRGBA(buffer, size.width, size.height, &stride, checkerboard));
}

static void repeat(Input& input)
{
    const i32 kind = takeByte(input) % 8;
    const Size size = takeSize(input, bytesOfKind(kind));
    std::vector<i32> table;
    for (i32 row = 0; row < size.height; row++)
        table.push_back(takeNumber(input, -1, size.height + 1));
    std::vector<u8> pixels = takePixels(input, size);
    copyTableEqualY(pixels.data(), size.stride, size.height, table.data());
    u16 across, along;
    getRepeatBorder(pixels.data(), kind, size.width, size.height, size.stride, &across, &along);
    free(selfAvoidTable(takeNumber(input, -1, 40), size.width, size.height));
}

static void convertColours(Input& input)
{
    const i32 colour[] = {takeNumber(input, -20000, 20000), takeNumber(input, -20000, 20000),
                          takeNumber(input, -20000, 20000)};
    u32 result[3];
    u8 red, green, blue;
    RGBtoHSL(colour, result);
    HSLtoRGB(colour, result);
    Lab2RGB100(colour[0], colour[1], colour[2], &red, &green, &blue);
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    Input input{data, size};
    const int choice = takeByte(input) % 12;
    switch (choice) {
    case 5:
        dither(input, colorQuantizeDitherFS);
        break;
    case 6:
        dither(input, colorQuantizeDitherFS16);
        break;
    case 7:
        render(input);
        break;
    case 8:
        changeTone(input);
        break;
    case 9:
        flatten(input);
        break;
    case 10:
        repeat(input);
        break;
    case 11:
        convertColours(input);
        break;
    default:
        quantize(input, choice);
    }
    return 0;
}
