#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "samples/picture.h"
#include "tests/support.h"

TEST(Conversions, BetweenRgbAndHsl)
{
    using Case = std::pair<std::array<i32, 3>, std::array<u32, 3>>;
    const Case cases[] = {{{255, 0, 0}, {359, 1000, 500}},   {{255, 255, 0}, {60, 1000, 500}},
                          {{0, 0, 255}, {239, 1000, 500}},   {{127, 127, 127}, {0, 0, 498}},
                          {{64, 128, 128}, {180, 333, 376}}, {{200, 100, 220}, {289, 632, 627}}};
    std::array<u32, 3> got;
    for (const auto& [rgb, hsl] : cases) {
        RGBtoHSL(rgb.data(), got.data());
        EXPECT_EQ(got, hsl);
    }
    const Case back[] = {{{360, 1000, 500}, {0, 0, 0}},    {{-1, 1000, 500}, {0, 0, 0}},
                         {{60, 1000, 500}, {255, 255, 0}}, {{150, 1000, 500}, {0, 255, 128}},
                         {{210, 500, 250}, {32, 64, 96}},  {{299, 1000, 500}, {251, 0, 255}},
                         {{330, 0, 700}, {179, 179, 179}}, {{180, 0x7FFFFFFF, 0x7FFFFFFF}, {0, 0, 0}}};
    for (const auto& [hsl, rgb] : back) {
        HSLtoRGB(hsl.data(), got.data());
        EXPECT_EQ(got, rgb);
        std::array<i32, 3> inPlace = hsl;
        HSLtoRGB(inPlace.data(), reinterpret_cast<u32*>(inPlace.data()));
        EXPECT_TRUE(std::equal(rgb.begin(), rgb.end(), inPlace.begin(), [](u32 a, i32 b) { return a == u32(b); }));
    }
}

TEST(Conversions, FromLab)
{
    // Luminances below 0.8856 % are taken a hundred times too bright.
    const i32 cases[][6] = {{10000, 0, 0, 255, 255, 255}, {800, 0, 0, 2, 2, 2},
                            {799, 0, 0, 226, 226, 226},   {5000, 8000, 0, 207, 0, 50},
                            {5000, 0, -8000, 0, 55, 255}, {5000, -8000, 8000, 0, 72, 0},
                            {65535, 0, 0, 255, 255, 255}, {-32768, 32767, -32768, 0, 0, 0}};
    for (const i32* one : cases) {
        u8 red, green, blue;
        Lab2RGB100(one[0], one[1], one[2], &red, &green, &blue);
        EXPECT_TRUE(red == one[3] && green == one[4] && blue == one[5]) << one[0];
    }
}

static void stretchPlainly(Bytes& pixels, u32 stride, u32 channels, u32 width, u32 height)
{
    for (u32 channel = 0; channel < 3; channel++) {
        int low = 255, high = 0;
        auto everyPixel = [&](auto use) {
            for (u32 i = 0; i < width * height; i++)
                use(pixels[i / width * stride + i % width * channels + channel]);
        };
        everyPixel([&](u8 value) { low = std::min<int>(low, value), high = std::max<int>(high, value); });
        everyPixel([&](u8& value) { value = static_cast<u8>(static_cast<int>((value - low) * 255.0 / (high - low))); });
    }
}

TEST(Tone, StretchesEveryRangeOfLevels)
{
    u64 seed = 1;
    for (u32 range = 1; range < 256; range++) {
        const u32 channels = range % 2 + 3, width = range % 3 == 0 ? 11 : 100 + range, height = 6;
        // What two rows share is stretched twice.
        const u32 stride = range % 7 == 0 ? width / 2 * channels : width * channels + range % 5;
        Bytes pixels(stride * height + width * channels);
        const u32 darkest = nextRandom(seed) % (256 - range);
        for (u8& value : pixels)
            value = static_cast<u8>(darkest + nextRandom(seed) % (range + 1));
        for (u32 i = 0; i < 3; i++) {
            pixels[i] = static_cast<u8>(darkest);
            pixels[channels + i] = static_cast<u8>(darkest + range);
        }
        Bytes expected = pixels;
        stretchPlainly(expected, stride, channels, width, height);
        contrastStretch(pixels.data(), static_cast<i32>(stride), channels == 4 ? kindRGBA : kindRGB,
                        static_cast<i32>(width), height, nullptr);
        ASSERT_TRUE(pixels == expected) << range;
    }
}

