// Drafts that are found out from pictures, and drafts as WIF files.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "loomfile/draft/extraction.h"
#include "loomfile/draft/shaft_order.h"
#include "loomfile/draft/wif_writer.h"
#include "loomfile/refusal.h"
#include "samples/bmp_writer.h"
#include "tests/support.h"

using std::string;
using std::vector;

namespace
{

struct Random {
    std::mt19937 generator;

    u32 below(u32 count) { return std::uniform_int_distribution<u32>(0, count - 1)(generator); }
    bool chance(u32 percent) { return below(100) < percent; }
};

// The shafts of a draw, a letter each, as a weaver would number them.
string ordered(const string& draw)
{
    string appeared;
    vector<u16> kinds;
    for (const char shaft : draw) {
        if (appeared.find(shaft) == string::npos)
            appeared += shaft;
        kinds.push_back(static_cast<u16>(appeared.find(shaft)));
    }
    const vector<u16> numbers = weaversOrder(kinds, static_cast<u32>(appeared.size()));
    string result;
    for (const u16 kind : kinds)
        result += static_cast<char>('0' + numbers[kind]);
    return result;
}

TEST(ShaftOrder, IsAWeavers)
{
    const std::pair<const char*, const char*> cases[] = {
        {"a", "1"},
        {"abababa", "1212121"},
        {"cdabcdabcd", "1234123412"},                 // a straight draw has no beginning
        {"ccddaabbcc", "1122334411"},                 // nor has one of pairs
        {"cdefghabcdefghabcd", "123456781234567812"}, // of eight
        {"dcbadcba", "12341234"},                     // whichever way it goes
        {"abcdcbabcd", "1234321234"},                 // a point that begins at its turn
        {"bcdcbabcdcba", "234321234321"},             // midway
        {"cbabcdedcbabcd", "34543212345432"},         // downwards, which is upwards of the other number
        {"bcbabcba", "23212321"},                     // on three shafts
        {"abcddcbaabcddcba", "1234432112344321"},     // each turn twice
        {"abcdbadcabcdbadc", "1234214312342143"},     // broken
        {"abcdadcbabcdadcb", "1432123414321234"},     // a rosepath
        {"abcdbcdecdefdefa", "1234234534564561"},     // advancing
    };
    for (const auto& [draw, expected] : cases)
        EXPECT_EQ(ordered(draw), expected) << draw;
}

Bytes drawn(const Draft& draft)
{
    const u32 rowBytes = (draft.ends() + 7) / 8;
    Bytes rows(u64{rowBytes} * draft.picks(), 0xA5);
    drawRows(draft, 0, draft.picks(), rows.data(), rowBytes);
    return rows;
}

Draft extracted(const Bytes& rows, u32 width, u32 height)
{
    auto next = rows.begin();
    return extractDraft(width, height, [&](u8* band, u32 count) {
        const i64 bytes = i64{count} * ((width + 7) / 8);
        std::copy_n(next, bytes, band);
        next += bytes;
    });
}

NumberList someNumbers(Random& random, u32 most, u32 percent)
{
    NumberList list;
    for (u32 number = 1; number <= most; number++)
        if (random.chance(percent))
            list.push_back(static_cast<u16>(number));
    return list;
}

Threads someThreads(Random& random, bool hasColours)
{
    Threads threads{random.below(40) + 1, {}, {}, {}};
    const u32 kinds = random.below(3) + 1;
    const bool hasSpacing = random.chance(50), hasThickness = random.chance(50);
    for (u32 i = 0; i < threads.count; i++) {
        const u32 kind = random.below(kinds);
        if (hasColours)
            threads.colours.push_back({static_cast<u8>(100 * kind), 7, 255});
        if (hasSpacing)
            threads.spacing.push_back(0.1 + kind / 3.0);
        if (hasThickness)
            threads.thickness.push_back(0.07 * (kind + 1));
    }
    return threads;
}

// With everything that a draft can have, seldom or often.
Draft someDraft(Random& random)
{
    Draft draft;
    const bool hasColours = random.chance(50);
    draft.warp = someThreads(random, hasColours);
    draft.weft = someThreads(random, hasColours);
    draft.shafts = random.below(random.chance(10) ? 256 : 12) + 1;
    draft.isSinking = random.chance(30);
    const u32 unthreaded = random.chance(40) ? 20 : 0;
    const u32 mostShafts = random.chance(70) ? 1 : 3;
    for (u32 end = 0; end < draft.ends(); end++) {
        draft.threading.emplace_back();
        if (!random.chance(unthreaded))
            for (u32 i = random.below(mostShafts) + 1; i > 0; i--)
                draft.threading.back().push_back(static_cast<u16>(random.below(draft.shafts) + 1));
    }
    if (random.chance(30)) {
        for (u32 pick = 0; pick < draft.picks(); pick++)
            draft.liftPlan.push_back(someNumbers(random, draft.shafts, random.below(3) * 40));
    } else {
        draft.treadles = random.below(12) + 1;
        for (u32 treadle = 0; treadle < draft.treadles; treadle++)
            draft.tieUp.push_back(someNumbers(random, draft.shafts, random.below(3) * 40));
        const u32 empty = random.chance(40) ? 20 : 0;
        const u32 mostTreadles = random.chance(70) ? 1 : 3;
        for (u32 pick = 0; pick < draft.picks(); pick++) {
            draft.treadling.emplace_back();
            if (!random.chance(empty))
                for (u32 i = random.below(mostTreadles) + 1; i > 0; i--)
                    draft.treadling.back().push_back(static_cast<u16>(random.below(draft.treadles) + 1));
        }
    }
    for (auto* lists : {&draft.threading, &draft.treadling})
        for (NumberList& list : *lists) {
            std::sort(list.begin(), list.end());
            list.erase(std::unique(list.begin(), list.end()), list.end());
        }
    if (random.chance(50)) {
        draft.title = "[THREADING] \xC3\x84rmel; 1=2";
        draft.author = "A. Weaver";
        draft.notes = "one\n\n[TIEUP]\n1=1";
        draft.program = "Loom 3";
    }
    return draft;
}

// libTload reads two shafts an end at most, and two of everything at least.
bool isForLibtload(const Draft& draft)
{
    return draft.ends() > 1 && draft.picks() > 1 &&
           std::all_of(draft.threading.begin(), draft.threading.end(),
                       [](const NumberList& shafts) { return shafts.size() <= 2; });
}

Bytes drawnByLibtload(const string& path, const Draft& draft)
{
    const Loaded loaded = load(path, {.fill = 0});
    EXPECT_EQ(loaded.status, loadSuccess);
    EXPECT_EQ(std::pair(loaded.width, loaded.height), std::pair(draft.ends(), draft.picks()));
    return loaded.rows;
}

struct DraftOfFile {
    Loomfile* file;
    LoomfileDraft* draft;
    LoomfileDraftInfo info = loomfileDraftInfo();

