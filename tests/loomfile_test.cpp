// Opens files as a front door would, through loomfile's headers.
#include "loomfile.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <thread>

#include "samples/all_samples.h"
#include "samples/bmp_writer.h"
#include "samples/chinese_writer.h"
#include "samples/eat_writer.h"
#include "samples/gif_writer.h"
#include "samples/jc4_writer.h"
#include "samples/jc5_writer.h"
#include "samples/motif.h"
#include "samples/palette_writer.h"
#include "samples/pbm_writer.h"
#include "samples/png_writer.h"
#include "samples/qte_writer.h"
#include "samples/takemura_writer.h"
#include "samples/tis_writer.h"
#include "samples/vector_writer.h"
#include "samples/zip_writer.h"
#include "tests/support.h"

extern "C" long long sumByC(const char* path);
extern "C" int keepsOldStructures(const char* path);

namespace fs = std::filesystem;
using std::string;
using std::vector;

namespace
{

struct Closer {
    void operator()(Loomfile* file) const { loomfileClose(file); }
};
using Handle = std::unique_ptr<Loomfile, Closer>;

struct Answer {
    Handle file;
    LoomfileFailure failure = loomfileFailure();
    LoomfileInfo info = loomfileInfo();

    Bytes pixels()
    {
        Bytes rows(u64{info.height} * info.rowBytes, 0xA5);
        EXPECT_EQ(loomfileReadAll(file.get(), rows.data(), info.rowBytes, &failure), 0) << failure.sentence;
        return rows;
    }

    // In bands, with bytes between the rows.
    Bytes pixelsInBands(u32 count, u32 gap)
    {
        const u32 stride = info.rowBytes + gap;
        Bytes band(u64{count} * stride), rows;
        loomfileRewind(file.get());
        for (u32 y = 0; y < info.height; y += count) {
            const u32 some = std::min(count, info.height - y);
            std::fill(band.begin(), band.end(), u8{0xA5});
            EXPECT_EQ(loomfileReadRows(file.get(), band.data(), some, stride, &failure), 0) << failure.sentence;
            for (u32 row = 0; row < some; row++) {
                const auto start = band.begin() + static_cast<i64>(u64{row} * stride);
                rows.insert(rows.end(), start, start + info.rowBytes);
                EXPECT_EQ(std::count(start + info.rowBytes, start + stride, 0xA5), gap);
            }
        }
        EXPECT_EQ(loomfileReadRows(file.get(), band.data(), 1, stride, &failure), loadBadData);
        return rows;
    }

    bool hasRemark(const string& words, u32 gravity) const
    {
        for (u32 i = 0; i < loomfileRemarkCount(file.get()); i++) {
            u32 isGrave = 2;
            const string text = loomfileRemark(file.get(), i, &isGrave);
            if (text.find(words) != string::npos && isGrave == gravity)
                return true;
        }
        return false;
    }
};

Answer finish(Loomfile* file, const LoomfileFailure& failure)
{
    Answer answer{Handle(file), failure};
    EXPECT_EQ(file == nullptr, failure.status != 0);
    if (file != nullptr)
        loomfileGetInfo(file, &answer.info);
    return answer;
}

Answer open(const string& path, const LoomfileOptions& options = loomfileOptions())
{
    LoomfileFailure failure = loomfileFailure();
    Loomfile* file = loomfileOpen(path.c_str(), &options, &failure);
    return finish(file, failure);
}

bool has(const char* command)
{
    return system((string("command -v ") + command + " >/dev/null").c_str()) == 0;
}

Bytes randomBytes(size_t count, u32 seed)
{
    std::mt19937 generator(seed);
    Bytes bytes(count);
    for (u8& byte : bytes)
        byte = static_cast<u8>(generator() >> 8);
    return bytes;
}

struct LoomfileTest : testing::Test {
    TestDirectory files;
    TestDirectory temporary;
    LoomfileOptions options = loomfileOptions();

    LoomfileTest() { options.tmpDir = temporary.path.c_str(); }
    ~LoomfileTest() override { EXPECT_TRUE(fs::is_empty(temporary.path)); }
    Answer openFile(const string& name) { return open(files.path + "/" + name, options); }
};

} // namespace

