#include "samples/wif_writer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>

#include "samples/dobby_1858_writer.h"
#include "tests/card_support.h"

static const int most = 8192;

using Plain = std::map<std::string, std::map<int, std::set<int>>>;

static Plain readPlainly(const std::string& path, bool areWifLinesLeftOut)
{
    Plain plain;
    FILE* file = fopen(path.c_str(), "r");
    std::vector<char> buffer(49153);
    auto next = [&] {
        fgetsDosMac(buffer.data(), 49152, file);
        stringToLower(buffer.data());
        return std::string(buffer.data());
    };
    auto isShaft = [](int shaft) { return shaft >= 1 && shaft <= most; };
    auto number = [](const char* text) { return static_cast<int>(strtoll(text, nullptr, 10)); };
    while (areWifLinesLeftOut && next().starts_with("[wif]"))
        ;
    for (std::string section; !feof(file);) {
        std::string line = next();
        if (line[0] == '[') {
            section = line.substr(0, line.find(']') + 1);
            line = next();
        }
        long long numbers[3] = {};
        const int count = sscanf(line.c_str(), "%lld=%lld,%lld", numbers, numbers + 1, numbers + 2);
        const int row = static_cast<int>(numbers[0]), first = static_cast<int>(numbers[1]),
                  second = static_cast<int>(numbers[2]);
        bool two = section == "[threading]" && line.find(',') != std::string::npos;
        const char* value = strchr(line.c_str(), '=');
        if (section == "[threading]" || section == "[treadling]") {
            if (count >= (two ? 3 : 2) && isShaft(first))
                plain[section][row] = {first};
            if (two && count == 3 && isShaft(second))
                plain["second"][row] = {second};
        } else if (section == "[liftplan]" || section == "[tieup]") {
            for (; count >= 1 && value != nullptr; value = strchr(value + 1, ','))
                if (isShaft(number(value + 1)))
                    plain[section][row].insert(number(value + 1));
        } else if (value != nullptr) {
            bool isYes = strchr("yot1", value[1]) != nullptr;
            plain[section + line.substr(0, line.find('='))][0] = {section == "[contents]" ? isYes : number(value + 1)};
        }
    }
    fclose(file);
    return plain;
}

// The drawdown the plain way: the file read twice with sscanf, and every pixel looked up.
static Bytes drawPlainly(const std::string& path)
{
    Plain keys = readPlainly(path, true), numbers = readPlainly(path, false);
    auto get = [](Plain& plain, const char* section, int row, int instead) {
        return plain[section][row].empty() ? instead : *plain[section][row].begin();
    };
    auto key = [&](const char* name) { return get(keys, name, 0, 0); };
    Bytes rows;
    bool hasLiftplan = key("[contents]liftplan") != 0, hasTieup = key("[contents]tieup") != 0;
    bool isDrawn = hasLiftplan || hasTieup || key("[contents]threading") + key("[contents]treadling") > 0;
    int width = key("[warp]threads"), height = key("[weft]threads");
    for (int pick = 1; pick <= height; pick++) {
        int treadle = get(numbers, "[treadling]", pick, pick);
        auto lifted = hasLiftplan ? numbers["[liftplan]"][pick] : numbers["[tieup]"][treadle];
        if (!hasLiftplan && !hasTieup && treadle <= std::min(most, std::max(width, height) + 1))
            lifted.insert(treadle);
        auto row = rows.insert(rows.end(), static_cast<size_t>(width + 7) / 8, 0);
        for (int end = 1; end <= width && isDrawn && !lifted.empty(); end++)
            if (lifted.count(get(numbers, "[threading]", end, end)) + lifted.count(get(numbers, "second", end, 0)) > 0)
                row[(end - 1) / 8] |= static_cast<u8>(0x80 >> (end - 1) % 8);
    }
    return rows;
}

