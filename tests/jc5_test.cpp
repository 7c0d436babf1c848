#include "samples/jc5_writer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <numeric>

#include "tests/support.h"

namespace fs = std::filesystem;

constexpr u32 jc5 = 14;
constexpr u32 zc5 = 42;

using Widths = std::vector<u32>;

static std::vector<Jc5Group> groupsOf(const Widths& widths)
{
    std::vector<Jc5Group> groups;
    for (u32 hooks : widths)
        groups.push_back({.hooks = hooks, .name = "g" + std::to_string(hooks)});
    return groups;
}

static Picture noise(const Widths& widths, u32 height)
{
    const u32 width = std::accumulate(widths.begin(), widths.end(), 0u);
    return noisePicture(pictureBilevel, width, height, 0, width + height);
}

static Bytes partOf(const Picture& picture, const Widths& widths, u32 firstPick, u32 picks)
{
    return encodeJc5(picture,
                     {.groups = groupsOf(widths), .layout = {0x10101}, .firstPick = firstPick, .pickCount = picks});
}

// The header cache answers by name: each file of a test gets another one.
static std::string freshName(const std::string& ending)
{
    static int number = 0;
    return "d" + std::to_string(number++) + ending;
}

static std::string printedBy(const std::string& path, int wantPalette)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(load(path, {.wantPalette = wantPalette}).bandStatus, loadSuccess);
    return testing::internal::GetCapturedStdout();
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

TEST(Jc5, PacksGroupsOfAnyWidth)
{
    TestDirectory directory;
    const Widths all[] = {{2},          {8},          {1, 0, 1},     {64, 64}, {63, 1, 65, 7, 9, 128, 3, 60},
                          {1340, 1340}, {1344, 1344}, Widths(300, 3)};
    for (const Widths& widths : all) {
        const Picture picture = noise(widths, 1000); // the widest are more than is read at once
        const Bytes bytes = encodeJc5(picture, {.groups = groupsOf(widths), .fillGroups = true});
        const std::string file = directory.write(freshName(".jc5"), bytes);
        for (const std::vector<u32>& bands : {std::vector<u32>{1000}, {1, 0, 613, 386}}) {
            Loaded loaded = load(file, {.wantPalette = 0, .bands = bands});
            EXPECT_EQ(loaded.bandStatus, loadSuccess);
            EXPECT_TRUE(loaded.rows == picture.rows) << picture.width << " hooks";
        }
    }
}

TEST(Jc5, ReportsTheDesign)
{
    TestDirectory directory;
    const Picture picture = noise({20, 10}, 5);
    for (u32 length : {4, 199, 200}) {
        const Jc5Options options{.majorVersion = 2, .minorVersion = 13, .name = std::string(length, 'n')};
        Loaded loaded = load(directory.write(freshName(""), encodeJc5(picture, options)), {.kindOnEntry = 9});
        EXPECT_EQ(loaded.format, 14);
        EXPECT_EQ(loaded.kind, kindBilevel);
        EXPECT_EQ(loaded.width, 30u);
        EXPECT_EQ(loaded.height, 5u);
        EXPECT_EQ(loaded.resX + loaded.resY, 0u);
        EXPECT_EQ(loaded.mulX * loaded.mulY, 1u);
        EXPECT_EQ(loaded.firstPart, 1u);
        EXPECT_EQ(loaded.orientationFlag, 1);
        EXPECT_EQ(loaded.palette[0], 0);
        EXPECT_EQ(loaded.palette[1], 0xA5);
        EXPECT_EQ(loaded.description, "Staubli JC5 v2.13 " + (length < 200 ? options.name : ""));
    }
    const Jc5Options options{
        .groups = groupsOf({20, 10}),
        .more = {{.type = 7, .payload = {1, 2, 3}}, {.type = 9}, {.type = 1, .payload = Bytes(10000)}},
        .moreBeforeGroups = {{.type = 101, .payload = Bytes(10000)}}};
    const std::string file = directory.write("a.jc5", encodeJc5(picture, options));
    const std::string unknown = "JC5: Unknown descriptor 7 in file " + file + "!\nJC5: Unknown descriptor 101!";
    EXPECT_EQ(printedBy(file, 1), unknown + "20(g20) 10(g10) \n");
    EXPECT_EQ(printedBy(file, 0), unknown);
    EXPECT_TRUE(load(file).rows == picture.rows);
    EXPECT_EQ(printedBy(directory.write("one.jc5", encodeJc5(picture)), 1), "");
}

