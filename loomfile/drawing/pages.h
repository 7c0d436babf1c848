// How a draft is divided over pages of paper.
#pragma once

#include "loomfile/drawing/sheet.h"

// What a page shows in one direction: threads, and beside them the shafts or the treadles.
struct Part {
    Range threads, beside;
};

struct Pages {
    double width, height; // of a page
    Measures measures;
    std::vector<Part> columns, rows; // there is a page for each of both, unless it would be empty
    u64 count = 0;
};

// Beside a lift plan there is no tie-up.
bool isEmpty(const View& view, const Part& column, const Part& row);

constexpr double pageMargin = 54;
constexpr double footerHeight = 24; // above the lower margin

// With cells of a size, 0 = the size that suits. captionHeight: above the drawing.
Pages dividePages(Fonts& fonts, const View& view, u32 cell, u32 page, double captionHeight);
