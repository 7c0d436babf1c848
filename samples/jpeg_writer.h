#pragma once

#include "samples/picture.h"

// How the file holds the colours. The two with black are stored inverted, as is usual.
enum class JpegColours { grey, yellowBlue, rgb, cmyk, cmykAsYellowBlue };

struct JpegOptions {
    JpegColours colours = JpegColours::yellowBlue;
    int quality = 90;  // 0..100
    int samplingX = 2; // 1 keeps all the colour, 2 and 4 store it at a half and a quarter of the width
    int samplingY = 2;
    bool progressive = false;
    // Not stored by JpegColours::rgb.
    uint8_t densityUnit = 0; // 0: a ratio only, 1: dots per inch, 2: dots per centimetre
    uint16_t densityX = 1;
    uint16_t densityY = 1;
};

// Takes any kind of picture. An empty result says that the options do not fit.
std::vector<uint8_t> encodeJpeg(const Picture& picture, const JpegOptions& options = {});
