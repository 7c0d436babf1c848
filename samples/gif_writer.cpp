#include "samples/gif_writer.h"

#include <algorithm>

#include "samples/bytes.h"

struct BitWriter {
    std::vector<uint8_t> bytes;
    uint32_t pending = 0;
    unsigned count = 0;

    void add(uint32_t code, unsigned bits)
    {
        pending |= code << count;
        for (count += bits; count >= 8; count -= 8, pending >>= 8)
            bytes.push_back(static_cast<uint8_t>(pending));
    }
};

static std::vector<uint8_t> compress(const std::vector<uint8_t>& indices, unsigned codeSize, bool deferredClear)
{
    const uint32_t clear = 1u << codeSize, fullTable = 4096, none = 0;
    std::vector<uint16_t> children(size_t{fullTable} * 256);
    BitWriter writer;
    uint32_t next = clear + 2;
    unsigned bits = codeSize + 1;
    // A code is announced wider as soon as the reader, who learns each new code one step later, can expect it.
    auto addCode = [&](uint32_t code) {
        writer.add(code, bits);
        if (next == 1u << bits && bits < 12)
            ++bits;
    };

    writer.add(clear, bits);
    uint32_t prefix = indices.empty() ? clear + 1 : indices[0];
    for (size_t i = 1; i < indices.size(); ++i) {
        uint16_t& child = children[size_t{prefix} * 256 + indices[i]];
        if (child != none) {
            prefix = child;
            continue;
        }
        addCode(prefix);
        if (next < fullTable)
            child = static_cast<uint16_t>(next++);
        if (next == fullTable && !deferredClear) {
            writer.add(clear, bits);
            std::fill(children.begin(), children.end(), static_cast<uint16_t>(none));
            next = clear + 2;
            bits = codeSize + 1;
        }
        prefix = indices[i];
    }
    if (!indices.empty())
        addCode(prefix);
    writer.add(clear + 1, bits);
    if (writer.count > 0)
        writer.add(0, 8 - writer.count);
    return writer.bytes;
}

static std::vector<uint8_t> indicesOf(const Picture& picture)
{
    if (picture.kind == pictureIndexed)
        return picture.rows;
    std::vector<uint8_t> indices;
    size_t rowBytes = pictureRowBytes(picture);
    for (size_t y = 0; y < picture.height; ++y)
        for (size_t x = 0; x < picture.width; ++x)
            indices.push_back(picture.rows[y * rowBytes + x / 8] >> (7 - x % 8) & 1);
    return indices;
}

static std::vector<uint8_t> interlace(const std::vector<uint8_t>& indices, size_t width, size_t height)
{
    std::vector<uint8_t> stored;
    const size_t passes[4][2] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
    for (auto [first, step] : passes)
        for (size_t y = first; y < height; y += step) {
            auto row = indices.begin() + static_cast<ptrdiff_t>(y * width);
            stored.insert(stored.end(), row, row + static_cast<ptrdiff_t>(width));
        }
    return stored;
}

static void addSubBlocks(std::vector<uint8_t>& bytes, const std::vector<uint8_t>& data, size_t blockSize)
{
    for (size_t start = 0; start < data.size(); start += blockSize) {
        size_t size = std::min(blockSize, data.size() - start);
        bytes.push_back(static_cast<uint8_t>(size));
        bytes.insert(bytes.end(), &data[start], &data[start] + size);
    }
    bytes.push_back(0);
}

static void addExtensions(std::vector<uint8_t>& bytes, const GifOptions& options)
{
    if (options.application) {
        addText(bytes, "\x21\xFF\x0BNETSCAPE2.0");
        addSubBlocks(bytes, {1, 0, 0}, 255);
    }
    if (!options.comment.empty()) {
        addText(bytes, "\x21\xFE");
        addSubBlocks(bytes, {options.comment.begin(), options.comment.end()}, 255);
    }
    if (options.plainText) {
        addText(bytes, "\x21\x01");
        bytes.push_back(12);
        for (uint32_t value : {0, 0, 32, 8}) // place and size of its grid
            addLittleEndian(bytes, value, 2);
        bytes.insert(bytes.end(), {8, 8, 1, 0}); // cell size, colours
        addSubBlocks(bytes, {'w', 'e', 'f', 't'}, 255);
    }
    if (options.graphicControl) {
        bool transparent = options.transparentIndex >= 0;
        uint8_t index = static_cast<uint8_t>(transparent ? options.transparentIndex : 0);
        bytes.insert(bytes.end(), {0x21, 0xF9, 4, static_cast<uint8_t>(transparent), 0, 0, index, 0});
    }
}

std::vector<uint8_t> encodeGif(const Picture& picture, const GifOptions& options)
{
    if ((picture.kind != pictureIndexed && picture.kind != pictureBilevel) || picture.width > 0xFFFF ||
        picture.height > 0xFFFF || options.subBlockSize < 1 || options.subBlockSize > 255)
        return {};
    std::vector<uint8_t> palette = picture.palette;
    if (picture.kind == pictureBilevel)
        palette = {255, 255, 255, 0, 0, 0};
    std::vector<uint8_t> indices = indicesOf(picture);

    unsigned tableBits = options.tableBits;
    while (options.tableBits == 0 && (tableBits == 0 || palette.size() > size_t{3} << tableBits))
        ++tableBits;
    unsigned codeSize = options.minimumCodeSize != 0 ? options.minimumCodeSize : std::max(tableBits, 2u);
    if (tableBits > 8 || codeSize < 2 || codeSize > 11 ||
        std::any_of(indices.begin(), indices.end(), [&](uint8_t index) { return index >> codeSize != 0; }))
        return {};
    palette.resize(size_t{3} << tableBits);
    uint8_t tableFlags = static_cast<uint8_t>(0x80 | (tableBits - 1));

    std::vector<uint8_t> bytes;
    addText(bytes, options.version89 ? "GIF89a" : "GIF87a");
    addLittleEndian(bytes, picture.width, 2);
    addLittleEndian(bytes, picture.height, 2);
    bytes.push_back(static_cast<uint8_t>(0x70 | (options.globalTable ? tableFlags : 0)));
    bytes.insert(bytes.end(), {0, options.aspect});
    if (options.globalTable)
        bytes.insert(bytes.end(), palette.begin(), palette.end());
    addExtensions(bytes, options);

    bytes.push_back(',');
    addLittleEndian(bytes, 0, 4);
    addLittleEndian(bytes, picture.width, 2);
    addLittleEndian(bytes, picture.height, 2);
    bytes.push_back(static_cast<uint8_t>((options.localTable ? tableFlags : 0) | (options.interlaced ? 0x40 : 0)));
    if (options.localTable)
        bytes.insert(bytes.end(), palette.begin(), palette.end());
    if (options.interlaced)
        indices = interlace(indices, picture.width, picture.height);
    std::vector<uint8_t> data = compress(indices, codeSize, options.deferredClear);
    data.resize(data.size() + options.paddingBytes);
    bytes.push_back(static_cast<uint8_t>(codeSize));
    addSubBlocks(bytes, data, options.subBlockSize);
    bytes.push_back(';');
    return bytes;
}
