// loomfile thumbnail: a small picture of a file, in its true proportions.
#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "batch/facts.h"
#include "commands.h"
#include "messages.h"
#include "output_target.h"
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

struct Thumbnail {
    LoomfileInfo info;
    std::vector<u8> pixels;
};

// As indices, when there are no more colours than a palette has room for: smaller files, sooner written. Lifts have
// few.
static bool makeIndexed(Thumbnail& thumbnail)
{
    std::unordered_map<u32, u8> numbers;
    std::vector<u8> indices(thumbnail.pixels.size() / 4);
    u32 last = 0;
    u8 index = 0;
    for (size_t i = 0; i < indices.size(); i++) {
        const u8* rgb = &thumbnail.pixels[4 * i];
        u32 colour;
        memcpy(&colour, rgb, sizeof colour);
        if (colour != last || numbers.empty()) {
            const auto [place, isNew] = numbers.try_emplace(colour, static_cast<u8>(numbers.size()));
            if (numbers.size() > 256)
                return false;
            last = colour;
            index = place->second;
            if (isNew)
                std::copy_n(rgb, 3, thumbnail.info.palette + size_t{3} * index);
        }
        indices[i] = index;
    }
    std::fill(thumbnail.info.palette + 3 * numbers.size(), std::end(thumbnail.info.palette), u8{0});
    thumbnail.info.kind = kindIndexed;
    thumbnail.info.rowBytes = thumbnail.info.width;
    thumbnail.pixels = std::move(indices);
    return true;
}

static void dropAlpha(Thumbnail& thumbnail)
{
    for (size_t i = 0; i < thumbnail.pixels.size() / 4; i++)
        std::copy_n(&thumbnail.pixels[4 * i], 3, &thumbnail.pixels[3 * i]);
    thumbnail.info.kind = kindRGB;
    thumbnail.info.rowBytes = 3 * thumbnail.info.width;
}

static Thumbnail drawThumbnail(const ThumbnailRequest& request, const Picture& picture)
{
    const LoomfileThumbnailOptions options = wanted(request);
    Thumbnail thumbnail = {loomfileInfo(), {}};
    LoomfileInfo& info = thumbnail.info;
    loomfileGetThumbnailSize(picture.handle.get(), &options, &info.width, &info.height);
    info.kind = kindRGBA;
    info.rowBytes = 4 * info.width;
    info.mulX = info.mulY = 1;
    std::vector<u8>& pixels = thumbnail.pixels;
    pixels.resize(size_t{info.rowBytes} * info.height);
    LoomfileFailure failure = loomfileFailure();
    if (loomfileDrawThumbnail(picture.handle.get(), &options, pixels.data(), info.rowBytes, &failure) != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    bool isOpaque = true;
    for (size_t i = 3; i < pixels.size() && isOpaque; i += 4)
        isOpaque = pixels[i] == 255;
    if (isOpaque && !makeIndexed(thumbnail))
        dropAlpha(thumbnail);
    return thumbnail;
}

static Result makeThumbnail(const ThumbnailRequest& request, const OpenOptions& options, const Input& input,
                            OutputFile& target)
{
    auto progress =
        std::make_unique<Progress>(baseNameOf(input.path), baseNameOf(target.target), isOneFile(request.batch));
    Picture picture(input.path, options);
    keepSource(picture, target.target);
    const Thumbnail thumbnail = drawThumbnail(request, picture);
    Result result;
    tellFacts(result, input, picture, !request.batch.report.empty());
    const std::string line = picture.file + ": " + picture.info.formatName + ", " + sizeText(picture.info);
    // From here on the picture is the thumbnail.
    picture.info = thumbnail.info;
    writePng(target, picture, thumbnail.pixels.data(), progress->percentWritten);
    progress.reset(); // clears its line
    tellSummary(result, target, line + " -> " + target.target + ", " + sizeText(picture.info));
    tellRemarks(result, picture);
    return result;
}

int makeThumbnails(const ThumbnailRequest& request, const OpenOptions& options)
{
    Batch batch;
    batch.endings = {".png"};
    batch.target = request.target;
    if (!request.target.empty())
        checkPictureTarget(request.target, request.batch.mayReplace || request.batch.skipExisting);
    batch.job = [&](const Input& input, OutputFile* target) { return makeThumbnail(request, options, input, *target); };
    return runBatch(batch, request.batch);
}
