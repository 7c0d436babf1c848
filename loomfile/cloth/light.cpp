#include "loomfile/cloth/light.h"

#include <algorithm>
#include <cmath>

double lightOfShare(double share)
{
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

static double shareOfLight(double light)
{
    return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

LightTables::LightTables() : byteOf(65536 / 4)
{
    for (u32 byte = 0; byte < lightOf.size(); byte++)
        lightOf[byte] = static_cast<i16>(std::lround(lightOfShare(byte / 255.0) * whiteLight));
    for (u32 light = 0; light < rootOf.size(); light++)
        rootOf[light] = static_cast<u8>(std::min(std::lround(std::sqrt(2.0 * light)), 255L));
    for (u32 i = 0; i < byteOf.size(); i++) {
        const double light = std::min((i + 0.5) * 4 / whiteLight, 1.0);
        byteOf[i] = static_cast<u8>(std::lround(shareOfLight(light) * 255));
    }
}
