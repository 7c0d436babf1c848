#include "loomfile/drawing/parts.h"

#include <algorithm>
#include <cmath>
#include <map>

constexpr Ink fineInk = 0xB4B4B4;
constexpr Ink heavyInk = 0x7C7C7C;
constexpr u32 numberStep = 4;
constexpr u32 heavyStep = 8;
constexpr double leastCellOfSigns = 7; // smaller ones are filled

namespace
{

// Rectangles by their ink, not so many at once that they fill the memory.
struct Fills {
    Pen& pen;
    std::map<Ink, std::vector<Rectangle>> waiting = {};

    void add(Ink fillInk, const Rectangle& rectangle)
    {
        constexpr size_t most = 10000;
        std::vector<Rectangle>& list = waiting[fillInk];
        list.push_back(rectangle);
        if (list.size() < most)
            return;
        pen.fill(fillInk, list);
        list.clear();
    }

    void finish()
    {
        for (const auto& [fillInk, list] : waiting)
            if (!list.empty())
                pen.fill(fillInk, list);
        waiting.clear();
    }
};

} // namespace

static Rectangle cells(const Axis& columns, u32 column, const Axis& rows, u32 row, u32 columnCount = 1)
{
    return {columns.span(column, columnCount), rows.span(row, 1), columnCount * columns.cell, rows.cell};
}

// How much of a line is before its place: whole pixels when it is of whole pixels.
static double before(double thickness)
{
    return thickness == std::floor(thickness) ? std::floor(thickness / 2) : thickness / 2;
}

// Lines over the cells of two axes and around them.
void Parts::drawGrid(const Axis& columns, const Axis& rows)
{
    if (columns.range.count == 0 || rows.range.count == 0)
        return;
    const bool hasEights = heavyStep * measures.cell >= 8 * measures.heavyLine;
    std::vector<Rectangle> fine, heavy;
    auto addLine = [&](const Axis& axis, const Axis& along, bool isUpright, u32 index) {
        const bool isFrame = index == 0 || index == axis.range.count;
        const bool isHeavy = isFrame || (hasEights && (axis.range.first + index) % heavyStep == 0);
        const double thickness = isHeavy ? measures.heavyLine : measures.fineLine;
        if (thickness == 0)
            return;
        const double start = axis.line(index) - before(thickness);
        const double corner = before(measures.heavyLine);
        const double from = along.begin - corner;
        const double length = along.length() + measures.heavyLine;
        (isHeavy ? heavy : fine)
            .push_back(isUpright ? Rectangle{start, from, thickness, length}
                                 : Rectangle{from, start, length, thickness});
    };
    for (u32 index = 0; index <= columns.range.count; index++)
        addLine(columns, rows, true, index);
    for (u32 index = 0; index <= rows.range.count; index++)
        addLine(rows, columns, false, index);
    if (!fine.empty())
        pen.fill(fineInk, fine);
    pen.fill(heavyInk, heavy);
}

void Parts::drawThreading()
{
    Fills fills = {pen};
    for (u32 end = ends.range.first; end < ends.range.behind(); end++)
        for (const u16 shaft : view.shaftsOfEnd(end))
            if (shafts.has(shaft - 1U))
                fills.add(ink, cells(ends, end, shafts, shaft - 1U));
    fills.finish();
    drawGrid(ends, shafts);
}

void Parts::drawTieUp()
{
    if (view.hasLiftPlan)
        return;
    std::vector<Point> centres;
    std::vector<Rectangle> squares;
    for (u32 treadle = side.range.first; treadle < side.range.behind(); treadle++)
        for (const u16 shaft : view.shaftsOfTreadle(treadle)) {
            if (!shafts.has(shaft - 1U))
                continue;
            const Rectangle cell = cells(side, treadle, shafts, shaft - 1U);
            squares.push_back(cell);
            centres.push_back(
                {cell.x + (cell.width + measures.fineLine) / 2, cell.y + (cell.height + measures.fineLine) / 2});
        }
    const bool hasSigns = measures.cell >= leastCellOfSigns;
    if (!hasSigns && !squares.empty())
        pen.fill(ink, squares);
    drawGrid(side, shafts);
    if (hasSigns && !centres.empty() && view.info.isSinking != 0)
        pen.mark(ink, Sign::cross, measures.cell * 0.22, centres);
    else if (hasSigns && !centres.empty())
        pen.mark(ink, Sign::ring, measures.cell * 0.26, centres);
}

