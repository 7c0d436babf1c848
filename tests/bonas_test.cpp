#include "samples/bonas_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/card_support.h"

namespace fs = std::filesystem;

constexpr u32 ep = formatBonas, epCompressed = formatBonasCompressed;
constexpr const char* standIn = "sh -c 'tail -c +15 \"$1\" >\"${1%_}\"' sh";

// What the stand-in for the expanding command expands: the bytes behind a head of 14.
static Bytes compressed(const Bytes& bytes)
{
    Bytes packed = compressForExpand({});
    packed.insert(packed.end(), bytes.begin(), bytes.end());
    return packed;
}

// Works in a directory of its own. No test may leave an expanded file or an open descriptor behind.
struct Bonas : testing::Test {
    TestDirectory cards, temporary;
    fs::path before = fs::current_path();
    int descriptors = openDescriptors();

    Bonas()
    {
        fs::current_path(cards.path);
        llibSetTmpDir(temporary.path.c_str());
        llibSetMsExpandCommand(standIn);
    }
    ~Bonas() override
    {
        EXPECT_TRUE(fs::is_empty(temporary.path));
        EXPECT_EQ(openDescriptors(), descriptors);
        fs::current_path(before);
        llibSetTmpDir(nullptr);
        llibSetMsExpandCommand(nullptr);
    }
    i64 files() const { return std::distance(fs::directory_iterator(cards.path), {}); }
    void writeParts(const Picture& picture, u32 picks, const std::vector<std::string>& files) const
    {
        for (u32 part = 0; part < files.size(); part++)
            cards.write(files[part], encodeBonas(picture, {.picksPerFile = picks}, part));
    }
};

TEST_F(Bonas, DeliversHooksAndSelectorsInBandsAndStrides)
{
    for (u32 hooks : {1u, 895u, 896u, 897u, 1425u}) {
        for (bool padLines : {false, true}) {
            const u32 selectorBytes = 1 + hooks % 5;
            llibSetBonasLinePadding(padLines);
            const Picture picture = noiseCards(hooks + 8 * selectorBytes, 1500); // more than is read at once
            cards.write("d.eP", encodeBonas(picture, {.selectorBytes = selectorBytes, .padLines = padLines}));
            const Loaded wide = load("d.eP", {.bands = {5, 0, 17, 1478, 1}, .extraStride = 6});
            EXPECT_TRUE(wide.bandStatus == loadSuccess && wide.pixels() == picture.rows) << hooks;
            EXPECT_EQ(wide.rows.back(), 0xA5); // up to three bytes that pad a pick in the file may lie before
        }
    }
    llibSetBonasLinePadding(1);
}

TEST_F(Bonas, ReadsTheHeader)
{
    const std::pair<u8, const char*> systems[] = {{0, "CAPS3"}, {7, "Apso"}, {200, "Tevrin"}};
    for (const auto& [system, text] : systems) {
        // Eight letters leave no room for a terminator.
        const std::string name = std::string("%s%n LET!").substr(0, 8 - system % 8u);
        BonasOptions options{.designName = name, .tellSelectors = false, .tellTotal = false, .cadSystem = system};
        cards.write("d.ep", encodeBonas(noiseCards(40, 3), options));
        testing::internal::CaptureStdout();
        const Loaded got = load(cards.path + "/d.ep");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Bonas bytes for weft (selectl) 0\n");
        EXPECT_EQ(got.description, "Bonas\n" + name + "\nCAD: " + text);
        EXPECT_EQ(got.numbers(), (std::vector<u32>{kindBilevel, 40, 3, 0, 0, 1, 1, 1, 1}));
        EXPECT_EQ(std::pair(got.palette[0], got.palette[1]), std::pair(u8{0}, u8{0xA5}));
        EXPECT_EQ(got.rows, noiseCards(40, 3).rows);
    }
}

TEST_F(Bonas, GoesThroughTheParts)
{
    const Picture picture = noiseCards(1432, 1200);
    writeParts(picture, 500, {"d.ep", "d.001", "d.002"});
    // Picks behind those of a part are not the design's; those that a part lacks are empty.
    fs::resize_file("d.ep", fs::file_size("d.ep") + 1000);
    fs::resize_file("d.001", 34 + 20 * 180 + 7);
    Bytes expected = picture.rows;
    std::fill(expected.begin() + 520 * 179 + 7, expected.begin() + 1000 * 179, u8{0});
    EXPECT_TRUE(load("d.ep", {.bands = {499, 1, 1, 600, 99}}).rows == expected);
    EXPECT_STREQ(llibGetRemark(0, nullptr), "behind the picture the file goes on for 1000 bytes");
    EXPECT_STREQ(llibGetRemark(1, nullptr), "picks that the file lacks are clear: 480");
    // The extension of a part found so stays in the name and is written over by the next number.
    writeParts(picture, 300, {"e.ep", "e.001.ep", "e.001002", "e.001003.ep"});
    EXPECT_TRUE(load("e.ep").rows == picture.rows);

    const Picture tall = noiseCards(40, 112);
    std::vector<std::string> files = {"t.ep"};
    for (u32 part = 1; part < 112; part++) // part 100 is ":0", after the nines
        files.push_back({'t', '.', '0', static_cast<char>('0' + part / 10), static_cast<char>('0' + part % 10)});
    writeParts(tall, 1, files);
    EXPECT_EQ(load("t.ep").rows, tall.rows);
    // Where a part ends with the design no further one is looked for.
    EXPECT_EQ(load("t.ep", {.bands = {112, 1}}).bandStatus, loadSuccess);
    fs::remove("t.001");
    const Loaded missing = load("t.ep");
    EXPECT_EQ(missing.bandStatus, loadCannotRead);
    EXPECT_STREQ(llibGetReason(), "its part t.001 cannot be opened");
    EXPECT_TRUE(std::equal(tall.rows.begin(), tall.rows.begin() + 5, missing.rows.begin()));
}

