#include "loomfile/thumbnail/shape.h"

#include <algorithm>
#include <cmath>

// How many times as wide as high a pixel is.
static double pixelRatio(const LoomfileInfo& info, double endsPerCm, double picksPerCm)
{
    constexpr double thousandthsAnInch = 2540;
    const double dotsX = info.resX != 0 ? info.resX : endsPerCm * thousandthsAnInch;
    const double dotsY = info.resY != 0 ? info.resY : picksPerCm * thousandthsAnInch;
    const double multipliers = std::max(info.mulX, 1U) / static_cast<double>(std::max(info.mulY, 1U));
    return dotsX > 0 && dotsY > 0 ? multipliers * dotsY / dotsX : multipliers;
}

ThumbnailShape thumbnailShape(const LoomfileInfo& info, u32 side, double endsPerCm, double picksPerCm)
{
    // A pixel's shorter side is 1, so that none is lost where there is room for all.
    const double ratio = pixelRatio(info, endsPerCm, picksPerCm);
    const double width = info.width * std::max(ratio, 1.0), height = info.height * std::max(1 / ratio, 1.0);
    const double fitting = side / std::max(width, height);
    const double scale = fitting >= 1 ? std::floor(fitting) : fitting;
    auto pixels = [side, scale](double length) {
        return static_cast<u32>(std::clamp(std::round(length * scale), 1.0, static_cast<double>(side)));
    };
    return {pixels(width), pixels(height)};
}
