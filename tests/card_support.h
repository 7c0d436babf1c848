// What the tests of card files share.
#pragma once

#include <array>
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
// Blank pictures: those of the first width and height of each are read, those of the second refused.
using Limits = std::vector<std::array<u32, 4>>;
void expectLimits(const CardFormat& format, const Limits& limits, u32 kind = kindBilevel);
// The status of loading a file of these bytes with this loader.
int statusOf(const std::string& name, const Bytes& bytes, u32 id);
// The reason that loading the file leaves and its remarks behind it, "+" before a harmless one, "!" before a grave one.
std::string toldOf(const CardFormat& format, const Bytes& bytes);
// What loadBand answers for all rows of a file that shrinks while it is open.
int bandStatusOfCut(const CardFormat& format, const Picture& picture, size_t cut);

// What is delivered of a row that the file cuts short: the bytes it holds, those only when all rows are read at once,
// or nothing.
enum class CutRow { held, heldAtOnce, none };
// Of a format that turns bits: a band that fails, because the file has shrunk by a byte of its last row or because it
// asks for too many rows, has the bits as the file has them, and all else as it was. The rows begin at start and have
// recordBytes each, 0 being those of the picture's.
void expectStoredBits(const CardFormat& format, const Picture& picture, u64 start, CutRow cutRow, u64 recordBytes = 0,
                      u8 flip = 0);
