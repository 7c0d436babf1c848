// Runs tload as a user would and looks at what it prints, writes and leaves behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "samples/bmp_writer.h"
#include "samples/chinese_writer.h"
#include "samples/colorado_writer.h"
#include "samples/eat_writer.h"
#include "samples/gif_writer.h"
#include "samples/iam_writer.h"
#include "samples/jc4_writer.h"
#include "samples/jc5_writer.h"
#include "samples/png_writer.h"
#include "samples/tis_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;
using Json = nlohmann::json;
using std::string;
using std::vector;

struct Result {
    int exitCode; // negative: the signal that ended it
    string output;
    string errors;
};

static string get(const string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

struct Tool : testing::Test {
    TestDirectory files;
    TestDirectory prints; // beside the files, whose names the tests look at

    pid_t start(vector<string> arguments, const string& program = TLOAD_BINARY) const
    {
        arguments.insert(arguments.begin(), program);
        vector<char*> words;
        for (string& argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, 1, (prints.path + "/output").c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, (prints.path + "/errors").c_str(), flags, 0600);
        posix_spawn_file_actions_addchdir_np(&actions, files.path.c_str());
        pid_t process = -1;
        EXPECT_EQ(posix_spawn(&process, program.c_str(), &actions, nullptr, words.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        return process;
    }

    Result finish(pid_t process) const
    {
        int status = 0;
        waitpid(process, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), get(prints.path + "/output"),
                get(prints.path + "/errors")};
    }

    Result run(const vector<string>& arguments) const { return finish(start(arguments)); }
    string path(const string& name) const { return files.path + "/" + name; }

    std::set<string> names() const
    {
        std::set<string> found;
        for (const auto& entry : fs::directory_iterator(files.path))
            found.insert(entry.path().filename());
        return found;
    }
};

static const Picture small = noisePicture(kindRGB, 5, 3, 0, 1);

TEST_F(Tool, ConvertsEveryKindExactly)
{
    for (u32 kind : {kindBilevel, kindIndexed, kindRGB, kindRGBA}) {
        Picture picture = noisePicture(kind, 21, 9, kind == kindIndexed ? 7 : 0, kind);
        files.write("a.bmp",
                    encodeBmp(picture, {.pixelsPerMetreX = 11811, .pixelsPerMetreY = 5905, .blackFirst = true}));
        Result result = run({"convert", "a.bmp", "a.png"});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_TRUE(result.output.starts_with("a.bmp: BMP, 21 x 9, ") && result.output.ends_with(" -> a.png\n"));
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(names(), (std::set<string>{"a.bmp", "a.png"}));
        Loaded original = load(path("a.bmp"));
        Loaded converted = load(path("a.png"), {.fill = 0});
        EXPECT_EQ(converted.kind, kind);
        // The bits behind the last pixel of a row are nobody's.
        for (u32 y = 0; kind == kindBilevel && y < 9; y++)
            original.rows[y * original.rowBytes + 2] &= 0xF8;
        EXPECT_TRUE(converted.rows == original.rows) << kind;
        EXPECT_EQ(converted.resX, 299999u);
        EXPECT_EQ(converted.resY, 149987u);
        if (kind == kindIndexed) {
            EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.end(), converted.palette.begin()));
        }
    }
}

TEST_F(Tool, KeepsResolutionAndMultipliers)
{
    files.write("first.png",
                encodePng(small, {.resolution = PngResolution{3937, 1, 1}, .texts = {{"MulX", "7"}, {"MulY", "12"}}}));
    EXPECT_EQ(run({"convert", "first.png", "second.png"}).exitCode, 0);
    EXPECT_EQ(run({"convert", "second.png", "second.png"}).exitCode, 0); // onto itself
    for (const char* name : {"first.png", "second.png"}) {
        Loaded loaded = load(path(name));
        EXPECT_EQ(loaded.resX, 100000u);
        EXPECT_EQ(loaded.resY, 25u);
        EXPECT_EQ(loaded.mulX, 7u);
        EXPECT_EQ(loaded.mulY, 12u);
        EXPECT_TRUE(loaded.pixels() == small.rows);
    }
}

