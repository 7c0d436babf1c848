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
                    EXPECT_EQ(whole.format, formatGif);
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

// Codes that a decoder in step with them would read: ordinary ones, ones about to be defined, ones beyond, clear codes.
static Bytes inventedCodes(u32 minimumCodeSize, u32 colours, u64& state)
{
    const u32 clearCode = 1u << minimumCodeSize;
    const u32 style = nextRandom(state) % 6;
    const u32 count = nextRandom(state) % 3 == 0 ? 6000 : 300;
    u32 nextCode = clearCode + 2;
    u32 codeSize = minimumCodeSize + 1;
    u64 bits = 0;
    u32 filled = 0;
    Bytes bytes;
    for (u32 i = 0; i < count; i++) {
        const u32 candidates[] = {
            nextRandom(state) % nextCode,     nextCode,         nextCode - 1, nextRandom(state) % colours,
            nextCode + nextRandom(state) % 5, nextRandom(state)};
        u32 code = candidates[nextRandom(state) % 4 == 0 ? nextRandom(state) % 6 : style];
        if (i == 0 || nextRandom(state) % 200 == 0)
            code = clearCode;
        if (code == clearCode + 1 && nextRandom(state) % 8 != 0)
            code = 0;
        code &= (1u << codeSize) - 1;
        bits |= static_cast<u64>(code) << filled;
        for (filled += codeSize; filled >= 8; filled -= 8, bits >>= 8)
            bytes.push_back(static_cast<u8>(bits));
        if (code == clearCode) {
            codeSize = minimumCodeSize + 1;
            nextCode = clearCode + 2;
        } else if (++nextCode >= 1u << codeSize && codeSize < 12) {
            codeSize++;
        }
        nextCode = std::min(nextCode, 4096u);
    }
    bytes.push_back(static_cast<u8>(bits));
    return bytes;
}

static Bytes inSubBlocks(const Bytes& bytes, u64& state)
{
    const u32 largest = nextRandom(state) % 2 == 0 ? 255 : 1 + nextRandom(state) % 12;
    Bytes blocks;
    for (size_t at = 0; at < bytes.size();) {
        size_t size = std::min<size_t>(bytes.size() - at, 1 + nextRandom(state) % largest);
        blocks.push_back(static_cast<u8>(size));
        blocks.insert(blocks.end(), bytes.begin() + static_cast<i64>(at), bytes.begin() + static_cast<i64>(at + size));
        at += size;
    }
    blocks.push_back(0);
    return blocks;
}

TEST(Gif, DecodesDamagedAndSenselessCodesStepByStep)
{
    TestDirectory directory;
    u64 state = 12345;
    std::string file = directory.path + "/r.gif";
    for (int round = 0; round < 1500; round++) {
        const u32 tableBits = 1 + nextRandom(state) % 8;
        const u32 colours = 1u << tableBits;
        const u32 width = 1 + nextRandom(state) % (round % 2 == 0 ? 60 : 3000);
        const u32 height = 1 + nextRandom(state) % 40;
        u32 minimumCodeSize = nextRandom(state) % 2 == 0 ? std::max(2u, tableBits) : nextRandom(state) % 12;
        Bytes data = inSubBlocks(inventedCodes(minimumCodeSize, colours, state), state);
        data.insert(data.begin(), static_cast<u8>(round % 50 == 0 ? 12 : minimumCodeSize));
        for (u32 turned = nextRandom(state) % 3; turned > 0; turned--)
            data[1 + nextRandom(state) % (data.size() - 1)] ^= static_cast<u8>(1 << nextRandom(state) % 8);
        if (nextRandom(state) % 4 == 0)
            data.resize(nextRandom(state) % (data.size() + 1));

        Bytes bytes = encodeGif(flatPicture(kindIndexed, 1, 1, 0), {.tableBits = tableBits});
        bytes.resize(13 + 3 * colours + 10);
        for (size_t field : {bytes.size() - 5, bytes.size() - 3}) {
            const u32 value = field == bytes.size() - 5 ? width : height;
            bytes[field] = static_cast<u8>(value);
            bytes[field + 1] = static_cast<u8>(value >> 8);
        }
        bytes.insert(bytes.end(), data.begin(), data.end());
        directory.write("r.gif", bytes);

        GifReference reference(data, colours, width, height);
        OpenPicture picture(file, formatGif);
        ASSERT_EQ(picture.status, loadSuccess);
        ASSERT_EQ(picture.width, width);
        const u32 bandStyle = nextRandom(state) % 3;
        // Also calls behind a failure and behind the last row.
        for (int call = 0, failures = 0; call < 60 && failures < 3; call++) {
            const u32 count = bandStyle == 0 ? height : nextRandom(state) % (bandStyle == 1 ? 4 : height + 1);
            const u32 stride = nextRandom(state) % 8 != 0 ? width : nextRandom(state) % (width + 9);
            Bytes expected(static_cast<size_t>(count) * stride, 0xA5);
            Bytes rows = expected;
            const int status = reference.loadBand(expected.data(), count, stride);
            ASSERT_EQ(getLoadBand()(rows.data(), count, stride), status) << round << ", call " << call;
            ASSERT_TRUE(rows == expected) << round << ", call " << call;
            failures += status != loadSuccess ? 1 : 0;
        }
    }
}

