// Runs loomfile as a user would and looks at what it prints, writes and leaves behind.
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
#include "samples/palette_writer.h"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"
#include "samples/tis_writer.h"
#include "samples/vector_writer.h"
#include "samples/zip_writer.h"
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

    pid_t start(vector<string> arguments, const string& program = LOOMFILE_BINARY) const
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
    Result make(vector<string> arguments) const
    {
        arguments.push_back("--force");
        return run(arguments);
    }
    // In the folder of the files, by the shell.
    int shell(const string& line) const
    {
        const int status = system(("cd '" + files.path + "' && loomfile() { '" LOOMFILE_BINARY "' \"$@\"; } && " + line +
                                   " 2>'" + prints.path + "/errors'")
                                      .c_str());
        return WEXITSTATUS(status);
    }
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
        Result result = make({"convert", "a.bmp", "a.png"});
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
        EXPECT_EQ(std::pair(converted.resX, converted.resY), std::pair(299999u, 149987u));
        EXPECT_TRUE(std::equal(picture.palette.begin(), picture.palette.end(), converted.palette.begin()));
    }
}

TEST_F(Tool, KeepsResolutionAndMultipliers)
{
    files.write("first.png",
                encodePng(small, {.resolution = PngResolution{3937, 1, 1}, .texts = {{"MulX", "7"}, {"MulY", "12"}}}));
    EXPECT_EQ(run({"convert", "first.png", "second.png"}).exitCode, 0);
    EXPECT_EQ(make({"convert", "second.png", "second.png"}).exitCode, 0); // onto itself
    for (const char* name : {"first.png", "second.png"}) {
        Loaded loaded = load(path(name));
        EXPECT_EQ(vector<u32>({loaded.resX, loaded.resY, loaded.mulX, loaded.mulY}), vector<u32>({100000, 25, 7, 12}));
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
    const Bytes zc5 = encodeZc5(noisePicture(kindBilevel, 40, 900, 0, 1));
    files.write("cut.zc5", Bytes(zc5.begin(), zc5.end() - 900));
    files.write("header.png", "\x89PNG\r\n\x1A\nIHDR");
    files.write("interlaced.gif", encodeGif(motifPicture(kindIndexed, 9, 9), {.interlaced = true}));
    files.write("loom.apf", "no known format");
    files.write("empty.jpg", "\xFF\xD8\xFF\xD9 and no picture");
    files.write("old.png", "old");
    files.write("random.foo", "no known format");
    ASSERT_EQ(run({"convert", "--", "-small.bmp", "good.png"}).exitCode, 0);
    string damaged = get(path("good.png"));
    damaged[damaged.find("IDAT") + 6] ^= 0x55;
    files.write("damaged.png", damaged);
    const std::set<string> before = names();

    const std::tuple<vector<string>, int, string> cases[] = {
        {{"convert", "none.gif", "old.png"}, 3, "loomfile: none.gif: the file cannot be opened (No such file"},
        {{"convert", string(5000, 'a'), "old.png"}, 3, "4095"},
        {{"convert", "header.png", "old.png"}, 3, "header is incomplete"},
        {{"convert", "damaged.png", "old.png"}, 4, "PNG data cannot be decoded"},
        {{"convert", "interlaced.gif", "old.png"}, 5, "variant"},
        {{"convert", "loom.apf", "old.png"}, 5, "the format CSS JacquArt is recognised but its files cannot be read"},
        {{"convert", "empty.jpg", "old.png"}, 6, "not a JPEG file"}, // the decoder prints by itself
        {{"convert", "random.foo", "old.png"}, 6, "the format is not recognised"},
        {{"convert", "--format", "23", "random.foo", "old.png"}, 6, "not a BMP file"},
        {{"convert", "cut.bmp", "old.png"}, 7, "data end early"},
        {{"convert", "notes.txt", "old.png"}, 10, "by its name (.txt)"},
        {{"info", strange}, 10, "loomfile: escape?[31m???.txt: "},
        {{"convert", "x", "old.png"}, 11, "./x"},
        {{"convert", "./x", "directory.gif"}, 12, "directory"},
        {{"convert", "-small.bmp", "-small.bmp"}, 64, "--help"},
        {{"convert", "./-small.bmp", "./-small.bmp"}, 12, "this is the file that is read"},
        {{"convert", "cut.zc5", "old.png"}, 7, "the program that opens such files failed"},
        {{"render", "good.png", "old.png", "--zoom", "nan"}, 64, "a number from 0.001 to 1000"},
        {{"render", "good.png", "old.png", "--zoom", "1e-3", "--size", "9999x9"}, 64, "larger zoom"},
        {{"render", "good.png", "old.png", "--sett", "20x0"}, 64, "--sett"},
        {{"seam", "cut.bmp"}, 7, "data end early"},
        {{"quantize", "x", "old.png", "--palette", "good.png"}, 5, "good.png: this file has no palette"},
        {{"quantize", "good.png", "old.png", "--keep", "3"}, 64, "--palette"},
        {{"quantize", "good.png", "old.png", "--size", "3x0"}, 64, "300x200"},
        {{"quantize", "good.png", "old.png", "--colours", "0"}, 64, "--colours"},
        {{}, 64, "--help"},
        {{"convert", "x", "old.png", "third"}, 64, "third"},
    };
    for (const auto& [arguments, exitCode, words] : cases) {
        const Result result = run(arguments);
        SCOPED_TRACE(result.errors);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(result.output, "");
        EXPECT_NE(result.errors.find(words), string::npos) << words;
        EXPECT_TRUE(result.errors.starts_with("loomfile: ") && result.errors.ends_with(".\n"));
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
        EXPECT_EQ(get(path("old.png")), "old");
        EXPECT_EQ(names(), before);
    }
}

TEST_F(Tool, QuantizesPictures)
{
    const Picture few = noisePicture(kindRGB, 30, 20, 9, 1);
    Picture palette = noisePicture(kindIndexed, 8, 8, 4, 2);
    files.write("few.bmp", encodeBmp(few));
    files.write("alpha.png", encodePng(noisePicture(kindRGBA, 30, 20, 0, 3)));
    files.write("palette.png", encodePng(palette));
    EXPECT_EQ(run({"quantize", "few.bmp", "a.png", "--colours", "9"}).output,
              "few.bmp: BMP, 30 x 20, true colour -> a.png: 9 colours\n");
    auto indexed = [&] {
        const Loaded loaded = load(path("a.png"));
        return Picture{loaded.kind, loaded.width, loaded.height, loaded.pixels(), loaded.palette};
    };
    EXPECT_EQ(indexed().kind, pictureIndexed);
    EXPECT_TRUE(toRgb(indexed()).rows == few.rows);

    // Colours of the palette alone, and the noise is the same every time.
    const vector<string> dithered = {"quantize", "alpha.png", "a.png", "--palette", "palette.png", "--dither",
                                     "16",       "--noise",   "9",     "--size",    "45x15"};
    EXPECT_EQ(run(dithered).exitCode, 0);
    const Picture first = indexed();
    EXPECT_EQ(std::pair(first.width, first.height), std::pair(45u, 15u));
    EXPECT_LT(*std::max_element(first.rows.begin(), first.rows.end()), 4);
    EXPECT_TRUE(std::equal(palette.palette.begin(), palette.palette.end(), first.palette.begin()));
    run(dithered);
    EXPECT_TRUE(indexed().rows == first.rows);
    EXPECT_EQ(
        run({"quantize", "alpha.png", "a.png", "--palette", "palette.png", "--keep", "4", "--colours", "7"}).output,
        "alpha.png: PNG, 30 x 20, true colour with transparency -> a.png: 7 colours\n");
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

// Designs of the same name meet no others, and nothing stays behind, also when a signal ends the program.
TEST_F(Tool, HasAFolderOfItsOwnForHelpers)
{
    fs::create_directories(path("tmp"));
    fs::create_directories(path("other"));
    const Picture pictures[] = {noisePicture(kindBilevel, 400, 30, 0, 1), noisePicture(kindBilevel, 400, 30, 0, 2)};
    files.write("rose.qtz", encodeZip({{"rose.qte", encodeQte(pictures[0])}, {"readme", {1}}}));
    files.write("other/rose.qtz", encodeQtz(pictures[1], "rose.qte"));
    files.write("tmp/rose.qte", "somebody's");
    for (const char* name : {"rose.qtz", "other/rose.qtz"}) {
        EXPECT_EQ(run({"--tmp-dir", "tmp", "convert", name, "a.png"}).exitCode, 0) << name;
        EXPECT_TRUE(load(path("a.png")).pixels() == pictures[name[0] == 'o'].rows);
    }
    files.write("a.svg", encodeSvg(motifPicture(kindIndexed, 30, 20)));
    const pid_t process = start({"--tmp-dir", "tmp", "--vector-preview", "touch started; sleep 2; :", "info", "a.svg"});
    while (!fs::exists(path("started")))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(process, SIGTERM);
    EXPECT_EQ(finish(process).exitCode, -SIGTERM);
    EXPECT_EQ(get(path("tmp/rose.qte")), "somebody's");
    EXPECT_EQ(std::distance(fs::directory_iterator(path("tmp")), {}), 1);
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
        "multiplierY": 1, "orientation": 0, "firstPart": true, "colours": null, "refusedBy": null, "complaint": null,
        "description": "PBM plus"})"));
    EXPECT_EQ(documents[1].at("status"), 10);
    EXPECT_TRUE(documents[2].at("error").is_string());
    EXPECT_EQ(documents[3].at("colours"), 5);
}

