#include "sheet/design.h"

#include <algorithm>
#include <cstdio>

#include "batch/facts.h"
#include "draft_facts.h"
#include "messages.h"
#include "sheet/small_png.h"

static constexpr u32 largestEdge = 2048;

static LoomfileThumbnailOptions sized(const SheetRequest& request, u32 side)
{
    LoomfileThumbnailOptions options = loomfileThumbnailOptions();
    options.side = side;
    options.endsPerCm = request.sett.x;
    options.picksPerCm = request.sett.y;
    return options;
}

static SmallPicture drawn(const Picture& picture, const LoomfileThumbnailOptions& options)
{
    SmallPicture result;
    LoomfileFailure failure = loomfileFailure();
    loomfileGetThumbnailSize(picture.handle.get(), &options, &result.width, &result.height);
    result.pixels.resize(size_t{4} * result.width * result.height);
    const int status =
        loomfileDrawThumbnail(picture.handle.get(), &options, result.pixels.data(), 4 * result.width, &failure);
    if (status != loadSuccess)
        throw Failure{failure.status, picture.file, failure.sentence, failure.signal};
    return result;
}

// The side of the large picture: that of the design itself when its pixels are squares and there are not too many.
// Others are enlarged as far as there is room, so that their pixels stay sharp.
static u32 largeSide(const Picture& picture, const SheetRequest& request)
{
    const u32 edge = std::max(picture.info.width, picture.info.height);
    if (edge > largestEdge)
        return largestEdge;
    const LoomfileThumbnailOptions own = sized(request, edge);
    u32 width = 0;
    u32 height = 0;
    loomfileGetThumbnailSize(picture.handle.get(), &own, &width, &height);
    return width == picture.info.width && height == picture.info.height ? edge : largestEdge;
}

static std::string dotsText(u32 thousandths)
{
    char text[32];
    snprintf(text, sizeof text, "%.6g", thousandths / 1000.0);
    return thousandths == 0 ? "unknown" : text;
}

// Labels and texts as the page shows them.
static Json factsOf(const Picture& picture)
{
    const LoomfileInfo& info = picture.info;
    Json facts = Json::object();
    if (info.resX != 0 || info.resY != 0)
        facts["Resolution"] = dotsText(info.resX) + " × " + dotsText(info.resY) + " dots per inch";
    if (info.mulX != 1 || info.mulY != 1)
        facts["Multipliers"] = std::to_string(info.mulX) + " × " + std::to_string(info.mulY);
    if (info.refusedBy != 0)
        facts["Refused as"] = returnLoaderString(info.refusedBy);
    if (info.firstPartFile[0] != 0)
        facts["First part"] = info.firstPartFile;
    std::string label;
    for (const auto& [name, text] : draftLines(picture)) {
        label = name[0] != 0 ? name : label;
        facts[label] = facts.contains(label) ? facts[label].get<std::string>() + "\n" + text : text;
    }
    std::string description = info.description;
    description.erase(description.find_last_not_of(" \n") + 1);
    if (description != info.formatName && !description.empty())
        facts["Description"] = description;
    return facts;
}

Result readDesign(const Input& input, const SheetRequest& request, const OpenOptions& options)
{
    Result result;
    const Picture picture(input.path, options);
    tellFacts(result, input, picture, true);
    if (result.isContinued)
        return result;
    const SmallPicture thumbnail = drawn(picture, sized(request, 0));
    const std::string thumb = pngOf(thumbnail);
    result.attachment = thumb;
    const u32 side = largeSide(picture, request);
    if (side > std::max(thumbnail.width, thumbnail.height))
        result.attachment += pngOf(drawn(picture, sized(request, side)));
    // Some remarks are known only when rows have been read.
    tellFacts(result, input, picture, true);
    tellRemarks(result, picture);
    result.messages.clear();
    const LoomfileInfo& info = picture.info;
    result.text = lineOf({{"format", info.formatName},
                          {"width", info.width},
                          {"height", info.height},
                          {"kind", kindName(info.kind)},
                          {"colours", info.colourCount == 0 ? Json() : Json(info.colourCount)},
                          {"remarks", remarksJson(picture)},
                          {"thumbBytes", thumb.size()},
                          {"thumbWidth", thumbnail.width},
                          {"thumbHeight", thumbnail.height},
                          {"facts", factsOf(picture)}});
    return result;
}

std::string refusedDesign(const Failure& failure)
{
    return lineOf({{"format", failure.format == 0 ? "" : returnLoaderString(failure.format)}});
}
