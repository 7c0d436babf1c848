// Rows that are stored once, seams of repeats, and points that keep their distance.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "samples/plain_loops.h"
#include "tests/support.h"

TEST(Repeat, ExpandsStoredRowsInPlace)
{
    // From the rows A, B, C ...
    const std::pair<std::vector<i32>, std::string> cases[] = {
        {{0, 1, 0, 3}, "AABB"},        {{0, 0, 1, 2, 0}, "ABABC"},     {{2, 0, 0}, "AAB"},
        {{0, 0, 4}, "unchanged: ABC"}, {{0, -1, 0}, "unchanged: ABC"},
    };
    for (const auto& [table, expanded] : cases) {
        const i32 rows = static_cast<i32>(table.size());
        std::string data;
        for (i32 y = 0; y < rows; y++)
            data += std::string(3, static_cast<char>('A' + y));
        testing::internal::CaptureStdout();
        copyTableEqualY(reinterpret_cast<u8*>(data.data()), 3, rows, table.data());
        fflush(stdout);
        const bool complains = expanded.starts_with("unchanged: ");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), complains ? "copyTableEqualY: wrong repeat table!\n" : "");
        std::string expected;
        for (char row : expanded.substr(complains ? 11 : 0))
            expected += std::string(3, row);
        EXPECT_EQ(data, expected);
    }
}

using Seams = std::pair<u16, u16>;

static Seams seamsOf(const Picture& picture)
{
    Seams seams(1, 1);
    getRepeatBorder(picture.rows.data(), static_cast<i32>(picture.kind), static_cast<i32>(picture.width),
                    static_cast<i32>(picture.height), static_cast<i32>(pictureRowBytes(picture)), &seams.first,
                    &seams.second);
    return seams;
}

TEST(Repeat, MeasuresTheSeamAgainstItsNeighbours)
{
    // Nine steps of 8 in every channel and the seam of 232, 30.4 on average.
    for (u32 kind : {kindRGB, kindRGBA}) {
        const u32 channels = kind == kindRGB ? 3 : 4, steps = 24 * channels;
        Picture across = blankPicture(kind, 30, 25), along = blankPicture(kind, 25, 30);
        for (u32 i = 0; i < 750 * channels; i++) {
            across.rows[i] = static_cast<u8>(i / channels % 30 * 8);
            along.rows[i] = static_cast<u8>(i / channels / 25 * 8);
        }
        const u16 percent = static_cast<u16>(232 * steps * 100 / ((9 * 8 + 232) * steps / 10) - 100);
        EXPECT_EQ(seamsOf(across), Seams(percent, 0));
        EXPECT_EQ(seamsOf(along), Seams(0, percent));
    }

    // Indexed pictures count the pixels that differ: 24 at the seam, 2 at another step, 13 on average.
    Picture indexed = blankPicture(kindIndexed, 30, 25);
    for (u32 y = 0; y < 25; y++)
        std::fill_n(indexed.rows.begin() + 30 * y + (y < 2 ? 26 : 15), y < 2 ? 4 : 15, u8{1});
    EXPECT_EQ(seamsOf(indexed).first, 24 * 100 / 13 - 100);

    // All columns below 256 are looked for in the first byte: columns 0, 8, 16, 24 are one, and 1, 9, 17, 25 another.
    // The seam differs in 24 rows, the ten pairs 5, 0, 0, 0, 24, 19, 5, 0, 0, 0 times.
    Picture bilevel = blankPicture(kindBilevel, 30, 25);
    for (u32 y = 0; y < 25; y++)
        bilevel.rows[4 * y] = y < 5 ? 0xC0 : 0x80;
    EXPECT_EQ(seamsOf(bilevel).first, 24 * 100 / (53 / 4) - 100);

    EXPECT_EQ(seamsOf(noisePicture(kindRGB, 20, 20, 0, 1)), Seams(0, 0));
}

TEST(Repeat, PlacesPointsAsThePlainScanDoes)
{
    // The last two have fewer places than points, or one row of them.
    for (const auto& [count, width, height] :
         {std::array{1, 7, 9}, {600, 300, 200}, {300, 65536, 65535}, {90, 5, 4}, {200, 1, 1000}}) {
        srand(7);
        const std::vector<u16> expected = plainSelfAvoid(count, width, height);
        srand(7);
        const std::unique_ptr<u16, decltype(&free)> points(selfAvoidTable(count, width, height), free);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), points.get())) << count;
    }
    EXPECT_TRUE(selfAvoidTable(3, 0, 5) == nullptr && selfAvoidTable(3, 5, 0) == nullptr);
}
