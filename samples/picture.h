// Pictures in memory: what the writers of this directory store, and what a test expects to get back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

enum PictureKind : uint32_t {
    pictureBilevel = 0, // 1 bit a pixel, most significant bit leftmost, set = dark; rows start on a byte
    pictureIndexed = 1, // 1 byte a pixel
    pictureRgb = 2,
    pictureRgba = 7
};

struct Picture {
    uint32_t kind = pictureRgb;
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> rows = {};    // tightly packed
    std::vector<uint8_t> palette = {}; // R, G, B triples of an indexed picture
};

size_t pictureRowBytes(uint32_t kind, uint32_t width);
size_t pictureRowBytes(const Picture& picture);

// Of a bilevel picture.
bool isDark(const Picture& picture, uint32_t x, uint32_t y);

// A black picture without a palette.
Picture blankPicture(uint32_t kind, uint32_t width, uint32_t height);
// Every byte of every row is value. Indexed pictures get a grey palette.
Picture flatPicture(uint32_t kind, uint32_t width, uint32_t height, uint8_t value);
// The woven motif. colours counts the palette of an indexed picture; the others ignore it.
Picture motifPicture(uint32_t kind, uint32_t width, uint32_t height, uint32_t colours = 16);
// Every pixel one of so many random colours; with 0 colours every byte is random. Indexed: 1 to 256 colours.
Picture noisePicture(uint32_t kind, uint32_t width, uint32_t height, uint32_t colours, uint64_t seed);
// Soft clouds of colour with a little grain, as a camera would see cloth: RGB with nearly as many colours as pixels.
Picture photoPicture(uint32_t width, uint32_t height, uint64_t seed);

// The same picture as RGB: bilevel is black on white, indices go through the palette, RGBA is laid on white.
Picture toRgb(const Picture& picture);

// The next number of a sequence that depends on nothing but the state it started from.
uint32_t nextRandom(uint64_t& state);

// False when the file cannot be written completely.
bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes);
