#include "samples/jc5_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "samples/bytes.h"
#include "tests/card_support.h"

namespace fs = std::filesystem;

constexpr u32 jc5 = formatStaubliJc5, zc5 = formatStaubliZc5;

// No test may leave a temporary file or an open descriptor behind.
struct Jc5 : testing::Test {
    TestDirectory directory, temporary;
    int descriptors = openDescriptors(), written = 0;

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
    std::string write(const Bytes& bytes, const std::string& ending = "")
    {
        return directory.write(std::to_string(written++) + ending, bytes);
    }
};

TEST_F(Jc5, DeliversGroupsOfAnyWidthInBandsAndStrides)
{
    const std::pair<u32, std::vector<Jc5Group>> all[] = {{10, {{7}, {0}, {3}}},
                                                         {2688, {{1344}, {1344}}},
                                                         {336, {{63}, {1}, {65}, {7}, {9}, {128}, {3}, {60}}},
                                                         {2680, {{1340}, {1340}}}};
    for (const auto& [width, groups] : all) {
        // The widest are more than is read at once; the file lacks the last picks.
        const Picture picture = noiseCards(width, 1000);
        const u64 rowBytes = pictureRowBytes(picture), stored = 997 * rowBytes;
        const bool wholeBytes = width % 16 == 0 && groups.size() < 3;
        const std::string file = write(encodeJc5(picture, {.groups = groups, .pickCount = 997, .fillGroups = true}));
        for (i64 extra : {0, 5, -1}) {
            const Loaded loaded =
                load(file, {.wantPalette = 0, .bands = {1, 0, 900, 101}, .extraStride = extra, .fill = 0x0F});
            EXPECT_EQ(loaded.bandStatus, loadBadData);
            const std::string lacking = "picks that the file lacks are made up: 3";
            EXPECT_TRUE(extra != 0 || llibGetRemark(1, nullptr) == lacking) << width;
            // Whole bytes run on from row to row, and what the file lacks of them is only turned.
            Bytes expected(loaded.rows.size(), wholeBytes ? 0xF0 : 0);
            for (u64 i = 0; i < expected.size(); i++) {
                const u64 x = i % loaded.stride, at = wholeBytes ? i : i / loaded.stride * rowBytes + x;
                if (at < stored && (wholeBytes || x < rowBytes))
                    expected[i] = picture.rows[at];
            }
            EXPECT_TRUE(loaded.rows == expected) << width << " hooks, stride " << loaded.stride;
        }
    }
    EXPECT_EQ(getLoadBand()(nullptr, 1, 4), loadBadData);
}

TEST_F(Jc5, ReportsTheDesign)
{
    Jc5Options options{.majorVersion = 2, .minorVersion = 13, .groups = {{20, "left"}, {10, "right"}}};
    options.more = {{7}, {9}, {1, Bytes(10000)}};
    options.moreBeforeGroups = {{101, Bytes(10000)}};
    for (u32 length : {4, 199, 200}) {
        options.name = std::string(length, 'n');
        const std::string file = write(encodeJc5(noiseCards(30, 5), options));
        testing::internal::CaptureStdout();
        const Loaded got = load(file, {.kindOnEntry = 9});
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "JC5: Unknown descriptor 7 in file " + file + "!\nJC5: Unknown descriptor 101!20(left) 10(right) \n");
        EXPECT_STREQ(llibGetRemark(0, nullptr), "descriptors of unknown types are left out: 2");
        EXPECT_STREQ(llibGetRemark(1, nullptr), length < 200 ? "descriptors are too long and left out: 1"
                                                             : "descriptors are too long and left out: 2");
        EXPECT_EQ(llibGetRemarkCount(), 2);
        EXPECT_EQ(got.description, "Staubli JC5 v2.13 " + (length < 200 ? options.name : ""));
        EXPECT_EQ(got.numbers(), (std::vector<u32>{kindBilevel, 30, 5, 0, 0, 1, 1, 1, 1}));
        EXPECT_EQ(std::pair(got.palette[0], got.palette[1]), std::pair(u8{0}, u8{0xA5}));
    }
}

