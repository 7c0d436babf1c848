// tload quantize: a file becomes a PNG of few colours.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "commands.h"
#include "output.h"
#include "png_file.h"
#include "progress.h"
#include "temporary_file.h"

using Bytes = std::vector<u8>;

struct Palette {
    u8 colours[768] = {};
    i32 count = 0;
};

struct Size {
    i32 width;
    i32 height;
};

static Size parseSize(const std::string& text)
{
    constexpr i32 longestSide = 65520;
    Size size = {};
    int end = 0;
    if (sscanf(text.c_str(), "%5dx%5d%n", &size.width, &size.height, &end) != 2 ||
        static_cast<size_t>(end) != text.size() || std::min(size.width, size.height) < 1 ||
        std::max(size.width, size.height) > longestSide)
        throw Failure{exitUsage, "--size " + text,
                      "write width and height as 300x200, each from 1 to " + std::to_string(longestSide)};
    return size;
}

static Palette paletteOf(const Picture& picture)
{
    Palette palette;
    if (picture.kind == kindIndexed) {
        std::copy_n(picture.palette, sizeof palette.colours, palette.colours);
        palette.count = static_cast<i32>(picture.paletteColours);
    }
    return palette;
}

static Palette loadPalette(const std::string& file)
{
    const Picture picture(file, 0);
    const Palette palette = paletteOf(picture);
    if (palette.count == 0)
        throw Failure{exitUnsupportedVariant, file, "this file has no palette"};
    return palette;
}

static Bytes trueColours(const Picture& picture, const u8* pixels)
{
    Bytes colours(size_t{3} * picture.width * picture.height);
    const u64 bytesPerRow = rowBytes(picture);
    u8* rgb = colours.data();
    for (u64 y = 0; y < picture.height; y++) {
        const u8* row = pixels + y * bytesPerRow;
        for (u64 x = 0; x < picture.width; x++, rgb += 3) {
            if (picture.kind == kindBilevel)
                std::fill_n(rgb, 3, (row[x / 8] << x % 8 & 0x80) != 0 ? u8{0} : u8{255});
            else if (picture.kind == kindIndexed)
                memcpy(rgb, picture.palette + 3 * u64{row[x]}, 3);
            else if (picture.kind == kindRGB)
                memcpy(rgb, row + 3 * x, 3);
            else
                layOnWhite(row + 4 * x, rgb);
        }
    }
    return colours;
}

static std::string summary(const QuantizeRequest& request, const Picture& picture, i32 colours)
{
    return request.source + ": " + returnLoaderString(picture.format) + ", " + sizeText(picture) + ", " +
           colourText(picture) + " -> " + request.target + ": " + std::to_string(colours) +
           (colours == 1 ? " colour" : " colours");
}

static void checkRequest(const QuantizeRequest& request, const Picture& picture, const Palette& palette)
{
    if (request.keep > palette.count)
        throw Failure{exitUsage, "--keep " + std::to_string(request.keep),
                      palette.count == 0 ? "the picture has no palette, name a file with --palette"
                                         : "the palette has only " + std::to_string(palette.count) + " colours"};
    const bool isDithered = request.strength >= 0 || !request.size.empty();
    if (request.noise > 0 && isDithered && request.strength < 1)
        throw Failure{exitUsage, "--noise " + std::to_string(request.noise),
                      "with --size or --dither it needs a --dither of 1 to 16"};
    constexpr u32 longestRow = std::numeric_limits<i32>::max() / 3;
    if (picture.width > longestRow || picture.height > u32{std::numeric_limits<i32>::max()})
        throw Failure{exitBadData, picture.file, "the picture is too large (" + sizeText(picture) + " pixels)"};
}

// Finds the palette, unless it is given as it is to be, and the index of every pixel.
static Bytes quantize(const QuantizeRequest& request, const Bytes& rgb, Size from, Size to, Palette& palette)
{
    const bool isGiven = !request.paletteFile.empty() && request.keep == 0;
    const i32 stride = 3 * from.width;
    Bytes indices(static_cast<size_t>(from.width) * static_cast<size_t>(from.height));
    if (isGiven) {
        palette.count = std::min(palette.count, request.colours);
    } else {
        palette.count = request.colours;
        colorQuantize(rgb.data(), stride, indices.data(), from.width, from.width, from.height, palette.colours,
                      request.keep, &palette.count);
    }
    std::fill(palette.colours + 3 * palette.count, std::end(palette.colours), u8{0});

    if (request.strength >= 0 || !request.size.empty()) {
        indices.resize(static_cast<size_t>(to.width) * static_cast<size_t>(to.height));
        colorQuantizeDitherFS(rgb.data(), stride, indices.data(), to.width, from.width, from.height, to.width,
                              to.height, palette.colours, palette.count, std::max(request.strength, 0), request.noise);
    } else if (isGiven || request.noise > 0) {
        trueColorRemapToCmap(rgb.data(), stride, indices.data(), from.width, from.width, from.height, palette.colours,
                             palette.count, request.noise);
    }
    return indices;
}

ExitCode quantizePicture(const QuantizeRequest& request)
{
    resolveTarget(request.target);
    Palette palette;
    if (!request.paletteFile.empty())
        palette = loadPalette(request.paletteFile);
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, request.format);
    keepSource(picture, request.target);
    if (request.paletteFile.empty())
        palette = paletteOf(picture);
    const Size asked = request.size.empty() ? Size{} : parseSize(request.size);
    checkRequest(request, picture, palette);
    Pixels pixels = loadPixels(picture);
    const Size from = {static_cast<i32>(picture.width), static_cast<i32>(picture.height)};
    const Size to = request.size.empty() ? from : asked;
    const Bytes rgb = trueColours(picture, pixels.get());
    pixels.reset();
    srand(1); // the same picture every time
    const Bytes indices = quantize(request, rgb, from, to, palette);
    const std::string sentence = summary(request, picture, palette.count);

    picture.kind = kindIndexed;
    picture.width = static_cast<u32>(to.width);
    picture.height = static_cast<u32>(to.height);
    std::copy(std::begin(palette.colours), std::end(palette.colours), picture.palette);
    TemporaryFile file(request.target);
    writePng(file, picture, indices.data(), progress->percentWritten);
    file.moveToTarget();
    progress.reset();
    puts(printable(sentence).c_str());
    printComplaint(picture);
    return exitSuccess;
}
