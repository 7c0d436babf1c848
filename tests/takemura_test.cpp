#include "samples/takemura_writer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/card_support.h"

static Bytes encodeCgs(const Picture& picture)
{
    return encodeTakemuraCgs(picture, static_cast<u32>(pictureRowBytes(picture) + 1));
}

static const CardFormat dat = {"a.DaT", 29, encodeTakemuraDat, "Takemura .DAT"};
static const CardFormat cgs = {"a.CGS", 50, encodeCgs, "Takemura .CGS"};
static const CardFormat dp5 = {"a.Dp5", 69, encodeTsudakomaDp5, "Tsudakoma .DP5"};
static const CardFormat wjl = {"a.WJl", 70, encodeActWjl, "Act .WJL", 1, 0};

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
        EXPECT_EQ(load(name, {.id = 29}).status == loadSuccess, name != "prog1234.dat" && name != ".dat") << name;
    }
    fs::current_path(before);
    const int yes = loadSuccess, no = loadWrongFormat;
    const Bytes datFile = encodeTakemuraDat(noiseCards(20, 3)), wjlFile = encodeActWjl(noiseCards(40, 3));
    expectStatuses(dat, datFile, {{6, {0, 0}, no}, {6, {0xF1, 0xFF}, no}, {13, {0, 0}, no}, {0, Bytes(6, 9), yes}});
    expectStatuses(cgs, encodeCgs(noiseCards(120, 3)),
                   {{0, {'c'}, no},
                    {85, {0, 0}, no},
                    {97, {8, 0}, yes},
                    {97, {9, 0}, no},
                    {104, {14}, no},
                    {97, {0x79, 0xFF, 0, 0, 0, 0, 0, 0xFF, 0xFF}, no}});
    expectStatuses(dp5, encodeTsudakomaDp5(noiseCards(128, 3)),
                   {{0, {7}, no}, {1, {1}, no}, {14, {1}, no}, {14, {200}, yes}, {10, {4}, no}});
    expectStatuses(wjl, wjlFile, {{5, {'B'}, no}, {20, {4}, no}, {6, Bytes(14, 1), yes}});
    EXPECT_EQ(statusOf("a.WJL", wjlFile, 70), loadWrongFormat);
    EXPECT_EQ(load("/nowhere/a.dat", {.id = 29}).status, loadCannotRead);
    expectHarmless(".dat", datFile, 29);
    expectHarmless(".cgs", encodeCgs(noiseCards(130, 3)), 50);
    expectHarmless(".wjl", wjlFile, 70);
}
