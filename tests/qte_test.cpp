#include "samples/qte_writer.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "samples/zip_writer.h"
#include "tests/card_support.h"

namespace fs = std::filesystem;

constexpr u32 qte = formatQte, motif = formatQteMotif, qtz = formatQtz;

TEST(Qte, DeliversRowsBehindTheFirst)
{
    TestDirectory files;
    const Picture picture = noiseCards(400, 30);
    const std::string file = files.write("d.QtE", encodeQte(picture));
    expectDelivery({"d.QtE", qte, encodeQte, "QTE"}, picture);
    // A probe leaves the file at its start.
    EXPECT_EQ(load(file, {.wantPalette = 0, .bands = {1}}).rows[0], 400 % 256);

    const std::string inHeader = "!the first row begins in the file's header";
    const std::tuple<Bytes, int, Bytes, std::string> cases[] = {
        {{20, 0, 2, 0, 1, 2},
         loadSuccess,
         {2, 0, 0xA5, 1, 2, 0xA5},
         "!the last 4 pixels of each row are not in the file" + inHeader},
        {{16, 0, 2, 0, 1, 2}, loadSuccess, {2, 0, 1, 2}, inHeader},
        {{7, 0, 3, 0, 9},
         loadSuccess,
         {0xA5, 0xA5, 0xA5},
         "!the last 7 pixels of each row are not in the file+behind the picture the file goes on for 1 byte"},
        {{0, 0, 3, 0, 9}, loadWrongFormat, {}, "its header tells a size of 0 x 3"},
        {{8, 0, 0xF1, 0xFF, 9}, loadWrongFormat, {}, "its header tells a size of 8 x 65521"},
        {{8, 0, 1}, loadWrongFormat, {}, "the file is too small: 3 bytes"}};
    int number = 0;
    for (const auto& [bytes, status, rows, told] : cases) {
        const Loaded little = load(files.write(std::to_string(number++) + ".qte", bytes), {.id = qte});
        EXPECT_TRUE(little.status == status && little.rows == rows) << number;
        EXPECT_EQ(toldOf({"d.qte", qte, encodeQte, "QTE"}, bytes), told);
    }
}

TEST(Qte, CutsAMotifOutOfItsRows)
{
    TestDirectory files;
    for (u32 width : {1u, 7u, 200u, 301u}) {
        for (u32 offset = 0; offset < 8; offset++) {
            for (u32 wider : {0u, 1u, 9u}) {
                const Picture picture = noiseCards(width, 20);
                const u32 least = (width + 7) / 8, rowBytes = (offset + width + 7) / 8 + wider;
                const std::string name = std::to_string(width * 100 + offset * 10 + wider) + ".Mot";
                const std::string file = files.write(name, encodeQteMotif(picture, offset, rowBytes));
                const auto asStored = static_cast<i64>(rowBytes) - static_cast<i64>(least);
                for (i64 extraStride : {i64{0}, asStored, i64{30}}) {
                    const Loaded got = load(file, {.bands = {1, 19}, .extraStride = extraStride, .fill = 0});
                    EXPECT_TRUE(got.width == width && got.description == "QTE Motif");
                    for (u64 x = 0; x < u64{width} * 20; x++) {
                        const u64 row = x / width, column = x % width, mask = 0x80 >> column % 8;
                        const u8 expected = picture.rows[row * least + column / 8];
                        ASSERT_EQ(got.rows[row * got.stride + column / 8] & mask, expected & mask) << name;
                    }
                    // What lies behind the picture is set in the file.
                    const bool isCut = extraStride != asStored && offset != 0 && width % 8 != 0;
                    EXPECT_TRUE(!isCut || (got.rows[least - 1] & 0xFF >> width % 8) == 0);
                }
            }
        }
    }
    const auto encodeShifted = [](const Picture& picture) { return encodeQteMotif(picture, 3, 60); };
    EXPECT_EQ(bandStatusOfCut({"d.mot", motif, encodeShifted, ""}, noiseCards(400, 3000), 21), loadBadData);
    EXPECT_STREQ(llibGetReason(), "the file ends 1 row before the picture does");
    const char *isRead = "", *noNumbers = "its last 20 characters are not the numbers of a motif";
    const std::pair<const char*, const char*> trailers[] = {
        {"    3   50    8    1", isRead},
        {"00003\t50  \n8   1    ", isRead},
        {"    8   64    8    1", isRead},
        {"    9   50    8    1", "its trailer tells 9 as the first bit of its rows"},
        {"    0   48    8    1", "its trailer tells 0 as the first bit of its rows"},
        {"    1   65    8    1", "its trailer tells rows of 8 bytes for 65 bits"},
        {"    5    4    8    1", "its trailer tells a size of 0 x 1"},
        {"    1   48    8    0", "its trailer tells a size of 48 x 0"},
        {"    1   48    8   1x", noNumbers},
        {"    1   -8    8    1", noNumbers}};
    for (const auto& [trailer, reason] : trailers) {
        const Loaded got = load(files.write("d.mot", std::string(20, 'r') + trailer), {.id = motif});
        EXPECT_EQ(got.status, reason == isRead ? loadSuccess : loadWrongFormat) << trailer;
        EXPECT_STREQ(llibGetReason(), reason);
    }
}

