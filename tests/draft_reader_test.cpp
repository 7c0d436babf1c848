// Reads drafts as weaving programs write them; the drawdowns are drawn by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>

#include "loomfile.hpp"

using std::string;
using std::vector;

namespace
{

struct Reading {
    loomfile::File file;
    loomfile::Draft draft;
    LoomfileDraftInfo info;

    explicit Reading(const string& text, const string& name = "draft.wif", LoomfileOptions options = loomfileOptions())
        : file(loomfile::File::fromMemory(text.data(), text.size(), name, options)), draft(file), info(draft.info())
    {
    }

    // A word a pick, '#' where the warp is up.
    string drawdown() const
    {
        string rows;
        const vector<u8> all = draft.rows();
        for (u32 pick = 0; pick < info.picks; pick++) {
            const u8* bits = &all[pick * size_t{(info.ends + 7) / 8}];
            rows += pick != 0 ? " " : "";
            for (u32 end = 0; end < info.ends; end++)
                rows += (bits[end / 8] << end % 8 & 0x80) != 0 ? '#' : '.';
        }
        return rows;
    }

    // Of ends, then picks, as "FF0000".
    string colours() const
    {
        vector<u8> bytes(3 * (info.ends + info.picks));
        loomfileDraftColours(draft.get(), bytes.data(), bytes.data() + 3 * info.ends);
        string words;
        char word[8];
        for (size_t i = 0; i < bytes.size(); i += 3) {
            snprintf(word, sizeof word, "%02X%02X%02X ", bytes[i], bytes[i + 1], bytes[i + 2]);
            words += i == 3 * info.ends ? "| " : "";
            words += word;
        }
        return words;
    }