TEST(Tone, StretchesPalettesAndLeavesFlatChannelsAlone)
{
    Bytes pixels = {1, 2, 1, 2};
    Bytes palette = {90, 10, 0, 100, 10, 20, 200, 60, 24};
    palette.resize(768);
    contrastStretch(pixels.data(), 99, kindIndexed, 2, 2, palette.data());
    // Colours that no pixel has go below 0 and come back from above; 254.99... loses its fraction.
    const Bytes expected = {static_cast<u8>(-25), 0, static_cast<u8>(-1275), 0, 0, 0, 255, 255, 255};
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), palette.begin()));
    EXPECT_EQ(palette[9], static_cast<u8>(-255));

    // Whichever colours a large picture has, those alone count.
    for (u32 rare = 3; rare < 256; rare++) {
        Bytes large(100, 0);
        large[rare % 97] = static_cast<u8>(rare);
        Bytes greys(768, 200);
        std::fill_n(greys.begin(), 3, u8{100});
        std::fill_n(greys.begin() + 3 * rare, 3, u8{110});
        contrastStretch(large.data(), 0, kindIndexed, 20, 5, greys.data());
        EXPECT_TRUE(greys[0] == 0 && greys[3 * rare] == 255 && greys[3] == static_cast<u8>(2550)) << rare;
    }

    Bytes flat = {7, 1, 2, 7, 1, 2};
    contrastStretch(flat.data(), 6, kindRGB, 2, 1, nullptr);
    EXPECT_EQ(flat, (Bytes{7, 1, 2, 7, 1, 2}));
}

TEST(Tone, LaysEveryAlphaOnEveryBackground)
{
    for (i32 checkerboard : {0, 1}) {
        for (u32 width : {1u, 61u, 256u}) {
            const u32 height = 70000 / width, stride = 4 * width + width % 3;
            auto* buffer = static_cast<u8*>(malloc(u64{stride} * height));
            Bytes expected;
            u64 seed = 5;
            for (u64 i = 0; i < u64{width} * height; i++) {
                const u64 x = i % width, y = i / width;
                u8* pixel = buffer + y * stride + 4 * x;
                const u32 alpha = static_cast<u32>(i) & 255, grey = (x / 8 + y / 8) % 2 != 0 ? 102 : 153;
                pixel[3] = static_cast<u8>(alpha);
                for (int channel = 0; channel < 3; channel++) {
                    const u32 level = pixel[channel] = static_cast<u8>(nextRandom(seed));
                    const u32 mixed = checkerboard != 0 ? (level * alpha + (255 - alpha) * grey) / 256
                                                        : level * alpha / 256 + 255 - alpha;
                    const u32 background = checkerboard != 0 ? grey : 255;
                    expected.push_back(static_cast<u8>(alpha == 0 ? background : alpha == 255 ? level : mixed));
                }
            }
            i32 newStride = static_cast<i32>(stride);
            buffer = collapseRGBA(buffer, static_cast<i32>(width), static_cast<i32>(height), &newStride, checkerboard);
            EXPECT_EQ(newStride, static_cast<i32>(3 * width));
            EXPECT_EQ(memcmp(buffer, expected.data(), expected.size()), 0) << width;
            free(buffer);
        }
    }
    u8 untouched[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    i32 tooSmall = 7;
    EXPECT_EQ(collapseRGBA(untouched, 2, 1, &tooSmall, 0), untouched);
    EXPECT_EQ(tooSmall, 7);
    EXPECT_EQ(untouched[7], 8);
}
