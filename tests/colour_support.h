// Random pictures for the colour functions.
#pragma once

#include "tests/support.h"

inline Bytes randomBytes(size_t count, uint64_t& random)
{
    Bytes bytes(count);
    for (u8& byte : bytes)
        byte = static_cast<u8>(nextRandom(random));
    return bytes;
}

// Few or many colours, near to each other or not, in rows with something behind them.
struct RandomPicture {
    i32 width, height, stride;
    Bytes rgb;

    explicit RandomPicture(uint64_t& random)
    {
        width = static_cast<i32>(1 + nextRandom(random) % 60);
        height = static_cast<i32>(1 + nextRandom(random) % 40);
        stride = 3 * width + static_cast<i32>(nextRandom(random) % 7);
        const u32 colours = 1 + nextRandom(random) % 400, range = 1 + nextRandom(random) % 256;
        const Bytes choices = randomBytes(3 * colours, random);
        rgb = randomBytes(static_cast<size_t>(stride) * static_cast<size_t>(height), random);
        for (size_t y = 0; y < static_cast<size_t>(height) && colours < 350; y++)
            for (size_t x = 0; x < static_cast<size_t>(width); x++) {
                const size_t colour = nextRandom(random) % colours;
                for (size_t c = 0; c < 3; c++)
                    rgb[y * static_cast<size_t>(stride) + 3 * x + c] =
                        static_cast<u8>(255 - choices[3 * colour + c] % range);
            }
    }
};
