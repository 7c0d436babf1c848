// Two files point by point: their lifts when both tell them, else their colours.
#pragma once

#include "lifts.h"

// The colours of a difference picture: what is the same in pale greys, the darkest first, then these.
constexpr u8 paleGreys = 16;
enum Mark : u8 { darkerInFirst = paleGreys, darkerInSecond, onlyInFirst, onlyInSecond, inNeither, markCount };

// A point's colour with its transparency; lifts are white and black.
using Point = u32;

// One of the two files, band by band.
struct Side {
    Picture picture;
    std::unique_ptr<Lifts> lifts = nullptr; // when lifts are compared
    u32 rowBytes = 0;
    std::vector<u8> bytes = {};
    std::vector<Point> points = {}; // of a row
};

struct ThreadDifference {
    u32 count = 0;
    u32 first = 0; // from 1 on
};

struct Comparison {
    Side first, second;
    u32 width, height; // of what both have
    u32 allWidth, allHeight;
    u64 differences = 0; // points
    u32 firstPick = 0, firstEnd = 0;
    u32 yarns = 0; // how many of the two are drafts in colours
    ThreadDifference warpColours = {}, weftColours = {};
    Pixels marks = nullptr; // a byte a point, when they are drawn

    // Opens both. Throws Failure.
    Comparison(const std::string& one, const std::string& other, const OpenOptions& options);

    bool isOfOneSize() const { return width == allWidth && height == allHeight; }
    bool isSame() const
    {
        return isOfOneSize() && differences == 0 && warpColours.count == 0 && weftColours.count == 0;
    }
};

// Throws Failure.
void compare(Comparison& all, bool isDrawn);
