// Registry, settings, header cache, catalogue, detection and the shared helpers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/support.h"

TEST(Registry, IsEmptyInAFreshThreadAndKeepsTheLastRegistration)
{
    std::thread([] {
        EXPECT_EQ(returnLoaderFunctions(71, "x.bmp"), formatInstalled);
        EXPECT_EQ(getTryLoad(), nullptr);
        EXPECT_EQ(returnLoaderFunctions(23, nullptr), formatInstalled);
        TryLoadFn bmp = getTryLoad();
        registerLoadGIF();
        EXPECT_NE(getTryLoad(), bmp);
    }).join();
}

TEST(Registry, TellsItsVersionAndStatuses)
{
    EXPECT_STREQ(llibVersion(), TLOAD_VERSION);
    std::set<std::string> texts;
    for (i32 status = -1; status <= loadBadData; status++)
        texts.insert(llibStatusText(status));
    EXPECT_EQ(texts.size(), 8u); // -1 and 1 are none
}

TEST(Registry, EveryFormatInstallsALoaderThatRefusesRubbishAndEndsTwice)
{
    TestDirectory directory;
    std::string file = directory.write("rubbish.xyz", "0123456789 neither picture nor weave");
    for (u32 id = 1; id <= formatCount; id++) {
        Loaded loaded = load(file, {.id = id});
        EXPECT_EQ(loaded.format, formatInstalled);
        // Too short for the headers of JC4 and JC III, which have no magic number.
        EXPECT_EQ(loaded.status, id == 12 || id == 13 ? loadCannotRead : loadWrongFormat) << id;
        u8 untouched = 0x77;
        EXPECT_EQ(getLoadBand()(&untouched, 1, 1), loadBadData) << id;
        EXPECT_EQ(untouched, 0x77);
        EXPECT_EQ(getEndLoad()(), 0);
        EXPECT_EQ(getEndLoad()(), 0);
    }
}

TEST(Settings, KeepACopyAndBelongToTheThread)
{
    char text[] = "first";
    llibSetTmpDir(text);
    text[0] = 'F';
    llibSetUnzipCommand("unzip");
    llibSetMsExpandCommand("msexpand");
    EXPECT_STREQ(llibGetMsExpandCommand(), "msexpand");
    const char* first = llibGetTmpDir();
    llibSetTmpDir("second");
    EXPECT_STREQ(first, "first");
    EXPECT_STREQ(llibGetTmpDir(), "second");
    EXPECT_STREQ(llibGetUnzipCommand(), "unzip");
    EXPECT_EQ(llibGetGzipCommand(), nullptr);
    std::thread([] { EXPECT_EQ(llibGetTmpDir(), nullptr); }).join();
    llibSetTmpDir(nullptr);
    EXPECT_EQ(llibGetTmpDir(), nullptr);
}

TEST(HeaderCache, AnswersByPathAndSize)
{
    TestDirectory directory;
    std::string file = directory.write("a.bin", std::string(300, 'a'));
    EXPECT_EQ(loadImgCheckHeader(nullptr), nullptr);
    const u8* header = loadImgCheckHeader(file.c_str());
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(loadImgLastFilesize(), 300);
    EXPECT_EQ(header[255], 'a');

    directory.write("a.bin", std::string(300, 'b'));
    EXPECT_EQ(loadImgCheckHeader(file.c_str())[0], 'a'); // same path and size: not read again
    directory.write("a.bin", std::string(301, 'c'));
    EXPECT_EQ(loadImgCheckHeader(file.c_str())[0], 'c');
    EXPECT_EQ(loadImgLastFilesize(), 301);

    std::filesystem::remove(file);
    EXPECT_EQ(loadImgCheckHeader(file.c_str()), header); // vanished: still answered
    EXPECT_EQ(loadImgCheckHeader((file + "x").c_str()), nullptr);
    EXPECT_EQ(loadImgCheckHeader(directory.path.c_str()), nullptr);

    loadImgCheckHeader(directory.write("short", "12345").c_str());
    EXPECT_EQ(memcmp(header, "12345ccc", 8), 0);
    EXPECT_NE(loadImgCheckHeader(directory.write("empty", "").c_str()), nullptr);
    EXPECT_EQ(loadImgLastFilesize(), 0);
    EXPECT_EQ(memcmp(header, "12345ccc", 8), 0);
    std::string pipe = directory.path + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_NE(loadImgCheckHeader(pipe.c_str()), nullptr); // does not wait for a writer
    EXPECT_EQ(load(pipe, {.id = formatPng}).status, loadCannotRead);
}