TEST_F(LoomfileTest, ReadsEverySampleAsTheThreeCallsDo)
{
    drawSmallSamples();
    for (const Sample& sample : allSamples())
        files.write(sample.name, sample.encode());
    for (const Sample& sample : allSamples()) {
        SCOPED_TRACE(sample.name);
        options.libtloadOnly = sample.format != formatPbm ? 1 : 0;
        Answer answer = openFile(sample.name);
        if (answer.file == nullptr) {
            EXPECT_NE(string(answer.failure.sentence).find("Debian package"), string::npos) << answer.failure.sentence;
            continue;
        }
        EXPECT_EQ(answer.info.isDoubtful, 0u);
        EXPECT_EQ(answer.info.format, sample.format);
        const Bytes whole = answer.pixels();
        EXPECT_TRUE(answer.pixelsInBands(7, 3) == whole);
        EXPECT_TRUE(answer.pixelsInBands(answer.info.height, 0) == whole);
        // The three calls do not find the first part of a Bonas design.
        const bool isLaterPart = string(answer.info.firstPartFile).ends_with(".ep");
        if (loomfileHelperPackages(sample.format)[0] != 0 || sample.format == formatPbm || isLaterPart)
            continue;
        const Loaded direct = load(files.path + "/" + sample.name, {.id = sample.format, .fill = 0});
        Bytes expected = direct.pixels();
        const u32 bits = answer.info.width % 8;
        for (u32 y = 0; direct.kind == kindBilevel && bits != 0 && y < direct.height; y++)
            expected[(y + 1) * direct.rowBytes - 1] &= static_cast<u8>(0xFF00 >> bits);
        EXPECT_TRUE(whole == expected);
    }
}

// The contents tell what the name does not.
TEST_F(LoomfileTest, FindsFormatsBehindNamesThatTellNothingOrLie)
{
    const Picture bits = noisePicture(kindBilevel, 72, 40, 0, 1);
    const Picture wide = noisePicture(kindBilevel, 1344, 4, 0, 2);
    const string palette = "GIMP Palette\n#\n1 2 3\n4 5 6\n";
    const Bytes gimp(palette.begin(), palette.end());
    const auto member = [&](const char* name) { return encodeZip({{name, encodeQte(bits)}}); };
    const std::tuple<const char*, Bytes, i32, const Picture*> cases[] = {
        {"a.bin", encodeBmp(bits), formatBmp, &bits},
        {"notes.txt", encodeQtz(bits, "x.qte"), formatQtz, &bits},
        {"rose.qte.bak", encodeQte(bits), formatQte, &bits},
        {"rose.ini", encodeJc4Email(wide), formatStaubliJc4Email, &wide},
        {"x", encodeEat(bits), formatEat, &bits},
        {"rose.jc5 (copy)", encodeJc5(bits), formatStaubliJc5, &bits},
        {"MOTIF.WJL", encodeActWjl(noisePicture(kindBilevel, 40, 9, 0, 3)), formatActWjl, nullptr},
        {"MOTIF.QTZ", member("motif.QTE"), formatQtz, &bits},
        {"rose.qtz", member("ROSE.qte"), formatQtz, &bits},
        {"d.pat", encodeVaritex(bits), formatVaritexPat, &bits},
        {"colours.txt", gimp, formatPalette, nullptr},
    };
    for (const auto& [name, bytes, format, picture] : cases) {
        SCOPED_TRACE(name);
        files.write(name, bytes);
        Answer answer = openFile(name);
        ASSERT_NE(answer.file, nullptr) << answer.failure.sentence;
        EXPECT_EQ(answer.info.format, format);
        EXPECT_EQ(loomfileCandidate(answer.file.get(), 0), format);
        EXPECT_EQ(answer.info.isDoubtful, 0u);
        EXPECT_EQ(answer.info.fileBytes, bytes.size());
        EXPECT_TRUE(picture == nullptr || answer.pixels() == picture->rows);
    }
}

