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

int main(int argc, char** argv)
{
    struct Work {
        const char* name;
        uint32_t kind;
        u8* (*work)(u8*, const Picture&);
    };
    const Work works[] = {{"contrastStretch/RGB", pictureRgb, stretch},
                          {"contrastStretch/RGBA", pictureRgba, stretch},
                          {"contrastStretch/indexed", pictureIndexed, stretch},
                          {"collapseRGBA/white", pictureRgba, flatten<0>},
                          {"collapseRGBA/checkerboard", pictureRgba, flatten<1>},
                          {"memcpy/RGB", pictureRgb, copyAway},
                          {"memcpy/RGBA", pictureRgba, copyAway},
                          {"memcpy/indexed", pictureIndexed, copyAway}};
    const Picture pictures[] = {dullPicture(pictureIndexed), dullPicture(pictureRgb), dullPicture(pictureRgba)};
    for (const Work& one : works) {
        const Picture& picture = pictures[one.kind == pictureRgba ? 2 : one.kind - 1];
        benchmark::RegisterBenchmark(one.name, timeOnCopies, picture, one.work)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
