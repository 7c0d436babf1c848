// A GIF decoder that goes step by step, one code and one pixel at a time, straight into the caller's rows: slow, and
// the measure for the library's. It takes the bytes from the minimum code size on.
#pragma once

#include "tests/support.h"

struct GifReference {
    GifReference(Bytes data, u32 colours, u32 width, u32 height);
    int loadBand(u8* rows, u32 count, u32 bytesPerRow);

private:
    int nextByte();
    u32 readCode();
    int start();
    int decode(u32 rowCount);
    void put(u32 value);

    Bytes data;
    size_t place = 0;
    u32 colourMask, width, rowsLeft;
    int status = loadSuccess;
    bool started = false, pending = false;
    std::vector<u32> prefix, suffix, stack;
    Bytes ring;
    i64 written, bit;
    int lastCount, initialCodeSize, codeSize;
    u32 clearCode, nextCode, oldCode, incoming, firstChar, code;
    u8* rows = nullptr;
    u32 row, column, bytesPerRow;
};
