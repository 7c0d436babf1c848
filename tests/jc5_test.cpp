#include "samples/jc5_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "tests/support.h"

namespace fs = std::filesystem;

constexpr u32 jc5 = 14;
constexpr u32 zc5 = 42;

using Numbers = std::vector<u32>;

static std::vector<Jc5Group> groupsOf(const Numbers& widths)
{
    std::vector<Jc5Group> groups;
    for (u32 hooks : widths)
        groups.push_back({.hooks = hooks, .name = "g" + std::to_string(hooks)});
    return groups;
}

static Picture noise(const Numbers& widths, u32 height)
{
    return noisePicture(pictureBilevel, std::accumulate(widths.begin(), widths.end(), 0u), height, 0, height);
}

static Bytes partOf(const Picture& picture, const Numbers& widths, u32 first, u32 picks)
{
    return encodeJc5(picture,
                     {.groups = groupsOf(widths), .layout = {0x10101}, .firstPick = first, .pickCount = picks});
}

// A load that is not ended.
static int tryOnly(std::string& path, u32 id, int wantPalette)
{
    u32 ignored = 0;
    u8 palette[768], flag;
    char description[4096];
    returnLoaderFunctions(id, path.c_str());
    return getTryLoad()(path.data(), &ignored, &ignored, &ignored, &ignored, &ignored, &ignored, &ignored, palette,
                        description, &flag, &ignored, wantPalette);
}

// No test may leave a temporary file or an open descriptor behind.
struct Jc5 : testing::Test {
    TestDirectory directory, temporary;
    int descriptors = openDescriptors(), number = 0;

    Jc5()
    {
        llibSetTmpDir(temporary.path.c_str());
        llibSetGzipCommand("gzip 2>/dev/null");
    }
    ~Jc5() override
    {
        EXPECT_EQ(files(), 0);
        EXPECT_EQ(openDescriptors(), descriptors);
        llibSetTmpDir(nullptr);
        llibSetGzipCommand(nullptr);
    }
    i64 files() const { return std::distance(fs::directory_iterator(temporary.path), {}); }
    std::string write(const Bytes& bytes, const std::string& ending = ".jc5")
    {
        return directory.write(std::to_string(number++) + ending, bytes);
    }
};

TEST_F(Jc5, DeliversGroupsOfAnyWidthInBandsAndStrides)
{
    const Numbers all[] = {{2}, {8}, {1, 0, 1}, {64, 64}, {63, 1, 65, 7, 9, 128, 3, 60}, {1340, 1340}, {1344, 1344}};
    for (const Numbers& widths : all) {
        // The widest are more than is read at once; the file lacks the last picks.
        const Picture picture = noise(widths, 1000);
        const u64 rowBytes = pictureRowBytes(picture), stored = 997 * rowBytes;
        const std::string file =
            write(encodeJc5(picture, {.groups = groupsOf(widths), .pickCount = 997, .fillGroups = true}));
        const bool wholeBytes = std::all_of(widths.begin(), widths.end(), [](u32 hooks) { return hooks % 8 == 0; });
        for (const Numbers& bands : {Numbers{1000}, {1, 0, 613, 388}}) {
            for (i64 extra : {0, 5, -1}) {
                Loaded loaded = load(file, {.wantPalette = 0, .bands = bands, .extraStride = extra, .fill = 0x0F});
                EXPECT_EQ(loaded.bandStatus, bands.size() == 1 ? loadSuccess : loadBadData);
                // Whole bytes run on from row to row, and what the file lacks of them is only turned.
                Bytes expected(loaded.rows.size(), wholeBytes ? 0xF0 : 0);
                for (u64 i = 0; i < expected.size(); i++) {
                    const u64 x = i % loaded.stride, at = wholeBytes ? i : i / loaded.stride * rowBytes + x;
                    if (at < stored && (wholeBytes || x < rowBytes))
                        expected[i] = picture.rows[at];
                }
                EXPECT_TRUE(loaded.rows == expected) << picture.width << " hooks, stride " << loaded.stride;
            }
        }
    }
    EXPECT_EQ(getLoadBand()(nullptr, 1, 4), loadBadData);
}

