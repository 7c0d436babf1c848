#include "samples/sophis_writer.h"

#include <gtest/gtest.h>

#include "tests/support.h"

struct SophisCase {
    u32 id, kind;
    const char* description;
    Bytes (*encode)(const Picture& picture);
    size_t atWidth;
};

static const SophisCase cases[] = {
    {32, kindBilevel, "Sophis weave", encodeSophisWeave, 66},
    {6, kindBilevel, "Sophis card", encodeSophisCard, 194},
    {7, kindIndexed, "Sophis image", [](const Picture& picture) { return encodeSophisImage(picture); }, 66}};

TEST(Sophis, DeliversRowsAsTheyAreStored)
{
    TestDirectory files;
    for (const SophisCase& tried : cases) {
        for (u32 width : {1u, 9u, 400u}) {
            const Picture picture = noisePicture(tried.kind, width, 30, tried.kind == kindIndexed ? 256 : 0, width);
            const Bytes bytes = tried.encode(picture);
            const std::string file = files.write("d" + std::to_string(width + tried.id), bytes);
            const Loaded got = load(file, {.bands = {1, 0, 28, 1}, .extraStride = 3});
            EXPECT_EQ(std::vector<u32>({got.kind, got.width, got.height, got.firstPart, got.orientationFlag}),
                      std::vector<u32>({tried.kind, width, 30, 1, 1}));
            EXPECT_EQ(got.description, tried.description);
            EXPECT_EQ(got.pixels(), picture.rows);
            EXPECT_EQ(got.rows.back(), 0xA5);
            EXPECT_EQ(got.palette[0], tried.kind == kindIndexed ? picture.palette[0] : 0);
            EXPECT_EQ(load(file).rows, picture.rows);
            EXPECT_EQ(load(file, {.bands = {30, 1}}).bandStatus, loadBadData);
            const Bytes cut(bytes.begin(), bytes.end() - 1);
            EXPECT_EQ(load(files.write("cut", cut), {.id = tried.id}).bandStatus, loadBadData);
        }
        for (size_t at : {tried.atWidth, tried.atWidth + 4}) {
            Bytes patched = tried.encode(blankPicture(tried.kind, 400, 3));
            for (u32 size : {0u, 65520u, 65521u}) {
                patched[at] = static_cast<u8>(size >> 8);
                patched[at + 1] = static_cast<u8>(size);
                const int status = load(files.write("patched", patched), {.id = tried.id, .bands = {0}}).status;
                EXPECT_EQ(status, size == 65520 ? loadSuccess : loadWrongFormat) << size;
            }
        }
        expectHarmless("d", tried.encode(blankPicture(tried.kind, 3, 2)), tried.id);
    }
}

TEST(Sophis, TakesThePaletteThatLiesBeforeTheRows)
{
    TestDirectory files;
    const Picture picture = noisePicture(pictureIndexed, 20, 5, 256, 1);
    EXPECT_EQ(load(files.write("d", encodeSophisImage(picture, 1023)), {.id = 7}).status, loadWrongFormat);
    for (u32 start : {1024u, 1024u + 403u, 2048u, 5000u}) {
        const Loaded got = load(files.write("d" + std::to_string(start), encodeSophisImage(picture, start)), {.id = 7});
        const size_t colours = std::min<size_t>((start - 1024) / 4, 256);
        Bytes expected(picture.palette.begin(), picture.palette.begin() + static_cast<i64>(3 * colours));
        expected.resize(768);
        EXPECT_EQ(got.palette, expected) << start;
        EXPECT_EQ(got.rows, picture.rows) << start;
    }
}
