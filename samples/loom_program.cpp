#include "samples/loom_program.h"

static void addPick(LoomProgram& program, std::vector<uint8_t> row)
{
    program.push_back({LoomStep::pick, 1, std::move(row)});
}

static void addHem(LoomProgram& program, size_t rowBytes, size_t hemBytes)
{
    auto hemRow = [&](int ends) {
        std::vector<uint8_t> row(hemBytes, static_cast<uint8_t>(ends));
        row.resize(rowBytes);
        return row;
    };
    program.push_back({LoomStep::openRepeat, 2});
    for (int ends : {0x33, 0x55}) {
        program.push_back({LoomStep::openRepeat, 2});
        addPick(program, hemRow(ends));
        addPick(program, hemRow(~ends));
        program.push_back({LoomStep::closeRepeat});
    }
    program.push_back({LoomStep::closeRepeat});
}

LoomProgram hemmedProgram(const Picture& picture, size_t hemBytes)
{
    const size_t rowBytes = pictureRowBytes(picture);
    auto rowAt = [&](uint32_t y) {
        auto first = picture.rows.begin() + static_cast<ptrdiff_t>(y * rowBytes);
        return std::vector<uint8_t>(first, first + static_cast<ptrdiff_t>(rowBytes));
    };
    LoomProgram program;
    addHem(program, rowBytes, hemBytes);
    for (uint32_t y = 0; y < picture.height;) {
        uint32_t equal = 1;
        while (y + equal < picture.height && rowAt(y + equal) == rowAt(y))
            ++equal;
        if (equal > 1)
            program.push_back({LoomStep::openRepeat, equal});
        addPick(program, rowAt(y));
        if (equal > 1)
            program.push_back({LoomStep::closeRepeat});
        y += equal;
    }
    addHem(program, rowBytes, hemBytes);
    return program;
}
