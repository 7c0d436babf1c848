#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "samples/tiff_writer.h"
#include "samples/zip_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;

constexpr u32 dis = formatDis;

struct Dis : testing::Test {
    TestDirectory designs, temporary;
    int descriptors = openDescriptors();
    Picture picture = motifPicture(pictureIndexed, 40, 30);
    Bytes right = encodeTiff(picture), wrong = encodeTiff(flatPicture(pictureRgb, 3, 3, 0));

    Dis() { llibSetTmpDir(temporary.path.c_str()); }
    ~Dis() override
    {
        EXPECT_TRUE(fs::is_empty(temporary.path));
        EXPECT_EQ(openDescriptors(), descriptors);
        llibSetTmpDir(nullptr);
        llibSetUnzipCommand(nullptr);
    }
    // $1 is the archive, $3 the folder to unpack into.
    static void unpackBy(const std::string& script) { llibSetUnzipCommand(("sh -c '" + script + "' sh").c_str()); }
};

TEST_F(Dis, DeliversTheFirstTiffFile)
{
    const Bytes text = {'I', 'I', 0, 0, 0};
    const std::vector<std::vector<ZipMember>> archives = {
        {{"z.tif", wrong}, {"inner/x", text}, {"inner/sub/y", right}},
        {{"a/b.tif", wrong}, {"a.tif", right}},
        {{"a", {'/', 'e', 't', 'c'}, 0120777}, {"b", right}, {"locked/", {}, 040000}, {"locked/c", wrong}}};
    if (system("command -v unzip >/dev/null") != 0)
        GTEST_SKIP() << "Package unzip is not installed.";
    llibSetUnzipCommand("unzip -o -qq");
    for (const auto& archive : archives) {
        const Loaded got = load(designs.write("$HOME \"q\" `id`.dIs", encodeZip(archive)), {.id = dis});
        EXPECT_EQ(got.description, "JD&N .DES");
        EXPECT_TRUE(got.rows == picture.rows);
    }
}

TEST_F(Dis, UnpacksOnlyArchivesIntoItsFolder)
{
    const std::string good = designs.write("a.dis", "PK\3\4");
    unpackBy("touch \"$1.run\"");
    for (const std::string& path : {designs.write("b.dis", "PK\5\6"), designs.write("adis", "PK\3\4")})
        EXPECT_EQ(load(path, {.id = dis}).status, loadWrongFormat);
    for (const char* folder : {"/missing", static_cast<const char*>(nullptr)}) {
        llibSetTmpDir(folder);
        EXPECT_EQ(load(good, {.id = dis}).status, loadWrongFormat);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(designs.path), {}), 3);
}

TEST_F(Dis, LeavesNothingBehind)
{
    const std::string keep = designs.write("keep", right), path = designs.write("a.dis", "PK\3\4");
    const std::string deep = "cd \"$3\"; mkdir -p $(printf \"d/%.0s\" $(seq 150)); touch d/d/f; ";
    const std::tuple<std::string, int, const char*> scripts[] = {
        {deep + "cp " + keep + " \"$3\"/0", loadSuccess, ""},
        {"ln -s " + keep + " \"$3\"/a; ln -s " + designs.path + " \"$3\"/b; mkfifo \"$3\"/c", loadWrongFormat,
         "the archive holds no TIFF picture"},
        {"mkdir \"$3\"/a \"$3\"/a/b; touch \"$3\"/a/b/c; chmod 0 \"$3\"/a/b \"$3\"/a; exit 9", loadWrongFormat,
         "the command sh failed with 9"},
        {"rmdir \"$3\"; kill -9 $$", loadWrongFormat, "the command sh was killed by signal 9"},
        {"not-a-command", loadWrongFormat, "the command sh is not found"}};
    rlimit usual;
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit fewer{64, usual.rlim_max};
    for (const auto& [script, status, reason] : scripts) {
        unpackBy(script);
        setrlimit(RLIMIT_NOFILE, &fewer);
        EXPECT_EQ(load(path, {.id = dis}).status, status) << script;
        EXPECT_STREQ(llibGetReason(), reason);
        setrlimit(RLIMIT_NOFILE, &usual);
        EXPECT_TRUE(fs::is_empty(temporary.path)) << script;
    }
    // The next picture ends one that was not ended.
    unpackBy("cp " + keep + " \"$3\"");
    OpenPicture open(path, dis);
    EXPECT_FALSE(fs::is_empty(temporary.path));
    EXPECT_TRUE(load(designs.write("b.tif", right)).rows == picture.rows);
    open.isEnded = false;
}
