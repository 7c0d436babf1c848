#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>

#include "samples/drape_writer.h"
#include "samples/gif_writer.h"
#include "samples/jpeg_writer.h"
#include "samples/png_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;
using std::string;

static const u32 drapeId = formatDrape, vectorId = formatVectorPreview;

static Bytes contentsOf(const string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

static std::set<string> temporaries()
{
    std::set<string> names;
    for (const auto& entry : fs::directory_iterator("/tmp"))
        if (entry.path().filename().string().starts_with("TVdrape"))
            names.insert(entry.path());
    return names;
}

static const std::set<string> temporariesBefore = temporaries();

// Programs that run at the same time have temporary files of their own, which go soon.
static bool isTemporaryLeft()
{
    for (const string& name : temporaries()) {
        for (int i = 0; i < 100 && fs::exists(name) && !temporariesBefore.contains(name); i++)
            usleep(50000);
        if (fs::exists(name) && !temporariesBefore.contains(name))
            return true;
    }
    return false;
}

TEST(Drape, ShowsThePreviewInIt)
{
    TestDirectory directory;
    const Bytes previews[] = {
        encodePng(noisePicture(kindRGBA, 21, 9, 0, 1),
                  {.resolution = PngResolution{3937, 7874, 1}, .texts = {{"MulX", "7"}}}),
        encodeJpeg(photoPicture(40, 30, 3)),
        encodeGif(noisePicture(kindIndexed, 17, 12, 9, 4)),
    };
    for (const Bytes& preview : previews) {
        const Loaded plain = load(directory.write("preview", preview), {.fill = 0});
        const string file = directory.write("a.Drape", encodeDrape(preview));
        const Loaded drape = load(file, {.fill = 0});
        EXPECT_EQ(drape.format, 39);
        EXPECT_EQ(drape.numbers(),
                  (std::vector<u32>{plain.kind, plain.width, plain.height, plain.resX, plain.resY, 1, 1, 1, 0}));
        EXPECT_EQ(drape.description, "Drape");
        EXPECT_TRUE(drape.rows == plain.rows);
        EXPECT_TRUE(plain.kind != kindIndexed || drape.palette == plain.palette);
        const Loaded probed = load(file, {.wantPalette = 0, .fill = 7});
        EXPECT_EQ((std::array{probed.status, probed.bandStatus}), (std::array{0, 7}));
    }
    EXPECT_FALSE(isTemporaryLeft());
}

TEST(Drape, KeepsItsPlaceAndItsRows)
{
    TestDirectory directory;
    const Picture picture = noisePicture(kindRGB, 5, 3, 0, 1);
    const string good = directory.write("a.drape", encodeDrape(encodePng(picture)));
    {
        OpenPicture open(good, drapeId);
        Bytes rows(4 * 20, 0x55);
        EXPECT_EQ(getLoadBand()(rows.data(), 4, 15), 0); // always from the first row, clear behind the last
        EXPECT_TRUE(std::equal(picture.rows.begin(), picture.rows.end(), rows.begin()));
        EXPECT_EQ((std::array{rows[45], rows[59]}), (std::array{u8{0}, u8{0}}));
        EXPECT_EQ(rows[60], 0x55);
    }
    EXPECT_EQ(load(directory.write("b.drape", encodeDrape(Bytes(40, 'x'))), {.id = drapeId}).status, 6);
    Bytes cut = encodePng(picture); // what the picture's own loader says is passed on
    cut.resize(cut.size() - 20);
    EXPECT_EQ(load(directory.write("c.drape", encodeDrape(cut)), {.id = drapeId}).status, 6);
    EXPECT_TRUE(string(llibGetReason()).starts_with("the preview cannot be read: "));
    EXPECT_EQ(string(llibGetReason()).find("another format"), string::npos);
    EXPECT_FALSE(isTemporaryLeft());
}

TEST(Drape, AnswersForEveryDamage)
{
    TestDirectory directory;
    const std::tuple<string, int, const char*> cases[] = {
        {"", 6, "there is no preview inside"},
        {"#CPOINTS=0\n#TEXTURE_START=0\n-#START_IMAGE=3\nabc", 6,
         "the preview cannot be read: it is of another format"},
        {"#START_IMAGE=4294967299\nabc", 7, "the record #START_IMAGE= tells an impossible size of 4294967299"},
        {"#START_IMAGE=4\nabc", 7, "the file ends in its preview"},
        {"#CPOINTS=-1\n#END\n", 7, "the record #CPOINTS= tells an impossible size of -1"},
        {"#HVECT=1\nabc", 6, "there is no preview inside"},
        {"#VVECT=1073741825\nabcd", 7, "the record #VVECT= tells an impossible size of 1073741825"},
        {"x\n", 7, "one of its lines does not begin with #"},
    };
    int number = 0;
    for (const auto& [records, status, reason] : cases) {
        const string file = directory.write(std::to_string(number++) + ".drape", "#NEW_REGION\n" + records);
        EXPECT_EQ(load(file, {.id = drapeId}).status, status) << records;
        EXPECT_STREQ(llibGetReason(), reason);
    }
    const Bytes good = encodeDrape(encodePng(noisePicture(kindIndexed, 3, 2, 4, 1)));
    EXPECT_EQ(load(directory.write("adrape", good), {.id = drapeId}).status, 6);
    expectHarmless(".drape", good, drapeId);
    EXPECT_FALSE(isTemporaryLeft());
}

// The command is a script that notes what it is asked for and copies a picture that was drawn before.
struct VectorPreview : testing::Test {
    TestDirectory directory; // for the preview
    TestDirectory files;
    Picture picture = noisePicture(kindRGB, 6, 4, 0, 1);
    string drawn = files.write("drawn", encodePng(picture));

    VectorPreview()
    {
        llibSetTmpDir(directory.path.c_str());
        setCommand("cp '" + drawn + "' \"$2\"");
    }
    ~VectorPreview() override
    {
        EXPECT_TRUE(fs::is_empty(directory.path));
        llibSetTmpDir(nullptr);
        llibSetVectorPreviewCommand(nullptr);
    }
    void setCommand(const string& action) const
    {
        const string script =
            files.write("draw", "#!/bin/sh\nprintf '%s\\n' \"$@\" >>'" + files.path + "/asked'\n" + action + "\n");
        chmod(script.c_str(), 0700);
        llibSetVectorPreviewCommand(script.c_str());
    }
    int statusOf(const string& name, int wantPalette = 1) const
    {
        return load(files.path + "/" + name, {.id = vectorId, .wantPalette = wantPalette}).status;
    }
    string reasonOf(const string& name) const
    {
        EXPECT_EQ(statusOf(name), 6) << name;
        return llibGetReason();
    }
};

TEST_F(VectorPreview, ShowsWhatTheCommandDraws)
{
    string asked;
    for (const char* name : {"a.pdf", "A rose.EPS", "it's \"$HOME\" `x` \\.svg", "-a;b.svgz"}) {
        const string file = files.write(name, string("not looked at"));
        const Loaded loaded = load(file);
        EXPECT_EQ(loaded.format, 59) << name;
        EXPECT_EQ(loaded.description, "Vector preview PDF EPS SVG");
        EXPECT_EQ((std::array{loaded.kind, loaded.width, loaded.height, loaded.firstPart, u32{loaded.orientationFlag}}),
                  (std::array{2u, 6u, 4u, 1u, 0u}));
        EXPECT_TRUE(loaded.rows == picture.rows);
        asked += file + "[0]\n" + directory.path + "/" + name + ".png\n";
        EXPECT_EQ(string(reinterpret_cast<const char*>(contentsOf(files.path + "/asked").data()), asked.size()), asked);

        const Loaded probed = load(file, {.wantPalette = 0});
        EXPECT_EQ((std::array{probed.status, probed.bandStatus, i32(probed.width)}), (std::array{0, 7, 6}));
        asked += file + "[0]\n" + directory.path + "/" + name + ".png\n";
        const Loaded identified = load(file, {.wantPalette = 2});
        EXPECT_EQ((std::array{identified.status, i32(identified.kind), i32(identified.width)}), (std::array{0, 2, 0}));
        EXPECT_EQ(contentsOf(files.path + "/asked").size(), asked.size());
    }
}

TEST_F(VectorPreview, RefusesWhatIsNotDrawn)
{
    files.write("a.svg", string("x"));
    for (const char* name : {"a.ps", "asvg", "a.pdf.png"})
        EXPECT_EQ(reasonOf(name), "the name does not end in .pdf, .eps, .svg or .svgz") << name;

    // Neither a preview of another time nor what a link in its place leads to is taken for this one.
    const string preview = directory.write("a.svg.png", encodePng(picture));
    const std::pair<int, const char*> ends[] = {{0, "left no file that can be read"},
                                                {126, "cannot be run"},
                                                {127, "is not found"},
                                                {128, "failed with 128"},
                                                {129, "was killed by signal 1"},
                                                {192, "was killed by signal 64"},
                                                {193, "failed with 193"}};
    for (const auto& [result, what] : ends) {
        setCommand("exit " + std::to_string(result));
        EXPECT_EQ(reasonOf("a.svg"), "the command " + files.path + "/draw " + what);
    }
    fs::create_directories(preview + "/in");
    EXPECT_EQ(reasonOf("a.svg"), "what cannot be removed is in the way of its temporary file");
    fs::remove_all(preview);
    llibSetTmpDir(string(4091, '/').c_str());
    EXPECT_EQ(reasonOf("a.svg"), "the name of its temporary file is too long");
    llibSetTmpDir(directory.path.c_str());
    setCommand("echo no picture >\"$2\"");
    fs::create_symlink(drawn, preview);
    EXPECT_EQ(reasonOf("a.svg"), "the preview cannot be read: it is of another format");
    EXPECT_TRUE(contentsOf(drawn) == encodePng(picture));

    setCommand("cp '" + drawn + "' \"$2\"; exit 3");
    EXPECT_EQ(statusOf("a.svg"), 0);
    EXPECT_EQ(remarkTexts(), "the command for the preview ended with 3\n");
    llibSetTmpDir(nullptr);
    EXPECT_EQ(reasonOf("a.svg"), "the temporary directory is not set");
    EXPECT_EQ(statusOf("a.svg", 2), 0);
}
