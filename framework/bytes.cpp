#include "framework/bytes.h"

#include <cstdlib>

i32 decimalNumber(const u8* text, size_t length)
{
    char terminated[16]{};
    memcpy(terminated, text, std::min(length, sizeof terminated - 1));
    return atoi(terminated);
}
