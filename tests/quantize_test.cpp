// Palette checks, quantization and mapping: by hand where that is possible, else against the plain implementation.
#include <gtest/gtest.h>

#include "bench/reference/quantize_reference.h"
#include "tests/colour_support.h"

TEST(PaletteCheck, ListsUpTo256ColoursInOrder)
{
    Bytes rgb;
    for (int i = 0; i < 256; i++)
        rgb.insert(rgb.end(), {u8(255 - i), u8(i * 7), 3});
    const Bytes colours = rgb;
    rgb.insert(rgb.end(), colours.begin() + 30, colours.begin() + 60);
    Bytes palette(768, 9);
    EXPECT_EQ(checkTrueColorPalette(rgb.data(), 0, 266, 1, palette.data()), 256);
    EXPECT_EQ(palette, colours);
    rgb.insert(rgb.end(), {0, 0, 0});
    palette.assign(768, 9);
    EXPECT_EQ(checkTrueColorPalette(rgb.data(), 0, 267, 1, palette.data()), 0);
    EXPECT_EQ(palette, Bytes(768, 9));
    for (auto [width, height] : {std::pair{267, 0}, {0, 1}, {-1, -1}})
        EXPECT_EQ(checkTrueColorPalette(rgb.data(), 0, width, height, palette.data()), 1);
    EXPECT_EQ(Bytes(palette.begin(), palette.begin() + 4), (Bytes{255, 0, 3, 9}));
}

TEST(PaletteCheck, HeedsTransparency)
{
    struct Case {
        Bytes rgba;
        i64 count;
        Bytes colours;
    };
    for (const Case& one : {Case{{1, 2, 3, 255, 4, 5, 6, 255, 1, 2, 3, 255}, 2, {1, 2, 3, 4, 5, 6}},
                            Case{{1, 2, 3, 0, 4, 5, 6, 255, 7, 8, 9, 0}, 2, {1, 2, 3, 4, 5, 6}},
                            Case{{1, 2, 3, 255, 4, 5, 6, 254, 7, 8, 9, 0}, 0, {}},
                            Case{{1, 2, 3, 1, 1, 2, 3, 255, 1, 2, 3, 255}, 0, {}}}) {
        Bytes palette(768, 9);
        EXPECT_EQ(checkRGBAPalette(one.rgba.data(), 12, 3, 1, palette.data()), one.count);
        EXPECT_TRUE(std::equal(one.colours.begin(), one.colours.end(), palette.begin()));
        EXPECT_EQ(palette[one.colours.size()], 9);
    }
}

TEST(Quantize, CutsBetweenTheMeans)
{
    // Levels 0, 1, 63, 63 of red: the search begins at level 15, and the halves have the means 0.5 and 63.
    const Bytes rgb = {0, 0, 0, 4, 0, 0, 252, 0, 0, 255, 0, 0};
    Bytes indices(4), palette(768, 9);
    i32 count = 2;
    EXPECT_EQ(colorQuantize(rgb.data(), 12, indices.data(), 4, 4, 1, palette.data(), 0, &count), 0u);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(indices, (Bytes{0, 0, 1, 1}));
    EXPECT_EQ(Bytes(palette.begin(), palette.begin() + 7), (Bytes{2, 0, 0, 255, 0, 0, 9}));

    count = 4; // no more colours than wanted
    colorQuantize(rgb.data(), 12, indices.data(), 4, 4, 1, palette.data(), 0, &count);
    EXPECT_EQ(indices, (Bytes{0, 1, 2, 3}));
    EXPECT_TRUE(std::equal(rgb.begin(), rgb.end(), palette.begin()));

    // The palette alone never holds exact colours: 25, 37 and 50 of 63.
    const Bytes uniform(60, 100);
    for (i32 wanted : {1, 256, 300}) {
        count = wanted;
        colorQuantize(uniform.data(), 12, nullptr, 0, 4, 5, palette.data(), 0, &count);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(palette[0], 101);
    }
}

TEST(Quantize, RestoresTheColoursOfAnIndexedPicture)
{
    // Entries 0 and 2 are nearest to the only new colour; entry 255 is the last one to be mapped.
    Bytes palette(768, 0), indices = {2, 2, 7, 2, 2, 8};
    const Bytes used = {120, 130, 140};
    std::copy(used.begin(), used.end(), palette.begin() + 6);
    palette[0] = 50;
    i32 count = 16;
    colorQuantize(nullptr, 0, indices.data(), 3, 2, 2, palette.data(), 0, &count);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(indices, Bytes(6, 0)); // with what stands behind the rows
    EXPECT_EQ(Bytes(palette.begin(), palette.begin() + 9), (Bytes{50, 0, 0, 0, 0, 0, 120, 130, 140}));
}

