#include "samples/schleicher_writer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/card_support.h"

TEST(Schleicher, PutsHooksInOrder)
{
    TestDirectory files;
    const SchleicherOptions cases[] = {
        {.block = 1}, {.block = 2, .extraBytes = 3, .tellExtra = false}, {.block = 7, .extraBytes = 99}, {.block = 98}};
    for (const SchleicherOptions& options : cases) {
        for (u32 width : {2744u, 2741u, 5488u}) {
            const Picture picture = noiseCards(width, 600);
            const std::string name = std::to_string(width + options.block) + ".S01";
            const std::string file = files.write(name, encodeSchleicher(picture, options));
            const Loaded wide = load(file, {.bands = {1, 70, 529}, .extraStride = 2});
            EXPECT_TRUE(wide.pixels() == picture.rows && wide.rows.back() == 0xA5) << name;
            EXPECT_EQ(load(file, {.bands = {600, 1}, .extraStride = -1}).bandStatus, loadBadData);
        }
    }
    // From the end 24 on the second group has no hooks left.
    const Bytes few = encodeSchleicher(flatPicture(pictureBilevel, 40, 1, 0xFF), {.block = 2});
    EXPECT_EQ(load(files.write("few.s01", few)).rows, Bytes({0xFF, 0xFF, 0xFF, 0xAA, 0xAA}));
}

TEST(Schleicher, ReadsTheHeader)
{
    TestDirectory files;
    const Bytes good = encodeSchleicher(noiseCards(600, 3), {.name = "BIRD 100%n", .block = 12});
    const Loaded got = load(files.write("d.s01", good));
    EXPECT_EQ(got.description, "Schleicher V1.23\nBIRD 100\nDate 24.12.99\nBlock 12\nType T");
    EXPECT_EQ(got.numbers(), (std::vector<u32>{kindBilevel, 600, 3, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(got.palette[0], 0);

    const std::tuple<std::string, size_t, std::string, bool> cases[] = {
        {"d.S99", 0, "", true},     {"sxx", 0, "", true},         {"d.t01", 0, "", false},
        {"01", 0, "", false},       {"d.s01", 37, "T", false},    {"d.s01", 40, "0", false},
        {"d.s01", 0, "x", false},   {"d.s01", 0, "   -1", false}, {"d.s01", 5, "00000", false},
        {"d.s01", 34, " 0", false}, {"d.s01", 34, "-1", false},   {"d.s01", 50, "-9", false}};
    for (const auto& [name, at, text, isRead] : cases) {
        const int status = statusOf(name, patched(good, at, Bytes(text.begin(), text.end())), formatSchleicher);
        EXPECT_EQ(status, isRead ? loadSuccess : loadWrongFormat) << name << ' ' << at << text;
    }
    // A pick that the file lacks is like the one before.
    EXPECT_EQ(toldOf({"cut.s01", formatSchleicher, nullptr, ""}, Bytes(good.begin(), good.end() - 75)),
              "!the header announces 600 x 3, the file lacks 75 bytes of its 225 bytes!picks that the file lacks are "
              "made up: 1");
    const Loaded cut = load(files.write("cut.s01", Bytes(good.begin(), good.end() - 75)));
    EXPECT_EQ(cut.bandStatus, loadSuccess);
    EXPECT_TRUE(std::equal(cut.rows.begin() + 75, cut.rows.begin() + 150, cut.rows.begin() + 150));
}
