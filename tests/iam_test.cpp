#include "samples/iam_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static const CardFormat pat = {"a.PAT", formatIamPat, encodeIamPat, "IAM PAT"};
static const CardFormat bbi = {"a.Bbi", formatIamBbi, encodeIamBbi, "IAM BBI", 1, 0, false};

TEST(Iam, DeliversRows)
{
    for (u32 width : {1u, 37u, 3000u}) {
        expectDelivery(pat, noisePicture(pictureIndexed, width, 25, 256, width));
        expectDelivery(bbi, noiseCards(width, 25));
    }
    TestDirectory directory;
    const Picture picture = noisePicture(pictureIndexed, 3, 3, 256, 1);
    EXPECT_EQ(load(directory.write("b.pat", encodeIamPat(picture)), {.id = formatIamPat}).palette, picture.palette);
    // The other three bytes of a pixel do not count.
    Bytes odd = encodeIamBbi(blankPicture(pictureBilevel, 9, 1));
    odd = patched(odd, 24, {0, 255, 255, 255, 1, 0, 0, 0, 128});
    EXPECT_EQ(load(directory.write("b.bbi", odd)).rows, Bytes({0x60, 0}));

    EXPECT_EQ(bandStatusOfCut(pat, noisePicture(pictureIndexed, 300, 300, 256, 1), 1), loadBadData);
    // BBI does not notice: the pixels are light.
    const Picture dark = flatPicture(pictureBilevel, 16, 5000, 0xFF);
    const Bytes file = encodeIamBbi(dark);
    const Bytes start(file.begin(), file.begin() + 24 + 64 * 4000 + 4);
    EXPECT_EQ(toldOf(bbi, start), "!the header announces 16 x 5000, the file lacks 63996 bytes of its 320 KB!picks "
                                  "that the file lacks are clear: 999");
    const Loaded cut = load(directory.write("cut.bbi", start));
    EXPECT_EQ(cut.bandStatus, loadSuccess);
    EXPECT_TRUE(cut.rows == patched(patched(dark.rows, 8000, Bytes(2000)), 8000, {0x80}));
}

TEST(Iam, RefusesOtherHeaders)
{
    const int no = loadWrongFormat;
    const Bytes patFile = encodeIamPat(noisePicture(pictureIndexed, 3, 3, 256, 1));
    const Bytes bbiFile = encodeIamBbi(noiseCards(9, 3));
    expectStatuses(pat, patFile, no, {{0, 0, 0}, {2, 0, 0}, {0, 0xF1, 0xFF}, {11, 1}, {1031, 128}});
    expectStatuses(bbi, bbiFile, no, {{0, 'u'}, {4, 'b'}, {16, 0, 0}, {20, 0xF1, 255}});
    expectStatuses(bbi, bbiFile, loadSuccess, {{18, 9}});
    expectLimits(pat, {{65520, 1, 65521, 1}, {1, 65520, 1, 65521}}, kindIndexed);
    expectLimits(bbi, {{65520, 1, 65521, 1}, {1, 65520, 1, 65521}});
    EXPECT_EQ(statusOf("a.bb", bbiFile, formatIamBbi), no);
    EXPECT_EQ(load("/nowhere/a.pat", {.id = formatIamPat}).status, loadCannotRead);
}
