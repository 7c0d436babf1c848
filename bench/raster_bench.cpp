// The picture loaders against the plainest use of what others offer, on the same files in the same run.
#include <benchmark/benchmark.h>
#include <gif_lib.h>
#include <png.h>

#include <cstdio>

#include <jpeglib.h>

#include <algorithm>
#include <filesystem>

#include "samples/bmp_writer.h"
#include "samples/gif_writer.h"
#include "samples/jpeg_writer.h"
#include "samples/png_writer.h"
#include "tload.h"

using Bytes = std::vector<uint8_t>;

// A photograph in 252 colours, as programs write it into GIF files.
static Picture indexedPhoto(uint32_t width, uint32_t height)
{
    Picture photo = photoPicture(width, height, 1);
    Picture picture{.kind = pictureIndexed, .width = width, .height = height};
    for (size_t i = 0; i < photo.rows.size(); i += 3) {
        const uint8_t* rgb = photo.rows.data() + i;
        picture.rows.push_back(static_cast<uint8_t>((rgb[0] * 6 / 256 * 7 + rgb[1] * 7 / 256) * 6 + rgb[2] * 6 / 256));
    }
    for (int i = 0; i < 252; i++) {
        for (int level : {i / 42 * 51, i / 6 % 7 * 42, i % 6 * 51})
            picture.palette.push_back(static_cast<uint8_t>(level));
    }
    return picture;
}

struct RasterCase {
    const char* name;
    Bytes (*encode)();
};

// 1 megapixel, for PNG, JPEG and BMP 4 megapixels.
static const RasterCase cases[] = {
    {"photo.gif", [] { return encodeGif(indexedPhoto(1000, 1000)); }},
    {"noise.gif", [] { return encodeGif(noisePicture(pictureIndexed, 1000, 1000, 256, 1)); }},
    {"motif.gif", [] { return encodeGif(motifPicture(pictureIndexed, 1000, 1000)); }},
    {"flat.gif", [] { return encodeGif(flatPicture(pictureIndexed, 1000, 1000, 3)); }},
    {"photo.png", [] { return encodePng(photoPicture(2000, 2000, 1)); }},
    {"indexed.png", [] { return encodePng(indexedPhoto(2000, 2000)); }},
    {"photo.jpg", [] { return encodeJpeg(photoPicture(2000, 2000, 1)); }},
    {"photo.bmp", [] { return encodeBmp(photoPicture(2000, 2000, 1)); }},
};

static std::string pathOf(const std::string& name)
{
    static const std::string directory = [] {
        std::string made = std::filesystem::temp_directory_path() / "tload-bench-XXXXXX";
        if (mkdtemp(made.data()) == nullptr)
            abort();
        for (const RasterCase& one : cases) {
            if (!writeFile(made + "/" + one.name, one.encode()))
                abort();
        }
        return made;
    }();
    return directory + "/" + name;
}

// Everything below decodes one file into the same memory again and again.
static Bytes rows(2000 * 2000 * 4);

static uint64_t byTload(const std::string& path)
{
    u32 kind = 0, width = 0, height = 0, ignored;
    u8 palette[768], flag;
    char description[4096];
    returnLoaderFunctions(formatDetect, path.c_str());
    if (getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette, description,
                     &flag, &ignored, 1) != loadSuccess)
        abort();
    u32 rowBytes = kind == kindRGB ? 3 * width : width;
    if (getLoadBand()(rows.data(), height, rowBytes) != loadSuccess)
        abort();
    getEndLoad()();
    return static_cast<uint64_t>(rowBytes) * height;
}

static uint64_t byGiflib(const std::string& path)
{
    int error = 0;
    GifFileType* gif = DGifOpenFileName(path.c_str(), &error);
    GifRecordType record;
    if (gif == nullptr || DGifGetRecordType(gif, &record) != GIF_OK || record != IMAGE_DESC_RECORD_TYPE ||
        DGifGetImageDesc(gif) != GIF_OK)
        abort();
    const int width = gif->Image.Width;
    const int height = gif->Image.Height;
    for (int y = 0; y < height; y++) {
        if (DGifGetLine(gif, rows.data() + static_cast<size_t>(y) * static_cast<size_t>(width), width) != GIF_OK)
            abort();
    }
    DGifCloseFile(gif, &error);
    return static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
}

static uint64_t byLibpng(const std::string& path)
{
    FILE* file = fopen(path.c_str(), "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (file == nullptr || setjmp(png_jmpbuf(png)) != 0)
        abort();
    png_init_io(png, file);
    png_read_info(png, info);
    png_uint_32 height = png_get_image_height(png, info);
    size_t rowBytes = png_get_rowbytes(png, info);
    for (png_uint_32 y = 0; y < height; y++)
        png_read_row(png, rows.data() + y * rowBytes, nullptr);
    png_read_end(png, info);
    png_destroy_read_struct(&png, &info, nullptr);
    fclose(file);
    return rowBytes * height;
}

static uint64_t byLibjpeg(const std::string& path)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr)
        abort();
    jpeg_decompress_struct decoder;
    jpeg_error_mgr errors;
    decoder.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decoder);
    jpeg_stdio_src(&decoder, file);
    jpeg_read_header(&decoder, TRUE);
    jpeg_start_decompress(&decoder);
    size_t rowBytes = static_cast<size_t>(decoder.output_width) * static_cast<size_t>(decoder.output_components);
    while (decoder.output_scanline < decoder.output_height) {
        uint8_t* row = rows.data() + decoder.output_scanline * rowBytes;
        jpeg_read_scanlines(&decoder, &row, 1);
    }
    uint64_t size = rowBytes * decoder.output_height;
    jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    fclose(file);
    return size;
}

static uint64_t byFread(const std::string& path)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr)
        abort();
    uint64_t size = fread(rows.data(), 1, rows.size(), file);
    fclose(file);
    return size;
}

using Decoder = uint64_t (*)(const std::string& path);

static void decode(benchmark::State& state, Decoder decoder, const char* name)
{
    const std::string path = pathOf(name);
    uint64_t size = 0;
    for (auto _ : state)
        size = decoder(path);
    state.SetBytesProcessed(static_cast<int64_t>(size) * static_cast<int64_t>(state.iterations()));
}

struct Comparison {
    const char* file;
    const char* otherName;
    Decoder other;
};

static const Comparison comparisons[] = {
    {"photo.gif", "giflib", byGiflib},   {"noise.gif", "giflib", byGiflib}, {"motif.gif", "giflib", byGiflib},
    {"flat.gif", "giflib", byGiflib},    {"photo.png", "libpng", byLibpng}, {"indexed.png", "libpng", byLibpng},
    {"photo.jpg", "libjpeg", byLibjpeg}, {"photo.bmp", "fread", byFread},
};

int main(int argc, char** argv)
{
    for (const Comparison& one : comparisons) {
        benchmark::RegisterBenchmark((std::string(one.file) + "/tload").c_str(), decode, byTload, one.file);
        benchmark::RegisterBenchmark((std::string(one.file) + "/" + one.otherName).c_str(), decode, one.other,
                                     one.file);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(std::filesystem::path(pathOf("")).parent_path());
    return 0;
}
