#include "samples/motif.h"

#include <algorithm>
#include <cmath>

// Only operations that every machine rounds alike are used, so that all of them draw the same picture.

enum Yarn : uint32_t {
    cream,
    indigo,
    madder,
    weld,
    walnut,
    moss,
    rose,
    woad,
    ochre,
    sage,
    linen,
    ink,
    terracotta,
    fern,
    plum,
    stone
};

struct Dye {
    int red, green, blue;
};

// A binding repeats over ends x ends; each pick starts step ends further and lifts the first lifted ends.
struct Binding {
    uint32_t ends, step, lifted;
};

struct YarnLook {
    Dye dye;
    Binding binding;
};

static const YarnLook looks[motifColours] = {
    {{243, 231, 206}, {8, 3, 1}},  // cream: the ground, a satin
    {{38, 52, 104}, {8, 3, 7}},    // indigo: its reverse
    {{160, 38, 44}, {5, 2, 4}},    // madder
    {{226, 180, 60}, {5, 2, 1}},   // weld
    {{96, 62, 40}, {6, 1, 5}},     // walnut
    {{62, 92, 58}, {4, 1, 3}},     // moss
    {{222, 138, 130}, {4, 3, 1}},  // rose
    {{104, 152, 188}, {4, 3, 2}},  // woad
    {{196, 136, 54}, {6, 5, 3}},   // ochre
    {{140, 160, 100}, {4, 1, 2}},  // sage
    {{253, 250, 242}, {16, 7, 1}}, // linen
    {{34, 26, 30}, {16, 7, 15}},   // ink
    {{204, 98, 62}, {6, 5, 4}},    // terracotta
    {{98, 128, 72}, {6, 1, 3}},    // fern
    {{118, 62, 98}, {3, 1, 2}},    // plum
    {{216, 202, 176}, {2, 1, 1}},  // stone
};

// All shapes lie along an axis from (x0, y0) to (x1, y1). A stroke tapers from one half width to the other; leaf and
// egg have one half width and a bias that moves their widest place towards the start.
enum class Outline { stroke, leaf, egg };

struct Shape {
    Outline outline;
    double x0, y0, x1, y1;
    double width, widthOrBias;
    uint32_t colour;
    uint32_t rib;  // colour of the middle line of a leaf
    uint32_t edge; // colour of the line around the group
    int group;     // shapes of one group touch without a line between them
    double reach;  // nothing of the shape is further away from its axis
};

static const double edgeWidth = 0.0045;

struct Spot {
    uint32_t colour;
    double shade; // -1 dark .. 1 light
};

struct MotifDrawing {
    std::vector<Shape> shapes;
    uint32_t edge = ink;
    int group = 0;

    void add(Outline outline, double x0, double y0, double x1, double y1, double width, double widthOrBias,
             uint32_t colour, uint32_t rib)
    {
        double widest = outline == Outline::stroke ? std::max(width, widthOrBias) : 1.4 * width;
        shapes.push_back({outline, x0, y0, x1, y1, width, widthOrBias, colour, rib, edge, group, widest + edgeWidth});
    }

    void stroke(double x0, double y0, double x1, double y1, double from, double to, uint32_t colour)
    {
        add(Outline::stroke, x0, y0, x1, y1, from, to, colour, colour);
    }

    void egg(double x0, double y0, double x1, double y1, double width, double bias, uint32_t colour)
    {
        add(Outline::egg, x0, y0, x1, y1, width, bias, colour, colour);
    }

    void dot(double x, double y, double radius, uint32_t colour) { stroke(x, y, x, y, radius, radius, colour); }

    void leaf(double x0, double y0, double x1, double y1, double width, uint32_t colour, uint32_t rib)
    {
        ++group;
        add(Outline::leaf, x0, y0, x1, y1, width, 0.35, colour, rib);
    }

    void flower(double x, double y, double radius, uint32_t petal, uint32_t heart)
    {
        static const double turns[5][2] = {
            {0.20, -0.98}, {0.994, -0.113}, {0.414, 0.910}, {-0.738, 0.675}, {-0.870, -0.493}};
        for (const double* turn : turns) {
            ++group;
            egg(x + 0.12 * radius * turn[0], y + 0.12 * radius * turn[1], x + radius * turn[0], y + radius * turn[1],
                0.44 * radius, -0.35, petal);
            add(Outline::leaf, x, y, x + 0.72 * radius * turn[0], y + 0.72 * radius * turn[1], 0.13 * radius, 0.3,
                heart, heart);
        }
        ++group;
        dot(x, y, 0.23 * radius, weld);
        ++group;
        edge = ochre;
        dot(x, y, 0.09 * radius, terracotta);
        edge = ink;
    }
};

