#include "samples/wif_writer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <set>

#include "samples/dobby_1858_writer.h"
#include "tests/support.h"

static const u32 most = 8192;

static bool says(const char* line, const char* text)
{
    return strncmp(line, text, strlen(text)) == 0;
}

static int numberOf(char* line)
{
    int number = 0;
    sscanf(removeHead(line), "%d", &number);
    return number;
}

// The drawdown the plain way: the file read twice with sscanf, and every pixel looked up.
struct PlainDrawdown {
    int shafts = 0, treadles = 0, width = 0, height = 0;
    bool threading = false, tieup = false, treadling = false, liftplan = false;
    std::vector<int> shaftOf = {}, secondOf = {}, treadleOf = {};
    std::vector<std::set<int>> lifts = {}, ties = {};
};

static void readPlainKey(PlainDrawdown& plain, const std::string& section, char* line)
{
    struct Flag {
        const char* key;
        bool& value;
    };
    for (const Flag& flag : {Flag{"threading=", plain.threading}, Flag{"tieup=", plain.tieup},
                             Flag{"treadling=", plain.treadling}, Flag{"liftplan=", plain.liftplan}}) {
        if (section == "[contents]" && says(line, flag.key)) {
            const char* value = removeHead(line);
            flag.value = says(value, "yes") || says(value, "on") || says(value, "true") || says(value, "1");
        }
    }
    if (section == "[weaving]" && says(line, "shafts="))
        plain.width = plain.shafts = numberOf(line);
    if (section == "[weaving]" && says(line, "treadles="))
        plain.treadles = numberOf(line);
    if (section == "[warp]" && says(line, "threads="))
        plain.width = numberOf(line);
    if (section == "[weft]" && says(line, "threads="))
        plain.height = numberOf(line);
}

static void readPlainNumbers(PlainDrawdown& plain, const std::string& section, char* line)
{
    int row = 0, shaft = 0, second = 0;
    auto within = [](int number, size_t count) { return number >= 1 && static_cast<size_t>(number) <= count; };
    if (section == "[threading]") {
        bool two = strchr(line, ',') != nullptr;
        if (sscanf(line, "%d=%d,%d", &row, &shaft, &second) < (two ? 3 : 2) || !within(row, plain.shaftOf.size()))
            return;
        if (within(shaft, most))
            plain.shaftOf[static_cast<size_t>(row - 1)] = shaft - 1;
        if (two && within(second, most))
            plain.secondOf[static_cast<size_t>(row - 1)] = second - 1;
    } else if (section == "[treadling]") {
        if (sscanf(line, "%d=%d", &row, &shaft) == 2 && within(row, plain.treadleOf.size()) && within(shaft, most))
            plain.treadleOf[static_cast<size_t>(row - 1)] = shaft - 1;
    } else if (section == "[liftplan]" || section == "[tieup]") {
        auto& table = section == "[tieup]" ? plain.ties : plain.lifts;
        if (sscanf(line, "%d=", &row) != 1 || !within(row, table.size()) || strchr(line, '=') == nullptr)
            return;
        for (char* piece = removeHead(line); piece != nullptr; piece = strchr(piece, ',')) {
            piece += *piece == ',';
            if (within(atoi(piece), most))
                table[static_cast<size_t>(row - 1)].insert(atoi(piece) - 1);
        }
    }
}

using PlainReader = void (*)(PlainDrawdown&, const std::string& section, char* line);

static void readPlainLines(FILE* file, PlainDrawdown& plain, PlainReader read)
{
    std::vector<char> buffer(49153);
    char* line = buffer.data();
    auto next = [&] {
        fgetsDosMac(line, 49152, file);
        stringToLower(line);
    };
    std::string section;
    while (!feof(file)) {
        next();
        if (line[0] == '[') {
            section = std::string(line, strcspn(line, "]")) + "]";
            next();
        }
        read(plain, section, line);
    }
}