TEST(Jc5, FillsStridesOfAnyWidth)
{
    TestDirectory directory;
    for (bool even : {false, true}) {
        const Widths widths = even ? Widths{16, 16} : Widths{15, 14};
        const Picture picture = noise(widths, 7);
        const std::string file = directory.write(freshName(""), encodeJc5(picture, {.groups = groupsOf(widths)}));
        for (i64 extra : {5, -2}) {
            Loaded loaded = load(file, {.wantPalette = 0, .bands = {3, 4}, .extraStride = extra, .fill = 0x0F});
            EXPECT_EQ(loaded.bandStatus, loadSuccess);
            // Whole bytes run on from row to row, and what the file lacks of them is only turned.
            for (u64 i = 0; i < loaded.rows.size(); i++) {
                const u64 x = i % loaded.stride, at = even ? i : i / loaded.stride * 4 + x;
                const bool inFile = even ? i < picture.rows.size() : x < 4;
                ASSERT_EQ(loaded.rows[i], inFile ? picture.rows[at] : even ? 0xF0 : 0) << i;
            }
        }
    }
}

TEST(Jc5, StopsAtTheLastPick)
{
    TestDirectory directory;
    for (u32 width : {32u, 29u}) {
        const Picture picture = noise({width}, 9);
        Bytes bytes = encodeJc5(picture);
        const Bytes cut(bytes.begin(), bytes.end() - 4 * 4);
        bytes.resize(bytes.size() + 100, 0x77);
        Loaded loaded = load(directory.write(freshName(""), bytes), {.bands = {4, 5 + 3}});
        EXPECT_EQ(loaded.bandStatus, loadBadData);
        EXPECT_EQ(loaded.rows, picture.rows);
        loaded = load(directory.write(freshName(""), cut), {.fill = 0});
        EXPECT_EQ(loaded.bandStatus, loadSuccess);
        Bytes expected(picture.rows.begin(), picture.rows.begin() + 5 * 4);
        expected.resize(9 * 4);
        EXPECT_EQ(loaded.rows, expected);
    }
    EXPECT_EQ(getLoadBand()(nullptr, 1, 4), loadBadData);
}

TEST(Jc5, ReadsOnInTheNextPart)
{
    TestDirectory directory;
    for (const Widths& widths : {Widths{24, 40}, Widths{23, 38}}) {
        const Picture picture = noise(widths, 60);
        const std::string stem = freshName(".J0");
        // A 9 is followed by a colon.
        for (u32 part = 0; part < 10; part++) {
            Bytes bytes = partOf(picture, widths, part * 6, 6);
            if (part > 0)
                memset(bytes.data() + 2, 0x55, 20); // nothing but the first two bytes counts
            bytes.push_back(0x99);
            directory.write(stem + static_cast<char>('1' + part), bytes);
        }
        for (const std::vector<u32>& bands : {std::vector<u32>{60}, {4, 1, 1, 6, 13, 0, 35}}) {
            Loaded loaded = load(directory.path + "/" + stem + "1", {.wantPalette = 0, .bands = bands});
            EXPECT_EQ(loaded.firstPart, 1u);
            EXPECT_EQ(loaded.bandStatus, loadSuccess);
            EXPECT_TRUE(loaded.rows == picture.rows) << stem;
        }
        std::string name = directory.path + "/" + stem + "3";
        Loaded third = load(name, {.id = jc5, .wantPalette = 0});
        EXPECT_EQ(third.firstPart, 0u);
        EXPECT_TRUE(third.rows == picture.rows);
        EXPECT_EQ(tryOnly(name, jc5, 0), loadSuccess);
        EXPECT_EQ(name, directory.path + "/" + stem + "1");
        getEndLoad()();
    }
}