TEST_F(Jc5, ReportsTheDesign)
{
    Jc5Options options{.majorVersion = 2,
                       .minorVersion = 13,
                       .groups = groupsOf({20, 10}),
                       .more = {{.type = 7}, {.type = 9}, {.type = 1, .payload = Bytes(10000)}},
                       .moreBeforeGroups = {{.type = 101, .payload = Bytes(10000)}}};
    for (u32 length : {4, 199, 200}) {
        options.name = std::string(length, 'n');
        const std::string file = write(encodeJc5(noise({30}, 5), options), "");
        for (int wantPalette : {0, 1}) {
            testing::internal::CaptureStdout();
            const Loaded got = load(file, {.wantPalette = wantPalette, .kindOnEntry = 9});
            EXPECT_EQ(testing::internal::GetCapturedStdout(), "JC5: Unknown descriptor 7 in file " + file +
                                                                  "!\nJC5: Unknown descriptor 101!" +
                                                                  (wantPalette != 0 ? "20(g20) 10(g10) \n" : ""));
            EXPECT_EQ(got.description, "Staubli JC5 v2.13 " + (length < 200 ? options.name : ""));
            EXPECT_EQ(Numbers({got.kind, got.width, got.height, got.resX, got.resY, got.mulX, got.mulY, got.firstPart,
                               got.orientationFlag, got.palette[0], got.palette[1]}),
                      Numbers({kindBilevel, 30, 5, 0, 0, 1, 1, 1, 1, 0, 0xA5}));
        }
    }
}

TEST_F(Jc5, ReadsOnInTheNextPart)
{
    for (const Numbers& widths : {Numbers{24, 40}, Numbers{23, 38}}) {
        const Picture picture = noise(widths, 60);
        const std::string stem = directory.path + "/d" + std::to_string(widths[0]) + ".J0";
        for (u32 part = 0; part < 10; part++) { // a 9 is followed by a colon
            Bytes bytes = partOf(picture, widths, part * 6, 6);
            if (part > 0)
                std::fill_n(bytes.begin() + 2, 20, u8{0x55}); // nothing but the first two bytes counts
            bytes.push_back(0x99);
            writeFile(stem + static_cast<char>('1' + part), bytes);
        }
        for (const char* part : {"1", "3"}) {
            std::string name = stem + part;
            for (const Numbers& bands : {Numbers{60}, {4, 1, 1, 6, 13, 0, 35}}) {
                const Loaded loaded = load(name, {.wantPalette = 0, .bands = bands});
                EXPECT_EQ(loaded.firstPart, *part == '1');
                EXPECT_TRUE(loaded.rows == picture.rows) << name;
            }
            EXPECT_EQ(tryOnly(name, jc5, 0), loadSuccess);
            EXPECT_EQ(name, stem + "1");
            getEndLoad()();
        }
    }
}

TEST_F(Jc5, CannotReadAMissingOrForeignPart)
{
    const Picture picture = noise({61}, 20);
    directory.write("foreign.j02", "neither");
    fs::create_directory(directory.path + "/folder.j02");
    // A part without a whole pick takes the place of a row.
    directory.write("gap.j02", partOf(picture, {61}, 0, 0));
    directory.write("gap.j03", partOf(picture, {61}, 9, 11));
    for (const std::string stem : {"missing", "foreign", "folder", "gap"}) {
        Bytes expected = picture.rows;
        std::fill(expected.begin() + 64, stem == "gap" ? expected.begin() + 72 : expected.end(), u8{0});
        const std::string file = directory.write(stem + ".j01", partOf(picture, {61}, 0, 8));
        const Loaded loaded = load(file, {.fill = 0});
        EXPECT_EQ(loaded.bandStatus, stem == "gap" ? loadSuccess : loadCannotRead) << stem;
        EXPECT_EQ(loaded.rows, expected) << stem;
    }
}

TEST_F(Jc5, RefusesWhatItDoesNotRead)
{
    struct Case {
        u32 width, height;
        Jc5Options options;
        const char* ending;
        int status;
    };
    const Bytes endless = {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFE};
    const Case cases[] = {{65520, 2, {}, "", loadSuccess},
                          {2, 65520, {}, "", loadSuccess},
                          {1, 2, {}, "", loadWrongFormat},
                          {2, 1, {}, "", loadWrongFormat},
                          {65521, 2, {}, "", loadWrongFormat},
                          {2, 65521, {}, "", loadWrongFormat},
                          {2, 2, {.moreBeforeGroups = {{100, endless}}}, "", loadWrongFormat},
                          {2, 2, {.moreBeforeGroups = {{100, Bytes(7)}}}, "", loadWrongFormat},
                          {2, 2, {.moreBeforeGroups = {{1, Bytes(10001)}}}, "", loadWrongFormat},
                          {2, 2, {.more = {{2, {9, 9, 9}}}}, "", loadWrongFormat},
                          {2, 2, {.more = std::vector<Jc5Descriptor>(255, {17})}, "", loadSuccess},
                          {2, 2, {.more = std::vector<Jc5Descriptor>(256, {17})}, "", loadWrongFormat},
                          {2, 2, {}, ".j01", loadWrongFormat},
                          {2, 2, {.layout = {0x20000}}, ".j01", loadWrongFormat},
                          {2, 2, {.layout = {0x1FFFF}}, ".j01", loadSuccess},
                          {2, 2, {.layout = {0x20000}}, ".j1", loadSuccess}};
    for (const Case& one : cases) {
        const Bytes bytes = encodeJc5(blankPicture(pictureBilevel, one.width, one.height), one.options);
        EXPECT_EQ(load(write(bytes, one.ending), {.id = jc5}).status, one.status) << "case " << &one - cases;
    }
    Bytes cut = encodeJc5(noise({20}, 0), {.more = {{4, {1}}}});
    for (cut.pop_back(); !cut.empty(); cut.pop_back())
        EXPECT_EQ(load(write(cut), {.id = jc5}).status, cut.size() < 2 ? loadWrongFormat : loadCannotRead);
    EXPECT_EQ(load("/" + std::string(5000, 'x') + ".j01", {.id = jc5}).status, loadWrongFormat);
}