static Bytes drawPlainly(const std::string& path)
{
    PlainDrawdown plain;
    FILE* file = fopen(path.c_str(), "r");
    char line[100] = "[wif]";
    while (says(line, "[wif]")) {
        fgetsDosMac(line, sizeof line, file);
        stringToLower(line);
    }
    readPlainLines(file, plain, readPlainKey);
    if (plain.width < 2 || plain.height < 2)
        ADD_FAILURE() << "not a draft";
    auto width = static_cast<size_t>(plain.width), height = static_cast<size_t>(plain.height);
    plain.secondOf.assign(width, -1);
    plain.lifts.resize(height);
    plain.ties.resize(most);
    for (size_t i = 0; i < width; i++)
        plain.shaftOf.push_back(i < most ? static_cast<int>(i) : -1);
    for (size_t i = 0; i < height; i++)
        plain.treadleOf.push_back(i < most ? static_cast<int>(i) : -1);
    for (size_t i = 0; i <= std::max(width, height) && i < most && !plain.tieup; i++)
        plain.ties[i].insert(static_cast<int>(i));
    rewind(file);
    readPlainLines(file, plain, readPlainNumbers);
    fclose(file);

    size_t rowBytes = (width + 7) / 8;
    Bytes rows(rowBytes * height);
    bool byTreadles = plain.treadling || plain.tieup || plain.threading;
    for (size_t p = 0; p < height && (plain.liftplan || byTreadles); p++) {
        if (!plain.liftplan && plain.treadleOf[p] < 0)
            continue;
        const auto& lifted = plain.liftplan ? plain.lifts[p] : plain.ties[static_cast<size_t>(plain.treadleOf[p])];
        for (size_t x = 0; x < width; x++)
            for (int shaft : {plain.shaftOf[x], plain.secondOf[x]})
                if (shaft >= 0 && lifted.count(shaft) != 0)
                    rows[p * rowBytes + x / 8] |= static_cast<u8>(0x80 >> x % 8);
    }
    return rows;
}

static void expectPlainDrawdown(const TestDirectory& directory, const Bytes& bytes, const std::string& what)
{
    std::string file = directory.write("draft.wif", bytes);
    Loaded loaded = load(file, {.id = 21});
    ASSERT_EQ(loaded.status, loadSuccess) << what;
    EXPECT_EQ(loaded.bandStatus, loadSuccess);
    ASSERT_TRUE(loaded.pixels() == drawPlainly(file)) << what;
}

static std::vector<u32> randomShafts(u64& state, u32 count, u32 shafts)
{
    std::vector<u32> list;
    for (u32 i = 0; i < count; i++)
        list.push_back(1 + nextRandom(state) % shafts);
    return list;
}

static WifDraft randomDraft(u64& state)
{
    auto below = [&](u32 limit) { return nextRandom(state) % limit; };
    static const u32 sizes[] = {2, 8, 24, 63, 64, 130, 257, 1000, 8192};
    u32 shafts = sizes[below(9)];
    WifDraft draft{.ends = 2 + below(150), .picks = 2 + below(90), .shafts = shafts, .treadles = 2 + below(150)};
    if (below(4) != 0)
        for (u32 i = 0; i < draft.ends + 2; i++)
            draft.threading.push_back(randomShafts(state, 5 * below(20) < 6 ? below(4) : 1, shafts));
    if (below(3) != 0)
        for (u32 i = 0; i < draft.treadles; i++)
            draft.tieup.push_back(randomShafts(state, below(1 + std::min(shafts, 40u)), shafts));
    if (below(4) != 0)
        for (u32 i = 0; i < draft.picks; i++)
            draft.treadling.push_back(below(20) != 0 ? 1 + below(draft.treadles) : 0);
    if (below(2) == 0)
        for (u32 i = 0; i < draft.picks; i++)
            draft.liftplan.push_back(randomShafts(state, below(1 + std::min(shafts, 40u)), shafts));
    return draft;
}

TEST(Wif, DrawsWhatThePlainWayDraws)
{
    TestDirectory directory;
    u64 state = 1;
    for (int round = 0; round < 300; round++) {
        WifOptions options{.lineEnd = std::vector<const char*>{"\n", "\r\n", "\r"}[nextRandom(state) % 3],
                           .yes = std::vector<const char*>{"yes", "ON", "True", "1"}[nextRandom(state) % 4],
                           .blankLines = nextRandom(state) % 2 == 0,
                           .numbersFirst = nextRandom(state) % 2 == 0};
        expectPlainDrawdown(directory, encodeWif(randomDraft(state), options), std::to_string(round));
    }
    WifDraft wide{.ends = 9000, .picks = 8500, .shafts = 2, .treadles = 2, .threading = {{1}, {2, 8192}, {9000}}};
    expectPlainDrawdown(directory, encodeWif(wide), "beyond 8192");
}

