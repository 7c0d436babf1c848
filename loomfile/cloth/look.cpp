#include "loomfile/cloth/look.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace
{

// Heights and lengths in rooms of an end.
constexpr double lift = 0.17;      // of a yarn's middle over that of the cloth, where it lies on top
constexpr double roundness = 0.30; // of a yarn's surface over its middle
constexpr double thinning = 0.10;  // of its width, where it has dived
constexpr double deepest = -lift;  // what is seen through a gap
constexpr double ambient = 0.30;
constexpr double diffuse = 0.86;
constexpr double pliesPerCrossing = 3; // whole, since tiles lie side by side
constexpr double plyDepth = 0.07;

struct Point {
    double x, y;
};

// A yarn runs along a tile's side: its middle goes from one height to the other.
struct Yarn {
    double from, to;
    double halfWidth;

    double middle(double along) const
    {
        const double place = std::clamp(along, 0.0, 1.0);
        return (from + to) / 2 + (from - to) / 2 * std::cos(std::numbers::pi * place);
    }
};

struct Surface {
    double height = -1;
    u32 yarn = tileYarns; // none: a gap
    double across = 0;    // -1 to 1 of its width
    double along = 0;
};

struct Tile {
    std::array<Yarn, tileYarns> yarns;

    Tile(u32 look, const Thickness& thickness)
    {
        auto height = [look](u32 corner, bool isWarp) {
            return (look >> corner & 1) == (isWarp ? 1U : 0U) ? lift : -lift;
        };
        yarns[leftEnd] = {height(0, true), height(2, true), thickness.warp / 2};
        yarns[rightEnd] = {height(1, true), height(3, true), thickness.warp / 2};
        yarns[upperPick] = {height(0, false), height(1, false), thickness.weft / 2};
        yarns[lowerPick] = {height(2, false), height(3, false), thickness.weft / 2};
    }

    Surface of(u32 number, Point point) const
    {
        const bool isWarp = number == leftEnd || number == rightEnd;
        const double along = isWarp ? point.y : point.x;
        const double side = number == rightEnd || number == lowerPick ? 1 : 0;
        const Yarn& yarn = yarns[number];
        const double middle = yarn.middle(along);
        const double width = yarn.halfWidth * (1 - thinning * (lift - middle) / (2 * lift));
        const double across = ((isWarp ? point.x : point.y) - side) / width;
        if (std::abs(across) >= 1)
            return {};
        return {middle + roundness * std::sqrt(1 - across * across), number, across, along};
    }

    Surface top(Point point) const
    {
        Surface highest;
        for (u32 yarn = 0; yarn < tileYarns; yarn++) {
            const Surface surface = of(yarn, point);
            if (surface.height > highest.height)
                highest = surface;
        }
        return highest;
    }

    // Light from the upper left.
    double light(const Surface& surface, Point point) const
    {
        constexpr double step = 1.0 / 256;
        auto slope = [&](Point before, Point behind) {
            const Surface a = of(surface.yarn, before), b = of(surface.yarn, behind);
            return a.yarn == tileYarns || b.yarn == tileYarns ? 0 : (b.height - a.height) / (2 * step);
        };
        constexpr double steepest = 2.2;
        const double dx = std::clamp(slope({point.x - step, point.y}, {point.x + step, point.y}), -steepest, steepest);
        const double dy = std::clamp(slope({point.x, point.y - step}, {point.x, point.y + step}), -steepest, steepest);
        constexpr double lx = -0.38, ly = -0.46, lz = 0.80;
        const double toLight = (-dx * lx - dy * ly + lz) / std::sqrt(1 + dx * dx + dy * dy);
        const bool isWarp = surface.yarn == leftEnd || surface.yarn == rightEnd;
        const double ply = std::sin(2 * std::numbers::pi *
                                    (pliesPerCrossing * surface.along + (isWarp ? 0.9 : -0.9) * surface.across));
        return (ambient + diffuse * std::max(toLight, 0.0)) * (1 + plyDepth * ply);
    }
};

double pointAt(u32 sample)
{
    return (static_cast<double>(sample) - tileMargin + 0.5) / tileSamples;
}

using Heights = std::vector<double>;

// How much of the sky is seen from a point: what stands higher beside it takes some away.
double openness(const Heights& heights, u32 row, u32 column)
{
    constexpr i32 distances[] = {4, 9, 15};
    constexpr double diagonal = std::numbers::sqrt2 / 2;
    constexpr struct {
        i32 x, y;
        double perStep; // the reciprocal of its length
    } directions[] = {{1, 0, 1},  {1, 1, diagonal},   {0, 1, 1},  {-1, 1, diagonal},
                      {-1, 0, 1}, {-1, -1, diagonal}, {0, -1, 1}, {1, -1, diagonal}};
    constexpr double strength = 1.15;
    auto within = [](u32 place, i32 step) {
        return static_cast<u32>(std::clamp<i32>(static_cast<i32>(place) + step, 0, lookSamples - 1));
    };
    const double here = heights[row * lookSamples + column];
    double lost = 0;
    for (const auto& direction : directions) {
        double steepest = 0;
        for (const i32 distance : distances) {
            const u32 y = within(row, direction.y * distance), x = within(column, direction.x * distance);
            const double rise = heights[y * lookSamples + x] - here;
            steepest = std::max(steepest, rise * direction.perStep * tileSamples / distance);
        }
        lost += steepest / std::sqrt(1 + steepest * steepest); // the sine of the angle that is covered
    }
    return std::max(1 - lost / std::size(directions) * strength, 0.0);
}

} // namespace

Looks::Looks(const Thickness& thickness) : samples(u64{lookCount} * lookSamples * lookSamples), means()
{
    Heights heights(u64{lookSamples} * lookSamples);
    for (u32 look = 0; look < lookCount; look++) {
        const Tile tile(look, thickness);
        for (u32 row = 0; row < lookSamples; row++)
            for (u32 column = 0; column < lookSamples; column++)
                heights[row * lookSamples + column] =
                    std::max(tile.top({pointAt(column), pointAt(row)}).height, deepest);
        std::array<u64, tileYarns> sums{};
        for (u32 row = 0; row < lookSamples; row++) {
            for (u32 column = 0; column < lookSamples; column++) {
                const Point point = {pointAt(column), pointAt(row)};
                const Surface surface = tile.top(point);
                if (surface.yarn == tileYarns)
                    continue;
                const double light = tile.light(surface, point) * openness(heights, row, column);
                const double weight = std::min(light, 1.25) * fullWeight;
                samples[(u64{look} * lookSamples + row) * lookSamples + column][surface.yarn] =
                    static_cast<u16>(std::lround(weight));
                if (row - tileMargin < tileSamples && column - tileMargin < tileSamples)
                    sums[surface.yarn] += static_cast<u64>(std::lround(weight));
            }
        }
        for (u32 yarn = 0; yarn < tileYarns; yarn++)
            means[look][yarn] =
                static_cast<u16>((sums[yarn] + tileSamples * tileSamples / 2) / (tileSamples * tileSamples));
    }
}
