#include "samples/somet_writer.h"

#include <algorithm>

#include "samples/bytes.h"

std::vector<uint8_t> withSometHeader(const std::vector<uint8_t>& records, bool longHeader)
{
    const bool isLong = longHeader || records.size() > 255;
    std::vector<uint8_t> bytes = {static_cast<uint8_t>(isLong ? 18 : 17), 0xE0};
    addBigEndian(bytes, static_cast<uint32_t>(records.size()), isLong ? 2 : 1);
    bytes.insert(bytes.end(), records.begin(), records.end());
    uint32_t sum = 0;
    for (uint8_t byte : bytes)
        sum += byte;
    bytes.insert(bytes.begin(), {static_cast<uint8_t>(sum >> 8), static_cast<uint8_t>(sum)});
    return bytes;
}

// What a format has for a step; false when it has nothing.
using AddRecords = bool (*)(std::vector<uint8_t>& records, const LoomStep& step, std::vector<uint8_t>& settings);

static std::vector<uint8_t> encode(const LoomProgram& program, const SometOptions& options, size_t rowBytes,
                                   size_t pickBytes, AddRecords add)
{
    std::vector<uint8_t> records, settings(rowBytes - pickBytes);
    for (LoomStep step : program) {
        for (uint8_t& byte : step.row)
            byte = mirrored(byte);
        if (step.kind == LoomStep::pick && (step.row.size() != rowBytes || step.count != 1))
            return {};
        if (!add(records, step, settings))
            return {};
    }
    return records.size() <= 65535 ? withSometHeader(records, options.longHeader) : std::vector<uint8_t>();
}

static bool addDop(std::vector<uint8_t>& records, const LoomStep& step, std::vector<uint8_t>& settings)
{
    const uint8_t none = 0;
    auto add = [&](uint8_t first, uint8_t second, uint8_t third, char letter, uint8_t last) {
        records.insert(records.end(), {first, second, third, static_cast<uint8_t>(letter), last});
    };
    if (step.kind == LoomStep::closeRepeat) {
        add(none, none, none, '0', none);
        return true;
    }
    if (step.kind == LoomStep::openRepeat) {
        add(static_cast<uint8_t>(step.count), static_cast<uint8_t>(step.count >> 8), none, 'p', none);
        return step.count <= 65535;
    }
    const uint8_t* pick = step.row.data();
    const uint8_t* wanted = pick + 5;
    if (wanted[2] > 1)
        return false;
    if (!std::equal(wanted, wanted + 3, settings.begin()))
        add(wanted[0], wanted[1], 0, 'P', wanted[2]);
    const uint8_t kinds[] = {1, 4, 5};
    for (size_t i = 0; i < 3; ++i)
        if (!std::equal(wanted + 3 + 2 * i, wanted + 5 + 2 * i, settings.data() + 3 + 2 * i))
            add(wanted[3 + 2 * i], wanted[4 + 2 * i], kinds[i], 'P', 0);
    settings.assign(wanted, wanted + 9);
    add(pick[0], pick[1], pick[2], static_cast<char>(pick[3]), pick[4]);
    // Some picks would be read as something else.
    return pick[4] > 1 || (pick[3] != '0' && pick[3] != 'p' && pick[3] != 'P');
}

static bool addCop(std::vector<uint8_t>& records, const LoomStep& step, std::vector<uint8_t>& settings)
{
    auto add = [&](char letter, uint32_t first, uint32_t second) {
        records.insert(records.end(),
                       {static_cast<uint8_t>(letter), static_cast<uint8_t>(first), static_cast<uint8_t>(second)});
    };
    if (step.kind == LoomStep::closeRepeat) {
        add('N', 0, 0);
        return true;
    }
    if (step.kind == LoomStep::openRepeat) {
        add('F', step.count, step.count >> 8);
        return step.count <= 65535;
    }
    const uint8_t* pick = step.row.data();
    const uint8_t* wanted = pick + 2;
    if (!std::equal(wanted, wanted + 2, settings.begin()))
        add('D', wanted[0], wanted[1]);
    if (!std::equal(wanted + 2, wanted + 4, settings.begin() + 2))
        add('V', wanted[2], wanted[3]);
    settings.assign(wanted, wanted + 4);
    if (pick[0] == 0 && (pick[1] == 0 || pick[1] == 0x0F))
        add('R', 0, static_cast<uint8_t>(pick[1] == 0 ? '@' : 'G'));
    else
        add('T', pick[0], pick[1]);
    return true;
}

std::vector<uint8_t> encodeDop(const LoomProgram& program, const SometOptions& options)
{
    return encode(program, options, 14, 5, addDop);
}

std::vector<uint8_t> encodeCop(const LoomProgram& program, const SometOptions& options)
{
    return encode(program, options, 6, 2, addCop);
}

std::vector<uint8_t> encodeSometArm(const Picture& picture)
{
    if (picture.kind != pictureBilevel || picture.width != 40)
        return {};
    std::vector<uint8_t> bytes;
    for (uint8_t pixels : picture.rows) {
        const uint8_t columns = mirrored(pixels);
        bytes.push_back(columns & 0x0F);
        bytes.push_back(columns >> 4);
    }
    return bytes;
}