TEST(Wif, DrawsTheSameClothFromTreadlesAndFromALiftplan)
{
    TestDirectory directory;
    Loaded treadled = load(directory.write("treadles.wif", encodeWif(motifDraft(), {.lineEnd = "\r\n"})));
    Loaded lifted = load(directory.write("liftplan.wif", encodeWif(withLiftplan(motifDraft()))));
    EXPECT_TRUE(treadled.pixels() == lifted.pixels());
    for (u32 width : {63u, 64u, 255u, 257u, 700u}) {
        Picture picture = noisePicture(pictureBilevel, width, 33, 0, width);
        Bytes bytes = encodeWif(draftOfPicture(picture), {.yes = "1"});
        EXPECT_TRUE(load(directory.write(std::to_string(width) + ".wif", bytes)).pixels() == picture.rows) << width;
    }
}

TEST(Wif, ReadsOddLinesAsThePlainWayDoes)
{
    TestDirectory directory;
    u64 state = 2;
    static const char* const pieces[] = {
        "=", "=", "=",  ",",      ",",    " ",    "\t",         "-",
        "+", "x", ";",  "0",      "00",   "1",    "2",          "3",
        "4", "5", "6",  "7",      "8",    "[",    "\n",         "\n",
        "9", "A", "\r", "\r\n\n", "8192", "8193", "4294967298", "99999999999999999999"};
    for (int round = 0; round < 600; round++) {
        bool plan = round % 2 == 0;
        std::string text =
            "[WIF]\n\n[Contents]\nthreading=1\ntreadling=1\ntieup=1\nliftplan=" + std::string(plan ? "1" : "0") +
            "\n[WEFT]\nTHREADS=9\n[WEAVING]\ntreadles=2\nshafts= 9\n";
        for (const char* section : {"[Threading]", "[TREADLING] ", plan ? "[liftplan]" : "[tieup]"}) {
            text += section + std::string("\n");
            for (int i = 0; i < 60; i++) {
                bool sensible = nextRandom(state) % 4 == 0;
                text += sensible ? "\n" + std::to_string(nextRandom(state) % 10) + "=" +
                                       std::to_string(nextRandom(state) % 10)
                                 : pieces[nextRandom(state) % std::size(pieces)];
            }
            text += "\n";
        }
        expectPlainDrawdown(directory, Bytes(text.begin(), text.end()), text);
    }
    // A line longer than the buffer is cut, and two of its characters are lost.
    std::string text =
        "[wif]\n\n[contents]\nliftplan=1\n[weaving]\nshafts=40\ntreadles=2\n[weft]\nthreads=3\n[liftplan]\n1=";
    for (int i = 0; i < 30000; i++)
        text += std::to_string(1 + i % 7) + ",";
    text += "33\n2=3\n";
    expectPlainDrawdown(directory, Bytes(text.begin(), text.end()), "long line");
}

static Bytes drawn(const TestDirectory& directory, const std::string& text)
{
    Loaded loaded = load(directory.write("small.wif", text), {.id = 21});
    EXPECT_EQ(loaded.status, loadSuccess) << text;
    return loaded.pixels();
}

TEST(Wif, TakesDefaultsForWhatIsMissing)
{
    TestDirectory directory;
    const std::string head = "[WIF]\nVersion=1.1\n[WEAVING]\nShafts=4\nTreadles=4\n[WEFT]\nThreads=3\n";
    const std::string numbers =
        "[THREADING]\n1=4\n2=3\n3=2,1,4\n[TREADLING]\n1=2\n2=4\n3=1\n[TIEUP]\n1=1,2\n2=3\n4=4\n";
    // Nothing declared: empty, with the shafts for a width.
    EXPECT_EQ(drawn(directory, head + numbers), (Bytes{0, 0, 0}));
    auto contents = [](const char* keys) { return std::string("[CONTENTS]\n") + keys; };
    // A tie-up that is not declared is still read and comes on top of the diagonal.
    EXPECT_EQ(drawn(directory, head + contents("TREADLING=yes\n") + numbers), (Bytes{0x60, 0x90, 0x20}));
    EXPECT_EQ(drawn(directory, head + contents("TIEUP=true\n") + numbers), (Bytes{0x40, 0x90, 0x20}));
    EXPECT_EQ(drawn(directory, head + contents("TIEUP=true\nTIEUP=false\n") + numbers), (Bytes{0, 0, 0}));
    EXPECT_EQ(drawn(directory, head + contents("LIFTPLAN=on\nTIEUP=1\n") + numbers + "[LIFTPLAN]\n2=1,3\n"),
              (Bytes{0, 0x60, 0}));
    EXPECT_EQ(drawn(directory, head + contents("THREADING=1\n")), (Bytes{0x80, 0x40, 0x20}));
    // The diagonal ends with the threads.
    EXPECT_EQ(drawn(directory, head + contents("THREADING=1\n") + "[THREADING]\n1=5\n2=6\n[TREADLING]\n1=5\n2=6\n"),
              (Bytes{0x80, 0, 0x20}));
}

