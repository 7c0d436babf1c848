// Quantization and dithering against Pillow (python3-pil) and ImageMagick, which get the same picture in the same run
// and are charged for their processor time without that of reading it.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "bench/reference/quantize_reference.h"
#include "samples/picture.h"

using Bytes = std::vector<u8>;

struct Photo {
    i32 width, height;
    Picture picture;
    Bytes indices;
    u8 palette[768] = {}; // as colorQuantize finds it

    explicit Photo(i32 megapixels)
    {
        width = static_cast<i32>(std::lround(std::sqrt(megapixels * 1e6)));
        height = static_cast<i32>(megapixels * 1e6 / width);
        picture = photoPicture(static_cast<u32>(width), static_cast<u32>(height), 1);
        indices.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
        i32 count = 256;
        colorQuantize(rgb(), 3 * width, nullptr, 0, width, height, palette, 0, &count);
    }
    const u8* rgb() const { return picture.rows.data(); }
    double pixels() const { return static_cast<double>(indices.size()); }
};

static Photo& photoOf(i64 megapixels)
{
    static std::map<i64, Photo> photos;
    return photos.try_emplace(megapixels, static_cast<i32>(megapixels)).first->second;
}

// A value a pixel and channel.
static double meanSquaredError(const Photo& photo, const u8* palette)
{
    double sum = 0;
    for (size_t i = 0; i < photo.indices.size(); i++)
        for (size_t c = 0; c < 3; c++) {
            const double difference = photo.rgb()[3 * i + c] - palette[3 * size_t{photo.indices[i]} + c];
            sum += difference * difference;
        }
    return sum / photo.pixels() / 3;
}

