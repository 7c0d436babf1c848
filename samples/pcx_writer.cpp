#include "samples/pcx_writer.h"

#include "samples/bytes.h"

// Single bytes stand for themselves unless they look like a run.
static void addRuns(std::vector<uint8_t>& bytes, const uint8_t* samples, size_t size)
{
    for (size_t i = 0; i < size;) {
        size_t run = 1;
        while (run < 63 && i + run < size && samples[i + run] == samples[i])
            ++run;
        if (run > 1 || samples[i] >= 0xC0)
            bytes.push_back(static_cast<uint8_t>(0xC0 | run));
        bytes.push_back(samples[i]);
        i += run;
    }
}

static void addLine(std::vector<uint8_t>& samples, const Picture& picture, const uint8_t* row, uint32_t plane,
                    bool inBitPlanes)
{
    if (picture.kind == pictureBilevel) {
        samples.insert(samples.end(), row, row + pictureRowBytes(picture));
    } else if (!inBitPlanes) {
        const uint32_t step = picture.kind == pictureRgb ? 3 : 1;
        for (uint32_t x = 0; x < picture.width; ++x)
            samples.push_back(row[step * x + plane]);
    } else {
        for (uint32_t x = 0; x < picture.width; ++x) {
            if (x % 8 == 0)
                samples.push_back(0);
            samples.back() |= static_cast<uint8_t>((row[x] >> plane & 1) << (7 - x % 8));
        }
    }
}

std::vector<uint8_t> encodePcx(const Picture& picture, const PcxOptions& options)
{
    if (picture.kind == pictureRgba)
        return {};
    const bool inBitPlanes = picture.kind == pictureIndexed && options.planes != 0;
    const bool inBits = inBitPlanes || picture.kind == pictureBilevel;
    const uint32_t planes = picture.kind == pictureRgb ? 3 : inBitPlanes ? options.planes : 1;
    const uint32_t lineBytes = (inBits ? (picture.width + 7) / 8 : picture.width) + options.linePadding;
    std::vector<uint8_t> palette = picture.palette;
    if (picture.kind == pictureBilevel)
        palette = {255, 255, 255, 0, 0, 0};

    std::vector<uint8_t> bytes = {0x0A, options.version, 1, static_cast<uint8_t>(inBits ? 1 : 8)};
    for (uint32_t corner : {options.left + 0u, options.top + 0u, options.left + picture.width - 1,
                            options.top + picture.height - 1, 300u, 300u})
        addLittleEndian(bytes, corner, 2);
    for (size_t i = 0; i < 48; ++i)
        bytes.push_back(i < palette.size() ? palette[i] : 0);
    bytes.push_back(0);
    bytes.push_back(static_cast<uint8_t>(planes));
    addLittleEndian(bytes, lineBytes, 2);
    bytes.resize(128);

    std::vector<uint8_t> samples;
    for (uint32_t y = 0; y < picture.height; ++y) {
        for (uint32_t plane = 0; plane < planes; ++plane) {
            addLine(samples, picture, picture.rows.data() + y * pictureRowBytes(picture), plane, inBitPlanes);
            samples.resize(samples.size() + options.linePadding, 0x77);
            if (!options.runsOverLines) {
                addRuns(bytes, samples.data(), samples.size());
                samples.clear();
            }
        }
    }
    addRuns(bytes, samples.data(), samples.size());
    if (options.version == 5 && picture.kind == pictureIndexed && !inBitPlanes) {
        bytes.push_back(12);
        palette.resize(768);
        bytes.insert(bytes.end(), palette.begin(), palette.end());
    }
    return bytes;
}