TEST(Gif, SkipsExtensionsAndReportsTheAspect)
{
    TestDirectory directory;
    Picture picture = palettePicture(9, 9, 4, 2);
    GifOptions options{
        .paddingBytes = 4, .comment = "woven", .graphicControl = true, .application = true, .plainText = true};
    const std::array<u32, 3> aspects[] = {
        {0, 0, 0}, {20, 0, 100000}, {48, 0, 100000}, {49, 100000, 100000}, {255, 400000, 100000}};
    for (const auto& [aspect, resX, resY] : aspects) {
        options.aspect = static_cast<u8>(aspect);
        Loaded loaded = load(directory.write(std::to_string(aspect) + ".gif", encodeGif(picture, options)));
        EXPECT_EQ(std::pair(loaded.resX, loaded.resY), std::pair(resX, resY));
        EXPECT_TRUE(loaded.pixels() == picture.rows);
    }
}

TEST(Gif, RemarksOnWhatItMakesUpAndLeavesOut)
{
    TestDirectory directory;
    const size_t screen = 6, descriptor = 13 + 3 * 4, data = descriptor + 10;
    const Bytes good = encodeGif(palettePicture(40, 40, 4, 2));
    auto remarks = [&](const Bytes& bytes) {
        load(directory.write("a.gif", bytes));
        return remarkTexts();
    };
    EXPECT_EQ(remarks(good), "");
    Bytes changed = good;
    changed[screen] = 41;
    EXPECT_EQ(remarks(changed), "the background around the picture, a screen of 41 x 40, is left out\n");
    changed = good;
    changed[descriptor + 7] = 39; // a row less
    changed[screen + 2] = 39;
    EXPECT_EQ(remarks(changed), "the data go on behind the picture's last row\n");
    changed[descriptor + 7] = 41;
    EXPECT_EQ(remarks(changed), "!rows that the data lack, in full or in part, are left as they were: 1\n");
    for (const Bytes& next : {Bytes{0x2C}, Bytes{0x21, 0xF9}}) {
        changed = encodeGif(palettePicture(40, 40, 4, 2), {.graphicControl = true, .transparentIndex = 3});
        changed.pop_back();
        changed.insert(changed.end(), next.begin(), next.end());
        EXPECT_EQ(remarks(changed),
                  "the transparent colour 3 is delivered as an opaque one\nfurther pictures are not read\n");
    }
    // 3 x 1 pixels of the codes 4 (clear) and 1, and no more.
    Bytes ended = encodeGif(palettePicture(3, 1, 4, 2));
    ended.resize(data);
    ended.insert(ended.end(), {2, 1, 1 << 3 | 4, 0, 0x3B});
    EXPECT_EQ(remarks(ended), "!codes behind the end of the data are made up: 2\n");
    // The codes 4, 1, 1, 1, 4 (now of four bits) and, behind the picture, an end (of three again) or a pixel.
    for (u8 last : {0x0D, 1}) {
        ended.resize(data);
        ended.insert(ended.end(), {2, 6, 0x4C, 0x42, last, 0, 0, 0, 0, 0x3B});
        EXPECT_EQ(remarks(ended), last == 0x0D ? "" : "the data go on behind the picture's last row\n");
    }
}

TEST(Gif, RefusesVariantsAndShortHeaders)
{
    TestDirectory directory;
    Picture picture = palettePicture(9, 9, 4, 2);
    int number = 0;
    auto status = [&](const Bytes& bytes) {
        return load(directory.write(std::to_string(number++) + ".gif", bytes), {.id = formatGif}).status;
    };
    EXPECT_EQ(status(encodeGif(picture, {.interlaced = true})), loadUnsupportedVariant);
    EXPECT_STREQ(llibGetReason(), "interlaced");
    EXPECT_EQ(status(encodeGif(picture, {.localTable = true})), loadUnsupportedVariant);
    EXPECT_STREQ(llibGetReason(), "colours of the picture's own beside the global ones");
    EXPECT_EQ(status(encodeGif(picture, {.globalTable = false, .localTable = true})), loadUnsupportedVariant);
    EXPECT_STREQ(llibGetReason(), "without a global colour table");
    const Bytes good = encodeGif(picture, {.comment = "x", .graphicControl = true});
    const size_t blocks = 13 + 3 * 4;
    Bytes changed = good;
    changed[blocks] = 0x22;
    EXPECT_EQ(status(changed), loadUnsupportedVariant);
    EXPECT_STREQ(llibGetReason(), "a block of the unknown kind 0x22");
    changed = good;
    changed[blocks + 1] = 0xFD; // an unknown label
    EXPECT_EQ(status(changed), loadBadData);
    EXPECT_STREQ(llibGetReason(), "an extension of the unknown kind 0xFD");
    changed[blocks] = 0x3B; // the trailer instead of a picture
    EXPECT_EQ(status(changed), loadUnsupportedVariant);
    Bytes flat = encodeGif(picture);
    flat[blocks + 5] = 0; // width
    EXPECT_EQ(status(flat), loadUnsupportedVariant);
    for (size_t length = 6; length < blocks + 23; length++)
        EXPECT_EQ(status(Bytes(good.begin(), good.begin() + static_cast<i64>(length))), loadCannotRead) << length;
    EXPECT_EQ(status({'G', 'I', 'F', '8', '7'}), loadWrongFormat);
    EXPECT_EQ(load(directory.path + "/missing.gif", {.id = formatGif}).status, loadWrongFormat);
}
