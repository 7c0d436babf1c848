#include "samples/palette_writer.h"

#include "samples/bytes.h"

static std::string colourLines(const std::vector<uint8_t>& colours, const std::string& lineEnd)
{
    std::string lines;
    for (size_t i = 0; i + 2 < colours.size(); i += 3)
        lines += std::to_string(colours[i]) + " " + std::to_string(colours[i + 1]) + " " +
                 std::to_string(colours[i + 2]) + lineEnd;
    return lines;
}

static std::vector<uint8_t> bytesOf(const std::string& text)
{
    return {text.begin(), text.end()};
}

std::vector<uint8_t> encodeJascPalette(const std::vector<uint8_t>& colours)
{
    const std::string count = std::to_string(colours.size() / 3);
    return bytesOf("JASC-PAL\r\n0100\r\n" + count + "\r\n" + colourLines(colours, "\r\n"));
}

std::vector<uint8_t> encodeGimpPalette(const std::vector<uint8_t>& colours, uint32_t columns)
{
    const std::string columnsLine = columns != 0 ? "Columns: " + std::to_string(columns) + "\n" : "";
    return bytesOf("GIMP Palette\nName: Yarns\n" + columnsLine + "#\n" + colourLines(colours, "\tyarn\n"));
}

std::vector<uint8_t> encodeColourList(const std::vector<uint8_t>& colours)
{
    return bytesOf(colourLines(colours, "\n"));
}

static void addName(std::vector<uint8_t>& bytes, const std::string& name)
{
    addBigEndian(bytes, static_cast<uint32_t>(name.size()), 4);
    for (size_t i = 0; name.size() > 1 && i < name.size(); ++i)
        addBigEndian(bytes, static_cast<uint8_t>(name[i]), 2);
}

std::vector<uint8_t> encodeAco(const std::vector<AcoRecord>& records, uint16_t version)
{
    std::vector<uint8_t> bytes;
    addBigEndian(bytes, version, 2);
    addBigEndian(bytes, static_cast<uint32_t>(records.size()), 2);
    for (size_t i = 0; i < records.size(); ++i) {
        for (uint16_t value : records[i])
            addBigEndian(bytes, value, 2);
        if (version == 2)
            addName(bytes, std::string(i % 4, 'n')); // names of one character are not stored
    }
    return bytes;
}

std::vector<AcoRecord> acoRecords(const std::vector<uint8_t>& colours)
{
    std::vector<AcoRecord> records;
    for (size_t i = 0; i + 2 < colours.size(); i += 3) {
        AcoRecord record = {};
        for (size_t channel = 0; channel < 3; ++channel)
            record[1 + channel] = static_cast<uint16_t>(colours[i + channel] * 257);
        records.push_back(record);
    }
    return records;
}

std::vector<uint8_t> encodeAcb(const std::vector<uint8_t>& components, uint16_t space, uint16_t columns)
{
    const size_t size = space == 2 ? 4 : 3;
    std::vector<uint8_t> bytes = {'8', 'B', 'C', 'B'};
    addBigEndian(bytes, 1, 2);
    addBigEndian(bytes, 3000, 2);
    for (const char* name : {"Yarns", "Y", "", "All the yarns"})
        addName(bytes, name);
    for (uint32_t value : {static_cast<uint32_t>(components.size() / size), columns + 0u, 0u, space + 0u})
        addBigEndian(bytes, value, 2);
    for (size_t i = 0; i + size <= components.size(); i += size) {
        addName(bytes, std::string(i % 5, 'n'));
        addText(bytes, "CODE00");
        bytes.insert(bytes.end(), components.begin() + static_cast<int64_t>(i),
                     components.begin() + static_cast<int64_t>(i + size));
    }
    return bytes;
}
