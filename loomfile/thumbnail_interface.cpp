// Thumbnails in C: what is read of files for them. No exception leaves it.
#include <algorithm>
#include <cmath>

#include "loomfile/cloth/colours.h"
#include "loomfile/format_facts.h"
#include "loomfile/guard.h"
#include "loomfile/reader.h"
#include "loomfile/thumbnail/area_mean.h"

static LoomfileThumbnailOptions known(const LoomfileThumbnailOptions* given)
{
    LoomfileThumbnailOptions options = loomfileThumbnailOptions();
    if (given != nullptr)
        copySized(&options, given, std::min(given->size, options.size));
    if (options.side == 0)
        options.side = usualThumbnailSide;
    auto isSett = [](double threads) { return std::isfinite(threads) && threads >= 0; };
    if (options.side > mostThumbnailSide || !isSett(options.endsPerCm) || !isSett(options.picksPerCm))
        throw Refusal{loadBadData, "no thumbnail can be made in this way"};
    return options;
}

static ThumbnailShape shapeOf(const Loomfile& file, const LoomfileThumbnailOptions* given)
{
    const LoomfileThumbnailOptions options = known(given);
    return thumbnailShape(file.info, options.side, options.endsPerCm, options.picksPerCm);
}

i32 loomfileGetThumbnailSize(const Loomfile* file, const LoomfileThumbnailOptions* options, u32* width, u32* height)
{
    return guardedly(nullptr, [&] {
        const ThumbnailShape shape = shapeOf(*file, options);
        *width = shape.width;
        *height = shape.height;
    });
}

static bool showsLifts(const Loomfile& file)
{
    return file.info.kind == kindBilevel && file.info.isSecondReading == 0 && !isPictureFormat(file.info.format) &&
           !file.tellsColours();
}

static MeanSource sourceOf(const Loomfile& file)
{
    const LoomfileInfo& info = file.info;
    // Elsewhere there may be indices behind the palette.
    const u32 colourCount = info.format == formatTiff ? info.colourCount : 256;
    MeanSource source = {info.kind, info.width, info.height, colourCount, {}};
    std::copy(std::begin(info.palette), std::end(info.palette), source.palette.begin());
    if (showsLifts(file)) {
        std::copy(usualWeft.begin(), usualWeft.end(), source.palette.begin());
        std::copy(usualWarp.begin(), usualWarp.end(), source.palette.begin() + usualWeft.size());
    }
    return source;
}

static void drawThumbnail(Loomfile& file, ThumbnailShape shape, u8* rows, u32 stride)
{
    constexpr u32 bandBytes = 1 << 18;
    const u32 height = file.info.height, rowBytes = file.info.rowBytes;
    const u32 most = std::clamp(bandBytes / rowBytes, 1U, height);
    AreaMean mean(sourceOf(file), shape, rows, stride);
    std::vector<u8> scratch;
    file.rewind();
    for (u32 row = 0, count = 0; row < height; row += count) {
        count = std::min(most, height - row);
        const u8* band = file.nextRows(count, scratch);
        for (u32 i = 0; i < count; i++)
            mean.take(band + u64{i} * rowBytes);
    }
    file.rewind();
}

i32 loomfileDrawThumbnail(Loomfile* file, const LoomfileThumbnailOptions* options, u8* rows, u32 stride,
                          LoomfileFailure* failure)
{
    return guardedly(failure, [&] {
        const ThumbnailShape shape = shapeOf(*file, options);
        if (stride < u64{4} * shape.width)
            throw Refusal{loadBadData, "a row of the thumbnail takes " + std::to_string(4 * shape.width) +
                                           " bytes, there is room for " + std::to_string(stride)};
        drawThumbnail(*file, shape, rows, stride);
    });
}
