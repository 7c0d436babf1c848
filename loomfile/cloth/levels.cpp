// The means of larger and larger blocks of a cloth.
#include <algorithm>
#include <functional>
#include <memory>

#include "loomfile/cloth/cloth.h"

namespace
{

// Writes the light of a row of the finer level.
using RowSource = std::function<void(u32 row, i16* light)>;

constexpr u32 tapCount = 5;
constexpr u32 tapSum = 256;

// The five fine blocks that a coarse one is the mean of.
struct Taps {
    i32 first;
    std::array<u16, tapCount + 1> weights; // the last is 0
};

// 1 : 3 : 3 : 1 around a block's middle; where that does not lie between two fine ones each weight is shared by two.
std::vector<Taps> tapsOf(u32 fine, u32 coarse)
{
    constexpr i64 parts = 32;
    std::vector<Taps> taps(coarse);
    for (u32 i = 0; i < coarse; i++) {
        const i64 place = (2 * i64{i} + 1) * fine * (parts / 2) / coarse - 2 * parts;
        const i64 first = place >= 0 ? place / parts : -((parts - 1 - place) / parts);
        const auto b = static_cast<u16>(place - first * parts);
        const auto a = static_cast<u16>(parts - b);
        taps[i] = {static_cast<i32>(first),
                   {a, static_cast<u16>(3 * a + b), static_cast<u16>(3 * parts), static_cast<u16>(a + 3 * b), b, 0}};
    }
    return taps;
}

class Halving
{
public:
    Halving(u32 givenColumns, u32 givenRows, RowSource given)
        : columns((givenColumns + 1) / 2), rows((givenRows + 1) / 2), fineColumns(givenColumns), fineRows(givenRows),
          source(std::move(given)), columnTaps(tapsOf(fineColumns, columns)), rowTaps(tapsOf(fineRows, rows)),
          fine((before + u64{fineColumns} + behind) * 4)
    {
    }

    const u32 columns, rows;

    void row(u32 number, i16* light)
    {
        const Taps& taps = rowTaps[number];
        const i16* lines[tapCount];
        for (u32 i = 0; i < tapCount; i++)
            lines[i] = narrowed(taps.first + static_cast<i32>(i));
        const auto& w = taps.weights;
        for (u32 i = 0; i < 4 * columns; i++) {
            const i32 sum =
                lines[0][i] * w[0] + lines[1][i] * w[1] + lines[2][i] * w[2] + lines[3][i] * w[3] + lines[4][i] * w[4];
            light[i] = static_cast<i16>((sum + i32{tapSum / 2}) >> 8);
        }
    }

private:
    // Columns beyond the edges, which are those of the next repeat.
    static constexpr u32 before = 2;
    static constexpr u32 behind = 6;

    // A fine row with the columns halved. A few are kept, for the coarse rows share them.
    const i16* narrowed(i32 unwrapped)
    {
        Kept& slot = kept[static_cast<u32>(unwrapped + 8) % kept.size()];
        if (slot.row == unwrapped)
            return slot.light.data();
        slot.row = unwrapped;
        slot.light.resize(u64{columns} * 4);
        i16* middle = &fine[before * 4];
        source(static_cast<u32>((unwrapped + i64{2} * fineRows) % fineRows), middle);
        for (u32 i = 0; i < before; i++)
            std::copy_n(middle + 4 * ((2 * u64{fineColumns} - before + i) % fineColumns), 4, &fine[4 * i]);
        for (u32 i = 0; i < behind; i++)
            std::copy_n(middle + u64{4} * (i % fineColumns), 4, middle + 4 * (u64{fineColumns} + i));
        for (u32 i = 0; i < columns; i++) {
            const Taps& taps = columnTaps[i];
            const i16* from = middle + i64{4} * taps.first;
            using Lanes = FastLanes;
            const Lanes::Sums sums = Lanes::add(Lanes::add(Lanes::mixNeighbours(from, &taps.weights[0]),
                                                           Lanes::mixNeighbours(from + 8, &taps.weights[2])),
                                                Lanes::mixNeighbours(from + 16, &taps.weights[4]));
            const u64 word = Lanes::shifted<8>(sums);
            memcpy(&slot.light[u64{i} * 4], &word, sizeof word);
        }
        return slot.light.data();
    }

    struct Kept {
        i32 row = INT32_MAX;
        std::vector<i16> light;
    };
    u32 fineColumns, fineRows;
    RowSource source;
    std::vector<Taps> columnTaps, rowTaps;
    std::vector<i16> fine;
    std::array<Kept, 8> kept;
};

// The means of the tiles themselves.
RowSource tileMeans(const Cloth& cloth)
{
    return [&cloth, tiles = TileRow()](u32 row, i16* light) mutable {
        using Lanes = FastLanes;
        const u32 ends = cloth.design.ends;
        tiles.take(cloth, row % cloth.design.picks, 0, ends);
        for (u32 i = 0; i < ends; i++) {
            const u64 word =
                Lanes::shifted<14>(Lanes::mixFour(tiles.ends[i].data(), tiles.picks[u64{i} * tiles.pickStep].data(),
                                                  cloth.looks.means[tiles.looks[i]].data()));
            memcpy(light + u64{4} * i, &word, sizeof word);
        }
        for (u32 i = ends; i < cloth.levelEnds; i++)
            std::copy_n(light + u64{4} * (i - ends), 4, light + u64{4} * i);
    };
}

RowSource rowsOf(const Level& level)
{
    return [&level](u32 row, i16* light) {
        const u64 count = u64{level.columns} * 4;
        const u8* roots = &level.roots[row * count];
        for (u64 i = 0; i < count; i++)
            light[i] = static_cast<i16>(lightPerByte(roots[i]));
    };
}

Level keep(Halving& halving, u32 number, const LightTables& tables)
{
    Level level = {number, halving.columns, halving.rows, {}};
    const u64 count = u64{level.columns} * 4;
    level.roots.resize(count * level.rows);
    std::vector<i16> light(count);
    for (u32 row = 0; row < level.rows; row++) {
        halving.row(row, light.data());
        u8* roots = &level.roots[row * count];
        for (u64 i = 0; i < count; i++)
            roots[i] = tables.rootOf[static_cast<u16>(light[i])];
    }
    return level;
}

} // namespace

void buildLevels(Cloth& cloth)
{
    // Levels that are too large are only passed through.
    std::vector<std::unique_ptr<Halving>> chain;
    chain.push_back(std::make_unique<Halving>(cloth.levelEnds, cloth.levelPicks, tileMeans(cloth)));
    while (u64{chain.back()->columns} * chain.back()->rows > cloth.design.mostBlocks) {
        Halving& finer = *chain.back();
        chain.push_back(std::make_unique<Halving>(finer.columns, finer.rows,
                                                  [&finer](u32 row, i16* light) { finer.row(row, light); }));
    }
    cloth.levels.reserve(32);
    cloth.levels.push_back(keep(*chain.back(), static_cast<u32>(chain.size()), cloth.tables));
    while (cloth.levels.back().columns > 1 || cloth.levels.back().rows > 1) {
        const Level& finer = cloth.levels.back();
        Halving halving(finer.columns, finer.rows, rowsOf(finer));
        cloth.levels.push_back(keep(halving, finer.number + 1, cloth.tables));
    }
}