TEST_F(LoomfileTest, DoubtsWhatOnlyTheNameTells)
{
    for (const char* name : {"a.dat", "a.pun", "a.qte", "a.arm"}) {
        for (u32 seed = 1; seed < 6; seed++) {
            files.write(name, randomBytes(5000 + 10 * seed, seed));
            Answer answer = openFile(name);
            if (answer.file == nullptr)
                continue;
            EXPECT_EQ(answer.info.isDoubtful, 1u) << name;
            EXPECT_TRUE(answer.hasRemark("only its name", 1)) << name;
            EXPECT_EQ(answer.pixels().size(), u64{answer.info.rowBytes} * answer.info.height) << name;
        }
    }
    files.write("a.bin", randomBytes(5000, 1));
    EXPECT_EQ(openFile("a.bin").failure.status, loomfileNotAnImage);
}

// Variants that libTload does not read come through GraphicsMagick.
TEST_F(LoomfileTest, ReadsCommonPicturesAgain)
{
    if (!has("gm"))
        GTEST_SKIP() << "GraphicsMagick is not installed";
    const Picture picture = motifPicture(kindIndexed, 40, 30);
    const Picture colours = noisePicture(kindRGB, 9, 5, 0, 1);
    files.write("odd'n $name\".gif", encodeGif(picture, {.interlaced = true}));
    files.write("a.ppm", encodePbm(colours));
    files.write("a.tga.txt", [&] {
        Bytes tga = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 5, 0, 24, 0x20};
        for (u32 i = 0; i < colours.rows.size(); i++)
            tga.push_back(colours.rows[i / 3 * 3 + 2 - i % 3]);
        const string footer("\0\0\0\0\0\0\0\0TRUEVISION-XFILE.\0", 26);
        tga.insert(tga.end(), footer.begin(), footer.end());
        return tga;
    }());
    const std::tuple<const char*, i32, Picture> cases[] = {
        {"odd'n $name\".gif", formatGif, toRgb(picture)}, {"a.ppm", formatPbm, colours}, {"a.tga.txt", 0, colours}};
    for (const auto& [name, format, expected] : cases) {
        SCOPED_TRACE(name);
        Answer answer = openFile(name);
        ASSERT_NE(answer.file, nullptr) << answer.failure.sentence;
        EXPECT_EQ(answer.info.format, format);
        EXPECT_EQ(answer.info.isSecondReading, 1u);
        EXPECT_TRUE(answer.hasRemark("read by GraphicsMagick", 0));
        const Bytes palette(answer.info.palette, answer.info.palette + 768);
        EXPECT_TRUE(toRgb({answer.info.kind, answer.info.width, answer.info.height, answer.pixels(), palette}).rows ==
                    expected.rows);
        options.libtloadOnly = 1;
        EXPECT_EQ(openFile(name).file, nullptr);
        options.libtloadOnly = 0;
    }
    options.graphicsCommand = "";
    EXPECT_NE(string(openFile("a.ppm").failure.sentence).find("Debian package graphicsmagick"), string::npos);
}

