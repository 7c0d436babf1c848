#include "samples/picture.h"

#include <algorithm>
#include <cstdio>

#include "samples/motif.h"

size_t pictureRowBytes(uint32_t kind, uint32_t width)
{
    size_t pixels = width;
    switch (kind) {
    case pictureBilevel:
        return (pixels + 7) / 8;
    case pictureIndexed:
        return pixels;
    case pictureRgba:
        return 4 * pixels;
    default:
        return 3 * pixels;
    }
}

size_t pictureRowBytes(const Picture& picture)
{
    return pictureRowBytes(picture.kind, picture.width);
}

bool isDark(const Picture& picture, uint32_t x, uint32_t y)
{
    return (picture.rows[y * pictureRowBytes(picture) + x / 8] << (x % 8) & 0x80) != 0;
}

Picture blankPicture(uint32_t kind, uint32_t width, uint32_t height)
{
    return {kind, width, height, std::vector<uint8_t>(pictureRowBytes(kind, width) * height), {}};
}

Picture flatPicture(uint32_t kind, uint32_t width, uint32_t height, uint8_t value)
{
    Picture picture = blankPicture(kind, width, height);
    std::fill(picture.rows.begin(), picture.rows.end(), value);
    if (kind == pictureIndexed)
        for (uint32_t i = 0; i < 3 * 256; ++i)
            picture.palette.push_back(static_cast<uint8_t>(i / 3));
    return picture;
}

// Calls fill for each pixel with the address of its first byte.
template <typename Fill>
static void fillPixels(Picture& picture, size_t bytes, Fill fill)
{
    uint8_t* pixel = picture.rows.data();
    for (uint32_t y = 0; y < picture.height; ++y)
        for (uint32_t x = 0; x < picture.width; ++x, pixel += bytes)
            fill(pixel, x, y);
}

template <typename IsDark>
static void fillBits(Picture& picture, IsDark isDark)
{
    size_t rowBytes = pictureRowBytes(picture);
    for (uint32_t y = 0; y < picture.height; ++y)
        for (uint32_t x = 0; x < picture.width; ++x)
            if (isDark(x, y))
                picture.rows[y * rowBytes + x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8));
}

Picture motifPicture(uint32_t kind, uint32_t width, uint32_t height, uint32_t colours)
{
    Picture picture = blankPicture(kind, width, height);
    auto copy = [](const auto& from, uint8_t* to) { std::copy(from.begin(), from.end(), to); };
    if (kind == pictureBilevel) {
        fillBits(picture, [&](uint32_t x, uint32_t y) { return motifDark(x, y, width, height); });
    } else if (kind == pictureIndexed) {
        picture.palette = motifPalette(colours);
        fillPixels(picture, 1,
                   [&](uint8_t* to, uint32_t x, uint32_t y) { *to = motifIndex(x, y, width, height, colours); });
    } else if (kind == pictureRgb) {
        fillPixels(picture, 3, [&](uint8_t* to, uint32_t x, uint32_t y) { copy(motifRgb(x, y, width, height), to); });
    } else {
        fillPixels(picture, 4, [&](uint8_t* to, uint32_t x, uint32_t y) { copy(motifRgba(x, y, width, height), to); });
    }
    return picture;
}

uint32_t nextRandom(uint64_t& state)
{
    state += 0x9E3779B97F4A7C15u;
    uint64_t mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>(mixed >> 32);
}

static std::vector<uint8_t> randomBytes(size_t count, uint64_t& state)
{
    std::vector<uint8_t> bytes(count);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(nextRandom(state));
    return bytes;
}

Picture noisePicture(uint32_t kind, uint32_t width, uint32_t height, uint32_t colours, uint64_t seed)
{
    Picture picture = blankPicture(kind, width, height);
    if (kind == pictureBilevel) {
        fillBits(picture, [&](uint32_t, uint32_t) { return (nextRandom(seed) & 1) != 0; });
    } else if (kind == pictureIndexed) {
        colours = std::clamp(colours, 1u, 256u);
        picture.palette = randomBytes(3 * colours, seed);
        for (uint8_t& index : picture.rows)
            index = static_cast<uint8_t>(nextRandom(seed) % colours);
    } else if (colours == 0) {
        picture.rows = randomBytes(picture.rows.size(), seed);
    } else {
        size_t bytes = pictureRowBytes(kind, 1);
        std::vector<uint8_t> choices = randomBytes(bytes * colours, seed);
        fillPixels(picture, bytes, [&](uint8_t* to, uint32_t, uint32_t) {
            std::copy_n(choices.begin() + static_cast<ptrdiff_t>(bytes * (nextRandom(seed) % colours)), bytes, to);
        });
    }
    return picture;
}

Picture photoPicture(uint32_t width, uint32_t height, uint64_t seed)
{
    // Random levels on a coarse grid, blended between its points.
    const uint32_t cell = 48, columns = width / cell + 2, lines = height / cell + 2;
    std::vector<uint8_t> grid = randomBytes(size_t{3} * columns * lines, seed);
    Picture picture = blankPicture(pictureRgb, width, height);
    fillPixels(picture, 3, [&](uint8_t* to, uint32_t x, uint32_t y) {
        size_t corner = size_t{3} * (size_t{y / cell} * columns + x / cell);
        uint32_t fx = x % cell, fy = y % cell, grain = nextRandom(seed);
        for (size_t i = 0; i < 3; ++i, grain >>= 8) {
            const uint8_t* upper = &grid[corner + i];
            const uint8_t* lower = upper + size_t{3} * columns;
            uint32_t top = upper[0] * (cell - fx) + upper[3] * fx;
            uint32_t bottom = lower[0] * (cell - fx) + lower[3] * fx;
            uint32_t level = (top * (cell - fy) + bottom * fy) / (cell * cell);
            to[i] = static_cast<uint8_t>(level * 240 / 255 + grain % 16);
        }
    });
    return picture;
}

Picture toRgb(const Picture& picture)
{
    Picture rgb = blankPicture(pictureRgb, picture.width, picture.height);
    size_t rowBytes = pictureRowBytes(picture);
    fillPixels(rgb, 3, [&](uint8_t* to, uint32_t x, uint32_t y) {
        const uint8_t* row = picture.rows.data() + y * rowBytes;
        for (size_t i = 0; i < 3; ++i) {
            if (picture.kind == pictureBilevel)
                to[i] = (row[x / 8] << (x % 8) & 0x80) != 0 ? 0 : 255;
            else if (picture.kind == pictureIndexed)
                to[i] = picture.palette.at(3 * size_t{row[x]} + i);
            else if (picture.kind == pictureRgb)
                to[i] = row[3 * size_t{x} + i];
            else
                to[i] = static_cast<uint8_t>(
                    (row[4 * size_t{x} + i] * row[4 * size_t{x} + 3] + 255 * (255 - row[4 * size_t{x} + 3]) + 127) /
                    255);
        }
    });
    return rgb;
}

bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr)
        return false;
    bool written = bytes.empty() || fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return fclose(file) == 0 && written;
}
