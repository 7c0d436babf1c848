#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "samples/bonas_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;

constexpr u32 ep = 8;
constexpr u32 epCompressed = 66;

static Picture design(u32 width, u32 height)
{
    return noisePicture(pictureBilevel, width, height, 0, width * 7919ull + height);
}

static void expectDesign(const Loaded& loaded, const Picture& picture)
{
    EXPECT_EQ(loaded.bandStatus, loadSuccess);
    EXPECT_EQ(loaded.kind, kindBilevel);
    EXPECT_EQ(loaded.width, picture.width);
    EXPECT_EQ(loaded.height, picture.height);
    EXPECT_EQ(loaded.resX, 0u);
    EXPECT_EQ(loaded.resY, 0u);
    EXPECT_EQ(loaded.mulX, 1u);
    EXPECT_EQ(loaded.mulY, 1u);
    EXPECT_EQ(loaded.firstPart, 1u);
    EXPECT_EQ(loaded.orientationFlag, 1);
    EXPECT_EQ(loaded.palette[0], 0);
    EXPECT_EQ(loaded.pixels(), picture.rows);
}

// Writes d.ep, d.001, ... or with a name of the caller's own for each part.
static std::string writeParts(const TestDirectory& directory, const Picture& picture, u32 picksPerFile,
                              const std::vector<std::string>& names)
{
    for (size_t part = 0; part < names.size(); part++)
        directory.write(names[part], encodeBonas(picture, {.picksPerFile = picksPerFile}, static_cast<u32>(part)));
    return directory.path + "/" + names[0];
}

// The header cache answers by name: each file of a test gets another one.
static std::string freshName()
{
    static int number = 0;
    return "d" + std::to_string(number++);
}

TEST(Bonas, DeliversHooksAndSelectorsInBandsAndStrides)
{
    TestDirectory directory;
    for (u32 selectorBytes : {1u, 4u, 5u}) {
        for (u32 hooks : {1u, 360u, 895u, 896u, 897u, 1001u, 1344u, 1400u, 1425u}) {
            for (bool padLines : {true, false}) {
                llibSetBonasLinePadding(padLines ? 7 : 0);
                Picture picture = design(hooks + 8 * selectorBytes, 23);
                std::string file = directory.write(
                    freshName() + ".eP", encodeBonas(picture, {.selectorBytes = selectorBytes, .padLines = padLines}));
                Loaded whole = load(file);
                EXPECT_EQ(whole.format, 8);
                expectDesign(whole, picture);
                EXPECT_EQ(whole.palette[1], 0xA5);

                // What pads a pick in the file may follow, what the file does not hold is left alone.
                Loaded wide = load(file, {.wantPalette = 0, .bands = {5, 0, 17, 1}, .extraStride = 6});
                EXPECT_EQ(wide.pixels(), picture.rows);
                for (u64 y = 0; y < 23; y++)
                    EXPECT_EQ(wide.rows[(y + 1) * wide.stride - 1], 0xA5);

                Loaded narrow = load(file, {.extraStride = -1});
                for (u64 y = 0; y < 23; y++)
                    for (u64 x = 0; x < narrow.stride; x++)
                        ASSERT_EQ(narrow.rows[y * narrow.stride + x], picture.rows[y * narrow.rowBytes + x]);
            }
        }
    }
    llibSetBonasLinePadding(1);
    // More than is read at once.
    Picture large = design(2000, 2500);
    EXPECT_EQ(load(directory.write("large.ep", encodeBonas(large))).pixels(), large.rows);
    EXPECT_EQ(getLoadBand()(nullptr, 1, 10), loadBadData);
    EXPECT_EQ(getEndLoad()(), 0);
}

