#include "loomfile/drawing/sheet.h"

#include <algorithm>
#include <cmath>
#include <map>

constexpr Ink fineInk = 0xB4B4B4;
constexpr Ink heavyInk = 0x7C7C7C;
constexpr u32 numberStep = 4;
constexpr u32 heavyStep = 8;
constexpr double leastCellOfSigns = 7; // smaller ones are filled

Measures measuresFor(u32 cell, bool isPaper)
{
    const double side = cell;
    const double heavy = isPaper ? 1 : side >= 12 ? 2 : 1;
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

namespace
{

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

struct Sheet {
    Pen& pen;
    Fonts& fonts;
    View& view;
    const Measures& measures;
    Axis ends, side, shafts, picks;

    void draw();

private:
    Rectangle cells(const Axis& columns, u32 column, const Axis& rows, u32 row, u32 columnCount = 1,
                    u32 rowCount = 1) const
    {
        return {columns.span(column, columnCount), rows.span(row, rowCount), columnCount * measures.cell,
                rowCount * measures.cell};
    }

    void drawGrid(const Axis& columns, const Axis& rows);
    void drawThreading();
    void drawTieUp();
    void drawSide();
    void drawBlackAndWhite(const u8* rows);
    void drawColours(const u8* rows);
    void drawDrawdown();
    void drawBars();
    void drawNumbers(const Axis& axis, bool isAcross, double at, bool isFew);
};

} // namespace

// Lines over the cells of two axes and around them.
void Sheet::drawGrid(const Axis& columns, const Axis& rows)
{
    const bool hasEights = heavyStep * measures.cell >= 8 * measures.heavyLine;
    std::vector<Rectangle> fine, heavy;
    auto addLine = [&](const Axis& axis, const Axis& along, bool isUpright, u32 index) {
        const bool isFrame = index == 0 || index == axis.range.count;
        const bool isHeavy = isFrame || (hasEights && (axis.range.first + index) % heavyStep == 0);
        const double thickness = isHeavy ? measures.heavyLine : measures.fineLine;
        if (thickness == 0)
            return;
        // On whole pixels when the thickness is whole.
        const double before = thickness >= 1 ? std::floor(thickness / 2) : thickness / 2;
        const double start = axis.line(index) - before;
        const double corner = std::floor(measures.heavyLine / 2);
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

void Sheet::drawThreading()
{
    Fills fills = {pen};
    for (u32 end = ends.range.first; end < ends.range.first + ends.range.count; end++)
        for (const u16 shaft : view.shaftsOfEnd(end))
            if (shafts.has(shaft - 1U))
                fills.add(ink, cells(ends, end, shafts, shaft - 1U));
    fills.finish();
    drawGrid(ends, shafts);
}

void Sheet::drawTieUp()
{
    if (view.hasLiftPlan)
        return;
    std::vector<Point> centres;
    std::vector<Rectangle> squares;
    for (u32 treadle = side.range.first; treadle < side.range.first + side.range.count; treadle++)
        for (const u16 shaft : view.shaftsOfTreadle(treadle)) {
            if (!shafts.has(shaft - 1U))
                continue;
            const Rectangle cell = cells(side, treadle, shafts, shaft - 1U);
            squares.push_back(cell);
            centres.push_back(
                {cell.x + (cell.width + measures.fineLine) / 2, cell.y + (cell.height + measures.fineLine) / 2});
        }
    if (measures.cell < leastCellOfSigns)
        pen.fill(ink, squares);
    drawGrid(side, shafts);
    if (measures.cell >= leastCellOfSigns && view.info.isSinking != 0)
        pen.mark(ink, Sign::cross, measures.cell * 0.22, centres);
    else if (measures.cell >= leastCellOfSigns)
        pen.mark(ink, Sign::ring, measures.cell * 0.26, centres);
}

void Sheet::drawSide()
{
    Fills fills = {pen};
    for (u32 pick = picks.range.first; pick < picks.range.first + picks.range.count; pick++)
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

void Sheet::drawBlackAndWhite(const u8* rows)
{
    Fills fills = {pen};
    const u32 last = ends.range.first + ends.range.count;
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
void Sheet::drawColours(const u8* rows)
{
    Fills fills = {pen};
    const u32 lastPick = picks.range.first + picks.range.count;
    auto weftInk = [this](u32 pick) { return inkOf(&view.weft[size_t{3} * pick]); };
    auto warpInk = [this](u32 end) { return inkOf(&view.warp[size_t{3} * end]); };
    for (u32 pick = picks.range.first; pick < lastPick;) {
        const u32 first = pick;
        while (pick < lastPick && weftInk(pick) == weftInk(first))
            pick++;
        fills.add(weftInk(first), cells(ends, ends.range.first, picks, first, ends.range.count, pick - first));
    }
    fills.finish();
    const u32 last = ends.range.first + ends.range.count;
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

void Sheet::drawDrawdown()
{
    const u8* rows = view.drawdown(picks.range);
    if (view.isColoured)
        drawColours(rows);
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

void Sheet::drawBars()
{
    if (view.warp.empty())
        return;
    const Axis& outermost = shafts.range.count > 0 ? shafts : picks;
    const Axis warpBar = barBeside(outermost, !view.isBelow, measures);
    const Axis weftBar = barBeside(side.range.count > 0 ? side : ends, false, measures);
    Fills fills = {pen};
    for (u32 end = ends.range.first; end < ends.range.first + ends.range.count; end++)
        fills.add(inkOf(&view.warp[size_t{3} * end]), {ends.span(end, 1), warpBar.begin, measures.cell, measures.bar});
    for (u32 pick = picks.range.first; pick < picks.range.first + picks.range.count; pick++)
        fills.add(inkOf(&view.weft[size_t{3} * pick]),
                  {weftBar.begin, picks.span(pick, 1), measures.bar, measures.cell});
    fills.finish();
    if (ends.range.count > 0)
        drawGrid(ends, warpBar);
    if (picks.range.count > 0)
        drawGrid(weftBar, picks);
}

static Lettering numbering(const Measures& measures, Align align)
{
    return {measures.numberSize, paleInk, false, align};
}

// Above or below the axis, or to the right of it. Few ones are all told.
void Sheet::drawNumbers(const Axis& axis, bool isAcross, double at, bool isFew)
{
    const Lettering lettering = numbering(measures, isAcross ? Align::centre : Align::left);
    const double size = isAcross ? fonts.width(std::to_string(axis.range.first + axis.range.count), lettering) + 3
                                 : measures.numberSize;
    u32 step = isFew && size <= axis.cell ? 1 : numberStep;
    while (step * axis.cell < size)
        step *= 2;
    const double digitHeight = 0.72 * measures.numberSize;
    for (u32 index = axis.range.first; index < axis.range.first + axis.range.count; index++) {
        if ((index + 1) % step != 0)
            continue;
        const double middle = axis.span(index, 1) + (axis.cell + measures.fineLine) / 2;
        pen.write(std::to_string(index + 1), isAcross ? Point{middle, at} : Point{at, middle + digitHeight / 2},
                  lettering);
    }
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

void Sheet::draw()
{
    const bool hasEnds = ends.range.count > 0;
    const bool hasPicks = picks.range.count > 0;
    const bool hasShafts = shafts.range.count > 0;
    const bool hasSide = side.range.count > 0;
    if (hasEnds && hasShafts)
        drawThreading();
    if (hasSide && hasShafts)
        drawTieUp();
    if (hasPicks && hasSide)
        drawSide();
    if (hasPicks && hasEnds)
        drawDrawdown();
    drawBars();

    constexpr u32 few = 16;
    const double digitHeight = std::round(0.72 * measures.numberSize);
    const double barRoom = view.warp.empty() ? 0 : measures.bar + measures.barGap;
    auto outside = [&](const Axis& axis, double beside) {
        const double distance = beside + measures.barGap;
        return view.isBelow ? axis.end() + distance + digitHeight : axis.begin - distance;
    };
    const Axis& outermost = hasShafts ? shafts : picks;
    drawNumbers(ends, true, outside(outermost, barRoom), false);
    drawNumbers(side, true, outside(view.hasLiftPlan || !hasShafts ? picks : shafts, 0), view.sideCount <= few);
    const Axis& rightmost = hasSide ? side : ends;
    drawNumbers(picks, false, rightmost.end() + barRoom + measures.barGap, false);
    const Axis& besideShafts = hasSide && !view.hasLiftPlan ? side : ends;
    drawNumbers(shafts, false, besideShafts.end() + measures.barGap, view.info.shafts <= few);
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
    Sheet{pen, fonts, view, measures, ends, side, shafts, picks}.draw();
}
