#include "tests/gif_reference.h"

namespace
{
struct Reader {
    const Bytes& data;
    size_t place = 1;
    Bytes ring = Bytes(512, 0);
    i64 written = 0;
    i64 bit = 0;
    int lastCount = 255;
    int status = loadSuccess;

    u32 next(int codeSize)
    {
        i64 byte = bit / 8;
        auto available = [&] { return std::max<i64>(0, written - byte); };
        auto at = [&](i64 index) { return static_cast<u32>(ring[static_cast<size_t>(index % 512)]); };
        u32 mask = (1u << codeSize) - 1;
        u32 shift = static_cast<u32>(bit % 8);
        if (available() < 3) {
            if (lastCount == 0)
                return 0;
            size_t length = 0;
            if (place < data.size())
                length = data[place++];
            else
                status = loadCannotRead;
            lastCount = 0;
            for (size_t i = 0; i < length; i++) {
                if (place == data.size()) {
                    status = loadCannotRead;
                    break;
                }
                ring[static_cast<size_t>(written++ % 512)] = data[place++];
                lastCount++;
            }
            if (available() < 2) {
                bit += codeSize;
                return at(byte) >> shift & mask;
            }
        }
        u32 bits = at(byte) | at(byte + 1) << 8;
        if (codeSize >= 8 && available() >= 3)
            bits |= at(byte + 2) << 16;
        bit += codeSize;
        return bits >> shift & mask;
    }
};
} // namespace

GifResult referenceGif(const Bytes& data, u32 colours, u64 pixelCount)
{
    GifResult result{loadSuccess, {}};
    if (data.empty())
        return {loadCannotRead, {}};
    const int minimum = data[0];
    if (minimum > 11)
        return {loadBadData, {}};
    const u32 colourMask = colours - 1;
    const u32 clearCode = 1u << minimum;
    u32 nextCode = clearCode + 2;
    int codeSize = minimum + 1;
    std::vector<u32> prefix(4096, 0), suffix(4096, 0), stack;
    u32 oldCode = 0, firstChar = 0;
    Reader reader{data};
    u32 code = reader.next(codeSize);
    if (reader.status != loadSuccess)
        return {reader.status, {}};
    while (true) {
        if (code == clearCode + 1 || result.pixels.size() == pixelCount)
            return result;
        if (code == clearCode) {
            codeSize = minimum + 1;
            nextCode = clearCode + 2;
            oldCode = reader.next(codeSize);
            firstChar = oldCode & colourMask;
            result.pixels.push_back(static_cast<u8>(firstChar));
        } else {
            u32 incoming = code;
            if (code >= nextCode) {
                stack.push_back(firstChar);
                code = oldCode;
            }
            while (code > colourMask) {
                if (stack.size() > 5000)
                    return {loadBadData, result.pixels};
                stack.push_back(suffix[code]);
                code = prefix[code];
            }
            firstChar = code & colourMask;
            stack.push_back(firstChar);
            while (!stack.empty() && result.pixels.size() < pixelCount) {
                result.pixels.push_back(static_cast<u8>(stack.back()));
                stack.pop_back();
            }
            if (!stack.empty())
                return result;
            if (nextCode < 4096) {
                prefix[nextCode] = oldCode;
                suffix[nextCode] = firstChar;
                nextCode++;
            }
            oldCode = incoming;
            if (nextCode >= 1u << codeSize && codeSize < 12)
                codeSize++;
        }
        code = reader.next(codeSize);
        if (reader.status != loadSuccess) {
            result.status = reader.status;
            return result;
        }
    }
}
