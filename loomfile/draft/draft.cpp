#include "loomfile/draft/draft.h"

#include <algorithm>
#include <map>
#include <numeric>

constexpr u32 wordBits = 64;

static void addShafts(std::vector<u64>& words, const NumberList& shafts)
{
    for (const u32 shaft : shafts)
        words[(shaft - 1) / wordBits] |= u64{1} << (shaft - 1) % wordBits;
}

std::vector<u64> liftedShafts(const Draft& draft, u32 pick)
{
    std::vector<u64> words((draft.shafts + wordBits - 1) / wordBits);
    if (draft.hasLiftPlan())
        addShafts(words, draft.liftPlan[pick]);
    else
        for (const u32 treadle : draft.treadling[pick])
            addShafts(words, draft.tieUp[treadle - 1]);
    if (draft.isSinking)
        for (u64& word : words)
            word = ~word;
    return words;
}

static bool isUp(const NumberList& shafts, const std::vector<u64>& lifted)
{
    return std::any_of(shafts.begin(), shafts.end(),
                       [&](u32 shaft) { return (lifted[(shaft - 1) / wordBits] >> (shaft - 1) % wordBits & 1) != 0; });
}

void drawRows(const Draft& draft, u32 firstPick, u32 count, u8* rows, u32 stride)
{
    const u32 rowBytes = (draft.ends() + 7) / 8;
    std::map<std::vector<u64>, const u8*> drawn; // picks that lift the same shafts look the same
    for (u32 row = 0; row < count; row++) {
        u8* bytes = rows + u64{row} * stride;
        std::vector<u64> lifted = liftedShafts(draft, firstPick + row);
        const auto known = drawn.find(lifted);
        if (known != drawn.end()) {
            std::copy_n(known->second, rowBytes, bytes);
            continue;
        }
        std::fill_n(bytes, rowBytes, u8{0});
        for (u32 end = 0; end < draft.ends(); end++)
            if (isUp(draft.threading[end], lifted))
                bytes[end / 8] |= static_cast<u8>(0x80 >> end % 8);
        drawn.emplace(std::move(lifted), bytes);
    }
}

double threadsPerCentimetre(const Threads& threads)
{
    const double width = std::accumulate(threads.spacing.begin(), threads.spacing.end(), 0.0);
    return width > 0 ? static_cast<double>(threads.spacing.size()) / width : 0;
}
