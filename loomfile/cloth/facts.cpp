#include "loomfile/cloth/facts.h"

#include <algorithm>
#include <bit>
#include <tuple>

constexpr u32 wordBits = 64;
constexpr u32 noChange = UINT32_MAX;
enum { warp, weft };

void Float::keepLonger(const Float& other)
{
    if (other.length > length || (other.length == length && std::tie(other.pick, other.end) < std::tie(pick, end)))
        *this = other;
}

WeaveCount::WeaveCount(u32 endCount, u32 pickCount)
    : ends(endCount), picks(pickCount), row((endCount + wordBits - 1) / wordBits), begin(endCount),
      firstChange(endCount, noChange)
{
}

void WeaveCount::keepWarp(u32 end, u32 from, u32 length, bool isUp)
{
    (isUp ? over : under)[warp].keepLonger({length, end, from});
}

void WeaveCount::keepWeft(u32 end, u32 length, bool isUp)
{
    (isUp ? under : over)[weft].keepLonger({length, end, pick});
}

// Calls with the number of each set bit.
template <typename Action>
static void forEachBit(u64 word, u32 firstEnd, const Action& action)
{
    while (word != 0) {
        const auto bit = static_cast<u32>(std::countl_zero(word));
        action(firstEnd + bit);
        word &= ~(u64{1} << (wordBits - 1 - bit));
    }
}

void WeaveCount::countPick()
{
    u32 start = 0, firstEnd = 0, changes = 0;
    bool isFirst = true;
    const bool startsUp = isUp(row, 0);
    u64 last = startsUp ? 1 : 0;
    for (u32 i = 0; i < row.size(); i++) {
        const u32 used = std::min(ends - i * wordBits, wordBits);
        const u64 mask = ~u64{0} << (wordBits - used);
        forEachBit((row[i] ^ (row[i] >> 1 | last << (wordBits - 1))) & mask, i * wordBits, [&](u32 end) {
            if (isFirst)
                firstEnd = end;
            else
                keepWeft(start, end - start, !isUp(row, end));
            isFirst = false;
            start = end;
            changes++;
        });
        last = row[i] & 1;
        warpUp += static_cast<u32>(std::popcount(row[i]));
    }
    const bool endsUp = isUp(row, ends - 1);
    if (isFirst) {
        keepWeft(0, ends, startsUp);
    } else if (startsUp == endsUp) {
        keepWeft(start, ends - start + firstEnd, endsUp); // runs on into the next repeat
    } else {
        keepWeft(0, firstEnd, startsUp);
        keepWeft(start, ends - start, endsUp);
        changes++;
    }
    changesOfPicks += changes;
}

void WeaveCount::countEnds()
{
    for (u32 i = 0; i < row.size(); i++) {
        const u64 changed = row[i] ^ before[i];
        changesOfEnds += static_cast<u32>(std::popcount(changed));
        forEachBit(changed, i * wordBits, [&](u32 end) {
            if (firstChange[end] == noChange)
                firstChange[end] = pick;
            else
                keepWarp(end, begin[end], pick - begin[end], isUp(before, end));
            begin[end] = pick;
        });
    }
}

void WeaveCount::take(const u8* bytes)
{
    std::fill(row.begin(), row.end(), 0);
    for (u32 i = 0; i < (ends + 7) / 8; i++)
        row[i / 8] |= u64{bytes[i]} << (56 - i % 8 * 8);
    countPick();
    if (pick == 0)
        first = row;
    else
        countEnds();
    before = row;
    pick++;
}

void WeaveCount::finish()
{
    for (u32 i = 0; i < row.size(); i++)
        changesOfEnds += static_cast<u32>(std::popcount(first[i] ^ before[i]));
    for (u32 end = 0; end < ends; end++) {
        const bool startsUp = isUp(first, end), endsUp = isUp(before, end);
        if (firstChange[end] == noChange) {
            keepWarp(end, 0, picks, startsUp);
        } else if (startsUp == endsUp) {
            keepWarp(end, begin[end], picks - begin[end] + firstChange[end], endsUp);
        } else {
            keepWarp(end, 0, firstChange[end], startsUp);
            keepWarp(end, begin[end], picks - begin[end], endsUp);
        }
    }
}
