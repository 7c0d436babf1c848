// A screen of cloth against the loop that takes one sample after the other, at several numbers of picture pixels a
// display pixel.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "samples/picture.h"
#include "samples/plain_loops.h"
#include "tload.h"

constexpr i32 screenWidth = 800;
constexpr i32 screenRows = 600;
constexpr i32 screenRes = 96000;
constexpr u32 pictureSize = 1000;

static RealSizeCall screenOf(const Picture& picture, i64 picturePixelsInHundred)
{
    const i32 resolution = static_cast<i32>(screenRes * picturePixelsInHundred / 100);
    return {.dstStride = 4 * screenWidth,
            .bytesPerPixel = 4,
            .x0 = 0,
            .firstRow = 0,
            .width = screenWidth,
            .rows = screenRows,
            .y0 = screenRows,
            .screenResX = screenRes,
            .screenResY = screenRes,
            .src = picture.rows.data(),
            .srcStride = static_cast<i32>(pictureRowBytes(picture)),
            .srcWidth = pictureSize,
            .srcHeight = pictureSize,
            .srcKind = static_cast<i32>(picture.kind),
            .palette = picture.palette.data(),
            .srcResX = resolution,
            .srcResY = resolution,
            .zoom = 1};
}

static void renderScreen(uint8_t* dst, const RealSizeCall& call)
{
    renderRealImg(dst, call.dstStride, call.bytesPerPixel, call.x0, call.firstRow, call.width, call.rows, call.y0,
                  call.screenResX, call.screenResY, call.src, call.srcStride, call.srcWidth, call.srcHeight,
                  call.srcKind, call.palette, call.srcResX, call.srcResY, call.zoom);
}

static void drawScreens(benchmark::State& state, u32 kind, void (*draw)(uint8_t* dst, const RealSizeCall& call))
{
    const Picture picture = noisePicture(kind, pictureSize, pictureSize, kind == pictureIndexed ? 256 : 0, 1);
    const RealSizeCall call = screenOf(picture, state.range());
    std::vector<uint8_t> screen(size_t{4} * screenWidth * screenRows);
    for (auto _ : state) {
        srand48(1);
        draw(screen.data(), call);
        benchmark::ClobberMemory();
    }
}

static void realSize(benchmark::State& state, u32 kind)
{
    drawScreens(state, kind, renderScreen);
}

static void realSizePlain(benchmark::State& state, u32 kind)
{
    drawScreens(state, kind, plainRender);
}

static void picturePixels(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgName("percent")->Arg(10)->Arg(63)->Arg(100)->Arg(250)->Arg(400)->Arg(1000)->Unit(
        benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(realSize, bilevel, pictureBilevel)->Apply(picturePixels);
BENCHMARK_CAPTURE(realSizePlain, bilevel, pictureBilevel)->Apply(picturePixels);
BENCHMARK_CAPTURE(realSize, indexed, pictureIndexed)->Apply(picturePixels);
BENCHMARK_CAPTURE(realSizePlain, indexed, pictureIndexed)->Apply(picturePixels);
BENCHMARK_CAPTURE(realSize, RGB, pictureRgb)->Apply(picturePixels);
BENCHMARK_CAPTURE(realSizePlain, RGB, pictureRgb)->Apply(picturePixels);