    explicit DraftOfFile(const string& path)
    {
        LoomfileFailure failure = loomfileFailure();
        file = loomfileOpen(path.c_str(), nullptr, &failure);
        draft = file != nullptr ? loomfileOpenDraft(file, &failure) : nullptr;
        if (draft != nullptr)
            loomfileGetDraftInfo(draft, &info);
    }
    DraftOfFile(const DraftOfFile&) = delete;
    DraftOfFile& operator=(const DraftOfFile&) = delete;
    ~DraftOfFile()
    {
        loomfileCloseDraft(draft);
        loomfileClose(file);
    }
};

// Reads back what was written. False while WIF files are shown by libTload alone, which tells the drawdown and no more.
bool comesBack(const string& path, const Draft& draft)
{
    const DraftOfFile read(path);
    if (read.draft == nullptr || read.info.isExtracted != 0)
        return false;
    EXPECT_EQ(std::pair(read.info.ends, read.info.picks), std::pair(draft.ends(), draft.picks()));
    Bytes rows(drawn(draft).size());
    EXPECT_EQ(loomfileDraftRows(read.draft, 0, draft.picks(), rows.data(), (draft.ends() + 7) / 8), 0);
    EXPECT_TRUE(rows == drawn(draft));
    EXPECT_EQ(read.info.hasColours, draft.hasColours() ? 1 : 0);
    Bytes warp(3 * draft.ends()), weft(3 * draft.picks());
    loomfileDraftColours(read.draft, warp.data(), weft.data());
    for (u32 end = 0; end < draft.ends() && draft.hasColours(); end++)
        EXPECT_EQ(warp[3 * end], draft.warp.colours[end].red);
    EXPECT_NEAR(read.info.endsPerCm, threadsPerCentimetre(draft.warp), 1e-9);
    EXPECT_NEAR(read.info.picksPerCm, threadsPerCentimetre(draft.weft), 1e-9);
    EXPECT_EQ(read.info.title, draft.title);
    EXPECT_EQ(read.info.author, draft.author);
    EXPECT_EQ(read.info.notes, draft.notes);
    return true;
}

TEST(DraftWriter, BothReadersDrawWhatWasWritten)
{
    const TestDirectory files;
    Random random{std::mt19937(17)};
    u32 forLibtload = 0, cameBack = 0;
    constexpr u32 count = 600;
    for (u32 i = 0; i < count && !testing::Test::HasFailure(); i++) {
        const Draft draft = someDraft(random);
        const string text = wifOf(draft);
        // Files of the same name may be one to a cache.
        const string path = files.write("draft" + std::to_string(i) + ".wif", text);
        SCOPED_TRACE(text);
        if (isForLibtload(draft)) {
            forLibtload++;
            EXPECT_TRUE(drawnByLibtload(path, draft) == drawn(draft));
        }
        cameBack += comesBack(path, draft) ? 1 : 0;
    }
    EXPECT_GT(forLibtload, count / 2);
    if (cameBack == 0)
        GTEST_SKIP() << "WIF files are not read as drafts";
    EXPECT_EQ(cameBack, count);
}

TEST(DraftWriter, WritesWhatAWeaverWould)
{
    Draft draft;
    draft.shafts = draft.treadles = 2;
    draft.warp = {3, {{1, 2, 3}, {1, 2, 3}, {4, 5, 6}}, {0.25, 0.25, 0.25}, {}};
    draft.weft = {2, {{4, 5, 6}, {4, 5, 6}}, {}, {0.1, 0.2}};
    draft.threading = {{1}, {}, {1, 2}};
    draft.tieUp = {{1}, {}};
    draft.treadling = {{2}, {1}};
    draft.isSinking = true;
    draft.title = "Two\nlines";
    const string text = wifOf(draft);
    for (const char* part : {"[WIF]\r\nVersion=1.1\r\n", "Source Program=loomfile\r\n", "\r\nTIEUP=yes\r\n",
                             "\r\nTitle=Two lines\r\n", "\r\nShafts=3\r\nTreadles=2\r\nRising Shed=yes\r\n",
                             "\r\nRange=0,255\r\n\r\n[COLOR TABLE]\r\n1=1,2,3\r\n2=4,5,6\r\n",
                             "\r\n[WARP]\r\nThreads=3\r\nColor=1\r\nUnits=centimeters\r\nSpacing=0.25\r\n",
                             "\r\n[THREADING]\r\n1=1\r\n2=3\r\n3=1,2\r\n", "\r\n[TIEUP]\r\n1=2\r\n2=1,2\r\n",
                             "\r\n[TREADLING]\r\n1=2\r\n2=1\r\n", "\r\n[WARP COLORS]\r\n1=1\r\n2=1\r\n3=2\r\n",
                             "\r\n[WEFT THICKNESS]\r\n1=0.1\r\n2=0.2\r\n"})
        EXPECT_NE(text.find(part), string::npos) << part << "\n" << text;
    EXPECT_EQ(text.find("LIFTPLAN"), string::npos);
    draft.shafts = 257;
    try {
        wifOf(draft);
        FAIL();
    } catch (const Refusal& refusal) {
        EXPECT_NE(refusal.sentence.find("257 shafts"), string::npos);
    }
}

TEST(Extraction, DrawsThePictureAgain)
{
    Random random{std::mt19937(18)};
    for (u32 i = 0; i < 60; i++) {
        const u32 width = random.below(300) + 1, height = random.below(i % 2 == 0 ? 20 : 700) + 1;
        const u32 columns = random.below(60) + 1, picks = random.below(400) + 1;
        Bytes rows;
        for (u32 y = 0; y < height; y++) {
            std::mt19937 pick(random.below(picks));
            const u64 lifts = pick() | u64{pick()} << 32;
            Bytes row((width + 7) / 8);
            for (u32 x = 0; x < width; x++)
                row[x / 8] |= static_cast<u8>((lifts >> x * 7 % columns & 1) << (7 - x % 8));
            rows.insert(rows.end(), row.begin(), row.end());
        }
        const Draft draft = extracted(rows, width, height);
        EXPECT_TRUE(drawn(draft) == rows);
        EXPECT_LE(draft.shafts, columns);
        EXPECT_LE(draft.treadles, picks);
        EXPECT_EQ(draft.hasLiftPlan(), draft.treadles == 0);
    }
}

// A twill of 3/1, which begins anywhere in a point.
TEST(Extraction, IsTakenFromFiles)
{
    const TestDirectory files;
    Picture picture{kindBilevel, 300, 12, Bytes(38 * 12), {}};
    const u32 point[] = {2, 3, 2, 1, 0, 1};
    for (u32 y = 0; y < 12; y++)
        for (u32 x = 0; x < 300; x++)
            if (point[x % 6] != y % 4)
                picture.rows[38 * y + x / 8] |= static_cast<u8>(0x80 >> x % 8);
    const DraftOfFile read(
        files.write("a.bmp", encodeBmp(picture, {.pixelsPerMetreX = 2000, .pixelsPerMetreY = 1000})));
    ASSERT_NE(read.draft, nullptr);
    EXPECT_EQ(std::tuple(read.info.shafts, read.info.treadles, read.info.isExtracted), std::tuple(4u, 4u, 1u));
    EXPECT_NEAR(read.info.endsPerCm, 20, 0.001);
    EXPECT_NEAR(read.info.picksPerCm, 10, 0.001);
    const u16* numbers = nullptr;
    for (u32 end = 0; end < 300; end++) {
        ASSERT_EQ(loomfileDraftNumbers(read.draft, loomfileThreading, end, &numbers), 1u);
        EXPECT_EQ(numbers[0], point[end % 6] + 1);
    }
    u64 size = 0;
    EXPECT_EQ(string(loomfileDraftWif(read.draft, &size, nullptr)).size(), size);

    // What is no picture of lifts, and one of as many shafts as it has columns.
    for (u32 y = 0; y < 12; y++)
        for (u32 x = 0; x < 300; x++)
            picture.rows[38 * y + x / 8] = static_cast<u8>(
                y < 9 ? (x >> y & 1) << (7 - x % 8) | (picture.rows[38 * y + x / 8] & ~(0x80 >> x % 8)) : 0);
    const std::pair<string, const char*> refused[] = {
        {files.write("b.bmp", encodeBmp(picture)), "needs 300 shafts, a draft has at most 256"},
        {files.write("c.bmp", encodeBmp(noisePicture(kindIndexed, 9, 9, 5, 1))), "in black and white"},
        {files.write("d.bmp", encodeBmp(noisePicture(kindRGB, 9, 9, 0, 1))), "in black and white"}};
    for (const auto& [path, words] : refused) {
        LoomfileFailure failure = loomfileFailure();
        Loomfile* file = loomfileOpen(path.c_str(), nullptr, nullptr);
        EXPECT_EQ(loomfileOpenDraft(file, &failure), nullptr);
        EXPECT_EQ(failure.status, loadUnsupportedVariant);
        EXPECT_NE(string(failure.sentence).find(words), string::npos) << failure.sentence;
        loomfileClose(file);
    }
}

} // namespace
