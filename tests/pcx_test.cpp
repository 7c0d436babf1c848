#include "samples/pcx_writer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support.h"

static const u8 unwritten = LoadOptions{}.fill;

TEST(Pcx, DeliversEveryLayoutInBandsAndStrides)
{
    TestDirectory directory;
    struct Case {
        u32 kind, planes, colours;
        u8 version;
    };
    const Case cases[] = {{pictureBilevel, 0, 2, 5},  {pictureBilevel, 0, 2, 2},   {pictureIndexed, 0, 256, 5},
                          {pictureIndexed, 0, 16, 3}, {pictureIndexed, 4, 16, 5},  {pictureIndexed, 3, 8, 0},
                          {pictureRgb, 0, 0, 5},      {pictureIndexed, 8, 256, 5}, {pictureRgb, 0, 0, 4}};
    int number = 0;
    for (const Case& one : cases) {
        for (u32 width : {1u, 8u, 37u, 130u}) {
            // Flat parts make runs over the ends of lines.
            Picture picture = noisePicture(one.kind, width, 23, one.colours, width);
            std::fill_n(picture.rows.begin() + 2, picture.rows.size() / 2, one.kind == pictureRgb ? 255 : 1);
            const Bytes bytes = encodePcx(picture, {.planes = one.planes,
                                                    .version = one.version,
                                                    .linePadding = width % 3,
                                                    .runsOverLines = number % 2 == 0,
                                                    .left = 60000,
                                                    .top = 7});
            Bytes expected = picture.rows;
            if (one.kind == pictureBilevel) {
                expected.clear();
                for (u32 i = 0; i < width * 23; i++)
                    expected.push_back(
                        picture.rows[i / width * ((width + 7) / 8) + i % width / 8] >> (7 - i % width % 8) & 1);
            } else if (one.planes == 8) { // 256 colours are read as bytes
                expected.clear();
            }
            SCOPED_TRACE(number);
            const std::string file = directory.write(std::to_string(number++) + ".pcx", bytes);
            const Loaded whole = load(file);
            EXPECT_EQ(whole.format, 3);
            EXPECT_EQ(whole.bandStatus, loadSuccess);
            EXPECT_EQ(whole.kind, one.kind == pictureRgb ? kindRGB : kindIndexed);
            EXPECT_TRUE(whole.width == width && whole.height == 23 && whole.mulX == 1 && whole.firstPart == 1);
            EXPECT_TRUE(whole.resX == 0 && whole.orientationFlag == 0 && whole.description == "PCX");
            if (!expected.empty()) {
                EXPECT_TRUE(whole.pixels() == expected);
            }
            if (one.kind == pictureBilevel)
                EXPECT_EQ(Bytes(whole.palette.begin(), whole.palette.begin() + 7),
                          (Bytes{255, 255, 255, 0, 0, 0, unwritten}));
            else
                EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.begin() + std::min(one.colours, 16u),
                                       whole.palette.begin()));

            for (i64 extra : {i64{0}, i64{6}, i64{-1}}) {
                // 24-bit rows without a gap go to their place in the whole picture.
                const Loaded parts = load(file, {.bands = {5, 0, 17, 1, 1},
                                                 .bandsFromFirstRow = one.kind == pictureRgb && extra == 0,
                                                 .extraStride = extra});
                EXPECT_EQ(parts.bandStatus, loadBadData);
                for (u64 i = 0; i < parts.rows.size(); i++) {
                    const u64 x = i % parts.stride, y = i / parts.stride;
                    ASSERT_EQ(parts.rows[i], x < whole.rowBytes ? whole.rows[y * whole.rowBytes + x] : unwritten);
                }
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
    const Loaded probed = load(file, {.wantPalette = 0});
    EXPECT_TRUE(probed.status == loadSuccess && probed.kind == kindRGB && probed.bandStatus == loadBadData);
    EXPECT_EQ(probed.rows, Bytes(6, unwritten));

    // What lies behind the width counts, and a run that the file's end cuts off does not.
    picture.rows.back() = 100;
    Bytes bytes = encodePcx(picture, {.linePadding = 1}); // padded with 0x77
    EXPECT_EQ(load(directory.write("b.pcx", bytes)).pixels()[3], 100 * 255 / 199);
    bytes.resize(128);
    bytes.insert(bytes.end(), {10, 20, 0x77, 30, 0xC3});
    EXPECT_EQ(load(directory.write("c.pcx", bytes)).pixels(), (Bytes{21, 64, 0, 42, 0, 0}));
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

    // Two and four bits in one plane are read as one bit, 15 bytes a line as they are.
    bytes = encodePcx({.kind = pictureBilevel, .width = 3, .height = 1, .rows = {0xA0}}, {.version = 3});
    for (u8 bits : {2, 4}) {
        bytes[3] = bits;
        EXPECT_EQ(load(directory.write(std::to_string(bits) + ".pcx", bytes)).pixels(), (Bytes{1, 0, 1}));
    }
    bytes[65] = 0; // planes
    EXPECT_EQ(load(directory.write("none.pcx", bytes)).pixels(), (Bytes{0, 0, 0}));
}

TEST(Pcx, TakesPalettesFromTheHeaderWithoutAMark)
{
    TestDirectory directory;
    Picture picture = noisePicture(pictureIndexed, 30, 30, 256, 1);
    Bytes bytes = encodePcx(picture);
    EXPECT_TRUE(load(directory.write("a.pcx", bytes)).palette == picture.palette);
    bytes[bytes.size() - 769] = 13;
    Bytes expected(bytes.begin() + 16, bytes.begin() + 128);
    expected.resize(768);
    EXPECT_TRUE(load(directory.write("b.pcx", bytes)).palette == expected);
}

TEST(Pcx, RefusesWhatItDoesNotRead)
{
    TestDirectory directory;
    const Bytes good = encodePcx(noisePicture(pictureRgb, 9, 9, 0, 1));
    struct Case {
        size_t at;
        u8 value;
    };
    int number = 0;
    for (const Case& one : {Case{0, 11}, Case{1, 6}, Case{2, 0}, Case{5, 1}, Case{4, 9}, Case{4, 10}, Case{3, 4},
                            Case{65, 2}, Case{65, 4}}) {
        Bytes bytes = good;
        bytes[one.at] = one.value;
        const int expected = one.at == 65 && one.value == 4 ? loadSuccess : loadWrongFormat; // 32 bits are 1 colour
        EXPECT_EQ(load(directory.write(std::to_string(number++) + ".pcx", bytes), {.id = 3}).status, expected)
            << one.at;
    }
    EXPECT_EQ(load(directory.write("short.pcx", Bytes(good.begin(), good.begin() + 127))).status, loadCannotRead);
    expectHarmless("a.pcx", encodePcx(noisePicture(pictureRgb, 5, 3, 0, 1)), 3);
    expectHarmless("b.pcx", encodePcx(noisePicture(pictureIndexed, 5, 3, 16, 1), {.planes = 4}), 3);
}