TEST(Quantize, LeavesEverythingAloneWhenThereIsNothingToDo)
{
    const Bytes rgb(27, 5);
    struct Case {
        bool hasRgb, hasIndices;
        i32 width, height, count;
    };
    for (const Case& one : {Case{true, true, 0, 3, 4}, Case{true, true, 3, -1, 4}, Case{true, true, 3, 3, 0},
                            Case{false, true, 3, 0, 4}, Case{false, false, 3, 3, 4}}) {
        Bytes indices(9, 7), palette(768, 9);
        i32 count = one.count;
        colorQuantize(one.hasRgb ? rgb.data() : nullptr, 9, one.hasIndices ? indices.data() : nullptr, 3, one.width,
                      one.height, palette.data(), 0, &count);
        EXPECT_EQ(count, one.count);
        EXPECT_EQ(indices, Bytes(9, 7));
        EXPECT_EQ(palette, Bytes(768, 9));
    }
    Bytes indices(9, 7), palette(768, 9);
    EXPECT_EQ(trueColorRemapToCmap(nullptr, 9, indices.data(), 3, 3, 3, palette.data(), 2, 0), 0u);
    EXPECT_EQ(trueColorRemapToCmap(rgb.data(), 9, nullptr, 3, 3, 3, palette.data(), 2, 0), 0u);
    EXPECT_EQ(trueColorRemapToCmap(rgb.data(), 9, indices.data(), 3, 3, 3, nullptr, 2, 0), 0u);
    EXPECT_EQ(indices, Bytes(9, 7));
}

TEST(Remap, TakesTheNearestColourOfTheFirstPixelInACell)
{
    const Bytes palette = {100, 0, 0, 103, 0, 0, 0, 90, 0, 0, 110, 0, 0, 110, 0};
    struct Case {
        Bytes reds;
        Bytes indices;
    };
    for (const Case& one : {Case{{100, 103, 101}, {0, 0, 0}}, Case{{103, 100, 104}, {1, 1, 1}}}) {
        const Bytes rgb = {one.reds[0], 0, 0, one.reds[1], 0, 0, one.reds[2], 0, 0, 0, 100, 0, 0, 111, 0, 0, 255, 0};
        Bytes indices(8, 7);
        EXPECT_EQ(trueColorRemapToCmap(rgb.data(), 9, indices.data(), 4, 3, 2, palette.data(), 5, 0), 1u);
        EXPECT_EQ(indices, (Bytes{one.indices[0], one.indices[1], one.indices[2], 7, 2, 3, 3, 7}));
        EXPECT_EQ(trueColorRemapToCmap(rgb.data(), 9, indices.data(), 4, 3, 2, palette.data(), 0, 0), 1u);
        EXPECT_EQ(indices, (Bytes{0, 0, 0, 7, 0, 0, 0, 7}));
    }
}

TEST(Quantize, EqualsThePlainImplementation)
{
    uint64_t random = 1;
    for (u32 round = 0; round < 80; round++) {
        SCOPED_TRACE(round);
        const RandomPicture picture(random);
        const i32 width = picture.width, height = picture.height, indexStride = width + i32(nextRandom(random) % 5);
        const i32 wanted = i32(nextRandom(random) % 270),
                  fixed = round % 2 != 0 ? 0 : i32(nextRandom(random) % 270) - 5;
        const u8* rgb = round % 5 == 0 ? nullptr : picture.rgb.data();
        Bytes palette = randomBytes(768, random), expectedPalette = palette;
        Bytes indices = randomBytes(size_t(indexStride) * size_t(height), random), expected = indices;
        const bool wantsIndices = round % 7 != 1;
        i32 count = wanted, expectedCount = wanted;
        colorQuantize(rgb, picture.stride, wantsIndices ? indices.data() : nullptr, indexStride, width, height,
                      palette.data(), fixed, &count);
        reference::colorQuantize(rgb, picture.stride, wantsIndices ? expected.data() : nullptr, indexStride, width,
                                 height, expectedPalette.data(), fixed, &expectedCount);
        EXPECT_EQ(count, expectedCount);
        EXPECT_TRUE(palette == expectedPalette);
        EXPECT_TRUE(indices == expected);

        const i32 noise = round % 2 == 0 ? 0 : i32(nextRandom(random) % 160) - 20;
        srand(round);
        trueColorRemapToCmap(picture.rgb.data(), picture.stride, indices.data(), indexStride, width, height,
                             palette.data(), wanted - 5, noise);
        const int next = rand();
        srand(round);
        reference::trueColorRemapToCmap(picture.rgb.data(), picture.stride, expected.data(), indexStride, width, height,
                                        palette.data(), wanted - 5, noise);
        EXPECT_EQ(next, rand());
        EXPECT_TRUE(indices == expected);
    }
}
