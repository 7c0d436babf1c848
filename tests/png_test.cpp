#include "samples/png_writer.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support.h"

// The sample of a row that is packed as a PNG file wants it, cut down to 8 bits.
static u32 sampleAt(const PngImage& image, u32 x, u32 y, u32 channel, u32 channels)
{
    const u8* row = image.rows.data() + y * pngRowBytes(image);
    size_t index = static_cast<size_t>(x) * channels + channel;
    if (image.bitDepth >= 8)
        return row[index * static_cast<size_t>(image.bitDepth) / 8];
    size_t bit = index * static_cast<size_t>(image.bitDepth);
    return row[bit / 8] >> (8 - static_cast<size_t>(image.bitDepth) - bit % 8) & ((1u << image.bitDepth) - 1);
}

static PngImage noiseImage(u32 width, u32 height, int colourType, int bitDepth)
{
    PngImage image{.width = width, .height = height, .colourType = colourType, .bitDepth = bitDepth};
    u64 state = width * 100 + static_cast<u64>(colourType * 20 + bitDepth);
    image.rows.resize(pngRowBytes(image) * height);
    for (u8& byte : image.rows)
        byte = static_cast<u8>(nextRandom(state));
    if (colourType == pngPalette) {
        image.palette.resize(3u << bitDepth);
        for (u8& byte : image.palette)
            byte = static_cast<u8>(nextRandom(state));
    }
    return image;
}

TEST(Png, DeliversEveryColourTypeAndDepth)
{
    TestDirectory directory;
    struct Layout {
        int colourType, bitDepth;
        u32 kind, channels;
    };
    const Layout layouts[] = {
        {pngGrey, 1, kindBilevel, 1},    {pngGrey, 2, kindIndexed, 1},    {pngGrey, 4, kindIndexed, 1},
        {pngGrey, 8, kindIndexed, 1},    {pngGrey, 16, kindIndexed, 1},   {pngGreyAlpha, 8, kindRGBA, 2},
        {pngGreyAlpha, 16, kindRGBA, 2}, {pngRgb, 8, kindRGB, 3},         {pngRgb, 16, kindRGB, 3},
        {pngPalette, 1, kindIndexed, 1}, {pngPalette, 2, kindIndexed, 1}, {pngPalette, 4, kindIndexed, 1},
        {pngPalette, 8, kindIndexed, 1}, {pngRgba, 8, kindRGBA, 4},       {pngRgba, 16, kindRGBA, 4}};
    int number = 0;
    for (const Layout& layout : layouts) {
        PngImage image = noiseImage(33, 17, layout.colourType, layout.bitDepth);
        // Grey is delivered inverted, with a ramp that undoes it.
        bool grey = layout.colourType == pngGrey || layout.colourType == pngGreyAlpha;
        u32 top = layout.bitDepth >= 8 ? 255 : (1u << layout.bitDepth) - 1;
        Bytes expected(17 * pictureRowBytes(layout.kind, 33), 0);
        for (u32 y = 0; y < 17; y++) {
            for (u32 x = 0; x < 33; x++) {
                auto sample = [&](u32 channel) {
                    return static_cast<u8>(sampleAt(image, x, y, channel, layout.channels));
                };
                u8* row = expected.data() + y * pictureRowBytes(layout.kind, 33);
                if (layout.kind == kindBilevel)
                    row[x / 8] |= static_cast<u8>((1 - sample(0)) << (7 - x % 8));
                else if (layout.kind == kindIndexed)
                    row[x] = static_cast<u8>(grey ? top - sample(0) : sample(0));
                else
                    for (u32 channel = 0; channel < layout.channels; channel++)
                        row[x * (layout.kind == kindRGB ? 3 : 4) + channel] = sample(channel);
                if (layout.colourType == pngGreyAlpha) {
                    row[4 * x + 3] = sample(1);
                    row[4 * x + 1] = row[4 * x + 2] = row[4 * x];
                }
            }
        }
        for (bool interlaced : {false, true}) {
            std::string file =
                directory.write(std::to_string(number++) + ".png", encodePng(image, {.interlaced = interlaced}));
            // What follows the pixels in a row's last byte stays as the caller had it.
            u8 fill = layout.kind == kindBilevel ? 0 : 0xA5;
            Loaded whole = load(file, {.fill = fill});
            EXPECT_EQ(whole.format, formatPng);
            EXPECT_EQ(whole.kind, layout.kind);
            EXPECT_EQ(whole.description, "PNG");
            EXPECT_EQ(whole.bandStatus, loadSuccess);
            EXPECT_TRUE(whole.pixels() == expected) << layout.colourType << ", " << layout.bitDepth;
            if (grey) {
                for (u32 level = 0; level <= top; level++)
                    EXPECT_EQ(whole.palette[3 * level],
                              layout.kind == kindBilevel ? 255 * level : 255 - level * 255 / top);
            }
            if (layout.colourType == pngPalette) {
                EXPECT_TRUE(std::equal(image.palette.begin(), image.palette.end(), whole.palette.begin()));
            }

            Loaded bands = load(file, {.bands = interlaced ? std::vector<u32>{17} : std::vector<u32>{1, 15, 0, 1},
                                       .extraStride = 5,
                                       .fill = fill});
            EXPECT_TRUE(bands.pixels() == expected);
            EXPECT_EQ(bands.rows.back(), fill);
            Loaded narrow = load(file, {.extraStride = -2, .fill = fill});
            u64 rowBytes = narrow.rowBytes;
            for (u64 i = 0; i < narrow.rows.size(); i++)
                ASSERT_EQ(narrow.rows[i], expected[i / (rowBytes - 2) * rowBytes + i % (rowBytes - 2)]);
        }
    }
}

