// A frame of 1920 x 1080 pixels of a jacquard of 10,000 hooks and as many picks, from far and near, and the same drawn
// pixel by pixel.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/reference/cloth_reference.h"
#include "samples/motif.h"

constexpr u32 frameWidth = 1920;
constexpr u32 frameHeight = 1080;

// Five designs of 2000 side by side and on top of each other.
static const Cloth& jacquard()
{
    static const std::unique_ptr<Cloth> cloth = [] {
        constexpr u32 size = 10000, repeat = 2000, rowBytes = size / 8;
        ClothDesign design;
        design.ends = design.picks = size;
        design.weave.resize(u64{size} * rowBytes);
        for (u32 y = 0; y < size; y++)
            for (u32 x = 0; x < size; x++)
                if (y < repeat && x < repeat && motifDark(x, y, repeat, repeat))
                    design.weave[u64{y} * rowBytes + x / 8] |= static_cast<u8>(0x80 >> x % 8);
        for (u32 y = 0; y < size; y++)
            for (u32 i = y < repeat ? repeat / 8 : 0; i < rowBytes; i++)
                design.weave[u64{y} * rowBytes + i] = design.weave[u64{y % repeat} * rowBytes + i % (repeat / 8)];
        design.warp = {38, 52, 104};
        design.weft = {243, 231, 206};
        return std::make_unique<Cloth>(std::move(design));
    }();
    return *cloth;
}

using DrawFunction = void (*)(const Cloth&, const ClothView&, u32, u32, u8*, u64, u32);

static void drawFast(const Cloth& cloth, const ClothView& view, u32 first, u32 count, u8* rows, u64 stride, u32 bytes)
{
    drawCloth(cloth, view, first, count, rows, stride, bytes);
}

static void drawFrame(benchmark::State& state, DrawFunction draw)
{
    const Cloth& cloth = jacquard();
    const double pixelsAnEnd = static_cast<double>(state.range()) / 100;
    ClothView view = {123.4, 234.5, pixelsAnEnd, 0.98 * pixelsAnEnd, frameWidth};
    std::vector<u8> frame(u64{4} * frameWidth * frameHeight);
    for (auto _ : state) {
        draw(cloth, view, 0, frameHeight, frame.data(), u64{4} * frameWidth, 4);
        view.left += 0.37; // as a viewer pans it
        benchmark::DoNotOptimize(frame.data());
    }
    state.counters["frames"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

static void makeJacquard(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(std::make_unique<Cloth>(jacquard().design));
}

// Hundredths of a pixel an end.
static void zooms(benchmark::internal::Benchmark* frames)
{
    for (const i64 zoom : {2, 10, 25, 40, 50, 70, 99, 101, 150, 199, 210, 300, 400, 800, 2000, 4000})
        frames->Arg(zoom);
    frames->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(drawFrame, cloth, &drawFast)->Apply(zooms);
BENCHMARK_CAPTURE(drawFrame, plain, &plainCloth)
    ->Arg(10)
    ->Arg(70)
    ->Arg(150)
    ->Arg(300)
    ->Arg(800)
    ->Arg(4000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(makeJacquard)->Unit(benchmark::kMillisecond);
