// Nissan, Viable, Nuovo Pignone, TongYuan and AVL.
#include "samples/small_dobby_writer.h"

#include <gtest/gtest.h>

#include "tests/card_support.h"

static const auto fast = [](const Picture& picture) { return encodePignone(picture); };
static const auto backwards = [](const Picture& picture) { return encodePignone(picture, 7, true); };
static const auto capitals = [](const Picture& picture) { return encodeNissan(picture); };

static const CardFormat nissan = {"a.any", formatNissan, capitals, "Nissan"};
static const CardFormat viable = {"a.Pun", formatPun, encodeViable, "Viable card"};
static const CardFormat pignone = {"a.ArM", formatPignone, fast, "Nuovo Pignone .ARM", 1, 0xA5, false};
static const CardFormat pignoneBackwards = {"a.arm", formatPignone, backwards, "Nuovo Pignone .ARM", 1, 0xA5, false};
static const CardFormat tongYuan = {"a.Dy", formatTongYuan, encodeTongYuan, "JinagYin Tongyuan .DY", 0, 0, false};
static const CardFormat avl = {"a.J1P", formatAvlJ1p, encodeAvl, "AVL J1P", 1, 0xA5, false};
constexpr int yes = loadSuccess, no = loadWrongFormat, bad = loadBadData;

// Of rows that three numbers can tell.
static Picture numbers(u32 height)
{
    Picture picture = noiseCards(32, height);
    for (size_t i = 0; i < picture.rows.size(); i += 4) {
        const bool isHigh = picture.rows[i + 3] >= 0x80;
        picture.rows[i + 2] &= isHigh ? 0xF0 : 0xF7;
        picture.rows[i + 3] &= isHigh || (picture.rows[i + 2] & 0xF) == 0 ? 0xF7 : 0x07;
    }
    return picture;
}

TEST(SmallDobbies, DeliverRows)
{
    for (u32 height : {2u, 33u, 9000u}) {
        expectDelivery(nissan, noiseCards(40, height));
        expectDelivery(pignone, noiseCards(40, height));
        expectDelivery(pignoneBackwards, noiseCards(40, height));
        EXPECT_EQ(llibGetRemarkCount(), 0);
        expectDelivery(tongYuan, numbers(height));
        expectDelivery(viable, noiseCards(height + 63, 5));
        expectDelivery(avl, noiseCards(height - 1, 5));
    }
    TestDirectory directory;
    for (const CardFormat* format : {&nissan, &viable, &avl}) { // which turn what is behind a row, too
        const u32 width = format == &nissan ? 40 : 400;
        const std::string file = directory.write(format->name, format->encode(noiseCards(width, 3)));
        EXPECT_EQ(load(file, {.id = format->id, .extraStride = 1, .fill = 0x0F}).rows.back(), 0xF0);
    }
    expectStoredBits(nissan, noiseCards(40, 60000), 22, CutRow::none, 11);
    expectStoredBits(viable, noiseCards(65520, 40), 512, CutRow::held);
    expectStoredBits(avl, noiseCards(65520, 40), 256, CutRow::held);
}

TEST(SmallDobbies, ReadNissanDigits)
{
    const Bytes program = encodeNissan(blankPicture(pictureBilevel, 40, 2));
    const std::pair<const char*, Bytes> lines[] = {{"1000000000", {0x80, 0, 0, 0, 0}},
                                                   {"8 f F9a7A0", {0x10, 0xF0, 0xF9, 0x5E, 0x50}},
                                                   {"0\n01000G@`", {0xFF, 0x08, 0, 0xFF, 0xFF}}};
    TestDirectory directory;
    for (const auto& [line, pixels] : lines) {
        const std::string file = directory.write("a", patched(program, 22, Bytes(line, line + 10)));
        EXPECT_EQ(load(file, {.id = formatNissan}).rows, patched(Bytes(10), 0, pixels)) << line;
    }
    EXPECT_STREQ(llibGetRemark(0, nullptr), "bytes of picks are no hexadecimal digits and lift all of their shafts: 3");
    expectStatuses(nissan, encodeNissan(noiseCards(40, 3)), no, {{0, 'P'}, {20, '4'}, {19, 'g'}});
    expectStatuses(nissan, encodeNissan(noiseCards(40, 3)), yes, {{17, ' ', ' '}, {21, 'x'}});
    EXPECT_EQ(statusOf("a", encodeNissan(noiseCards(40, 1)), 51), no);
}

TEST(SmallDobbies, ReadPignoneBlocks)
{
    // Picks that are never told are empty, those told twice count twice.
    TestDirectory directory;
    const Bytes file = patched(encodePignone(flatPicture(pictureBilevel, 40, 2, 0xFF), 1), 18 + 9 + 2, {1});
    EXPECT_EQ(load(directory.write("a.arm", file)).rows, patched(Bytes(10), 0, Bytes(5, 0xFF)));
    EXPECT_STREQ(llibGetRemark(0, nullptr), "picks are in no block of the file and stay clear: 1");
    // Blocks at 18 and 122.
    const Bytes good = encodePignone(noiseCards(40, 40), 20);
    expectStatuses(pignone, good, yes, {{6, 9}, {20, 21}, {124, 1}});
    const Patches patches = {{0, 'x'},        {1, 5},    {2, 1},  {3, 1},    {4, 1},  {4, 41},  {4, 39},
                             {4, 0xF1, 0xFF}, {18, 'x'}, {19, 2}, {19, 101}, {20, 0}, {20, 22}, {20, 0, 1}};
    expectStatuses(pignone, good, no, patches);
    EXPECT_EQ(statusOf("a.arm", encodePignone(noiseCards(40, 40), 33), 37), no);
}