TEST(Wif, KeepsTheOddWaysOfItsHeaders)
{
    TestDirectory directory;
    const std::string body = "[weaving]\nshafts=4\ntreadles=4\n[warp]\nthreads=5\n[weft]\nthreads=6\n";
    auto sizeOf = [&](const std::string& text) {
        Loaded loaded = load(directory.write("size.wif", text), {.id = 21});
        return loaded.status == loadSuccess ? std::to_string(loaded.width) + "x" + std::to_string(loaded.height)
                                            : std::to_string(loaded.status);
    };
    std::string tenTimes;
    for (int i = 0; i < 10; i++)
        tenTimes += "[WIF]\n";
    EXPECT_EQ(sizeOf(tenTimes + "version\n" + body), "5x6");
    EXPECT_EQ(sizeOf(tenTimes + "[wif]\nversion\n" + body), "6");
    EXPECT_EQ(sizeOf(tenTimes), "6");
    EXPECT_EQ(sizeOf("no header\n" + body), "5x6");
    EXPECT_EQ(sizeOf(body), "6") << "the first line is not looked at";
    EXPECT_EQ(sizeOf("[wif]\n" + body), "6") << "nor is the line behind [wif]";
    EXPECT_EQ(sizeOf("[wif]\n1.1\n[text]\n" + body), "6") << "a header behind a header is none";
    EXPECT_EQ(sizeOf("[wif]\n1.1\n[warp]\nthreads=5\n[weft]\nthreads=6\n[weaving]\nshafts=4\ntreadles=4\n"), "4x6");
    EXPECT_EQ(sizeOf("[wif]\n1.1\n[weaving]\nshafts=4\ntreadles=4\n[weft]\nthreads=6\n"), "4x6");

    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "[warp]\nthreads=x\n"), "5x6");

    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "7 8"), "7x8");
    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "  1 1 rest"), "1x1");
    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "7 8\n"), "5x6");
    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "7 x"), "5x6");
    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "0 8"), "6");
    EXPECT_EQ(sizeOf("[wif]\n1.1\n" + body + "8 65521"), "6");

    // Sizes start behind the first lines, numbers with them.
    Bytes rows = drawn(
        directory, "[threading]\n1=2\n[contents]\nthreading=1\n[weaving]\nshafts=2\ntreadles=2\n[weft]\nthreads=2\n");
    EXPECT_EQ(rows, (Bytes{0, 0xC0}));
}

TEST(Wif, ReportsAndDeliversInBandsAndStrides)
{
    TestDirectory directory;
    u64 state = 3;
    WifDraft draft{.ends = 37, .picks = 25, .shafts = 8, .treadles = 8};
    for (u32 i = 0; i < 25; i++)
        draft.liftplan.push_back(randomShafts(state, 4, 37));
    std::string file = directory.write("A.WIF", encodeWif(draft));
    Bytes rows = drawPlainly(file);
    Loaded whole = load(file);
    EXPECT_EQ(whole.format, 21);
    EXPECT_EQ(whole.kind, static_cast<u32>(kindBilevel));
    EXPECT_EQ(whole.width, 37u);
    EXPECT_EQ(whole.height, 25u);
    EXPECT_EQ(whole.resX + whole.resY, 0u);
    EXPECT_EQ(whole.mulX, 1u);
    EXPECT_EQ(whole.mulY, 1u);
    EXPECT_EQ(whole.firstPart, 1u);
    EXPECT_EQ(whole.orientationFlag, 1);
    EXPECT_EQ(whole.description, "WIF weave");
    EXPECT_EQ(whole.palette, Bytes(768, 0xA5));
    EXPECT_EQ(whole.pixels(), rows);

    Loaded wide = load(file, {.bands = {7, 0, 18}, .extraStride = 3});
    EXPECT_EQ(wide.bandStatus, loadSuccess);
    EXPECT_EQ(wide.pixels(), rows);
    Loaded narrow = load(file, {.bands = {20, 9}, .extraStride = -2});
    EXPECT_EQ(narrow.bandStatus, loadBadData);
    for (u64 y = 0; y < 25; y++) {
        EXPECT_EQ(wide.rows[8 * y + 5], 0xA5);
        EXPECT_TRUE(std::equal(rows.begin() + static_cast<i64>(5 * y), rows.begin() + static_cast<i64>(5 * y + 3),
                               narrow.rows.begin() + static_cast<i64>(3 * y)));
    }
    Loaded sizes = load(file, {.wantPalette = 0});
    EXPECT_EQ(sizes.width, 37u);
    EXPECT_EQ(sizes.bandStatus, loadBadData);
    EXPECT_EQ(sizes.pixels(), Bytes(125, 0xA5));
}

