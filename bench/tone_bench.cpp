// Contrast and flattening of a picture of 12 megapixels against memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "samples/picture.h"
#include "tload.h"

static const i32 width = 4000;
static const i32 height = 3000;

// Of this thread: other programs do not count.
static double processorSeconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Runs work on a fresh copy of the picture, which is its own, in every round; the copying is not timed.
static void timeOnCopies(benchmark::State& state, const Picture& picture, u8* (*work)(u8*, const Picture&))
{
    for (auto _ : state) {
        auto* copy = static_cast<u8*>(malloc(picture.rows.size()));
        memcpy(copy, picture.rows.data(), picture.rows.size());
        const double start = processorSeconds();
        copy = work(copy, picture);
        state.SetIterationTime(processorSeconds() - start);
        free(copy);
    }
    state.SetBytesProcessed(static_cast<i64>(picture.rows.size()) * state.iterations());
}

static u8* stretch(u8* pixels, const Picture& picture)
{
    const i32 stride = static_cast<i32>(pictureRowBytes(picture));
    Picture withPalette{.kind = picture.kind, .palette = picture.palette};
    contrastStretch(pixels, stride, static_cast<i32>(picture.kind), width, height, withPalette.palette.data());
    return pixels;
}

template <int checkerboard>
static u8* flatten(u8* pixels, const Picture&)
{
    i32 stride = 4 * width;
    return collapseRGBA(pixels, width, height, &stride, checkerboard);
}

// Into memory that has been written to before, as the utilities find it.
static u8* copyAway(u8* pixels, const Picture& picture)
{
    static std::vector<u8> target;
    target.resize(picture.rows.size(), 1);
    memcpy(target.data(), pixels, picture.rows.size());
    return pixels;
}

// Levels from 40 to 199.
static Picture dullPicture(uint32_t kind)
{
    Picture picture = noisePicture(kind, width, height, kind == pictureIndexed ? 256 : 0, 1);
    for (u8& value : kind == pictureIndexed ? picture.palette : picture.rows)
        value = static_cast<u8>(40 + value % 160);
    return picture;
}

static const Picture& pictureOfKind(uint32_t kind)
{
    static const Picture pictures[] = {dullPicture(pictureIndexed), dullPicture(pictureRgb), dullPicture(pictureRgba)};
    return pictures[kind == pictureRgba ? 2 : kind - 1];
}

template <uint32_t kind, u8* (*work)(u8*, const Picture&)>
static void timeWork(benchmark::State& state)
{
    timeOnCopies(state, pictureOfKind(kind), work);
}

#define TONE_BENCHMARK(name, kind, work)                                                                               \
    BENCHMARK(timeWork<kind, work>)->Name(name)->UseManualTime()->Unit(benchmark::kMillisecond)

TONE_BENCHMARK("contrastStretch/RGB", pictureRgb, stretch);
TONE_BENCHMARK("contrastStretch/RGBA", pictureRgba, stretch);
TONE_BENCHMARK("contrastStretch/indexed", pictureIndexed, stretch);
TONE_BENCHMARK("collapseRGBA/white", pictureRgba, flatten<0>);
TONE_BENCHMARK("collapseRGBA/checkerboard", pictureRgba, flatten<1>);
TONE_BENCHMARK("memcpy/RGB", pictureRgb, copyAway);
TONE_BENCHMARK("memcpy/RGBA", pictureRgba, copyAway);
TONE_BENCHMARK("memcpy/indexed", pictureIndexed, copyAway);