TEST(Detection, RefusesNamesThatAreNoPictures)
{
    TestDirectory directory;
    EXPECT_EQ(returnLoaderFunctions(0, nullptr), formatNameTooShort);
    EXPECT_EQ(returnLoaderFunctions(0, "a"), formatNameTooShort);
    for (const char* name : {"notes.txt", "a.GZ", "b.7z", "page.Html", "book.xlsx", "x.eatpc", "x.EATPC", "run.desktop",
                             "unfinished.part"})
        EXPECT_EQ(returnLoaderFunctions(0, directory.write(name, "~~~~~~~~~~").c_str()), formatNotAnImage) << name;
    EXPECT_EQ(returnLoaderFunctions(0, "missing.bmp"), formatNotAnImage);
    EXPECT_EQ(returnLoaderFunctions(0, directory.write("small.bmp", "BM12345").c_str()), formatNotAnImage);
    EXPECT_EQ(returnLoaderFunctions(0, directory.path.c_str()), formatNotAnImage);
}

TEST(Detection, GoesByMagicNumbersInOrder)
{
    TestDirectory directory;
    using namespace std::string_literals;
    std::string schleicher(60, ' ');
    schleicher[37] = 'S';
    schleicher[40] = '0';
    const std::string gif = "GIF87a" + schleicher.substr(6), smit = "X\x15\0\x01"s, other = "X\x15\0\0"s;
    const std::string upt = "\0\0ab cd\0"s, zip = "\x1F\x8B", png = "\x89PNG\r\n\x1A\n";
    const std::string line = "\n\x06\x01", des = "0010-12.345678", noDes = "0010-12.3456x8";
    const std::tuple<std::string, std::string, int> cases[] = {
        {"a", "GIF88a", 8}, {"b", line, 8},  {"c", schleicher, 9}, {"d", gif, 1},    {"e", "P7", 8},
        {"f", "[WiF]", 21}, {"g", smit, 45}, {"h", other, 37},     {"i", upt, 41},   {"j", zip, 8},
        {"k", des, 49},     {"l", noDes, 8}, {"xzc5", zip, 8},     {"Zz5", zip, 42}, {"bmp", png, 2}};
    for (const auto& [name, text, format] : cases) {
        const std::string file = directory.write("file." + name, text + std::string(20, '~'));
        EXPECT_EQ(returnLoaderFunctions(0, file.c_str()), format) << name;
    }
    // What an earlier file left in the cache behind a small file's end does not count.
    returnLoaderFunctions(0, directory.write("large", schleicher).c_str());
    EXPECT_EQ(returnLoaderFunctions(0, directory.write("small", "12345678").c_str()), 8);
}

TEST(Detection, FallsBackToTheExtension)
{
    TestDirectory directory;
    const std::pair<const char*, int> cases[] = {{"a.ep_", 66},      {"a.DES", 49},   {"a.dy", 36},     {"a.wb", 62},
                                                 {"a.wbf", 61},      {"a.JPG", 4},    {"a.jpeg", 4},    {"a.svgz", 59},
                                                 {"a.pal", 63},      {"a.gpl", 63},   {"a.ep", 8},      {"a.xyz", 8},
                                                 {"xbmp", 23},       {"a.xbmp", 8},   {"a..bmp", 8},    {"m.Drape", 39},
                                                 {"a.b\xE9\x70", 8}, {"notestxt", 8}, {"x.DESKTOP", 8}, {"a..txt", 8}};
    for (const auto& [name, format] : cases)
        EXPECT_EQ(returnLoaderFunctions(0, directory.write(name, "~~~~~~~~~~").c_str()), format) << name;
}

TEST(Text, FoldsCaseInAsciiOnly)
{
    EXPECT_EQ(tolowerAZ(0x141), 'a'); // the low byte decides
    EXPECT_EQ(tolowerAZ(0x161), 0x161);
    char text[] = "AbZ[@\xC4";
    stringToLower(text);
    EXPECT_STREQ(text, "abz[@\xC4");
    EXPECT_STREQ(removeLast(removeLast(text)), "abz[");
    EXPECT_STREQ(removeLast(text + 4), "");
    EXPECT_EQ(fgetsDosMac(text, 0, nullptr), nullptr);
}

static std::vector<std::string> linesOf(const std::string& text, int size)
{
    FILE* file = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
    std::vector<std::string> lines;
    std::vector<char> buffer(static_cast<size_t>(size));
    while (fgetsDosMac(buffer.data(), size, file) != nullptr)
        lines.push_back(buffer.data());
    EXPECT_EQ(buffer[0], 0);
    fclose(file);
    return lines;
}