TEST_F(Jc5, HandsOverWhatItPrintsLineByLine)
{
    const Jc5Options options{.groups = {{20, "left"}, {10, std::string(9000, 'r')}}, .more = {{7}}};
    const std::string file = write(encodeJc5(noiseCards(30, 5), options));
    std::vector<std::string> lines;
    const auto keep = [](void* kept, const char* line) {
        static_cast<std::vector<std::string>*>(kept)->push_back(line);
    };
    llibSetMessageHandler(keep, &lines);
    load(file);
    llibSetMessageHandler(nullptr, nullptr);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "JC5: Unknown descriptor 7 in file " + file + "!");
    EXPECT_EQ(lines[1], "20(left) 10(" + std::string(8191 - 12, 'r'));
}

TEST_F(Jc5, ReadsOnInTheNextPart)
{
    for (u32 width : {64u, 61u}) {
        const Picture picture = noiseCards(width, 60);
        const std::string stem = directory.path + "/d" + std::to_string(width) + ".J0";
        for (u32 part = 0; part < 10; part++) { // a 9 is followed by a colon
            Bytes bytes = encodeJc5(picture, {.layout = {0x10101}, .firstPick = part * 6, .pickCount = 6});
            if (part > 0)
                std::fill_n(bytes.begin() + 2, 20, u8{0x55}); // nothing but the first two bytes counts
            bytes.push_back(0x99);
            writeFile(stem + static_cast<char>('1' + part), bytes);
        }
        const std::string third = stem + "3";
        const Loaded loaded = load(third, {.bands = {4, 1, 1, 6, 13, 0, 35}});
        EXPECT_EQ(loaded.firstPart, 0u);
        EXPECT_TRUE(loaded.rows == picture.rows) << width;
        writeFile(stem + "3", {'n', 'o', 'n', 'e'});
        const Loaded cut = load(third);
        EXPECT_EQ(cut.bandStatus, loadCannotRead);
        for (size_t i = 0; i < cut.rows.size(); i++) // of two parts, the bits as they are stored
            ASSERT_EQ(cut.rows[i], i < 12 * cut.stride ? mirrored(picture.rows[i]) : 0xA5);
        fs::remove(stem + "2");
        EXPECT_EQ(load(third).bandStatus, loadCannotRead);
    }
}

TEST_F(Jc5, GivesAPartWithoutAPickOneRow)
{
    const Picture picture = noiseCards(64, 12);
    const std::string stem = directory.path + "/d.j0";
    const std::pair<u32, u32> parts[] = {{0, 6}, {6, 0}, {7, 5}};
    for (u32 i = 0; i < 3; i++)
        writeFile(stem + static_cast<char>('1' + i),
                  encodeJc5(picture, {.layout = {0x10101}, .firstPick = parts[i].first, .pickCount = parts[i].second}));
    const Bytes rows = load(stem + "1").rows;
    EXPECT_TRUE(std::equal(rows.begin(), rows.begin() + 48, picture.rows.begin()));
    EXPECT_TRUE(std::equal(rows.begin() + 56, rows.end(), picture.rows.begin() + 56));
}

