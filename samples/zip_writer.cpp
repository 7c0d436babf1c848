#include "samples/zip_writer.h"

#include <zlib.h>

#include "samples/bytes.h"

constexpr uint32_t version = 20;
constexpr uint32_t madeByUnix = 3 << 8 | version;
constexpr uint32_t firstDay = 1 << 5 | 1; // of 1980

// What a member and its entry in the directory have in common.
static void addFields(std::vector<uint8_t>& bytes, const ZipMember& member)
{
    addLittleEndian(bytes, version, 2);
    addLittleEndian(bytes, 0, 6); // flags, stored, midnight
    addLittleEndian(bytes, firstDay, 2);
    addLittleEndian(
        bytes, static_cast<uint32_t>(crc32(0, member.bytes.data(), static_cast<uint32_t>(member.bytes.size()))), 4);
    addLittleEndian(bytes, static_cast<uint32_t>(member.bytes.size()), 4);
    addLittleEndian(bytes, static_cast<uint32_t>(member.bytes.size()), 4);
    addLittleEndian(bytes, static_cast<uint32_t>(member.name.size()), 2);
    addLittleEndian(bytes, 0, 2);
}

std::vector<uint8_t> encodeZip(const std::vector<ZipMember>& members)
{
    std::vector<uint8_t> bytes, directory;
    for (const ZipMember& member : members) {
        addText(directory, "PK\1\2");
        addLittleEndian(directory, madeByUnix, 2);
        addFields(directory, member);
        addLittleEndian(directory, 0, 6); // comment, disk, kind of text
        addLittleEndian(directory, member.mode << 16, 4);
        addLittleEndian(directory, static_cast<uint32_t>(bytes.size()), 4);
        addText(directory, member.name);

        addText(bytes, "PK\3\4");
        addFields(bytes, member);
        addText(bytes, member.name);
        bytes.insert(bytes.end(), member.bytes.begin(), member.bytes.end());
    }
    const auto start = static_cast<uint32_t>(bytes.size());
    bytes.insert(bytes.end(), directory.begin(), directory.end());
    addText(bytes, "PK\5\6");
    addLittleEndian(bytes, 0, 4);
    addLittleEndian(bytes, static_cast<uint32_t>(members.size()), 2);
    addLittleEndian(bytes, static_cast<uint32_t>(members.size()), 2);
    addLittleEndian(bytes, static_cast<uint32_t>(directory.size()), 4);
    addLittleEndian(bytes, start, 4);
    addLittleEndian(bytes, 0, 2);
    return bytes;
}