static MotifDrawing drawMotif()
{
    MotifDrawing d;

    // Branch, from the lower left to the flower at the upper right.
    const double bends[][3] = {{0.085, 0.900, 0.026}, {0.27, 0.775, 0.020}, {0.44, 0.735, 0.017}, {0.60, 0.715, 0.014},
                               {0.715, 0.63, 0.011},  {0.765, 0.50, 0.009}, {0.76, 0.36, 0.006}};
    for (size_t i = 0; i + 1 < std::size(bends); ++i)
        d.stroke(bends[i][0], bends[i][1], bends[i + 1][0], bends[i + 1][1], bends[i][2], bends[i + 1][2], walnut);
    d.stroke(0.58, 0.72, 0.74, 0.80, 0.009, 0.005, walnut);
    d.stroke(0.30, 0.765, 0.40, 0.835, 0.009, 0.005, walnut);
    d.stroke(0.20, 0.82, 0.175, 0.70, 0.009, 0.005, walnut);

    d.leaf(0.735, 0.60, 0.865, 0.545, 0.036, fern, sage);
    d.leaf(0.76, 0.44, 0.665, 0.515, 0.030, moss, sage);
    d.leaf(0.765, 0.47, 0.86, 0.385, 0.030, moss, sage);
    d.leaf(0.64, 0.745, 0.665, 0.865, 0.034, moss, sage);
    d.leaf(0.665, 0.68, 0.79, 0.69, 0.028, fern, sage);
    d.leaf(0.40, 0.83, 0.525, 0.85, 0.034, fern, sage);
    d.leaf(0.385, 0.825, 0.34, 0.885, 0.022, moss, sage);
    d.leaf(0.185, 0.75, 0.135, 0.655, 0.026, fern, sage);

    d.flower(0.755, 0.26, 0.112, madder, rose);
    d.flower(0.790, 0.795, 0.074, rose, madder);

    // A bud at the lower left.
    ++d.group;
    d.egg(0.176, 0.70, 0.19, 0.58, 0.030, 0.2, terracotta);
    d.leaf(0.174, 0.71, 0.155, 0.62, 0.018, moss, moss);
    d.leaf(0.176, 0.71, 0.205, 0.63, 0.018, moss, moss);

    // Tail, legs, body, wing and head of the bird.
    d.leaf(0.40, 0.58, 0.155, 0.545, 0.026, plum, rose);
    d.leaf(0.40, 0.59, 0.205, 0.66, 0.030, indigo, woad);
    d.leaf(0.40, 0.58, 0.165, 0.605, 0.030, madder, weld);
    ++d.group;
    d.stroke(0.475, 0.63, 0.468, 0.715, 0.007, 0.005, ochre);
    d.stroke(0.468, 0.715, 0.500, 0.722, 0.006, 0.004, ochre);
    d.stroke(0.53, 0.61, 0.535, 0.705, 0.007, 0.005, ochre);
    d.stroke(0.535, 0.705, 0.568, 0.712, 0.006, 0.004, ochre);
    d.leaf(0.555, 0.33, 0.455, 0.235, 0.018, weld, ochre);
    d.leaf(0.575, 0.315, 0.505, 0.19, 0.018, terracotta, weld);
    ++d.group;
    d.egg(0.335, 0.605, 0.63, 0.44, 0.100, -0.25, woad);
    d.egg(0.50, 0.375, 0.645, 0.34, 0.070, 0.0, woad);
    d.egg(0.50, 0.47, 0.625, 0.385, 0.070, 0.0, woad);
    d.egg(0.46, 0.615, 0.62, 0.445, 0.052, -0.2, weld);
    d.egg(0.565, 0.405, 0.645, 0.38, 0.030, 0.0, weld);
    ++d.group;
    d.stroke(0.642, 0.352, 0.705, 0.372, 0.019, 0.001, terracotta);
    ++d.group;
    d.dot(0.592, 0.345, 0.015, linen);
    ++d.group;
    d.dot(0.595, 0.345, 0.006, ink);
    d.leaf(0.50, 0.50, 0.275, 0.615, 0.030, indigo, woad);
    d.leaf(0.51, 0.49, 0.265, 0.560, 0.030, madder, rose);
    d.leaf(0.52, 0.47, 0.275, 0.505, 0.030, indigo, woad);
    ++d.group;
    d.egg(0.385, 0.50, 0.545, 0.465, 0.056, -0.2, plum);
    for (int i = 0; i < 3; ++i) {
        ++d.group;
        d.dot(0.43 + 0.035 * i, 0.50 - 0.008 * i, 0.008, weld);
    }

    // The mark of the first corner.
    ++d.group;
    d.edge = cream;
    d.stroke(0.165, 0.165, 0.165, 0.275, 0.013, 0.013, indigo);
    d.stroke(0.165, 0.165, 0.235, 0.165, 0.013, 0.013, indigo);
    d.stroke(0.165, 0.217, 0.215, 0.217, 0.013, 0.013, madder);
    return d;
}

