#include "samples/doweave_writer.h"

#include "samples/bytes.h"

static std::string hexText(const std::vector<uint8_t>& bytes)
{
    std::string text;
    for (uint8_t byte : bytes) {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 15];
    }
    return text;
}

static std::string recordText(uint32_t type, const std::vector<uint8_t>& data)
{
    std::vector<uint8_t> bytes;
    addBigEndian(bytes, type, 2);
    addBigEndian(bytes, 0, 2);
    addBigEndian(bytes, static_cast<uint32_t>(data.size()), 2);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return hexText(bytes);
}

std::vector<uint8_t> encodeDoWeave(const LoomProgram& program, uint32_t height, const DoWeaveOptions& options)
{
    const auto records = options.records != 0 ? options.records : static_cast<uint32_t>(program.size());
    std::vector<uint8_t> description(options.longDescription ? 22 : 0);
    addLittleEndian(description, height, 2);
    description.resize(options.longDescription ? 24 : 4);
    addLittleEndian(description, options.longDescription ? 8 * records : records, 4);
    description.resize(options.longDescription ? 32 : 26);

    std::string text = "0010 12.Mar96" + options.lineEnd;
    text += recordText(options.longDescription ? 66 : 68, description) + options.lineEnd;
    for (const LoomStep& step : program) {
        std::vector<uint8_t> data(8);
        if (step.kind == LoomStep::pick) {
            if (step.row.size() != 8 || step.count != 1)
                return {};
            for (size_t i = 0; i < 8; ++i)
                data[i] = mirrored(step.row[i]);
            // Some picks would be read as something else.
            if (data[7] >= 0x40 && data[7] < 0x80)
                return {};
        } else if (step.count > 65535) {
            return {};
        } else {
            data[0] = static_cast<uint8_t>(step.count);
            data[1] = static_cast<uint8_t>(step.count >> 8);
            data[7] = step.kind == LoomStep::openRepeat ? 0x40 : 0x60;
        }
        text += recordText(67, data) + options.lineEnd;
        if (options.remarks)
            for (uint32_t type : {26u, 75u, 81u, 82u})
                text += recordText(type, {}) + options.lineEnd;
    }
    std::vector<uint8_t> bytes;
    addText(bytes, text);
    return bytes;
}
