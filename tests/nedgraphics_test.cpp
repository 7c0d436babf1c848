#include "samples/nedgraphics_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

TEST(Nedgraphics, DeliversPicturePaletteAndResolution)
{
    auto encode = [](const Picture& picture) { return encodeNedgraphics(picture); };
    const CardFormat pat = {"a.PaT", formatNedgraphicsPat, encode, "Nedgraphics PAT", 0};
    for (u32 width : {1u, 56u, 100u})
        expectDelivery(pat, noisePicture(pictureIndexed, width, 20, 256, width));
    const Picture picture = noisePicture(pictureIndexed, 20, 20, 256, 1);
    const std::tuple<u32, u32, u32> resolutions[] = {
        {10, 0, 0},         {11, 10000, 10000}, {55, 50000, 50000},    {90, 90000, 0},
        {99, 90000, 90000}, {100, 10000, 0},    {1208, 120000, 80000}, {65535, 6550000, 350000}};
    for (const auto& [code, resX, resY] : resolutions) {
        TestDirectory directory;
        const Loaded got = load(directory.write("a.pat", encodeNedgraphics(picture, code)));
        EXPECT_TRUE(got.resX == resX && got.resY == resY && got.palette == picture.palette) << code;
    }
    const Bytes good = encode(picture);
    expectLimits(pat, {{65520, 1, 65521, 1}, {1, 65520, 1, 65521}}, kindIndexed);
    EXPECT_EQ(statusOf("a.pat", Bytes(good.begin(), good.end() - 1), formatNedgraphicsPat), loadWrongFormat);
    for (u32 at : {2u, 4u, 5u, 6u, 7u, 8u, 11u, 16u, 17u})
        expectStatuses(pat, good, loadWrongFormat, {{at, good[at] ^ 0x40u}});
}
