#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "samples/tiff_writer.h"
#include "tests/support.h"

constexpr u32 tiff = formatTiff;
constexpr u32 greyFromWhite = 0, greyFromBlack = 1, rgb = 2, palette = 3, inks = 5, yCbCr = 6, lab = 8;

// libtiff's messages are collected, or they would fill the report.
struct Tiff : testing::Test {
    TestDirectory directory;
    Tiff() { testing::internal::CaptureStderr(); }
    ~Tiff() override { testing::internal::GetCapturedStderr(); }

    Loaded load(const Bytes& bytes, const LoadOptions& options = {}) const
    {
        return ::load(directory.write("a.tif", bytes), options);
    }
};

static Bytes randomBytes(size_t size)
{
    return noisePicture(pictureIndexed, static_cast<u32>(size), 1, 256, size).rows;
}

static TiffImage randomImage(u32 photometric, u32 bits, u32 samples, u32 width, u32 height, bool separate = false)
{
    TiffImage image{width, height, bits, samples, photometric, separate};
    image.rows = randomBytes(tiffRowBytes(image) * height * (separate ? samples : 1));
    if (photometric == palette) {
        const Bytes map = randomBytes(size_t{6} << bits);
        image.colourMap.resize(map.size() / 2);
        memcpy(image.colourMap.data(), map.data(), map.size());
    }
    return image;
}

// What is delivered of a sample as it is stored: 16 bits lose the lower half.
static u32 sampleOf(const TiffImage& image, size_t row, size_t index)
{
    const u8* samples = &image.rows[row * tiffRowBytes(image)];
    u16 deep = 0;
    if (image.bits == 16)
        memcpy(&deep, samples + 2 * index, 2);
    const size_t bit = index * image.bits;
    return image.bits == 16 ? deep >> 8 : samples[bit / 8] >> (8 - image.bits - bit % 8) & ((1u << image.bits) - 1);
}

// Where the directory entry of a tag lies in a little-endian file: tag, type, count, value.
static size_t entryOf(const Bytes& bytes, u32 tag)
{
    const size_t directory = bytes[4] | static_cast<size_t>(bytes[5]) << 8 | static_cast<size_t>(bytes[6]) << 16;
    size_t entry = directory + 2;
    while ((bytes.at(entry) | static_cast<u32>(bytes.at(entry + 1)) << 8) != tag)
        entry += 12;
    return entry;
}

TEST_F(Tiff, DeliversPictures)
{
    for (u32 kind : {pictureIndexed, pictureRgb, pictureRgba}) {
        for (u32 compression : {1u, 5u, 8u, 32773u}) {
            const Picture picture = motifPicture(kind, 101, 70, 200);
            const bool bigEndian = compression == 8 || compression == 1;
            const Bytes bytes =
                encodeTiff(picture, {.bigEndian = bigEndian, .compression = compression, .rowsPerStrip = 9});
            const Loaded wide = load(bytes, {.bands = {1, 20, 0, 49}, .extraStride = 3});
            EXPECT_EQ((std::array{wide.kind, wide.width, wide.height, wide.resX, wide.mulX, wide.firstPart}),
                      (std::array{kind, 101u, 70u, 0u, 1u, 1u}));
            EXPECT_EQ(wide.description, "TIFF");
            EXPECT_TRUE(wide.pixels() == picture.rows) << kind << " " << compression;
            EXPECT_EQ(wide.rows.back(), 0xA5);
            EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.end(), wide.palette.begin()));
        }
    }
    TiffImage jpeg = tiffImageOf(flatPicture(pictureRgb, 32, 32, 77));
    jpeg.photometric = yCbCr;
    EXPECT_EQ(load(encodeTiff(jpeg, {.compression = 7, .rowsPerStrip = 16})).rows, jpeg.rows);
}

