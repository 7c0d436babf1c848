#include "color/noise.h"

#include <cstdlib>

void drawNoise(Noise& noise, i32 amount)
{
    for (signed char& offset : noise.offsets)
        offset = static_cast<signed char>((rand() >> 3) % (2 * amount + 1) - amount);
}
