// Cloth from near and far, and what is counted in weaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>

#include "bench/reference/cloth_reference.h"
#include "loomfile/cloth/facts.h"
#include "loomfile/draft/handle.h"
#include "samples/bmp_writer.h"
#include "tests/support.h"

using std::vector;

namespace
{

// Rows of 'x' (the warp is up) and '.'.
ClothDesign drawn(const vector<std::string>& rows)
{
    ClothDesign design;
    design.ends = static_cast<u32>(rows[0].size());
    design.picks = static_cast<u32>(rows.size());
    const u32 rowBytes = (design.ends + 7) / 8;
    design.weave.resize(u64{rowBytes} * design.picks);
    for (u32 y = 0; y < design.picks; y++)
        for (u32 x = 0; x < design.ends; x++)
            if (rows[y][x] == 'x')
                design.weave[y * rowBytes + x / 8] |= static_cast<u8>(0x80 >> x % 8);
    design.warp = {20, 30, 120};
    design.weft = {250, 240, 200};
    return design;
}

const vector<std::string> plainWeave = {"x.", ".x"};
const vector<std::string> satin = {"x....", "..x..", "....x", ".x...", "...x."};

struct Random {
    std::mt19937 numbers{7};
    u32 below(u32 limit) { return numbers() % limit; }
    double between(double least, double most) { return least + (most - least) * numbers() / 4294967296.0; }
    vector<u8> bytes(size_t size)
    {
        vector<u8> made(size);
        std::generate(made.begin(), made.end(), [this] { return static_cast<u8>(numbers()); });
        return made;
    }
};

ClothDesign randomDesign(Random& random, u32 ends, u32 picks, u32 crossingBytes)
{
    ClothDesign design;
    design.ends = ends;
    design.picks = picks;
    if (crossingBytes == 0) {
        design.weave = random.bytes(u64{(ends + 7) / 8} * picks);
        design.warp = random.bytes(3 * ends);
        design.weft = random.bytes(3 * picks);
    } else {
        design.crossingBytes = crossingBytes;
        design.crossings = random.bytes(u64{ends} * picks * crossingBytes);
        const vector<u8> palette = random.bytes(768);
        std::copy(palette.begin(), palette.end(), design.palette.begin());
    }
    return design;
}

vector<u8> frame(const Cloth& cloth, double zoom, u32 size, double left = 0.3, double top = 0.7)
{
    vector<u8> rows(u64{3} * size * size);
    drawCloth(cloth, {left, top, zoom, zoom, size}, 0, size, rows.data(), u64{3} * size, 3);
    return rows;
}

} // namespace

TEST(Cloth, IsDrawnAsPixelByPixel)
{
    Random random;
    vector<ClothDesign> designs = {drawn(plainWeave),
                                   randomDesign(random, 1, 3, 0),
                                   randomDesign(random, 67, 45, 0),
                                   randomDesign(random, 19, 24, 1),
                                   randomDesign(random, 21, 9, 3),
                                   randomDesign(random, 200, 130, 0)};
    designs.back().mostBlocks = 2000; // the first levels are too large
    designs.back().thickness = {0.5, 1};
    for (ClothDesign& design : designs) {
        const Cloth cloth(std::move(design));
        for (u32 i = 0; i < 60; i++) {
            const double zoom = std::exp2(random.between(-7, 5.5));
            const ClothView view = {random.between(-1e4, 1e4), random.between(-1e4, 1e4), zoom,
                                    zoom * random.between(0.5, 2), 1 + random.below(50)};
            const u32 bytes = 3 + i % 2, count = 1 + random.below(20);
            const u64 stride = u64{bytes} * view.width + random.below(9);
            vector<u8> fast(stride * count), plain(fast), lanes(fast);
            plainCloth(cloth, view, 5, count, plain.data(), stride, bytes);
            drawCloth(cloth, view, 5, 1, fast.data(), stride, bytes);
            drawCloth(cloth, view, 6, count - 1, fast.data() + stride, stride, bytes);
            drawCloth(cloth, view, 5, count, lanes.data(), stride, bytes, true);
            ASSERT_EQ(fast, plain) << cloth.design.ends << " ends, zoom " << zoom;
            ASSERT_EQ(lanes, plain) << cloth.design.ends << " ends, zoom " << zoom;
        }
    }
}

