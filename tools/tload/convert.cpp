// tload convert: a file becomes a PNG.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "commands.h"
#include "output.h"
#include "png_file.h"
#include "progress.h"
#include "temporary_file.h"

static std::string summary(const ConvertRequest& request, const Picture& picture)
{
    const std::string beginning =
        picture.firstPartFile.empty() ? "" : ", the whole design from " + picture.firstPartFile + " on";
    return request.source + ": " + returnLoaderString(picture.format) + ", " + sizeText(picture) + ", " +
           colourText(picture) + beginning + " -> " + request.target;
}

// Colours that the file does not set stay black.
static void stretchContrast(Picture& picture, u8* pixels)
{
    contrastStretch(pixels, static_cast<i32>(rowBytes(picture)), static_cast<i32>(picture.kind),
                    static_cast<i32>(picture.width), static_cast<i32>(picture.height), picture.palette);
    std::fill(picture.palette + size_t{3} * picture.paletteColours, std::end(picture.palette), u8{0});
}

static void layOnBackground(Picture& picture, Pixels& pixels, bool checker)
{
    auto stride = static_cast<i32>(rowBytes(picture));
    pixels.reset(collapseRGBA(pixels.release(), static_cast<i32>(picture.width), static_cast<i32>(picture.height),
                              &stride, checker ? 1 : 0));
    picture.kind = kindRGB;
}

static void changeTone(const ConvertRequest& request, Picture& picture, Pixels& pixels)
{
    const bool stretches = request.stretch && picture.kind != kindBilevel;
    const bool flattens = !request.background.empty() && picture.kind == kindRGBA;
    if ((stretches || flattens) && (rowBytes(picture) > INT32_MAX || picture.height > INT32_MAX))
        throw Failure{exitOutOfMemory, picture.file, "the picture is too large to change its colours"};
    if (stretches)
        stretchContrast(picture, pixels.get());
    if (flattens)
        layOnBackground(picture, pixels, request.background == "checker");
}

ExitCode convertPicture(const ConvertRequest& request)
{
    resolveTarget(request.target); // a target that cannot be one is told before the picture is read
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, request.format);
    keepSource(picture, request.target);
    Pixels pixels = loadPixels(picture);
    changeTone(request, picture, pixels);

    TemporaryFile file(request.target);
    writePng(file, picture, pixels.get(), progress->percentWritten);
    file.moveToTarget();
    progress.reset(); // clears its line
    puts(printable(summary(request, picture)).c_str());
    printComplaint(picture);
    return exitSuccess;
}