    string remarks() const
    {
        string all;
        for (const loomfile::Remark& remark : file.remarks())
            all += (remark.isGrave ? "!" : "+") + remark.text;
        return all;
    }
};

string replaced(string text, const string& from, const string& to)
{
    for (size_t at = text.find(from); at != string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

string utf16(const string& text, bool isBigEndian)
{
    string bytes;
    for (const char letter : text)
        bytes += isBigEndian ? string{'\0', letter} : string{letter, '\0'};
    return bytes;
}

// What is said of a text that is refused.
string refusalOf(const string& text, const string& name = "draft.wif")
{
    try {
        return "taken: " + Reading(text, name).remarks();
    } catch (const loomfile::Error& error) {
        return error.what();
    }
}

// A 2/2 twill on four shafts and four treadles, as many programs for Windows write it.
const string twill = "[WIF]\r\nVersion=1.1\r\nDate=April 20, 1997\r\nDevelopers=somebody\r\n"
                     "Source Program=Weaver's Friend\r\nSource Version=4.2\r\n\r\n"
                     "[CONTENTS]\r\nCOLOR PALETTE=true\r\nTEXT=true\r\nNOTES=true\r\nWEAVING=true\r\nWARP=true\r\n"
                     "WEFT=true\r\nCOLOR TABLE=true\r\nTHREADING=true\r\nTIEUP=true\r\nTREADLING=true\r\n"
                     "WARP COLORS=true\r\n\r\n"
                     "[COLOR PALETTE]\r\nEntries=3\r\nForm=RGB\r\nRange=0,255\r\n\r\n"
                     "[TEXT]\r\nTitle=Twill; plain & fancy\r\nAuthor=\"Ann\"\r\n\r\n"
                     "[NOTES]\r\n1=Sley two a dent.\r\n2=\r\n3=a=b\r\n\r\n"
                     "[WEAVING]\r\nShafts=4\r\nTreadles=4\r\nRising Shed=true\r\n\r\n"
                     "[WARP]\r\nThreads=6\r\nColor=1\r\nUnits=centimeters\r\nSpacing=0.125\r\n\r\n"
                     "[WEFT]\r\nThreads=4\r\nColor=2\r\nUnits=centimeters\r\nSpacing=0.25\r\n\r\n"
                     "[THREADING]\r\n1=1\r\n2=2\r\n3=3\r\n4=4\r\n5=1\r\n6=2\r\n\r\n"
                     "[TIEUP]\r\n1=1,2\r\n2=2,3\r\n3=3,4\r\n4=1,4\r\n\r\n"
                     "[TREADLING]\r\n1=1\r\n2=2\r\n3=3\r\n4=4\r\n\r\n"
                     "[WARP COLORS]\r\n2=3\r\n\r\n"
                     "[COLOR TABLE]\r\n1=0,0,0\r\n2=255,255,255\r\n3=255,0,128\r\n";

const string small = "[WIF]\n[WEAVING]\nShafts=2\nTreadles=2\n[WARP]\nThreads=3\n[WEFT]\nThreads=2\n[THREADING]\n"
                     "1=1\n2=2\n3=1\n[TIEUP]\n1=1\n2=2\n[TREADLING]\n1=1\n2=2\n";

const string dtx = "@@StartDTX\n\n@@Description\n  Diamonds \n@@Contents\nThreading\n@@Imprint\n%%version 1\nSheds 3\n"
                   "May 2001\n@@Info\n%%shafts 3\n%%treadles 2\n%%ends 6\n%%picks 4\n@@Threading\n1 2 3\n0 2 1\n"
                   "@@Tieup\n10\n01\n01\n@@Treadling\n%%compound\n1 2 1,2\n2\n@@Color Palet\n0,0,0\n255,128,0\n"
                   "@@Warp Colors\n0 0 0 1 1 1\n@@Weft Colors\n1 1 1 1\n@@Warp Spacing\n4 4 4 4 4 4\n@@EndDTX\n";

} // namespace

TEST(DraftReader, ReadsAWifOfAWindowsProgram)
{
    const Reading reading(twill);
    EXPECT_EQ(reading.drawdown(), "##..## .##..# ..##.. #..##.");
    EXPECT_EQ(reading.colours(), "000000 FF0080 000000 000000 000000 000000 | FFFFFF FFFFFF FFFFFF FFFFFF ");
    EXPECT_EQ(reading.remarks(), "");
    EXPECT_EQ(reading.info.shafts, 4u);
    EXPECT_EQ(reading.info.treadles, 4u);
    EXPECT_EQ(reading.info.endsPerCm, 8);
    EXPECT_EQ(reading.info.picksPerCm, 4);
    EXPECT_STREQ(reading.info.title, "Twill; plain & fancy");
    EXPECT_STREQ(reading.info.author, "Ann");
    EXPECT_STREQ(reading.info.notes, "Sley two a dent.\n\na=b");
    EXPECT_STREQ(reading.info.program, "Weaver's Friend 4.2");
}

// Each text is written as another program does.
TEST(DraftReader, ReadsTheDialectsOfOtherPrograms)
{
    // An old Macintosh: CR, decipoints, colours to 65535, Latin-1.
    const string mac =
        replaced("[wif]\nversion=1.1\n[text]\ntitle=K\xF6per f\xFCr \x93Lotte\x94\n[weaving]\nrising shed=yes\n"
                 "shafts=2\ntreadles=2\n[warp]\nthreads=3\ncolor=2\nunits=decipoints\nspacing=72\n[weft]\n"
                 "threads=2\ncolor=1\nspacing=36\n[threading]\n1=1\n2=2\n3=1\n[tieup]\n1=1\n2=2\n[treadling]\n"
                 "1=1\n2=2\n[color palette]\nrange=0,65535\n[color table]\n1=65535,0,257\n2=0,32768,0\n",
                 "\n", "\r");
    const Reading old(mac);
    EXPECT_EQ(old.drawdown(), "#.# .#.");
    EXPECT_STREQ(old.info.title, "K\xC3\xB6per f\xC3\xBCr \xE2\x80\x9CLotte\xE2\x80\x9D");
    EXPECT_EQ(old.colours(), "008000 008000 008000 | FF0001 FF0001 ");
    EXPECT_NEAR(old.info.endsPerCm, 10 / 2.54, 1e-9);
    EXPECT_NEAR(old.info.picksPerCm, 20 / 2.54, 1e-9);
    EXPECT_NEAR(Reading(replaced(mac, "units=decipoints", "")).info.endsPerCm, 10 / 2.54, 1e-9); // nothing else fits

    // A program for dobby looms: both are declared, all lines are written, empty ones too; UTF-8 with its mark.
    const Reading dobby(
        "\xEF\xBB\xBF[WIF]\nVersion=1.1\n[CONTENTS]\nTHREADING=1\nTIEUP=on\nTREADLING=yes\nLIFTPLAN=True\n"
        "[TEXT]\nTitle=\xC5\x81\xC3\xB3"
        "d\xC5\xBA\n[WEAVING]\nShafts=3\nTreadles=10\n[WARP]\nThreads=4\n[WEFT]\nThreads=4\n"
        "[THREADING]\n1=1\n2=2\n3=3\n4=0\n[TIEUP]\n1=1\n2=\n[TREADLING]\n1=1\n2=1\n3=1\n4=1\n"
        "[LIFTPLAN]\n1=1,3\n2=\n3=2\n4=3,2,1\n");
    EXPECT_EQ(dobby.drawdown(), "#.#. .... .#.. ###.");
    EXPECT_EQ(dobby.info.hasLiftPlan, 1u);
    EXPECT_STREQ(dobby.info.title, "\xC5\x81\xC3\xB3"
                                   "d\xC5\xBA");

    // One that writes the lists first, in UTF-16, colours to 999, and one by itself.
    const string lists =
        "[wif]\r\n[threading]\r\n1=2\r\n2=1\r\n[treadling]\r\n1=1\r\n2=2\r\n[tieup]\r\n1=1\r\n2=2\r\n[warp]\r\nthreads="
        "2\r\n"
        "colour=5,999,0,500\r\n[weft]\r\nthreads=2\r\ncolor=1\r\n[weaving]\r\nshafts=2\r\ntreadles=2\r\n"
        "[colour table]\r\n1=0,0,999\r\n[color palette]\r\nrange=0,999\r\n";
    for (const string& text :
         {"\xFF\xFE" + utf16(lists, false), "\xFE\xFF" + utf16(lists, true), utf16(lists, true), utf16(lists, false)}) {
        const Reading wide(text, "no extension");
        EXPECT_EQ(wide.drawdown(), ".# #.");
        EXPECT_EQ(wide.colours(), "FF0080 FF0080 | 0000FF 0000FF ");
        EXPECT_EQ(wide.file.info().format, formatWif);
    }

    // A counterbalance loom: a sinking shed, a skeleton tie-up, two shafts an end, an end and a pick left out, and no
    // [CONTENTS].
    const Reading sinking(
        "[WIF]\n[WEAVING]\nShafts=4\nTreadles=3\nRising Shed=No\n[WARP]\nThreads=5\n[WEFT]\nThreads=4\n"
        "[THREADING]\n1=1\n2=2\n3=3,4\n5=4\n[TIEUP]\n1=1\n2=2,3\n3=4\n[TREADLING]\n1=1,3\n2=2\n4=1,2,3\n");
    EXPECT_EQ(sinking.drawdown(), ".##.. #.#.# ###.# .....");
    EXPECT_EQ(sinking.info.isSinking, 1u);
    EXPECT_EQ(sinking.remarks(), "");

    // A text by hand: blanks, tabs, comments, a section in two parts, lengths with commas, sizes left to the lists.
    const Reading byHand(
        "\n; mine\n  [ wif ]\n [Weaving] ; loom\n Rising Shed = 1\n\t[Warp]\n Spacing = 0,05 ; close\n Units = Inches\n"
        "[Warp Spacing]\n 2 = 0,15\n[Warp Thickness]\n1=0,1\n[Weft]\n[Threading]\n 1 = 2\n 2 = 1 , 2,\n"
        "  ; the rest\n[Tie-Up]\n1=1\n2=2\n[Threading]\n3 = 1\n[Treadling]\n1 = 1\n2 = 2 ; again\n3 = 2\x1A\n4=junk",
        "mine.txt");
    EXPECT_EQ(byHand.drawdown(), ".## ##. ##.");
    EXPECT_NEAR(byHand.info.endsPerCm, 3 / (0.25 * 2.54), 1e-9);
    const vector<double> spacing = byHand.draft.lengths(loomfileWarpSpacing);
    ASSERT_EQ(spacing.size(), 3u);
    EXPECT_NEAR(spacing[1] - 3 * spacing[0], 0, 1e-9);
    EXPECT_NEAR(byHand.draft.lengths(loomfileWarpThickness).front(), 0.254, 1e-9);
    EXPECT_TRUE(byHand.draft.lengths(loomfileWeftSpacing).empty());
    EXPECT_EQ(byHand.draft.numbers(loomfileThreading, 1), (vector<u16>{1, 2}));
    EXPECT_EQ(byHand.remarks(), "");
}

TEST(DraftReader, ReadsDtx)
{
    const Reading reading(replaced(dtx, "\n", "\r\n"), "a file");
    EXPECT_EQ(reading.drawdown(), "..#... ##..## ###.## ##..##");
    EXPECT_EQ(reading.colours(), "000000 000000 000000 FF8000 FF8000 FF8000 | FF8000 FF8000 FF8000 FF8000 ");
    EXPECT_NEAR(reading.info.endsPerCm, 1 / 0.212, 1e-9);
    EXPECT_STREQ(reading.info.title, "Diamonds");
    EXPECT_STREQ(reading.info.program, "Sheds 3");
    EXPECT_EQ(reading.file.info().format, 0);
    EXPECT_STREQ(reading.file.info().formatName, "DTX draft");
    const Reading lifted(replaced(dtx, "@@Treadling", "@@Liftplan\n100\n0 1 1\n000\n001\n@@Treadling"), "a.dtx");
    EXPECT_EQ(lifted.drawdown(), "#....# .##.#. ...... ..#...");
    EXPECT_EQ(lifted.remarks(), "");
}

TEST(DraftReader, ShowsTheYarnThatLiesOnTop)
{
    Reading reading(twill);
    const LoomfileInfo& info = reading.file.info();
    EXPECT_EQ(info.kind, kindIndexed);
    EXPECT_EQ(vector<u8>(info.palette, info.palette + 9), (vector<u8>{0, 0, 0, 255, 0, 128, 255, 255, 255}));
    EXPECT_EQ(info.colourCount, 3u);
    EXPECT_EQ(info.resX, 20320u);
    EXPECT_EQ(info.isDraft, 1u);
    vector<u8> expected;
    const string drawdown = replaced(reading.drawdown(), " ", "");
    for (size_t i = 0; i < drawdown.size(); i++)
        expected.push_back(drawdown[i] != '#' ? 2 : i % 6 == 1 ? 1 : 0);
    EXPECT_EQ(reading.file.readAll(), expected);

    // Black over white has no colours to show.
    Reading plain(replaced(twill, "2=3\r\n", ""));
    EXPECT_EQ(plain.file.info().kind, kindBilevel);
    EXPECT_EQ(plain.file.readAll(), (vector<u8>{0xCC, 0x64, 0x30, 0x98}));
    LoomfileOptions options = loomfileOptions();
    options.libtloadOnly = 1;
    EXPECT_EQ(loomfile::File::fromMemory(twill.data(), twill.size(), "a.wif", options).info().kind, kindBilevel);

    // More colours than a palette has.
    string many = replaced(small, "Threads=3", "Threads=300\nColor=1") + "[COLOR TABLE]\n1=1,2,3\n[WARP COLORS]\n";
    for (int end = 1; end <= 300; end++)
        many += std::to_string(end) + "=0," + std::to_string(end % 256) + "," + std::to_string(end / 256) + "\n";
    Reading colourful(many);
    EXPECT_EQ(colourful.file.info().kind, kindRGB);
    const vector<u8> rows = colourful.file.readAll();
    EXPECT_EQ(vector<u8>(rows.begin(), rows.begin() + 9), (vector<u8>{0, 1, 0, 255, 255, 255, 0, 3, 0}));
}

// Random drafts, in whatever way their rows are put together.
TEST(DraftReader, DrawsWhatTheListsSay)
{
    std::mt19937 random(1);
    auto below = [&random](u32 limit) { return static_cast<u32>(random() % limit); };
    for (u32 round = 0; round < 60; round++) {
        const u32 ends = 1 + below(300), picks = 1 + below(40), shafts = 1 + below(150), treadles = 1 + below(20);
        using Lists = vector<std::set<u32>>;
        auto tell = [&](const char* section, Lists& lists, u32 most) {
            string text = section;
            for (size_t i = 0; i < lists.size(); i++) {
                text += std::to_string(i + 1) + "=";
                for (u32 count = below(3) == 0 ? below(9) : 1; count > 0; count--)
                    lists[i].insert(1 + below(most));
                for (const u32 number : lists[i])
                    text += std::to_string(number) + ",";
                text += "\n";
            }
            return text;
        };
        Lists threading(ends), tieUp(treadles), treadling(picks), lifts(picks);
        const bool isSinking = below(2) != 0, hasLifts = below(2) != 0;
        string text = "[WEAVING]\nShafts=" + std::to_string(shafts) + "\nTreadles=" + std::to_string(treadles) +
                      "\nRising Shed=" + (isSinking ? "0" : "1") + "\n" + tell("[THREADING]\n", threading, shafts) +
                      tell("[TIEUP]\n", tieUp, shafts) + tell("[TREADLING]\n", treadling, treadles);
        if (hasLifts)
            text += tell("[LIFTPLAN]\n", lifts, shafts);
        const Reading reading(text);
        string expected;
        for (u32 pick = 0; pick < picks; pick++) {
            std::set<u32> named = lifts[pick];
            for (const u32 treadle : hasLifts ? std::set<u32>() : treadling[pick])
                named.insert(tieUp[treadle - 1].begin(), tieUp[treadle - 1].end());
            expected += pick != 0 ? " " : "";
            for (const std::set<u32>& on : threading)
                expected +=
                    std::any_of(on.begin(), on.end(), [&](u32 shaft) { return (named.count(shaft) != 0) != isSinking; })
                        ? '#'
                        : '.';
        }
        EXPECT_EQ(reading.drawdown(), expected);
    }
}

TEST(DraftReader, SaysWhereItCannotKnowTheDraft)
{
    const std::tuple<const char*, const char*, const char*> wifs[] = {
        {"2=2\n3", "2=9\n3", "line 11, [THREADING]: shaft 9 of end 2, but [WEAVING] has 2 shafts"},
        {"3=1\n", "4=1\n", "line 12, [THREADING]: end 4, but [WARP] has 3 ends"},
        {"3=1\n", "3=x\n", "line 12, [THREADING]: \"x\" where the shafts of end 3 are expected"},
        {"3=1\n", "three\n", "line 12, [THREADING]: \"three\" where a number from 1 on and \"=\" are expected"},
        {"1=1\n2=2\n[T", "1=1\n2=3\n[T", "line 15, [TIEUP]: shaft 3 of treadle 2, but [WEAVING] has 2 shafts"},
        {"Threads=3", "Threads=65521", "line 6, [WARP]: 65521 ends, but no more than 65520 can be read"},
        {"Threads=3", "Threads=-3", "line 6, [WARP]: \"-3\" where the number of ends is expected"},
        {"Shafts=2", "Shafts=99999999999999999999", "line 3, [WEAVING]: 1000000000 shafts, but no more than 8192"},
        {"Threads=2\n[THREADING]", "Threads=9\n[X]",
         "[THREADING] is missing, without which the shafts of 3 ends are unknown"},
    };
    for (const auto& [from, to, sentence] : wifs) {
        EXPECT_EQ(refusalOf(replaced(small, from, to)).substr(0, strlen(sentence)), sentence);
    }
    const std::tuple<const char*, const char*, const char*> texts[] = {
        {"%%ends 6", "%%ends 5", "line 18, @@Threading: end 6, but @@Info has 5 ends"},
        {"1 2 3\n", "1 2 4\n", "line 17, @@Threading: shaft 4 of end 3, but @@Info has 3 shafts"},
        {"01\n01\n", "01\n", "line 21, @@Tieup: 2 lines, but @@Info has 3 shafts"},
        {"10\n01", "10\n011", "line 21, @@Tieup: 3 characters where 2 are expected"},
        {"10\n01", "10\n21", "line 21, @@Tieup: \"21\" where only 0 and 1 are expected"},
        {"1,2\n", "1,3\n", "line 25, @@Treadling: treadle 3 of pick 3, but @@Info has 2 treadles"},
        {"255,128,0", "255,128",
         "line 29, @@Color Palet: \"255,128\" where red, green and blue from 0 to 255 are expected"},
    };
    for (const auto& [from, to, sentence] : texts)
        EXPECT_EQ(refusalOf(replaced(dtx, from, to), "a.dtx"), sentence);
}

// What can be shown is shown, and told.
TEST(DraftReader, RemarksWhatItMakesUp)
{
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"3=1\n", "", "!line 11, [THREADING]: the last end is 2 of 3, those behind it are left empty", "#.. .#."},
        {"3=1\n", "3=1\n3=2\n",
         "!line 13, [THREADING]: end 3 is told a second time and differently, the last line counts", "#.. .##"},
        {"[TIEUP]", "[X]", "![TIEUP] is missing: each treadle is taken to have the shaft of its number", "#.# .#."},
        {"[WIF]", "[WIF]\n[CONTENTS]\nLIFTPLAN=yes",
         "![CONTENTS] declares [LIFTPLAN], which is missing: the treadling is shown", "#.# .#."},
        {"[WIF]", "[WIF]\n[COLOR TABLE]\n1=0,0,0\n[WARP COLORS]\n1=1\n2=7\n3=8",
         "!line 6, [WARP COLORS]: colour 7 of end 2, but [COLOR TABLE] does not have it", "#.# .#."},
        {"[WIF]", "[WIF]\n[WARP]\nUnits=cubits",
         "+line 3, [WARP]: \"cubits\" where Decipoints, Inches or Centimeters are expected, lengths are left out",
         "#.# .#."},
        {"[WIF]", "[WIF]\n[WARP SPACING]\n1=wide\n2=wider",
         "!line 3, [WARP SPACING]: \"wide\" where a length is expected", "#.# .#."},
    };
    for (const auto& [from, to, remark, drawdown] : cases) {
        const Reading reading(replaced(small, from, to));
        EXPECT_EQ(reading.remarks(), remark);
        EXPECT_EQ(reading.drawdown(), drawdown) << remark;
    }
}

// A picture is not taken for a draft by its name, and a draft is found behind any name.
TEST(DraftReader, LooksBehindNames)
{
    EXPECT_EQ(Reading(small, "scarf.jc5").drawdown(), "#.# .#.");
    EXPECT_EQ(Reading(small.substr(6), "scarf.wif").drawdown(), "#.# .#.");
    EXPECT_EQ(Reading(dtx.substr(12), "scarf.DTX").info.ends, 6u);
    const string gif("GIF87a\2\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF,\0\0\0\0\2\0\1\0\0\2\2\x44\n\0;", 34);
    EXPECT_EQ(loomfile::File::fromMemory(gif.data(), gif.size(), "a.wif").info().format, formatGif);
    EXPECT_NE(refusalOf("[WIF]\nVersion=1.1\n").find("this is no WIF draft"), string::npos);
    EXPECT_NE(refusalOf("nothing of a draft", "a.dtx").find("not recognised"), string::npos);
}