TEST_F(Tool, FindsTheDesignBehindItsPartsAndPrograms)
{
    Picture picture = noisePicture(kindBilevel, 40, 9, 0, 1);
    files.write("rose.j01", encodeJc5(picture, {.layout = {0x10101}, .pickCount = 5}));
    files.write("rose.j02", encodeJc5(picture, {.layout = {0x10101}, .firstPick = 5}));
    EXPECT_EQ(run({"convert", "rose.j02", "d.png"}).output,
              "rose.j02: JC5 Staubli, 40 x 9, 2 colours, the whole design from rose.j01 on -> d.png\n");
    EXPECT_TRUE(load(path("d.png")).pixels() == picture.rows);

    // Extensions that several formats share: the others are tried in the order of the catalogue.
    const Bytes varitex = encodeVaritex(picture), iam = encodeIamPat(noisePicture(kindIndexed, 7, 3, 256, 1));
    for (const auto& [bytes, name] : {std::pair(&varitex, "Varitex PAT (26)"), {&iam, "IAM .PAT (27)"}}) {
        files.write("d.pat", *bytes);
        const string text = string(name) + ", refused as Nedgraphics .PAT (48)\n";
        EXPECT_NE(run({"info", "d.pat"}).output.find(text), string::npos) << name;
        EXPECT_EQ(run({"convert", "d.pat", "d.png"}).exitCode, 0);
    }
    // Those that detection never finds, and names that it cannot know.
    files.write("d.1344", encodeJc4Network(noisePicture(kindBilevel, 1344, 4, 0, 1)));
    files.write("d.jc4", encodeJc4Email(noisePicture(kindBilevel, 1344, 4, 0, 1)));
    files.write("srose.p", encodeTisHeader(picture));
    files.write("drose.s01", encodeTisPart(picture));
    files.write("rose.eat", encodeEat(noisePicture(kindIndexed, 9, 9, 16, 1)));
    files.write("rose.any", encodeColorado(noisePicture(kindIndexed, 8192, 256, 1, 1))); // begins as UPT
    const std::pair<const char*, const char*> hidden[] = {{"d.1344", "JC4 network"}, {"d.jc4", "JC4 email"},
                                                          {"srose.p", "TIS/Actrom"}, {"drose.s01", "TIS/Actrom"},
                                                          {"rose.eat", "EAT"},       {"rose.any", "Colorado"}};
    for (const auto& [name, format] : hidden)
        EXPECT_NE(run({"convert", name, "d.png"}).output.find(format), string::npos) << name;

    files.write("rose.zc5", encodeZc5(picture));
    EXPECT_EQ(run({"convert", "rose.zc5", "d.png"}).exitCode, 0);
    Result result = run({"--gzip", "", "convert", "rose.zc5", "d.png"});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_NE(result.errors.find("Debian package gzip"), string::npos) << result.errors;
}