static WifDraft randomDraft(u64& state)
{
    auto below = [&](u32 limit) { return nextRandom(state) % limit; };
    u32 shafts = std::vector<u32>{2, 8, 24, 63, 64, 130, 257, 1000, most}[below(9)];
    WifDraft draft{.ends = 2 + below(150), .picks = 2 + below(90), .shafts = shafts, .treadles = 2 + below(150)};
    auto fill = [&](std::vector<std::vector<u32>>& lists, u32 count, u32 mostOfList) {
        lists.resize(below(3) != 0 ? count : 0);
        for (auto& list : lists)
            for (u32 i = below(mostOfList + 1); i > 0; i--)
                list.push_back(1 + below(shafts));
    };
    fill(draft.threading, draft.ends + 2, 1 + 2 * below(2));
    fill(draft.tieup, draft.treadles, std::min(shafts, 40u));
    fill(draft.liftplan, below(2) * draft.picks, std::min(shafts, 40u));
    for (u32 i = below(4) != 0 ? draft.picks : 0; i > 0; i--)
        draft.treadling.push_back(below(20) != 0 ? 1 + below(draft.treadles) : 0);
    return draft;
}

TEST(Wif, DrawsWhatThePlainWayDraws)
{
    TestDirectory directory;
    auto expectPlainDrawdown = [&](const Bytes& bytes) {
        std::string file = directory.write("draft.wif", bytes);
        EXPECT_TRUE(load(file, {.id = formatWif}).pixels() == drawPlainly(file))
            << std::string(bytes.begin(), bytes.end());
    };
    const std::string odd[] = {"=",  ",",  " ",    "\t",   "-",          "+",  "x",   "0",
                               "00", "\n", "8192", "8193", "4294967298", "\r", "[\n", "99999999999999999999"};
    const WifOptions options[] = {{}, {"\r\n", "ON", false, true}, {"\r", "True", true, true}, {"\n", "1", false}};
    u64 state = 1;
    for (u32 round = 0; round < 600; round++) {
        Bytes bytes = encodeWif(randomDraft(state), options[round % 4]);
        std::string text(bytes.begin(), bytes.end());
        size_t sizesEnd = text.rfind("centimeters") + 11, numbers = text.size() - sizesEnd;
        for (size_t i = round % 8 < 4 ? numbers / 16 : 0; i > 0; i--)
            text.insert(sizesEnd + nextRandom(state) % numbers, odd[nextRandom(state) % std::size(odd)]);
        expectPlainDrawdown(Bytes(text.begin(), text.end()));
    }
    for (u32 ends : {30u, 9000u})
        expectPlainDrawdown(
            encodeWif({.ends = ends, .picks = 9030 - ends, .shafts = 2, .treadles = 2, .threading = {{1}, {2, most}}}));
    for (u32 ends : {512u, 1025u}) { // picks that are woven again
        WifDraft repeated{.ends = ends, .picks = 6, .shafts = 9, .treadles = 2, .tieup = {{1, 4, 7}, {2, 3, 9}}};
        repeated.treadling = {1, 2, 1, 1, 2, 1};
        for (u32 end = 0; end < ends; end++)
            repeated.threading.push_back({1 + end * end % 11 % 9});
        expectPlainDrawdown(encodeWif(repeated));
    }
    // A line longer than the buffer is cut, and two of its characters are lost.
    WifDraft draft{.ends = 9, .picks = 3, .shafts = 9, .treadles = 2, .liftplan = {std::vector<u32>(30000, 7), {3}}};
    draft.liftplan[0].push_back(9);
    expectPlainDrawdown(encodeWif(draft));
}

