#include "samples/palette_writer.h"

#include <gtest/gtest.h>

#include <numeric>
#include <tuple>

#include "samples/picture.h"
#include "tests/support.h"

static Bytes randomColours(u32 count)
{
    return noisePicture(pictureIndexed, 1, 1, count, count).palette;
}

static void expectColours(const Loaded& loaded, const Bytes& colours, u32 width, u32 height)
{
    EXPECT_EQ(loaded.status, loadSuccess);
    EXPECT_TRUE(loaded.kind == kindIndexed && loaded.width == width && loaded.height == height)
        << loaded.width << " x " << loaded.height;
    Bytes palette = colours;
    palette.resize(768);
    EXPECT_TRUE(loaded.palette == palette);
    Bytes numbers(colours.size() / 3);
    std::iota(numbers.begin(), numbers.end(), u8{0});
    numbers.resize(u64{width} * height);
    EXPECT_EQ(loaded.pixels(), numbers);
}

TEST(Palettes, ShowEveryColourOnce)
{
    TestDirectory directory;
    const Bytes few = randomColours(10), sixteen = randomColours(16), twenty = randomColours(20);
    const Bytes all = randomColours(256), most = randomColours(255);
    const std::tuple<const char*, Bytes, Bytes, u32, u32, u32, const char*, u8> cases[] = {
        {"b.pal", encodeJascPalette(all), all, 16, 16, 63, "Jasc .PAL", 1},
        {"c.GPL", encodeGimpPalette(few, 4), few, 4, 3, 63, "Gimp .GPL", 1},
        {"e.pal", encodeColourList(few), few, 10, 1, 63, "Jasc .PAL", 1},
        {"f.gpl", encodeColourList(twenty), twenty, 16, 2, 63, "Palette", 1},
        {"g.aco", encodeAco(acoRecords(sixteen)), sixteen, 7, 3, 67, "Photoshop .ACO", 0},
        {"h.aco", encodeAco(acoRecords(most), 2), most, 7, 37, 67, "Photoshop .ACO", 0},
        {"i.acb", encodeAcb(twenty, 0, 9), twenty, 9, 3, 68, "Photoshop .ACB", 0},
    };
    for (const auto& [name, bytes, colours, width, height, format, description, orientation] : cases) {
        SCOPED_TRACE(name);
        const Loaded loaded = load(directory.write(name, bytes));
        EXPECT_EQ(std::tuple(u32(loaded.format), loaded.description, loaded.orientationFlag),
                  std::tuple(format, description, orientation));
        expectColours(loaded, colours, width, height);
        expectHarmless(name, Bytes(bytes.begin(), bytes.begin() + 60), format);
    }
    // The numbers run on over a wide stride and begin again in every call.
    const Loaded wide = load(directory.path + "/f.gpl", {.bands = {1, 1}, .extraStride = 3});
    EXPECT_TRUE(wide.rows[0] == 0 && wide.rows[18] == 18 && wide.rows[19] == 0 && wide.rows[37] == 18);
    // What is asked for behind the last row is cleared.
    const OpenPicture open(directory.path + "/f.gpl", 63);
    Bytes rows(64, 0x55);
    EXPECT_EQ(getLoadBand()(rows.data(), 4, 16), loadSuccess);
    EXPECT_EQ(Bytes(rows.begin() + 20, rows.end()), Bytes(44));
}

TEST(Palettes, ReadTextAsItIsWritten)
{
    TestDirectory directory;
    // Without colours: refused. Then the reason, or the first remark.
    const std::tuple<const char*, std::string, Bytes, const char*> cases[] = {
        {"b.pal",
         "1 2 3\r\r\n\t256 -1 +7 of nothing",
         {1, 2, 3, 0, 255, 7},
         "colours have numbers outside 0 to 255, which wrap around: 1"},
        {"c.pal", "1 2 3\n4 5", {}, "the line of its colour 2 holds no three numbers"},
        {"d.pal", "1 2 256\n", {}, "it begins neither as a palette of its name nor with three numbers to 255"},
        {"f.pal", "JASC-PAL\n0200\n16\n", {}, "its second line is not 0100"},
        {"g.pal", "JASC-PAL\n0100\n16\n1 2 3\n", {}, "the line of its colour 2 holds no three numbers"},
        {"i.pal",
         "GIMP Palette\n#\n1 2 3\n",
         {},
         "it begins neither as a palette of its name nor with three numbers to 255"},
        {"j.gpl",
         "GIMP Palette\n9 9 9\n1 2 3\n# 4\n\n\n5 6 7",
         {1, 2, 3, 5, 6, 7},
         "the first colour is not read: it stands where a comment does"},
        {"l.gpl", "GIMP Palette\nColumns: 257\n#\n1 2 3\n", {}, "it has 257 columns"},
        {"m.gpl", "GIMP Palette\nColumns: 4294967297\n#\n1 2 3\n", {}, "it has 4294967297 columns"},
        {"q.txt", "1 2 3\n", {}, "the name ends neither in .pal nor in .gpl"},
    };
    for (const auto& [name, text, colours, told] : cases) {
        SCOPED_TRACE(name);
        const Loaded loaded = load(directory.write(name, text), {.id = formatPalette});
        EXPECT_EQ(loaded.status, colours.empty() ? loadWrongFormat : loadSuccess);
        EXPECT_STREQ(colours.empty() ? llibGetReason() : llibGetRemark(0, nullptr), told);
        if (loaded.status == loadSuccess)
            expectColours(loaded, colours, static_cast<u32>(colours.size() / 3), 1);
    }
    std::string large = "1 2 3\n";
    for (size_t size : {50000, 50001}) {
        large.resize(size, '\n');
        EXPECT_EQ(load(directory.write("large.pal", large)).status, size == 50000 ? loadSuccess : loadWrongFormat);
    }
}

