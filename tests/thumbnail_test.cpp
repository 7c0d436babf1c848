// Small pictures of files: their proportions, the mean of the light, and rows that are read a few at a time.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

#include "loomfile.hpp"
#include "samples/bmp_writer.h"
#include "samples/gif_writer.h"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"
#include "samples/tiff_writer.h"
#include "tests/support.h"

using std::string;

namespace
{

struct Thumbnails : testing::Test {
    TestDirectory files;
    LoomfileThumbnailOptions options = loomfileThumbnailOptions();

    loomfile::Thumbnail draw(const string& name, const Bytes& bytes, LoomfileOptions opening = loomfileOptions())
    {
        opening.libtloadOnly = 1;
        loomfile::File file(files.write(name, bytes), opening);
        return loomfile::Thumbnail(file, options);
    }
    string sizeOf(const string& name, const Bytes& bytes)
    {
        const loomfile::Thumbnail made = draw(name, bytes);
        return std::to_string(made.width) + " x " + std::to_string(made.height);
    }
};

double light(double byte)
{
    const double share = byte / 255;
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

double byteOf(double light)
{
    return 255 * (light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

std::array<u8, 4> rgbaOf(const Picture& picture, u32 x, u32 y)
{
    const u8* row = &picture.rows[pictureRowBytes(picture) * y];
    if (picture.kind == pictureBilevel) {
        const u8 level = isDark(picture, x, y) ? 0 : 255;
        return {level, level, level, 255};
    }
    if (picture.kind == pictureRgba)
        return {row[4 * x], row[4 * x + 1], row[4 * x + 2], row[4 * x + 3]};
    const u8* rgb = picture.kind == pictureIndexed ? &picture.palette[3 * size_t{row[x]}] : row + 3 * size_t{x};
    return {rgb[0], rgb[1], rgb[2], 255};
}

// As it is defined: pixel by pixel, each as far as it lies in the area.
Bytes plainMean(const Picture& picture, u32 width, u32 height)
{
    Bytes pixels;
    auto overlap = [](double pixel, double from, double to) {
        return std::max(0.0, std::min(pixel + 1, to) - std::max(pixel, from));
    };
    const double scaleX = double(picture.width) / width, scaleY = double(picture.height) / height;
    for (u32 j = 0; j < height; j++)
        for (u32 i = 0; i < width; i++) {
            double sums[3] = {}, alpha = 0;
            for (u32 y = u32(j * scaleY); y < std::min((j + 1) * scaleY, double(picture.height)); y++)
                for (u32 x = u32(i * scaleX); x < std::min((i + 1) * scaleX, double(picture.width)); x++) {
                    const auto rgba = rgbaOf(picture, x, y);
                    const double weight = rgba[3] / 255.0 * overlap(x, i * scaleX, (i + 1) * scaleX) *
                                          overlap(y, j * scaleY, (j + 1) * scaleY);
                    for (u32 channel = 0; channel < 3; channel++)
                        sums[channel] += weight * light(rgba[channel]);
                    alpha += weight;
                }
            for (const double sum : sums)
                pixels.push_back(static_cast<u8>(alpha > 0 ? std::lround(byteOf(sum / alpha)) : 0));
            pixels.push_back(static_cast<u8>(std::lround(255 * alpha / scaleX / scaleY)));
        }
    return pixels;
}

} // namespace

TEST_F(Thumbnails, HaveTheProportionsOfTheDesign)
{
    struct Case {
        u32 width, height, side;
        PngOptions png;
        double endsPerCm, picksPerCm;
        const char* size;
    };
    const Case cases[] = {
        {300, 200, 0, {}, 0, 0, "256 x 171"},
        {200, 300, 100, {}, 0, 0, "67 x 100"},
        {300, 200, 0, {}, 30, 60, "256 x 85"},
        {300, 200, 0, {.resolution = {{5000, 2500, 1}}}, 1, 1, "192 x 256"}, // what the file tells counts
        {300, 200, 0, {.texts = {{"MulX", "1"}, {"MulY", "3"}}}, 0, 0, "128 x 256"},
        {300, 200, 0, {.resolution = {{3000, 3000, 1}}, .texts = {{"MulX", "2"}, {"MulY", "1"}}}, 0, 0, "256 x 85"},
        {500, 1, 0, {}, 0, 0, "256 x 1"},
        {16, 16, 0, {}, 0, 0, "256 x 256"}, // whole multiples where there is room
        {100, 60, 0, {}, 0, 0, "200 x 120"},
        {16, 16, 40, {}, 40, 20, "16 x 32"},
    };
    for (const Case& one : cases) {
        options.side = one.side;
        options.endsPerCm = one.endsPerCm;
        options.picksPerCm = one.picksPerCm;
        EXPECT_EQ(sizeOf("a.png", encodePng(flatPicture(pictureRgb, one.width, one.height, 9), one.png)), one.size)
            << one.width << " x " << one.height;
    }
    loomfile::File file(files.path + "/a.png");
    u32 width = 0, height = 0;
    for (auto [side, sett] : {std::pair(4097u, 1.0), {1u, -1.0}, {1u, std::nan("")}}) {
        options.side = side;
        options.endsPerCm = sett;
        EXPECT_EQ(loomfileGetThumbnailSize(file.get(), &options, &width, &height), loadBadData);
    }
    u8 pixels[4 * 256 * 256];
    EXPECT_EQ(loomfileDrawThumbnail(file.get(), nullptr, pixels, 4 * 256 - 1, nullptr), loadBadData);
}

// A third of the light of white looks like 156, half of it like 188.
TEST_F(Thumbnails, AreTheMeanOfTheLight)
{
    options.side = 2;
    Picture picture = blankPicture(pictureRgb, 3, 1);
    picture.rows = {0, 0, 0, 255, 255, 255, 255, 255, 255};
    EXPECT_EQ(draw("a.bmp", encodeBmp(picture)).pixels, (Bytes{156, 156, 156, 255, 255, 255, 255, 255}));
    options.side = 1;
    picture.width = 2;
    picture.rows = {255, 0, 0, 0, 0, 255};
    EXPECT_EQ(draw("a.bmp", encodeBmp(picture)).pixels, (Bytes{188, 0, 188, 255}));
    // Nobody sees what colour a transparent pixel has.
    picture.kind = pictureRgba;
    picture.rows = {255, 10, 0, 255, 0, 255, 0, 0};
    EXPECT_EQ(draw("a.png", encodePng(picture)).pixels, (Bytes{255, 10, 0, 128}));
}

TEST_F(Thumbnails, AreDrawnAsPixelByPixel)
{
    std::mt19937 random(3);
    for (u32 round = 0; round < 60; round++) {
        const u32 kind = std::array{pictureBilevel, pictureIndexed, pictureRgb, pictureRgba}[round % 4];
        Picture picture =
            noisePicture(kind, 1 + random() % 90, 1 + random() % 90, kind == pictureIndexed ? 20 : 0, round);
        if (round % 8 < 4) // steps of the byte in the dark are small
            for (u8& byte : picture.rows)
                byte = kind == pictureRgb ? byte % 16 : byte;
        options.side = 1 + random() % 60;
        const loomfile::Thumbnail made =
            draw(round % 3 == 0 && kind == pictureIndexed ? "a.gif" : "a.png",
                 round % 3 == 0 && kind == pictureIndexed ? encodeGif(picture) : encodePng(picture));
        const Bytes expected = plainMean(picture, made.width, made.height);
        ASSERT_EQ(made.pixels.size(), expected.size());
        for (size_t i = 0; i < expected.size(); i++) // nearly transparent colours are cut in another place
            ASSERT_NEAR(made.pixels[i], expected[i], expected[i | 3] < 5 ? 255 : 1) << round << ", " << i;
    }
    // A scan: many rows of two colours.
    options.side = 2;
    const Picture scan = noisePicture(pictureBilevel, 40, 1200, 0, 1);
    EXPECT_EQ(draw("a.tif", encodeTiff(scan)).pixels, plainMean(scan, 1, 2));
    EXPECT_EQ(draw("a.bmp", encodeBmp(scan)).pixels, plainMean(scan, 1, 2));
}

TEST_F(Thumbnails, ShowLiftsAsCloth)
{
    Picture weave = blankPicture(pictureBilevel, 32, 32);
    for (u32 i = 0; i < weave.rows.size(); i++)
        weave.rows[i] = i / 4 % 2 == 0 ? 0xAA : 0x55;
    // Crisp near by.
    const Bytes crisp = draw("a.qte", encodeQte(weave)).pixels;
    for (u32 i = 0; i < 256 * 256; i++) {
        const bool isUp = isDark(weave, i % 256 / 8, i / 256 / 8);
        ASSERT_EQ((Bytes{crisp.begin() + 4 * i, crisp.begin() + 4 * i + 4}),
                  isUp ? (Bytes{38, 52, 104, 255}) : (Bytes{243, 231, 206, 255}));
    }
    // And a tone from afar, half of the light of each yarn.
    options.side = 1;
    const Bytes tone = draw("a.qte", encodeQte(weave)).pixels;
    for (u32 i = 0; i < 3; i++)
        EXPECT_NEAR(tone[i], byteOf((light(crisp[i]) + light(crisp[4 * 8 + i])) / 2), 1);
    EXPECT_EQ(draw("a.bmp", encodeBmp(weave)).pixels, (Bytes{188, 188, 188, 255}));
    // Drafts that tell colours keep them.
    const string draft = "[WIF]\nVersion=1.1\n[WEAVING]\nShafts=2\nTreadles=2\n[WARP]\nThreads=2\n[WEFT]\nThreads=2\n"
                         "[THREADING]\n1=1\n2=2\n[TREADLING]\n1=1\n2=2\n[TIEUP]\n1=1\n2=2\n";
    const string colours = "[COLOR PALETTE]\nEntries=2\nRange=0,255\n[COLOR TABLE]\n1=0,0,0\n2=255,255,255\n"
                           "[WARP COLORS]\n1=1\n2=1\n[WEFT COLORS]\n1=2\n2=2\n";
    for (const auto& [text, mean] : {std::pair(draft, tone), {draft + colours, Bytes{188, 188, 188, 255}}}) {
        loomfile::File file(files.write("a.wif", text));
        EXPECT_EQ(loomfile::Thumbnail(file, options).pixels, mean) << text.size();
    }
}

// Where rows come in order the picture is never held, and where they turn out not to the whole is read all the same.
TEST_F(Thumbnails, ReadAFewRowsAtATime)
{
    const Picture picture = noisePicture(pictureRgb, 300, 400, 0, 1);
    LoomfileOptions opening = loomfileOptions();
    opening.mostBytes = 1000;
    const Bytes expected = draw("a.bmp", encodeBmp(picture)).pixels;
    EXPECT_EQ(draw("a.png", encodePng(picture), opening).pixels, expected);
    EXPECT_EQ(draw("a.tif", encodeTiff(picture, {.compression = 5}), opening).pixels, expected);
    const Picture indexed = noisePicture(pictureIndexed, 300, 400, 30, 1);
    EXPECT_EQ(draw("a.gif", encodeGif(indexed), opening).pixels, draw("b.bmp", encodeBmp(indexed)).pixels);
    EXPECT_THROW(draw("a.bmp", encodeBmp(picture), opening), loomfile::Error);
    const Bytes interlaced = encodePng(picture, {.interlaced = true});
    EXPECT_EQ(draw("b.png", interlaced).pixels, expected);

    Bytes damaged = encodeTiff(picture, {.compression = 5, .rowsPerStrip = 10});
    std::fill_n(damaged.begin() + 150000, 3000, u8{0xFF});
    for (const Bytes* bytes : std::initializer_list<const Bytes*>{&damaged, &interlaced}) {
        const string path = files.write("c", *bytes);
        loomfile::File file(path), other(path);
        const Bytes whole = file.readAll();
        Bytes rows(whole.size());
        const u32 rowBytes = file.info().rowBytes;
        for (u32 row = 0; row < 400; row += 16)
            other.readRows(&rows[u64{row} * rowBytes], 16);
        EXPECT_TRUE(rows == whole);
        EXPECT_EQ(whole == picture.rows, bytes == &interlaced);
        ASSERT_EQ(file.remarks().size(), other.remarks().size());
        for (size_t i = 0; i < file.remarks().size(); i++)
            EXPECT_EQ(file.remarks()[i].text, other.remarks()[i].text);
    }
}
