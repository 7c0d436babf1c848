#include "samples/takemura_writer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/card_support.h"

static Bytes encodeCgs(const Picture& picture)
{
    return encodeTakemuraCgs(picture, static_cast<u32>(pictureRowBytes(picture) + 1));
}

static const CardFormat dat = {"a.DaT", formatTakemuraDat, encodeTakemuraDat, "Takemura .DAT"};
static const CardFormat cgs = {"a.CGS", formatTakemuraCgs, encodeCgs, "Takemura .CGS"};
static const CardFormat dp5 = {"a.Dp5", formatTsudakomaDp5, encodeTsudakomaDp5, "Tsudakoma .DP5"};
static const CardFormat wjl = {"a.WJl", formatActWjl, encodeActWjl, "Act .WJL", 1, 0};

TEST(Takemura, DeliversRows)
{
    for (u32 width : {1u, 20u, 65520u})
        expectDelivery(dat, noiseCards(width, width == 1 ? 20000 : 7));
    for (u32 width : {120u, 131u, 1000u})
        expectDelivery(cgs, noiseCards(width, 600));
    expectDelivery(dp5, noiseCards(128, 9));
    expectDelivery(wjl, noiseCards(40, 4000)); // more than is read at once
    // What stands behind the pixels of a CGS row is delivered where there is room for all of it, else left out.
    TestDirectory directory;
    const std::string file = directory.write("b.cgs", encodeTakemuraCgs(noiseCards(120, 2), 18));
    EXPECT_EQ(load(file, {.extraStride = 3}).rows.back(), 0xFF);
    EXPECT_EQ(load(file, {.extraStride = 2}).rows.back(), 0xA5);

    for (const auto& [format, width, cut] : {std::tuple(&dat, 2000, 5), {&cgs, 2000, 1}, {&dp5, 128, 1}, {&wjl, 40, 1}})
        EXPECT_EQ(bandStatusOfCut(*format, noiseCards(width, 4000), cut), loadCannotRead) << format->name;
    EXPECT_EQ(bandStatusOfCut(dat, noiseCards(2000, 400), 4), loadSuccess); // the last row is complete
    Bytes cut = encodeTakemuraDat(noiseCards(20, 4));
    Bytes rows = load(directory.write("c.dat", cut)).rows;
    cut[13] = 9; // picks are told, 4 are there and delivered
    rows.resize(rows.size() / 4 * 9, 0xA5);
    EXPECT_EQ(load(directory.write("c.dat", cut)).rows, rows);
}

TEST(Takemura, TestsNamesAndSizes)
{
    namespace fs = std::filesystem;
    TestDirectory directory;
    const fs::path before = fs::current_path();
    fs::current_path(directory.path);
    for (const std::string name : {"progABCD.dat", "PROG1234.dat", "./prog1234.dat", "1.dat", "prog1234.dat", ".dat"}) {
        directory.write(name, encodeTakemuraDat(noiseCards(20, 2)));
        EXPECT_EQ(load(name, {.id = formatTakemuraDat}).status == loadSuccess, name != "prog1234.dat" && name != ".dat")
            << name;
    }
    fs::current_path(before);
    const int yes = loadSuccess, no = loadWrongFormat;
    const Bytes datFile = encodeTakemuraDat(noiseCards(20, 3)), cgsFile = encodeCgs(noiseCards(120, 3));
    const Bytes dp5File = encodeTsudakomaDp5(noiseCards(128, 3)), wjlFile = encodeActWjl(noiseCards(40, 3));
    expectStatuses(dat, datFile, no, {{6, 0, 0}, {6, 0xF1, 0xFF}, {13, 0, 0}});
    expectStatuses(cgs, cgsFile, no,
                   {{0, 'c'}, {85, 0, 0}, {97, 9, 0}, {104, 14}, {97, 0x79, 0xFF, 0, 0, 0, 0, 0, 0xFF, 0xFF}});
    expectStatuses(cgs, cgsFile, yes, {{97, 8, 0}});
    expectStatuses(dp5, dp5File, no, {{0, 7}, {1, 1}, {14, 1}, {10, 4}});
    expectStatuses(dp5, dp5File, yes, {{14, 200}});
    expectLimits(dp5, {{128, 1, 128, 0}, {128, 65520, 128, 65521}});
    expectLimits(wjl, {{40, 1, 40, 0}, {40, 65520, 40, 65521}});
    expectStatuses(wjl, wjlFile, no, {{5, 'B'}, {20, 4}});
    EXPECT_EQ(statusOf("a.WJL", wjlFile, formatActWjl), loadWrongFormat);
    EXPECT_EQ(load("/nowhere/a.dat", {.id = formatTakemuraDat}).status, loadCannotRead);
}

TEST(Takemura, TellsWhatIsMissing)
{
    const Bytes rows = encodeTakemuraDat(noiseCards(20, 3)); // of 7 bytes
    EXPECT_EQ(toldOf(dat, rows), "");
    EXPECT_EQ(toldOf(dat, Bytes(rows.begin(), rows.end() - 4)), "");
    EXPECT_EQ(toldOf(dat, Bytes(rows.begin(), rows.end() - 5)),
              "the file ends 1 row before the picture does"
              "!the header announces 20 x 3, the file lacks 5 bytes of its 21 bytes");
    EXPECT_EQ(toldOf(cgs, patched(encodeCgs(noiseCards(120, 3)), 104, {14})),
              "its rows of 14 bytes are too short for a width of 120");
    EXPECT_EQ(toldOf({"a.wjL", formatActWjl, nullptr, ""}, encodeActWjl(noiseCards(40, 3))),
              "the last letter of its name is a capital");
}
