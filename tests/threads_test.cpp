// Many threads at once, each with its own loader, settings and picture.
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

// A host may also begin a load while another one of the same loader was never ended.
TEST(Threads, ALoadThatWasNotEndedIsReplaced)
{
    TestDirectory directory;
    Picture motif = motifPicture(kindIndexed, 60, 40);
    const Bytes encoded[] = {encodeGif(motif, {.paddingBytes = 4}), encodePng(motif), encodeBmp(motif),
                             encodeJpeg(motif)};
    int descriptors = openDescriptors();
    for (const Bytes& bytes : encoded) {
        std::string file = directory.write("a", bytes);
        for (int round = 0; round < 3; round++) {
            OpenPicture picture(file, formatDetect);
            ASSERT_EQ(picture.status, loadSuccess);
            picture.isEnded = false;
        }
        EXPECT_EQ(openDescriptors(), descriptors + 1);
        EXPECT_EQ(getEndLoad()(), 0);
        EXPECT_EQ(openDescriptors(), descriptors);
    }
}