TEST(Jc5, CannotReadAMissingOrForeignPart)
{
    TestDirectory directory;
    const Widths widths = {23, 38};
    const Picture picture = noise(widths, 20);
    const int descriptors = openDescriptors();
    directory.write("foreign.j02", "neither");
    directory.write("short.j02", "\x81");
    fs::create_directory(directory.path + "/folder.j02");
    // A part without a whole pick takes the place of a row, except for the first.
    directory.write("gap.j02", partOf(picture, widths, 0, 0));
    directory.write("gap.j03", partOf(picture, widths, 9, 11));
    directory.write("none.j02", partOf(picture, widths, 0, 20));
    for (const std::string stem : {"missing", "foreign", "short", "folder", "gap", "none"}) {
        const u32 picks = stem == "none" ? 0 : 8;
        const std::string file = directory.write(stem + ".j01", partOf(picture, widths, 0, picks));
        const bool complete = stem == "gap" || stem == "none";
        Loaded loaded = load(file, {.wantPalette = 0, .fill = 0});
        EXPECT_EQ(loaded.bandStatus, complete ? loadSuccess : loadCannotRead) << stem;
        Bytes expected = picture.rows;
        if (stem != "none")
            std::fill(expected.begin() + 8 * 8, complete ? expected.begin() + 9 * 8 : expected.end(), u8{0});
        EXPECT_EQ(loaded.rows, expected) << stem;
        EXPECT_EQ(load(file, {.wantPalette = 0, .bands = {20, 1}}).bandStatus, loadCannotRead) << stem;
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Jc5, RefusesWhatItDoesNotRead)
{
    struct Case {
        u32 width, height;
        Jc5Options options;
        const char* ending;
        int status;
    };
    const Bytes endless = {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFE};
    const Case cases[] = {
        {2, 2, {}, "", loadSuccess},
        {65520, 2, {}, "", loadSuccess},
        {2, 65520, {}, "", loadSuccess},
        {1, 2, {}, "", loadWrongFormat},
        {2, 1, {}, "", loadWrongFormat},
        {65521, 2, {}, "", loadWrongFormat},
        {2, 65521, {}, "", loadWrongFormat},
        {2, 2, {.moreBeforeGroups = {{.type = 100, .payload = endless}}}, "", loadWrongFormat},
        {2, 2, {.moreBeforeGroups = {{.type = 100, .payload = Bytes(7)}}}, "", loadWrongFormat},
        {2, 2, {.moreBeforeGroups = {{.type = 1, .payload = Bytes(10001)}}}, "", loadWrongFormat},
        {2, 2, {.more = {{.type = 2, .payload = {9, 9, 9}}}}, "", loadWrongFormat},
        {2, 2, {.more = std::vector<Jc5Descriptor>(255, {.type = 17})}, "", loadSuccess},
        {2, 2, {.more = std::vector<Jc5Descriptor>(256, {.type = 17})}, "", loadWrongFormat},
        {2, 2, {}, ".j01", loadWrongFormat}, // the layout that holds without a descriptor is that of a single file
        {2, 2, {.layout = {0x20000}}, ".j01", loadWrongFormat},
        {2, 2, {.layout = {0x1FFFF}}, ".j01", loadSuccess},
        {2, 2, {.layout = {0x20000}}, ".j1", loadSuccess},
        {2, 2, {.layout = {0x20000}}, ".k01", loadSuccess}};
    TestDirectory directory;
    for (const Case& one : cases) {
        const Bytes bytes = encodeJc5(blankPicture(pictureBilevel, one.width, one.height), one.options);
        EXPECT_EQ(load(directory.write(freshName(one.ending), bytes), {.id = jc5}).status, one.status)
            << "case " << &one - cases;
    }
    const Bytes good = encodeJc5(noise({20}, 5), {.more = {{.type = 4, .payload = {1}}}});
    for (size_t length = 1; length < good.size() - 5 * 3; length++) {
        const Bytes cut(good.begin(), good.begin() + static_cast<i64>(length));
        EXPECT_EQ(load(directory.write(freshName(""), cut), {.id = jc5}).status,
                  length < 2 ? loadWrongFormat : loadCannotRead);
    }
    for (const std::string& name : {std::string("missing.jc5"), std::string(5000, 'x') + ".j01"})
        EXPECT_EQ(load(directory.path + "/" + name, {.id = jc5}).status, loadWrongFormat);
}

TEST(Jc5, IsHarmlessWhenDamaged)
{
    testing::internal::CaptureStdout();
    expectHarmless("d.jc5", encodeJc5(noise({9, 22}, 4), {.groups = groupsOf({9, 22})}), jc5);
    expectHarmless("d.j01", partOf(noise({8, 16}, 4), {8, 16}, 0, 2), jc5);
    testing::internal::GetCapturedStdout();
}

// Sets what ZC5 files need, with a stand-in for gzip whose files hold the others behind five bytes.
struct Zc5Host {
    TestDirectory directory, temporary;
    int descriptors = openDescriptors();

    Zc5Host()
    {
        llibSetTmpDir(temporary.path.c_str());
        llibSetGzipCommand("sh -c 'tail -c +6 \"$1\"'");
    }
    ~Zc5Host()
    {
        EXPECT_EQ(files(), 0);
        EXPECT_EQ(openDescriptors(), descriptors);
        llibSetTmpDir(nullptr);
        llibSetGzipCommand(nullptr);
    }
    i64 files() const { return std::distance(fs::directory_iterator(temporary.path), {}); }
};

static Bytes standIn(Bytes bytes)
{
    const u8 mark[] = {0x1F, 0x8B, 8, 0, 0};
    bytes.insert(bytes.begin(), std::begin(mark), std::end(mark));
    return bytes;
}

TEST(Zc5, UnpacksWhatTheRealGzipPacked)
{
    if (system("command -v gzip >/dev/null") != 0)
        GTEST_SKIP() << "gzip is not installed.";
    Zc5Host host;
    llibSetGzipCommand("gzip");
    const Picture picture = noise({300, 401}, 40);
    const std::string plain = host.directory.write("plain", encodeJc5(picture, {.name = "packed"}));
    ASSERT_EQ(system(("gzip " + plain).c_str()), 0);
    const std::string file = host.directory.path + "/it's $HOME \"a\".zC5";
    fs::rename(plain + ".gz", file);
    for (const std::string& name : {file, host.directory.write("b.zc5", encodeZc5(picture, {.name = "packed"}))}) {
        Loaded loaded = load(name, {.bands = {17, 23}});
        EXPECT_EQ(loaded.format, 42);
        EXPECT_EQ(loaded.firstPart, 1u);
        EXPECT_EQ(loaded.description, "Staubli JC5 v1.0 packed");
        EXPECT_TRUE(loaded.rows == picture.rows);
    }
}

TEST(Zc5, KeepsItsTemporaryFileAsLongAsItIsNeeded)
{
    Zc5Host host;
    const Picture picture = noise({81, 9}, 12);
    std::string plain = host.directory.write("a.jc5", encodeJc5(picture));
    std::string packed = host.directory.write("a.zc5", standIn(encodeJc5(picture)));
    EXPECT_TRUE(load(packed, {.wantPalette = 0}).rows == picture.rows);
    EXPECT_EQ(tryOnly(packed, zc5, 0), loadSuccess);
    EXPECT_EQ(host.files(), 0);
    // The next load ends the one before.
    for (int times = 0; times < 2; times++) {
        EXPECT_EQ(tryOnly(packed, zc5, 1), loadSuccess);
        ASSERT_EQ(host.files(), 1);
    }
    const fs::directory_entry entry = *fs::directory_iterator(host.temporary.path);
    EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(tryOnly(plain, jc5, 0), loadSuccess);
    EXPECT_EQ(host.files(), 0);
    EXPECT_EQ(getEndLoad()(), 0);
    EXPECT_EQ(getEndLoad()(), 0);
}

TEST(Zc5, RefusesAndLeavesNothing)
{
    Zc5Host host;
    const Bytes card = encodeJc5(noise({90}, 12));
    struct Case {
        const char* name;
        Bytes bytes;
        int status;
    };
    const Case cases[] = {{"good.zc5", standIn(card), loadSuccess},
                          {"good.gz", standIn(card), loadWrongFormat},
                          {"plain.zc5", card, loadWrongFormat},
                          {"short.zc5", {0x1F, 0x8B, 8}, loadCannotRead},
                          {"cut.zc5", standIn({0x81, 0xFE}), loadCannotRead},
                          {"other.zc5", standIn({1, 2, 3}), loadWrongFormat}};
    for (const Case& one : cases)
        EXPECT_EQ(load(host.directory.write(one.name, one.bytes), {.id = zc5}).status, one.status) << one.name;
    EXPECT_EQ(load(host.directory.path + "/missing.zc5", {.id = zc5}).status, loadCannotRead);

    const std::string good = host.directory.path + "/good.zc5";
    const std::string other = host.directory.write("other.jc5", card);
    const std::string swap = "sh -c 'ln -sf " + other + " \"$(readlink /proc/$$/fd/1)\"'";
    for (const char* command : {static_cast<const char*>(nullptr), "false", "echo", swap.c_str()}) {
        llibSetGzipCommand(command);
        EXPECT_EQ(load(good, {.id = zc5}).status, command == swap ? loadCannotRead : loadWrongFormat);
        EXPECT_EQ(host.files(), 0);
    }
    EXPECT_TRUE(fs::exists(other));
    llibSetGzipCommand("gzip");
    testing::internal::CaptureStderr();
    for (const std::string& folder : {host.directory.path + "/none", std::string(5000, 'd')}) {
        llibSetTmpDir(folder.c_str());
        EXPECT_EQ(load(good, {.id = zc5}).status, loadCannotRead);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("llib zc5 tmp file creation failed:: "), 0u);
    llibSetTmpDir(nullptr);
    EXPECT_EQ(load(good, {.id = zc5}).status, loadWrongFormat);
}

TEST(Zc5, IsHarmlessWhenDamaged)
{
    Zc5Host host;
    testing::internal::CaptureStdout();
    expectHarmless("d.zc5", standIn(encodeJc5(noise({11}, 2))), zc5);
    testing::internal::GetCapturedStdout();
}