TEST(Wif, TellsSizesAndTakesDefaults)
{
    TestDirectory directory;
    const std::string five = "[WIF]\n[WIF]\n[WIF]\n[WIF]\n[WIF]\n", ten = five + five, head = "[wif]\n1.1\n";
    const std::string weaving = "[weaving]\nshafts=4\ntreadles=5\n", threads = "[warp]\nthreads=6\n[weft]\nthreads=3\n";
    const std::string body = weaving + threads, good = head + body, contents = good + "[contents]\n";
    const std::string all = "[threading]\n1=4\n2=3\n3=2,1,4\n[treadling]\n1=2\n2=4\n3=1\n[tieup]\n1=1,2\n2=3\n4=4\n";
    // Width, height and rows; none = refused.
    std::vector<std::pair<std::string, std::vector<u32>>> cases = {
        {ten + "1.1\n" + body, {6, 3}},
        {ten + good, {}},
        {body, {}},                     // the first line is not looked at
        {"[wif]\n" + body, {}},         // nor is the line behind [wif]
        {head + "[text]\n" + body, {}}, // a header behind a header is none
        {head + threads + weaving, {4, 3}},
        {good + "7 8\n", {6, 3}},
        {good + "0 8", {}},
        {good + "8 65520", {8, 65520}},
        {good + "8 65521", {}},
        {good + all, {6, 3, 0, 0, 0}}, // nothing is declared
        {contents + "TREADLING=yes\n" + all, {6, 3, 0x60, 0x90, 0x20}},
        {contents + "LIFTPLAN=on\nTIEUP=1\n" + all + "[LIFTPLAN]\n2=1,3\n", {6, 3, 0, 0x60, 0}},
        {contents + "THREADING=1\n[THREADING]\n1=7\n2=8\n[TREADLING]\n1=7\n2=8\n", {6, 3, 0x80, 0, 0x20}},
    };
    for (char size : {'3', '4', '5', '6'})
        for (const char* bad : {"1", "0", "-3", "4294967297"})
            cases.push_back({head + std::string(body).replace(body.find(size), 1, bad), {}});
    for (const auto& [text, expected] : cases) {
        std::string file = directory.write("small.wif", text);
        Loaded loaded = load(file, {.id = formatWif}), sizes = load(file, {.id = formatWif, .wantPalette = 0});
        EXPECT_EQ(loaded.status, expected.empty() ? loadWrongFormat : loadSuccess) << text;
        EXPECT_EQ(std::pair(sizes.status, sizes.width), std::pair(loaded.status, loaded.width)) << text;
        std::vector<u32> told = {loaded.width, loaded.height};
        const Bytes rows = expected.empty() ? Bytes() : loaded.pixels();
        told.insert(told.end(), rows.begin(), rows.end());
        told.resize(expected.size());
        EXPECT_EQ(told, expected) << text;
    }
}

static const auto encodeDraft = [](const Picture& picture) { return encodeWif(draftOfPicture(picture)); };
static const auto encodeBigEndian = [](const Picture& picture) { return encodeDobby1858(picture); };
static const auto encodeLittleEndian = [](const Picture& picture) { return encodeDobby1858(picture, {true}); };
static const CardFormat wif = {"A.WIF", formatWif, encodeDraft, "WIF weave", 1, 0xA5, false};
static const CardFormat dobby = {"B.DB1", formatStaubli1858, encodeBigEndian, "Staubli 1858III dobby", 1, 0xA5, false};
static const CardFormat changsu = {"l.db1", formatStaubli1858, encodeLittleEndian, "Changsu 1858III dobby", 1, 0xA5,
                                   false};

