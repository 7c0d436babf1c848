#include "tests/gif_reference.h"

#include <algorithm>

GifReference::GifReference(Bytes codes, u32 colours, u32 imageWidth, u32 height)
    : data(std::move(codes)), colourMask(colours - 1), width(imageWidth), rowsLeft(height)
{
}

int GifReference::nextByte()
{
    return place < data.size() ? data[place++] : -1;
}

u32 GifReference::readCode()
{
    const i64 byte = bit / 8;
    const u32 shift = static_cast<u32>(bit % 8);
    const u32 mask = (1u << codeSize) - 1;
    auto available = [&] { return std::max<i64>(0, written - byte); };
    auto at = [&](i64 index) { return static_cast<u32>(ring[static_cast<size_t>(index % 512)]); };
    if (available() < 3) {
        if (lastCount == 0)
            return 0;
        const int length = nextByte();
        lastCount = 0;
        for (int value = 0; lastCount < length && (value = nextByte()) >= 0; lastCount++)
            ring[static_cast<size_t>(written++ % 512)] = static_cast<u8>(value);
        if (length < 0 || lastCount < length)
            status = loadCannotRead;
    }
    u32 bits = at(byte);
    if (available() >= 2)
        bits |= at(byte + 1) << 8;
    if (available() >= 3 && codeSize >= 8)
        bits |= at(byte + 2) << 16;
    bit += codeSize;
    return bits >> shift & mask;
}

int GifReference::start()
{
    prefix.assign(4096, 0);
    suffix.assign(4096, 0);
    ring.assign(512, 0);
    oldCode = firstChar = 0;
    written = bit = 0;
    lastCount = 255;
    const int minimum = nextByte();
    if (minimum < 0)
        return loadCannotRead;
    if (minimum > 11)
        return loadBadData;
    clearCode = 1u << minimum;
    nextCode = clearCode + 2;
    codeSize = initialCodeSize = minimum + 1;
    code = readCode();
    started = status == loadSuccess;
    return status;
}

void GifReference::put(u32 value)
{
    if (column < bytesPerRow)
        rows[static_cast<size_t>(row) * bytesPerRow + column] = static_cast<u8>(value);
    if (++column == width) {
        column = 0;
        row++;
    }
}

int GifReference::decode(u32 rowCount)
{
    while (true) {
        if ((code == clearCode + 1 && !pending) || row == rowCount)
            return loadSuccess;
        if (code == clearCode && !pending) {
            codeSize = initialCodeSize;
            nextCode = clearCode + 2;
            oldCode = readCode();
            firstChar = oldCode & colourMask;
            put(firstChar);
        } else {
            if (!pending) {
                incoming = code;
                u32 part = code;
                if (part >= nextCode) {
                    stack.push_back(firstChar);
                    part = oldCode;
                }
                for (; part > colourMask; part = prefix[part]) {
                    if (stack.size() == 5000) {
                        stack.clear();
                        return loadBadData;
                    }
                    stack.push_back(suffix[part]);
                }
                firstChar = part & colourMask;
                stack.push_back(firstChar);
            }
            while (!stack.empty() && row < rowCount) {
                put(stack.back());
                stack.pop_back();
            }
            pending = !stack.empty();
            if (pending)
                return loadSuccess;
            if (nextCode < 4096) {
                prefix[nextCode] = oldCode;
                suffix[nextCode++] = firstChar;
            }
            oldCode = incoming;
            if (nextCode >= 1u << codeSize && codeSize < 12)
                codeSize++;
        }
        code = readCode();
        if (status != loadSuccess)
            return status;
    }
}

int GifReference::loadBand(u8* buffer, u32 count, u32 stride)
{
    if (!started) {
        const int failure = start();
        if (failure != loadSuccess)
            return failure;
    }
    rows = buffer;
    bytesPerRow = stride;
    row = column = 0;
    const int result = decode(std::min(count, rowsLeft));
    rowsLeft -= row;
    return result;
}