TEST_F(Tiff, DeliversGreyAndIndicesOfEveryDepth)
{
    for (u32 bits : {1u, 2u, 4u, 8u, 16u}) {
        for (u32 photometric : {greyFromWhite, greyFromBlack, palette}) {
            const TiffImage image = randomImage(photometric, bits, 1, 37, 5);
            const Loaded got = load(encodeTiff(image, {.bigEndian = bits == 16}));
            const u32 colours = std::min(1u << bits, 256u);
            const bool mapped = photometric == palette && bits > 1;
            if (mapped && bits == 16)
                continue;
            for (u32 i = 0; i < 3 * colours; i++) {
                const u32 level = photometric == greyFromBlack ? i / 3 : colours - 1 - i / 3;
                const u32 expected =
                    mapped ? image.colourMap[(i % 3 << bits) + i / 3] >> 8 : level * 255 / (colours - 1);
                ASSERT_EQ(got.palette[i], expected) << bits << " " << photometric << " " << i;
            }
            for (u32 i = 0; i < 37 * 5; i++)
                ASSERT_EQ(got.rows[i], sampleOf(image, i / 37, i % 37)) << bits << " " << i;
        }
    }
    // Of 16-bit numbers those that a row has room for are delivered.
    const TiffImage deep{7, 1, 12, 1, greyFromWhite, false, Bytes(11, 0xB6)};
    const u16 numbers[7] = {0, 0, 0xB, 0, 0, 0xB6, 0};
    EXPECT_EQ(memcmp(load(encodeTiff(deep)).rows.data(), numbers, 7), 0);
}

TEST_F(Tiff, DeliversColoursOfEveryLayout)
{
    for (u32 bits : {16u, 8u, 4u, 1u}) {
        const TiffImage image = randomImage(rgb, bits, 3, 19, 3);
        const Loaded got = load(encodeTiff(image, {.bigEndian = true}));
        for (size_t i = 0; i < got.rows.size(); i++)
            ASSERT_EQ(got.rows[i], sampleOf(image, i / 57, i % 57));
    }
    const TiffImage coarse = randomImage(rgb, 4, 4, 19, 3);
    for (u32 channels : {4u, 3u}) { // alpha is delivered, or left out
        const Loaded got = load(encodeTiff(coarse, {.extraSample = channels == 4 ? 1 : 2}));
        for (size_t i = 0; i < got.rows.size(); i++)
            ASSERT_EQ(got.rows[i], sampleOf(coarse, i / (19 * channels), i / channels % 19 * 4 + i % channels)) << i;
    }
    const TiffImage four = randomImage(rgb, 8, 4, 19, 3), ink = randomImage(inks, 8, 4, 19, 3);
    const Bytes skipped = load(encodeTiff(four, {.extraSample = 2})).rows, printed = load(encodeTiff(ink)).rows;
    for (size_t i = 0; i < skipped.size(); i++) {
        ASSERT_EQ(skipped[i], four.rows[i / 3 * 4 + i % 3]);
        ASSERT_EQ(printed[i], (255 - ink.rows[i / 3 * 4 + i % 3]) * (255 - ink.rows[i / 3 * 4 + 3]) / 255);
    }
    // Lightness is a whole percentage, a and b are signed.
    const TiffImage light{
        6, 1, 8, 3, lab, false, {0, 0, 0, 255, 0, 0, 128, 0, 0, 10, 5, 253, 218, 209, 63, 90, 70, 156}};
    TiffImage wider = light; // a fourth sample is passed over
    wider.samples = 4;
    for (i64 at = 3; at < 24; at += 4)
        wider.rows.insert(wider.rows.begin() + at, 99);
    for (const TiffImage& image : {light, wider})
        EXPECT_EQ(load(encodeTiff(image)).rows,
                  Bytes({0, 0, 0, 248, 248, 248, 47, 47, 47, 2, 1, 1, 85, 208, 22, 5, 4, 242}));

    for (u32 stripRows : {1u, 3u}) { // every row of a strip shows its first
        const TiffImage planes = randomImage(rgb, stripRows == 1 ? 8 : 2, 3, 20, 7, true);
        const Bytes bytes = encodeTiff(planes, {.compression = 5, .rowsPerStrip = stripRows});
        const Loaded got = load(bytes, {.bands = {2, 5, 2}});
        for (size_t i = 0; i < got.rows.size(); i++)
            ASSERT_EQ(got.rows[i], sampleOf(planes, i % 3 * 7 + i / 60 / stripRows * stripRows, i / 3 % 20)) << i;
    }
    // Rows of what has no meaning are left alone.
    EXPECT_EQ(load(encodeTiff(randomImage(rgb, 8, 1, 5, 2))).rows, Bytes(30, 0xA5));
}