void Parts::drawSide()
{
    Fills fills = {pen};
    for (u32 pick = picks.range.first; pick < picks.range.behind(); pick++)
        for (const u16 number : view.sideOfPick(pick))
            if (side.has(number - 1U))
                fills.add(ink, cells(side, number - 1U, picks, pick));
    fills.finish();
    drawGrid(side, picks);
}

static bool isUp(const u8* row, u32 end)
{
    return (row[end / 8] >> (7 - end % 8) & 1) != 0;
}

void Parts::drawBlackAndWhite(const u8* rows)
{
    Fills fills = {pen};
    const u32 last = ends.range.behind();
    for (u32 row = 0; row < picks.range.count; row++, rows += view.drawdownBytes())
        for (u32 end = ends.range.first; end < last; end++) {
            const u32 first = end;
            while (end < last && isUp(rows, end))
                end++;
            if (end > first)
                fills.add(ink, cells(ends, first, picks, picks.range.first + row, end - first));
        }
    fills.finish();
}

// The weft as stripes, and on them where the warp is up.
void Parts::drawColoured(const u8* rows)
{
    Fills fills = {pen};
    const u32 lastPick = picks.range.behind();
    auto weftInk = [this](u32 pick) { return inkOf(&view.weft[size_t{3} * pick]); };
    auto warpInk = [this](u32 end) { return inkOf(&view.warp[size_t{3} * end]); };
    for (u32 pick = picks.range.first; pick < lastPick;) {
        const u32 first = pick;
        while (pick < lastPick && weftInk(pick) == weftInk(first))
            pick++;
        fills.add(weftInk(first),
                  {ends.begin, picks.span(first, pick - first), ends.length(), (pick - first) * picks.cell});
    }
    fills.finish();
    const u32 last = ends.range.behind();
    for (u32 row = 0; row < picks.range.count; row++, rows += view.drawdownBytes())
        for (u32 end = ends.range.first; end < last;) {
            const u32 first = end;
            const Ink colour = warpInk(end);
            while (end < last && isUp(rows, end) && warpInk(end) == colour)
                end++;
            if (end > first)
                fills.add(colour, cells(ends, first, picks, picks.range.first + row, end - first));
            else
                end++;
        }
    fills.finish();
}

void Parts::drawDrawdown()
{
    if (ends.range.count == 0 || picks.range.count == 0)
        return;
    const u8* rows = view.drawdown(picks.range);
    if (view.isColoured)
        drawColoured(rows);
    else
        drawBlackAndWhite(rows);
    drawGrid(ends, picks);
}

// Axes of one cell, for the colours beside the threading and the treadling.
static Axis barBeside(const Axis& other, bool isBefore, const Measures& measures)
{
    const double begin = isBefore ? other.begin - measures.barGap - measures.bar : other.end() + measures.barGap;
    return {{0, 1}, begin, false, measures.bar};
}

void Parts::drawColours()
{
    if (view.warp.empty())
        return;
    const Axis& outermost = shafts.range.count > 0 ? shafts : picks;
    const Axis warpBar = barBeside(outermost, !view.isBelow, measures);
    const Axis weftBar = barBeside(side.range.count > 0 ? side : ends, false, measures);
    Fills fills = {pen};
    for (u32 end = ends.range.first; end < ends.range.behind(); end++)
        fills.add(inkOf(&view.warp[size_t{3} * end]), {ends.span(end, 1), warpBar.begin, measures.cell, measures.bar});
    for (u32 pick = picks.range.first; pick < picks.range.behind(); pick++)
        fills.add(inkOf(&view.weft[size_t{3} * pick]),
                  {weftBar.begin, picks.span(pick, 1), measures.bar, measures.cell});
    fills.finish();
    drawGrid(ends, warpBar);
    drawGrid(weftBar, picks);
}

Lettering numbering(const Measures& measures, Align align)
{
    return {measures.numberSize, paleInk, false, align};
}

void Parts::drawNumbers(const Axis& axis, bool isAcross, double at, bool isFew)
{
    const Lettering lettering = numbering(measures, isAcross ? Align::centre : Align::left);
    const double size =
        isAcross ? fonts.width(std::to_string(axis.range.behind()), lettering) + 3 : measures.numberSize;
    u32 step = isFew && size <= axis.cell ? 1 : numberStep;
    while (step * axis.cell < size)
        step *= 2;
    const double digitHeight = 0.72 * measures.numberSize;
    for (u32 index = axis.range.first; index < axis.range.behind(); index++) {
        if ((index + 1) % step != 0)
            continue;
        const double middle = axis.span(index, 1) + (axis.cell + measures.fineLine) / 2;
        pen.write(std::to_string(index + 1), isAcross ? Point{middle, at} : Point{at, middle + digitHeight / 2},
                  lettering);
    }
}