TEST_F(Tool, FindsWhatDrawsPages)
{
    const Picture motif = motifPicture(kindIndexed, 30, 20);
    files.write("a b.svg", encodeSvg(motif));
    files.write("a b.pdf", encodePdf(motif));
    for (const char* name : {"a b.svg", "a b.pdf"}) {
        const Result refused = run({"--vector-preview", "", "info", name});
        EXPECT_EQ(refused.exitCode, 6);
        EXPECT_NE(refused.errors.find("Debian packages graphicsmagick"), string::npos) << refused.errors;
        if (system("command -v gm >/dev/null && command -v gs >/dev/null") != 0)
            continue;
        EXPECT_EQ(run({"convert", name, "a.png"}).errors, "") << name;
        const Loaded shown = load(path("a.png"));
        EXPECT_TRUE(toRgb({shown.kind, shown.width, shown.height, shown.pixels(), shown.palette}).rows ==
                    toRgb(motif).rows);
    }
}

TEST_F(Tool, RendersUprightAndTiled)
{
    // 24 ends and picks per cm are 60.96 per inch.
    const vector<string> arguments = {"render", "a.png",  "b.png", "--dpi", "60.96", "--zoom",
                                      "2",      "--size", "90x50", "--at",  "-7,5"};
    for (u32 kind : {kindBilevel, kindIndexed, kindRGB, kindRGBA}) {
        const Picture picture = noisePicture(kind, 17, 9, kind == kindIndexed ? 7 : 0, kind);
        files.write("a.png", encodePng(picture));
        EXPECT_EQ(run(arguments).output, "a.png: PNG, a repeat of 7.1 x 3.8 mm by the sett -> b.png\n");
        const Loaded cloth = load(path("b.png"));
        ASSERT_EQ(cloth.rows.size(), 90u * 50 * 3);
        EXPECT_EQ(cloth.resX, 60960u);
        const Picture colours = toRgb(picture);
        for (u32 i = 0; i < cloth.rows.size(); i++) {
            const u32 column = (i / 3 % 90 + 34 - 7) / 2 % 17, row = (i / 270 + 5) / 2 % 9;
            ASSERT_EQ(cloth.rows[i], colours.rows[3 * (17 * row + column) + i % 3]) << kind << " " << i;
        }
    }
    // A spot that no sample of a display pixel at the left or lower edge, 5 picture pixels wide, may stray into.
    Picture spot = blankPicture(kindBilevel, 90, 90);
    for (u32 y = 10; y < 20; y++)
        spot.rows[12 * y + 9] = 0xFF;
    files.write("a.png", encodePng(spot));
    for (const char* name : {"c.png", "d.png"})
        EXPECT_EQ(run({"render", "a.png", name, "--dpi", "60.96", "--zoom", "0.2", "--size", "18x18"}).exitCode, 0);
    EXPECT_EQ(get(path("c.png")), get(path("d.png")));
    const Loaded cloth = load(path("c.png"));
    for (u32 i = 0; i < 18; i++)
        EXPECT_EQ(cloth.rows[54 * i] & cloth.rows[54 * 17 + 3 * i], 255) << i;
}

