#include "samples/pcx_writer.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/support.h"

static const u8 unwritten = LoadOptions{}.fill;

TEST(Pcx, DeliversEveryLayoutInBandsAndStrides)
{
    TestDirectory directory;
    const std::tuple<u32, u32, u32, u8> cases[] = {
        // planes, colours, version
        {pictureBilevel, 0, 2, 5},  {pictureBilevel, 0, 2, 2}, {pictureIndexed, 0, 256, 5}, {pictureIndexed, 0, 16, 3},
        {pictureIndexed, 4, 16, 5}, {pictureIndexed, 3, 8, 0}, {pictureRgb, 0, 0, 5}};
    int number = 0;
    for (const auto& [kind, planes, colours, version] : cases) {
        for (u32 width : {1u, 8u, 130u}) {
            // Flat parts make runs over the ends of lines.
            Picture picture = noisePicture(kind, width, 23, colours, width);
            std::fill_n(picture.rows.begin() + 2, picture.rows.size() / 2, kind == pictureRgb ? 255 : 1);
            const Bytes bytes = encodePcx(picture, {.planes = planes,
                                                    .version = version,
                                                    .linePadding = width % 3,
                                                    .runsOverLines = number % 2 == 0,
                                                    .left = 60000,
                                                    .top = 7});
            Bytes expected = picture.rows;
            if (kind == pictureBilevel) {
                expected.resize(width * 23);
                for (u32 i = 0; i < width * 23; i++)
                    expected[i] =
                        picture.rows[i / width * ((width + 7) / 8) + i % width / 8] >> (7 - i % width % 8) & 1;
            }
            SCOPED_TRACE(number);
            const std::string file = directory.write(std::to_string(number++) + ".pcx", bytes);
            const Loaded whole = load(file);
            EXPECT_EQ(whole.format, formatPcx);
            EXPECT_EQ(whole.kind, kind == pictureRgb ? kindRGB : kindIndexed);
            EXPECT_TRUE(whole.width == width && whole.height == 23 && whole.mulX == 1 && whole.firstPart == 1);
            EXPECT_EQ(whole.description, "PCX");
            EXPECT_TRUE(whole.pixels() == expected);
            const Bytes palette = kind == pictureBilevel ? Bytes{255, 255, 255, 0, 0, 0, unwritten} : picture.palette;
            EXPECT_TRUE(std::equal(palette.begin(), palette.end(), whole.palette.begin()));
            for (i64 extra : {0, 6}) {
                // 24-bit rows without a gap go to their place in the whole picture.
                const Loaded parts = load(file, {.bands = {5, 0, 17, 1, 1},
                                                 .bandsFromFirstRow = kind == pictureRgb && extra == 0,
                                                 .extraStride = extra});
                EXPECT_EQ(parts.bandStatus, loadBadData);
                EXPECT_TRUE(parts.pixels() == whole.rows);
                EXPECT_EQ(parts.rows.back(), extra > 0 ? unwritten : whole.rows.back());
            }
        }
    }
}

TEST(Pcx, RaisesTheBrightestSampleOf24Bits)
{
    TestDirectory directory;
    Picture picture{.kind = pictureRgb, .width = 2, .height = 1, .rows = {0, 1, 99, 100, 199, 200}};
    const Bytes expected = {0, 1, 126, 127, 253, 255};
    const std::string file = directory.write("a.pcx", encodePcx(picture));
    EXPECT_EQ(load(file).pixels(), expected);
    EXPECT_EQ(remarkTexts(), "!true colour is spread over all levels: the brightest, 200, is delivered as 255\n");

    EXPECT_EQ(load(file, {.wantPalette = 0}).bandStatus, loadBadData);
    EXPECT_STREQ(llibGetReason(), "it was opened without its picture");

    // What lies behind the width counts, and a run that the file's end cuts off does not.
    picture.rows.back() = 100;
    Bytes bytes = encodePcx(picture, {.linePadding = 1}); // padded with 0x77
    EXPECT_EQ(load(directory.write("b.pcx", bytes)).pixels()[3], 100 * 255 / 199);
    bytes.resize(128);
    bytes.insert(bytes.end(), {10, 20, 0x77, 30, 0xC3});
    EXPECT_EQ(load(directory.write("c.pcx", bytes)).pixels(), (Bytes{21, 64, 0, 42, 0, 0}));
    EXPECT_EQ(remarkTexts().find("!rows that the file lacks, in full or in part, are black: 1\n"), 0u);
}

TEST(Pcx, ReadsWhiteBehindTheEndOfIndexedFiles)
{
    TestDirectory directory;
    const Picture picture{.kind = pictureIndexed, .width = 3, .height = 3, .rows = {1, 2, 3, 4, 5, 6, 7, 8, 9}};
    Bytes bytes = encodePcx(picture, {.version = 3});
    bytes.resize(128 + 4);
    const Loaded cut = load(directory.write("a.pcx", bytes));
    EXPECT_EQ(cut.bandStatus, loadSuccess);
    EXPECT_EQ(cut.pixels(), (Bytes{1, 2, 3, 4, 255, 255, 255, 255, 255}));
    EXPECT_EQ(remarkTexts(), "!no palette stands behind its rows: 240 of its 256 colours are made up\n"
                             "!rows that the file lacks, in full or in part, are filled with set bits: 2\n");
    bytes[3] = 4; // 16 colours that are not in planes
    load(directory.write("b.pcx", bytes));
    EXPECT_EQ(remarkTexts().find("!pixels of 4 bits in 1 planes are read as if they were of single bits\n"), 0u);
}

TEST(Pcx, TakesPalettesFromTheHeaderWithoutAMark)
{
    TestDirectory directory;
    Bytes bytes = encodePcx(noisePicture(pictureIndexed, 30, 30, 256, 1));
    bytes[bytes.size() - 769] = 13;
    Bytes expected(bytes.begin() + 16, bytes.begin() + 128);
    expected.resize(768);
    EXPECT_TRUE(load(directory.write("b.pcx", bytes)).palette == expected);
}

TEST(Pcx, RefusesWhatItDoesNotRead)
{
    TestDirectory directory;
    const Bytes good = encodePcx(noisePicture(pictureRgb, 9, 9, 0, 1));
    int number = 0;
    const std::tuple<int, int, const char*> cases[] = {{0, 11, "it does not begin as PCX files do"},
                                                       {1, 6, "version 6, newer than 5"},
                                                       {2, 0, "not run-length encoded"},
                                                       {5, 1, "its header tells a size of -247 x 9"},
                                                       {4, 9, "its header tells a size of 0 x 9"},
                                                       {3, 4, "pixels of 4 bits in 3 planes"},
                                                       {65, 2, "pixels of 8 bits in 2 planes"}};
    for (const auto& [at, value, reason] : cases) {
        Bytes bytes = good;
        bytes[static_cast<size_t>(at)] = static_cast<u8>(value);
        const std::string file = directory.write(std::to_string(number++) + ".pcx", bytes);
        EXPECT_EQ(load(file, {.id = formatPcx}).status, loadWrongFormat) << at;
        EXPECT_STREQ(llibGetReason(), reason);
    }
    EXPECT_EQ(load(directory.write("short.pcx", Bytes(good.begin(), good.begin() + 127))).status, loadCannotRead);
    expectHarmless("a.pcx", encodePcx(noisePicture(pictureRgb, 5, 3, 0, 1)), formatPcx);
    expectHarmless("b.pcx", encodePcx(noisePicture(pictureIndexed, 5, 3, 16, 1), {.planes = 4}), formatPcx);
}