TEST(Bonas, ReadsTheHeader)
{
    TestDirectory directory;
    Picture picture = design(40, 3);
    const char* systems[] = {"CAPS3", "Viable", "EAT",        "Sophis", "JMF",    "Grosse",
                             "Faure", "Apso",   "CDI",        "Datec",  "AVA",    "PCedit",
                             "IAM",   "Paycom", "Pointcarre", "Tevrin", "Tevrin", "Tevrin"};
    for (u8 system = 0; system < std::size(systems); system++) {
        // Eight letters leave no room for a terminator.
        std::string name = std::string("%s%n LET!").substr(0, 8 - system % 9u);
        Bytes bytes = encodeBonas(picture, {.designName = name, .cadSystem = system == 17 ? u8{200} : system});
        EXPECT_EQ(load(directory.write(freshName() + ".ep", bytes)).description,
                  "Bonas\n" + name + "\nCAD: " + systems[system]);
    }

    // Selectors and the number of picks may be left to their usual values; what is printed is what is stored.
    testing::internal::CaptureStdout();
    Loaded usual =
        load(directory.write("usual.ep", encodeBonas(picture, {.tellSelectors = false, .tellTotal = false})));
    Loaded many = load(directory.write("many.ep", encodeBonas(design(8 * 255, 2), {.selectorBytes = 255})));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Bonas bytes for weft (selectl) 0\nBonas bytes for weft (selectl) 255\n");
    EXPECT_EQ(usual.pixels(), picture.rows);
    EXPECT_EQ(usual.height, 3u);
    EXPECT_EQ(many.width, 8u * 255);

    // A file too short for its header counts as zero where it ends, and has no picks.
    Loaded stub = load(directory.write("stub.ep", Bytes{1, 2, 0, 7, 0, 9, 'X', 'Y'}));
    EXPECT_EQ(stub.description, "Bonas\nXY\nCAD: CAPS3");
    EXPECT_EQ(stub.width, 32u);
    EXPECT_EQ(stub.height, 7u);
    EXPECT_EQ(stub.bandStatus, loadSuccess);
    EXPECT_EQ(stub.pixels(), Bytes(28, 0));
}

TEST(Bonas, GoesThroughTheParts)
{
    TestDirectory directory;
    Picture picture = design(1432, 1200);
    std::string file = writeParts(directory, picture, 500, {"d.ep", "d.001", "d.002"});
    EXPECT_EQ(load(file).pixels(), picture.rows);
    Loaded bands = load(file, {.bands = {499, 1, 1, 600, 99}, .extraStride = 5});
    EXPECT_EQ(bands.bandStatus, loadSuccess);
    EXPECT_EQ(bands.pixels(), picture.rows);

    // Picks behind those of a part are not the design's; those that a part lacks are empty.
    Bytes first = encodeBonas(picture, {.picksPerFile = 500});
    first.resize(first.size() + 1000, 0x3C);
    directory.write("e.ep", first);
    Bytes second = encodeBonas(picture, {.picksPerFile = 500}, 1);
    second.resize(34 + 20 * 180 + 7);
    directory.write("e.001", second);
    directory.write("e.002", encodeBonas(picture, {.picksPerFile = 500}, 2));
    Bytes expected = picture.rows;
    std::fill(expected.begin() + 520 * 179 + 7, expected.begin() + 1000 * 179, 0);
    EXPECT_EQ(load(directory.path + "/e.ep", {.bands = {700, 500}}).pixels(), expected);

    // Part 100 is ":0", after the nines.
    Picture tall = design(40, 112);
    std::vector<std::string> names = {"tall.ep"};
    for (char tens = '0'; tens <= ':'; tens++)
        for (char ones = '0'; ones <= '9'; ones++)
            names.push_back(std::string("tall.0") + tens + ones);
    names.erase(names.begin() + 1); // there is no part 0 of that name
    names.push_back("tall.0;0");
    names.push_back("tall.0;1");
    EXPECT_EQ(load(writeParts(directory, tall, 1, names)).pixels(), tall.rows);
}

