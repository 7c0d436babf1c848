// Dithering: by hand where that is possible, else against the plain implementation.
#include <gtest/gtest.h>

#include <tuple>

#include "bench/reference/quantize_reference.h"
#include "tests/colour_support.h"

static const Bytes blackAndWhite = {0, 0, 0, 255, 255, 255};

static Bytes dithered(const Bytes& rgb, i32 width, i32 height, const Bytes& palette, i32 strength, i32 noise)
{
    Bytes indices(size_t(width) * size_t(height), 7);
    colorQuantizeDitherFS(rgb.data(), 3 * width, indices.data(), width, width, height, width, height, palette.data(),
                          i32(palette.size() / 3), strength, noise);
    return indices;
}

TEST(Dither, SpreadsTheError)
{
    // First row 100, 143, 51; the second is left with 110, 80, 108 and becomes 110, 128, 52.
    const Bytes grey(18, 100);
    EXPECT_EQ(dithered(grey, 3, 2, blackAndWhite, 16, 0), (Bytes{0, 1, 0, 0, 1, 0}));
    EXPECT_EQ(dithered(grey, 3, 2, blackAndWhite, 0, 90), Bytes(6, 0));              // noise counts as error only
    EXPECT_EQ(dithered(grey, 3, 2, blackAndWhite, 8, 0), (Bytes{0, 0, 0, 0, 1, 0})); // 126, 159, 101 in the second row
}

TEST(Dither, TouchesNothingWithoutASizeAndGivesZerosWithoutColours)
{
    const Bytes rgb(12, 255);
    for (auto [fromX, fromY, toX, toY] : {std::tuple{0, 2, 2, 2}, {2, 2, 2, -2}}) {
        Bytes indices(4, 7);
        colorQuantizeDitherFS(rgb.data(), 6, indices.data(), 2, fromX, fromY, toX, toY, blackAndWhite.data(), 2, 16, 0);
        EXPECT_EQ(indices, Bytes(4, 7));
    }
    EXPECT_EQ(dithered(rgb, 2, 2, {}, 16, 0), Bytes(4, 0));
}

template <typename Index, typename Dither>
static void expectEqual(Dither dither, Dither plain, u32 mostColours, u32 rounds)
{
    uint64_t random = 2;
    for (u32 round = 0; round < rounds; round++) {
        SCOPED_TRACE(round);
        const RandomPicture picture(random);
        const bool scales = round % 3 == 0;
        const i32 width = scales ? i32(1 + nextRandom(random) % 50) : picture.width;
        const i32 height = scales ? i32(1 + nextRandom(random) % 30) : picture.height;
        const i32 stride = width + i32(nextRandom(random) % 4);
        const u32 colours = nextRandom(random) % mostColours + (round + 1 == rounds ? mostColours : 0);
        const Bytes palette = randomBytes(3 * size_t(colours) + 3, random);
        const i32 strength = round % 2 == 0 ? 16 : i32(nextRandom(random) % 20);
        const i32 noise = i32(nextRandom(random) % 220) - 100;
        std::vector<Index> indices(size_t(stride) * size_t(height), 7), expected = indices;
        auto run = [&](Dither one, std::vector<Index>& target) {
            srand(round);
            one(picture.rgb.data(), picture.stride, target.data(), stride, picture.width, picture.height, width, height,
                palette.data(), i32(colours), strength, noise);
            return colours > 0 ? rand() : 0;
        };
        const int next = run(dither, indices);
        EXPECT_EQ(next, run(plain, expected));
        EXPECT_TRUE(indices == expected);
    }
}

TEST(Dither, EqualsThePlainImplementation)
{
    expectEqual<u8>(colorQuantizeDitherFS, reference::colorQuantizeDitherFS, 256, 50);
    expectEqual<u16>(colorQuantizeDitherFS16, reference::colorQuantizeDitherFS16, 2000, 30);
    expectEqual<u16>(colorQuantizeDitherFS16, reference::colorQuantizeDitherFS16, 65536, 3);
}
