#include "samples/doweave_writer.h"

#include <gtest/gtest.h>

#include "tests/support.h"

static LoomProgram picks(std::initializer_list<u8> firstBytes)
{
    LoomProgram program;
    for (u8 byte : firstBytes)
        program.push_back({LoomStep::pick, 1, {byte, 0, 0, 0, 0, 0, 0, 1}});
    return program;
}

static std::string textOf(const LoomProgram& program, u32 height, const DoWeaveOptions& options = {})
{
    const Bytes bytes = encodeDoWeave(program, height, options);
    return {bytes.begin(), bytes.end()};
}

TEST(DoWeave, ReadsRecords)
{
    TestDirectory directory;
    auto firstBytesOf = [&](const std::string& text) {
        const Loaded loaded = load(directory.write("a.DES", text), {.fill = 0});
        Bytes bytes;
        for (size_t i = 0; i < loaded.rows.size(); i += 8)
            bytes.push_back(loaded.rows[i]);
        return bytes;
    };
    const LoomProgram three = picks({1, 2, 4});
    for (const char* lineEnd : {"\n", "\r\n", "\r"})
        for (bool isLong : {false, true})
            EXPECT_EQ(firstBytesOf(textOf(three, 3, {lineEnd, isLong, isLong})), (Bytes{1, 2, 4})) << isLong;
    // Rows that no pick reaches are empty, unless a block stood there that a repeat has removed.
    EXPECT_EQ(firstBytesOf(textOf(three, 5)), (Bytes{1, 2, 4, 0, 0}));
    EXPECT_STREQ(llibGetRemark(0, nullptr), "picks that the file lacks are clear: 2");
    const LoomStep none = {LoomStep::openRepeat, 0}, twice = {LoomStep::openRepeat, 2}, end = {LoomStep::closeRepeat};
    EXPECT_EQ(firstBytesOf(textOf({three[0], none, twice, three[1], end, three[2], end, three[0]}, 5)),
              (Bytes{1, 1, 2, 4, 0}));
    EXPECT_EQ(firstBytesOf(textOf({three[0], twice, three[1], end, three[2], none, end}, 4)), (Bytes{1, 2, 2, 4}));
    // The body ends with its last record, whatever follows.
    EXPECT_EQ(firstBytesOf(textOf(three, 3, {.records = 2}) + "else"), (Bytes{1, 2, 0}));
    // A last line without an end does, too.
    const std::string endless = textOf(three, 3, {.records = 9});
    EXPECT_EQ(firstBytesOf(endless.substr(0, endless.size() - 2)), (Bytes{1, 2, 4}));

    const std::string head = textOf({}, 2, {.records = 2});
    const std::pair<const char*, Bytes> lines[] = {
        {"0043000000080102030405060708", {0x80, 0x40, 0xC0, 0x20, 0xA0, 0x60, 0xE0, 0x10}},
        {"004300000008010203040506073F", {0x80, 0x40, 0xC0, 0x20, 0xA0, 0x60, 0xE0, 0xFC}},
        {"0043xxxx0008010203040506fF80", {0x80, 0x40, 0xC0, 0x20, 0xA0, 0x60, 0xFF, 0x01}},
        {"00430000000801g203-4050607", {0x80, 0xFF, 0xC0, 0xFF, 0xA0, 0x60, 0xE0, 0xFF}},
        {"004300000008[1_2", {0x82, 0x41, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}};
    for (const auto& [line, row] : lines) {
        const Loaded loaded = load(directory.write("b.des", head + line + "\n" + line + "\n"));
        EXPECT_TRUE(loaded.rows.size() == 16 && std::equal(row.begin(), row.end(), loaded.rows.begin())) << line;
    }

    // Every band begins at the first row.
    const Loaded again = load(directory.write("c.des", textOf(three, 3)), {.bands = {1, 2}, .fill = 0});
    EXPECT_EQ(std::vector<int>({again.rows[0], again.rows[8], again.rows[16]}), std::vector<int>({1, 1, 2}));
    const Loaded probed = load(directory.path + "/c.des", {.wantPalette = 0});
    EXPECT_EQ(std::vector<i64>({probed.status, probed.height, probed.bandStatus}), std::vector<i64>({0, 3, 7}));
}

TEST(DoWeave, RefusesOthersAndTellsUnknownRecords)
{
    TestDirectory directory;
    const LoomProgram three = picks({1, 2, 4});
    const std::string good = textOf(three, 3, {"\n"}), head = good.substr(0, 79);
    const std::string pick = good.substr(good.size() - 29), wide = textOf(three, 3, {"\n", true});
    auto with = [](std::string text, size_t at, const char* other) { return text.replace(at, strlen(other), other); };
    int number = 0;
    auto expectRefusal = [&](const std::string& text, const std::string& said = "") {
        const std::string name = std::to_string(number++) + ".des", path = directory.write(name, text);
        testing::internal::CaptureStdout();
        EXPECT_EQ(load(path, {.id = formatDoWeave}).status, loadWrongFormat) << text;
        fflush(stdout);
        EXPECT_STRNE(llibGetReason(), llibStatusText(loadWrongFormat)) << text;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  said.empty() ? "" : "DoWeave " + name + " contains unknown record(" + said + "\n");
    };
    const std::pair<size_t, const char*> damages[] = {{3, "1"},     {5, "x"},     {7, ":"},         {12, "x"},
                                                      {14, "0043"}, {18, "0001"}, {22, "0019"},     {26, "0200"},
                                                      {26, "0100"}, {26, "F1FF"}, {34, "00000000"}, {88, "9"}};
    for (const auto& [at, other] : damages)
        expectRefusal(with(good, at, other));
    for (const char* length : {"001F", "0021"})
        expectRefusal(with(wide, 22, length));
    expectRefusal(head + with(pick, 26, "60") + pick);
    expectRefusal(head + with(with(pick, 26, "40"), 12, "0g00") + pick);
    // What is said of a record that is none of the format.
    expectRefusal(with(good, 34, "xxxxxxxx"), "-1): ");
    expectRefusal(head + pick + "\n", "-1): ");
    expectRefusal(head + pick + "0044\n" + pick, "68): 0044");
    for (const auto& [at, other] : {std::pair<size_t, const char*>(8, "???99"), {26, "F0FF"}})
        EXPECT_EQ(load(directory.write(other + std::string(".des"), with(good, at, other))).status, loadSuccess);
    testing::internal::CaptureStdout();
    expectHarmless("h.des", encodeDoWeave(three, 3), 49);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(load(directory.write("a.dez", good), {.id = formatDoWeave}).status, loadWrongFormat);
}
