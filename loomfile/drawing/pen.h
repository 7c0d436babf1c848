// What drafts are drawn with. A unit is a pixel of PNG and SVG pictures and 1/96 inch on paper; y grows downwards.
#pragma once

#include <string>
#include <vector>

#include "loomfile.h"

using Ink = u32; // 0xRRGGBB

constexpr Ink inkOf(const u8* rgb)
{
    return Ink{rgb[0]} << 16 | Ink{rgb[1]} << 8 | rgb[2];
}

struct Point {
    double x, y;
};

struct Rectangle {
    double x, y, width, height;
};

enum class Sign { ring, cross };
enum class Align { left, centre, right };

struct Lettering {
    double size;
    Ink ink;
    bool isBold = false;
    Align align = Align::left;
};

struct Pen {
    Pen() = default;
    Pen(const Pen&) = delete;
    Pen& operator=(const Pen&) = delete;
    virtual ~Pen() = default;

    virtual void fill(Ink ink, const std::vector<Rectangle>& rectangles) = 0;
    virtual void mark(Ink ink, Sign sign, double radius, const std::vector<Point>& centres) = 0;
    // at: on the line that the letters stand on.
    virtual void write(const std::string& text, Point at, const Lettering& lettering) = 0;
};

// How thick the line of a sign is.
constexpr double signLine = 0.4; // of its radius