struct Qtz : testing::Test {
    TestDirectory archives, temporary;

    Qtz()
    {
        llibSetTmpDir(temporary.path.c_str());
        llibSetUnzipCommand("unzip -o -qq");
    }
    ~Qtz() override
    {
        llibSetTmpDir(nullptr);
        llibSetUnzipCommand(nullptr);
    }
    std::string unpacked(const char* name) const { return temporary.path + "/" + name; }
};

TEST_F(Qtz, UnpacksWithTheRealCommands)
{
    const Picture picture = noiseCards(400, 30);
    const fs::path folder = archives.path;
    archives.write("$o m.qte", encodeQte(picture));
    ASSERT_EQ(system(("cd " + folder.string() + " && zip -q '$o m.qtz' '$o m.qte'").c_str()), 0);
    for (int wantPalette : {1, 0}) {
        const Loaded got = load(folder / "$o m.qtz", {.wantPalette = wantPalette});
        EXPECT_EQ(got.rows == picture.rows, wantPalette == 1);
        EXPECT_TRUE(fs::is_empty(temporary.path));
    }
    {
        OpenPicture forgotten(folder / "$o m.qtz", qtz);
        forgotten.isEnded = false; // the next one ends it, and has the same file
        const OpenPicture open(folder / "$o m.qtz", qtz);
        EXPECT_TRUE(fs::exists(unpacked("$o m.qte")));
    }
    EXPECT_TRUE(fs::is_empty(temporary.path));
    const std::tuple<const char*, const char*, bool> names[] = {
        {"AB.QTZ", "AB.QTE", true}, {"x.Qtz", "x.QTE", true}, {"y.qtZ", "y.qtE", true}, {"z.qtz", "other.qte", false}};
    for (const auto& [name, member, isFound] : names) {
        const Loaded got = load(archives.write(name, encodeQtz(picture, member)), {.id = qtz});
        EXPECT_EQ(got.status, isFound ? loadSuccess : loadWrongFormat) << name;
        EXPECT_EQ(fs::exists(unpacked(member)), !isFound) << name;
    }
}

TEST_F(Qtz, RunsNothingWithoutNeed)
{
    llibSetUnzipCommand(("touch " + temporary.path + "/ran;:").c_str());
    const Bytes bytes = encodeQtz(noiseCards(400, 30), "ab.qte");
    const std::string file = archives.write("ab.qtz", bytes);
    for (const std::string& other : {archives.write("ab.qtx", bytes), archives.write("no.qtz", Bytes(99, 'P'))})
        EXPECT_EQ(load(other, {.id = qtz}).status, loadWrongFormat) << other;
    fs::create_symlink("nowhere", unpacked("ab.QTE")); // somebody lies in wait
    EXPECT_EQ(load(file, {.id = qtz}).status, loadWrongFormat);
    EXPECT_TRUE(fs::remove(unpacked("ab.QTE")) && fs::is_empty(temporary.path));
    EXPECT_EQ(load(file, {.id = qtz}).status, loadWrongFormat);
    EXPECT_TRUE(fs::remove(unpacked("ran")));
    EXPECT_STREQ(llibGetReason(), "the archive holds no QTE file of its own name");
    llibSetUnzipCommand(nullptr);
    EXPECT_EQ(load(file, {.id = qtz}).status, loadWrongFormat);
    EXPECT_STREQ(llibGetReason(), "the command that unpacks archives is not set");
    llibSetTmpDir(nullptr);
    EXPECT_EQ(load(file, {.id = qtz}).status, loadWrongFormat);
    EXPECT_STREQ(llibGetReason(), "the temporary directory is not set");
    EXPECT_TRUE(fs::is_empty(temporary.path));
}

TEST_F(Qtz, OpensNothingButAFileOfTheArchive)
{
    const std::string secret = archives.write("secret.qte", encodeQte(noiseCards(400, 30)));
    const std::vector<ZipMember> members[] = {{{"ab.QTE", Bytes(secret.begin(), secret.end()), 0120777}},
                                              {{"ab.QTE/", {}, 040755}},
                                              {{"in/ab.qte", encodeQte(noiseCards(400, 30))}},
                                              {{"ab.qte", {40, 0, 0, 0, 1}}}};
    for (const auto& member : members) {
        const std::string file = archives.write("ab.qtz", encodeZip(member));
        EXPECT_EQ(load(file, {.id = qtz}).status, loadWrongFormat) << member[0].name;
        for (const char* name : {"ab.qte", "ab.QTE"})
            EXPECT_FALSE(fs::exists(fs::symlink_status(unpacked(name)))) << name;
        EXPECT_TRUE(fs::exists(secret));
    }
}
