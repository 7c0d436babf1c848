#include "samples/gif_writer.h"

#include <gtest/gtest.h>

#include "tests/gif_reference.h"

static Picture palettePicture(u32 width, u32 height, u32 colours, u64 seed)
{
    return noisePicture(kindIndexed, width, height, colours, seed);
}

TEST(Gif, DecodesAllKindsOfTables)
{
    TestDirectory directory;
    int number = 0;
    for (u32 colours : {2u, 5u, 16u, 256u}) {
        for (bool flat : {false, true}) {
            Picture picture = flat ? motifPicture(kindIndexed, 300, 101, colours) : palettePicture(301, 99, colours, 7);
            for (bool deferredClear : {false, true}) {
                for (u32 subBlockSize : {255u, 3u}) {
                    Bytes bytes = encodeGif(
                        picture, {.deferredClear = deferredClear, .subBlockSize = subBlockSize, .paddingBytes = 4});
                    std::string file = directory.write(std::to_string(number++) + ".gif", bytes);
                    Loaded whole = load(file);
                    EXPECT_EQ(whole.format, 1);
                    EXPECT_EQ(whole.kind, static_cast<u32>(kindIndexed));
                    EXPECT_EQ(whole.description, "GIF");
                    EXPECT_EQ(whole.bandStatus, loadSuccess);
                    EXPECT_TRUE(whole.pixels() == picture.rows) << colours << " colours, deferred " << deferredClear;
                    EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.end(), whole.palette.begin()));
                    Loaded bands = load(file, {.bands = {1, 0, 50, 3, 47}, .extraStride = 9});
                    EXPECT_TRUE(bands.pixels() == picture.rows);
                    EXPECT_EQ(bands.rows.back(), 0xA5);
                }
            }
        }
    }
    // Strings far longer than a row.
    Picture column = flatPicture(kindIndexed, 3, 30000, 1);
    std::string file = directory.write("column.gif", encodeGif(column, {.paddingBytes = 4}));
    EXPECT_TRUE(load(file).pixels() == column.rows);
    std::vector<u32> singleRows(30000, 1);
    EXPECT_TRUE(load(file, {.bands = singleRows}).pixels() == column.rows);
}

// A header of a picture of 31 x 20 pixels, up to the image data.
static Bytes headerOf(u32 colours)
{
    Picture picture = palettePicture(31, 20, colours, 1);
    Bytes bytes = encodeGif(picture);
    u32 tableBits = 1;
    while (1u << tableBits < colours)
        tableBits++;
    bytes.resize(13 + 3 * (1u << tableBits) + 10);
    return bytes;
}

TEST(Gif, DecodesDamagedAndSenselessCodesAsDescribed)
{
    TestDirectory directory;
    u64 state = 12345;
    std::string file = directory.path + "/r.gif";
    for (int round = 0; round < 1500; round++) {
        u32 colours = 2u << nextRandom(state) % 8;
        Bytes data;
        if (round % 3 == 0) {
            // Codes at random.
            data.push_back(static_cast<u8>(nextRandom(state) % 13));
            size_t blocks = nextRandom(state) % 6;
            for (size_t block = 0; block < blocks; block++) {
                size_t size = nextRandom(state) % 256 >> nextRandom(state) % 8;
                data.push_back(static_cast<u8>(size));
                for (size_t i = 0; i < size; i++)
                    data.push_back(static_cast<u8>(nextRandom(state)));
            }
        } else {
            // A real picture with a code size that may not suit its colours, with some bits turned.
            GifOptions options{.minimumCodeSize = 2 + nextRandom(state) % 7,
                               .deferredClear = nextRandom(state) % 2 == 0,
                               .subBlockSize = 1 + nextRandom(state) % 255};
            Picture picture = palettePicture(31, 20, 4, nextRandom(state));
            Bytes whole = encodeGif(picture, options);
            data.assign(whole.begin() + 13 + 3 * 4 + 10, whole.end());
            for (u32 turned = nextRandom(state) % 4; turned > 0; turned--)
                data[nextRandom(state) % data.size()] ^= static_cast<u8>(1 << nextRandom(state) % 8);
        }
        if (nextRandom(state) % 4 == 0)
            data.resize(nextRandom(state) % (data.size() + 1));

        GifResult expected = referenceGif(data, colours, 31 * 20);
        Bytes bytes = headerOf(colours);
        bytes.insert(bytes.end(), data.begin(), data.end());
        directory.write("r.gif", bytes);
        registerLoadGIF();
        for (const std::vector<u32>& bands : {std::vector<u32>{20}, std::vector<u32>{7, 1, 12}}) {
            Loaded loaded = load(file, {.id = 1, .bands = bands});
            ASSERT_EQ(loaded.status, loadSuccess);
            if (bands.size() > 1 && loaded.bandStatus != expected.status)
                continue; // a band that ends early is not taken up where it ended
            ASSERT_EQ(loaded.bandStatus, expected.status) << round;
            if (bands.size() == 1 || expected.pixels.size() == 31 * 20) {
                expected.pixels.resize(31 * 20, 0xA5);
                ASSERT_TRUE(loaded.pixels() == expected.pixels) << round;
            }
        }
    }
}