// Whether a shape that is grown by a margin covers a point, and where across it the point lies: -1 .. 1 from its left
// to its right side.
static bool covers(const Shape& shape, double x, double y, double margin, double& position)
{
    auto [left, right] = std::minmax(shape.x0, shape.x1);
    auto [top, bottom] = std::minmax(shape.y0, shape.y1);
    if (x < left - shape.reach || x > right + shape.reach || y < top - shape.reach || y > bottom + shape.reach)
        return false;
    double dx = shape.x1 - shape.x0, dy = shape.y1 - shape.y0;
    double length = std::sqrt(dx * dx + dy * dy);
    double ux = length > 0 ? dx / length : 1, uy = length > 0 ? dy / length : 0;
    double along = (x - shape.x0) * ux + (y - shape.y0) * uy;
    double side = (y - shape.y0) * ux - (x - shape.x0) * uy;
    if (shape.outline == Outline::egg) {
        along += margin;
        length += 2 * margin;
    }
    double t = length > 0 ? std::clamp(along / length, 0.0, 1.0) : 0;
    double beyond = along - t * length;
    double bulge = 4 * t * (1 - t), bias = 1 + shape.widthOrBias * (1 - 2 * t);
    double half = 0;
    if (shape.outline == Outline::stroke)
        half = shape.width + t * (shape.widthOrBias - shape.width) + margin;
    else if (shape.outline == Outline::leaf)
        half = shape.width * bulge * bias + margin;
    else
        half = (shape.width + margin) * std::sqrt(bulge) * bias;
    position = half > 0 ? std::clamp(side / half, -1.0, 1.0) : 0;
    return side * side + beyond * beyond <= half * half;
}

static Spot spotOfBorder(double along, double depth)
{
    static const double margin = 0.02, cell = 0.96 / 13;
    if (depth < 0.010 || depth >= margin + cell + 0.012)
        return {indigo, 0};
    if (depth < margin || depth >= margin + cell)
        return {weld, 0.2};
    double p = (along - margin) / cell, q = (depth - margin) / cell;
    double px = std::abs(p - std::floor(p) - 0.5), qx = std::abs(q - 0.5);
    double diamond = px + qx;
    bool even = static_cast<int>(std::floor(p)) % 2 == 0;
    if (diamond < 0.12)
        return {weld, 0.5 - 3 * diamond};
    if (diamond < 0.26)
        return {even ? madder : indigo, 0.5 - 2 * diamond};
    if (diamond < 0.40)
        return {even ? rose : woad, 0.7 - 2 * diamond};
    if (diamond < 0.50)
        return {cream, 0.2};
    return {even ? madder : terracotta, 0.5 - diamond};
}

static Spot spotAt(double x, double y)
{
    static const MotifDrawing drawing = drawMotif();
    static const double borderWidth = 0.11;

    double depthX = std::min(x, 1 - x), depthY = std::min(y, 1 - y);
    double depth = std::min(depthX, depthY);
    if (depth < borderWidth)
        return spotOfBorder(depthX < depthY ? y : x, depth);

    const std::vector<Shape>& shapes = drawing.shapes;
    for (size_t end = shapes.size(); end > 0;) {
        size_t i = end;
        bool onEdge = false;
        uint32_t edge = ink;
        for (; i > 0 && shapes[i - 1].group == shapes[end - 1].group; --i) {
            const Shape& shape = shapes[i - 1];
            double position = 0;
            if (!covers(shape, x, y, edgeWidth, position))
                continue;
            if (!covers(shape, x, y, 0, position)) {
                onEdge = true;
                edge = shape.edge;
                continue;
            }
            // Light comes from the upper left.
            double dx = shape.x1 - shape.x0, dy = shape.y1 - shape.y0;
            double length = std::max(std::sqrt(dx * dx + dy * dy), 0.001);
            double shade = position * (0.5 * dy - 0.85 * dx) / length;
            bool onRib = shape.rib != shape.colour && std::abs(position) < 0.16;
            return {onRib ? shape.rib : shape.colour, shade};
        }
        if (onEdge)
            return {edge, 0};
        end = i;
    }
    // Small seeds strewn over the ground keep it from looking empty.
    double p = x * 25, q = y * 25;
    double sx = p - std::floor(p) - 0.5, sy = q - std::floor(q) - 0.5;
    bool sown = (static_cast<int>(p) + 2 * static_cast<int>(q)) % 4 == 0;
    if (sown && std::abs(sx) + std::abs(sy) < 0.2)
        return {stone, 0};
    return {cream, 0.25 - 0.5 * y};
}

