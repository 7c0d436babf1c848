#include "samples/plain_loops.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

static void addSample(uint32_t* sums, const uint8_t* row, uint32_t column, const RealSizeCall& call)
{
    if (call.srcKind == 0) {
        const uint32_t grey = (row[column / 8] & 0x80 >> column % 8) != 0 ? 0 : 255;
        for (int channel = 0; channel < 3; channel++)
            sums[channel] += grey;
        return;
    }
    const uint8_t* colour = call.srcKind == 1 ? call.palette + 3 * row[column] : row + 3 * size_t{column};
    for (int channel = 0; channel < 3; channel++)
        sums[channel] += colour[channel];
}

static void storePixel(uint8_t* dst, const uint32_t* sums, int32_t bytesPerPixel)
{
    if (bytesPerPixel == 2) {
        const uint16_t pixel = static_cast<uint16_t>((sums[0] >> 8) << 11 | ((sums[1] >> 2) & 0xFFE0) | sums[2] >> 8);
        memcpy(dst, &pixel, sizeof pixel);
    } else if (bytesPerPixel == 3) {
        for (int channel = 0; channel < 3; channel++)
            dst[channel] = static_cast<uint8_t>(sums[channel] >> 5);
    } else {
        const uint32_t pixel = (sums[0] >> 5) << 16 | (sums[1] >> 5) << 8 | sums[2] >> 5;
        memcpy(dst, &pixel, sizeof pixel);
    }
}

void plainRender(uint8_t* dst, const RealSizeCall& call)
{
    const auto step = [&](int32_t srcRes, int32_t screenRes) {
        return static_cast<int32_t>(static_cast<float>(srcRes) * 8192.0F / (static_cast<float>(screenRes) * call.zoom));
    };
    const int32_t stepX = step(call.srcResX, call.screenResX), stepY = step(call.srcResY, call.screenResY);
    std::vector<int16_t> jitterX(2048), jitterY(2048);
    for (int16_t& jitter : jitterX)
        jitter = static_cast<int16_t>(static_cast<int32_t>(drand48() * stepX));
    for (int16_t& jitter : jitterY)
        jitter = static_cast<int16_t>(static_cast<int32_t>(drand48() * stepY));
    std::vector<const uint8_t*> rowTable;
    for (int64_t r = 0; r < call.srcHeight; r++)
        rowTable.push_back(call.src + (call.srcHeight - 1 - r) * call.srcStride);

    const auto width = static_cast<uint32_t>(call.srcWidth), height = static_cast<uint32_t>(call.srcHeight);
    const auto unsignedStepX = static_cast<uint32_t>(stepX), unsignedStepY = static_cast<uint32_t>(stepY);
    for (int32_t y = call.firstRow + call.rows - 1; y >= call.firstRow; y--) {
        uint8_t* pixel = dst + int64_t{y - call.firstRow} * call.dstStride;
        const uint32_t vy = static_cast<uint32_t>(call.y0 - y) * unsignedStepY;
        auto k = static_cast<uint32_t>(drand48() * 2048);
        uint32_t vx = static_cast<uint32_t>(call.x0) * unsignedStepX;
        for (int32_t j = 0; j < call.width; j++) {
            uint32_t sums[3] = {};
            for (int sample = 0; sample < 32; sample++, k++) {
                const auto x = static_cast<int32_t>(vx + static_cast<uint32_t>(jitterX[k & 2047])) >> 13;
                const auto row = static_cast<int32_t>(vy + static_cast<uint32_t>(jitterY[(k + 1) & 2047])) >> 13;
                addSample(sums, rowTable[static_cast<uint32_t>(row) % height], static_cast<uint32_t>(x) % width, call);
            }
            storePixel(pixel, sums, call.bytesPerPixel);
            pixel += call.bytesPerPixel;
            vx += unsignedStepX;
        }
    }
}

std::vector<uint16_t> plainSelfAvoid(int32_t count, int32_t width, int32_t height)
{
    std::vector<uint16_t> points;
    int32_t chosenX = 0, chosenY = 0;
    for (int32_t i = 0; i < count; i++) {
        int32_t best = 0;
        for (int candidate = 0; candidate < 60; candidate++) {
            const int32_t x = rand() % width, y = rand() % height;
            int32_t least = INT32_MAX;
            for (size_t point = 0; point < points.size() && least >= best; point += 2) {
                const int32_t dx = std::abs(x - points[point]), dy = std::abs(y - points[point + 1]);
                const int32_t aroundX = std::min(dx, width - dx), aroundY = std::min(dy, height - dy);
                least = std::min(least, aroundX * aroundX + aroundY * aroundY);
            }
            if (least > best) {
                best = least;
                chosenX = x;
                chosenY = y;
            }
        }
        points.push_back(static_cast<uint16_t>(chosenX));
        points.push_back(static_cast<uint16_t>(chosenY));
    }
    return points;
}
