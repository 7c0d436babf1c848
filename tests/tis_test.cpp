#include "samples/tis_writer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/card_support.h"

namespace fs = std::filesystem;

constexpr u32 tis = formatTis;

struct Tis : testing::Test {
    TestDirectory files;
    int descriptors = openDescriptors();

    ~Tis() override { EXPECT_EQ(openDescriptors(), descriptors); }
    Loaded loadFile(const std::string& name) const { return load(files.path + "/" + name, {.id = tis}); }
};

TEST_F(Tis, LoadsTheWholeDesignFromEveryFile)
{
    const Picture picture = noiseCards(20, 2500);
    files.write("sDes.P", encodeTisHeader(picture, 3));
    for (u32 part = 0; part < 3; part++)
        files.write("dDes.S0" + std::to_string(part + 1), encodeTisPart(picture, 1000 * part, 1000));
    for (const char* name : {"sDes.P", "dDes.S01", "dDes.S03"}) {
        for (i64 extra : {0, 2, -1}) {
            // The last band asks for a row too many.
            const Loaded got =
                load(files.path + "/" + name, {.id = tis, .bands = {999, 0, 2, 1000, 500}, .extraStride = extra});
            EXPECT_EQ(got.numbers(), (std::vector<u32>{kindBilevel, 20, 2500, 0, 0, 1, 1, name[0] == 's', 1}));
            EXPECT_EQ(got.palette[0], 0);
            EXPECT_EQ(got.description, "Tis\n");
            EXPECT_TRUE(got.bandStatus == loadSuccess && llibGetRemarkCount() == 0);
            for (u64 i = 0; i < got.rows.size(); i++)
                ASSERT_EQ(got.rows[i], i / got.stride < 2500 && i % got.stride < 3
                                           ? picture.rows[i / got.stride * 3 + i % got.stride]
                                           : 0xA5);
        }
    }
    fs::remove(files.path + "/dDes.S02");
    EXPECT_EQ(loadFile("sDes.P").bandStatus, loadCannotRead);
    EXPECT_STREQ(llibGetReason(), "its part dDes.S02 cannot be opened");
}

TEST_F(Tis, CountsPartsAsTheDesigningSystemDoes)
{
    const Picture picture = noiseCards(9, 20);
    files.write("SX.P", encodeTisHeader(picture, 10));
    for (u32 part = 0; part < 10; part++) // the last is ":"
        files.write(std::string("DX.S0") + static_cast<char>('1' + part), encodeTisPart(picture, 2 * part, 2));
    EXPECT_EQ(loadFile("SX.P").rows, picture.rows);
    // One part never ends; what it lacks stays as it was.
    files.write("sy.p", encodeTisHeader(picture, 1));
    files.write("dy.s01", encodeTisPart(picture, 0, 18));
    Bytes expected = picture.rows;
    std::fill(expected.begin() + 36, expected.end(), u8{0xA5});
    EXPECT_EQ(loadFile("dy.s01").rows, expected);
    EXPECT_STREQ(llibGetRemark(0, nullptr), "the header announces 9 x 20, the file lacks 4 bytes of its 40 bytes");
    EXPECT_STREQ(llibGetRemark(1, nullptr), "picks that the file lacks are left as they were: 2");
}

TEST_F(Tis, RefusesOtherNamesAndHeaders)
{
    const Picture picture = noiseCards(20, 5);
    const Bytes header = encodeTisHeader(picture), part = encodeTisPart(picture);
    for (const char* name : {"sa.p", "sb.q", "s.p", "xa.p", "sd.p", "se.p"})
        files.write(name, header);
    for (const char* name : {"da.s01", "dd.s1", "d.s01", "dd.x01", "de.s02"})
        files.write(name, part);
    const std::pair<const char*, int> names[] = {
        {"sa.p", loadSuccess},      {"sb.q", loadWrongFormat},  {"s.p", loadWrongFormat},   {"xa.p", loadWrongFormat},
        {"sd.p", loadWrongFormat},  {"dd.x01", loadCannotRead}, {"dd.s1", loadWrongFormat}, {"d.s01", loadWrongFormat},
        {"de.s02", loadCannotRead}, {"da.s02", loadSuccess}};
    for (const auto& [name, expected] : names)
        EXPECT_EQ(loadFile(name).status, expected) << name;
    loadFile("sd.p");
    EXPECT_STREQ(llibGetReason(), "there is no dd.s01 beside it that can be read");
    const std::tuple<size_t, std::string, bool> fields[] = {
        {0, "    0", false},  {0, "   -1", false}, {6, "    0", false}, {6, "    x", false},
        {106, "   0", false}, {106, "  -1", true}, {106, "   2", true}, {111, "1", false},
        {20, ",", false},     {110, "0", false},   {0, "65521", true},  {12, "text", true}};
    for (const auto& [at, text, loads] : fields) {
        files.write("sa.p", patched(header, at, Bytes(text.begin(), text.end())));
        EXPECT_EQ(loadFile("sa.p").status, loads ? loadSuccess : loadWrongFormat) << at << text;
    }
}
