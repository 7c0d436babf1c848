#include "samples/sophis_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static const auto encodeImage = [](const Picture& picture) { return encodeSophisImage(picture); };
static const CardFormat weave = {"d", formatSophisWeave, encodeSophisWeave, "Sophis weave"};
static const CardFormat card = {"d", formatSophisCard, encodeSophisCard, "Sophis card"};
static const CardFormat image = {"d", formatSophisImage, encodeImage, "Sophis image", 1, 0xA5, false};

TEST(Sophis, DeliversRowsAsTheyAreStored)
{
    for (const auto& [format, kind, atWidth] : {std::tuple(&weave, 0u, 66u), {&card, 0u, 194u}, {&image, 1u, 66u}}) {
        for (u32 width : {1u, 9u, 400u})
            expectDelivery(*format, noisePicture(kind, width, 30, kind * 256, width));
        EXPECT_EQ(bandStatusOfCut(*format, noisePicture(kind, 400, 300, kind * 256, 1), 1), loadBadData);
        const Bytes good = format->encode(blankPicture(kind, 400, 3));
        for (u32 at : {atWidth, atWidth + 4}) {
            expectStatuses(*format, good, loadWrongFormat, {{at, 0, 0}, {at, 0xFF, 0xF1}});
            expectStatuses(*format, good, loadSuccess, {{at, 0xFF, 0xF0}});
        }
    }
}

TEST(Sophis, TakesThePaletteThatLiesBeforeTheRows)
{
    TestDirectory files;
    const Picture picture = noisePicture(pictureIndexed, 20, 5, 256, 1);
    EXPECT_EQ(load(files.write("d", encodeSophisImage(picture, 1023)), {.id = formatSophisImage}).status,
              loadWrongFormat);
    const Bytes whole = encodeSophisImage(picture, 2048);
    EXPECT_EQ(toldOf(image, Bytes(whole.begin(), whole.begin() + 2047)), "the file ends in its palette");
    for (u32 start : {1024u, 1024u + 403u, 2048u, 5000u}) {
        const Loaded got = load(files.write("d" + std::to_string(start), encodeSophisImage(picture, start)),
                                {.id = formatSophisImage});
        const size_t colours = std::min<size_t>((start - 1024) / 4, 256);
        Bytes expected(picture.palette.begin(), picture.palette.begin() + static_cast<i64>(3 * colours));
        expected.resize(768);
        EXPECT_EQ(got.palette, expected) << start;
        EXPECT_EQ(got.rows, picture.rows) << start;
        const std::string missing = "+colours that the file lacks are black: " + std::to_string(256 - colours);
        EXPECT_EQ(toldOf(image, encodeSophisImage(picture, start)), colours < 256 ? missing : "");
    }
}
