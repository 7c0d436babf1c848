#include "samples/vamatex_writer.h"

#include "samples/bytes.h"

std::vector<uint8_t> encodeVamatex(const LoomProgram& program, bool isPiw)
{
    std::vector<uint8_t> bytes = {static_cast<uint8_t>(isPiw ? 2 : 1), 0, 0, 0x1C, 0x0C, 0x05};
    uint8_t setting = 0;
    for (const LoomStep& step : program) {
        if (step.count > 65535)
            return {};
        const auto low = static_cast<uint8_t>(step.count), high = static_cast<uint8_t>(step.count >> 8);
        if (step.kind == LoomStep::openRepeat) {
            bytes.insert(bytes.end(), {2, low, high, 0, 0, 0, 0, 0});
        } else if (step.kind == LoomStep::closeRepeat) {
            bytes.insert(bytes.end(), {3, 0, 0, 0, 0, 0, 0, 0});
        } else {
            const std::vector<uint8_t>& row = step.row;
            if (row.size() != 8 || (isPiw ? (row[3] | row[4]) != 0 : step.count != 1))
                return {};
            if (mirrored(row[7]) != setting) {
                setting = mirrored(row[7]);
                bytes.insert(bytes.end(), {4, setting, 0, 0, 0, 0, 0, 0});
            }
            bytes.push_back(1);
            for (size_t i = 0; i < 7; ++i)
                bytes.push_back(mirrored(row[i]));
            if (isPiw && step.count != 1) {
                bytes[bytes.size() - 4] = low;
                bytes[bytes.size() - 3] = high;
            }
        }
    }
    return bytes;
}