TEST(Text, ReadsLinesWithAnyLineEnd)
{
    using Lines = std::vector<std::string>;
    EXPECT_EQ(linesOf("ab\r\ncd\rEF\n", 100), (Lines{"ab", "cd", "EF"}));
    EXPECT_EQ(linesOf("a\r\n\r\nb", 100), (Lines{"a"}));
    EXPECT_EQ(linesOf("abcdefgh\nij", 4), (Lines{"abc", "fgh", "ij"})); // d is cut off, e is lost
    EXPECT_EQ(linesOf("last", 5), (Lines{"last"}));
}

TEST(Text, FindsOneLineTags)
{
    auto parse = [](const char* line, const char* tag) -> std::string {
        std::string text = line;
        char* found = parseOneLineTagXML(text.data(), tag);
        return found != nullptr ? found : "(none)";
    };
    EXPECT_EQ(parse("<wa>1</wa><w>12</w>", "w"), "12");
    EXPECT_EQ(parse("  <w/>", "w"), "");
    EXPECT_EQ(parse("<w>12 <w/>", "w"), "(none)");
    setVerboseXML(1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse("<x>1</x>", "w"), "(none)");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Searching <w>, found: <x>1</x>\n");
    setVerboseXML(0);
}

TEST(Bytes, AreReversedAndChecked)
{
    u8 data[256], negated[256];
    for (int i = 0; i < 256; i++)
        data[i] = negated[i] = static_cast<u8>(i);
    reverseNegateBytes(data, 256, 0);
    reverseNegateBytes(negated, 255, 1);
    for (int i = 0; i < 255; i++) {
        int reversed = 0;
        for (int bit = 0; bit < 8; bit++)
            reversed |= (i >> bit & 1) << (7 - bit);
        EXPECT_EQ(data[i], reversed);
        EXPECT_EQ(negated[i], 255 - reversed);
    }
    EXPECT_EQ(negated[255], 255);

    EXPECT_EQ(llibRowBytes(kindRGB, 0x55555555), 0xFFFFFFFFu);
    EXPECT_EQ(llibRowBytes(kindRGB, 0x55555556) + llibRowBytes(4, 9), 0u);
    EXPECT_EQ(crcUWF(0xFFFF, "123456789", 9), 0x6F91u); // the published check value of this CRC before its final XOR
}

TEST(Compressed, BlocksAreReadAndSkipped)
{
    std::string plain(1000, 'w');
    Bytes packed(200);
    uLongf size = packed.size();
    ASSERT_EQ(compress(packed.data(), &size, reinterpret_cast<const Bytef*>(plain.data()), plain.size()), Z_OK);
    std::string sizeText = std::to_string(size);
    FILE* file = fmemopen(packed.data(), size, "r");
    Bytes out(1000);
    auto read = [&](const char* text, int capacity) {
        rewind(file);
        return readCompressedData(text, out.data(), capacity, file);
    };
    EXPECT_EQ(read(sizeText.c_str(), 1000), 1000);
    EXPECT_EQ(std::string(out.begin(), out.end()), plain);
    testing::internal::CaptureStdout();
    EXPECT_EQ(read(sizeText.c_str(), 999), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "zlib uncompress failed\n");
    for (const char* refused : {"", "x", "-1", "100000", "18446744073709551615"})
        EXPECT_EQ(read(refused, 1000), 0) << refused;

    rewind(file);
    EXPECT_EQ(skipCompressedData("3 bytes", file), 1);
    EXPECT_EQ(ftell(file), 3);
    EXPECT_EQ(skipCompressedData("x", file), 0);
    EXPECT_EQ(skipCompressedData("-1", file), 1);
    EXPECT_EQ(ftell(file), 3);
    fclose(file);
}

TEST(Paths, AreSplitAndRelated)
{
    EXPECT_STREQ(dirName("a/b/c"), "a/b");
    EXPECT_STREQ(dirName(dirName("a/b/c") + 1), "");
    EXPECT_EQ(strlen(dirName((std::string(4090, 'x') + "/" + std::string(100, 'y')).c_str())), 4090u);
    EXPECT_STREQ(baseName("/abc"), "abc");
    EXPECT_STREQ(baseName("a/"), "");
    EXPECT_STREQ(getRelativePath("/d/a/x", "/d/b/y"), "01/b/y");
    EXPECT_STREQ(getRelativePath("/d/a//b/", "/d/y"), "02/y");
    EXPECT_STREQ(getRelativePath("x/y", "a"), "01a");
    EXPECT_STREQ(getRelativePath(nullptr, "a"), "");
    EXPECT_EQ(strlen(getRelativePath("/a", ("/" + std::string(1000, 'b')).c_str())), 511u);
}