TEST_F(LoomfileTest, SaysWhatIsWrong)
{
    const Bytes bmp = encodeBmp(noisePicture(kindRGB, 5, 3, 0, 1));
    const Bytes zc5 = encodeZc5(noisePicture(kindBilevel, 40, 900, 0, 1));
    fs::create_directory(files.path + "/folder.gif");
    files.write("cut.bmp", Bytes(bmp.begin(), bmp.end() - 1));
    files.write("cut.zc5", Bytes(zc5.begin(), zc5.end() - 900));
    files.write("empty.gif", "");
    files.write("short.gif", "GIF");
    files.write("interlaced.gif", encodeGif(motifPicture(kindIndexed, 9, 9), {.interlaced = true}));
    files.write("loom.apf", "no known format");
    files.write("notes.txt", "no known format");
    files.write("random.foo", "no known format");
    files.write("whole.zc5", zc5);
    files.write("slow.svg", encodeSvg(motifPicture(kindIndexed, 9, 9)));
    options.libtloadOnly = 1;
    options.vectorPreviewCommand = "kill -INT $$; :";
    const std::tuple<const char*, i32, i32, const char*> cases[] = {
        {"none.gif", 0, loadCannotRead, "the file cannot be opened (No such file"},
        {"folder.gif", 0, loadCannotRead, "directory"},
        {"empty.gif", 0, loomfileNotAnImage, "the file is empty"},
        {"short.gif", 0, loomfileNotAnImage, "only 3 bytes"},
        {"interlaced.gif", 0, loadUnsupportedVariant, "recognised as GIF, but not read: "},
        {"loom.apf", 0, loadUnsupportedVariant, "the format CSS JacquArt is recognised"},
        {"notes.txt", 0, loomfileNotAnImage, "by its name (.txt)"},
        {"random.foo", 0, loadWrongFormat, "the format is not recognised"},
        {"random.foo", formatBmp, loadWrongFormat, "this is not a BMP file (.bmp)"},
        {"random.foo", 71, loadWrongFormat, "no format with the number 71"},
        {"cut.zc5", 0, loadBadData, "the program that opens such files failed (gzip"},
        {"slow.svg", 0, loadWrongFormat, "the program that opens such files failed"},
    };
    for (const auto& [name, format, status, words] : cases) {
        options.format = format;
        const Answer answer = openFile(name);
        const string sentence = answer.failure.sentence;
        EXPECT_EQ(answer.failure.status, status) << name << ": " << sentence;
        EXPECT_NE(sentence.find(words), string::npos) << name << ": " << sentence;
        EXPECT_EQ(answer.failure.signal, string(name) == "slow.svg" ? SIGINT : 0);
    }
    options.format = 0;
    EXPECT_EQ(open("").failure.status, loomfileNameTooShort);
    options.gzipCommand = "";
    EXPECT_NE(string(openFile("whole.zc5").failure.sentence).find("Debian package gzip"), string::npos);
    options.tmpDir = "/nowhere";
    EXPECT_EQ(openFile("whole.zc5").failure.status, loomfileCannotWrite);
    options.tmpDir = temporary.path.c_str();

    Answer cut = openFile("cut.bmp");
    Bytes rows(u64{cut.info.height} * cut.info.rowBytes);
    EXPECT_EQ(loomfileReadAll(cut.file.get(), rows.data(), cut.info.rowBytes, &cut.failure), loadBadData);
    EXPECT_EQ(loomfileReadAll(cut.file.get(), rows.data(), cut.info.rowBytes - 1, nullptr), loadBadData);

    files.write("whole.bmp", bmp);
    options.mostPixels = 14;
    EXPECT_NE(string(openFile("whole.bmp").failure.sentence).find("5 x 3 pixels has more than the 14"), string::npos);
    options.mostPixels = 15;
    options.mostBytes = 44;
    Answer limited = openFile("whole.bmp");
    EXPECT_EQ(limited.pixels().size(), 45u); // into the caller's memory
    loomfileRewind(limited.file.get());
    EXPECT_EQ(loomfileReadRows(limited.file.get(), rows.data(), 1, limited.info.rowBytes, nullptr), loadOutOfMemory);
}

TEST_F(LoomfileTest, OpensMemory)
{
    const Picture picture = noisePicture(kindBilevel, 72, 40, 0, 1);
    const Bytes qte = encodeQte(picture), gpl = encodeGimpPalette({1, 2, 3, 254, 255, 0});
    for (const char* name : {"../../a.qte", "", "..", "no/such/folder/b"}) {
        LoomfileFailure failure = loomfileFailure();
        Answer answer = finish(loomfileOpenMemory(qte.data(), qte.size(), name, &options, &failure), failure);
        ASSERT_NE(answer.file, nullptr) << name << failure.sentence;
        EXPECT_TRUE(answer.pixels() == picture.rows);
    }
    EXPECT_EQ(loomfileOpenMemory(nullptr, 0, "a.gif", &options, nullptr), nullptr);
}