TEST_F(Jc5, RefusesWhatItDoesNotRead)
{
    // 8 picks descriptor, 20 number of groups, 24 and 40 groups of 3 hooks and 1
    const Bytes good = encodeJc5(noiseCards(4, 2), {.groups = {{3}, {1}}});
    const std::tuple<u32, u32, int> cases[] = {
        {16, 65520, loadSuccess},    {16, 65521, loadWrongFormat}, {16, 1, loadWrongFormat},
        {52, 65517, loadSuccess},    {52, 65518, loadWrongFormat}, {52, 0xFFFFFFFF, loadWrongFormat},
        {36, 0, loadWrongFormat},    {36, 1, loadSuccess},         {44, 7, loadWrongFormat},
        {44, 10000, loadCannotRead}, {44, 10001, loadWrongFormat}, {12, 3, loadWrongFormat},
        {4, 256, loadCannotRead},    {4, 257, loadCannotRead},     {0, 0x82FE0100, loadWrongFormat}};
    for (const auto& [at, number, status] : cases) {
        const Patches patches = {{at, number >> 24, number >> 16, number >> 8, number}};
        expectStatuses({"d.jc5", jc5, nullptr, ""}, good, status, patches);
    }
    for (size_t size = 2; size < good.size() - 4; size++)
        EXPECT_EQ(load(write(Bytes(good.data(), good.data() + size)), {.id = jc5}).status, loadCannotRead) << size;
    EXPECT_EQ(load(write({0x81, 0xFE, 5, 1, 0, 0, 1, 1}), {.id = jc5}).status, loadCannotRead);
    EXPECT_EQ(load(directory.path + "/none.j02", {.id = jc5}).firstPart, 0u); // told although there is no first one
    // Too many descriptors are too many when all of them are read, and those that are unknown have been told.
    for (u32 more : {255u, 257u}) {
        const std::vector<Jc5Descriptor> unknown(more, {7});
        const std::string file = write(encodeJc5(noiseCards(4, 2), {.more = unknown}));
        testing::internal::CaptureStdout();
        EXPECT_EQ(load(file, {.id = jc5}).status, more == 255 ? loadSuccess : loadWrongFormat);
        const std::string said = testing::internal::GetCapturedStdout();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), more);
    }
    for (u32 layout : {0x101u, 0x1FFFFu, 0x20000u}) {
        const Bytes part = encodeJc5(noiseCards(4, 2), {.layout = {layout}});
        EXPECT_EQ(load(write(part, ".j01")).status, layout == 0x1FFFF ? loadSuccess : loadWrongFormat);
    }
}

TEST_F(Jc5, UnpacksWithTheRealGzipAndCleansUp)
{
    const Picture picture = noiseCards(90, 12);
    const std::string packed = directory.write("it's $HOME \"a\".zC5", encodeZc5(picture, {.name = "packed"}));
    const Loaded loaded = load(packed, {.bands = {5, 7}});
    EXPECT_EQ(loaded.description, "Staubli JC5 v1.0 packed");
    EXPECT_EQ(loaded.rows, picture.rows);
    EXPECT_EQ(load(packed, {.wantPalette = 0}).status, loadSuccess);
    // The file stays as long as it is wanted; the next load ends the one before.
    OpenPicture first(packed, zc5), second(packed, zc5);
    first.isEnded = second.isEnded = false;
    EXPECT_EQ(files(), 1);
    EXPECT_EQ(fs::directory_iterator(temporary.path)->status().permissions(), fs::perms(0600));
    const std::string other = write(encodeJc5(picture));
    EXPECT_EQ(load(other, {.id = jc5}).rows, picture.rows);

    const std::string swap = "sh -c 'ln -sf " + other + " \"$(readlink /proc/$$/fd/1)\"'";
    for (const std::string& command : {std::string("false"), std::string("echo"), swap}) {
        llibSetGzipCommand(command.c_str());
        EXPECT_EQ(load(packed).status, command == swap ? loadCannotRead : loadWrongFormat) << command;
        EXPECT_STREQ(llibGetReason(), command == "false"  ? "the command false failed with 1"
                                      : command == "echo" ? "it does not begin as JC5 files do"
                                                          : "the unpacked file has been replaced by another one");
    }
    EXPECT_TRUE(fs::exists(other));
    llibSetGzipCommand("sh -c 'gzip -dc \"$2\"; exit 1' sh");
    EXPECT_EQ(load(packed).rows, picture.rows);
    EXPECT_EQ(remarkTexts(), "!the gzip command reported an error\n");
    llibSetTmpDir(nullptr);
    EXPECT_EQ(load(packed).status, loadWrongFormat);
    EXPECT_STREQ(llibGetReason(), "the temporary directory is not set");
    llibSetTmpDir("/nowhere");
    testing::internal::CaptureStderr();
    EXPECT_EQ(load(packed).status, loadCannotRead);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "llib zc5 tmp file creation failed:: No such file or directory\n");
}
