// Conversions between colour spaces. Which values are float and which are double decides the last bit of the results:
// this file is compiled without fused multiplication and addition.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "tload.h"

// Toward zero; what no int holds becomes the nearest one.
static i32 truncated(double value)
{
    constexpr double lowest = std::numeric_limits<i32>::min();
    constexpr double highest = std::numeric_limits<i32>::max();
    return value >= lowest ? static_cast<i32>(std::min(value, highest)) : std::numeric_limits<i32>::min();
}

static u32 rounded(double value)
{
    return static_cast<u32>(truncated(value + 0.5));
}

static bool areEqual(double one, double other)
{
    return std::abs(one - other) <= 0.0001;
}

void RGBtoHSL(const i32* rgb, u32* hsl)
{
    const double red = rgb[0] / 255.0;
    const double green = rgb[1] / 255.0;
    const double blue = rgb[2] / 255.0;
    const double highest = std::max({red, green, blue});
    const double lowest = std::min({red, green, blue});
    const double lightness = 0.5 * (highest + lowest);
    const double delta = highest - lowest;
    if (lightness <= 0 || delta <= 0) {
        hsl[0] = hsl[1] = 0;
        hsl[2] = static_cast<u32>(truncated(lightness * 1000)); // greys are not rounded
        return;
    }
    const double redDistance = (highest - red) / delta;
    const double greenDistance = (highest - green) / delta;
    const double blueDistance = (highest - blue) / delta;
    double hue; // in sextants
    if (areEqual(highest, red))
        hue = areEqual(green, lowest) ? 5 + blueDistance : 1 - greenDistance;
    else if (areEqual(highest, green))
        hue = areEqual(blue, lowest) ? 1 + redDistance : 3 - blueDistance;
    else
        hue = areEqual(red, lowest) ? 3 + greenDistance : 5 - redDistance;
    // The circle is laid on 0..359 from end to end: a pure red is 359.
    hsl[0] = rounded(hue / 6 * 359);
    hsl[1] = rounded(delta / (lightness <= 0.5 ? highest + lowest : 2 - highest - lowest) * 1000);
    hsl[2] = rounded(lightness * 1000);
}

void HSLtoRGB(const i32* hsl, u32* rgb)
{
    const double lightness = hsl[2] / 1000.0;
    const double saturation = hsl[1] / 1000.0;
    const double value =
        lightness <= 0.5 ? lightness * (1 + saturation) : lightness + saturation - lightness * saturation;
    const double hue = hsl[0] / 360.0 * 6; // in sextants
    rgb[0] = rgb[1] = rgb[2] = 0;          // from here on hsl may be gone: both may be the same
    if (value <= 0 || hue < 0)
        return;
    const double middle = 2 * lightness - value;
    const i32 sextant = truncated(hue);
    const double step = (value - middle) / value * value * (hue - sextant);
    const double up = middle + step;
    const double down = value - step;
    const double colours[6][3] = {{value, up, middle},   {down, value, middle}, {middle, value, up},
                                  {middle, down, value}, {up, middle, value},   {value, middle, down}};
    if (sextant < 0 || sextant > 5)
        return;
    for (int channel = 0; channel < 3; channel++)
        rgb[channel] = rounded(colours[sextant][channel] * 255);
}

static double cube(double value)
{
    return value * value * value;
}

// X or Z, as a part of white, from its place on the cubic scale.
static float fromCubicScale(float value)
{
    return static_cast<float>(value > 0.206893 ? cube(value) : (value - 16.0 / 116) / 7.787);
}

static u8 level(double value)
{
    return static_cast<u8>(std::clamp(truncated(value + 0.5), 0, 255));
}

void Lab2RGB100(i32 L, i32 a, i32 b, u8* red, u8* green, u8* blue)
{
    float whiteY = static_cast<float>(cube((L / 100.0 + 16) / 116));
    if (whiteY < 0.008856)
        whiteY = static_cast<float>(L / 903.3); // L is in hundredths here, too
    const auto scaleY =
        static_cast<float>(whiteY > 0.008856 ? std::cbrt(static_cast<double>(whiteY)) : 7.787 * whiteY + 16.0 / 116);
    const auto scaleX = static_cast<float>(a / 100.0 / 500 + scaleY);
    const auto scaleZ = static_cast<float>(scaleY - b / 100.0 / 200);
    // The white of daylight, 255 times.
    const double x = fromCubicScale(scaleX) * 242.36629F;
    const double y = whiteY * 255.0F;
    const double z = fromCubicScale(scaleZ) * 277.63226F;
    *red = level(3.240479 * x - 1.53715 * y - 0.498535 * z);
    *green = level(-0.969256 * x + 1.875992 * y + 0.041556 * z);
    *blue = level(0.055648 * x - 0.204043 * y + 1.057311 * z);
}