TEST(Cloth, IsItsMeanColourFromAfar)
{
    Random random;
    for (const ClothDesign& design : {drawn(plainWeave), drawn(satin), randomDesign(random, 12, 16, 0)}) {
        const Cloth cloth(design);
        const vector<u8> near = frame(cloth, 16, 16 * std::lcm(design.ends, design.picks));
        for (const double zoom : {0.03, 0.013}) {
            const vector<u8> far = frame(cloth, zoom, 20);
            for (u32 channel = 0; channel < 3; channel++) {
                double light = 0;
                for (size_t i = channel; i < near.size(); i += 3)
                    light += cloth.tables.lightOf[near[i]];
                const double mean = cloth.tables.byteOf[static_cast<u32>(light / (near.size() / 3.0)) / 4];
                for (size_t i = channel; i < far.size(); i += 3)
                    ASSERT_NEAR(far[i], mean, 2) << zoom;
            }
        }
    }
}

// Around the place that stays where it is, and over all zooms.
TEST(Cloth, ChangesGentlyWhileOneZoomsOut)
{
    for (const auto& rows : {plainWeave, satin}) {
        const Cloth cloth(drawn(rows));
        constexpr u32 size = 24;
        vector<u8> before;
        for (double zoom = 12; zoom > 0.05; zoom /= 1.01) {
            const double corner = 2.5 - size / 2 / zoom;
            const vector<u8> now = frame(cloth, zoom, size, corner, corner);
            double change = 0;
            for (size_t i = 0; i < before.size(); i++)
                change += std::abs(now[i] - before[i]);
            EXPECT_LT(change / static_cast<double>(now.size()), 12) << zoom;
            if (zoom < 0.8) {
                vector<u8> red;
                for (size_t i = 0; i < now.size(); i += 3)
                    red.push_back(now[i]);
                const auto range = std::minmax_element(red.begin(), red.end());
                EXPECT_LE(*range.second - *range.first, zoom < 0.5 ? 2 : 24) << zoom << " " << rows.size();
            }
            before = now;
        }
    }
}

TEST(WeaveFacts, FloatsRunOnIntoTheNextRepeat)
{
    struct Case {
        vector<std::string> rows;
        vector<u32> floats; // length, end, pick of: warp over, warp under, weft over, weft under
        vector<u64> counts; // warp up, changes of ends, changes of picks
    };
    const Case cases[] = {
        {plainWeave, {1, 0, 0, 1, 1, 0, 1, 1, 0, 1, 0, 0}, {2, 4, 4}},
        {satin, {1, 0, 0, 4, 3, 0, 4, 1, 0, 1, 0, 0}, {5, 10, 10}},
        // The first end is always up; the second pick has no warp up but that.
        {{"xx..x", "x....", "x.x.x"}, {3, 0, 0, 3, 3, 0, 4, 1, 1, 3, 4, 0}, {7, 6, 8}},
        {{std::string(70, '.') + "x" + std::string(60, '.') + "x"}, {1, 70, 0, 1, 0, 0, 70, 0, 0, 1, 70, 0}, {2, 0, 4}},
    };
    for (const Case& weave : cases) {
        const ClothDesign design = drawn(weave.rows);
        WeaveCount count(design.ends, design.picks);
        for (u32 y = 0; y < design.picks; y++)
            count.take(&design.weave[y * ((design.ends + 7) / 8)]);
        count.finish();
        vector<u32> floats;
        for (const Float& one : {count.over[0], count.under[0], count.over[1], count.under[1]})
            floats.insert(floats.end(), {one.length, one.end, one.pick});
        EXPECT_EQ(floats, weave.floats) << weave.rows[0];
        EXPECT_EQ((vector<u64>{count.warpUp, count.changesOfEnds, count.changesOfPicks}), weave.counts);
    }
}

