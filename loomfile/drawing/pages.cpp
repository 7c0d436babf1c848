#include "loomfile/drawing/pages.h"

#include <algorithm>

constexpr u32 largestCell = 16; // 4 mm
constexpr u32 smallestCell = 8; // for the sake of a single page
constexpr u32 pagedCell = 12;

static void addRanges(std::vector<Part>& parts, u32 count, u32 most, Range Part::*member, const Part& common)
{
    for (u32 first = 0; first < count; first += most) {
        parts.push_back(common);
        parts.back().*member = {first, std::min(most, count - first)};
    }
}

// Shafts and treadles are on every page when they leave half of it to the threads, else on pages of their own.
static std::vector<Part> divide(u32 threads, u32 beside, double room, const Measures& measures)
{
    const double besideRoom = beside > 0 ? beside * measures.cell + measures.gap : 0;
    if (threads * measures.cell + besideRoom <= room)
        return {{{0, threads}, {0, beside}}};
    auto cellsIn = [&measures](double length) {
        constexpr u32 group = 8; // as the heavier lines
        const u32 cells = static_cast<u32>(std::max(length / measures.cell, 1.0));
        return cells > group ? cells - cells % group : cells;
    };
    std::vector<Part> parts;
    const bool isRepeated = besideRoom <= room / 2;
    addRanges(parts, threads, cellsIn(isRepeated ? room - besideRoom : room), &Part::threads,
              {{}, {0, isRepeated ? beside : 0}});
    if (!isRepeated)
        addRanges(parts, beside, cellsIn(room), &Part::beside, {});
    return parts;
}

static Pages divideAt(Fonts& fonts, const View& view, u32 cell, Extent paper, double captionHeight)
{
    Pages pages = {paper.width, paper.height, measuresFor(cell, true), {}, {}};
    const Extent taken = extentOf(fonts, view, pages.measures, {});
    pages.columns = divide(view.info.ends, view.sideCount, paper.width - 2 * pageMargin - taken.width, pages.measures);
    pages.rows = divide(view.info.picks, view.info.shafts,
                        paper.height - 2 * pageMargin - footerHeight - captionHeight - taken.height, pages.measures);
    return pages;
}

Pages dividePages(Fonts& fonts, const View& view, u32 cell, u32 page, double captionHeight)
{
    constexpr double perMillimetre = 96 / 25.4;
    const Extent upright =
        page == loomfilePageLetter ? Extent{8.5 * 96, 11.0 * 96} : Extent{210 * perMillimetre, 297 * perMillimetre};
    auto best = [&](u32 tried) {
        const Pages tall = divideAt(fonts, view, tried, upright, captionHeight);
        const Pages wide = divideAt(fonts, view, tried, {upright.height, upright.width}, captionHeight);
        return wide.count() < tall.count() ? wide : tall;
    };
    if (cell != 0)
        return best(cell);
    for (u32 tried = largestCell; tried >= smallestCell; tried--)
        if (const Pages pages = best(tried); pages.count() == 1)
            return pages;
    return best(pagedCell);
}
