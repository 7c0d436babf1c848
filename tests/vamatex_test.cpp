#include "samples/vamatex_writer.h"

#include <gtest/gtest.h>

#include "tests/support.h"

static Bytes programFile(bool isPiw, std::initializer_list<Bytes> records)
{
    Bytes file = encodeVamatex({}, isPiw);
    for (const Bytes& record : records) {
        file.insert(file.end(), record.begin(), record.end());
        file.resize(file.size() + 8 - record.size());
    }
    return file;
}

TEST(Vamatex, ReadsRecordsAndRefusesOthers)
{
    TestDirectory directory;
    const Bytes pick = {9, 1, 2, 4, 8, 16, 32, 64}, row = {0x80, 0x40, 0x20, 0x10, 8, 4, 2, 0x55};
    const Bytes pid = programFile(false, {{4, 0xAA}, {1, 1}, {2, 2, 0}, pick, {3}});
    Bytes expected(24);
    expected[0] = 0x80, expected[7] = 0x55;
    std::copy(row.begin(), row.end(), std::copy(row.begin(), row.end(), expected.begin() + 8));
    EXPECT_EQ(load(directory.write("a.pid", pid)).pixels(), expected);
    Bytes uneven = pid, tooLong = pid;
    uneven.resize(pid.size() + 1);
    tooLong.resize(6 + 8 * 8192, 1);
    const std::tuple<const char*, Bytes, u32> refused[] = {{"b.piw", pid, 34},
                                                           {"c.piw", pid, 33},
                                                           {"e.pid", programFile(false, {pick, {4}}), 33},
                                                           {"f.pid", uneven, 33},
                                                           {"g.pid", tooLong, 33}};
    for (const auto& [name, file, id] : refused)
        EXPECT_EQ(load(directory.write(name, file), {.id = id}).status, loadWrongFormat) << name;
    expectHarmless("h.pid", pid, 33);
    expectHarmless("h.piw", programFile(true, {pick, {1, 1, 1, 1, 3, 0}, {2, 2}, {1}, {3}}), 34);
}

TEST(Vamatex, TakesCountsAwayFromPicks)
{
    TestDirectory directory;
    const std::string path = directory.write(
        "a.piw", programFile(true, {{1, 1, 0, 8, 3, 0}, {2, 2}, {1, 2, 0, 0, 0, 0}, {3}, {1, 4, 0, 0, 0, 1, 0, 9}}));
    OpenPicture open(path, 34);
    ASSERT_EQ(open.height, 3 + 2 + 256u);
    Bytes rows(8 * 261);
    EXPECT_EQ(getLoadBand()(rows.data(), open.height, 8), loadSuccess);
    const int firsts[] = {0x80, 0x80, 0x80, 0x40, 0x40, 0x20};
    for (size_t row = 0; row < 261; row++)
        EXPECT_EQ(rows[8 * row] << 16 | rows[8 * row + 3] << 8 | rows[8 * row + 4],
                  firsts[std::min<size_t>(row, 5)] << 16);
    EXPECT_EQ(rows[8 * 260 + 6], 0x90);
    // What the second call does not reach is only turned.
    std::fill(rows.begin(), rows.end(), 0x0F);
    EXPECT_EQ(getLoadBand()(rows.data(), open.height, 8), loadSuccess);
    EXPECT_EQ(std::vector<int>({rows[0], rows[8], rows[16], rows[24], rows[32]}),
              std::vector<int>({0x80, 0x40, 0x40, 0x20, 0xF0}));

    // The pick that completes the largest picture stays out of it.
    const Bytes full = programFile(true, {{1, 255, 0, 0, 0xED, 0xFF}, {1, 255, 0, 0, 3, 0}});
    const Loaded largest = load(directory.write("full.piw", full), {.fill = 0});
    EXPECT_EQ(std::pair(largest.rows[8 * 65516], largest.rows[8 * 65517]), std::pair(u8{255}, u8{0}));
    EXPECT_STREQ(llibGetRemark(0, nullptr), "rows of the picture are not written: 3");
}