TEST(Bonas, LooksForPartsWithTheExtension)
{
    TestDirectory directory;
    Picture picture = design(48, 8);
    // The extension of a part found so stays in the name and is written over by the next number.
    std::string file = writeParts(directory, picture, 2, {"d.ep", "d.001.ep", "d.001002", "d.001003.ep"});
    EXPECT_EQ(load(file).pixels(), picture.rows);

    std::string missing = writeParts(directory, picture, 3, {"m.ep", "m.001"});
    int descriptors = openDescriptors();
    Loaded cut = load(missing);
    EXPECT_EQ(cut.status, loadSuccess);
    EXPECT_EQ(cut.bandStatus, loadCannotRead);
    Bytes expected(48, 0xA5);
    std::copy_n(picture.rows.begin(), 36, expected.begin());
    EXPECT_EQ(cut.rows, expected);
    EXPECT_EQ(getLoadBand()(cut.rows.data(), 1, 6), loadBadData);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Bonas, NeverDeliversRowsBehindTheLast)
{
    TestDirectory directory;
    Picture picture = design(48, 6);
    std::string single = directory.write("s.ep", encodeBonas(picture));
    std::string uneven = writeParts(directory, picture, 4, {"u.ep", "u.001"});
    std::string even = writeParts(directory, picture, 3, {"e.ep", "e.001"});
    struct Case {
        std::string file;
        int status;
    };
    // Where a part ends with the design the next one is looked for.
    for (const Case& one : {Case{single, loadSuccess}, Case{uneven, loadSuccess}, Case{even, loadCannotRead}}) {
        Loaded more = load(one.file, {.bands = {9}});
        EXPECT_EQ(more.bandStatus, one.status) << one.file;
        EXPECT_EQ(more.rows, picture.rows);
        EXPECT_EQ(load(one.file, {.bands = {6, 1000000}}).bandStatus, one.status);
        EXPECT_EQ(load(one.file, {.bands = {6, 0}}).bandStatus, loadSuccess);
    }
}

