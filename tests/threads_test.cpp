// What holds for every picture loader: threads share nothing, damage does no harm.
#include <gtest/gtest.h>

#include <thread>

#include "samples/bmp_writer.h"
#include "samples/gif_writer.h"
#include "samples/jpeg_writer.h"
#include "samples/png_writer.h"
#include "tests/support.h"

TEST(Threads, ShareNothing)
{
    TestDirectory directory;
    Picture picture = motifPicture(kindIndexed, 120, 90);
    const std::string files[] = {
        directory.write("a.gif", encodeGif(picture, {.paddingBytes = 4})),
        directory.write("a.png", encodePng(noisePicture(kindRGBA, 100, 70, 0, 1), {.interlaced = true})),
        directory.write("a.jpg", encodeJpeg(motifPicture(kindRGB, 90, 90))),
        directory.write("a.bmp", encodeBmp(picture))};
    Loaded alone[4];
    for (size_t i = 0; i < 4; i++) {
        alone[i] = load(files[i]);
        ASSERT_EQ(alone[i].bandStatus, loadSuccess);
    }

    std::vector<std::thread> threads;
    for (size_t number = 0; number < 16; number++) {
        threads.emplace_back([&, number] {
            std::string own = "/tmp/" + std::to_string(number);
            llibSetTmpDir(own.c_str());
            setDefaultMappingJC4(static_cast<u32>(number));
            for (size_t round = 0; round < 12; round++) {
                const Loaded& expected = alone[(number + round) % 4];
                Loaded loaded = load(files[(number + round) % 4]);
                EXPECT_EQ(loaded.format, expected.format);
                EXPECT_TRUE(loaded.rows == expected.rows);
                EXPECT_TRUE(loaded.palette == expected.palette);
                EXPECT_EQ(llibGetTmpDir(), own);
                EXPECT_EQ(std::string(baseName(dirName((own + "/x").c_str()))), std::to_string(number));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Pictures, AreHarmlessWhenDamaged)
{
    testing::internal::CaptureStderr(); // the decoding libraries' own messages
    Picture indexed = noisePicture(kindIndexed, 9, 5, 2, 1);
    expectHarmless("d.bmp", encodeBmp(indexed, {.bits = 4}), 23);
    expectHarmless("d.gif", encodeGif(indexed, {.comment = "x", .graphicControl = true}), 1);
    expectHarmless("d.png", encodePng(indexed, {.interlaced = true, .paletteAlphas = {1, 2}}), 2);
    expectHarmless("d.jpg", encodeJpeg(indexed, {.progressive = true}), 4);
    testing::internal::GetCapturedStderr();
}
