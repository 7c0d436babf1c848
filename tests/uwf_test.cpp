#include "samples/uwf_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static const Picture picture = noisePicture(pictureBilevel, 400, 30, 0, 1);

TEST(Uwf, ReadsRecordsAndPicks)
{
    const std::vector<UwfRecord> note = {{1, {7}}}, date = {{10, {3, 1, 126, 0, 59}}}, longDate = {{10, Bytes(6, 1)}};
    const std::vector<UwfRecord> dateAndNote = {date[0], note[0]}, fifty(50, note[0]), longest = {{1, Bytes(1023)}};
    const std::vector<UwfRecord> earlier = {{35, {0, 0, 0, 1}}, {31, {1, 2}}, {18, {}}};
    const std::string name = "SULZER Textil .UWF\n";
    const std::tuple<UwfOptions, std::string, int> cases[] = {
        {{.first = date}, name + "3-1-2026 0:59\n", loadSuccess},
        {{.first = dateAndNote}, name, loadSuccess},
        {{.first = longDate, .widths = {100, 200, 60, 40}}, name, loadSuccess},
        {{.first = fifty, .second = earlier}, name, loadSuccess},
        {{.first = longest, .widths = {0, 0, 0, 393}}, name, loadSuccess},
        {{.first = {}}, "a list of its header has 0 records", loadWrongFormat},
        {{.first = std::vector<UwfRecord>(51, note[0])}, "a list of its header has 51 records", loadWrongFormat},
        {{.first = {{1, Bytes(1024)}}}, "a record of its header has 1024 bytes", loadWrongFormat},
        {{.widths = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 403}},
         "the header announces 12884902288 x 30, the file holds 1597 bytes",
         loadWrongFormat},
        {{.widths = {0}}, "its header tells a size of 0 x 30", loadWrongFormat}};
    TestDirectory files;
    for (const auto& [options, description, status] : cases) {
        const std::string file = files.write("d.uwf", encodeUwf(picture, options));
        const Loaded got = load(file, {.bands = {1, 28, 1}});
        EXPECT_EQ(got.status, status);
        EXPECT_EQ(status == loadSuccess ? got.description : llibGetReason(), description);
        if (status != loadSuccess)
            continue;
        EXPECT_EQ(got.numbers(), (std::vector<u32>{kindBilevel, 400, 30, 0, 0, 1, 1, 1, 1}));
        EXPECT_EQ(got.rows, picture.rows);
        EXPECT_EQ(load(file, {.bands = {30, 1}}).bandStatus, loadBadData);
    }
    // The caller's rows cut the picks anew, and find zeros behind them.
    const std::string file = files.write("e.uwf", encodeUwf(picture));
    Bytes wide = picture.rows;
    wide.resize(30 * 53);
    EXPECT_EQ(load(file, {.bands = {29, 1}, .extraStride = 3}).rows, wide);
    EXPECT_EQ(load(files.write("f.uwx", encodeUwf(picture)), {.id = formatUwf}).status, loadWrongFormat);
}

TEST(Uwf, TellsWhereAFileIsCut)
{
    const CardFormat uwf = {"a.uwf", formatUwf, [](const Picture& whole) { return encodeUwf(whole); }, ""};
    const std::vector<UwfRecord> header = {{1, Bytes(81)}}; // up to byte 101
    const Bytes whole = encodeUwf(picture, {.first = header});
    const std::pair<size_t, const char*> cuts[] = {{100, "the file is too small: 100 bytes"},
                                                   {101, "the file ends in its header"},
                                                   {whole.size() - 7, "the file ends in its picks"},
                                                   {whole.size() - 1, "the file ends before its check value"}};
    for (const auto& [size, reason] : cuts)
        EXPECT_EQ(toldOf(uwf, Bytes(whole.data(), whole.data() + size)), reason);
    expectLimits(uwf, {{400, 2, 400, 1}});
}

TEST(Uwf, IsHarmlessWhenDamaged)
{
    const Bytes bytes = encodeUwf(blankPicture(pictureBilevel, 100, 4));
    TestDirectory files;
    for (size_t i = 8; i < bytes.size(); i++) {
        Bytes damaged = bytes;
        damaged[i] ^= 0x10;
        EXPECT_EQ(load(files.write("d.uwf", damaged), {.id = formatUwf}).status, loadWrongFormat) << i;
        renewUwfCheck(damaged);
        load(files.write(std::to_string(i) + ".uwf", damaged), {.id = formatUwf});
    }
}

TEST(Uwf, CheckValueIsThatOfTheBitwiseDefinition)
{
    Bytes bytes(3000);
    u64 state = 1;
    for (u8& byte : bytes)
        byte = static_cast<u8>(nextRandom(state));
    for (int length = -1; length < 1000; length = length < 300 ? length + 1 : length + 37) {
        const u32 start = nextRandom(state);
        const u8* from = bytes.data() + nextRandom(state) % 64;
        u32 expected = start;
        for (int i = 0; i < length; i++) {
            expected = (expected & 0xFFFF) ^ from[i];
            for (int bit = 0; bit < 8; bit++)
                expected = (expected & 1) != 0 ? expected >> 1 ^ 0x8408 : expected >> 1;
        }
        EXPECT_EQ(crcUWF(start, from, length), expected) << length;
    }
}