TEST_F(Tool, SaysWhatIsWrongInOneSentenceAndLeavesTheTargetAlone)
{
    const string strange = "escape\x1B[31m\n\x9B\xC2\x9B.txt";
    const Bytes bmp = encodeBmp(small);
    fs::create_directory(path("directory.gif"));
    files.write("notes.txt", bmp);
    files.write(strange, bmp);
    files.write("x", bmp);
    files.write("-small.bmp", bmp);
    files.write("cut.bmp", Bytes(bmp.begin(), bmp.end() - 1));
    files.write("header.png", "\x89PNG\r\n\x1A\nIHDR");
    files.write("interlaced.gif", encodeGif(motifPicture(kindIndexed, 9, 9), {.interlaced = true}));
    files.write("loom.apf", "no known format");
    files.write("portable.pbm", "P4 8 1 \1");
    files.write("empty.jpg", "\xFF\xD8\xFF\xD9 and no picture");
    files.write("old.png", "old");
    files.write("random.foo", "no known format");
    ASSERT_EQ(run({"convert", "--", "-small.bmp", "good.png"}).exitCode, 0);
    string damaged = get(path("good.png"));
    damaged[damaged.find("IDAT") + 6] ^= 0x55;
    files.write("damaged.png", damaged);
    const std::set<string> before = names();

    struct Case {
        vector<string> arguments;
        int exitCode;
        string words;
    };
    const vector<Case> cases = {
        {{"convert", "none.gif", "old.png"}, 3, "tload: none.gif: the file cannot be opened (No such file"},
        {{"convert", string(5000, 'a'), "old.png"}, 3, "4095"},
        {{"convert", "header.png", "old.png"}, 3, "header is incomplete"},
        {{"convert", "damaged.png", "old.png"}, 4, "PNG data cannot be decoded"},
        {{"convert", "interlaced.gif", "old.png"}, 5, "variant"},
        {{"convert", "loom.apf", "old.png"}, 5, "the format CSS JacquArt is recognised but its files cannot be read"},
        {{"convert", "portable.pbm", "old.png"}, 6, "the format PBM is recognised but"},
        {{"convert", "empty.jpg", "old.png"}, 6, "not a JPEG file"}, // the decoder prints by itself
        {{"convert", "random.foo", "old.png"}, 6, "the format is not recognised"},
        {{"convert", "--format", "23", "random.foo", "old.png"}, 6, "not a BMP file"},
        {{"convert", "cut.bmp", "old.png"}, 7, "data end early"},
        {{"convert", "notes.txt", "old.png"}, 10, "by its name (.txt)"},
        {{"info", strange}, 10, "tload: escape?[31m???.txt: "},
        {{"convert", "x", "old.png"}, 11, "./x"},
        {{"convert", "./x", "directory.gif"}, 12, "directory"},
        {{}, 64, "--help"},
        {{"convert", "x", "old.png", "third"}, 64, "third"},
    };
    for (const Case& tried : cases) {
        Result result = run(tried.arguments);
        SCOPED_TRACE(result.errors);
        EXPECT_EQ(result.exitCode, tried.exitCode);
        EXPECT_EQ(result.output, "");
        EXPECT_NE(result.errors.find(tried.words), string::npos) << tried.words;
        EXPECT_TRUE(result.errors.starts_with("tload: ") && result.errors.ends_with(".\n"));
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
        EXPECT_EQ(get(path("old.png")), "old");
        EXPECT_EQ(names(), before);
    }
}