TEST_F(LoomfileTest, NamesColours)
{
    files.write("a.gpl", "GIMP Palette\nName: x\nColumns: 2\n#\n  1   2   3\tdeep blue\n254 255 0\n9 9 9   grey \n");
    Bytes aco = encodeAco(acoRecords({1, 2, 3, 4, 5, 6}));
    const string second("\0\2\0\1\0\0\1\1\2\2\3\3\0\0\0\0\0\4\0R\xD8\x3D\xDE\0\0\0", 26);
    aco.insert(aco.end(), second.begin(), second.end());
    files.write("a.aco", aco);
    files.write("a.acb", encodeAcb(Bytes(9, 1)));
    const std::tuple<const char*, u32, const char*> cases[] = {
        {"a.gpl", 0, "deep blue"},   {"a.gpl", 1, ""}, {"a.gpl", 2, "grey "}, {"a.gpl", 3, ""},
        {"a.aco", 0, "R\U0001F600"}, {"a.aco", 1, ""},
    };
    for (const auto& [name, index, expected] : cases)
        EXPECT_STREQ(loomfileColourName(openFile(name).file.get(), index), expected) << name << index;
    Answer palette = openFile("a.gpl");
    EXPECT_EQ(palette.info.isPalette, 1u);
    EXPECT_EQ(palette.info.colourCount, 3u);
}

// Each thread opens, reads and closes several at once, and no state of one is seen by another.
TEST_F(LoomfileTest, KeepsManyFilesOpenOnManyThreads)
{
    vector<Picture> pictures;
    for (u32 i = 0; i < 8; i++) {
        pictures.push_back(noisePicture(i % 2 != 0 ? kindBilevel : kindIndexed, 40 + i, 30, i % 2 != 0 ? 0 : 9, i));
        files.write("d" + std::to_string(i), i % 2 != 0 ? encodeJc5(pictures[i]) : encodeBmp(pictures[i]));
    }
    vector<std::thread> threads;
    for (u32 t = 0; t < 4; t++)
        threads.emplace_back([&, t] {
            vector<Answer> open;
            for (u32 i = 0; i < 8; i++)
                open.push_back(openFile("d" + std::to_string((i + t) % 8)));
            for (u32 i = 0; i < 8; i++)
                EXPECT_TRUE(open[i].pixelsInBands(1 + t, t) == pictures[(i + t) % 8].rows);
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(LoomfileTest, RemovesWorkFoldersForASignalHandler)
{
    files.write("rose.qtz", encodeQtz(noisePicture(kindBilevel, 72, 40, 0, 1), "rose.qte"));
    Answer first = openFile("rose.qtz"), second = openFile("rose.qtz");
    EXPECT_FALSE(fs::is_empty(temporary.path));
    loomfileRemoveWorkFolders();
    EXPECT_TRUE(fs::is_empty(temporary.path));
}

TEST_F(LoomfileTest, WorksFromCAndCpp)
{
    const Picture picture = noisePicture(kindRGB, 9, 5, 0, 1);
    const string path = files.write("a.bmp", encodeBmp(picture));
    EXPECT_EQ(sumByC(path.c_str()), std::accumulate(picture.rows.begin(), picture.rows.end(), 0LL));
    EXPECT_EQ(sumByC("/none"), -1);
    EXPECT_EQ(keepsOldStructures(path.c_str()), 1);

    loomfile::File first(path);
    loomfile::File file = std::move(first);
    EXPECT_TRUE(file.readAll() == picture.rows);
    EXPECT_EQ(file.candidates(), vector<i32>{formatBmp});
    EXPECT_TRUE(file.remarks().empty());
    const Bytes qte = encodeQte(noisePicture(kindBilevel, 72, 40, 0, 1));
    EXPECT_EQ(loomfile::File::fromMemory(qte.data(), qte.size(), "a.qte").info().height, 40u);
    try {
        loomfile::File none("/none");
        ADD_FAILURE();
    } catch (const loomfile::Error& error) {
        EXPECT_EQ(error.failure.status, loadCannotRead);
        EXPECT_NE(string(error.what()).find("cannot be opened"), string::npos);
    }
}

TEST(LoomfileInterface, ExportsWhatTheHeaderDeclaresAndNothingElse)
{
    EXPECT_EQ(exportedNames(LOOMFILE_LIBRARY), declaredNames(LOOMFILE_HEADER, "LOOMFILE_API "));
}
