// loomfile thumbnail: a small picture of a file, in its true proportions.
#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "commands.h"
#include "messages.h"
#include "output_file.h"
#include "png_file.h"
#include "progress.h"

static LoomfileThumbnailOptions wanted(const ThumbnailRequest& request)
{
    LoomfileThumbnailOptions options = loomfileThumbnailOptions();
    options.side = request.side;
    options.endsPerCm = request.sett.x;
    options.picksPerCm = request.sett.y;
    return options;
}

// As indices, when there are no more colours than a palette has room for: smaller files, sooner written. Lifts have
// few.
static bool makeIndexed(LoomfileInfo& info, std::vector<u8>& pixels)
{
    std::unordered_map<u32, u8> numbers;
    std::vector<u8> indices(pixels.size() / 4);
    u32 last = 0;
    u8 lastIndex = 0;
    for (size_t i = 0; i < indices.size(); i++) {
        u32 colour;
        memcpy(&colour, &pixels[4 * i], sizeof colour);
        if (colour != last || numbers.empty()) {
            const auto [place, isNew] = numbers.try_emplace(colour, static_cast<u8>(numbers.size()));
            if (numbers.size() > 256)
                return false;
            if (isNew)
                std::copy_n(&pixels[4 * i], 3, info.palette + size_t{3} * place->second);
            last = colour;
            lastIndex = place->second;
        }
        indices[i] = lastIndex;
    }
    std::fill(info.palette + 3 * numbers.size(), std::end(info.palette), u8{0});
    info.kind = kindIndexed;
    info.rowBytes = info.width;
    pixels = std::move(indices);
    return true;
}

static void dropAlpha(LoomfileInfo& info, std::vector<u8>& pixels)
{
    for (size_t i = 0; i < pixels.size() / 4; i++)
        std::copy_n(&pixels[4 * i], 3, &pixels[3 * i]);
    info.kind = kindRGB;
    info.rowBytes = 3 * info.width;
}

// The picture's info becomes the thumbnail's.
static std::vector<u8> drawThumbnail(const LoomfileThumbnailOptions& options, Picture& picture)
{
    LoomfileInfo& info = picture.info;
    loomfileGetThumbnailSize(picture.handle.get(), &options, &info.width, &info.height);
    info.kind = kindRGBA;
    info.rowBytes = 4 * info.width;
    info.resX = info.resY = 0;
    info.mulX = info.mulY = 1;
    std::vector<u8> pixels(size_t{info.rowBytes} * info.height);
    LoomfileFailure failure = loomfileFailure();
    if (loomfileDrawThumbnail(picture.handle.get(), &options, pixels.data(), info.rowBytes, &failure) != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    bool isOpaque = true;
    for (size_t i = 3; i < pixels.size() && isOpaque; i += 4)
        isOpaque = pixels[i] == 255;
    if (isOpaque && !makeIndexed(info, pixels))
        dropAlpha(info, pixels);
    return pixels;
}

ExitCode makeThumbnail(const ThumbnailRequest& request, const OpenOptions& options)
{
    checkPictureTarget(request.target, request.mayReplace);
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, options);
    keepSource(picture, request.target);
    const std::string line = picture.file + ": " + picture.info.formatName + ", " + sizeText(picture.info);
    const std::vector<u8> pixels = drawThumbnail(wanted(request), picture);
    OutputFile file(request.target, request.mayReplace);
    writePng(file, picture, pixels.data(), progress->percentWritten);
    file.moveToTarget();
    progress.reset(); // clears its line
    printSummary(request.target, line + " -> " + request.target + ", " + sizeText(picture.info));
    return printRemarks(picture);
}
