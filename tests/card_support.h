// What the tests of card files share.
#pragma once

#include <functional>

#include "tests/support.h"

struct CardFormat {
    const char* name; // of a file
    u32 id;
    std::function<Bytes(const Picture&)> encode;
    const char* description;
    u8 orientationFlag = 1;
    u8 behindRows = 0xA5;     // what becomes of 0xA5 behind a row of a wide stride
    bool clearsColour = true; // the first byte of the palette
    bool inOneBand = false;
};

Picture noiseCards(u32 width, u32 height);
// Writes the picture and loads it in bands and at once, with a stride that is wide, exact and narrow.
void expectDelivery(const CardFormat& format, const Picture& picture);

Bytes patched(Bytes bytes, size_t at, const Bytes& with);
// Each a place and the bytes there; the file is loaded once with each.
using Patches = std::vector<std::vector<u32>>;
void expectStatuses(const CardFormat& format, const Bytes& good, int status, const Patches& patches);
// The status of loading a file of these bytes with this loader.
int statusOf(const std::string& name, const Bytes& bytes, u32 id);
// What loadBand answers for all rows of a file that shrinks while it is open.
int bandStatusOfCut(const CardFormat& format, const Picture& picture, size_t cut);