TEST_F(Tiff, TellsResolutionAndOrientation)
{
    const std::tuple<TiffResolution, u32, u32> resolutions[] = {{{300, 72.5F, 2}, 300000, 72500},
                                                                {{100, 0.5F, 3}, 254000, 1270},
                                                                {{1, 2.5F, 1}, 10000, 25000},
                                                                {{4e9F, 4294967, 2}, 0xFFFFFFFF, 4294967000}};
    const Picture picture = motifPicture(pictureRgb, 9, 9);
    for (u32 orientation = 1; orientation <= 8; orientation++) {
        const auto& [resolution, x, y] = resolutions[orientation % std::size(resolutions)];
        const Loaded got = load(encodeTiff(picture, {.orientation = orientation, .resolution = resolution}));
        const u32 turned = 0b11001100 >> orientation & 1;
        EXPECT_EQ(std::vector<u32>({got.resX, got.resY, got.orientationFlag}), std::vector<u32>({x, y, turned}));
        EXPECT_EQ(got.rows, picture.rows);
    }
}

TEST_F(Tiff, KeepsRefusedFilesOpenUntilTheNext)
{
    TiffImage nothing = randomImage(rgb, 8, 3, 4, 4);
    const Bytes good = encodeTiff(nothing);
    nothing.photometric.reset();
    Bytes tiled = good, oldJpeg = good;
    for (const auto& [from, to] : {std::pair{278u, 322u}, std::pair{284u, 323u}}) { // now the sizes of a tile
        const size_t entry = entryOf(tiled, from);
        tiled[entry] = static_cast<u8>(to);
        tiled[entry + 8] = 16;
    }
    oldJpeg[entryOf(oldJpeg, 259) + 8] = 6;
    const std::pair<Bytes, const char*> refused[] = {
        {encodeTiff(nothing), "its header does not tell what the samples mean"},
        {tiled, "tiled"},
        {oldJpeg, "old-style JPEG compression"},
        {encodeTiff(randomImage(greyFromBlack, 8, 2, 4, 4)), "2 samples a pixel"},
        {encodeTiff(randomImage(rgb, 32, 3, 4, 4)), "32 bits a sample"},
        {encodeTiff(randomImage(inks, 8, 3, 4, 4)), "3 inks instead of four"},
        {encodeTiff(randomImage(greyFromBlack, 8, 3, 4, 4, true)),
         "samples in planes that are not red, green and blue"}};
    testing::internal::CaptureStdout();
    const int descriptors = openDescriptors();
    for (const auto& [bytes, reason] : refused) {
        EXPECT_EQ(load(bytes).status, loadWrongFormat) << reason;
        EXPECT_STREQ(llibGetReason(), reason);
        EXPECT_EQ(openDescriptors(), descriptors + 1);
    }
    getEndLoad()();
    EXPECT_EQ(load({'M', 'M', '*', 0, 0}, {.id = tiff}).status, loadWrongFormat);
    EXPECT_EQ(openDescriptors(), descriptors);
    const std::string message = "llib: old style JPEG not supported in TIFF " + directory.path + "/a.tif\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), message);
}

