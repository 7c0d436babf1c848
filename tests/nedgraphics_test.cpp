#include "samples/nedgraphics_writer.h"

#include <gtest/gtest.h>

#include "tests/support.h"

TEST(Nedgraphics, DeliversPicturePaletteAndResolution)
{
    TestDirectory files;
    const std::tuple<u32, u32, u32> resolutions[] = {
        {0, 0, 0},          {10, 0, 0},      {11, 10000, 10000},    {55, 50000, 50000},      {90, 90000, 0},
        {99, 90000, 90000}, {100, 10000, 0}, {1208, 120000, 80000}, {65535, 6550000, 350000}};
    for (const auto& [code, resX, resY] : resolutions) {
        const Picture picture = noisePicture(pictureIndexed, 1 + code % 100, 20, 256, code);
        const Bytes bytes = encodeNedgraphics(picture, code);
        const std::string file = files.write(std::to_string(code) + ".PaT", bytes);
        const Loaded got = load(file, {.bands = {1, 19}, .extraStride = 2});
        EXPECT_EQ(std::vector<u32>({got.kind, got.width, got.height, got.resX, got.resY, got.orientationFlag}),
                  std::vector<u32>({kindIndexed, picture.width, 20, resX, resY, 0}));
        EXPECT_EQ(got.description, "Nedgraphics PAT");
        EXPECT_EQ(got.pixels(), picture.rows);
        EXPECT_EQ(got.palette, picture.palette);
        EXPECT_EQ(load(file).rows, picture.rows);
        EXPECT_EQ(load(file, {.bands = {20, 1}, .extraStride = -1}).bandStatus, loadBadData);
        EXPECT_EQ(load(files.write("cut.pat", Bytes(bytes.begin(), bytes.end() - 1))).status, loadWrongFormat);
    }
    int number = 0;
    for (size_t at : {2u, 4u, 5u, 6u, 7u, 8u, 11u, 16u, 17u}) {
        Bytes bytes = encodeNedgraphics(noisePicture(pictureIndexed, 20, 20, 256, 1));
        bytes[at] ^= 0x40;
        const std::string file = files.write(std::to_string(number++) + ".pat", bytes);
        EXPECT_EQ(load(file, {.id = 48}).status, loadWrongFormat) << at;
    }
    expectHarmless("d.pat", encodeNedgraphics(blankPicture(pictureIndexed, 2, 2)), 48);
}
