#include "samples/chinese_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static const CardFormat varitex = {"a.PAT", formatVaritexPat, encodeVaritex, "PAT"};
static const CardFormat zhuPat = {"a.pat", formatZhuPat, encodeZhuPat, "Motong PAT", 0};
static const CardFormat zhuSti = {"a.Sti", formatZhuSti, encodeZhuSti, "Motong STI"};
static const CardFormat wbf = {"a.wbF", formatWbf, [](const Picture& picture) { return encodeWbf(picture); },
                               "WBF Chinese", 0};
static const CardFormat wb = {"a.WB", formatWb, encodeWb, "WB Chinese", 0};
static const auto encodeLifts = [](const Picture& picture) { return encodeOrg(picture, 0x80); };
static const CardFormat org = {"a.org", formatOrg, encodeLifts, "Most Dobby weave", 1, 0, true, true};

TEST(Chinese, DeliversRowsAndColumns)
{
    for (const CardFormat* format : {&varitex, &zhuPat, &zhuSti, &wbf, &wb})
        for (u32 width : {144u, 2000u})
            expectDelivery(*format, noiseCards(width, 300));
    expectDelivery(zhuPat, noiseCards(33, 25));
    expectDelivery(zhuSti, noiseCards(33, 25));
    for (const auto& [width, height] : {std::pair(9, 3), {64, 16}, {130, 17}, {203, 6000}, {300, 15}})
        expectDelivery(org, noiseCards(width, height));
}

TEST(Chinese, ReadsSizes)
{
    const std::tuple<const CardFormat*, Bytes, Bytes, u32> cases[] = {
        // format, file, its beginning, width; 0 = refused
        {&varitex, Bytes(38), {3, 0}, 80},
        {&varitex, Bytes(38), {4, 0}, 0},
        {&wbf, Bytes(25 * 4), {3, 0, 0, 0, 2, 0, 103, 0}, 206}, // the last 6 pixels have no place
        {&wbf, Bytes(8190 * 2), {1, 0, 0, 0, 240, 0, 17, 1}, 65520},
        {&wbf, Bytes(8226 * 2), {1, 0, 0, 0, 3, 0, 0xB0, 0x55}, 0}, // 65808, of which 16 bits are 272
        {&wb, Bytes(512 * 3), {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0}, 4096},
        {&zhuSti, encodeZhuSti(noiseCards(512, 80)), {2}, 512}, // pages of 4096 behind the first
        {&zhuSti, encodeZhuSti(noiseCards(512, 80)), {1}, 0}};
    for (const auto& [format, bytes, start, width] : cases) {
        TestDirectory directory; // of its own, or the header cache would answer
        const std::string file = directory.write(format->name, patched(bytes, 0, start));
        const Loaded got = load(file, {.id = format->id, .bands = {0}});
        EXPECT_EQ(got.status == loadSuccess ? got.width : 0, width) << format->name << int{start[0]};
    }
}

TEST(Chinese, TurnsColumnsOfOneBandOnly)
{
    TestDirectory directory;
    const std::string file = directory.write("a.org", Bytes{2, 0, 0, 0, 3, 0, 0, 0, 1, 0, 1, 0, 0, 5});
    EXPECT_EQ(load(file).rows, Bytes({0x80, 0, 0xC0}));
    const Loaded two = load(file, {.bands = {2}});
    EXPECT_EQ(two.bandStatus, loadDecoderError);
    EXPECT_EQ(two.rows, Bytes({0, 0, 0xA5}));
}

TEST(Chinese, RefusesOtherFilesAndSizes)
{
    for (const CardFormat* format : {&varitex, &zhuPat, &zhuSti, &wbf, &wb, &org}) {
        SCOPED_TRACE(format->name);
        const Bytes good = format->encode(noiseCards(144, 24));
        Bytes longer = good;
        longer.push_back(0);
        EXPECT_EQ(statusOf(format->name, Bytes(good.begin(), good.end() - 1), format->id), loadWrongFormat);
        EXPECT_EQ(statusOf(format->name, longer, format->id), format == &zhuPat ? loadSuccess : loadWrongFormat);
        EXPECT_EQ(statusOf(std::string(format->name) + "x", good, format->id), loadWrongFormat);
        expectLimits(*format, {{65520, 1, format == &wb ? 65536u : 65528u, 1}});
    }
    for (const CardFormat* format : {&zhuPat, &org})
        EXPECT_EQ(bandStatusOfCut(*format, noiseCards(144, 3000), 5000), loadBadData);
    const Picture large = noiseCards(65520, 40);
    expectStoredBits(varitex, large, 8, CutRow::held);
    expectStoredBits(zhuSti, large, 34, CutRow::heldAtOnce);
    for (const CardFormat* format : {&wbf, &wb})
        expectStoredBits(*format, large, 8190, CutRow::heldAtOnce);
    expectStatuses(zhuPat, encodeZhuPat(noiseCards(20, 2)), loadWrongFormat, {{0, 't'}});
    expectStatuses(varitex, encodeVaritex(noiseCards(16, 2)), loadWrongFormat, {{0, 0, 0}});
}

TEST(Chinese, TellsWhatIsTheMatter)
{
    const Bytes pat = encodeZhuPat(noiseCards(144, 24)), sti = encodeZhuSti(noiseCards(512, 80));
    EXPECT_EQ(toldOf(varitex, patched(Bytes(38), 0, {4})), "its picks take 30 bytes, no multiple of its height of 4");
    EXPECT_EQ(toldOf(zhuPat, patched(pat, 0, {'t'})), "it does not begin with TxST");
    EXPECT_EQ(toldOf(zhuPat, patched(pat, 8, {25})), "the header announces 144 x 25, the file holds 490 bytes");
    Bytes longer = pat;
    longer.resize(longer.size() + 9);
    EXPECT_EQ(toldOf(zhuPat, longer), "+behind the picture the file goes on for 9 bytes");
    EXPECT_EQ(toldOf(zhuSti, sti), "");
    EXPECT_EQ(toldOf(zhuSti, patched(sti, 3, {0, 1})),
              "the file ends 113 rows before the picture does"
              "!the header announces 512 x 256, the file lacks 7202 bytes of its 16384 bytes");
    const Bytes weave = {2, 0, 0, 0, 3, 0, 0, 0, 1, 0, 1, 0, 0, 5};
    EXPECT_EQ(toldOf({"a.orc", formatOrg, nullptr, ""}, weave), "the name does not end in .org");
}
