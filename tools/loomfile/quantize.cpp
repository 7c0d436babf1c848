// loomfile quantize: a file becomes a PNG of few colours.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "commands.h"
#include "messages.h"
#include "one_picture.h"
#include "output_target.h"
#include "png_file.h"
#include "progress.h"

using Bytes = std::vector<u8>;

struct Palette {
    u8 colours[768] = {};
    i32 count = 0;
};

struct Size {
    i32 width;
    i32 height;
};

static Palette loadPalette(const std::string& file, OpenOptions options)
{
    options.format = 0;
    const Picture picture(file, options);
    const LoomfileInfo& info = picture.info;
    if (info.kind != kindIndexed || info.colourCount == 0)
        throw Failure{exitUnsupportedVariant, picture.file, "this file has no palette"};
    Palette palette;
    std::copy_n(info.palette, sizeof palette.colours, palette.colours);
    palette.count = static_cast<i32>(info.colourCount);
    return palette;
}

static Bytes trueColours(const LoomfileInfo& info, const u8* pixels)
{
    Bytes colours(size_t{3} * info.width * info.height);
    u8* rgb = colours.data();
    for (u64 y = 0; y < info.height; y++) {
        const u8* row = pixels + y * info.rowBytes;
        for (u64 x = 0; x < info.width; x++, rgb += 3) {
            if (info.kind == kindBilevel)
                std::fill_n(rgb, 3, (row[x / 8] << x % 8 & 0x80) != 0 ? u8{0} : u8{255});
            else if (info.kind == kindIndexed)
                memcpy(rgb, info.palette + 3 * u64{row[x]}, 3);
            else if (info.kind == kindRGB)
                memcpy(rgb, row + 3 * x, 3);
            else
                layOnWhite(row + 4 * x, rgb);
        }
    }
    return colours;
}

static std::string summary(const QuantizeRequest& request, const Picture& picture, i32 colours)
{
    return picture.file + ": " + picture.info.formatName + ", " + sizeText(picture.info) + ", " +
           colourText(picture.info) + " -> " + request.target + ": " + countText(static_cast<u64>(colours), "colour");
}

static bool isDithered(const QuantizeRequest& request)
{
    return request.strength >= 0 || request.size.x > 0;
}

static void checkRequest(const QuantizeRequest& request, const Palette& palette)
{
    if (request.keep > 0 && request.paletteFile.empty())
        throw Failure{exitUsage, "--keep " + std::to_string(request.keep), "it needs a --palette to keep colours of"};
    if (request.keep > palette.count)
        throw Failure{exitUsage, "--keep " + std::to_string(request.keep),
                      "the palette has only " + countText(static_cast<u64>(palette.count), "colour")};
    if (request.noise > 0 && isDithered(request) && request.strength < 1)
        throw Failure{exitUsage, "--noise " + std::to_string(request.noise),
                      "with --size or --dither it needs a --dither of 1 to 16"};
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

    if (isDithered(request)) {
        indices.resize(static_cast<size_t>(to.width) * static_cast<size_t>(to.height));
        colorQuantizeDitherFS(rgb.data(), stride, indices.data(), to.width, from.width, from.height, to.width,
                              to.height, palette.colours, palette.count, std::max(request.strength, 0), request.noise);
    } else if (isGiven || request.noise > 0) {
        trueColorRemapToCmap(rgb.data(), stride, indices.data(), from.width, from.width, from.height, palette.colours,
                             palette.count, request.noise);
    }
    return indices;
}

static Result writeQuantized(OutputFile& target, const QuantizeRequest& request, const OpenOptions& options)
{
    Palette palette;
    if (!request.paletteFile.empty())
        palette = loadPalette(request.paletteFile, options);
    checkRequest(request, palette);
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, options);
    keepSource(picture, request.target);
    requireUsualSize(picture);
    Pixels pixels = loadPixels(picture);
    LoomfileInfo& info = picture.info;
    const Size from = {static_cast<i32>(info.width), static_cast<i32>(info.height)};
    const Size asked = {static_cast<i32>(request.size.x), static_cast<i32>(request.size.y)};
    const Size to = asked.width == 0 ? from : asked;
    const Bytes rgb = trueColours(info, pixels.get());
    pixels.reset();
    srand(1); // the same picture every time
    const Bytes indices = quantize(request, rgb, from, to, palette);
    const std::string line = summary(request, picture, palette.count);

    info.kind = kindIndexed;
    info.width = static_cast<u32>(to.width);
    info.height = static_cast<u32>(to.height);
    info.rowBytes = info.width;
    std::copy(std::begin(palette.colours), std::end(palette.colours), info.palette);
    writePng(target, picture, indices.data(), progress->percentWritten);
    progress.reset();
    Result result;
    tellSummary(result, target, line);
    tellRemarks(result, picture);
    return result;
}

int quantizePicture(const QuantizeRequest& request, const OpenOptions& options)
{
    return makePicture(request,
                       [&](const Input&, OutputFile* target) { return writeQuantized(*target, request, options); });
}
