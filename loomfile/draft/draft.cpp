#include "loomfile/draft/draft.h"

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

double threadsPerCentimetre(const Threads& threads)
{
    const double width = std::accumulate(threads.spacing.begin(), threads.spacing.end(), 0.0);
    return width > 0 ? static_cast<double>(threads.spacing.size()) / width : 0;
}
