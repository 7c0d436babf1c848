#include "samples/bmp_writer.h"

#include <gtest/gtest.h>

#include "tests/support.h"

static void put32(Bytes& bytes, size_t at, u32 value)
{
    for (int i = 0; i < 4; i++)
        bytes[at + static_cast<size_t>(i)] = static_cast<u8>(value >> 8 * i);
}

TEST(Bmp, DeliversEveryDepthInBandsAndStrides)
{
    TestDirectory directory;
    for (u32 bits : {1u, 4u, 8u, 24u, 32u}) {
        u32 kind = bits == 1 ? kindBilevel : bits <= 8 ? kindIndexed : bits == 24 ? kindRGB : kindRGBA;
        for (u32 width : {1u, 37u, 38u, 65u}) {
            Picture picture = noisePicture(kind, width, 23, kind == kindIndexed ? 1u << bits : 0, width);
            for (u32 headerSize : {40u, 124u}) {
                std::string file = directory.write("a" + std::to_string(bits) + std::to_string(width) +
                                                       std::to_string(headerSize) + ".bmp",
                                                   encodeBmp(picture, {.bits = bits, .headerSize = headerSize}));
                Loaded whole = load(file);
                EXPECT_EQ(whole.format, formatBmp);
                EXPECT_EQ(whole.bandStatus, loadSuccess);
                EXPECT_EQ(whole.numbers(), (std::vector<u32>{kind, width, 23, 0, 0, 1, 1, 1, 0}));
                EXPECT_EQ(whole.description, "PBM plus");
                EXPECT_EQ(whole.pixels(), picture.rows) << bits << " bits, width " << width;
                if (kind == kindIndexed) {
                    EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.end(), whole.palette.begin()));
                }

                Loaded wide = load(file, {.bands = {5, 0, 17, 1}, .bandsFromFirstRow = true, .extraStride = 6});
                EXPECT_EQ(wide.pixels(), picture.rows);
                for (u64 y = 0; y < 23; y++)
                    EXPECT_EQ(wide.rows[(y + 1) * wide.stride - 1], 0xA5);
            }
        }
    }
}

TEST(Bmp, MakesASetBitTheDarkColour)
{
    TestDirectory directory;
    Picture picture = noisePicture(kindBilevel, 40, 11, 0, 3);
    std::string whiteFirst = directory.write("w.bmp", encodeBmp(picture));
    std::string blackFirst = directory.write("b.bmp", encodeBmp(picture, {.blackFirst = true, .complementBits = true}));
    EXPECT_EQ(load(whiteFirst).pixels(), picture.rows);
    Loaded loaded = load(blackFirst);
    EXPECT_EQ(loaded.pixels(), picture.rows);
    EXPECT_EQ(loaded.palette[0], 0);
    EXPECT_EQ(loaded.palette[3], 255);

    // Without a palette nothing behind the header is read and the sense of the picture before stays.
    Bytes bytes = encodeBmp(picture);
    bytes.erase(bytes.begin() + 54, bytes.begin() + 62);
    Bytes complemented = picture.rows;
    for (u8& byte : complemented)
        byte = static_cast<u8>(~byte);
    std::string bare = directory.write("bare.bmp", bytes);
    EXPECT_EQ(load(bare, {.wantPalette = 0}).pixels(), complemented);
    load(whiteFirst);
    EXPECT_EQ(load(bare, {.wantPalette = 0}).pixels(), picture.rows);
}

TEST(Bmp, ReadsPalettesOfAnyLength)
{
    TestDirectory directory;
    Picture picture = noisePicture(kindIndexed, 13, 7, 100, 5);
    for (u32 entries : {100u, 256u, 300u, 70000u}) {
        Loaded loaded = load(
            directory.write("p" + std::to_string(entries) + ".bmp", encodeBmp(picture, {.paletteEntries = entries})));
        EXPECT_EQ(loaded.pixels(), picture.rows) << entries;
        EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.end(), loaded.palette.begin()));
        EXPECT_EQ(loaded.palette[767], entries > 255 ? 0 : 0xA5);
    }
}

TEST(Bmp, ReportsPlausibleResolutions)
{
    TestDirectory directory;
    const std::tuple<const char*, u32, u32, u32, u32> cases[] = {
        {"a.bmp", 1200, 30000, 30480, 762000},
        {"b.bmp", 100, 6000, 0, 0},
        {"c.bmp", 0, 6000, 0, 152400},
        {"design.DSN", 3937, 1968, 49987, 99999},
        {"d.dsn", 1000, 2000, 50800, 25400},
        {"adsn", 1000, 2000, 25400, 50800},
        {"e.bmp", 2000, 100, 50800, 2540},
        {"f.bmp", 5100, 100, 0, 0},
        {"g.bmp", 0x80000000, 50728000, 1288490189, 1288491200}};
    for (const auto& [name, x, y, resX, resY] : cases) {
        Bytes bytes = encodeBmp(flatPicture(kindRGB, 2, 2, 0), {.pixelsPerMetreX = x, .pixelsPerMetreY = y});
        Loaded loaded = load(directory.write(name, bytes), {.id = formatBmp});
        EXPECT_EQ(std::pair(loaded.resX, loaded.resY), std::pair(resX, resY)) << name;
    }
}

