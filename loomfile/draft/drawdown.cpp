#include "loomfile/draft/drawdown.h"

#include <bit>
#include <cstring>

constexpr u32 wordBits = 64;

static void setEnd(std::vector<u64>& row, u32 end)
{
    reinterpret_cast<u8*>(row.data())[end / 8] |= static_cast<u8>(0x80 >> end % 8);
}

static void addRow(std::vector<u64>& row, const std::vector<u64>& other)
{
    for (size_t i = 0; i < row.size(); i++)
        row[i] |= other[i];
}

Drawdown::Drawdown(const Draft& given)
    : draft(given), rowWords((u64{given.ends()} + wordBits - 1) / wordBits), firstOfShaft(given.shafts + 1),
      shaftRows(given.shafts), treadleRows(given.treadles)
{
    for (const NumberList& shafts : draft.threading)
        for (const u32 shaft : shafts)
            firstOfShaft[shaft]++;
    for (u32 shaft = 1; shaft <= draft.shafts; shaft++)
        firstOfShaft[shaft] += firstOfShaft[shaft - 1];
    ends.resize(firstOfShaft.back());
    std::vector<u32> next(firstOfShaft.begin(), firstOfShaft.end() - 1);
    for (u32 end = 0; end < draft.ends(); end++)
        for (const u32 shaft : draft.threading[end])
            ends[next[shaft - 1]++] = end;
    for (u32 shaft = 0; shaft < draft.shafts; shaft++) {
        if (firstOfShaft[shaft + 1] - firstOfShaft[shaft] <= rowWords)
            continue;
        shaftRows[shaft].resize(rowWords);
        for (u32 i = firstOfShaft[shaft]; i < firstOfShaft[shaft + 1]; i++)
            setEnd(shaftRows[shaft], ends[i]);
    }
}

void Drawdown::addShaft(u32 shaft, Words& row) const
{
    if (!shaftRows[shaft].empty())
        addRow(row, shaftRows[shaft]);
    else
        for (u32 i = firstOfShaft[shaft]; i < firstOfShaft[shaft + 1]; i++)
            setEnd(row, ends[i]);
}

void Drawdown::addShafts(const std::vector<u64>& lifted, Words& row) const
{
    for (u32 word = 0; word < lifted.size(); word++)
        for (u64 bits = lifted[word]; bits != 0; bits &= bits - 1) {
            const u32 shaft = word * wordBits + static_cast<u32>(std::countr_zero(bits));
            if (shaft < draft.shafts)
                addShaft(shaft, row);
        }
}

const Drawdown::Words& Drawdown::treadleRow(u32 treadle)
{
    Words& row = treadleRows[treadle];
    if (row.empty()) {
        row.resize(rowWords);
        for (const u32 shaft : draft.tieUp[treadle])
            addShaft(shaft - 1, row);
    }
    return row;
}

void Drawdown::drawPick(u32 pick, Words& row)
{
    row.assign(rowWords, 0);
    if (draft.isSinking)
        addShafts(liftedShafts(draft, pick), row);
    else if (draft.hasLiftPlan())
        for (const u32 shaft : draft.liftPlan[pick])
            addShaft(shaft - 1, row);
    else
        for (const u32 treadle : draft.treadling[pick])
            addRow(row, treadleRow(treadle - 1));
}

void Drawdown::draw(u32 firstPick, u32 count, u8* rows, u32 stride)
{
    const u32 rowBytes = (draft.ends() + 7) / 8;
    Words row;
    for (u32 i = 0; i < count; i++) {
        drawPick(firstPick + i, row);
        memcpy(rows + u64{i} * stride, row.data(), rowBytes);
    }
}

void drawRows(const Draft& draft, u32 firstPick, u32 count, u8* rows, u32 stride)
{
    Drawdown(draft).draw(firstPick, count, rows, stride);
}
