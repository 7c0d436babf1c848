#pragma once

#include <optional>
#include <string>
#include <utility>

#include "samples/picture.h"

enum PngColourType { pngGrey = 0, pngRgb = 2, pngPalette = 3, pngGreyAlpha = 4, pngRgba = 6 };

// Samples as the file holds them: pixels below 8 bits packed from the most significant bit on, 16-bit samples with the
// high byte first, every row starting on a byte.
struct PngImage {
    uint32_t width = 0;
    uint32_t height = 0;
    int colourType = pngRgb;
    int bitDepth = 8;
    std::vector<uint8_t> rows = {};
    std::vector<uint8_t> palette = {}; // R, G, B triples
};

struct PngResolution {
    uint32_t x, y;
    int unit; // 1: pixels per metre, 0: a ratio only
};

struct PngOptions {
    bool interlaced = false;
    int compressionLevel = 6;                     // 0..9
    std::optional<int> filter = {};               // the one row filter, 0..4; else the library chooses
    std::vector<uint8_t> paletteAlphas = {};      // one for each of the first palette entries
    std::vector<uint16_t> transparentColour = {}; // one grey level or three of red, green, blue
    std::optional<PngResolution> resolution = {};
    std::vector<std::pair<std::string, std::string>> texts = {}; // keys and their values
};

size_t pngRowBytes(const PngImage& image);
// Bilevel pictures become 1-bit grey, indexed ones get the smallest depth that holds their palette.
PngImage pngImageOf(const Picture& picture);

// An empty result says that the image or its options do not fit together.
std::vector<uint8_t> encodePng(const PngImage& image, const PngOptions& options = {});
std::vector<uint8_t> encodePng(const Picture& picture, const PngOptions& options = {});