TEST(SmallDobbies, ReadTongYuanNumbers)
{
    const std::string blanks(90, ' ');
    const std::pair<std::string, Bytes> good[] = {
        {"2\n1048575,16,3\n0,5,8\n", {0xFF, 0xFF, 0xF1, 3, 0, 0, 0, 0x58}},
        {"2 picks\r1048576,128,0\r 1, +2,\t3 and more\r", {0, 0, 8, 0, 0, 0, 0x10, 0x23}},
        {"002\r\n4660,0,1\r\n0,31,0   " + blanks, {1, 0x23, 0x40, 1, 0, 0, 0, 0xF0}}};
    TestDirectory directory;
    for (const auto& [text, rows] : good)
        EXPECT_EQ(load(directory.write("a.dy", text), {.id = formatTongYuan}).rows, rows) << text;
    const std::string overlong = "0,0,1     " + blanks;
    for (const std::string pick : {"1048577,0,0", "0,129,0", "0,0,9", "0,0,-1", "4294967296,0,0", "1 ,0,0", "1,0,",
                                   "\n\n0,0,0", overlong.c_str()})
        EXPECT_EQ(load(directory.write("a.dy", "2\n" + pick + "\n0,0,0\n"), {.id = formatTongYuan}).bandStatus, bad)
            << pick;
    EXPECT_EQ(toldOf(tongYuan, Bytes{'2', '\n', '1', ',', '2', '\n'}), "no pick is written \"1,2\"");
    for (const char* start : {"1", "x2", " 2", "65521", "18446744073709551618", ""})
        EXPECT_EQ(statusOf("a.dy", Bytes(start, start + strlen(start)), 36), no) << start;
}

TEST(SmallDobbies, TellHeadersThatAreNone)
{
    const Bytes pun = encodeViable(noiseCards(72, 3)), j1p = encodeAvl(noiseCards(10, 3));
    expectStatuses(viable, pun, no, {{16, 0, 0}, {16, 0xF1, 0xFF}, {18, 0xB1, 0xFF}});
    expectStatuses(viable, pun, yes, {{18, 0xB0, 0xFF}});
    expectStatuses(avl, j1p, bad, {{0, '-'}, {9, 0, 0}, {9, 0xFF, 0xF1}, {11, 0, 0}});
    EXPECT_EQ(statusOf("a.j1p", Bytes(j1p.begin(), j1p.begin() + 255), 22), loadCannotRead);
    EXPECT_EQ(statusOf("a.jlp", j1p, 22), no);
    for (const CardFormat* format : {&nissan, &pignone})
        expectLimits(*format, {{40, 2, 40, 1}, {40, 65520, 40, 65521}});
    expectLimits(tongYuan, {{32, 2, 32, 1}, {32, 65520, 32, 65521}});
    expectLimits(viable, {{64, 65520, 64, 65521}, {65520, 1, 65521, 1}});
    expectLimits(avl, {{9, 65520, 9, 65521}, {65520, 1, 65521, 1}});
    for (const CardFormat* format : {&viable, &tongYuan, &avl})
        EXPECT_EQ(load(std::string("/nowhere/") + format->name, {.id = format->id}).status, loadCannotRead);
}

TEST(SmallDobbies, TellWhatIsTheMatter)
{
    const Bytes nax = encodeNissan(noiseCards(40, 3)), arm = encodePignone(noiseCards(40, 40), 20);
    const std::tuple<const CardFormat&, Bytes, const char*> cases[] = {
        {nissan, patched(nax, 20, {'4'}), "the header announces 40 x 4, the file holds 55 bytes"},
        {nissan, patched(nax, 17, {'x', '\n'}), "its number of picks is no hexadecimal number: x?03"},
        {viable, patched(encodeViable(noiseCards(72, 3)), 16, {0}), "its header tells a size of 72 x 0"},
        {pignone, patched(arm, 20, {22}), "a block has 20 picks from pick 22 on, the weave has 40"},
        {pignone, Bytes(arm.begin(), arm.end() - 1), "the file ends 20 picks before the weave does"},
        {pignone, Bytes(arm.begin(), arm.begin() + 20), "the header announces 40 x 40, the file holds 20 bytes"},
        {pignone, Bytes(arm.begin(), arm.begin() + 21), "the file ends 40 picks before the weave does"},
        {pignone, patched(arm, 1, {255}), "the file ends in its header"},
        {avl, Bytes(255), "the file ends in its header"}};
    for (const auto& [format, bytes, reason] : cases) {
        EXPECT_NE(statusOf(format.name, bytes, format.id), loadSuccess);
        EXPECT_STREQ(llibGetReason(), reason);
    }
}