TEST_F(Tool, MeasuresSeams)
{
    Picture shaded = blankPicture(kindRGB, 30, 12);
    for (u32 i = 0; i < shaded.rows.size(); i++)
        shaded.rows[i] = static_cast<u8>(i / 3 % 30 * 8);
    files.write("a.bmp", encodeBmp(shaded));
    Json seam = Json::parse(run({"seam", "--json", "a.bmp"}).output);
    // Nine steps of 8 and one of 232, in 11 rows and 3 channels.
    EXPECT_EQ(seam.at("seamAcross"), 232 * 33 * 100 / ((9 * 8 + 232) * 33 / 10) - 100);
    EXPECT_TRUE(seam.at("seamAlong").is_null());
}

TEST_F(Tool, ListsColours)
{
    const vector<u8> colours = {1, 2, 3, 254, 255, 0, 0, 0, 0};
    files.write("small.aco", encodeAco(acoRecords(colours)));
    files.write("picture.bmp", encodeBmp({pictureIndexed, 2, 2, {1, 1, 0, 1}, colours}, {.paletteEntries = 3}));
    EXPECT_EQ(run({"palette", "small.aco"}).output, "small.aco\n  Number  Colour   Red Green Blue\n"
                                                    "       0  #010203    1     2    3\n"
                                                    "       1  #FEFF00  254   255    0\n"
                                                    "       2  #000000    0     0    0\n");
    Json document = Json::parse(run({"palette", "picture.bmp", "--json", "--gpl", "c.gpl"}).output);
    EXPECT_EQ(document["colours"].size(), 3u);
    EXPECT_EQ(document["colours"][1],
              Json::parse(R"({"number": 1, "hex": "#FEFF00", "red": 254, "green": 255, "blue": 0, "pixels": 3})"));
    EXPECT_TRUE(std::equal(colours.begin(), colours.end(), load(path("c.gpl")).palette.begin()));

    // More than a palette holds are a picture; what fills its last row is no colour.
    vector<u8> many = noisePicture(pictureRgb, 300, 1, 0, 1).rows;
    files.write("many.aco", encodeAco(acoRecords(many)));
    EXPECT_EQ(run({"palette", "many.aco", "--gpl", "m.gpl"}).output,
              "many.aco: Photoshop .ACO, 300 colours -> m.gpl\n");
    EXPECT_TRUE(std::equal(many.begin(), many.begin() + 768, load(path("m.gpl")).palette.begin()));
    files.write("rgb.bmp", encodeBmp(small));
    EXPECT_EQ(run({"palette", "rgb.bmp"}).exitCode, 5);
}

TEST_F(Tool, ChangesTheToneAsTheLibraryDoes)
{
    const Picture picture = noisePicture(pictureRgba, 19, 9, 0, 3);
    Picture dull = noisePicture(pictureIndexed, 9, 9, 4, 1);
    dull.palette = {10, 10, 10, 20, 30, 40, 30, 50, 70, 60, 110, 60};
    files.write("a.png", encodePng(picture));
    files.write("b.bmp", encodeBmp(dull, {.paletteEntries = 4}));
    for (int checker : {0, 1}) {
        ASSERT_EQ(run({"convert", "a.png", "c.png", "--background", checker != 0 ? "checker" : "white"}).exitCode, 0);
        auto* flat = static_cast<u8*>(malloc(picture.rows.size()));
        std::copy(picture.rows.begin(), picture.rows.end(), flat);
        i32 stride = 19 * 4;
        flat = collapseRGBA(flat, 19, 9, &stride, checker);
        const Loaded converted = load(path("c.png"));
        EXPECT_EQ(converted.kind, kindRGB);
        EXPECT_TRUE(converted.pixels() == vector<u8>(flat, flat + 19 * 9 * 3));
        free(flat);
    }
    EXPECT_EQ(run({"convert", "--stretch", "b.bmp", "b.png"}).output, "b.bmp: BMP, 9 x 9, 4 colours -> b.png\n");
    const u8 stretched[] = {0, 0, 0, 51, 51, 127, 102, 102, 255, 255, 255, 212};
    EXPECT_TRUE(std::equal(std::begin(stretched), std::end(stretched), load(path("b.png")).palette.begin()));
}

TEST_F(Tool, HasExamplesThatWork)
{
    files.write("small.bmp", encodeBmp(small));
    EXPECT_EQ(finish(start({"small.bmp", "a.ppm"}, TLOAD_EXAMPLES "/example_host")).exitCode, 0);
    EXPECT_EQ(get(path("a.ppm")), "P6\n5 3\n255\n" + string(small.rows.begin(), small.rows.end()));

    files.write("bits.bmp", encodeBmp({pictureBilevel, 3, 1, {0xA0}, {}}));
    EXPECT_EQ(finish(start({"bits.bmp"}, TLOAD_EXAMPLES "/example_minimal")).output,
              "BMP, 3 x 1, lifted ends in row 1: 2\n");
}
