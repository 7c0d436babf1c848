#include "samples/jc5_writer.h"

#include <zlib.h>

#include <algorithm>

#include "samples/bytes.h"

static void addDescriptor(std::vector<uint8_t>& bytes, const Jc5Descriptor& descriptor)
{
    addBigEndian(bytes, descriptor.type, 4);
    addBigEndian(bytes, static_cast<uint32_t>(descriptor.payload.size()), 4);
    bytes.insert(bytes.end(), descriptor.payload.begin(), descriptor.payload.end());
}

static void addDescriptors(std::vector<uint8_t>& bytes, const std::vector<Jc5Descriptor>& descriptors)
{
    addBigEndian(bytes, static_cast<uint32_t>(descriptors.size()), 4);
    for (const Jc5Descriptor& descriptor : descriptors)
        addDescriptor(bytes, descriptor);
}

static Jc5Descriptor numberDescriptor(uint32_t type, uint32_t value)
{
    Jc5Descriptor descriptor{.type = type};
    addBigEndian(descriptor.payload, value, 4);
    return descriptor;
}

static std::vector<Jc5Descriptor> designDescriptors(const Picture& picture, const Jc5Options& options)
{
    std::vector<Jc5Descriptor> descriptors;
    if (!options.name.empty())
        descriptors.push_back({.type = 1, .payload = {options.name.begin(), options.name.end()}});
    descriptors.push_back(numberDescriptor(2, picture.height));
    for (uint32_t layout : options.layout)
        descriptors.push_back(numberDescriptor(3, layout));
    descriptors.insert(descriptors.end(), options.more.begin(), options.more.end());
    return descriptors;
}

static std::vector<Jc5Descriptor> groupDescriptors(const std::vector<Jc5Group>& groups, const Jc5Options& options)
{
    std::vector<Jc5Descriptor> descriptors = options.moreBeforeGroups;
    for (const Jc5Group& group : groups) {
        Jc5Descriptor descriptor = numberDescriptor(100, 0);
        addBigEndian(descriptor.payload, group.hooks, 4);
        addText(descriptor.payload, group.name);
        descriptors.push_back(descriptor);
    }
    return descriptors;
}

static void addGroup(std::vector<uint8_t>& bytes, const uint8_t* row, uint32_t firstHook, uint32_t hooks, bool fill)
{
    for (uint32_t hook = 0; hook < hooks; hook += 8) {
        uint32_t byte = 0;
        for (uint32_t i = 0; i < 8; ++i) {
            uint32_t x = firstHook + hook + i;
            bool set = hook + i < hooks ? (row[x / 8] << (x % 8) & 0x80) != 0 : fill;
            byte |= static_cast<uint32_t>(set) << i;
        }
        bytes.push_back(static_cast<uint8_t>(byte));
    }
}

std::vector<uint8_t> encodeJc5(const Picture& picture, const Jc5Options& options)
{
    std::vector<Jc5Group> groups = options.groups;
    if (groups.empty())
        groups.push_back({.hooks = picture.width});
    uint64_t hooks = 0;
    for (const Jc5Group& group : groups)
        hooks += group.hooks;
    if (picture.kind != pictureBilevel || hooks != picture.width || options.firstPick > picture.height)
        return {};

    std::vector<uint8_t> bytes = {0x81, 0xFE, options.majorVersion, options.minorVersion};
    addDescriptors(bytes, designDescriptors(picture, options));
    addDescriptors(bytes, groupDescriptors(groups, options));
    uint32_t picks = std::min(options.pickCount, picture.height - options.firstPick);
    for (uint32_t pick = options.firstPick; pick < options.firstPick + picks; ++pick) {
        const uint8_t* row = picture.rows.data() + pick * pictureRowBytes(picture);
        uint32_t firstHook = 0;
        for (const Jc5Group& group : groups) {
            addGroup(bytes, row, firstHook, group.hooks, options.fillGroups);
            firstHook += group.hooks;
        }
    }
    return bytes;
}

std::vector<uint8_t> encodeZc5(const Picture& picture, const Jc5Options& options)
{
    const int gzipWindow = 15 + 16;
    std::vector<uint8_t> plain = encodeJc5(picture, options);
    z_stream stream{};
    if (plain.empty() ||
        deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, gzipWindow, 9, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    std::vector<uint8_t> packed(deflateBound(&stream, plain.size()));
    stream.next_in = plain.data();
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    bool complete = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    packed.resize(complete ? stream.total_out : 0);
    deflateEnd(&stream);
    return packed;
}