TEST(Png, ExpandsTransparency)
{
    TestDirectory directory;
    PngImage image = noiseImage(19, 8, pngPalette, 4);
    Loaded loaded = load(directory.write("p.png", encodePng(image, {.paletteAlphas = {0, 128, 7}})));
    EXPECT_EQ(loaded.kind, static_cast<u32>(kindRGBA));
    for (u32 i = 0; i < 19 * 8; i++) {
        u32 index = sampleAt(image, i % 19, i / 19, 0, 1);
        const u8* colour = image.palette.data() + 3 * index;
        u8 alpha = index == 0 ? 0 : index == 1 ? 128 : index == 2 ? 7 : 255;
        Bytes expected = {colour[0], colour[1], colour[2], alpha};
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), loaded.rows.begin() + 4 * i)) << i;
    }

    load(directory.write("i.png", encodePng(noiseImage(9, 9, pngRgb, 8), {.interlaced = true})), {.bands = {4, 5}});
    EXPECT_EQ(remarkTexts(), "!interlaced, and not asked for in one piece: its rows are mixed up\n");
    Bytes resolution = encodePng(noiseImage(4, 4, pngRgb, 8), {.resolution = PngResolution{1, 2, 1}});
    const std::string name = "pHYs";
    std::search(resolution.begin(), resolution.end(), name.begin(), name.end())[4 + 9] ^= 1; // of its checksum
    const std::pair<Bytes, const char*> told[] = {
        {encodePng(noiseImage(4, 4, pngGrey, 1), {.transparentColour = {1}}),
         "the transparent grey level 1 of 1 bits is not read as such\n"
         "!black and white are exchanged: one bit with transparency\n"
         "!white gets the alpha 0, which is not the file's\n"},
        {encodePng(noiseImage(4, 4, pngRgb, 16), {.transparentColour = {1, 2, 300}}),
         "the transparent colour 1, 2, 300 is delivered as an opaque one\n16 bits a sample are cut to 8\n"},
        {resolution, "libpng: pHYs: CRC error\n"}};
    std::thread([&] {
        for (const auto& [bytes, texts] : told) {
            load(directory.write("c.png", bytes));
            EXPECT_EQ(remarkTexts(), texts);
        }
    }).join();

    // The alpha of level 255 is whatever the thread last had there, in a fresh thread 0.
    std::thread([&] {
        PngImage grey = noiseImage(40, 40, pngGrey, 8);
        Loaded fresh = load(directory.write("g.png", encodePng(grey, {.transparentColour = {77}})));
        EXPECT_EQ(fresh.kind, static_cast<u32>(kindRGBA));
        EXPECT_EQ(remarkTexts(), "!white gets the alpha 0, which is not the file's\n");
        for (size_t i = 0; i < grey.rows.size(); i++) {
            u8 level = grey.rows[i];
            Bytes expected = {level, level, level, static_cast<u8>(level == 77 || level == 255 ? 0 : 255)};
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), fresh.rows.begin() + 4 * static_cast<i64>(i)));
        }
    }).join();
}

TEST(Png, ReportsResolutionAndMultipliers)
{
    TestDirectory directory;
    PngImage image = noiseImage(4, 4, pngRgb, 8);
    PngOptions options{.resolution = PngResolution{11811, 3, 0}, .texts = {{"MulX", "3"}, {"Title", "x"}}};
    Loaded loaded = load(directory.write("b.png", encodePng(image, options)));
    EXPECT_EQ(loaded.numbers(), (std::vector<u32>{kindRGB, 4, 4, 299999, 76, 3, 1, 1, 0}));
    options = {.resolution = PngResolution{0x7FFFFFFF, 170000000, 1},
               .texts = {{"MulY of ends", " 12 picks"}, {"MulX", "many"}}};
    Loaded odd = load(directory.write("c.png", encodePng(image, options)));
    EXPECT_EQ(odd.numbers(), (std::vector<u32>{kindRGB, 4, 4, 0xFFFFFFFF, 0xFFFFFFFF, 0, 12, 1, 0}));
}

TEST(Png, ReportsDamageWhereItIsFound)
{
    TestDirectory directory;
    PngImage image = noiseImage(60, 200, pngRgb, 8);
    const Bytes good = encodePng(image, {.compressionLevel = 0});
    EXPECT_EQ(load(directory.path + "/missing.png", {.id = formatPng}).status, loadCannotRead);
    EXPECT_EQ(load(directory.write("s.png", Bytes(good.begin(), good.begin() + 7)), {.id = formatPng}).status,
              loadWrongFormat);
    EXPECT_EQ(load(directory.path, {.id = formatPng}).status, loadWrongFormat);
    Bytes header = good;
    header[17] ^= 1;
    EXPECT_EQ(load(directory.write("h.png", header)).status, loadCannotRead);
    EXPECT_STREQ(llibGetReason(), "libpng: IHDR: CRC error");
    Loaded cut = load(directory.write("cut.png", Bytes(good.begin(), good.begin() + 20000)));
    EXPECT_EQ(cut.bandStatus, loadDecoderError);
    EXPECT_STREQ(llibGetReason(), "the file ends before the picture does");
    EXPECT_TRUE(std::equal(image.rows.begin(), image.rows.begin() + 180 * 80, cut.rows.begin()));

    Loaded more = load(directory.write("good.png", good), {.bands = {200 + 1}});
    EXPECT_EQ(more.bandStatus, loadDecoderError);
    EXPECT_TRUE(more.pixels() == image.rows);
}
