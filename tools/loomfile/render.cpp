// loomfile render: how a picture looks as cloth, repeat beside repeat, at its physical size.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "commands.h"
#include "messages.h"
#include "one_picture.h"
#include "output_target.h"
#include "png_file.h"
#include "progress.h"
#include "yarns.h"

// Of the library's positions in the picture: 8192 are one picture pixel, 31 bits can be told apart.
constexpr i64 positionsPerPixel = 8192;
constexpr i64 lastPosition = INT32_MAX;
// Jitters are 16-bit numbers: those of larger steps come round and reach so far back. Position 0 is a gap in the cloth.
constexpr i64 jitterReach = 32768;

static u32 thousandths(double dotsPerInch)
{
    return static_cast<u32>(std::lround(dotsPerInch * 1000));
}

i32 knownResolution(u32 resolution, double perCentimetre)
{
    constexpr double centimetresPerInch = 2.54;
    return static_cast<i32>(
        std::min<u32>(resolution != 0 ? resolution : thousandths(perCentimetre * centimetresPerInch), INT32_MAX));
}

// One direction of the cloth, in positions.
struct Direction {
    i64 step;      // a display pixel
    i64 repeat;    // the picture
    i64 beginning; // of the drawing, within the first repeat
    i64 length;    // of the drawing
    i64 margin;    // whole repeats that stay between the drawing and position 0
};

static Direction measure(const RenderRequest& request, i32 pictureRes, i32 screenRes, u32 pictureSize, double at,
                         double size)
{
    // In the library's own arithmetic.
    const float step = static_cast<float>(pictureRes) * float{positionsPerPixel} /
                       (static_cast<float>(screenRes) * static_cast<float>(request.zoom));
    if (!(step >= 1) || !(step < static_cast<float>(lastPosition)))
        throw Failure{exitUsage, request.source,
                      step < 1 ? "the cloth is magnified too much, choose a smaller zoom"
                               : "the cloth is much too small to be seen, choose a larger zoom"};
    Direction direction = {static_cast<i64>(step), i64{pictureSize} * positionsPerPixel, 0, 0, 0};
    direction.beginning = static_cast<i64>(at) * direction.step % direction.repeat;
    if (direction.beginning < 0)
        direction.beginning += direction.repeat;
    direction.length = static_cast<i64>(size) * direction.step;
    if (direction.step >= jitterReach) {
        const i64 least = jitterReach + direction.step;
        direction.margin = (least + direction.repeat - 1) / direction.repeat * direction.repeat;
    }
    // What is drawn, up to a repeat beside it, and room for rounding to display pixels.
    if (direction.repeat + direction.length + direction.margin + 2 * direction.step > lastPosition)
        throw Failure{exitUsage, request.source,
                      "too much of the cloth would be shown at once, choose a larger zoom or a smaller size"};
    return direction;
}

// RGBA becomes RGB, in place.
static void dropTransparency(LoomfileInfo& info, u8* pixels)
{
    const u64 count = u64{info.width} * info.height;
    for (u64 i = 0; i < count; i++)
        layOnWhite(pixels + 4 * i, pixels + 3 * i);
    info.kind = kindRGB;
    info.rowBytes = 3 * info.width;
}

static Pixels drawCloth(const RenderRequest& request, const LoomfileInfo& picture, const u8* pixels)
{
    const i32 screenRes = static_cast<i32>(thousandths(request.dotsPerInch));
    const i32 pictureResX = knownResolution(picture.resX, request.sett.x);
    const i32 pictureResY = knownResolution(picture.resY, request.sett.y);
    const Direction across = measure(request, pictureResX, screenRes, picture.width, request.at.x, request.size.x);
    const Direction along = measure(request, pictureResY, screenRes, picture.height, request.at.y, request.size.y);

    const i64 width = static_cast<i64>(request.size.x);
    const i64 rows = static_cast<i64>(request.size.y);
    Pixels cloth(static_cast<u8*>(malloc(static_cast<size_t>(3 * width * rows))));
    if (cloth == nullptr)
        throw Failure{exitOutOfMemory, request.source, "there is not enough memory for a drawing of this size"};
    // The library counts picture rows upwards from the last: the drawing hangs below so many whole repeats that it
    // ends above their last row.
    const i64 repeats = (along.beginning + along.length + along.repeat - 1) / along.repeat;
    const i64 above = repeats * along.repeat - along.beginning + along.margin;
    const i64 firstRow = (above + along.step - 1) / along.step - 1;
    const i64 firstColumn = (across.beginning + across.margin) / across.step;
    srand48(1); // the same cloth every time
    renderRealImg(cloth.get(), static_cast<i32>(3 * width), 3, static_cast<i32>(firstColumn), 0,
                  static_cast<i32>(width), static_cast<i32>(rows), static_cast<i32>(firstRow), screenRes, screenRes,
                  pixels, static_cast<i32>(picture.rowBytes), static_cast<i32>(picture.width),
                  static_cast<i32>(picture.height), static_cast<i32>(picture.kind), picture.palette, pictureResX,
                  pictureResY, static_cast<float>(request.zoom));
    return cloth;
}

static Pixels drawPicture(const RenderRequest& request, Picture& picture)
{
    requireUsualSize(picture);
    Pixels pixels = loadPixels(picture);
    if (picture.info.kind == kindRGBA)
        dropTransparency(picture.info, pixels.get());
    return drawCloth(request, picture.info, pixels.get());
}

static std::string summary(const RenderRequest& request, const Picture& picture)
{
    const LoomfileInfo& info = picture.info;
    const double repeatX = info.width * 25400.0 / knownResolution(info.resX, request.sett.x);
    const double repeatY = info.height * 25400.0 / knownResolution(info.resY, request.sett.y);
    char text[200];
    snprintf(text, sizeof text, "%s, a repeat of %.1f x %.1f mm%s -> ", info.formatName, repeatX, repeatY,
             info.resX == 0 || info.resY == 0 ? " by the sett" : "");
    return picture.file + ": " + text + request.target;
}

static Result drawOnto(OutputFile& target, const RenderRequest& request, const OpenOptions& options)
{
    auto progress = std::make_unique<Progress>(baseNameOf(request.source), baseNameOf(request.target));
    Picture picture(request.source, options);
    keepSource(picture, request.target);
    const Pixels cloth = request.yarn ? drawYarns(request, picture) : drawPicture(request, picture);
    const std::string line = summary(request, picture);

    // From here on the picture is the cloth.
    LoomfileInfo& info = picture.info;
    info.kind = kindRGB;
    info.width = static_cast<u32>(request.size.x);
    info.height = static_cast<u32>(request.size.y);
    info.rowBytes = 3 * info.width;
    info.resX = info.resY = thousandths(request.dotsPerInch);
    info.mulX = info.mulY = 1;
    writePng(target, picture, cloth.get(), progress->percentWritten);
    progress.reset(); // clears its line
    Result result;
    tellSummary(result, target, line);
    tellRemarks(result, picture);
    return result;
}

int renderCloth(const RenderRequest& request, const OpenOptions& options)
{
    return makePicture(request, [&](const Input&, OutputFile* target) { return drawOnto(*target, request, options); });
}
