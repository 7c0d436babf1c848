#include "samples/tiff_writer.h"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstring>

// A file in memory, as libtiff wants one.
struct Stream {
    std::vector<uint8_t> bytes = {};
    size_t position = 0;
};

static tmsize_t readStream(thandle_t handle, void* data, tmsize_t size)
{
    auto& stream = *static_cast<Stream*>(handle);
    const size_t start = std::min(stream.position, stream.bytes.size());
    const size_t count = std::min(stream.bytes.size() - start, static_cast<size_t>(size));
    memcpy(data, stream.bytes.data() + start, count);
    stream.position = start + count;
    return static_cast<tmsize_t>(count);
}

static tmsize_t writeStream(thandle_t handle, void* data, tmsize_t size)
{
    auto& stream = *static_cast<Stream*>(handle);
    const auto count = static_cast<size_t>(size);
    stream.bytes.resize(std::max(stream.bytes.size(), stream.position + count));
    memcpy(stream.bytes.data() + stream.position, data, count);
    stream.position += count;
    return size;
}

static toff_t seekStream(thandle_t handle, toff_t offset, int whence)
{
    auto& stream = *static_cast<Stream*>(handle);
    const size_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? stream.position : stream.bytes.size();
    stream.position = base + offset;
    return stream.position;
}

static int closeStream(thandle_t)
{
    return 0;
}

static toff_t sizeOfStream(thandle_t handle)
{
    return static_cast<Stream*>(handle)->bytes.size();
}

static void setTags(TIFF* file, const TiffImage& image, const TiffOptions& options)
{
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, image.width);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, image.height);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, image.bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, image.samples);
    if (image.photometric)
        TIFFSetField(file, TIFFTAG_PHOTOMETRIC, *image.photometric);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, image.separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_COMPRESSION, options.compression);
    if (options.extraSample) {
        const auto meaning = static_cast<uint16_t>(*options.extraSample);
        TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, &meaning);
    }
    if (options.orientation)
        TIFFSetField(file, TIFFTAG_ORIENTATION, *options.orientation);
    if (options.resolution) {
        TIFFSetField(file, TIFFTAG_XRESOLUTION, options.resolution->x);
        TIFFSetField(file, TIFFTAG_YRESOLUTION, options.resolution->y);
        TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, options.resolution->unit);
    }
    if (!image.colourMap.empty()) {
        const size_t colours = image.colourMap.size() / 3;
        const uint16_t* map = image.colourMap.data();
        TIFFSetField(file, TIFFTAG_COLORMAP, map, map + colours, map + 2 * colours);
    }
    if (options.compression == COMPRESSION_JPEG && image.photometric == uint32_t{PHOTOMETRIC_YCBCR})
        TIFFSetField(file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    // How many bytes a strip has depends on all of this.
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP,
                 options.rowsPerStrip != 0 ? options.rowsPerStrip : TIFFDefaultStripSize(file, 0));
}

size_t tiffRowBytes(const TiffImage& image)
{
    return (size_t{image.width} * image.bits * (image.separate ? 1 : image.samples) + 7) / 8;
}

std::vector<uint8_t> encodeTiff(const TiffImage& image, const TiffOptions& options)
{
    Stream stream;
    TIFF* file = TIFFClientOpen("sample", options.bigEndian ? "wb" : "wl", &stream, readStream, writeStream, seekStream,
                                closeStream, sizeOfStream, nullptr, nullptr);
    if (file == nullptr)
        return {};
    setTags(file, image, options);
    std::vector<uint8_t> row(tiffRowBytes(image)); // libtiff swaps the bytes of samples in place
    bool complete = image.rows.size() == row.size() * image.height * (image.separate ? image.samples : 1);
    const uint8_t* source = image.rows.data();
    for (uint32_t plane = 0; complete && plane < (image.separate ? image.samples : 1); ++plane) {
        for (uint32_t y = 0; complete && y < image.height; ++y, source += row.size()) {
            std::copy(source, source + row.size(), row.begin());
            complete = TIFFWriteScanline(file, row.data(), y, static_cast<uint16_t>(plane)) == 1;
        }
    }
    TIFFClose(file);
    return complete ? stream.bytes : std::vector<uint8_t>{};
}

