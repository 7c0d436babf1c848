#include "samples/uwf_writer.h"

#include "samples/bytes.h"

constexpr size_t checkAndEnd = 6;

static void addRecords(std::vector<uint8_t>& bytes, const std::vector<UwfRecord>& records)
{
    addBigEndian(bytes, static_cast<uint32_t>(records.size()), 4);
    for (const UwfRecord& record : records) {
        addBigEndian(bytes, record.type, 4);
        addBigEndian(bytes, static_cast<uint32_t>(8 * record.payload.size()), 4);
        bytes.insert(bytes.end(), record.payload.begin(), record.payload.end());
    }
}

void renewUwfCheck(std::vector<uint8_t>& bytes)
{
    uint32_t check = 0;
    for (size_t i = 0; i < bytes.size() - checkAndEnd; ++i) {
        check ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            check = (check & 1) != 0 ? check >> 1 ^ 0x8408 : check >> 1;
    }
    bytes[bytes.size() - checkAndEnd] = static_cast<uint8_t>(check >> 8);
    bytes[bytes.size() - checkAndEnd + 1] = static_cast<uint8_t>(check);
}

std::vector<uint8_t> encodeUwf(const Picture& picture, const UwfOptions& options)
{
    static const uint32_t types[] = {35, 31, 18, 19};
    const std::vector<uint32_t> widths = options.widths.empty() ? std::vector<uint32_t>{picture.width} : options.widths;
    std::vector<UwfRecord> second = options.second;
    for (size_t i = 0; i < widths.size(); ++i) {
        second.push_back({types[i], {}});
        addBigEndian(second.back().payload, widths[i], 4);
    }

    std::vector<uint8_t> bytes = {'U', 'W', 'F', 'C', 'R', '2', 'v', '1'};
    addRecords(bytes, options.first);
    addRecords(bytes, second);
    addBigEndian(bytes, picture.height, 4);
    bytes.insert(bytes.end(), picture.rows.begin(), picture.rows.end());
    addBigEndian(bytes, 0, 2);
    addBigEndian(bytes, 0x00F7FE0F, 4);
    renewUwfCheck(bytes);
    return bytes;
}
