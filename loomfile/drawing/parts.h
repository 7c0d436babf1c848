// The parts of a sheet, each in its place.
#pragma once

#include "loomfile/drawing/sheet.h"

// Cells in a row, the threads, shafts or treadles of a range.
struct Axis {
    Range range;
    double begin;
    bool isReversed; // the first is at the bottom
    double cell;

    double length() const { return range.count * cell; }
    double end() const { return begin + length(); }
    // Where so many cells from the given one on begin.
    double span(u32 index, u32 count) const
    {
        const u32 before = index - range.first;
        return begin + cell * (isReversed ? range.count - before - count : before);
    }
    // The line behind a number of cells, from 0 on.
    double line(u32 index) const { return begin + cell * (isReversed ? range.count - index : index); }
    bool has(u32 index) const { return index >= range.first && index - range.first < range.count; }
};

struct Parts {
    Pen& pen;
    Fonts& fonts;
    View& view;
    const Measures& measures;
    Axis ends, side, shafts, picks;

    void drawThreading();
    void drawTieUp();
    void drawSide();
    void drawDrawdown();
    void drawColours(); // of the threads
    // Above or below the axis, or to the right of it; isFew: each is told.
    void drawNumbers(const Axis& axis, bool isAcross, double at, bool isFew);

private:
    void drawGrid(const Axis& columns, const Axis& rows);
    void drawBlackAndWhite(const u8* rows);
    void drawColoured(const u8* rows);
};

Lettering numbering(const Measures& measures, Align align);