std::vector<uint8_t> encodeTiff(const Picture& picture, const TiffOptions& options)
{
    TiffOptions withAlpha = options;
    if (picture.kind == pictureRgba && !options.extraSample)
        withAlpha.extraSample = EXTRASAMPLE_ASSOCALPHA;
    return encodeTiff(tiffImageOf(picture), withAlpha);
}

TiffImage tiffImageOf(const Picture& picture)
{
    TiffImage image{.width = picture.width, .height = picture.height, .rows = picture.rows};
    if (picture.kind == pictureRgba)
        image.samples = 4;
    if (picture.kind == pictureBilevel) {
        image.bits = image.samples = 1;
        image.photometric = PHOTOMETRIC_MINISWHITE;
    }
    if (picture.kind != pictureIndexed)
        return image;

    const size_t colours = picture.palette.size() / 3;
    image.samples = 1;
    image.photometric = PHOTOMETRIC_PALETTE;
    image.bits = colours <= 16 ? 4 : 8;
    image.colourMap.resize(size_t{3} << image.bits);
    for (size_t i = 0; i < picture.palette.size(); ++i)
        image.colourMap[(i % 3 << image.bits) + i / 3] = static_cast<uint16_t>(picture.palette[i] * 257);
    if (image.bits == 4) {
        const size_t rowBytes = tiffRowBytes(image);
        image.rows.assign(rowBytes * picture.height, 0);
        for (size_t i = 0; i < picture.rows.size(); ++i) {
            const size_t x = i % picture.width;
            image.rows[i / picture.width * rowBytes + x / 2] |=
                static_cast<uint8_t>(x % 2 == 0 ? picture.rows[i] << 4 : picture.rows[i]);
        }
    }
    return image;
}

TiffImage tiffInksOf(const Picture& picture)
{
    const Picture rgb = toRgb(picture);
    TiffImage image{.width = rgb.width, .height = rgb.height, .samples = 4, .photometric = PHOTOMETRIC_SEPARATED};
    for (size_t i = 0; i < rgb.rows.size(); i += 3) {
        const uint8_t* pixel = &rgb.rows[i];
        const int light = std::max({pixel[0], pixel[1], pixel[2], uint8_t{1}});
        for (int k = 0; k < 3; ++k)
            image.rows.push_back(static_cast<uint8_t>(255 - pixel[k] * 255 / light));
        image.rows.push_back(static_cast<uint8_t>(255 - light));
    }
    return image;
}

TiffImage tiffLabOf(const Picture& picture)
{
    const Picture rgb = toRgb(picture);
    TiffImage image{.width = rgb.width, .height = rgb.height, .photometric = PHOTOMETRIC_CIELAB};
    for (size_t i = 0; i < rgb.rows.size(); i += 3) {
        const double r = rgb.rows[i] / 255.0, g = rgb.rows[i + 1] / 255.0, b = rgb.rows[i + 2] / 255.0;
        auto root = [](double value) { return value > 0.008856 ? cbrt(value) : 7.787 * value + 16.0 / 116; };
        const double x = root((0.412453 * r + 0.357580 * g + 0.180423 * b) / 0.950456);
        const double y = root(0.212671 * r + 0.715160 * g + 0.072169 * b);
        const double z = root((0.019334 * r + 0.119193 * g + 0.950227 * b) / 1.088754);
        const long lab[] = {lround((116 * y - 16) * 2.55), lround(500 * (x - y)), lround(200 * (y - z))};
        for (int k = 0; k < 3; ++k)
            image.rows.push_back(static_cast<uint8_t>(std::clamp(lab[k], k == 0 ? 0L : -128L, k == 0 ? 255L : 127L)));
    }
    return image;
}
