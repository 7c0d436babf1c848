#include <gtest/gtest.h>

#include <ctime>
#include <functional>

#include "samples/bytes.h"
#include "samples/doweave_writer.h"
#include "samples/somet_writer.h"
#include "samples/vamatex_writer.h"
#include "tests/support.h"

struct ProgramFormat {
    const char* name;
    const char* description;
    u32 id, rowBytes;
    size_t mostOpen;
    std::function<Bytes(const LoomProgram&, u32 height)> encode;
    std::function<void(Bytes& row)> makeTellable; // random rows that the format can tell
};

static const ProgramFormat formats[] = {
    {"p.dop", "Somet .DOP", 30, 14, 9, [](auto& program, u32) { return encodeDop(program); },
     [](Bytes& row) { row[4] = 0xFF, row[7] &= 0x80; }},
    {"p.COP", "Somet .COP", 31, 6, 9, [](auto& program, u32) { return encodeCop(program); }, [](Bytes&) {}},
    {"p.Pid", "Vamatex .PID", 33, 8, 9, [](auto& program, u32) { return encodeVamatex(program, false); },
     [](Bytes&) {}},
    {"p.piw", "Vamatex .PIW", 34, 8, 9, [](auto& program, u32) { return encodeVamatex(program, true); },
     [](Bytes& row) { row[3] = row[4] = 0; }},
    {"p.des", "DoWeave .DES", 49, 8, 10, [](auto& program, u32 height) { return encodeDoWeave(program, height); },
     [](Bytes& row) { row[7] |= 1; }},
};

// What is to be woven, row after row, and how many rows there are at most on the way.
static Bytes weavePlainly(const LoomProgram& program, u64& peak)
{
    Bytes rows;
    std::vector<std::pair<u32, size_t>> open;
    for (const LoomStep& step : program) {
        if (step.kind == LoomStep::openRepeat) {
            open.emplace_back(step.count, rows.size());
            continue;
        }
        const auto [count, start] = step.kind == LoomStep::pick ? std::pair(step.count, rows.size()) : open.back();
        const Bytes block = step.kind == LoomStep::pick ? step.row : Bytes(rows.begin() + i64(start), rows.end());
        if (step.kind == LoomStep::closeRepeat)
            open.pop_back();
        rows.resize(start);
        for (u32 i = 0; i < count; i++)
            rows.insert(rows.end(), block.begin(), block.end());
        peak = std::max<u64>(peak, rows.size());
    }
    return rows;
}

static LoomProgram randomProgram(const ProgramFormat& format, u64& state)
{
    LoomProgram program;
    size_t depth = 0;
    Bytes row(format.rowBytes);
    for (u32 steps = 3 + nextRandom(state) % 40; steps > 0; steps--) {
        const u32 choice = nextRandom(state) % 8;
        if (choice < 2 && depth < format.mostOpen) {
            program.push_back({LoomStep::openRepeat, nextRandom(state) % 4});
            depth++;
        } else if (choice < 4 && depth > 0) {
            program.push_back({LoomStep::closeRepeat});
            depth--;
        } else {
            const size_t changed = choice < 6 ? std::min(row.size(), size_t{5}) : row.size();
            std::generate_n(row.begin(), changed, [&] { return static_cast<u8>(nextRandom(state)); });
            format.makeTellable(row);
            program.push_back({LoomStep::pick, format.id == 34 ? 1 + nextRandom(state) % 3 : 1, row});
        }
    }
    return program;
}

TEST(RepeatProgram, WeavesWhatThePlainWayWeaves)
{
    TestDirectory directory;
    u64 state = 7;
    for (const ProgramFormat& format : formats) {
        for (int round = 0; round < 150; round++) {
            const LoomProgram program = randomProgram(format, state);
            u64 peak = 0;
            const Bytes rows = weavePlainly(program, peak);
            peak /= format.rowBytes;
            const u64 height = format.id == 49 ? peak : rows.size() / format.rowBytes;
            // PID and DOP files have a least size.
            const Bytes file = format.encode(program, static_cast<u32>(height));
            const bool isGood = height >= 2 && height <= 65520 && file.size() >= 22;
            const std::string path = directory.write(std::to_string(round) + format.name, file);
            const Loaded loaded = load(path), wide = load(path, {.extraStride = 3, .fill = 0x0F});
            const Loaded few = load(path, {.bands = {2}});
            ASSERT_EQ(loaded.status, isGood ? loadSuccess : loadWrongFormat) << path;
            if (!isGood)
                continue;
            EXPECT_EQ(std::pair(loaded.format, loaded.bandStatus), std::pair(int(format.id), int{loadSuccess}));
            EXPECT_EQ(loaded.numbers(), (std::vector<u32>{0, 8 * format.rowBytes, u32(height), 0, 0, 1, 1, 1, 1}));
            EXPECT_EQ(loaded.description, format.description);
            EXPECT_EQ(loaded.palette, Bytes(768, 0xA5));
            EXPECT_TRUE(std::equal(rows.begin(), rows.end(), loaded.rows.begin())) << path;
            EXPECT_EQ(wide.pixels(), loaded.rows);
            EXPECT_EQ(wide.rows.back(), format.id == 49 ? 0x0F : 0xF0);
            const i64 fewBytes = 2 * i64{format.rowBytes};
            EXPECT_TRUE(std::equal(rows.begin(), rows.begin() + fewBytes, few.rows.begin()));
            EXPECT_TRUE(height == 2 || few.rows[fewBytes] == 0xA5);
        }
    }
}

