// Writes SVG. cairo would write letters as outlines, which nobody can search, copy or change.
#pragma once

#include <initializer_list>
#include <string_view>

#include "loomfile/drawing/output.h"
#include "loomfile/drawing/pen.h"

struct SvgPen : Pen {
    SvgPen(Output& out, double width, double height, const std::string& title);

    void fill(Ink ink, const std::vector<Rectangle>& rectangles) override;
    void mark(Ink ink, Sign sign, double radius, const std::vector<Point>& centres) override;
    void write(const std::string& text, Point at, const Lettering& lettering) override;
    void finish();

private:
    void add(std::initializer_list<std::string_view> words);

    Output& output;
    std::string kept; // not yet given to the output
};
