// A draft, or a part of it, on one sheet:
//
//              8    numbers             2 4   numbers
//     ==========    colours of ends
//     ##########                        ####
//     ##########    threading           ####  tie-up     4
//
//     ##########                        ####  treadling  |  8
//     ##########    drawdown            ####  or lift    |
//     ##########                        ####  plan       |  colours of picks, numbers
//
// With the threading below all of it is turned upside down.
#pragma once

#include "loomfile/drawing/fonts.h"
#include "loomfile/drawing/view.h"

constexpr Ink ink = 0x262626;
constexpr Ink paleInk = 0x6E6E6E;

// Lengths on the sheet.
struct Measures {
    double cell;
    double gap;       // between the parts
    double bar;       // thickness of a row of colours
    double barGap;    // between it and what it belongs to
    double fineLine;  // around cells, 0 = none
    double heavyLine; // around parts and behind every eighth thread
    double numberSize;
};
Measures measuresFor(u32 cell, bool isPaper);

// What a sheet shows; a count of 0 leaves parts out.
struct Window {
    Range ends, side, shafts, picks; // side: treadles, or the shafts of the lift plan
};
Window wholeDraft(const View& view);

// How large a window's drawing is; an empty one has the room of colours and numbers alone.
struct Extent {
    double width, height;
};
Extent extentOf(Fonts& fonts, const View& view, const Measures& measures, const Window& window);

void drawSheet(Pen& pen, Fonts& fonts, View& view, const Measures& measures, const Window& window, Point corner);
