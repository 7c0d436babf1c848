// loomfile convert: a file becomes a PNG.
#include <algorithm>
#include <iterator>

#include "commands.h"
#include "messages.h"
#include "output_file.h"
#include "png_file.h"
#include "progress.h"

static std::string summary(const ConvertRequest& request, const Picture& picture)
{
    const std::string first = picture.info.firstPartFile;
    return picture.file + ": " + picture.info.formatName + ", " + sizeText(picture.info) + ", " +
           colourText(picture.info) + (first.empty() ? "" : ", the whole design from " + first + " on") + " -> " +
           request.target;
}

// Colours that the file does not set stay black.
static void stretchContrast(LoomfileInfo& info, u8* pixels)
{
    contrastStretch(pixels, static_cast<i32>(info.rowBytes), static_cast<i32>(info.kind), static_cast<i32>(info.width),
                    static_cast<i32>(info.height), info.palette);
    std::fill(info.palette + size_t{3} * info.colourCount, std::end(info.palette), u8{0});
}

static void layOnBackground(LoomfileInfo& info, Pixels& pixels, bool checker)
{
    auto stride = static_cast<i32>(info.rowBytes);
    pixels.reset(collapseRGBA(pixels.release(), static_cast<i32>(info.width), static_cast<i32>(info.height), &stride,
                              checker ? 1 : 0));
    info.kind = kindRGB;
    info.rowBytes = static_cast<u32>(stride);
}

static void changeTone(const ConvertRequest& request, Picture& picture, Pixels& pixels)
{
    const bool stretches = request.stretch && picture.info.kind != kindBilevel;
    const bool flattens = !request.background.empty() && picture.info.kind == kindRGBA;
    if (stretches || flattens)
        requireUsualSize(picture);
    if (stretches)
        stretchContrast(picture.info, pixels.get());
    if (flattens)
        layOnBackground(picture.info, pixels, request.background == "checker");
}

ExitCode convertPicture(const ConvertRequest& request, const OpenOptions& options)
{
    checkPictureTarget(request.target, request.mayReplace); // told before the picture is read
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, options);
    keepSource(picture, request.target);
    Pixels pixels = loadPixels(picture);
    changeTone(request, picture, pixels);

    OutputFile file(request.target, request.mayReplace);
    writePng(file, picture, pixels.get(), progress->percentWritten);
    file.moveToTarget();
    progress.reset(); // clears its line
    printSummary(request.target, summary(request, picture));
    return printRemarks(picture);
}
