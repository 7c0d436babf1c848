#include "sheet/small_png.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <unordered_map>

namespace
{

constexpr size_t mostColours = 256;
constexpr int channels = 4;

// A byte a pixel and the colours that they stand for; no colours when there are too many.
struct Indexed {
    std::vector<u8> pixels;
    std::vector<u8> colours;
};

Indexed indexed(const SmallPicture& picture)
{
    Indexed result;
    std::unordered_map<u32, u8> known;
    result.pixels.resize(picture.pixels.size() / channels);
    u32 last = 0;
    u8 lastIndex = 0;
    for (size_t i = 0; i < result.pixels.size(); i++) {
        u32 pixel = 0;
        memcpy(&pixel, &picture.pixels[channels * i], channels);
        if (pixel != last || known.empty()) {
            const auto [place, isNew] = known.emplace(pixel, static_cast<u8>(known.size()));
            if (known.size() > mostColours)
                return {};
            if (isNew)
                result.colours.insert(result.colours.end(), &picture.pixels[channels * i],
                                      &picture.pixels[channels * i] + channels);
            last = pixel;
            lastIndex = place->second;
        }
        result.pixels[i] = lastIndex;
    }
    return result;
}

bool isOpaque(const SmallPicture& picture)
{
    for (size_t i = channels - 1; i < picture.pixels.size(); i += channels) {
        if (picture.pixels[i] != 255)
            return false;
    }
    return true;
}

std::vector<u8> withoutTransparency(const std::vector<u8>& pixels)
{
    std::vector<u8> result(pixels.size() / channels * 3);
    for (size_t i = 0; i < pixels.size() / channels; i++)
        std::copy_n(&pixels[channels * i], 3, &result[3 * i]);
    return result;
}

std::string written(png_image& image, const u8* pixels, const u8* colours)
{
    char* bytes = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&bytes, &size);
    if (stream == nullptr)
        throw std::bad_alloc();
    const bool isWritten = png_image_write_to_stdio(&image, stream, 0, pixels, 0, colours) != 0;
    const bool isClosed = fclose(stream) == 0;
    const std::unique_ptr<char, decltype(&free)> owner(bytes, free);
    if (!isWritten || !isClosed)
        throw std::bad_alloc();
    return {bytes, size};
}

} // namespace

std::string pngOf(const SmallPicture& picture)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    const Indexed few = indexed(picture);
    if (!few.colours.empty()) {
        image.format = PNG_FORMAT_RGBA_COLORMAP;
        image.colormap_entries = static_cast<png_uint_32>(few.colours.size() / channels);
        return written(image, few.pixels.data(), few.colours.data());
    }
    image.flags = PNG_IMAGE_FLAG_FAST;
    const bool hasNoAlpha = isOpaque(picture);
    image.format = hasNoAlpha ? PNG_FORMAT_RGB : PNG_FORMAT_RGBA;
    return written(image, hasNoAlpha ? withoutTransparency(picture.pixels).data() : picture.pixels.data(), nullptr);
}

std::string dataAddress(const std::string& png)
{
    constexpr const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string address = "data:image/png;base64,";
    address.reserve(address.size() + (png.size() + 2) / 3 * 4);
    for (size_t i = 0; i < png.size(); i += 3) {
        u32 group = 0;
        for (size_t j = 0; j < 3; j++)
            group = group << 8 | (i + j < png.size() ? static_cast<u8>(png[i + j]) : 0U);
        for (size_t j = 0; j < 4; j++)
            address += i + j <= png.size() ? digits[group >> (18 - 6 * j) & 63] : '=';
    }
    return address;
}