static Dye shaded(uint32_t colour, double shade)
{
    static const Dye light = {255, 248, 228}, dark = {24, 14, 34};
    Dye base = looks[colour].dye;
    Dye towards = shade > 0 ? light : dark;
    double part = 0.5 * std::min(std::abs(shade), 1.0);
    auto mix = [part](int from, int to) { return static_cast<int>(from + part * (to - from) + 0.5); };
    return {mix(base.red, towards.red), mix(base.green, towards.green), mix(base.blue, towards.blue)};
}

// The shade of the level-th 16 colours of a palette: 0 first, then by turns lighter and darker.
static double shadeOfLevel(uint32_t level, uint32_t levels)
{
    const uint32_t step = (level + 1) / 2;
    double size = static_cast<double>(step) / std::max(levels / 2, 1u);
    return level % 2 == 1 ? size : -size;
}

static uint32_t nearestYarn(uint32_t colour, uint32_t colours)
{
    auto distance = [&dye = looks[colour].dye](uint32_t other) {
        int red = dye.red - looks[other].dye.red;
        int green = dye.green - looks[other].dye.green;
        int blue = dye.blue - looks[other].dye.blue;
        return 3 * red * red + 4 * green * green + 2 * blue * blue;
    };
    uint32_t best = 0;
    for (uint32_t i = 1; i < colours; ++i)
        if (distance(i) < distance(best))
            best = i;
    return best;
}

std::vector<uint8_t> motifPalette(uint32_t colours)
{
    std::vector<uint8_t> palette;
    uint32_t levels = std::max(colours / motifColours, 1u);
    for (uint32_t i = 0; i < colours; ++i) {
        Dye dye = shaded(i % motifColours, shadeOfLevel(i / motifColours, levels));
        for (int part : {dye.red, dye.green, dye.blue})
            palette.push_back(static_cast<uint8_t>(part));
    }
    return palette;
}

static Spot spotOfPixel(double x, double y, uint32_t width, uint32_t height)
{
    return spotAt(x / width, y / height);
}

uint8_t motifIndex(uint32_t x, uint32_t y, uint32_t width, uint32_t height, uint32_t colours)
{
    Spot spot = spotOfPixel(x + 0.5, y + 0.5, width, height);
    if (colours < motifColours)
        return static_cast<uint8_t>(nearestYarn(spot.colour, colours));
    uint32_t levels = colours / motifColours;
    uint32_t best = 0;
    for (uint32_t level = 1; level < levels; ++level)
        if (std::abs(shadeOfLevel(level, levels) - spot.shade) < std::abs(shadeOfLevel(best, levels) - spot.shade))
            best = level;
    return static_cast<uint8_t>(best * motifColours + spot.colour);
}

// The mean of 3 x 3 spots of the pixel; those of the ground count only when it is wanted.
static std::array<uint8_t, 4> smoothPixel(uint32_t x, uint32_t y, uint32_t width, uint32_t height, bool withGround)
{
    int red = 0, green = 0, blue = 0, count = 0;
    for (int i = 0; i < 9; ++i) {
        const int column = i % 3, row = i / 3;
        Spot spot = spotOfPixel(x + (1 + 2 * column) / 6.0, y + (1 + 2 * row) / 6.0, width, height);
        if (!withGround && (spot.colour == cream || spot.colour == stone))
            continue;
        Dye dye = shaded(spot.colour, spot.shade);
        red += dye.red;
        green += dye.green;
        blue += dye.blue;
        ++count;
    }
    if (count == 0)
        return {255, 255, 255, 0};
    auto mean = [count](int sum) { return static_cast<uint8_t>(sum / count); };
    return {mean(red), mean(green), mean(blue), static_cast<uint8_t>(count * 255 / 9)};
}

std::array<uint8_t, 3> motifRgb(uint32_t x, uint32_t y, uint32_t width, uint32_t height)
{
    std::array<uint8_t, 4> pixel = smoothPixel(x, y, width, height, true);
    return {pixel[0], pixel[1], pixel[2]};
}

std::array<uint8_t, 4> motifRgba(uint32_t x, uint32_t y, uint32_t width, uint32_t height)
{
    return smoothPixel(x, y, width, height, false);
}

bool motifDark(uint32_t x, uint32_t y, uint32_t width, uint32_t height)
{
    const Binding& binding = looks[spotOfPixel(x + 0.5, y + 0.5, width, height).colour].binding;
    return (x + static_cast<uint64_t>(y) * binding.step) % binding.ends < binding.lifted;
}