static void reportPixels(benchmark::State& state, double pixels)
{
    state.counters["per_pixel"] =
        benchmark::Counter(pixels, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

static void quantize(benchmark::State& state, decltype(colorQuantize)* run)
{
    Photo& photo = photoOf(state.range(0));
    u8 palette[768] = {};
    for (auto _ : state) {
        i32 count = 256;
        run(photo.rgb(), 3 * photo.width, photo.indices.data(), photo.width, photo.width, photo.height, palette, 0,
            &count);
    }
    reportPixels(state, photo.pixels());
    state.counters["error"] = meanSquaredError(photo, palette);
}

static void dither(benchmark::State& state, decltype(colorQuantizeDitherFS)* run, i32 noise)
{
    Photo& photo = photoOf(state.range(0));
    for (auto _ : state)
        run(photo.rgb(), 3 * photo.width, photo.indices.data(), photo.width, photo.width, photo.height, photo.width,
            photo.height, photo.palette, 256, 16, noise);
    reportPixels(state, photo.pixels());
    state.counters["error"] = meanSquaredError(photo, photo.palette);
}

static void remap(benchmark::State& state)
{
    Photo& photo = photoOf(state.range(0));
    for (auto _ : state)
        trueColorRemapToCmap(photo.rgb(), 3 * photo.width, photo.indices.data(), photo.width, photo.width, photo.height,
                             photo.palette, 256, 0);
    reportPixels(state, photo.pixels());
}

static u64 referenceQuantize(const u8* rgb, i32 rgbStride, u8* indexOut, i32 indexStride, i32 width, i32 height,
                             u8* palette, i32 fixedCount, i32* colourCount)
{
    reference::colorQuantize(rgb, rgbStride, indexOut, indexStride, width, height, palette, fixedCount, colourCount);
    return 0;
}

// Seconds of processor time and the mean squared error, as the script prints them about the picture in photo.ppm.
static constexpr const char* pillow = R"(
import sys, time
from PIL import Image, ImageChops, ImageStat
picture = Image.open('photo.ppm')
picture.load()
palette = Image.new('P', (1, 1))
palette.putpalette(open('palette.ppm', 'rb').read()[-768:])
def quantize():
    if sys.argv[1] == 'median':
        return picture.quantize(256, method=Image.MEDIANCUT, dither=0)
    return picture.quantize(palette=palette, dither=1)
start = time.process_time()
result = quantize()
seconds = time.process_time() - start
sums = ImageStat.Stat(ImageChops.difference(picture, result.convert('RGB'))).sum2
print(seconds, sum(sums) / picture.width / picture.height / 3)
)";

struct PeerFolder {
    std::string path = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";

    explicit PeerFolder(const Photo& photo)
    {
        const std::string script = pillow;
        if (mkdtemp(path.data()) == nullptr || !writeFile(path + "/script", {script.begin(), script.end()}))
            abort();
        write("photo.ppm", photo.width, photo.height, photo.rgb());
        write("palette.ppm", 256, 1, photo.palette);
    }
    void write(const char* name, i32 width, i32 height, const u8* rgb) const
    {
        const std::string head = "P6 " + std::to_string(width) + " " + std::to_string(height) + " 255\n";
        Bytes bytes(head.begin(), head.end());
        bytes.insert(bytes.end(), rgb, rgb + i64{3} * width * height);
        if (!writeFile(path + "/" + name, bytes))
            abort();
    }
    ~PeerFolder() { std::filesystem::remove_all(path); }
};

static void runPillow(benchmark::State& state, const char* what)
{
    const Photo& photo = photoOf(state.range(0));
    const PeerFolder folder(photo);
    const std::string command = "cd " + folder.path + " && /usr/bin/python3 script " + what;
    for (auto _ : state) {
        double seconds = 0, error = 0;
        FILE* pipe = popen(command.c_str(), "r");
        if (pipe == nullptr || fscanf(pipe, "%lf %lf", &seconds, &error) != 2)
            state.SkipWithError("Pillow (python3-pil) is not installed");
        if (pipe != nullptr)
            pclose(pipe);
        state.SetIterationTime(seconds);
        state.counters["error"] = error;
    }
    reportPixels(state, photo.pixels());
}

// Processor time of a command; below 0 when it fails.
static double secondsOf(const std::string& command)
{
    auto childSeconds = [] {
        rusage usage = {};
        getrusage(RUSAGE_CHILDREN, &usage);
        auto seconds = [](timeval time) {
            return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
        };
        return seconds(usage.ru_utime) + seconds(usage.ru_stime);
    };
    const double before = childSeconds();
    return system(command.c_str()) == 0 ? childSeconds() - before : -1;
}

// What the options take beyond reading the picture.
static void runImageMagick(benchmark::State& state, const char* options)
{
    const Photo& photo = photoOf(state.range(0));
    const PeerFolder folder(photo);
    const std::string read = "cd " + folder.path + " && /usr/bin/convert -limit thread 1 photo.ppm ";
    for (auto _ : state) {
        const double reading = secondsOf(read + "null:");
        const double everything = secondsOf(read + options + " null:");
        if (reading < 0 || everything < 0)
            state.SkipWithError("ImageMagick is not installed");
        state.SetIterationTime(everything - reading);
    }
    reportPixels(state, photo.pixels());
}

// 12 megapixels in so many colours.
static const Picture& fewColours(u32 colours)
{
    static std::map<u32, Picture> pictures;
    Picture& picture = pictures[colours];
    if (picture.rows.empty())
        picture = noisePicture(pictureRgb, 4000, 3000, colours, 1);
    return picture;
}

static void readPixels(benchmark::State& state)
{
    const Picture& picture = fewColours(static_cast<u32>(state.range(0)));
    for (auto _ : state) {
        u32 sum = 0;
        for (size_t i = 0; i < picture.rows.size(); i += 3)
            sum += u32{picture.rows[i]} << 16 | u32{picture.rows[i + 1]} << 8 | picture.rows[i + 2];
        benchmark::DoNotOptimize(sum);
    }
    reportPixels(state, 12e6);
}

static void checkPalette(benchmark::State& state, decltype(checkTrueColorPalette)* run)
{
    const Picture& picture = fewColours(static_cast<u32>(state.range(0)));
    u8 palette[768];
    for (auto _ : state)
        if (run(picture.rows.data(), 12000, 4000, 3000, palette) != state.range(0))
            state.SkipWithError("another number of colours");
    reportPixels(state, 12e6);
}

#define BENCHMARK_MS(...) BENCHMARK_CAPTURE(__VA_ARGS__)->Unit(benchmark::kMillisecond)
BENCHMARK_MS(quantize, tload, colorQuantize)->Arg(1)->Arg(4)->Arg(12)->Arg(16);
BENCHMARK_MS(quantize, plain, referenceQuantize)->Arg(1);
BENCHMARK_MS(runPillow, median cut, "median")->Arg(12)->UseManualTime()->Iterations(1);
BENCHMARK_MS(runImageMagick, colours, "-dither None -colors 256")->Arg(12)->UseManualTime()->Iterations(1);
BENCHMARK(remap)->Unit(benchmark::kMillisecond)->Arg(12);
BENCHMARK_MS(dither, tload, colorQuantizeDitherFS, 0)->Arg(1)->Arg(4)->Arg(12)->Arg(16);
BENCHMARK_MS(dither, tload with noise, colorQuantizeDitherFS, 20)->Arg(12);
BENCHMARK_MS(dither, plain, reference::colorQuantizeDitherFS, 0)->Arg(1);
BENCHMARK_MS(runPillow, dithering, "dither")->Arg(12)->UseManualTime()->Iterations(5);
BENCHMARK_MS(runImageMagick, dithering, "-dither FloydSteinberg -remap palette.ppm")
    ->Arg(12)
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK(readPixels)->Unit(benchmark::kMillisecond)->Arg(16)->Arg(256);
BENCHMARK_MS(checkPalette, tload, checkTrueColorPalette)->Arg(16)->Arg(256);
BENCHMARK_MS(checkPalette, plain, reference::checkTrueColorPalette)->Arg(256);
