// Palette checks, quantization and mapping: by hand where that is possible, else against the plain implementation.
#include <gtest/gtest.h>

#include <array>
#include <tuple>

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
    EXPECT_EQ(checkTrueColorPalette(rgb.data(), 0, 267, 0, palette.data()), 1);
    EXPECT_EQ(Bytes(palette.begin(), palette.begin() + 4), (Bytes{255, 0, 3, 9}));
}

TEST(PaletteCheck, HeedsTransparency)
{
    const std::tuple<Bytes, i64, Bytes> cases[] = {{{1, 2, 3, 0, 4, 5, 6, 255, 7, 8, 9, 0}, 2, {1, 2, 3, 4, 5, 6}},
                                                   {{1, 2, 3, 255, 4, 5, 6, 254, 7, 8, 9, 0}, 0, {}},
                                                   {{1, 2, 3, 1, 1, 2, 3, 255, 1, 2, 3, 255}, 0, {}}};
    for (const auto& [rgba, count, colours] : cases) {
        Bytes palette(768, 9);
        EXPECT_EQ(checkRGBAPalette(rgba.data(), 12, 3, 1, palette.data()), count);
        EXPECT_TRUE(std::equal(colours.begin(), colours.end(), palette.begin()));
        EXPECT_EQ(palette[colours.size()], 9);
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
}

TEST(Quantize, LeavesEverythingAloneWhenThereIsNothingToDo)
{
    const Bytes rgb(27, 5);
    Bytes indices(9, 7), palette(768, 9);
    for (const auto& [width, height, wanted] : {std::array{0, 3, 4}, {3, -1, 4}, {3, 3, 0}}) {
        for (const u8* pixels : {rgb.data(), static_cast<const u8*>(nullptr)}) {
            i32 count = wanted;
            colorQuantize(pixels, 9, pixels == nullptr ? nullptr : indices.data(), 3, width, height, palette.data(), 0,
                          &count);
            EXPECT_EQ(count, wanted);
        }
    }
    EXPECT_EQ(trueColorRemapToCmap(rgb.data(), 9, indices.data(), 3, 3, 3, nullptr, 2, 0), 0u);
    EXPECT_EQ(indices, Bytes(9, 7));
    EXPECT_EQ(palette, Bytes(768, 9));
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
        const i32 noise = round % 2 == 0 ? 0 : i32(nextRandom(random) % 160) - 20;
        const Bytes firstPalette = randomBytes(768, random);
        const Bytes firstIndices = randomBytes(size_t(indexStride) * size_t(height), random);
        auto run = [&](auto quantize, auto remap) {
            Bytes palette = firstPalette, indices = firstIndices;
            i32 count = wanted;
            quantize(rgb, picture.stride, round % 7 != 1 ? indices.data() : nullptr, indexStride, width, height,
                     palette.data(), fixed, &count);
            const Bytes quantized = indices;
            srand(round);
            remap(picture.rgb.data(), picture.stride, indices.data(), indexStride, width, height, palette.data(),
                  wanted - 5, noise);
            return std::tuple{count, palette, quantized, indices, rand()};
        };
        EXPECT_TRUE(run(colorQuantize, trueColorRemapToCmap) ==
                    run(reference::colorQuantize, reference::trueColorRemapToCmap));
    }
}
