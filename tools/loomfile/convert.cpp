// loomfile convert: a file becomes a PNG, a draft in a WIF file, or a picture of one bit a pixel.
#include <algorithm>
#include <cerrno>
#include <iterator>

#include "batch/facts.h"
#include "commands.h"
#include "lift_files.h"
#include "messages.h"
#include "output_target.h"
#include "png_file.h"
#include "progress.h"

static std::string summary(const OutputFile& target, const Picture& picture, const std::string& more)
{
    const std::string first = picture.info.firstPartFile;
    return picture.file + ": " + picture.info.formatName + ", " + sizeText(picture.info) + ", " +
           colourText(picture.info) + (first.empty() ? "" : ", the whole design from " + first + " on") + " -> " +
           target.target + more;
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

static void writePicture(const ConvertRequest& request, Picture& picture, OutputFile& target,
                         std::atomic<int>& percentWritten)
{
    Pixels pixels = loadPixels(picture);
    changeTone(request, picture, pixels);
    writePng(target, picture, pixels.get(), percentWritten);
}

static void writeLifts(Picture& picture, OutputFile& target, std::atomic<int>& percentWritten)
{
    Lifts lifts(picture, "write a .png, which takes the colours");
    if (hasEnding(target.target, ".bmp"))
        writeBmp(target, lifts, percentWritten);
    else
        writeTiff(target, lifts, percentWritten);
}

// Returns what the draft has.
static std::string writeDraft(Picture& picture, OutputFile& target)
{
    const DraftHandle draft = openDraft(picture);
    LoomfileFailure failure = loomfileFailure();
    u64 size = 0;
    const char* text = loomfileDraftWif(draft.get(), &size, &failure);
    if (text == nullptr)
        throw Failure{failure.status, picture.file, failure.sentence};
    if (fwrite(text, 1, size, target.stream) != size)
        failToWrite(target.target, errno);
    LoomfileDraftInfo info = loomfileDraftInfo();
    loomfileGetDraftInfo(draft.get(), &info);
    return ": " + countText(info.shafts, "shaft") + ", " +
           (info.hasLiftPlan != 0 ? "a lift plan" : countText(info.treadles, "treadle"));
}

static Result convertPicture(const ConvertRequest& request, const OpenOptions& options, const Input& input,
                             OutputFile& target)
{
    auto progress =
        std::make_unique<Progress>(baseNameOf(input.path), baseNameOf(target.target), isOneFile(request.batch));
    Picture picture(input.path, options);
    keepSource(picture, target.target);
    std::string more;
    if (target.target == standardStream || hasEnding(target.target, ".png"))
        writePicture(request, picture, target, progress->percentWritten);
    else if (hasEnding(target.target, ".wif"))
        more = writeDraft(picture, target);
    else
        writeLifts(picture, target, progress->percentWritten);
    progress.reset(); // clears its line
    Result result;
    tellSummary(result, target, summary(target, picture, more));
    tellRemarks(result, picture);
    tellFacts(result, input, picture, !request.batch.report.empty());
    return result;
}

int convertPictures(const ConvertRequest& request, const OpenOptions& options)
{
    Batch batch;
    batch.endings = {".png", ".wif", ".bmp", ".tif", ".tiff"};
    batch.target = request.target;
    // Told before the picture is read.
    if (request.target == standardStream)
        checkPictureTarget(request.target, request.batch.mayReplace || request.batch.skipExisting);
    else if (!request.target.empty())
        checkTarget(request.target, batch.endings, request.batch.mayReplace || request.batch.skipExisting);
    batch.job = [&](const Input& input, OutputFile* target) {
        return convertPicture(request, options, input, *target);
    };
    return runBatch(batch, request.batch);
}