TEST(Gif, KeepsThePixelsBeforeACut)
{
    TestDirectory directory;
    Picture picture = palettePicture(50, 40, 256, 9);
    Bytes bytes = encodeGif(picture);
    bytes.resize(bytes.size() / 2);
    Loaded cut = load(directory.write("cut.gif", bytes));
    EXPECT_EQ(cut.status, loadSuccess);
    EXPECT_EQ(cut.bandStatus, loadCannotRead);
    Bytes pixels = cut.pixels();
    size_t same = 0;
    while (same < pixels.size() && pixels[same] == picture.rows[same])
        same++;
    EXPECT_GT(same, 300u);
    for (size_t i = same; i < pixels.size(); i++)
        ASSERT_EQ(pixels[i], 0xA5);
}

TEST(Gif, SkipsExtensionsAndReportsTheAspect)
{
    TestDirectory directory;
    Picture picture = palettePicture(9, 9, 4, 2);
    GifOptions options{
        .paddingBytes = 4, .comment = "woven", .graphicControl = true, .application = true, .plainText = true};
    struct Case {
        u8 aspect;
        u32 resX, resY;
    };
    for (const Case& one : {Case{0, 0, 0}, Case{20, 0, 100000}, Case{48, 0, 100000}, Case{49, 100000, 100000},
                            Case{255, 400000, 100000}}) {
        options.aspect = one.aspect;
        Loaded loaded = load(directory.write(std::to_string(one.aspect) + ".gif", encodeGif(picture, options)));
        EXPECT_EQ(loaded.resX, one.resX);
        EXPECT_EQ(loaded.resY, one.resY);
        EXPECT_TRUE(loaded.pixels() == picture.rows);
    }
}

TEST(Gif, RefusesVariantsAndShortHeaders)
{
    TestDirectory directory;
    Picture picture = palettePicture(9, 9, 4, 2);
    int number = 0;
    auto status = [&](const Bytes& bytes) {
        return load(directory.write(std::to_string(number++) + ".gif", bytes), {.id = 1}).status;
    };
    EXPECT_EQ(status(encodeGif(picture, {.interlaced = true})), loadUnsupportedVariant);
    EXPECT_EQ(status(encodeGif(picture, {.localTable = true})), loadUnsupportedVariant);
    EXPECT_EQ(status(encodeGif(picture, {.globalTable = false, .localTable = true})), loadUnsupportedVariant);
    const Bytes good = encodeGif(picture, {.comment = "x"});
    const size_t blocks = 13 + 3 * 4;
    Bytes changed = good;
    changed[blocks + 1] = 0xFD; // an unknown label
    EXPECT_EQ(status(changed), loadBadData);
    changed[blocks] = 0x3B; // the trailer instead of a picture
    EXPECT_EQ(status(changed), loadUnsupportedVariant);
    Bytes flat = encodeGif(picture);
    flat[blocks + 5] = 0; // width
    EXPECT_EQ(status(flat), loadUnsupportedVariant);
    for (size_t length = 6; length < blocks + 15; length++)
        EXPECT_EQ(status(Bytes(good.begin(), good.begin() + static_cast<i64>(length))), loadCannotRead) << length;
    EXPECT_EQ(status({'G', 'I', 'F', '8', '7'}), loadWrongFormat);
    EXPECT_EQ(load(directory.path + "/missing.gif", {.id = 1}).status, loadWrongFormat);
}

TEST(Gif, IsHarmlessWhenDamaged)
{
    expectHarmless("d.gif", encodeGif(palettePicture(7, 9, 4, 3), {.comment = "x", .graphicControl = true}), 1);
}
