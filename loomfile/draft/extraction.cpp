#include "loomfile/draft/extraction.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <numeric>

#include "loomfile/draft/shaft_order.h"
#include "loomfile/refusal.h"

namespace
{

constexpr u32 bandBytes = 1 << 20;
constexpr u32 wordBits = 64;
constexpr u32 unknown = UINT32_MAX;

// The lifts of a pick, a bit a kind of columns.
using Lifts = std::array<u64, mostExtractedShafts / wordBits>;

bool isUp(const Lifts& lifts, u32 kind)
{
    return (lifts[kind / wordBits] >> kind % wordBits & 1) != 0;
}

void setUp(Lifts& lifts, u32 kind)
{
    lifts[kind / wordBits] |= u64{1} << kind % wordBits;
}

u8 bitOf(const u8* row, u32 column)
{
    return row[column / 8] >> (7 - column % 8) & 1;
}

// Columns that are the same in all rows so far are of one kind. A row in which they differ splits it: those that are as
// the first column of the kind stay, the others are a new kind.
struct Columns {
    u32 width;
    std::vector<u16> kinds;   // of each column
    std::vector<u32> firsts;  // the first column of each kind
    std::vector<u16> origins; // the kind that each was split off
    std::vector<u8> up;       // of the first column of each kind, in a row
    std::vector<u32> others;  // the new kind that was split off each in a row

    explicit Columns(u32 columns) : width(columns), kinds(columns), firsts{0}, origins{0} {}

    void move(u32 column)
    {
        const u16 kind = kinds[column];
        if (others[kind] == unknown) {
            others[kind] = static_cast<u32>(firsts.size());
            firsts.push_back(column);
            origins.push_back(kind);
        }
        kinds[column] = static_cast<u16>(others[kind]);
    }