TEST_F(Bonas, RefusesWhatItDoesNotRead)
{
    // Six picks, five a file: name, patch, whether it and its compressed form are read.
    const std::tuple<std::string, size_t, u8, bool, bool> cases[] = {
        {"good.ep", 2, 0, true, true},    {"marked.ep", 2, 1, false, false},   {"empty.ep", 3, 0, false, false},
        {"other.ex", 2, 0, false, false}, {"part.001.ep", 2, 0, false, false}, {"all.001.ep", 3, 6, true, true},
        {"part.98.EP", 2, 0, true, true}, {"part.0a1.ep", 2, 0, true, true},   {"dotless-ep", 2, 0, true, false},
        {"ep", 2, 0, true, false},        {"p", 2, 0, false, false},           {"a.ep", 2, 0, true, false}};
    for (const auto& [name, at, value, plain, packed] : cases) {
        Bytes bytes = encodeBonas(noiseCards(48, 6), {.picksPerFile = 5});
        bytes[at] = value;
        cards.write(name, bytes);
        EXPECT_EQ(load(name, {.id = ep, .bands = {0}}).status, plain ? loadSuccess : loadWrongFormat) << name;
        fs::remove(name);
        cards.write(name + "_", compressed(bytes));
        const int status = load(name + "_", {.id = epCompressed, .bands = {0}}).status;
        EXPECT_EQ(status, packed ? loadSuccess : loadWrongFormat) << name;
        fs::remove(name + "_");
        EXPECT_EQ(files(), 0) << name;
    }
}

TEST_F(Bonas, ExpandsBesideTheFileOrInAFolderOfItsOwn)
{
    const Picture picture = noiseCards(1000, 50);
    writeParts(picture, 20, {"d.ep", "d.001", "d.002"});
    const std::string file = cards.write("d.ep_", compressed(encodeBonas(picture, {.picksPerFile = 20})));
    llibSetTmpDir("/nowhere");
    EXPECT_EQ(load(file).status, loadWrongFormat);
    EXPECT_STREQ(llibGetReason(), "no folder can be made in the temporary directory: No such file or directory");
    llibSetTmpDir(temporary.path.c_str());
    llibSetMsExpandCommand(nullptr);
    EXPECT_EQ(load(file).status, loadWrongFormat);
    EXPECT_STREQ(llibGetReason(), "the command that expands EP_ files is not set");
    llibSetMsExpandCommand(standIn);
    for (i64 count : {4, 3}) { // a file of that name is left alone
        for (int wantPalette : {0, 1}) {
            EXPECT_TRUE(load(file, {.wantPalette = wantPalette}).rows == picture.rows);
            EXPECT_EQ(files(), count);
        }
        fs::remove("d.ep");
    }
    cards.write("-$HOME `id` \"q\" \\.Ep_", compressed(encodeBonas(picture)));
    EXPECT_TRUE(load("-$HOME `id` \"q\" \\.Ep_").rows == picture.rows);
    {
        OpenPicture forgotten(file, epCompressed);
        forgotten.isEnded = false; // the next one ends it, and its file is not somebody's
        const OpenPicture open(file, epCompressed);
        EXPECT_TRUE(fs::exists("d.ep") && fs::is_empty(temporary.path));
    }
    const std::pair<std::string, const char*> scripts[] = {
        {"exit 1", "the command sh failed with 1"},
        {"mkfifo \"${1%_}\"", "the command sh left no file that can be read"},
        {"ln -s missing \"${1%_}\"", "the command sh left no file that can be read"}};
    for (const auto& [script, reason] : scripts) {
        llibSetMsExpandCommand(("sh -c '" + script + "' sh").c_str());
        EXPECT_EQ(load(file).status, loadWrongFormat) << script;
        EXPECT_STREQ(llibGetReason(), reason);
        EXPECT_FALSE(fs::is_symlink("d.ep") || fs::exists("d.ep")) << script;
    }
}

TEST_F(Bonas, ExpandsWithTheRealCommand)
{
    if (system("command -v mscompress >/dev/null && command -v msexpand >/dev/null") != 0)
        GTEST_SKIP() << "Package mscompress is not installed.";
    llibSetMsExpandCommand("msexpand");
    const Picture picture = motifPicture(pictureBilevel, 1432, 300);
    cards.write("real.ep", encodeBonas(picture));
    ASSERT_EQ(system("mscompress real.ep"), 0);
    fs::remove("real.ep");
    EXPECT_TRUE(load("real.ep_").rows == picture.rows);
}
