#include "samples/eat_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static CardFormat eat(u32 bits, u8 behindRows)
{
    auto encode = [=](const Picture& picture) { return encodeEat(picture, {.bits = bits}); };
    return {"a.any", formatEat, encode, "EAT image", 1, behindRows, false};
}

TEST(Eat, DeliversRowsOfTheStream)
{
    for (u32 width : {1u, 3u, 8u, 13u, 64u, 1001u}) {
        expectDelivery(eat(1, 0), noiseCards(width, 9));
        expectDelivery(eat(4, 0xA5), noisePicture(pictureIndexed, width, 9, 16, width));
        expectDelivery(eat(8, 0xA5), noisePicture(pictureIndexed, width, 9, 100, width));
    }
    TestDirectory directory;
    const std::string file = directory.write("a.eat", encodeEat(noiseCards(9, 9)));
    EXPECT_EQ(load(file, {.id = formatEat, .wantPalette = 0}).bandStatus, loadBadData);
}

// The palette as the caller gets it who passes zeros.
static Bytes paletteOf(const Bytes& bytes)
{
    TestDirectory directory;
    return load(directory.write("a.eat", bytes), {.id = formatEat, .fill = 0}).palette;
}

TEST(Eat, GivesColoursToTheIndicesThatOccur)
{
    const Bytes white(768, 255);
    Picture picture{pictureIndexed, 2, 2, {2, 5, 5, 2}, patched(Bytes(768), 15, {252, 128, 4})};
    picture.palette[6] = 4;
    EXPECT_EQ(paletteOf(encodeEat(picture)), patched(patched(white, 6, {7, 3, 3}), 15, {255, 131, 7}));
    EXPECT_EQ(paletteOf(encodeEat(picture, {.bits = 8})), paletteOf(encodeEat(picture)));
    picture.palette[6] = 0; // black cannot be told from none
    EXPECT_EQ(paletteOf(encodeEat(picture)), patched(white, 15, {255, 131, 7}));
    // The half byte behind an odd number of pixels counts, and takes the first colour.
    picture = {pictureIndexed, 1, 1, {2}, patched(Bytes(768), 0, {8, 8, 8, 0, 0, 0, 16, 16, 16})};
    EXPECT_EQ(paletteOf(encodeEat(picture)), patched(patched(white, 0, {11, 11, 11}), 6, {19, 19, 19}));
    // Paper and ink, whatever their colours.
    picture = {pictureIndexed, 2, 1, {127, 1}, Bytes(768, 60)};
    EXPECT_EQ(paletteOf(encodeEat(picture)), patched(white, 3, {0, 0, 0}));

    // From 125 colours on they are those of the indices from 1 on; with 124 of those that occur.
    for (u32 colours : {126u, 125u}) {
        Picture many{pictureIndexed, 128, 1, {}, {}};
        Bytes expected = white;
        for (u32 i = 0; i < 128; i++)
            many.rows.push_back(static_cast<u8>(i % 124 + 1));
        for (u32 i = 0; i < colours; i++) {
            many.palette.insert(many.palette.end(), {static_cast<u8>(4 * (i % 60)), 4, static_cast<u8>(i)});
            if (i > 0)
                expected = patched(expected, 3 * i, {static_cast<u8>(4 * (i % 60) + 3), 7, static_cast<u8>(i | 3)});
        }
        EXPECT_EQ(paletteOf(encodeEat(many, {.bits = 8, .allColours = colours == 126})), expected);
    }
}

TEST(Eat, RefusesOtherHeaders)
{
    const int yes = loadSuccess, no = loadWrongFormat;
    expectLimits(eat(1, 0), {{65520, 1, 65521, 1}, {1, 65520, 1, 65521}});
    const Bytes four = encodeEat(noisePicture(pictureIndexed, 5, 5, 16, 1)), bits = encodeEat(noiseCards(20, 20));
    expectStatuses(
        eat(4, 0), four, no,
        {{14, 0}, {14, 17}, {0, 0, 0, 0, 0}, {0, 0, 1}, {4, 0, 0, 0, 0}, {7, 6}, {12, 0, 0, 2, 0}, {12, 0, 0, 2, 1}});
    EXPECT_EQ(toldOf(eat(4, 0), patched(four, 14, {17})), "17 colours with 4 bits a pixel");
    EXPECT_EQ(toldOf(eat(4, 0), patched(four, 7, {6})),
              "the header announces 5 x 6, the file holds " + std::to_string(four.size()) + " bytes");
    expectStatuses(eat(4, 0), four, yes, {{12, 0, 0, 1, 0}, {8, 9}});
    expectStatuses(eat(1, 0), bits, yes, {{13, 77, 1, 77}});
    expectStatuses(eat(1, 0), bits, no, {{14, 3}, {7, 21}});
    // A variant that is not known has no pixels, but a byte in their place.
    const Bytes unknown = patched(Bytes(37), 0, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 2, 1});
    TestDirectory directory;
    const Loaded got = load(directory.write("a.eat", unknown), {.id = formatEat});
    EXPECT_EQ(std::pair(got.kind, got.bandStatus), std::pair(u32{kindIndexed}, int{loadSuccess}));
    EXPECT_EQ(got.rows, Bytes{0xA5});
    EXPECT_STREQ(llibGetRemark(0, nullptr), "pixels of mode 1 and depth 2 are not read");
    EXPECT_EQ(statusOf("a.eat", Bytes(unknown.begin(), unknown.end() - 1), formatEat), loadBadData);
    expectHarmless(".eat", encodeEat(noisePicture(pictureIndexed, 5, 5, 30, 1)), formatEat);
}