    void split(const u8* row)
    {
        up.resize(firsts.size());
        std::transform(firsts.begin(), firsts.end(), up.begin(), [row](u32 column) { return bitOf(row, column); });
        others.assign(firsts.size(), unknown);
        u32 column = 0;
        for (; column + 8 <= width; column += 8) {
            u32 expected = 0;
            for (u32 i = 0; i < 8; i++)
                expected = 2 * expected + up[kinds[column + i]];
            const u32 wrong = expected ^ row[column / 8];
            for (u32 i = 0; wrong != 0 && i < 8; i++)
                if ((wrong << i & 0x80) != 0)
                    move(column + i);
        }
        for (; column < width; column++)
            if (bitOf(row, column) != up[kinds[column]])
                move(column);
    }
};

// What the rows show.
struct Weave {
    Columns columns;
    std::vector<Lifts> picks = {}; // none when there are too many kinds of columns
    std::vector<u32> known = {};   // how many kinds there were at each pick
};

void addPick(Weave& weave, const u8* row)
{
    Columns& columns = weave.columns;
    columns.split(row);
    if (columns.firsts.size() > mostExtractedShafts) {
        weave.picks.clear();
        return;
    }
    Lifts lifts{};
    for (u32 kind = 0; kind < columns.firsts.size(); kind++)
        if (bitOf(row, columns.firsts[kind]) != 0)
            setUp(lifts, kind);
    weave.picks.push_back(lifts);
    weave.known.push_back(static_cast<u32>(columns.firsts.size()));
}

void readPicks(Weave& weave, u32 height, const RowReader& readNext)
{
    const std::vector<u32>& firsts = weave.columns.firsts;
    const u64 rowBytes = (u64{weave.columns.width} + 7) / 8;
    const u32 most = std::min(height, static_cast<u32>(std::max<u64>(bandBytes / rowBytes, 1)));
    std::vector<u8> rows((most + 1) * rowBytes); // of the last band the last row, and a band
    for (u32 y = 0; y < height;) {
        // When no two columns are the same nor ever will be, the number of shafts is known.
        if (firsts.size() == weave.columns.width && firsts.size() > mostExtractedShafts)
            return;
        const u32 count = std::min(most, height - y);
        readNext(rows.data() + rowBytes, count);
        for (const u32 end = y + count; y < end; y++) {
            const u8* row = rows.data() + (count + 1 - (end - y)) * rowBytes;
            if (y == 0 || memcmp(row, row - rowBytes, rowBytes) != 0) {
                addPick(weave, row);
            } else if (!weave.picks.empty()) {
                weave.picks.push_back(weave.picks.back());
                weave.known.push_back(weave.known.back());
            }
        }
        memcpy(rows.data(), rows.data() + count * rowBytes, rowBytes);
    }
}

// Kinds that a pick did not know yet were one with what they were split off then.
void completePicks(Weave& weave)
{
    const u32 kinds = static_cast<u32>(weave.columns.firsts.size());
    for (size_t pick = 0; pick < weave.picks.size(); pick++)
        for (u32 kind = weave.known[pick]; kind < kinds; kind++)
            if (isUp(weave.picks[pick], weave.columns.origins[kind]))
                setUp(weave.picks[pick], kind);
}

// The kinds in the order in which they first appear. Returns how many there are.
template <typename Key>
u32 numberKinds(const std::vector<Key>& keys, std::vector<u16>& kinds, u32 most)
{
    std::map<Key, u16> known;
    kinds.clear();
    for (const Key& key : keys) {
        if (known.size() > most)
            break;
        kinds.push_back(known.emplace(key, static_cast<u16>(known.size())).first->second);
    }
    return static_cast<u32>(known.size());
}

// shafts: of each kind of columns.
NumberList shaftsOf(const Lifts& lifts, const std::vector<u16>& shafts)
{
    NumberList list;
    for (u32 kind = 0; kind < shafts.size(); kind++)
        if (isUp(lifts, kind))
            list.push_back(shafts[kind]);
    std::sort(list.begin(), list.end());
    return list;
}

// The shaft of each kind of columns. An end has one shaft.
std::vector<u16> threadEnds(Draft& draft, const Columns& columns)
{
    std::vector<u16> appearances;
    draft.shafts = numberKinds(columns.kinds, appearances, columns.width);
    const std::vector<u16> numbers = weaversOrder(appearances, draft.shafts);
    std::vector<u16> shafts(draft.shafts);
    for (u32 end = 0; end < columns.width; end++) {
        const u16 shaft = numbers[appearances[end]];
        shafts[columns.kinds[end]] = shaft;
        draft.threading.push_back({shaft});
    }
    return shafts;
}

void treadlePicks(Draft& draft, const std::vector<Lifts>& picks, const std::vector<u16>& shafts)
{
    std::vector<u16> kinds;
    const u32 treadles = numberKinds(picks, kinds, mostExtractedShafts);
    if (treadles > mostExtractedShafts) {
        for (const Lifts& lifts : picks)
            draft.liftPlan.push_back(shaftsOf(lifts, shafts));
        return;
    }
    const std::vector<u16> numbers = weaversOrder(kinds, treadles);
    draft.treadles = treadles;
    draft.tieUp.resize(treadles);
    for (size_t pick = 0; pick < picks.size(); pick++) {
        const u16 treadle = numbers[kinds[pick]];
        draft.tieUp[treadle - 1U] = shaftsOf(picks[pick], shafts);
        draft.treadling.push_back({treadle});
    }
}

} // namespace

Draft extractDraft(u32 width, u32 height, const RowReader& readNext)
{
    Weave weave{Columns(width)};
    readPicks(weave, height, readNext);
    const size_t needed = weave.columns.firsts.size();
    if (needed > mostExtractedShafts)
        throw Refusal{loadUnsupportedVariant, "the picture needs " + std::to_string(needed) +
                                                  " shafts, a draft has at most " +
                                                  std::to_string(mostExtractedShafts)};
    completePicks(weave);
    Draft draft;
    draft.warp.count = width;
    draft.weft.count = height;
    draft.isExtracted = true;
    treadlePicks(draft, weave.picks, threadEnds(draft, weave.columns));
    return draft;
}
