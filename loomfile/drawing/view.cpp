#include "loomfile/drawing/view.h"

View::View(const LoomfileDraft* shown, const LoomfileDrawing& drawing) : draft(shown), info(loomfileDraftInfo())
{
    loomfileGetDraftInfo(draft, &info);
    isBelow = drawing.layout == loomfileThreadingBelow;
    hasLiftPlan = info.hasLiftPlan != 0 || drawing.liftPlan != 0;
    isColoured = info.hasColours != 0 && drawing.blackAndWhite == 0;
    sideCount = hasLiftPlan ? info.shafts : info.treadles;
    if (info.hasColours == 0)
        return;
    warp.resize(size_t{3} * info.ends);
    weft.resize(size_t{3} * info.picks);
    loomfileDraftColours(draft, warp.data(), weft.data());
}

std::vector<u16> View::numbers(u32 list, u32 index) const
{
    const u16* first = nullptr;
    const u32 count = loomfileDraftNumbers(draft, list, index, &first);
    return count > 0 ? std::vector<u16>(first, first + count) : std::vector<u16>();
}

std::vector<u16> View::sideOfPick(u32 pick) const
{
    if (!hasLiftPlan)
        return numbers(loomfileTreadling, pick);
    std::vector<bool> named(info.shafts + size_t{1});
    auto name = [&named](const std::vector<u16>& shafts) {
        for (const u16 shaft : shafts)
            named[shaft] = true;
    };
    if (info.hasLiftPlan != 0)
        name(numbers(loomfileLiftPlan, pick));
    else
        for (const u16 treadle : numbers(loomfileTreadling, pick))
            name(shaftsOfTreadle(treadle - 1U));
    std::vector<u16> up;
    for (u32 shaft = 1; shaft <= info.shafts; shaft++)
        if (named[shaft] != (info.isSinking != 0))
            up.push_back(static_cast<u16>(shaft));
    return up;
}

const u8* View::drawdown(Range picks)
{
    if (picks.first != drawn.first || picks.count != drawn.count) {
        rows.resize(u64{picks.count} * drawdownBytes());
        loomfileDraftRows(draft, picks.first, picks.count, rows.data(), drawdownBytes());
        drawn = picks;
    }
    return rows.data();
}