TEST(Bmp, RefusesWhatItDoesNotRead)
{
    TestDirectory directory;
    const Bytes good = encodeBmp(flatPicture(kindRGB, 3, 3, 9));
    const std::tuple<size_t, u32, int, const char*> cases[] = {
        {14, 108, loadWrongFormat, "an info header of 108 bytes, not of 40 or 124"},
        {14, 0x128, loadWrongFormat, "an info header of 296 bytes, not of 40 or 124"},
        {26, 24 << 16 | 2, loadWrongFormat, "2 colour planes"},
        {26, 33 << 16 | 1, loadWrongFormat, "33 bits a pixel"},
        {30, 1, loadWrongFormat, "run-length encoded"},
        {30, 7, loadWrongFormat, "compressed by the unknown method 7"},
        {18, 0, loadBadData, "its header tells a size of 0 x 3"},
        {18, 65521, loadBadData, "its header tells a size of 65521 x 3"},
        {22, 0, loadBadData, "its header tells a size of 3 x 0"},
        {22, 0xFFFFFFFD, loadBadData, "stored from the top row to the bottom one"}};
    int number = 0;
    for (const auto& [at, value, status, reason] : cases) {
        Bytes bytes = good;
        put32(bytes, at, value);
        Loaded loaded = load(directory.write(std::to_string(number++) + ".bmp", bytes));
        EXPECT_EQ(loaded.status, status) << at << ": " << value;
        EXPECT_STREQ(llibGetReason(), reason);
    }
    // The depth is refused before the size, the compression before the depth.
    Bytes several = good;
    put32(several, 18, 0);
    several[28] = 5;
    EXPECT_EQ(load(directory.write("several.bmp", several)).status, loadWrongFormat);
    EXPECT_EQ(load(directory.path + "/missing.bmp", {.id = formatBmp}).status, loadWrongFormat);
}

TEST(Bmp, RemarksOnWhatItLeavesOut)
{
    TestDirectory directory;
    auto remarks = [&](Bytes bytes, size_t at, u32 value) {
        put32(bytes, at, value);
        load(directory.write("a.bmp", bytes));
        return remarkTexts();
    };
    const Bytes indexed = encodeBmp(noisePicture(kindIndexed, 8, 8, 4, 1));
    Bytes rounded = indexed;
    rounded.resize(rounded.size() + 2);
    EXPECT_EQ(remarks(rounded, 10, 54 + 4 * 256), "");
    EXPECT_EQ(remarks(indexed, 10, 54 + 4 * 4),
              "!the rows begin at byte 70 of the file and are read from byte 1078 on\n");
    Bytes cut = encodeBmp(noisePicture(kindRGBA, 3, 3, 0, 1), {.headerSize = 124});
    cut.pop_back();
    EXPECT_EQ(remarks(cut, 14 + 56, 0x4D424544),
              "the colour profile is not used\n!the header announces 3 x 3, the file lacks 1 byte of its 36 bytes\n");
    Picture clear = flatPicture(kindRGBA, 3, 1, 0);
    std::fill(clear.rows.begin(), clear.rows.end(), 0);
    EXPECT_EQ(remarks(encodeBmp(clear), 6, 0),
              "!the alpha of all pixels is 0: an opaque picture is delivered as a transparent one\n");
}

TEST(Bmp, StopsAtTheEndOfTheData)
{
    TestDirectory directory;
    Picture picture = noisePicture(kindRGB, 5, 6, 0, 2);
    Bytes bytes = encodeBmp(picture);
    bytes.resize(54 + 16 * 4 + 15);
    Loaded cut = load(directory.write("cut.bmp", bytes));
    EXPECT_EQ(cut.bandStatus, loadBadData);
    EXPECT_STREQ(llibGetReason(), "the file ends 2 rows before the picture does");
    // Four rows of the file are the picture's last.
    for (size_t i = 0; i < picture.rows.size(); i++)
        ASSERT_EQ(cut.rows[i], i < 30 ? 0xA5 : picture.rows[i]);

    bytes = encodeBmp(picture);
    bytes.resize(bytes.size() + 100, 0x11);
    EXPECT_EQ(load(directory.write("more.bmp", bytes), {.bands = {6 + 2}}).bandStatus, loadBadData);
}
