#include "samples/dornier_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static const CardFormat formats[] = {
    {"a", formatDoStyle, [](auto& picture) { return encodeDoStyle(picture); }, "Dornier DoStyle"},
    {"a.Pat", formatDoTech, [](auto& picture) { return encodeDoTech(picture); }, "DoTech"},
    {"a", formatMuster, [](auto& picture) { return encodeMuster(picture); }, "Muster"}};

TEST(Dornier, DeliversPicks)
{
    TestDirectory directory;
    const Picture picture = noisePicture(pictureBilevel, 64, 25, 0, 1);
    for (const CardFormat& format : formats) {
        const std::string path = directory.write(std::to_string(format.id) + format.name, format.encode(picture));
        const Loaded loaded = load(path, {.id = format.id, .bands = {7, 0, 18, 1}, .extraStride = 2, .fill = 0x0F});
        EXPECT_EQ(loaded.bandStatus, loadBadData);
        EXPECT_EQ(loaded.numbers(), (std::vector<u32>{0, 64, 25, 0, 0, 1, 1, 1, 1}));
        EXPECT_EQ(loaded.description, format.description);
        EXPECT_EQ(loaded.palette, Bytes(768, 0x0F));
        EXPECT_EQ(loaded.pixels(), picture.rows);
        EXPECT_EQ(loaded.rows.back(), 0xF0);
        const Loaded probed = load(path, {.id = format.id, .wantPalette = 0});
        EXPECT_EQ(std::pair(probed.height, probed.bandStatus), std::pair(25u, int{loadBadData}));
        expectHarmless(format.name, format.encode(noisePicture(pictureBilevel, 64, 7, 0, 1)), format.id);
        expectLimits(format, {{64, 65520, 64, 65521}});
    }
    EXPECT_EQ(statusOf("a", encodeDoStyle(noiseCards(64, 1)), formatDoStyle), loadWrongFormat);
}

TEST(Dornier, JudgesBlocks)
{
    TestDirectory directory;
    const Picture picture = noisePicture(pictureBilevel, 64, 12, 0, 1);
    int number = 0;
    auto loadStyle = [&](const Bytes& file) {
        return load(directory.write(std::to_string(number++), file), {.id = formatDoStyle});
    };
    // Where, what is written there, and whether the file is still good.
    const std::tuple<size_t, u8, bool> cases[] = {
        {0, 'b', false}, {2, 1, false},  {4, 9, true},    {26, 11, false},  {27, 1, false},  {28, 95, false},
        {32, 1, false},  {32, 2, true},  {32, 29, false}, {33, 0, false},   {33, 17, false}, {34, 0, false},
        {34, 9, false},  {35, 0, false}, {35, 9, false},  {36, 1, true},    {36, 9, false},  {37, 'D', false},
        {38, 51, false}, {38, 9, false}, {39, 1, false},  {89, 'c', false}, {91, 7, false},  {91, 5, false},
        {32, 28, true},  {33, 16, true}, {34, 8, true},   {35, 8, true},    {36, 8, true},   {36, 0, false}};
    for (const auto& [at, value, isGood] : cases) {
        Bytes file = encodeDoStyle(picture);
        file[at] = value;
        EXPECT_EQ(loadStyle(file).status, isGood ? loadSuccess : loadWrongFormat) << at << " " << int{value};
    }
    // The rest of a block is written over by the next one, and has to fit.
    Bytes rest = encodeDoStyle(noisePicture(pictureBilevel, 64, 2, 0, 1), 1);
    rest[38] += 7;
    rest.insert(rest.begin() + 49, 7, 0xFF);
    EXPECT_EQ(loadStyle(rest).pixels(), noisePicture(pictureBilevel, 64, 2, 0, 1).rows);
    EXPECT_STREQ(llibGetRemark(0, nullptr), "bytes of blocks make no whole pick and are not read: 7");
    rest[formatMuster]++;
    rest.push_back(0);
    EXPECT_EQ(loadStyle(rest).status, loadWrongFormat);
}

TEST(Dornier, JudgesLines)
{
    TestDirectory directory;
    const std::string line = "00 01 02 03 04 05 06 fF", row = line + "\r\n", head = "W 32 2\r\n\n\x05\n";
    const Bytes shafts = {0, 0x80, 0x40, 0xC0, 0x20, 0xA0, 0x60, 0xFF};
    auto with = [&](size_t at, const char* text) { return std::string(line).replace(at, strlen(text), text) + "\r\n"; };
    int number = 0;
    // The status of the loader, and without picks.
    auto expect = [&](u32 id, int status, int probed, const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const std::string path = directory.write(std::to_string(number++) + ".pat", text);
            const Loaded loaded = load(path, {.id = id});
            EXPECT_EQ(loaded.status, status) << text;
            EXPECT_EQ(load(path, {.id = id, .wantPalette = 0}).status, probed) << text;
            EXPECT_TRUE(status != 0 || std::equal(shafts.begin(), shafts.end(), loaded.rows.end() - 8)) << text;
        }
    };
    expect(formatMuster, 0, 0,
           {row + row, with(0, "Aa") + row, with(2, "\t") + row, line + "\n" + line + "  \n", row + line + "  "});
    expect(formatMuster, 6, 6,
           {with(2, "x") + row, with(0, " 1") + row, with(22, "g") + row, row + row + row.substr(1)});
    expect(formatMuster, 6, 0,
           {row + with(21, "G"), row + std::string(25, '0'), line + "  " + row, line + "   \n" + line,
            row + "\n" + std::string(24, 'x')});
    const std::string tail = "\r\n\n\x05\n" + row + row;
    expect(formatDoTech, 0, 0,
           {head + row + row, head + line + " \n" + line + "\n", "W 0 2" + tail,
            head + row + line + " " + std::string(90, ' ')});
    expect(formatDoTech, 6, 6,
           {"W 33 2" + tail, "W -1 2" + tail, "W 1 0" + tail, "W 1" + tail, "W 1 3" + tail, "W 1 65521 " + tail,
            head + row + "\r\n", head + row + line + " " + std::string(91, ' '), head + row + row.substr(0, 18)});
    expect(formatDoTech, 3, 0,
           {"W 1 2\r\n\n\x06\n" + row + row, "W 1 1\n" + std::string(24, '-'),
            "W 1 2\n" + std::string(40, '-') + "\n\x05\n" + row});
    expect(formatDoTech, 6, 0, {head + line + "   " + line, head + row + row.substr(0, 19)});
    // The last line has no end and comes early: one pick stays empty.
    const Loaded early =
        load(directory.write("e.pat", "W 1 3\n" + std::string(22, '-') + "\n\x05\n" + row + line + " "),
             {.id = formatDoTech});
    EXPECT_STREQ(llibGetRemark(0, nullptr), "picks that the file lacks are clear: 1");
    ASSERT_EQ(early.rows.size(), 24u);
    EXPECT_EQ(std::pair(early.rows[15], early.rows[16]), std::pair(u8{0xFF}, u8{0}));
    EXPECT_EQ(load(directory.write("a.dat", head + row + row), {.id = formatDoTech}).status, loadWrongFormat);
}