TEST_F(Tiff, TellsWhatItLeavesOut)
{
    TiffImage whiteAndBlack = randomImage(palette, 1, 1, 9, 4);
    whiteAndBlack.colourMap = {0xFFFF, 0, 0xFFFF, 0, 0xFFFF, 0};
    const TiffImage planes = randomImage(rgb, 8, 3, 5, 4, true), four = randomImage(rgb, 8, 4, 9, 4);
    const std::tuple<const char*, bool, Bytes> cases[] = {
        {"", false, encodeTiff(planes, {.rowsPerStrip = 1})},
        {"samples are in planes, of which every row of a strip shows the strip's first", true,
         encodeTiff(planes, {.rowsPerStrip = 2})},
        {"", false, encodeTiff(whiteAndBlack)},
        {"the colour map of a picture of 1 bit is taken for white and black", true,
         encodeTiff(randomImage(palette, 1, 1, 9, 4))},
        {"", false, encodeTiff(four, {.extraSample = 1})},
        {"the alpha channel is left out", true, encodeTiff(four, {.extraSample = 2})},
        {"the fourth sample of every pixel is left out", false, encodeTiff(four, {.extraSample = 0})},
        {"the picture is not turned as its orientation 6 asks for", false,
         encodeTiff(whiteAndBlack, {.orientation = 6})},
        {"of samples of 16 bits the upper half is delivered", false, encodeTiff(randomImage(rgb, 16, 3, 9, 4))},
        {"samples of 4 bits are not delivered as what they mean", true, encodeTiff(randomImage(rgb, 4, 3, 9, 4))},
        {"of 3 samples a pixel each is taken for a pixel", true, encodeTiff(randomImage(greyFromWhite, 8, 3, 9, 4))},
        {"luminance and chrominance are taken for red, green and blue", true,
         encodeTiff(randomImage(yCbCr, 8, 3, 10, 4))}};
    for (const auto& [text, grave, bytes] : cases) {
        EXPECT_EQ(load(bytes).status, loadSuccess);
        i32 isGrave = 0;
        EXPECT_STREQ(llibGetRemark(llibGetRemarkCount() - 1, &isGrave), text);
        EXPECT_EQ(isGrave, grave ? 1 : 0) << text;
    }
    load(encodeTiff(randomImage(rgb, 8, 1, 5, 4, true)));
    EXPECT_NE(remarkTexts().find("!one plane is taken for red, green and blue\n"), std::string::npos);
}

TEST_F(Tiff, LeavesRowsThatCannotBeRead)
{
    const Picture picture = noisePicture(pictureRgb, 100, 10, 0, 1);
    for (u32 compression : {1u, 5u}) {
        Bytes bytes = encodeTiff(picture, {.compression = compression, .rowsPerStrip = 5});
        // The second strip lies behind the end of the file or is damaged.
        const u8* offsets = &bytes[entryOf(bytes, 273) + 8];
        memset(&bytes[(offsets[0] | static_cast<size_t>(offsets[1]) << 8) + 4], 0xEE, 4);
        const Loaded got = load(bytes, {.bands = {3, 7, 4}});
        EXPECT_TRUE(std::equal(picture.rows.begin(), picture.rows.begin() + 1500, got.rows.begin()));
        EXPECT_EQ(Bytes(got.rows.begin() + 1500, got.rows.end()), Bytes(1500, 0xA5));
        // The four rows behind the last one that the third band asks for are not the file's fault.
        EXPECT_STREQ(llibGetRemark(0, nullptr), "strips of its data lie behind the end of the file: 1");
        EXPECT_STREQ(llibGetRemark(llibGetRemarkCount() - 1, nullptr),
                     "rows cannot be read and are left as they were: 5");
    }
}

TEST_F(Tiff, IsHarmlessWhenDamaged)
{
    for (const TiffImage& image : {randomImage(palette, 4, 1, 9, 4), randomImage(rgb, 8, 3, 5, 5, true),
                                   randomImage(yCbCr, 8, 3, 9, 4), randomImage(greyFromBlack, 1, 1, 30, 4)}) {
        expectHarmless("a.tif", encodeTiff(image, {.rowsPerStrip = 2}), tiff);
    }
}
