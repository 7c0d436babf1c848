// What the library does fast, done the plain way, one sample and one point at a time: the benchmarks race against
// these loops and the tests expect their results.
#pragma once

#include <cstdint>
#include <vector>

// One call of renderRealImg for kinds 0 to 2 and 2 to 4 bytes per pixel.
struct RealSizeCall {
    int32_t dstStride, bytesPerPixel, x0, firstRow, width, rows, y0, screenResX, screenResY;
    const uint8_t* src;
    int32_t srcStride, srcWidth, srcHeight, srcKind;
    const uint8_t* palette;
    int32_t srcResX, srcResY;
    float zoom;
};

void plainRender(uint8_t* dst, const RealSizeCall& call);

// count pairs of x and y, all on an area of at most 65536 x 65535
std::vector<uint16_t> plainSelfAvoid(int32_t count, int32_t width, int32_t height);
