#include "samples/jpeg_writer.h"

#include <gtest/gtest.h>

#include <cstdio>

#include <jpeglib.h>

#include "tests/support.h"

// What the decoding library itself makes of a file, in a colour space and with a number of palette colours.
static Bytes decoded(const Bytes& bytes, J_COLOR_SPACE space, int colours)
{
    jpeg_decompress_struct decoder;
    jpeg_error_mgr errors;
    decoder.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decoder);
    jpeg_mem_src(&decoder, bytes.data(), bytes.size());
    jpeg_read_header(&decoder, TRUE);
    decoder.out_color_space = space;
    if (colours > 0) {
        decoder.quantize_colors = TRUE;
        decoder.desired_number_of_colors = colours;
        decoder.two_pass_quantize = colours == 128;
        if (colours == 128)
            decoder.dither_mode = JDITHER_NONE;
    }
    jpeg_start_decompress(&decoder);
    size_t rowBytes = static_cast<size_t>(decoder.output_width) * static_cast<size_t>(decoder.output_components);
    Bytes pixels(rowBytes * decoder.output_height);
    while (decoder.output_scanline < decoder.output_height) {
        u8* row = pixels.data() + rowBytes * decoder.output_scanline;
        jpeg_read_scanlines(&decoder, &row, 1);
    }
    for (int i = 0; i < colours; i++) {
        for (int channel = 0; channel < 3; channel++)
            pixels.push_back(decoder.colormap[decoder.out_color_components == 3 ? channel : 0][i]);
    }
    jpeg_destroy_decompress(&decoder);
    return pixels;
}

TEST(Jpeg, DeliversColourAndGrey)
{
    TestDirectory directory;
    Picture picture = motifPicture(kindRGB, 83, 61);
    for (bool progressive : {false, true}) {
        Bytes colour = encodeJpeg(picture, {.progressive = progressive});
        std::string file = directory.write(progressive ? "p.jpg" : "c.jpg", colour);
        Loaded loaded = load(file);
        EXPECT_EQ(loaded.format, 4);
        EXPECT_EQ(loaded.numbers(), (std::vector<u32>{kindRGB, 83, 61, 0, 0, 1, 1, 1, 0}));
        EXPECT_EQ(loaded.description, "JPEG");
        EXPECT_EQ(loaded.bandStatus, loadSuccess);
        EXPECT_TRUE(loaded.pixels() == decoded(colour, JCS_RGB, 0));
        Loaded bands = load(file, {.bands = {1, 30, 0, 30}, .extraStride = 4});
        EXPECT_TRUE(bands.pixels() == loaded.pixels());
        EXPECT_EQ(bands.rows.back(), 0xA5);
        Loaded narrow = load(file, {.extraStride = -10});
        EXPECT_TRUE(std::equal(narrow.rows.begin() + 239, narrow.rows.begin() + 2 * 239, loaded.rows.begin() + 249));

        // A caller that presets kind 1 gets a palette of at most 128 colours.
        Bytes expected = decoded(colour, JCS_RGB, 128);
        Loaded reduced = load(file, {.kindOnEntry = kindIndexed});
        EXPECT_EQ(reduced.kind, static_cast<u32>(kindIndexed));
        Bytes answer = reduced.pixels();
        answer.insert(answer.end(), reduced.palette.begin(), reduced.palette.begin() + 3 * 128);
        EXPECT_TRUE(answer == expected);
    }

    Bytes grey = encodeJpeg(picture, {.colours = JpegColours::grey});
    Loaded loaded = load(directory.write("g.jpg", grey));
    EXPECT_EQ(loaded.kind, static_cast<u32>(kindIndexed));
    Bytes answer = loaded.pixels();
    answer.insert(answer.end(), loaded.palette.begin(), loaded.palette.end());
    EXPECT_TRUE(answer == decoded(grey, JCS_GRAYSCALE, 256));
}

TEST(Jpeg, TurnsCmykIntoRgb)
{
    TestDirectory directory;
    Picture picture = motifPicture(kindRGB, 40, 33);
    for (JpegColours colours : {JpegColours::cmyk, JpegColours::cmykAsYellowBlue}) {
        Bytes bytes = encodeJpeg(picture, {.colours = colours});
        Bytes inks = decoded(bytes, JCS_CMYK, 0);
        std::string file = directory.write(colours == JpegColours::cmyk ? "a.jpg" : "b.jpg", bytes);
        for (u32 kindOnEntry : {kindRGB, kindIndexed}) {
            for (i64 extraStride : {3, 0, -5}) {
                Loaded loaded = load(file, {.kindOnEntry = kindOnEntry, .bands = {10, 23}, .extraStride = extraStride});
                EXPECT_EQ(loaded.kind, static_cast<u32>(kindRGB));
                for (u64 y = 0; y < 33; y++) {
                    for (u64 i = 0; i < std::min(loaded.rowBytes, loaded.stride); i++) {
                        const u8* ink = inks.data() + 4 * (y * 40 + i / 3);
                        ASSERT_EQ(loaded.rows[y * loaded.stride + i], ink[i % 3] * ink[3] >> 8);
                    }
                }
            }
        }
    }
}

