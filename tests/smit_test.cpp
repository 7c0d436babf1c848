#include "samples/smit_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static CardFormat smit(const char* description, bool lastBlockFirst = false)
{
    auto encode = [=](const Picture& picture) { return encodeSmit(picture, {.lastBlockFirst = lastBlockFirst}); };
    return {"a.ArM", 45, encode, description, 1, 0xA5, false};
}

TEST(Smit, PutsBlocksInTheirPlaces)
{
    for (u32 height : {3u, 32u, 33u, 5000u}) {
        for (bool lastBlockFirst : {false, true}) {
            expectDelivery(smit("SMIT Textile .ARM", lastBlockFirst), noiseCards(48, height));
            expectDelivery(smit("SMIT Textile terry .ARM", lastBlockFirst), noiseCards(96, height));
        }
    }
}

TEST(Smit, RefusesWhatDoesNotFit)
{
    const Bytes plain = encodeSmit(noiseCards(48, 33)), terry = encodeSmit(noiseCards(96, 33));
    // In the header, in the head of the first block at 23, in that of the second at 219.
    const Patches patches = {{1, 0x14}, {2, 1},    {3, 0xA7},  {3, 0xA6}, {4, 34},  {4, 32},
                             {23, 'Y'}, {24, 200}, {24, 195},  {24, 2},   {24, 8},  {25, 0},
                             {25, 3},   {26, 1},   {219, 'x'}, {220, 14}, {221, 34}};
    expectStatuses(smit(""), plain, loadWrongFormat, patches);
    expectStatuses(smit(""), terry, loadWrongFormat, {{24, 3}, {25, 0}});
    // Blocks of fewer picks than 32 leave no room for all of them, here for a head or for what follows it.
    for (u32 picksOfBlock : {31u, 5u, 6u}) {
        Bytes more = encodeSmit(noiseCards(48, 33), {.picksOfBlock = picksOfBlock});
        more.resize(plain.size());
        EXPECT_EQ(toldOf(smit(""), more), picksOfBlock == 31 ? "" : "the file ends 3 picks before the weave does");
    }
    EXPECT_EQ(statusOf("d.arn", plain, 45), loadWrongFormat);
    expectLimits(smit(""), {{48, 2, 48, 1}, {96, 2, 96, 1}, {48, 65520, 48, 65521}, {96, 65520, 96, 65521}});
}
