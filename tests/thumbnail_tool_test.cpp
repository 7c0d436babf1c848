// Thumbnails by the command.
#include "loomfile.hpp"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"
#include "tests/tool_support.h"

TEST_F(Tool, WritesThumbnails)
{
    files.write("lifts.qte", encodeQte(noisePicture(pictureBilevel, 960, 320, 0, 1)));
    files.write("shaded.png", encodePng(noisePicture(pictureRgba, 40, 30, 0, 1)));
    EXPECT_EQ(run({"thumbnail", "lifts.qte", "a.png"}).output, "lifts.qte: QTE, 960 x 320 -> a.png, 256 x 85\n");
    EXPECT_EQ(run({"thumbnail", "lifts.qte", "a.png"}).exitCode, 12);
    EXPECT_EQ(run({"thumbnail", "lifts.qte", "b.png", "--size", "4097"}).exitCode, 64);
    const Loaded cloth = load(path("a.png"));
    loomfile::File file(path("lifts.qte"));
    const loomfile::Thumbnail expected(file);
    ASSERT_EQ(cloth.kind, u32{kindIndexed}); // a third of the bytes
    for (size_t i = 0; i < cloth.rows.size(); i++)
        ASSERT_TRUE(
            std::equal(&expected.pixels[4 * i], &expected.pixels[4 * i + 3], &cloth.palette[3 * cloth.rows[i]]));

    const vector<string> batch = {"thumbnail", "lifts.qte", "shaded.png", "-o",   "small",
                                  "--size",    "60",        "--sett",     "10x40"};
    EXPECT_EQ(run(batch).exitCode, 0);
    const Loaded wide = load(path("small/lifts.png")), shaded = load(path("small/shaded.png"));
    EXPECT_EQ(std::pair(wide.width, wide.height), std::pair(60u, 5u));
    EXPECT_EQ(std::tuple(shaded.width, shaded.height, shaded.kind), std::tuple(60u, 11u, u32{kindRGBA}));
}