TEST(Bonas, RefusesWhatItDoesNotRead)
{
    TestDirectory directory;
    const Picture picture = design(48, 6);
    const Bytes good = encodeBonas(picture);
    Bytes marked = good;
    marked[2] = 1;
    Bytes noPicks = good;
    noPicks[3] = noPicks[4] = 0;
    const Bytes severalFiles = encodeBonas(picture, {.picksPerFile = 5});
    struct Case {
        const char* name;
        const Bytes& bytes;
        int status;
    };
    const Case cases[] = {{"marked.ep", marked, loadWrongFormat},
                          {"noPicks.ep", noPicks, loadWrongFormat},
                          {"empty.ep", {}, loadWrongFormat},
                          {"two.ep", {0, 0}, loadWrongFormat},
                          {"dotless-ep", good, loadSuccess},
                          {"CAPITALS.EP", good, loadSuccess},
                          {"other.ex", good, loadWrongFormat},
                          {"other.xp", good, loadWrongFormat},
                          {"whole.001.ep", good, loadSuccess},
                          {"part.001.ep", severalFiles, loadWrongFormat},
                          {"part.987.eP", severalFiles, loadWrongFormat},
                          {"part.98.ep", severalFiles, loadSuccess},
                          {"part-001.ep", severalFiles, loadSuccess},
                          {"part.0a1.ep", severalFiles, loadSuccess},
                          {"part.001-ep", severalFiles, loadSuccess}};
    int descriptors = openDescriptors();
    for (const Case& one : cases)
        EXPECT_EQ(load(directory.write(one.name, one.bytes), {.id = ep, .bands = {0}}).status, one.status) << one.name;
    EXPECT_EQ(load(directory.path + "/missing.ep", {.id = ep}).status, loadWrongFormat);
    std::string vanished = directory.write("vanished.ep", good);
    load(vanished);
    remove(vanished.c_str());
    EXPECT_EQ(load(vanished, {.id = ep}).status, loadCannotRead);
    for (const char* name : {"p", "ep"}) {
        fs::path before = fs::current_path();
        fs::current_path(directory.path);
        directory.write(name, good);
        EXPECT_EQ(load(name, {.id = ep}).status, strlen(name) < 2 ? loadWrongFormat : loadSuccess);
        fs::current_path(before);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Bonas, IsHarmlessWhenDamaged)
{
    testing::internal::CaptureStdout();
    expectHarmless("d.ep", encodeBonas(design(41, 9)), ep);
    expectHarmless("d.ep", encodeBonas(design(41, 9), {.picksPerFile = 4}), ep);
    testing::internal::GetCapturedStdout();
}

// A stand-in for the expanding command: its compressed files hold the others behind 14 bytes.
static Bytes standInCompressed(const Bytes& bytes)
{
    Bytes packed(14 + bytes.size());
    const u8 mark[] = {'S', 'Z', 'D', 'D', 0x88, 0xF0, 0x27, 0x33, 'A'};
    std::copy(std::begin(mark), std::end(mark), packed.begin());
    std::copy(bytes.begin(), bytes.end(), packed.begin() + 14);
    return packed;
}

// Makes the stand-in the command, which expands in "cards"; "tmp" is the temporary directory.
struct Expander {
    TestDirectory directory;
    std::string cards = directory.path + "/cards";
    std::string tmp = directory.path + "/tmp";
    int descriptors = openDescriptors();

    Expander()
    {
        fs::create_directory(cards);
        fs::create_directory(tmp);
        llibSetTmpDir(tmp.c_str());
        use("[ -e \"${1%_}\" ] && exit 1; tail -c +15 \"$1\" >\"${1%_}\"");
    }
    ~Expander()
    {
        EXPECT_TRUE(fs::is_empty(tmp));
        EXPECT_EQ(openDescriptors(), descriptors);
        llibSetTmpDir(nullptr);
        llibSetMsExpandCommand(nullptr);
    }
    void use(const std::string& script)
    {
        llibSetMsExpandCommand(("sh " + directory.write("expand.sh", script)).c_str());
    }
    std::string write(const std::string& name, const Bytes& bytes) const
    {
        return directory.write("cards/" + name, bytes);
    }
    std::string names() const
    {
        std::string all;
        std::vector<std::string> sorted;
        for (const auto& entry : fs::directory_iterator(cards))
            sorted.push_back(entry.path().filename().string());
        std::sort(sorted.begin(), sorted.end());
        for (const std::string& name : sorted)
            all += (all.empty() ? "" : " ") + name;
        return all;
    }
};

TEST(BonasCompressed, ExpandsBesideTheFile)
{
    Expander expander;
    Picture picture = design(1432, 20);
    const Bytes packed = standInCompressed(encodeBonas(picture, {.designName = "PACKED"}));
    std::string file = expander.write("d.ep_", packed);
    testing::internal::CaptureStdout();
    Loaded loaded = load(file);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Bonas bytes for weft (selectl) 4\n");
    EXPECT_EQ(loaded.format, 66);
    expectDesign(loaded, picture);
    EXPECT_EQ(loaded.description, "Bonas\nPACKED\nCAD: Tevrin");
    EXPECT_EQ(expander.names(), "d.ep_");

    for (const char* name : {"-D.EP_", "two words.Ep_", "$HOME `id` \"quoted\" \\.ep_"})
        EXPECT_EQ(load(expander.write(name, packed)).pixels(), picture.rows) << name;
    fs::path before = fs::current_path();
    fs::current_path(expander.cards);
    EXPECT_EQ(load("-D.EP_").pixels(), picture.rows);
    fs::current_path(before);
    EXPECT_EQ(expander.names(), "$HOME `id` \"quoted\" \\.ep_ -D.EP_ d.ep_ two words.Ep_");
}

TEST(BonasCompressed, KeepsTheExpandedFileUntilTheEnd)
{
    Expander expander;
    Picture picture = design(40, 20);
    const std::string file = expander.write("k.ep_", standInCompressed(encodeBonas(picture)));
    std::vector<char> name(file.c_str(), file.c_str() + file.size() + 1);
    auto open = [&](int wantPalette) {
        u32 numbers[8] = {};
        u8 palette[768];
        char description[4096];
        u8 orientation = 0;
        return getTryLoad()(name.data(), numbers, numbers + 1, numbers + 2, numbers + 3, numbers + 4, numbers + 5,
                            numbers + 6, palette, description, &orientation, numbers + 7, wantPalette);
    };
    registerLoadBonasCompressed();
    ASSERT_EQ(open(1), loadSuccess);
    EXPECT_EQ(expander.names(), "k.ep k.ep_");
    getEndLoad()();
    EXPECT_EQ(expander.names(), "k.ep_");
    ASSERT_EQ(open(0), loadSuccess);
    EXPECT_EQ(expander.names(), "k.ep_");
    Bytes rows(picture.rows.size());
    EXPECT_EQ(getLoadBand()(rows.data(), 20, 5), loadSuccess);
    EXPECT_EQ(rows, picture.rows);

    // Loads that were never ended.
    ASSERT_EQ(open(1), loadSuccess);
    ASSERT_EQ(open(1), loadSuccess);
    ASSERT_EQ(open(1), loadSuccess);
    registerLoadBonas();
    EXPECT_EQ(load(expander.write("plain.ep", encodeBonas(picture)), {.id = ep}).pixels(), picture.rows);
    EXPECT_EQ(expander.names(), "k.ep_ plain.ep");
}

TEST(BonasCompressed, LeavesAFileOfThatNameAlone)
{
    Expander expander;
    Picture picture = design(1000, 50);
    const Bytes packed = standInCompressed(encodeBonas(picture, {.picksPerFile = 20}));
    std::string file = expander.write("d.ep_", packed);
    expander.write("d.001", encodeBonas(picture, {.picksPerFile = 20}, 1));
    expander.write("d.002", encodeBonas(picture, {.picksPerFile = 20}, 2));
    EXPECT_EQ(load(file).pixels(), picture.rows);

    const Bytes other = encodeBonas(design(80, 3));
    std::string taken = expander.write("d.ep", other);
    for (int wantPalette : {0, 1})
        EXPECT_EQ(load(file, {.wantPalette = wantPalette}).pixels(), picture.rows);
    EXPECT_EQ(expander.names(), "d.001 d.002 d.ep d.ep_");
    EXPECT_EQ(load(taken).pixels(), design(80, 3).rows);

    // What is expanded there goes when it cannot be read too.
    Bytes noPicks = packed;
    noPicks[14 + 3] = 0;
    expander.write("n.ep", other);
    EXPECT_EQ(load(expander.write("n.ep_", noPicks)).status, loadWrongFormat);
    expander.use("exit 1");
    EXPECT_EQ(load(file).status, loadWrongFormat);
    llibSetTmpDir((expander.tmp + "/none").c_str());
    EXPECT_EQ(load(file).status, loadWrongFormat);
    llibSetTmpDir(std::string(5000, 'x').c_str());
    EXPECT_EQ(load(file).status, loadWrongFormat);
    EXPECT_EQ(expander.names(), "d.001 d.002 d.ep d.ep_ n.ep n.ep_");
}

TEST(BonasCompressed, RefusesAndCleansUp)
{
    Expander expander;
    const Bytes card = encodeBonas(design(48, 6), {.picksPerFile = 5});
    Bytes marked = card;
    marked[2] = 1;
    Bytes noPicks = card;
    noPicks[3] = 0;
    Bytes otherMode = standInCompressed(card);
    otherMode[8] = 'B';
    struct Case {
        const char* name;
        Bytes bytes;
        int status;
    };
    const Case cases[] = {{"good.ep_", standInCompressed(card), loadSuccess},
                          {"marked.ep_", standInCompressed(marked), loadWrongFormat},
                          {"noPicks.ep_", standInCompressed(noPicks), loadWrongFormat},
                          {"part.001.ep_", standInCompressed(card), loadWrongFormat},
                          {"nothing.ep_", standInCompressed({}), loadWrongFormat},
                          {"mode.ep_", otherMode, loadWrongFormat},
                          {"bare.ep_", card, loadWrongFormat},
                          {"short.ep_", {'S', 'Z', 'D', 'D', 0x88, 0xF0, 0x27, 0x33}, loadWrongFormat},
                          {"dotless-ep_", standInCompressed(card), loadWrongFormat},
                          {"other.ep-", standInCompressed(card), loadWrongFormat}};
    for (const Case& one : cases) {
        std::string file = expander.write(one.name, one.bytes);
        EXPECT_EQ(load(file, {.id = epCompressed, .bands = {0}}).status, one.status) << one.name;
        EXPECT_EQ(expander.names(), one.name);
        remove(file.c_str());
    }
    // The command may fail, write nothing, or something that is no file.
    std::string file = expander.write("c.ep_", standInCompressed(card));
    for (const char* script : {"exit 1", "exit 0", "mkfifo \"${1%_}\"", "ln -s missing \"${1%_}\""}) {
        expander.use(script);
        EXPECT_EQ(load(file).status, loadWrongFormat) << script;
        EXPECT_EQ(expander.names(), "c.ep_") << script;
    }
    // A command that reports failure but has done its work.
    expander.use("tail -c +15 \"$1\" >\"${1%_}\"; exit 1");
    EXPECT_EQ(load(file, {.bands = {5}}).bandStatus, loadSuccess);

    llibSetTmpDir(nullptr);
    EXPECT_EQ(load(file).status, loadWrongFormat);
    llibSetTmpDir(expander.tmp.c_str());
    llibSetMsExpandCommand(nullptr);
    EXPECT_EQ(load(file).status, loadWrongFormat);
    fs::path before = fs::current_path();
    fs::current_path(expander.cards);
    expander.use("tail -c +15 \"$1\" >\"${1%_}\"");
    for (const char* name : {".ep_", "a.ep_", "ab.ep_"}) {
        expander.write(name, standInCompressed(card));
        EXPECT_EQ(load(name, {.id = epCompressed, .bands = {0}}).status,
                  strlen(name) < 6 ? loadWrongFormat : loadSuccess);
    }
    fs::current_path(before);
    EXPECT_EQ(load(expander.cards + "/missing.ep_", {.id = epCompressed}).status, loadWrongFormat);
}

TEST(BonasCompressed, IsHarmlessWhenDamaged)
{
    Expander expander;
    testing::internal::CaptureStdout();
    expectHarmless("d.ep_", standInCompressed(encodeBonas(design(34, 3), {.picksPerFile = 2})), epCompressed);
    testing::internal::GetCapturedStdout();
}

TEST(BonasCompressed, WorksWithTheRealCommands)
{
    if (system("command -v mscompress >/dev/null && command -v msexpand >/dev/null") != 0)
        GTEST_SKIP() << "Package mscompress is not installed.";
    Expander expander;
    llibSetMsExpandCommand("msexpand");
    Picture picture = motifPicture(pictureBilevel, 1432, 300);
    std::string card = expander.write("real.ep", encodeBonas(picture));
    ASSERT_EQ(system(("mscompress " + card).c_str()), 0);
    ASSERT_LT(fs::file_size(card + "_"), fs::file_size(card));
    EXPECT_EQ(load(card + "_").pixels(), picture.rows);
    remove(card.c_str());
    EXPECT_EQ(load(card + "_").pixels(), picture.rows);
    EXPECT_EQ(load(expander.write("ours.EP_", compressForExpand(encodeBonas(picture)))).pixels(), picture.rows);
    EXPECT_EQ(expander.names(), "ours.EP_ real.ep_");
}