TEST_F(Tool, LeavesNothingWhenInterrupted)
{
    files.write("large.bmp", encodeBmp(noisePicture(kindRGB, 4000, 2000, 0, 1)));
    files.write("old.png", "old");
    pid_t process = start({"convert", "large.bmp", "old.png"});
    siginfo_t ended = {};
    while (names().size() == 2 && ended.si_pid == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
    kill(process, SIGTERM);
    Result result = finish(process);
    if (result.exitCode == 0)
        GTEST_SKIP() << "it was finished before it could be interrupted";
    EXPECT_EQ(result.exitCode, -SIGTERM);
    EXPECT_EQ(names(), (std::set<string>{"large.bmp", "old.png"}));
    EXPECT_EQ(get(path("old.png")), "old");
}

TEST_F(Tool, TellsWhatFilesHold)
{
    files.write("small.bmp", encodeBmp(small, {.pixelsPerMetreX = 11811, .pixelsPerMetreY = 11811}));
    files.write("none.txt", encodeBmp(small));
    files.write("palette.bmp", encodeBmp(noisePicture(kindIndexed, 9, 9, 5, 1), {.paletteEntries = 5}));
    Result result = run({"info", "small.bmp", "none.txt", "gone.bmp", "palette.bmp", "--json"});
    EXPECT_EQ(result.exitCode, 10);
    Json documents = Json::parse(result.output);
    ASSERT_EQ(documents.size(), 4u);
    EXPECT_EQ(documents[0], Json::parse(R"({"file": "small.bmp", "status": 0, "format": 23, "formatName": "BMP",
        "kind": "rgb", "width": 5, "height": 3, "resolutionX": 299.999, "resolutionY": 299.999, "multiplierX": 1,
        "multiplierY": 1, "orientation": 0, "firstPart": true, "colours": null, "complaint": null,
        "description": "PBM plus"})"));
    EXPECT_EQ(documents[1].at("status"), 10);
    EXPECT_TRUE(documents[2].at("error").is_string());
    EXPECT_EQ(documents[3].at("colours"), 5);
    EXPECT_NE(run({"info", "small.bmp"}).output.find("299.999 x 299.999 dots per inch"), string::npos);
}

TEST_F(Tool, FindsTheDesignBehindItsPartsAndPrograms)
{
    Picture picture = noisePicture(kindBilevel, 40, 9, 0, 1);
    files.write("rose.j01", encodeJc5(picture, {.layout = {0x10101}, .pickCount = 5}));
    files.write("rose.j02", encodeJc5(picture, {.layout = {0x10101}, .firstPick = 5}));
    EXPECT_EQ(run({"convert", "rose.j02", "d.png"}).output,
              "rose.j02: JC5 Staubli, 40 x 9, 2 colours, the whole design from rose.j01 on -> d.png\n");
    EXPECT_TRUE(load(path("d.png")).pixels() == picture.rows);

    // Names that detection cannot know.
    Picture wide = noisePicture(kindBilevel, 1344, 4, 0, 1);
    files.write("d.1344", encodeJc4Network(wide));
    files.write("d.jc4", encodeJc4Email(wide));
    for (const auto& [name, format] : {std::pair{"d.1344", "JC4 network"}, std::pair{"d.jc4", "JC4 email"}})
        EXPECT_NE(run({"info", name}).output.find(format), string::npos) << name;

    // Extensions that several formats share: the others are tried in the order of the catalogue.
    const Bytes varitex = encodeVaritex(picture), iam = encodeIamPat(noisePicture(kindIndexed, 7, 3, 256, 1));
    for (const auto& [bytes, name] : {std::pair(&varitex, "Varitex PAT (26)"), {&iam, "IAM .PAT (27)"}}) {
        files.write("d.pat", *bytes);
        const string text = string(name) + ", refused as Nedgraphics .PAT (48)\n";
        EXPECT_NE(run({"info", "d.pat"}).output.find(text), string::npos) << name;
        EXPECT_EQ(run({"convert", "d.pat", "d.png"}).exitCode, 0);
    }
    EXPECT_EQ(Json::parse(run({"info", "--json", "d.pat"}).output)[0].at("refusedBy"), 48);
    // Those that detection never finds.
    files.write("srose.p", encodeTisHeader(picture));
    files.write("drose.s01", encodeTisPart(picture));
    files.write("rose.eat", encodeEat(noisePicture(kindIndexed, 9, 9, 16, 1)));
    files.write("rose.any", encodeColorado(noisePicture(kindIndexed, 9, 9, 16, 1)));
    for (const auto& [name, format] : {std::pair("srose.p", "TIS/Actrom"),
                                       {"drose.s01", "TIS/Actrom"},
                                       {"rose.eat", "EAT"},
                                       {"rose.any", "Colorado"}})
        EXPECT_NE(run({"convert", name, "d.png"}).output.find(format), string::npos) << name;

    files.write("rose.zc5", encodeZc5(picture));
    EXPECT_EQ(run({"convert", "rose.zc5", "d.png"}).exitCode, 0);
    Result result = run({"--gzip", "", "convert", "rose.zc5", "d.png"});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_NE(result.errors.find("Debian package gzip"), string::npos) << result.errors;
}

TEST_F(Tool, HasExamplesThatWork)
{
    files.write("small.bmp", encodeBmp(small));
    Result host = finish(start({"small.bmp"}, TLOAD_EXAMPLES "/example_host"));
    EXPECT_EQ(host.exitCode, 0);
    EXPECT_EQ(host.output, "P6\n5 3\n255\n" + string(small.rows.begin(), small.rows.end()));
    EXPECT_NE(finish(start({"gone.bmp"}, TLOAD_EXAMPLES "/example_host")).exitCode, 0);

    Picture bits{.kind = pictureBilevel, .width = 3, .height = 1, .rows = {0xA0}};
    files.write("bits.bmp", encodeBmp(bits));
    EXPECT_EQ(finish(start({"bits.bmp"}, TLOAD_EXAMPLES "/example_minimal")).output,
              "BMP, 3 x 1, lifted ends in row 1: 2\n");
}