TEST(Wif, RefusesWhatIsNoDraft)
{
    TestDirectory directory;
    const std::string good = "[wif]\n1.1\n[weaving]\nshafts=2\ntreadles=2\n[warp]\nthreads=2\n[weft]\nthreads=2\n";
    EXPECT_EQ(load(directory.write("good.WiF", good), {.id = 21}).status, loadSuccess);
    for (const char* name : {"good.wi", "goodwif", "good.wifx", "good_wif"})
        EXPECT_EQ(load(directory.write(name, good), {.id = 21}).status, loadWrongFormat) << name;
    for (size_t at = good.find('2'); at != std::string::npos; at = good.find('2', at + 1)) {
        for (const char* size : {"1", "0", "-3", "4294967297"}) {
            std::string text = good;
            std::string file = directory.write("bad.wif", text.replace(at, 1, size));
            for (int wantPalette : {0, 1})
                EXPECT_EQ(load(file, {.id = 21, .wantPalette = wantPalette}).status, loadWrongFormat) << text;
        }
    }
    std::string huge = good;
    EXPECT_EQ(load(directory.write("huge.wif", huge.replace(huge.rfind('2'), 1, "65521")), {.wantPalette = 0}).status,
              loadWrongFormat);
    EXPECT_EQ(load(directory.path + "/missing.wif", {.id = 21}).status, loadCannotRead);
    std::string folder = directory.path + "/folder.wif";
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    EXPECT_NE(load(folder, {.id = 21}).status, loadSuccess);
    EXPECT_EQ(load(directory.write("empty.wif", ""), {.id = 21}).status, loadWrongFormat);

    WifDraft draft{
        .ends = 11, .picks = 3, .shafts = 2, .treadles = 2, .threading = {{1}, {2, 1}}, .treadling = {1, 2, 1}};
    expectHarmless("d.wif", encodeWif(draft, {.lineEnd = "\r\n"}), 21);
}

static u64 kilobytesOf(const char* key)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    u64 value = 0;
    while (status >> word && word != key)
        ;
    status >> value;
    return value;
}

TEST(Wif, TouchesOnlyTheMemoryThatADraftNeeds)
{
    TestDirectory directory;
    WifDraft draft{.ends = 2000, .picks = 2000, .shafts = 16, .treadles = 16};
    u64 state = 4;
    for (u32 i = 0; i < 2000; i++) {
        draft.threading.push_back({1 + i % 16});
        draft.liftplan.push_back(randomShafts(state, 8, 16));
    }
    std::string file = directory.write("memory.wif", encodeWif(draft));
    load(directory.write("first.wif", encodeWif(motifDraft())));
    std::ofstream peak("/proc/self/clear_refs");
    if (!(peak << 5 << std::flush))
        GTEST_SKIP() << "the peak of memory cannot be reset here";
    u64 before = kilobytesOf("VmHWM:");
    Loaded loaded = load(file);
    EXPECT_EQ(loaded.status, loadSuccess);
    // 500 KB each for the loader's picture and for this one.
    EXPECT_LT(kilobytesOf("VmHWM:"), before + 4096);
    RecordProperty("peakKilobytes", static_cast<int>(kilobytesOf("VmHWM:") - before));
}

