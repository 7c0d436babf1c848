#include "samples/smit_writer.h"

#include <gtest/gtest.h>

#include "tests/support.h"

TEST(Smit, PutsBlocksInTheirPlaces)
{
    TestDirectory files;
    for (u32 width : {48u, 96u}) {
        for (u32 height : {3u, 32u, 33u, 5000u}) {
            for (bool lastBlockFirst : {false, true}) {
                const Picture picture = noisePicture(pictureBilevel, width, height, 0, height);
                const Bytes bytes = encodeSmit(picture, {.lastBlockFirst = lastBlockFirst});
                const std::string file = files.write(std::to_string(width + height) + ".ArM", bytes);
                const Loaded got = load(file, {.bands = {1, height - 1}, .extraStride = 1});
                EXPECT_TRUE(got.pixels() == picture.rows) << height;
                EXPECT_EQ(got.rows.back(), 0xA5);
                EXPECT_EQ(std::vector<u32>({got.kind, got.width, got.height, got.firstPart, got.orientationFlag}),
                          std::vector<u32>({kindBilevel, width, height, 1, 1}));
                EXPECT_EQ(got.description, width == 48 ? "SMIT Textile .ARM" : "SMIT Textile terry .ARM");
                EXPECT_EQ(load(file, {.bands = {height, 1}}).bandStatus, loadBadData);
            }
        }
    }
}

TEST(Smit, RefusesWhatDoesNotFit)
{
    TestDirectory files;
    const Bytes plain = encodeSmit(noisePicture(pictureBilevel, 48, 33, 0, 1));
    const Bytes terry = encodeSmit(noisePicture(pictureBilevel, 96, 33, 0, 1));
    ASSERT_EQ(plain.size(), 229u);
    // Where a byte is changed: in the header, in the head of the first block, in that of the second.
    const std::tuple<const Bytes*, size_t, u8> cases[] = {
        {&plain, 1, 0x14}, {&plain, 2, 1},    {&plain, 3, 0xA7},   {&plain, 3, 0xA6},  {&plain, 4, 34},
        {&plain, 4, 32},   {&plain, 23, 'Y'}, {&plain, 24, 200},   {&plain, 24, 195},  {&plain, 24, 2},
        {&plain, 25, 0},   {&plain, 25, 3},   {&plain, 26, 1},     {&plain, 219, 'x'}, {&plain, 220, 14},
        {&terry, 24, 3},   {&terry, 25, 0},   {&plain, 24, 6 + 2}, {&plain, 221, 34}};
    int number = 0;
    for (const auto& [good, at, value] : cases) {
        Bytes bytes = *good;
        bytes[at] = value;
        const std::string file = files.write(std::to_string(number++) + ".arm", bytes);
        EXPECT_EQ(load(file, {.id = 45}).status, loadWrongFormat) << at << ' ' << int{value};
    }
    EXPECT_EQ(load(files.write("d.arn", plain), {.id = 45}).status, loadWrongFormat);
    expectHarmless("d.arm", terry, 45);
}
