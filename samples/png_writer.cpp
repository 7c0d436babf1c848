#include "samples/png_writer.h"

#include <csetjmp>

#include <png.h>

size_t pngRowBytes(const PngImage& image)
{
    size_t samples = image.colourType == pngRgb         ? 3
                     : image.colourType == pngRgba      ? 4
                     : image.colourType == pngGreyAlpha ? 2
                                                        : 1;
    return (samples * image.width * static_cast<size_t>(image.bitDepth) + 7) / 8;
}

PngImage pngImageOf(const Picture& picture)
{
    PngImage image{picture.width, picture.height, pngRgb, 8, picture.rows, {}};
    if (picture.kind == pictureRgba)
        image.colourType = pngRgba;
    if (picture.kind == pictureBilevel) {
        image.colourType = pngGrey;
        image.bitDepth = 1;
        for (uint8_t& byte : image.rows)
            byte = static_cast<uint8_t>(~byte);
    }
    if (picture.kind != pictureIndexed)
        return image;

    image.colourType = pngPalette;
    image.palette = picture.palette;
    size_t colours = picture.palette.size() / 3;
    image.bitDepth = colours > 16 ? 8 : colours > 4 ? 4 : colours > 2 ? 2 : 1;
    if (image.bitDepth == 8)
        return image;
    size_t rowBytes = pngRowBytes(image), perByte = 8 / static_cast<size_t>(image.bitDepth);
    image.rows.assign(rowBytes * picture.height, 0);
    for (size_t y = 0; y < picture.height; ++y)
        for (size_t x = 0; x < picture.width; ++x) {
            size_t shift = (perByte - 1 - x % perByte) * static_cast<size_t>(image.bitDepth);
            image.rows[y * rowBytes + x / perByte] |=
                static_cast<uint8_t>(picture.rows[y * picture.width + x] << shift);
        }
    return image;
}

static void appendBytes(png_structp png, png_bytep data, size_t size)
{
    auto* bytes = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    bytes->insert(bytes->end(), data, data + size);
}

static void ignoreFlush(png_structp) {}

struct PngTables {
    std::vector<png_color> palette;
    std::vector<png_text> texts;
    std::vector<png_bytep> rows;
    png_color_16 transparent;
};

// libpng wants pointers to data that may be written to, but writes to none of these.
static png_bytep writable(const uint8_t* bytes)
{
    return const_cast<png_bytep>(bytes);
}

static PngTables tablesOf(const PngImage& image, const PngOptions& options)
{
    PngTables tables{};
    for (size_t i = 0; i + 2 < image.palette.size(); i += 3)
        tables.palette.push_back({image.palette[i], image.palette[i + 1], image.palette[i + 2]});
    for (const auto& [key, value] : options.texts) {
        png_text text{};
        text.compression = PNG_TEXT_COMPRESSION_NONE;
        text.key = const_cast<char*>(key.c_str());
        text.text = const_cast<char*>(value.c_str());
        text.text_length = value.size();
        tables.texts.push_back(text);
    }
    for (size_t y = 0; y < image.height; ++y)
        tables.rows.push_back(writable(image.rows.data() + y * pngRowBytes(image)));
    const std::vector<uint16_t>& colour = options.transparentColour;
    if (colour.size() == 1)
        tables.transparent.gray = colour[0];
    else if (colour.size() == 3)
        tables.transparent = {0, colour[0], colour[1], colour[2], 0};
    return tables;
}

// Apart from its caller, so that nothing needs to be destroyed when libpng jumps out of it.
static bool write(png_structp png, png_infop info, const PngImage& image, const PngOptions& options, PngTables& tables)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_set_compression_level(png, options.compressionLevel);
    if (options.filter)
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE << *options.filter);
    png_set_IHDR(png, info, image.width, image.height, image.bitDepth, image.colourType,
                 options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!tables.palette.empty())
        png_set_PLTE(png, info, tables.palette.data(), static_cast<int>(tables.palette.size()));
    if (!options.paletteAlphas.empty())
        png_set_tRNS(png, info, writable(options.paletteAlphas.data()), static_cast<int>(options.paletteAlphas.size()),
                     nullptr);
    if (!options.transparentColour.empty())
        png_set_tRNS(png, info, nullptr, 0, &tables.transparent);
    if (options.resolution)
        png_set_pHYs(png, info, options.resolution->x, options.resolution->y, options.resolution->unit);
    if (!tables.texts.empty())
        png_set_text(png, info, tables.texts.data(), static_cast<int>(tables.texts.size()));
    png_write_info(png, info);
    png_write_image(png, tables.rows.data());
    png_write_end(png, info);
    return true;
}

std::vector<uint8_t> encodePng(const PngImage& image, const PngOptions& options)
{
    std::vector<uint8_t> bytes;
    if (image.rows.size() != pngRowBytes(image) * image.height)
        return bytes;
    PngTables tables = tablesOf(image, options);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info != nullptr) {
        png_set_write_fn(png, &bytes, appendBytes, ignoreFlush);
        if (!write(png, info, image, options, tables))
            bytes.clear();
    }
    png_destroy_write_struct(&png, &info);
    return bytes;
}

std::vector<uint8_t> encodePng(const Picture& picture, const PngOptions& options)
{
    return encodePng(pngImageOf(picture), options);
}