TEST(Dobby1858, DeliversBothByteOrdersInBandsAndStrides)
{
    TestDirectory directory;
    Picture picture = noisePicture(pictureBilevel, 40, 100, 0, 1);
    for (bool littleEndian : {false, true}) {
        Bytes bytes = encodeDobby1858(picture, {.littleEndian = littleEndian});
        ASSERT_EQ(bytes.size(), 510u);
        std::string file = directory.write(littleEndian ? "l.db1" : "B.DB1", bytes);
        Loaded whole = load(file);
        EXPECT_EQ(whole.format, 20);
        EXPECT_EQ(whole.kind, static_cast<u32>(kindBilevel));
        EXPECT_EQ(whole.width, 40u);
        EXPECT_EQ(whole.height, 100u);
        EXPECT_EQ(whole.resX + whole.resY, 0u);
        EXPECT_EQ(whole.mulX, 1u);
        EXPECT_EQ(whole.mulY, 1u);
        EXPECT_EQ(whole.firstPart, 1u);
        EXPECT_EQ(whole.orientationFlag, 1);
        EXPECT_EQ(whole.description, littleEndian ? "Changsu 1858III dobby" : "Staubli 1858III dobby");
        EXPECT_EQ(whole.bandStatus, loadSuccess);
        EXPECT_EQ(whole.pixels(), picture.rows);

        // The card reader turns the bits of all it was given.
        Loaded wide = load(file, {.bands = {3, 0, 97}, .extraStride = 2, .fill = 0x0F});
        EXPECT_EQ(wide.pixels(), picture.rows);
        EXPECT_EQ(wide.rows.back(), 0xF0);
        Loaded narrow = load(file, {.extraStride = -1});
        for (u64 i = 0; i < 400; i++)
            ASSERT_EQ(narrow.rows[i], picture.rows[i / 4 * 5 + i % 4]);
        EXPECT_EQ(load(file, {.bands = {60, 41}}).bandStatus, loadBadData);
    }
    // A number that reads the same both ways is the first make's.
    EXPECT_EQ(
        load(directory.write("same.db1", encodeDobby1858(noisePicture(pictureBilevel, 40, 257, 0, 2)))).description,
        "Staubli 1858III dobby");
}

TEST(Dobby1858, RefusesWhatDoesNotAddUp)
{
    TestDirectory directory;
    const Bytes good = encodeDobby1858(noisePicture(pictureBilevel, 40, 3, 0, 1));
    EXPECT_EQ(load(directory.write("good.dB1", good), {.id = 20}).status, loadSuccess);
    EXPECT_EQ(load(directory.write("good.db2", good), {.id = 20}).status, loadWrongFormat);
    EXPECT_EQ(load(directory.write("gooddb1", good), {.id = 20}).status, loadWrongFormat);
    for (size_t at = good.size() - 10; at < good.size(); at++) {
        Bytes bytes = good;
        bytes[at]++;
        bool isFree = at < good.size() - 5;
        EXPECT_EQ(load(directory.write(std::to_string(at) + ".db1", bytes)).status,
                  isFree ? loadSuccess : loadWrongFormat);
    }
    Bytes two = encodeDobby1858(noisePicture(pictureBilevel, 40, 2, 0, 1));
    EXPECT_EQ(load(directory.write("two.db1", two)).status, loadWrongFormat) << "too small";
    EXPECT_EQ(load(directory.path + "/missing.db1", {.id = 20}).status, loadWrongFormat);
    std::string vanished = directory.write("vanished.db1", good);
    load(vanished);
    remove(vanished.c_str());
    EXPECT_EQ(load(vanished, {.id = 20}).status, loadCannotRead);
    expectHarmless("d.db1", good, 20);
}

TEST(Dobby1858, StopsWhereTheFileWasCutMeanwhile)
{
    TestDirectory directory;
    Picture picture = noisePicture(pictureBilevel, 40, 3000, 0, 1);
    std::string file = directory.write("cut.db1", encodeDobby1858(picture));
    u32 number = 0;
    u8 palette[768], flag = 0;
    char description[4096];
    returnLoaderFunctions(20, file.c_str());
    ASSERT_EQ(getTryLoad()(file.c_str(), &number, &number, &number, &number, &number, &number, &number, palette,
                           description, &flag, &number, 1),
              loadSuccess);
    ASSERT_EQ(truncate(file.c_str(), 14000), 0);
    Bytes rows(15000);
    EXPECT_EQ(getLoadBand()(rows.data(), 3000, 5), loadBadData);
    getEndLoad()();
    EXPECT_EQ(getEndLoad()(), 0);
    EXPECT_EQ(getLoadBand()(rows.data(), 1, 5), loadBadData);
}
