#include "samples/colorado_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

TEST(Colorado, DeliversRunsInOneBand)
{
    const auto encode = [](const Picture& picture) { return encodeColorado(picture); };
    const CardFormat format = {"a.any", formatColorado, encode, "Colorado", 1, 0xA5, false, true};
    for (u32 colours : {1u, 2u, 256u})
        for (u32 width : {1u, 7u, 1000u})
            expectDelivery(format, noisePicture(pictureIndexed, width, 9, colours, width));
    TestDirectory directory;
    const Picture picture = noisePicture(pictureIndexed, 3, 3, 256, 1);
    EXPECT_EQ(load(directory.write("a", encodeColorado(picture, 7952)), {.id = formatColorado}).palette,
              picture.palette);
    EXPECT_EQ(statusOf("a", encodeColorado(picture, 7953), formatColorado), loadWrongFormat);
}

TEST(Colorado, DropsRunsThatPassTheBand)
{
    const std::string left = "runs of pixels that pass the end of the rows asked for are left out: 2";
    // Pixels of a picture of 4 x 2, read in one band or two; none = bad data. What is told of them, read in one.
    const std::tuple<Bytes, std::vector<u32>, Bytes, std::string> cases[] = {
        {{8, 7}, {2}, Bytes(8, 7), ""},
        {{10, 7, 3, 1, 6, 9, 5, 2}, {2}, {1, 1, 1, 2, 2, 2, 2, 2}, "!" + left},
        {{4, 1, 4, 2}, {1, 1}, {1, 1, 1, 1, 2, 2, 2, 2}, ""},
        {{6, 1, 4, 3, 4, 2}, {1, 1}, {3, 3, 3, 3, 2, 2, 2, 2}, "the file ends 1 row before the picture does!" + left},
        {{8, 7, 1, 1}, {2, 1}, {}, "+behind the picture the file goes on for 2 bytes"},
        {{4, 1, 0, 1, 4, 2}, {2}, {}, "it has a run of no pixels"},
        {{4, 1, 4, 2, 4}, {2}, {1, 1, 1, 1, 2, 2, 2, 2}, "+behind the picture the file goes on for 1 byte"},
        {{4, 1, 4}, {2}, {}, "the file ends 1 row before the picture does"}};
    TestDirectory directory;
    for (const auto& [pixels, bands, expected, told] : cases) {
        Bytes bytes = patched(encodeColorado(blankPicture(pictureIndexed, 4, 2)), 11, {static_cast<u8>(pixels.size())});
        bytes.erase(bytes.end() - 2, bytes.end());
        bytes.insert(bytes.end(), pixels.begin(), pixels.end());
        const Loaded got = load(directory.write("a", bytes), {.id = formatColorado, .bands = bands});
        EXPECT_EQ(got.bandStatus, expected.empty() ? loadBadData : loadSuccess) << pixels.size();
        EXPECT_TRUE(expected.empty() || got.rows == expected);
        EXPECT_EQ(toldOf({"a", formatColorado, nullptr, ""}, bytes), told);
    }
}

TEST(Colorado, RefusesOtherHeaders)
{
    const Bytes good = encodeColorado(noisePicture(pictureIndexed, 5, 5, 9, 1));
    const Patches patches = {{0, 1},   {3, 1},    {12, 1},   {18, 1},         {20, 1},
                             {511, 1}, {4, 0, 0}, {6, 0, 0}, {8, 0, 0, 0, 1}, {8, 255, 255, 255, 255},
                             {10, 8},  {19, 24}};
    const CardFormat colorado = {"a", formatColorado, nullptr, ""};
    expectStatuses(colorado, good, loadWrongFormat, patches);
    // Pixels may begin in the palette, and not before it.
    const u32 most = static_cast<u32>(good.size()) - 1536;
    expectStatuses(colorado, good, loadSuccess, {{8, 0, 0, most >> 8, most & 255}, {8, 0, 0, 0, 2}});
    expectStatuses(colorado, good, loadWrongFormat, {{8, 0, 0, most >> 8, (most & 255) + 1}});
    EXPECT_EQ(toldOf(colorado, Bytes(good.begin(), good.begin() + 511)), "the file ends in its header");
    EXPECT_EQ(toldOf(colorado, Bytes(good.begin(), good.begin() + 2047)), "the file ends in its palette");
}
