// Whether the colours of a picture fit into a palette.
#include <algorithm>

#include "color/distinct.h"

namespace
{

// Whether a pixel of this many bytes counts, is skipped, or needs more than a palette.
enum class Opacity { opaque, transparent, between };

template <int bytes>
Opacity opacityOf(const u8* pixel)
{
    if constexpr (bytes == 3)
        return Opacity::opaque;
    else
        return pixel[3] == 255 ? Opacity::opaque : pixel[3] == 0 ? Opacity::transparent : Opacity::between;
}

template <int bytes>
i64 checkPalette(const u8* pixels, i32 stride, i32 width, i32 height, u8* paletteOut)
{
    DistinctColours list;
    slotOf(list, pixels, DistinctColours::most); // whether it is opaque or not
    for (i64 y = 0; y < height; y++) {
        const u8* pixel = pixels + y * stride;
        for (i32 x = 0; x < width; x++, pixel += bytes) {
            const Opacity opacity = opacityOf<bytes>(pixel);
            if (opacity == Opacity::between)
                return 0;
            if (opacity == Opacity::opaque && slotOf(list, pixel, DistinctColours::most) == DistinctColours::slots)
                return 0;
        }
    }
    std::copy_n(list.palette, 3 * list.count, paletteOut);
    return list.count;
}

} // namespace

i64 checkTrueColorPalette(const u8* rgb, i32 stride, i32 width, i32 height, u8* paletteOut)
{
    return checkPalette<3>(rgb, stride, width, height, paletteOut);
}

i64 checkRGBAPalette(const u8* rgba, i32 stride, i32 width, i32 height, u8* paletteOut)
{
    return checkPalette<4>(rgba, stride, width, height, paletteOut);
}