TEST(ClothInterface, DrawsFilesAndRefusesViewsThatAreNone)
{
    TestDirectory files;
    Picture picture = blankPicture(pictureBilevel, 2, 2);
    picture.rows = {0x80, 0x40};
    const std::string path = files.write("plain.bmp", encodeBmp(picture));
    Loomfile* file = loomfileOpen(path.c_str(), nullptr, nullptr);
    LoomfileWeave weave = loomfileWeave();
    ASSERT_EQ(loomfileGetWeave(file, nullptr, &weave, nullptr), loadSuccess);
    EXPECT_EQ(weave.warpUp, 0.5);
    EXPECT_EQ(weave.weftOver.end, 2U);
    EXPECT_EQ(weave.interlacingsAnEnd, 2);
    LoomfileClothOptions options = loomfileClothOptions();
    options.hasWarp = options.hasWeft = 1;
    std::copy_n("\x14\x1E\x78", 3, options.warp);
    std::copy_n("\xFA\xF0\xC8", 3, options.weft);
    LoomfileCloth* cloth = loomfileOpenCloth(file, nullptr, &options, nullptr);
    loomfileClose(file);
    ASSERT_NE(cloth, nullptr);

    LoomfileClothView view = loomfileClothView();
    view.width = view.height = 32;
    view.left = 0.3;
    view.top = 0.7;
    view.pixelsAnEnd = view.pixelsAPick = 9;
    vector<u8> rows(3 * 32 * 32);
    EXPECT_EQ(loomfileDrawCloth(cloth, &view, 0, 32, rows.data(), 96, 3), 0);
    EXPECT_EQ(rows, frame(Cloth(drawn(plainWeave)), 9, 32));
    EXPECT_EQ(loomfileDrawCloth(cloth, &view, 1, 32, rows.data(), 96, 3), loadBadData);
    EXPECT_EQ(loomfileDrawCloth(cloth, &view, 0, 32, rows.data(), 95, 3), loadBadData);
    view.left = std::nan("");
    EXPECT_EQ(loomfileDrawCloth(cloth, &view, 0, 32, rows.data(), 96, 3), loadBadData);
    view = loomfileClothView();
    EXPECT_EQ(loomfileDrawCloth(cloth, &view, 0, 0, rows.data(), 96, 3), loadBadData);
    loomfileCloseCloth(cloth);
}

TEST(ClothInterface, TakesColoursAndThicknessFromTheDraft)
{
    LoomfileDraft draft;
    draft.draft.shafts = draft.draft.treadles = 2;
    draft.draft.threading = draft.draft.tieUp = draft.draft.treadling = {{1}, {2}};
    draft.draft.warp = {2, {{255, 0, 0}, {0, 255, 0}}, {0.1, 0.1}, {0.05, 0.05}};
    draft.draft.weft = {2, {{0, 0, 255}, {9, 9, 9}}, {}, {}};
    ClothDesign design = drawn(plainWeave);
    design.warp = {255, 0, 0, 0, 255, 0};
    design.weft = {0, 0, 255, 9, 9, 9};
    design.thickness.warp = 0.5;
    LoomfileCloth* cloth = loomfileOpenCloth(nullptr, &draft, nullptr, nullptr);
    LoomfileClothView view = {sizeof view, 32, 32, 0.3, 0.7, 9, 9};
    vector<u8> rows(3 * 32 * 32);
    EXPECT_EQ(loomfileDrawCloth(cloth, &view, 0, 32, rows.data(), 96, 3), 0);
    EXPECT_EQ(rows, frame(Cloth(design), 9, 32));
    loomfileCloseCloth(cloth);
    u32 uses[2] = {};
    EXPECT_EQ(loomfileDraftUses(&draft, loomfileThreading, uses), 2U);
    EXPECT_EQ(uses[1], 1U);
}