TEST(Palettes, ConvertTheColoursOfPhotoshop)
{
    TestDirectory directory;
    // Red, an ink colour, a Lab white and dark, greys, an unknown space. Of greys the low byte counts.
    const std::vector<AcoRecord> records = {{0, 0x12FF, 0x3400, 0x0010, 9},
                                            {1, 0x0200, 0, 100, 0},
                                            {2, 0x0103, 1, 0, 0xFFFF},
                                            {7, 10000, 0, 0, 0},
                                            {7, 800, 0, 0, 0},
                                            {8, 5000, 0, 0, 0},
                                            {8, 10000, 0, 0, 0},
                                            {5, 1, 2, 3, 4}};
    const Bytes swatches = {255, 0, 16, 26, 26, 26, 4, 0, 254, 255, 255, 255, 2, 2, 2, 128, 128, 128, 0, 0, 0, 0, 0, 0};
    expectColours(load(directory.write("a.aco", encodeAco(records, 2))), swatches, 7, 2);
    for (i32 i = 0; i < 5; i++) { // halves that differ, hue, inks, white as 10000, an unknown space
        i32 grave = 0;
        EXPECT_TRUE(std::string(llibGetRemark(i, &grave)).ends_with(": 1"));
        EXPECT_EQ(grave, 1);
    }
    expectColours(load(directory.write("ink.acb", encodeAcb({0, 2, 255, 3, 1, 1, 1, 0}, 2))), {2, 254, 4, 0, 0, 0}, 2,
                  1);
    // L * 10000 / 255 = 5019, Y = 0.18578
    expectColours(load(directory.write("lab.acb", encodeAcb({255, 128, 128, 128, 128, 128}, 7))),
                  {255, 255, 255, 47, 47, 47}, 2, 1);

    const std::tuple<const char*, Bytes, const char*> refused[] = {
        {"space.acb", encodeAcb({1, 2, 3}, 1), "its colours are of the unknown space 1"},
        {"wide.acb", encodeAcb({1, 2, 3}, 0, 0x8000), "its pages have -32768 colours"},
        {"none.acb", encodeAcb({}), "it announces 0 colours"},
        {"many.aco", {0, 1, 0x80, 0, 0, 0, 0, 0, 0, 0}, "it announces -32768 colours"}};
    for (const auto& [name, bytes, reason] : refused) {
        EXPECT_EQ(load(directory.write(name, bytes)).status, loadWrongFormat) << name;
        EXPECT_STREQ(llibGetReason(), reason);
    }
    Bytes aco = encodeAco(records), acb = encodeAcb({1, 2, 3, 4, 5, 6});
    aco.pop_back();
    acb.pop_back();
    const std::tuple<const char*, Bytes, const char*> cuts[] = {
        {"cut.aco", aco, "the file ends behind 7 of its 8 colours"},
        {"cut.acb", acb, "the file ends behind 1 of its 2 colours"}};
    for (const auto& [name, bytes, reason] : cuts) {
        EXPECT_EQ(load(directory.write(name, bytes)).status, loadBadData);
        EXPECT_STREQ(llibGetReason(), reason);
    }
    for (size_t size : {1000000, 1000001}) {
        aco.resize(size);
        EXPECT_EQ(load(directory.write("large.aco", aco)).status, size == 1000000 ? loadSuccess : loadWrongFormat);
    }
}

TEST(Palettes, BecomePicturesWhenTheyAreLarge)
{
    TestDirectory directory;
    Bytes colours = randomColours(256);
    colours.insert(colours.end(), colours.begin(), colours.begin() + 3 * 44);
    for (const char* name : {"a.aco", "a.acb"}) {
        const bool isBook = name[4] == 'b';
        const Bytes bytes = isBook ? encodeAcb(colours, 0, 11) : encodeAco(acoRecords(colours), 2);
        const Loaded loaded = load(directory.write(name, bytes), {.bands = {3, 1, isBook ? 24u : 39u}});
        EXPECT_TRUE(loaded.kind == kindRGB && loaded.bandStatus == loadSuccess);
        EXPECT_TRUE(loaded.width == (isBook ? 11 : 7) && loaded.height == (isBook ? 28 : 43));
        Bytes expected = colours;
        expected.resize(loaded.rows.size());
        EXPECT_TRUE(loaded.rows == expected) << name;
    }
}
