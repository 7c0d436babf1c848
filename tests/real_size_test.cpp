// Pictures drawn at their physical size.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "samples/plain_loops.h"
#include "tests/support.h"

static void render(Bytes& dst, const RealSizeCall& call)
{
    renderRealImg(dst.data(), call.dstStride, call.bytesPerPixel, call.x0, call.firstRow, call.width, call.rows,
                  call.y0, call.screenResX, call.screenResY, call.src, call.srcStride, call.srcWidth, call.srcHeight,
                  call.srcKind, call.palette, call.srcResX, call.srcResY, call.zoom);
}

// 9 rows of display pixels, each as large as one of the picture.
static RealSizeCall callFor(const Picture& picture, i32 bytesPerPixel, i32 width = 37)
{
    RealSizeCall call = {};
    call.bytesPerPixel = bytesPerPixel;
    call.width = width;
    call.rows = 9;
    call.dstStride = call.width * std::max(bytesPerPixel, 1) + 3;
    call.screenResX = call.screenResY = call.srcResX = call.srcResY = 60000;
    call.src = picture.rows.data();
    call.srcStride = static_cast<i32>(pictureRowBytes(picture));
    call.srcWidth = static_cast<i32>(picture.width);
    call.srcHeight = static_cast<i32>(picture.height);
    call.srcKind = static_cast<i32>(picture.kind);
    call.palette = picture.palette.data();
    call.zoom = 1;
    return call;
}

static Bytes untouched(const RealSizeCall& call)
{
    return Bytes(static_cast<size_t>(call.dstStride) * static_cast<size_t>(call.rows), 0xA5);
}

TEST(RealSize, DrawsWhatThePlainLoopDraws)
{
    u64 state = 1;
    auto upTo = [&](u32 most) { return 1 + static_cast<i32>(nextRandom(state) % most); };
    for (i32 round = 0; round < 1200; round++) {
        const u32 kind = nextRandom(state) % 3;
        const u32 largest = round % 4 == 0 ? 3 : 60;
        const Picture picture = noisePicture(kind, static_cast<u32>(upTo(largest)), static_cast<u32>(upTo(largest)),
                                             kind == kindIndexed ? 256 : 0, static_cast<u64>(round));
        RealSizeCall call = callFor(picture, 1 + upTo(3), round % 5 == 3 ? 63 + upTo(6) : 37);
        // From thousands of display pixels a picture pixel to the other way round, where jitters wrap.
        call.zoom = std::exp2(static_cast<float>(upTo(2600) - 1300) / 100.0F) * (round % 3 == 0 ? 1.0F : 0.8F);
        call.srcResY = upTo(120000);
        // Also below the origin, where positions are negative, and where they come round.
        const i32 spread = round % 5 == 0 ? INT32_MAX : 400;
        call.x0 = upTo(static_cast<u32>(spread)) - spread / 2 + (round % 7 == 0 ? 262140 : 0);
        call.y0 = upTo(static_cast<u32>(spread)) - spread / 2 + (round % 7 == 0 ? 262140 : 0);
        call.firstRow = upTo(100) - 50;
        Bytes expected = untouched(call), drawn = expected;
        srand48(round);
        plainRender(expected.data(), call);
        const double nextNumber = drand48();
        srand48(round);
        render(drawn, call);
        ASSERT_EQ(drand48(), nextNumber) << round;
        ASSERT_TRUE(drawn == expected) << round << " kind " << kind << " zoom " << call.zoom;
    }
}

TEST(RealSize, ShowsEveryPixelInSingleBytes)
{
    for (u32 kind : {kindBilevel, kindIndexed}) {
        const Picture picture = noisePicture(kind, 12, 5, 200, 3);
        RealSizeCall call = callFor(picture, 1);
        call.y0 = 30;
        call.firstRow = 2;
        Bytes drawn = untouched(call);
        render(drawn, call);
        for (u32 i = 0; i < 37 * 9; i++) {
            const u32 column = i % 37 % 12, row = 4 - (28 - i / 37) % 5;
            const u8* stored = picture.rows.data() + row * pictureRowBytes(picture);
            const u8 bilevel = (stored[column / 8] & 0x80 >> column % 8) != 0 ? 255 : 254;
            ASSERT_EQ(drawn[i / 37 * 40 + i % 37], kind == kindIndexed ? stored[column] : bilevel) << i;
        }
    }
}

TEST(RealSize, DrawsNothingFromWhatMakesNoSense)
{
    const Picture picture = noisePicture(kindIndexed, 6, 6, 9, 1);
    void (*const spoil[])(RealSizeCall&) = {
        [](RealSizeCall& call) { call.bytesPerPixel = 5; }, [](RealSizeCall& call) { call.srcWidth = 0; },
        [](RealSizeCall& call) { call.screenResX = 0; },    [](RealSizeCall& call) { call.zoom = NAN; },
        [](RealSizeCall& call) { call.zoom = 1e-9F; },      [](RealSizeCall& call) { call.palette = nullptr; },
    };
    for (const auto& change : spoil) {
        RealSizeCall call = callFor(picture, 4);
        Bytes drawn = untouched(call);
        change(call);
        render(drawn, call);
        EXPECT_EQ(drawn, untouched(callFor(picture, 4))) << &change - spoil;
    }
}