static LoomProgram operator+(LoomProgram first, const LoomProgram& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

static LoomProgram repeat(u32 count, const LoomProgram& block, size_t depth = 1)
{
    return LoomProgram(depth, {LoomStep::openRepeat, count}) + block + LoomProgram(depth, {LoomStep::closeRepeat});
}

TEST(RepeatProgram, CostsNoMoreThanItsPicture)
{
    TestDirectory directory;
    for (const ProgramFormat& format : formats) {
        Bytes row(format.rowBytes, 0x81);
        format.makeTellable(row);
        const LoomProgram pick = {{LoomStep::pick, 1, row}}, two = pick + pick;
        const LoomProgram square = repeat(65535, pick, 2), full = repeat(65520, pick);
        const LoomProgram gone = repeat(0, full), many = repeat(32, pick);
        const size_t deep = format.mostOpen;
        LoomProgram removed = two, busy;
        for (u32 i = 0; i < 2000; i++) {
            removed = std::move(removed) + (i < 1600 ? gone : LoomProgram());
            busy = std::move(busy) + many;
        }
        const bool isDes = format.id == 49; // which has no room for more rows, be they removed or not
        // The rows, 0 where the program is refused.
        const std::pair<LoomProgram, u32> cases[] = {{repeat(65535, pick, deep) + two, 0},
                                                     {two + repeat(0, square), isDes ? 0 : 2},
                                                     {two + two + repeat(0, repeat(2, square)), 0},
                                                     {repeat(1, pick, deep) + pick, 2},
                                                     {repeat(1, pick, deep + 1) + pick, 0},
                                                     {LoomProgram(deep, {LoomStep::openRepeat, 7}) + two, 2},
                                                     {two + LoomProgram{{LoomStep::closeRepeat}}, 0},
                                                     {full, 65520},
                                                     {full + pick, 0},
                                                     {removed, isDes ? 0 : 2},
                                                     {full + repeat(0, {}) + repeat(65535, {}, deep - 1), 65520},
                                                     {busy, 64000}};
        for (size_t number = 0; number < std::size(cases); number++) {
            const auto& [program, rows] = cases[number];
            const std::string path =
                directory.write(std::to_string(number) + format.name, format.encode(program, std::max(2u, rows)));
            const clock_t start = clock();
            const Loaded loaded = load(path);
            EXPECT_LT(clock() - start, CLOCKS_PER_SEC / 2) << path;
            EXPECT_EQ(loaded.status, rows == 0 ? loadWrongFormat : loadSuccess) << path;
            EXPECT_EQ(llibGetRemarkCount(), number == 5 ? 1 : 0) << path; // repeats without an end
            ASSERT_EQ(loaded.rows.size(), rows * u64{format.rowBytes}) << path;
            for (u64 y = 0; y < rows; y += rows - 1)
                EXPECT_TRUE(std::equal(row.begin(), row.end(), &loaded.rows[y * format.rowBytes])) << path;
        }
    }
}

TEST(RepeatProgram, ShowsRemovedRowsOrRefuses)
{
    TestDirectory directory;
    for (size_t format : {3, 4}) {
        const bool isDes = formats[format].id == 49;
        const LoomStep first = {LoomStep::pick, 1, {1, 0, 0, 0, 0, 0, 0, 1}},
                       last = {LoomStep::pick, 1, {2, 0, 0, 0, 0, 0, 0, 1}};
        // PIW passes over the pick that completes the largest picture, and DES has no more picks: what was removed
        // shows.
        const LoomProgram showing = isDes ? LoomProgram{first} : LoomProgram{first, {LoomStep::pick, 65519, first.row}};
        for (u32 blocks : {65, 1024, 1025})
            for (bool shows : {true, false}) {
                LoomProgram program;
                for (u32 i = 1; i < blocks; i++)
                    program = std::move(program) + repeat(0, repeat(65520, {first}));
                program = program + repeat(0, repeat(65520, {last})) + (shows ? showing : repeat(65520, {first}));
                const std::string path =
                    directory.write(std::to_string(blocks) + (shows ? "s" : "h") + formats[format].name,
                                    formats[format].encode(program, 65520));
                const Loaded loaded = load(path);
                const bool isRefused = shows && blocks > 1024;
                EXPECT_EQ(isDes || !isRefused ? loaded.status : loaded.bandStatus,
                          isRefused ? loadBadData : loadSuccess)
                    << path;
                EXPECT_EQ(strlen(llibGetReason()) > 0, isRefused) << llibGetReason();
                for (u64 y = 0; y < 65520 && !isRefused; y++)
                    ASSERT_EQ(loaded.rows[8 * y], y > 0 && shows ? 2 : 1) << path << y;
            }
    }
}