TEST(Wif, SaysWhatTheDrawdownLacks)
{
    const std::string good =
        "[WIF]\n1.1\n[WEAVING]\nShafts=4\nTreadles=4\nRising "
        "Shed=yes\n[WARP]\nThreads=3\n[WEFT]\nThreads=3\n[CONTENTS]\nTHREADING=1\nTIEUP=1\nTREADLING=1\n[THREADING]\n1="
        "1\n2=2\n3=3,4\n[TIEUP]\n1=1,2,3\n[TREADLING]\n1=1\n2=1\n3=4\n";
    const std::tuple<std::string, std::string, const char*> changes[] = {
        {"", "", ""},
        {"3,4\n", "3,0,\n", ""},
        {"3,4\n", "3,4,1\n", "!ends on more than two shafts are threaded on the first two: 1"},
        {"3=4\n", "3=4,2\n", "!picks with more than one treadle are treadled with the first: 1"},
        {"2=2\n", "", "!ends without a shaft are threaded straight: 1"},
        {"2=1\n", "2=0\n", "!picks without a treadle are treadled straight: 1"},
        {"Shed=yes", "Shed=off", "!it is for a sinking shed, whose lowered ends are drawn as raised"},
        {"Shed=yes", "Shed = false", "!it is for a sinking shed, whose lowered ends are drawn as raised"},
        {"3\n[WEFT]", "3\nColor=2\nSpacing=0.2\n[WEFT]",
         "+colours are not read+the spacing and thickness of threads are not read"},
        {"[TIEUP]", "[TIE]", "!the section [TIEUP] that is declared is missing"},
        {"[CONTENTS]", "[TEXT]", "!there is no [CONTENTS], without which nothing is drawn"},
        {"TIEUP=1", "TIEUP=no", "!no tie-up is declared, each treadle lifts the shaft of its own number"},
        {"TIEUP=1", "LIFTPLAN=1\n[LIFTPLAN]\n1=1", "!picks behind the last one of the lift plan are clear: 2"},
        {"[CONTENTS]", "[LIFTPLAN]\n1=1\n[CONTENTS]", "!the lift plan is not declared in [CONTENTS] and left out"},
        {"[WARP]", "[COLOR TABLE]\n1=0,0,0\n[WARP SPACING]\n1=1\n[WARP]",
         "+colours are not read+the spacing and thickness of threads are not read"},
        {"1.1", "1.1\n[TEXT]\n" + std::string(49152, 'x'), "!lines are cut behind 49151 characters"},
        {"Shafts=4", "Shafts=8192", ""},
        {"Shafts=4", "Shafts=8193", "!shafts and treadles above 8192 are left out"},
        {"Treadles=4", "Treadles=8193", "!shafts and treadles above 8192 are left out"},
        {"Shafts=4", "Shafts=1", "[WEAVING] tells 1 shafts and 4 treadles"}};
    for (const auto& [from, to, told] : changes) {
        const std::string text = std::string(good).replace(good.find(from), from.size(), to);
        EXPECT_EQ(toldOf(wif, Bytes(text.begin(), text.end())), told);
    }
}

TEST(Loom, DeliversDraftsAndCardsAndRefusesTheRest)
{
    TestDirectory directory;
    expectDelivery(wif, noiseCards(37, 25));
    std::string file = directory.write("b.wif", encodeDraft(noiseCards(37, 25)));
    EXPECT_EQ(load(file, {.wantPalette = 0}).bandStatus, loadBadData);
    for (const CardFormat* format : {&dobby, &changsu}) {
        expectDelivery(*format, noiseCards(40, 25));
        file = directory.write(format->name, format->encode(noiseCards(40, 25)));
        // Turns the bits of all it is given.
        EXPECT_EQ(load(file, {.wantPalette = 0, .extraStride = 1, .fill = 0x0F}).rows.back(), 0xF0);
    }
    // A number that reads the same both ways is the first make's.
    Bytes same = encodeDobby1858(noisePicture(pictureBilevel, 40, 257, 0, 2));
    EXPECT_EQ(load(directory.write("same.db1", same)).description, "Staubli 1858III dobby");
    expectStoredBits(dobby, noiseCards(40, 60000), 0, CutRow::held);

    const Bytes draft = encodeWif(draftOfPicture(noisePicture(pictureBilevel, 11, 3, 0, 1)), {.lineEnd = "\r\n"});
    const Bytes good = encodeDobby1858(noisePicture(pictureBilevel, 40, 3, 0, 1));
    const Bytes tooFew = encodeDobby1858(blankPicture(pictureBilevel, 40, 2));
    for (const char* name : {"awif", "a.wifx"})
        EXPECT_EQ(statusOf(name, draft, formatWif), loadWrongFormat);
    EXPECT_EQ(statusOf("a.db2", good, formatStaubli1858), loadWrongFormat);
    EXPECT_EQ(statusOf("b.db1", tooFew, formatStaubli1858), loadWrongFormat);
    EXPECT_EQ(load(directory.path + "/missing.wif", {.id = formatWif}).status, loadCannotRead);
    for (u32 at = 15; at < 25; at++)
        expectStatuses(dobby, good, at < 20 ? loadSuccess : loadWrongFormat, {{at, good[at] + 1u}});
    EXPECT_EQ(toldOf(dobby, patched(good, 24, {9})), "its trailer tells 9 picks, 25 bytes hold 3");
}
