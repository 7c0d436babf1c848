#include "loomfile/drawing/pages.h"

#include <algorithm>

constexpr u32 largestCell = 16; // 4 mm
constexpr u32 uprightCell = 12; // smaller ones are a reason to turn the page
constexpr u32 smallestCell = 8; // for the sake of fewer pages
constexpr u32 pagedCell = 10;   // of drafts that take several

// Ranges of so many threads at most, about as long as each other, that end at heavier lines.
static void addRanges(std::vector<Part>& parts, u32 count, double room, Range Part::*member, const Part& common)
{
    constexpr u32 group = 8;
    u32 most = static_cast<u32>(std::max(room, 1.0));
    if (most > group) {
        most -= most % group;
        const u32 ranges = (count + most - 1) / most;
        const u32 groups = (count + group * ranges - 1) / (group * ranges);
        most = std::min(most, groups * group);
    }
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
    std::vector<Part> parts;
    if (besideRoom <= room / 2) {
        addRanges(parts, threads, (room - besideRoom) / measures.cell, &Part::threads, {{}, {0, beside}});
    } else {
        addRanges(parts, threads, room / measures.cell, &Part::threads, {});
        addRanges(parts, beside, room / measures.cell, &Part::beside, {});
    }
    return parts;
}

static Pages divideAt(Fonts& fonts, const View& view, u32 cell, Extent paper, double captionHeight)
{
    Pages pages = {paper.width, paper.height, measuresFor(cell, true), {}, {}, 0};
    const Extent taken = extentOf(fonts, view, pages.measures, {});
    pages.columns = divide(view.info.ends, view.sideCount, paper.width - 2 * pageMargin - taken.width, pages.measures);
    pages.rows = divide(view.info.picks, view.info.shafts,
                        paper.height - 2 * pageMargin - footerHeight - captionHeight - taken.height, pages.measures);
    auto without = [](const std::vector<Part>& parts) {
        return std::count_if(parts.begin(), parts.end(), [](const Part& part) { return part.threads.count == 0; });
    };
    const auto empty = view.hasLiftPlan ? without(pages.columns) * without(pages.rows) : 0;
    pages.count = u64{pages.columns.size()} * pages.rows.size() - static_cast<u64>(empty);
    return pages;
}

bool isEmpty(const View& view, const Part& column, const Part& row)
{
    return view.hasLiftPlan && column.threads.count == 0 && row.threads.count == 0;
}

Pages dividePages(Fonts& fonts, const View& view, u32 cell, u32 page, double captionHeight)
{
    constexpr double perMillimetre = 96 / 25.4;
    const Extent upright =
        page == loomfilePageLetter ? Extent{8.5 * 96, 11.0 * 96} : Extent{210 * perMillimetre, 297 * perMillimetre};
    auto tall = [&](u32 tried) { return divideAt(fonts, view, tried, upright, captionHeight); };
    auto best = [&](u32 tried) {
        const Pages wide = divideAt(fonts, view, tried, {upright.height, upright.width}, captionHeight);
        const Pages usual = tall(tried);
        return wide.count < usual.count ? wide : usual;
    };
    if (cell != 0)
        return best(cell);
    for (u32 tried = largestCell; tried >= uprightCell; tried--)
        if (Pages pages = tall(tried); pages.count == 1)
            return pages;
    for (u32 tried = largestCell; tried >= smallestCell; tried--)
        if (Pages pages = best(tried); pages.count == 1)
            return pages;
    Pages fewest = best(pagedCell);
    for (u32 tried = pagedCell - 1; tried >= smallestCell; tried--)
        if (const Pages pages = best(tried); pages.count < fewest.count)
            fewest = pages;
    return fewest;
}
