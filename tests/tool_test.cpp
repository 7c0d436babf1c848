// Runs loomfile as a user would and looks at what it prints, writes and leaves behind.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
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
#include "samples/pcx_writer.h"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"
#include "samples/takemura_writer.h"
#include "samples/tis_writer.h"
#include "samples/vector_writer.h"
#include "samples/wif_writer.h"
#include "samples/zip_writer.h"
#include "tests/tool_support.h"

static const Picture small = noisePicture(kindRGB, 5, 3, 0, 1);

TEST_F(Tool, ConvertsEveryKindExactly)
{
    for (u32 kind : {kindBilevel, kindIndexed, kindRGB, kindRGBA}) {
        Picture picture = noisePicture(kind, 21, 9, kind == kindIndexed ? 7 : 0, kind);
        files.write("a.bmp",
                    encodeBmp(picture, {.pixelsPerMetreX = 11811, .pixelsPerMetreY = 5905, .blackFirst = true}));
        ToolResult result = make({"convert", "a.bmp", "a.png"});
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

// Lifts come back bit for bit, whichever way they are stored.
TEST_F(Tool, WritesPicturesAndDraftsOfLifts)
{
    Picture picture = noisePicture(kindBilevel, 21, 9, 0, 1);
    for (size_t i = 2; i < picture.rows.size(); i += 3)
        picture.rows[i] &= 0xF8;
    files.write("a.bmp", encodeBmp(picture, {.pixelsPerMetreX = 11811, .pixelsPerMetreY = 5905}));
    files.write("a.wif", encodeWif(motifDraft()));
    for (const char* name : {"a.bmp", "a.wif"}) {
        const Bytes rows = load(path(name), {.fill = 0}).rows;
        for (const string target : {"b.bmp", "c.tif", "d.wif"}) {
            const ToolResult made = make({"convert", name, target});
            EXPECT_EQ(std::pair(made.exitCode, made.errors), std::pair(0, string()));
            EXPECT_NE(made.output.find(" -> " + target), string::npos);
            EXPECT_EQ(run({"compare", name, target}).exitCode, 0) << target;
            EXPECT_EQ(make({"convert", target, "e.bmp"}).exitCode, 0);
            EXPECT_TRUE(load(path("e.bmp"), {.fill = 0}).rows == rows) << target;
        }
        const Loaded bmp = load(path("b.bmp"), {.fill = 0}), tiff = load(path("c.tif"), {.fill = 0});
        EXPECT_TRUE(bmp.rows == rows && bmp.kind == kindBilevel);
        ASSERT_EQ(tiff.rows.size(), u64{tiff.width} * tiff.height); // a byte a pixel
        EXPECT_EQ(std::pair(tiff.palette[0], tiff.palette[3]), std::pair(u8{255}, u8{0}));
        for (u32 i = 0; i < tiff.rows.size(); i++)
            ASSERT_EQ(tiff.rows[i],
                      rows[i / tiff.width * bmp.rowBytes + i % tiff.width / 8] >> (7 - i % tiff.width % 8) & 1);
        if (name == string("a.bmp")) {
            EXPECT_EQ(std::pair(bmp.resX, bmp.resY), std::pair(299999u, 149987u));
            EXPECT_EQ(std::pair(tiff.resX, tiff.resY), std::pair(299999u, 149987u));
        }
    }
    EXPECT_EQ(make({"convert", "a.wif", "d.wif"}).output,
              "a.wif: WIF, 384 x 384, 2 colours -> d.wif: 24 shafts, 24 treadles\n");
}

TEST_F(Tool, ComparesFiles)
{
    Picture picture = noisePicture(kindBilevel, 40, 30, 0, 1);
    files.write("a.bmp", encodeBmp(picture));
    files.write("a.png", encodePng(picture));
    picture.rows[5 * 7 + 2] ^= 0x14;
    picture.rows[5 * 9] ^= 0x80;
    files.write("b.bmp", encodeBmp(picture));
    const ToolResult same = run({"compare", "a.bmp", "a.png", "-o", "d.png"});
    EXPECT_EQ(std::pair(same.exitCode, same.output.substr(0, same.output.find('\n'))),
              std::pair(0, string("a.bmp and a.png: the same, 40 x 30, lifts compared")));
    const ToolResult result = make({"compare", "a.bmp", "b.bmp", "-o", "d.png"});
    EXPECT_EQ(result.exitCode, 1);
    for (const char* words :
         {"a.bmp and b.bmp differ", "40 x 30 and 40 x 30", "3 of the 1200 differ", "pick 8, end 20"})
        EXPECT_NE(result.output.find(words), string::npos) << words << result.output;
    const Loaded drawn = load(path("d.png"));
    ASSERT_EQ(std::pair(drawn.width, drawn.height), std::pair(40u, 30u));
    u32 coloured = 0;
    for (u32 i = 0; i < drawn.rows.size(); i++) {
        const u8* colour = &drawn.palette[3 * drawn.rows[i]];
        const bool isOrange = colour[0] > colour[2], isBlue = colour[0] < colour[2];
        coloured += isOrange || isBlue ? 1 : 0;
        EXPECT_FALSE(isOrange && isDark(picture, i % 40, i / 40)) << i;
        EXPECT_FALSE(isBlue && !isDark(picture, i % 40, i / 40)) << i;
    }
    EXPECT_EQ(coloured, 3u);
    picture.height = 20;
    picture.rows.resize(5 * 20);
    files.write("c.bmp", encodeBmp(picture));
    EXPECT_NE(run({"compare", "b.bmp", "c.bmp"}).output.find("none of the 800 that both have differ"), string::npos);

    // Colours, not the numbers that they have in a palette.
    Picture indexed = noisePicture(kindIndexed, 9, 9, 5, 1);
    files.write("e.png", encodePng(indexed));
    files.write("f.png", encodePng(toRgb(indexed)));
    EXPECT_EQ(run({"compare", "e.png", "f.png"}).exitCode, 0);
    indexed.palette[3U * indexed.rows[9 * 8 + 8]] ^= 1;
    files.write("g.png", encodePng(indexed));
    EXPECT_EQ(run({"compare", "f.png", "g.png"}).exitCode, 1);
    EXPECT_EQ(run({"compare", "a.bmp", "none"}).exitCode, 3);
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
    const string strange = "escape\x1B[31m\n\x9B\xC2\x9B\xE0\x80\x9B\xED\xA0\x80\xC3\xA4.txt";
    const Bytes bmp = encodeBmp(small);
    fs::create_directory(path("directory.png"));
    files.write("notes.txt", "nothing to see");
    files.write(strange, "nothing to see");
    files.write("x", bmp);
    files.write("bitmap.png", bmp);
    files.write("yarns.gpl", "GIMP Palette\n1 2 3 yarn\n");
    files.write("a.svg", encodeSvg(motifPicture(kindIndexed, 9, 9)));
    files.write("-small.bmp", bmp);
    files.write("bilevel.bmp", encodeBmp(noisePicture(kindBilevel, 300, 90, 0, 1)));
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
        {{"convert", "none.gif", "new.png"}, 3, "loomfile: none.gif: the file cannot be opened (No such file"},
        {{"none.gif"}, 3, "loomfile: none.gif: the file cannot be opened (No such file"},
        {{"convert", string(5000, 'a'), "new.png"}, 3, "longer than 4000"},
        {{"convert", "header.png", "new.png"}, 3, "header is incomplete"},
        {{"convert", "damaged.png", "new.png"}, 4, "PNG data cannot be decoded"},
        {{"convert", "--libtload-only", "interlaced.gif", "new.png"}, 5, "recognised as GIF, but not read: interlaced"},
        {{"convert", "loom.apf", "new.png"}, 5, "the format CSS JacquArt is recognised but its files cannot be read"},
        {{"convert", "empty.jpg", "new.png"}, 6, "not a JPEG file"}, // the decoder prints by itself
        {{"convert", "random.foo", "new.png"}, 6, "the format is not recognised"},
        {{"convert", "--format", "act .wjl", "random.foo", "new.png"}, 6, "not an Act .WJL file"},
        {{"convert", "--force", "cut.bmp", "old.png"}, 7, "damaged"},
        {{"convert", "notes.txt", "new.png"}, 10, "by its name (.txt)"},
        {{"info", strange}, 10, "loomfile: escape?[31m?????????\xC3\xA4.txt: "},
        {{"convert", "", "new.png"}, 11, "the file name is empty"},
        {{"convert", "x", "directory.png"}, 12, "directory"},
        {{"convert", "x", "old.png"}, 12, "--force"},
        {{"palette", "yarns.gpl", "--gpl", "yarns.gpl"}, 12, "--force"},
        {{"convert", "--force", "bitmap.png", "bitmap.png"}, 12, "this is the file that is read"},
        {{"--vector-preview", "echo 'No space left on device' >&2; false", "info", "a.svg"}, 12, "the disk is full"},
        {{"convert", "cut.zc5", "new.png"}, 7, "the program that opens such files failed"},
        {{"seam", "cut.bmp"}, 7, "damaged"},
        {{"quantize", "x", "new.png", "--palette", "good.png"}, 5, "good.png: this file has no palette"},
        // What is not understood.
        {{}, 64, "say what to do"},
        {{"convrt", "x", "new.png"}, 64, "did you mean convert?"},
        {{"nothing"}, 64, "neither a command nor a file 'nothing'"},
        {{"convert", "x", "new.png", "third", "fourth"}, 64, "not expected: third fourth"},
        {{"convert", "x", "cut.bmp"}, 12, "--force"}, // of a pattern of names
        {{"convert", "x", "new.wif"}, 5, "in black and white"},
        {{"convert", "x", "new.bmp"}, 5, "true colour; write a .png"},
        {{"convert", "bilevel.bmp", "new.wif"}, 5, "needs 300 shafts, a draft has at most 256"},
        {{"compare", "x", "cut.bmp"}, 7, "damaged"},
        {{"compare", "x", "bitmap.png", "-o", "x"}, 64, "has to end in .png"},
        {{"convert", "x", "new.jpg"}, 64, "has to end in .png, .wif, .bmp, .tif or .tiff"},
        {{"convert", "x", "png:-"}, 64, "has to end in .png"},
        {{"convert", "-small.bmp", "new.png"}, 64, "write a file of this name as './-small.bmp', or behind '--'"},
        {{"info", "--format", "pat", "x"}, 64, "26 = Varitex PAT, 27 = IAM .PAT"},
        {{"info", "--format", "71", "x"}, 64, "'71' is no format"},
        {{"render", "good.png", "new.png", "--zoom", "nan"}, 64, "a number from 0.001 to 1000"},
        {{"render", "good.png", "new.png", "--zoom", "1e-3", "--size", "9999x9"}, 64, "larger zoom"},
        {{"render", "good.png", "new.png", "--sett", "20x0"}, 64, "--sett"},
        {{"render", "good.png", "new.png", "--size", "65521x1"}, 64, "two whole numbers from 1 to 65520"},
        {{"quantize", "good.png", "new.png", "--size", "3x0"}, 64, "two whole numbers from 1 to 65520"},
        {{"quantize", "good.png", "new.png", "--keep", "3"}, 64, "--palette"},
        {{"quantize", "good.png", "new.png", "--colours", "0"}, 64, "--colours"},
    };
    for (const auto& [arguments, exitCode, words] : cases) {
        const ToolResult result = run(arguments);
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
    EXPECT_EQ(make(dithered).exitCode, 0);
    const Picture first = indexed();
    EXPECT_EQ(std::pair(first.width, first.height), std::pair(45u, 15u));
    EXPECT_LT(*std::max_element(first.rows.begin(), first.rows.end()), 4);
    EXPECT_TRUE(std::equal(palette.palette.begin(), palette.palette.end(), first.palette.begin()));
    make(dithered);
    EXPECT_TRUE(indexed().rows == first.rows);
    EXPECT_EQ(
        make({"quantize", "alpha.png", "a.png", "--palette", "palette.png", "--keep", "4", "--colors", "7"}).output,
        "alpha.png: PNG, 30 x 20, true colour with transparency -> a.png: 7 colours\n");
}

TEST_F(Tool, LeavesNothingWhenInterrupted)
{
    // Takes seconds to write.
    files.write("large.bmp", encodeBmp(noisePicture(kindRGB, 6000, 3000, 0, 1)));
    files.write("old.png", "old");
    const pid_t process = start({"convert", "--force", "large.bmp", "old.png"});
    while (names().size() == 2)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(process, SIGTERM);
    EXPECT_EQ(finish(process).exitCode, -SIGTERM);
    EXPECT_EQ(names(), (std::set<string>{"large.bmp", "old.png"}));
    EXPECT_EQ(get(path("old.png")), "old");
}

// The keys of a terminal reach a helper too, for which the program waits.
TEST_F(Tool, DiesOfWhatInterruptsItsHelper)
{
    fs::create_directory(path("tmp"));
    files.write("a.svg", encodeSvg(motifPicture(kindIndexed, 9, 9)));
    for (int number : {SIGINT, SIGQUIT, SIGINT}) {
        const pid_t process = start(
            {"--tmp-dir", "tmp", "--vector-preview", "touch $TMPDIR/started; sleep 20; :", "info", "a.svg", "a.svg"},
            LOOMFILE_BINARY, true);
        while (!hasHelperStarted())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        kill(-process, number);
        EXPECT_EQ(finish(process).exitCode, -number);
        EXPECT_TRUE(fs::is_empty(path("tmp")));
    }
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
        EXPECT_EQ(make({"--tmp-dir", "tmp", "convert", name, "a.png"}).exitCode, 0) << name;
        EXPECT_TRUE(load(path("a.png")).pixels() == pictures[name[0] == 'o'].rows);
    }
    files.write("a.svg", encodeSvg(motifPicture(kindIndexed, 30, 20)));
    const pid_t process =
        start({"--tmp-dir", "tmp", "--vector-preview", "touch $TMPDIR/started; sleep 2; :", "info", "a.svg"});
    while (!hasHelperStarted())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(process, SIGTERM);
    EXPECT_EQ(finish(process).exitCode, -SIGTERM);
    EXPECT_EQ(get(path("tmp/rose.qte")), "somebody's");
    EXPECT_EQ(std::distance(fs::directory_iterator(path("tmp")), {}), 1);
}

TEST_F(Tool, TellsWhatFilesHold)
{
    files.write("small.bmp", encodeBmp(small, {.pixelsPerMetreX = 11811, .pixelsPerMetreY = 11811}));
    files.write("none.txt", "nothing to see");
    files.write("palette.bmp", encodeBmp(noisePicture(kindIndexed, 9, 9, 5, 1), {.paletteEntries = 5}));
    ToolResult result = run({"identify", "small.bmp", "none.txt", "gone.bmp", "palette.bmp", "--json"});
    EXPECT_EQ(result.exitCode, 10); // the highest
    Json documents = Json::parse(result.output);
    ASSERT_EQ(documents.size(), 4u);
    EXPECT_EQ(documents[0], Json::parse(R"({"file": "small.bmp", "status": 0, "format": 23, "formatName": "BMP",
        "kind": "rgb", "width": 5, "height": 3, "resolutionX": 299.999, "resolutionY": 299.999, "multiplierX": 1,
        "multiplierY": 1, "orientation": 0, "firstPart": true, "firstPartFile": null, "colours": null,
        "refusedBy": null, "candidates": [23], "doubtful": false, "secondReading": false, "fileBytes": 102,
        "remarks": [], "draft": null,
        "description": "PBM plus"})"));
    EXPECT_EQ(documents[1].at("status"), 10);
    EXPECT_TRUE(documents[2].at("error").is_string());
    EXPECT_EQ(documents[3].at("colours"), 5);

    const string text = "small.bmp\n  Format        BMP (23)\n  File size     102 bytes\n"
                        "  Kind          RGB, 3 bytes a pixel\n  Size          5 x 3 pixels\n"
                        "  Colours       true colour\n  Resolution    299.999 x 299.999 dots per inch\n"
                        "  Description   PBM plus\n";
    EXPECT_EQ(run({"small.bmp"}).output, text);
    EXPECT_NE(run({"info", "-v", "small.bmp"}).output.find("Multipliers   1 x 1"), string::npos);
    EXPECT_EQ(run({"help", "info"}).output, run({"info", "--help"}).output);
    EXPECT_EQ(run({"-V"}).output, "loomfile 1.0.0\n");
    EXPECT_EQ(run({"formats"}).output.find("emblem"), string::npos);
    EXPECT_EQ(shell("loomfile info small.bmp >&-"), 12);
}

TEST_F(Tool, TellsDrafts)
{
    files.write("a.wif", "[WIF]\nSource Program=Shed\n[TEXT]\nTitle=Twill\nAuthor=Ann\n[NOTES]\n1=two\n2=lines\n"
                         "[WEAVING]\nShafts=2\nTreadles=3\nRising Shed=no\n[WARP]\nThreads=2\nSpacing=0.08\n"
                         "[WEFT]\nThreads=2\n[THREADING]\n1=1\n2=2\n[TIEUP]\n1=1\n[LIFTPLAN]\n1=1\n2=2\n");
    EXPECT_NE(run({"a.wif"}).output.find("  Shafts        2, sinking shed\n  Treadles      none, a lift plan\n"
                                         "  Sett          12.5 ends and unknown picks a cm\n  Title         Twill\n"
                                         "  Author        Ann\n  Notes         two\n                lines\n"
                                         "  Written by    Shed\n"),
              string::npos);
    EXPECT_EQ(Json::parse(run({"info", "--json", "a.wif"}).output)[0].at("draft"),
              Json::parse(R"({"ends": 2, "picks": 2, "shafts": 2, "treadles": null, "liftPlan": true,
        "sinkingShed": true, "hasColours": false, "endsPerCm": 12.5, "picksPerCm": null, "title": "Twill",
        "author": "Ann", "notes": "two\nlines", "program": "Shed"})"));
}

TEST_F(Tool, TellsScriptsWhatIsNotAsTheFileMeans)
{
    const Picture motif = motifPicture(kindIndexed, 9, 9);
    files.write("interlaced.gif", encodeGif(motif, {.interlaced = true}));
    Bytes card = encodeTakemuraDat(noisePicture(kindBilevel, 16, 4, 0, 1));
    card.resize(card.size() + 9);
    files.write("long.dat", card);
    EXPECT_NE(run({"info", "long.dat"}).output.find("Takemura .DAT (29), doubtful\n"), string::npos);
    EXPECT_EQ(make({"convert", "long.dat", "a.png"}).exitCode, 8);
    files.write("deep.pcx", encodePcx(small));
    ToolResult result = make({"convert", "deep.pcx", "a.png", "--libtload-only"});
    EXPECT_EQ(result.exitCode, 8);
    EXPECT_TRUE(result.errors.starts_with("loomfile: deep.pcx: made, but not all that the file means: true colour is"));
    EXPECT_EQ(result.output, "deep.pcx: PCX, 5 x 3, true colour -> a.png\n");

    result = make({"convert", "interlaced.gif", "a.png"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.errors.find("loomfile: interlaced.gif: remarked: read by"), string::npos) << result.errors;
    EXPECT_NE(run({"info", "interlaced.gif"}).output.find("\n  Remark        read by"), string::npos);
    const Loaded read = load(path("a.png"));
    EXPECT_TRUE(toRgb({read.kind, read.width, read.height, read.pixels(), read.palette}).rows == toRgb(motif).rows);
}

TEST_F(Tool, ReadsAndWritesStandardStreams)
{
    const Picture card = noisePicture(kindBilevel, 40, 9, 0, 1);
    files.write("card", encodeJc5(card));
    EXPECT_EQ(shell("cat card | loomfile convert - - --name rose.jc5 >a.png"), 0) << get(prints.path + "/errors");
    EXPECT_TRUE(load(path("a.png")).pixels() == card.rows);
    EXPECT_EQ(shell("loomfile convert card - --format 14 >/dev/full"), 12);
    EXPECT_EQ(shell("loomfile info - --name rose.jc5 <card >a.txt"), 0);
    EXPECT_TRUE(get(path("a.txt")).starts_with("rose.jc5\n  Format        JC5 Staubli (14)\n"));
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
        EXPECT_EQ(make({"convert", "d.pat", "d.png"}).exitCode, 0);
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
        EXPECT_NE(make({"convert", name, "d.png"}).output.find(format), string::npos) << name;

    files.write("rose.zc5", encodeZc5(picture));
    EXPECT_EQ(make({"convert", "rose.zc5", "d.png"}).exitCode, 0);
    ToolResult result = make({"--gzip", "", "convert", "rose.zc5", "d.png"});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_NE(result.errors.find("Debian package gzip"), string::npos) << result.errors;
}

TEST_F(Tool, FindsWhatDrawsPages)
{
    ASSERT_EQ(system("command -v gm >/dev/null && command -v gs >/dev/null"), 0) << "graphicsmagick, ghostscript";
    const Picture motif = motifPicture(kindIndexed, 30, 20);
    files.write("a b.svg", encodeSvg(motif));
    files.write("a b.pdf", encodePdf(motif));
    for (const char* name : {"a b.svg", "a b.pdf"}) {
        const ToolResult refused = run({"--vector-preview", "", "info", name});
        EXPECT_EQ(refused.exitCode, 6);
        EXPECT_NE(refused.errors.find("Debian packages graphicsmagick"), string::npos) << refused.errors;
        EXPECT_EQ(make({"convert", name, "a.png"}).errors, "") << name;
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
        EXPECT_EQ(make(arguments).output, "a.png: PNG, a repeat of 7.1 x 3.8 mm by the sett -> b.png\n");
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

TEST_F(Tool, DrawsYarnsAndCountsThem)
{
    Picture picture = blankPicture(pictureBilevel, 2, 3);
    picture.rows = {0x80, 0x80, 0x80}; // the first end lies on top, the second below
    files.write("a.bmp", encodeBmp(picture));
    const vector<string> arguments = {"render", "a.bmp", "b.png", "--yarn", "--dpi",  "60.96", "--zoom", "10",
                                      "--size", "20x10", "--at",  "-10,30", "--warp", "red",   "--weft", "#0000FF"};
    EXPECT_EQ(make(arguments).exitCode, 0);
    const Loaded cloth = load(path("b.png"));
    const u8 *second = &cloth.rows[(5 * 20 + 5) * 3], *first = second + 30;
    EXPECT_TRUE(first[0] > 100 && first[2] < 60) << "red is on top of the first end";
    EXPECT_TRUE(second[2] > 100 && second[0] < 60);

    const Json weave = Json::parse(run({"info", "--json", "--weave", "--sett", "20x10", "--length", "50", "--width",
                                        "200", "--take-up", "10", "a.bmp"})
                                       .output)[0]["weave"];
    EXPECT_EQ(weave["warpOver"], (Json{{"length", 3}, {"end", 1}, {"pick", 1}, {"endless", true}}));
    EXPECT_EQ(weave["weftUnder"], (Json{{"length", 1}, {"end", 1}, {"pick", 1}, {"endless", false}}));
    EXPECT_DOUBLE_EQ(weave["yarn"]["warpMetres"].get<double>(), 4000 * 0.5 * 1.1);
    EXPECT_DOUBLE_EQ(weave["yarn"]["weftMetres"].get<double>(), 500 * 2 * 1.1);
    EXPECT_EQ(run({"info", "--weave", "--length", "50", "--width", "9", "a.bmp"}).exitCode, 64);
    files.write("c.png", encodePng(small));
    EXPECT_EQ(run({"info", "--weave", "c.png"}).exitCode, 5);
    EXPECT_EQ(make({"render", "c.png", "d.png", "--yarn"}).exitCode, 0);
    EXPECT_EQ(make({"render", "c.png", "d.png", "--yarn", "--weft", "red"}).exitCode, 64);
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

    // Half white, half black: 30 rows differ across the edge, 10 on either side of a white spot beside it.
    Picture halves = blankPicture(kindBilevel, 32, 31);
    for (u32 i = 0; i < halves.rows.size(); i++)
        halves.rows[i] = i % 4 < 2 ? 0 : i % 4 == 3 && i < 40 ? 0xFD : 0xFF;
    files.write("b.bmp", encodeBmp(halves, {.blackFirst = true}));
    seam = Json::parse(run({"seam", "--json", "b.bmp"}).output);
    EXPECT_EQ(seam.at("seamAcross"), 30 * 100 / ((30 + 10 + 10) / 3) - 100);
    EXPECT_EQ(seam.at("seamAlong"), 0);
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
    EXPECT_EQ(
        document["colours"][1],
        Json::parse(
            R"({"number": 1, "hex": "#FEFF00", "red": 254, "green": 255, "blue": 0, "name": null, "pixels": 3})"));
    EXPECT_TRUE(std::equal(colours.begin(), colours.end(), load(path("c.gpl")).palette.begin()));

    // More than a palette holds are a picture; what fills its last row is no colour.
    vector<u8> many = noisePicture(pictureRgb, 300, 1, 0, 1).rows;
    files.write("many.aco", encodeAco(acoRecords(many)));
    EXPECT_EQ(run({"palette", "many.aco", "--gpl", "m.gpl"}).output,
              "many.aco: Photoshop .ACO, 300 colours -> m.gpl\n");
    EXPECT_TRUE(std::equal(many.begin(), many.begin() + 768, load(path("m.gpl")).palette.begin()));
    files.write("rgb.bmp", encodeBmp(small));
    EXPECT_EQ(run({"palette", "rgb.bmp"}).exitCode, 5);

    files.write("named.gpl", "GIMP Palette\nName: yarns\n#\n255 135 0 madder red\n 8 8 8 soot\n");
    EXPECT_EQ(run({"palette", "named.gpl", "--gpl", "copy.gpl"}).exitCode, 0);
    EXPECT_NE(get(path("copy.gpl")).find("255 135   0\tmadder red\n"), string::npos);
    EXPECT_EQ(Json::parse(run({"palette", "copy.gpl", "--json"}).output)["colours"][1]["name"], "soot");
    for (const auto& [environment, patch] : {std::pair("COLORTERM=", "5;208"), {"COLORTERM=24bit", "2;255;135;0"}}) {
        EXPECT_EQ(shell(string(environment) + " loomfile palette named.gpl --color always >a.txt"), 0);
        EXPECT_NE(
            get(path("a.txt")).find("\x1B[48;" + string(patch) + "m      \x1B[0m  #FF8700  255   135    0  madder red"),
            string::npos);
    }
}

TEST_F(Tool, ChangesTheToneAsTheLibraryDoes)
{
    const Picture picture = noisePicture(pictureRgba, 19, 9, 0, 3);
    Picture dull = noisePicture(pictureIndexed, 9, 9, 4, 1);
    dull.palette = {10, 10, 10, 20, 30, 40, 30, 50, 70, 60, 110, 60};
    files.write("a.png", encodePng(picture));
    files.write("b.bmp", encodeBmp(dull, {.paletteEntries = 4}));
    for (int checker : {0, 1}) {
        ASSERT_EQ(make({"convert", "a.png", "c.png", "--background", checker != 0 ? "checker" : "white"}).exitCode, 0);
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

TEST_F(Tool, DrawsDrafts)
{
    files.write("a.wif", "[WIF]\n[WEAVING]\nShafts=1\nTreadles=1\n[WARP]\nThreads=2\n[WEFT]\nThreads=1\n"
                         "[THREADING]\n1=1\n[TIEUP]\n1=1\n[TREADLING]\n1=1\n");
    EXPECT_EQ(run({"draft", "a.wif", "a.gif"}).exitCode, 64);
    EXPECT_EQ(shell("ulimit -f 1; loomfile draft a.wif a.pdf"), 12); // no room
    EXPECT_EQ(names(), std::set<string>{"a.wif"});
    EXPECT_EQ(run({"draft", "a.wif", "a.SVG"}).output, "a.wif: WIF, 1 shaft, 1 treadle, 2 ends, 1 pick -> a.SVG\n");
    EXPECT_TRUE(get(path("a.SVG")).ends_with("</svg>\n"));
    EXPECT_EQ(run({"draft", "a.wif", "a.SVG"}).exitCode, 12); // is there already
}

TEST_F(Tool, HasExamplesThatWork)
{
    files.write("small.bmp", encodeBmp(small));
    EXPECT_EQ(finish(start({"small.bmp", "a.ppm"}, TLOAD_EXAMPLES "/example_host")).exitCode, 0);
    EXPECT_EQ(get(path("a.ppm")), "P6\n5 3\n255\n" + string(small.rows.begin(), small.rows.end()));

    files.write("bits.bmp", encodeBmp({pictureBilevel, 3, 1, {0xA0}, {}}));
    EXPECT_EQ(finish(start({"bits.bmp"}, TLOAD_EXAMPLES "/example_three_calls")).output,
              "BMP, 3 x 1, lifted ends in row 1: 2\n");
    EXPECT_EQ(finish(start({"bits.bmp"}, TLOAD_EXAMPLES "/example_minimal")).output, "BMP, 3 x 1, first byte 160\n");
    EXPECT_EQ(finish(start({"none.bmp"}, TLOAD_EXAMPLES "/example_minimal")).exitCode, 1);
}