TEST_F(Jc5, UnpacksWithTheRealGzip)
{
    if (system("command -v gzip >/dev/null") != 0)
        GTEST_SKIP() << "gzip is not installed.";
    const Picture picture = noise({90}, 12);
    std::string packed = directory.write("it's $HOME \"a\".zC5", encodeZc5(picture, {.name = "packed"}));
    const Loaded loaded = load(packed, {.wantPalette = 0, .bands = {5, 7}});
    EXPECT_EQ(loaded.format, 42);
    EXPECT_EQ(loaded.firstPart, 1u);
    EXPECT_EQ(loaded.description, "Staubli JC5 v1.0 packed");
    EXPECT_EQ(loaded.rows, picture.rows);
    // The file stays as long as it is wanted; the next load ends the one before.
    std::string plain = write(encodeJc5(picture));
    for (int wantPalette : {0, 1, 1}) {
        EXPECT_EQ(tryOnly(packed, zc5, wantPalette), loadSuccess);
        EXPECT_EQ(files(), wantPalette);
    }
    EXPECT_EQ(fs::directory_iterator(temporary.path)->status().permissions(), fs::perms(0600));
    EXPECT_EQ(tryOnly(plain, jc5, 0), loadSuccess);
    EXPECT_EQ(files(), 0);
    getEndLoad()();
}

TEST_F(Jc5, RefusesWhatGzipCannotUnpack)
{
    const Bytes card = encodeJc5(noise({90}, 12)), packed = encodeZc5(noise({90}, 12));
    const std::string other = write(card);
    const std::string swap = "sh -c 'ln -sf " + other + " \"$(readlink /proc/$$/fd/1)\"'";
    struct Case {
        const char *tmpDir, *command, *ending;
        Bytes bytes;
        int status;
    };
    const char* folder = temporary.path.c_str();
    for (const Case& one :
         {Case{folder, "gzip", ".gz", packed, loadWrongFormat}, Case{folder, "gzip", ".zc5", card, loadWrongFormat},
          Case{folder, "gzip", ".zc5", {0x1F, 0x8B, 8}, loadCannotRead},
          Case{folder, nullptr, ".zc5", packed, loadWrongFormat},
          Case{folder, "false", ".zc5", packed, loadWrongFormat}, Case{folder, "echo", ".zc5", packed, loadWrongFormat},
          Case{folder, swap.c_str(), ".zc5", packed, loadCannotRead},
          Case{"/nowhere", "gzip", ".zc5", packed, loadCannotRead},
          Case{nullptr, "gzip", ".zc5", packed, loadWrongFormat}}) {
        llibSetTmpDir(one.tmpDir);
        llibSetGzipCommand(one.command);
        EXPECT_EQ(load(write(one.bytes, one.ending), {.id = zc5}).status, one.status) << one.ending;
        EXPECT_EQ(files(), 0);
    }
    EXPECT_TRUE(fs::exists(other));
}

TEST_F(Jc5, IsHarmlessWhenDamaged)
{
    testing::internal::CaptureStdout();
    expectHarmless("d.jc5", encodeJc5(noise({31}, 4), {.groups = groupsOf({9, 22})}), jc5);
    expectHarmless("d.j01", partOf(noise({24}, 4), {8, 16}, 0, 2), jc5);
    expectHarmless("d.zc5", encodeZc5(noise({11}, 2)), zc5);
    testing::internal::GetCapturedStdout();
}