TEST(Jpeg, ReportsDotsPerInchOnly)
{
    TestDirectory directory;
    for (u8 unit : {0, 1, 2}) {
        Bytes bytes =
            encodeJpeg(flatPicture(kindRGB, 9, 9, 80), {.densityUnit = unit, .densityX = 300, .densityY = 65535});
        Loaded loaded = load(directory.write(std::to_string(unit) + ".jpg", bytes));
        EXPECT_EQ(loaded.resX, unit == 1 ? 300000u : 0u);
        EXPECT_EQ(loaded.resY, unit == 1 ? 65535000u : 0u);
    }
}

TEST(Jpeg, HandlesPartialLoadsAndDamage)
{
    TestDirectory directory;
    Bytes bytes = encodeJpeg(noisePicture(kindRGB, 64, 64, 0, 4));
    std::string file = directory.write("a.jpg", bytes);
    int descriptors = openDescriptors();
    testing::internal::CaptureStderr(); // the decoding library's own messages

    Loaded probed = load(file, {.wantPalette = 0});
    EXPECT_EQ(probed.bandStatus, loadDecoderError);
    EXPECT_EQ(load(file, {.bands = {3}}).bandStatus, loadSuccess); // ended before all rows were read
    EXPECT_EQ(load(file, {.bands = {64, 1}}).bandStatus, loadSuccess);

    Loaded cut =
        load(directory.write("cut.jpg", Bytes(bytes.begin(), bytes.begin() + static_cast<i64>(bytes.size() / 2))));
    EXPECT_EQ(cut.bandStatus, loadSuccess);
    i32 grave = 0;
    EXPECT_STREQ(llibGetRemark(0, &grave), "the decoder made data up: Premature end of JPEG file");
    EXPECT_EQ(grave, 1);
    Bytes header(bytes.begin(), bytes.begin() + 8);
    EXPECT_EQ(load(directory.write("header.jpg", header), {.id = formatJpeg}).status, loadWrongFormat);
    EXPECT_STREQ(llibGetReason(), "JPEG datastream contains no image");
    // What a handler gets is not printed.
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    std::string heard;
    llibSetMessageHandler([](void* text, const char* message) { *static_cast<std::string*>(text) += message; }, &heard);
    load(directory.path + "/cut.jpg");
    llibSetMessageHandler(nullptr, nullptr);
    EXPECT_EQ(heard, "Premature end of JPEG file");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Jpeg, TellsOrientationAndQuantizedGrey)
{
    TestDirectory directory;
    const Bytes colour = encodeJpeg(flatPicture(kindRGB, 9, 9, 80));
    Bytes exif = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, '*', 0, 0, 0, 8,
                  0,    1,    1, 18, 0,   3,   0,   0,   0, 1, 0,   6,   0, 0,   0, 0, 0, 0};
    constexpr size_t lastOfDirectory = 17; // the offset's lowest byte
    auto remarked = [&](const Bytes& bytes) {
        EXPECT_EQ(load(directory.write("a.jpg", bytes)).bandStatus, loadSuccess);
        return std::string(llibGetRemark(0, nullptr));
    };
    auto withExif = [&] {
        Bytes bytes = colour;
        bytes.insert(bytes.begin() + 2, exif.begin(), exif.end());
        return bytes;
    };
    EXPECT_EQ(remarked(colour), "");
    EXPECT_EQ(remarked(withExif()), "the picture is not turned as its orientation 6 asks for");
    for (u8 offset : {9, 25, 200}) { // the directory lies elsewhere, and in part or whole behind the segment
        exif[lastOfDirectory] = offset;
        EXPECT_EQ(remarked(withExif()), "") << int{offset};
    }
    exif[lastOfDirectory] = 8;
    exif[4] = 'X';
    EXPECT_EQ(remarked(withExif()), "");
    Bytes inks = encodeJpeg(flatPicture(kindRGB, 9, 9, 80), {.colours = JpegColours::cmyk});
    const char mark[] = "Adobe";
    std::search(inks.begin(), inks.end(), mark, mark + 5)[0] = 'B';
    EXPECT_EQ(remarked(inks), "its inks are taken for inverted ones, of which it tells nothing");
    EXPECT_EQ(remarked(encodeJpeg(flatPicture(kindRGB, 9, 9, 80), {.colours = JpegColours::grey})),
              "levels of grey pass through the decoder's quantizer and may be off by one");
}
