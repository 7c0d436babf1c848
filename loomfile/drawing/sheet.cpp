#include "loomfile/drawing/parts.h"

#include <algorithm>
#include <cmath>

Measures measuresFor(u32 cell, bool isPaper)
{
    const double side = cell;
    const double heavy = isPaper ? 1.2 : side >= 8 ? 2 : 1;
    const double fine = side < 5 ? 0 : isPaper ? 0.5 : 1;
    return {side,
            std::clamp(side, 6.0, 16.0),
            std::max(side, 5.0),
            std::clamp(std::floor(side / 3), 3.0, 8.0),
            fine,
            heavy,
            std::clamp(std::round(side * 0.65), 8.0, 11.0)};
}

Window wholeDraft(const View& view)
{
    return {{0, view.info.ends}, {0, view.sideCount}, {0, view.info.shafts}, {0, view.info.picks}};
}

// The room of the colours and numbers above, below or right of the parts.
static double bandBesides(const Measures& measures, bool hasBar, double numbers)
{
    return (hasBar ? measures.barGap + measures.bar : 0) + measures.barGap + numbers;
}

static double numberWidth(Fonts& fonts, const View& view, const Measures& measures)
{
    const u32 most = std::max({view.info.picks, view.info.shafts, 1000U});
    return std::ceil(fonts.width(std::to_string(most), numbering(measures, Align::left)));
}

static void drawNumbersBeside(Parts& parts)
{
    constexpr u32 few = 16;
    const View& view = parts.view;
    const Measures& measures = parts.measures;
    const bool hasShafts = parts.shafts.range.count > 0;
    const bool hasSide = parts.side.range.count > 0;
    const double digitHeight = std::round(0.72 * measures.numberSize);
    const double barRoom = view.warp.empty() ? 0 : measures.bar + measures.barGap;
    auto outside = [&](const Axis& axis, double beside) {
        const double distance = beside + measures.barGap;
        return view.isBelow ? axis.end() + distance + digitHeight : axis.begin - distance;
    };
    parts.drawNumbers(parts.ends, true, outside(hasShafts ? parts.shafts : parts.picks, barRoom), false);
    const Axis& besideSide = hasShafts && !view.hasLiftPlan ? parts.shafts : parts.picks;
    parts.drawNumbers(parts.side, true, outside(besideSide, 0), view.sideCount <= few);
    const Axis& rightmost = hasSide ? parts.side : parts.ends;
    parts.drawNumbers(parts.picks, false, rightmost.end() + barRoom + measures.barGap, false);
    const Axis& besideShafts = hasSide && !view.hasLiftPlan ? parts.side : parts.ends;
    parts.drawNumbers(parts.shafts, false, besideShafts.end() + measures.barGap, view.info.shafts <= few);
}

static double gapBetween(const Measures& measures, Range first, Range second)
{
    return first.count > 0 && second.count > 0 ? measures.gap : 0;
}

Extent extentOf(Fonts& fonts, const View& view, const Measures& measures, const Window& window)
{
    const bool hasBars = !view.warp.empty();
    return {(window.ends.count + window.side.count) * measures.cell + gapBetween(measures, window.ends, window.side) +
                bandBesides(measures, hasBars, numberWidth(fonts, view, measures)),
            (window.shafts.count + window.picks.count) * measures.cell +
                gapBetween(measures, window.shafts, window.picks) +
                bandBesides(measures, hasBars, measures.numberSize)};
}

void drawSheet(Pen& pen, Fonts& fonts, View& view, const Measures& measures, const Window& window, Point corner)
{
    const double band = bandBesides(measures, !view.warp.empty(), measures.numberSize);
    auto axisAt = [&measures](Range range, double begin, bool isReversed) {
        return Axis{range, begin, isReversed, measures.cell};
    };
    const Axis ends = axisAt(window.ends, corner.x, false);
    const Axis side = axisAt(window.side, ends.end() + gapBetween(measures, window.ends, window.side), false);
    const double gap = gapBetween(measures, window.shafts, window.picks);
    const double top = corner.y + (view.isBelow ? 0 : band);
    const double shaftRoom = window.shafts.count * measures.cell;
    const double pickRoom = window.picks.count * measures.cell;
    const Axis shafts = axisAt(window.shafts, view.isBelow ? top + pickRoom + gap : top, !view.isBelow);
    const Axis picks = axisAt(window.picks, view.isBelow ? top : top + shaftRoom + gap, view.isBelow);
    Parts parts = {pen, fonts, view, measures, ends, side, shafts, picks};
    parts.drawThreading();
    parts.drawTieUp();
    parts.drawSide();
    parts.drawDrawdown();
    parts.drawColours();
    drawNumbersBeside(parts);
}
