// loomfile convert: a file becomes a PNG, a draft in a WIF file, or a picture of one bit a pixel.
#include <algorithm>
#include <cerrno>
#include <iterator>

#include "commands.h"
#include "lift_files.h"
#include "messages.h"
#include "output_file.h"
#include "png_file.h"
#include "progress.h"

static std::string summary(const ConvertRequest& request, const Picture& picture, const std::string& more)
{
    const std::string first = picture.info.firstPartFile;
    return picture.file + ": " + picture.info.formatName + ", " + sizeText(picture.info) + ", " +
           colourText(picture.info) + (first.empty() ? "" : ", the whole design from " + first + " on") + " -> " +
           request.target + more;
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

static void writePicture(const ConvertRequest& request, Picture& picture, std::atomic<int>& percentWritten)
{
    Pixels pixels = loadPixels(picture);
    changeTone(request, picture, pixels);
    OutputFile file(request.target, request.mayReplace);
    writePng(file, picture, pixels.get(), percentWritten);
    file.moveToTarget();
}

static void writeLifts(const ConvertRequest& request, Picture& picture, std::atomic<int>& percentWritten)
{
    Lifts lifts(picture, "write a .png, which takes the colours");
    OutputFile file(request.target, request.mayReplace);
    if (hasEnding(request.target, ".bmp"))
        writeBmp(file, lifts, percentWritten);
    else
        writeTiff(file, lifts, percentWritten);
    file.moveToTarget();
}

// Returns what the draft has.
static std::string writeDraft(const ConvertRequest& request, Picture& picture)
{
    const DraftHandle draft = openDraft(picture);
    LoomfileFailure failure = loomfileFailure();
    u64 size = 0;
    const char* text = loomfileDraftWif(draft.get(), &size, &failure);
    if (text == nullptr)
        throw Failure{failure.status, picture.file, failure.sentence};
    OutputFile file(request.target, request.mayReplace);
    if (fwrite(text, 1, size, file.stream) != size)
        failToWrite(request.target, errno);
    file.moveToTarget();
    LoomfileDraftInfo info = loomfileDraftInfo();
    loomfileGetDraftInfo(draft.get(), &info);
    return ": " + countText(info.shafts, "shaft") + ", " +
           (info.hasLiftPlan != 0 ? "a lift plan" : countText(info.treadles, "treadle"));
}

ExitCode convertPicture(const ConvertRequest& request, const OpenOptions& options)
{
    // Told before the picture is read.
    if (request.target == standardStream)
        checkPictureTarget(request.target, request.mayReplace);
    else
        checkTarget(request.target, {".png", ".wif", ".bmp", ".tif", ".tiff"}, request.mayReplace);
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, options);
    keepSource(picture, request.target);
    std::string more;
    if (request.target == standardStream || hasEnding(request.target, ".png"))
        writePicture(request, picture, progress->percentWritten);
    else if (hasEnding(request.target, ".wif"))
        more = writeDraft(request, picture);
    else
        writeLifts(request, picture, progress->percentWritten);
    progress.reset(); // clears its line
    printSummary(request.target, summary(request, picture, more));
    return printRemarks(picture);
}
