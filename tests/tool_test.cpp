// Runs tload as a user would and looks at what it prints, writes and leaves behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <png.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using Json = nlohmann::json;
using std::string;
using std::vector;

struct Result {
    int exitCode; // negative: the signal that ended it
    string output;
    string errors;
};

static void put(const fs::path& path, const string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

static string get(const fs::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

static string number(unsigned value, int bytes)
{
    string text;
    for (int i = 0; i < bytes; i++)
        text += static_cast<char>(uint64_t{value} >> (8 * i) & 255);
    return text;
}

// rows from the bottom up and padded, as the file has them; palette entries are B, G, R, 0
static string bmp(unsigned width, unsigned height, unsigned bits, const string& palette, const string& rows)
{
    unsigned offset = 54 + static_cast<unsigned>(palette.size());
    return "BM" + number(offset + static_cast<unsigned>(rows.size()), 4) + number(0, 4) + number(offset, 4) +
           number(40, 4) + number(width, 4) + number(height, 4) + number(1, 2) + number(bits, 2) + number(0, 8) +
           number(11811, 4) + number(11811, 4) + number(static_cast<unsigned>(palette.size() / 4), 4) + number(0, 4) +
           palette + rows;
}

static vector<unsigned char> pixelsOf(const fs::path& path)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0)
        return {};
    image.format = PNG_FORMAT_RGBA;
    vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    return pixels;
}

static string chunkOf(const string& png, const string& type)
{
    for (size_t at = 8; at + 8 <= png.size();) {
        size_t size = 0;
        for (size_t i = 0; i < 4; i++)
            size = size << 8 | static_cast<unsigned char>(png[at + i]);
        if (png.compare(at + 4, 4, type) == 0)
            return png.substr(at + 8, size);
        at += 12 + size;
    }
    return "none";
}

struct Tool : testing::Test {
    fs::path directory;
    fs::path prints; // beside the directory, whose contents the tests look at

    Tool()
    {
        string name = fs::temp_directory_path() / "tload-test-XXXXXX";
        prints = mkdtemp(name.data());
        directory = prints / "files";
        fs::create_directory(directory);
    }
    ~Tool() override { fs::remove_all(prints); }

    pid_t start(vector<string> arguments, const string& program = TLOAD_BINARY) const
    {
        arguments.insert(arguments.begin(), program);
        vector<char*> words;
        for (string& argument : arguments)
            words.push_back(argument.data());
        words.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (prints / "output").c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (prints / "errors").c_str(), flags, 0600);
        posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
        pid_t process = -1;
        EXPECT_EQ(posix_spawn(&process, program.c_str(), &actions, nullptr, words.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        return process;
    }

    Result finish(pid_t process) const
    {
        int status = 0;
        waitpid(process, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), get(prints / "output"),
                get(prints / "errors")};
    }

    Result run(const vector<string>& arguments) const { return finish(start(arguments)); }

    std::set<string> files() const
    {
        std::set<string> names;
        for (const auto& entry : fs::directory_iterator(directory))
            names.insert(entry.path().filename());
        return names;
    }
};

// A picture of two rows, the upper one red and white.
static const string smallBmp = bmp(2, 2, 24, "", string("\x01\x02\x03\x04\x05\x06\0\0\0\0\xFF\xFF\xFF\xFF\0\0", 16));

TEST_F(Tool, ConvertsEveryLayoutExactly)
{
    put(directory / "small.bmp", smallBmp);
    Result result = run({"convert", "small.bmp", "small.png"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "small.bmp: BMP, 2 x 2, true colour -> small.png\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(files(), (std::set<string>{"small.bmp", "small.png"}));
    EXPECT_EQ(pixelsOf(directory / "small.png"),
              (vector<unsigned char>{255, 0, 0, 255, 255, 255, 255, 255, 3, 2, 1, 255, 6, 5, 4, 255}));

    put(directory / "alpha.bmp", bmp(1, 1, 32, "", "\x01\x02\x03\x80"));
    EXPECT_EQ(run({"convert", "alpha.bmp", "alpha.png"}).exitCode, 0);
    EXPECT_EQ(pixelsOf(directory / "alpha.png"), (vector<unsigned char>{3, 2, 1, 128}));

    // Both ways round, the dark colour of a bilevel picture is black.
    const string white("\xFF\xFF\xFF\0", 4);
    const string black(4, '\0');
    for (const auto& [palette, row] : {std::pair{black + white, "\x7F"}, std::pair{white + black, "\x80"}}) {
        put(directory / "bits.bmp", bmp(3, 1, 1, palette, row + string(3, '\0')));
        EXPECT_EQ(run({"convert", "bits.bmp", "bits.png"}).output, "bits.bmp: BMP, 3 x 1, 2 colours -> bits.png\n");
        EXPECT_EQ(pixelsOf(directory / "bits.png"),
                  (vector<unsigned char>{0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255, 255}));
        EXPECT_EQ(chunkOf(get(directory / "bits.png"), "IHDR").substr(8, 2), string("\1\0", 2));
    }

    // Unused black entries go, a black one that a pixel uses stays.
    const string palette = white + black + white + black + black;
    put(directory / "palette.bmp", bmp(2, 1, 8, palette, string("\0\x03\0\0", 4)));
    EXPECT_EQ(run({"convert", "palette.bmp", "palette.png"}).output,
              "palette.bmp: BMP, 2 x 1, 5 colours -> palette.png\n");
    EXPECT_EQ(pixelsOf(directory / "palette.png"), (vector<unsigned char>{255, 255, 255, 255, 0, 0, 0, 255}));
    EXPECT_EQ(chunkOf(get(directory / "palette.png"), "PLTE").size(), 4u * 3);
}

TEST_F(Tool, KeepsResolutionAndMultipliers)
{
    put(directory / "start.bmp", smallBmp);
    ASSERT_EQ(run({"convert", "start.bmp", "plain.png"}).exitCode, 0);
    string bytes = get(directory / "plain.png");
    EXPECT_EQ(chunkOf(bytes, "pHYs"), string("\0\0\x2E\x23\0\0\x2E\x23\1", 9));
    EXPECT_EQ(chunkOf(bytes, "tEXt"), string("MulX\0001", 6));

    FILE* stream = fopen((directory / "first.png").c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, stream);
    png_set_IHDR(png, info, 1, 1, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, 0, 0);
    png_set_pHYs(png, info, 3937, 1, PNG_RESOLUTION_METER);
    for (const char* key : {"MulX", "MulY"}) {
        png_text text = {};
        text.compression = PNG_TEXT_COMPRESSION_NONE;
        text.key = const_cast<char*>(key);
        text.text = const_cast<char*>(key[3] == 'X' ? "7" : "12");
        png_set_text(png, info, &text, 1);
    }
    png_write_info(png, info);
    png_write_row(png, reinterpret_cast<png_const_bytep>("\x0A\x0B\x0C"));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    fclose(stream);

    EXPECT_EQ(run({"convert", "first.png", "second.png"}).exitCode, 0);
    EXPECT_EQ(run({"convert", "second.png", "second.png"}).exitCode, 0); // onto itself
    Json documents = Json::parse(run({"info", "--json", "first.png", "second.png"}).output);
    for (const Json& picture : documents) {
        EXPECT_EQ(picture.at("resolutionX"), 100.0);
        EXPECT_EQ(picture.at("resolutionY"), 0.025);
        EXPECT_EQ(picture.at("multiplierX"), 7);
        EXPECT_EQ(picture.at("multiplierY"), 12);
    }
    EXPECT_EQ(chunkOf(get(directory / "second.png"), "pHYs"), chunkOf(get(directory / "first.png"), "pHYs"));
}

TEST_F(Tool, SaysWhatIsWrongInOneSentenceAndLeavesTheTargetAlone)
{
    const string gif("GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\x40\2\2\x44\1\0\x3B", 35);
    const string name = "escape\x1B[31m\n\x9B\xC2\x9B.txt";
    fs::create_directory(directory / "directory.gif");
    put(directory / "empty.gif", "");
    put(directory / "short.gif", "GIF");
    put(directory / "notes.txt", smallBmp);
    put(directory / name, smallBmp);
    put(directory / "x", smallBmp);
    put(directory / "-small.bmp", smallBmp);
    put(directory / "cut.bmp", smallBmp.substr(0, smallBmp.size() - 1));
    put(directory / "rows.bmp", bmp(0, 1, 24, "", ""));
    put(directory / "header.png", string("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR", 16));
    put(directory / "interlaced.gif", gif);
    put(directory / "random.foo", "no known format");
    put(directory / "loom.jc4", "no known format");
    put(directory / "portable.pbm", "P4 8 1 \1");
    put(directory / "empty.jpg", "\xFF\xD8\xFF\xD9 and no picture");
    put(directory / "old.png", "old");
    ASSERT_EQ(run({"convert", "--", "-small.bmp", "good.png"}).exitCode, 0);
    string damaged = get(directory / "good.png");
    damaged[damaged.find("IDAT") + 6] ^= 0x55;
    put(directory / "damaged.png", damaged);
    const std::set<string> before = files();

    struct Case {
        vector<string> arguments;
        int exitCode;
        string words;
    };
    const vector<Case> cases = {
        {{"convert", "none.gif", "old.png"}, 3, "tload: none.gif: the file cannot be opened (No such file"},
        {{"convert", "directory.gif", "old.png"}, 3, "directory"},
        {{"convert", string(5000, 'a'), "old.png"}, 3, "4095"},
        {{"convert", "header.png", "old.png"}, 3, "header is incomplete"},
        {{"convert", "damaged.png", "old.png"}, 4, "PNG data cannot be decoded"},
        {{"convert", "interlaced.gif", "old.png"}, 5, "variant"},
        {{"convert", "random.foo", "old.png"}, 6, "the format is not recognised"},
        {{"convert", "loom.jc4", "old.png"}, 6, "the format JC4 Staubli is recognised but"},
        {{"convert", "portable.pbm", "old.png"}, 6, "the format PBM is recognised but"},
        {{"convert", "empty.jpg", "old.png"}, 6, "not a JPEG file"}, // the decoder prints by itself
        {{"convert", "--format", "23", "random.foo", "old.png"}, 6, "not a BMP file"},
        {{"convert", "cut.bmp", "old.png"}, 7, "data end early"},
        {{"info", "rows.bmp"}, 7, "sizes are wrong"},
        {{"convert", "empty.gif", "old.png"}, 10, "empty"},
        {{"convert", "short.gif", "old.png"}, 10, "only 3 bytes"},
        {{"convert", "notes.txt", "old.png"}, 10, "by its name (.txt)"},
        {{"info", name}, 10, "tload: escape?[31m???.txt: "},
        {{"convert", "x", "old.png"}, 11, "./x"},
        {{"convert", "./x", "directory.gif"}, 12, "directory"},
        {{"convert", "./x", "nowhere/x.png"}, 12, "No such file"},
        {{"convert", "./x", "/dev/full"}, 12, "device"},
        {{}, 64, "--help"},
        {{"paint"}, 64, "paint"},
        {{"info"}, 64, "FILE"},
        {{"info", "--format", "71", "x"}, 64, "71"},
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
        EXPECT_EQ(get(directory / "old.png"), "old");
        EXPECT_EQ(files(), before);
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(Tool, SaysWhenMemoryDoesNotSuffice)
{
    put(directory / "huge.bmp", bmp(65520, 65520, 32, "", ""));
    rlimit before;
    getrlimit(RLIMIT_AS, &before);
    rlimit small = {1u << 30, before.rlim_max};
    setrlimit(RLIMIT_AS, &small);
    pid_t process = start({"convert", "huge.bmp", "huge.png"});
    setrlimit(RLIMIT_AS, &before);
    Result result = finish(process);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.errors.find("65520 x 65520"), string::npos);
}
#endif

TEST_F(Tool, LeavesNothingWhenInterrupted)
{
    const unsigned width = 4000;
    const unsigned height = 2000;
    string rows(3 * width * height, '\0');
    unsigned noise = 1;
    for (char& byte : rows)
        byte = static_cast<char>((noise = noise * 1664525 + 1013904223) >> 24);
    put(directory / "large.bmp", bmp(width, height, 24, "", rows));
    put(directory / "old.png", "old");

    pid_t process = start({"convert", "large.bmp", "old.png"});
    ASSERT_GT(process, 0); // anything else would send the signal to other processes
    siginfo_t ended = {};
    while (files().size() == 2 && ended.si_pid == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ASSERT_EQ(waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT), 0);
    }
    kill(process, SIGTERM);
    Result result = finish(process);
    if (result.exitCode == 0)
        GTEST_SKIP() << "it was finished before it could be interrupted";
    EXPECT_EQ(result.exitCode, -SIGTERM);
    EXPECT_EQ(files(), (std::set<string>{"large.bmp", "old.png"}));
    EXPECT_EQ(get(directory / "old.png"), "old");
}

TEST_F(Tool, TellsWhatFilesHold)
{
    put(directory / "small.bmp", smallBmp);
    put(directory / "none.txt", smallBmp);
    put(directory / "bits.bmp", bmp(3, 1, 1, string(8, '\0'), string(4, '\0')));
    Result result = run({"info", "small.bmp", "none.txt", "gone.bmp", "bits.bmp", "--json"});
    EXPECT_EQ(result.exitCode, 10);
    Json documents = Json::parse(result.output);
    ASSERT_EQ(documents.size(), 4u);
    EXPECT_EQ(documents[0], Json::parse(R"({"file": "small.bmp", "status": 0, "format": 23, "formatName": "BMP",
        "kind": "rgb", "width": 2, "height": 2, "resolutionX": 299.999, "resolutionY": 299.999, "multiplierX": 1,
        "multiplierY": 1, "orientation": 0, "firstPart": true, "colours": null, "complaint": null,
        "description": "PBM plus"})"));
    EXPECT_EQ(documents[1].at("status"), 10);
    EXPECT_EQ(documents[2].at("status"), 3);
    EXPECT_TRUE(documents[2].at("error").is_string());
    EXPECT_EQ(documents[3].at("colours"), 2);
    EXPECT_NE(run({"info", "small.bmp"}).output.find("299.999 x 299.999 dots per inch"), string::npos);
}

TEST_F(Tool, HasExamplesThatWork)
{
    put(directory / "small.bmp", smallBmp);
    Result host = finish(start({"small.bmp"}, TLOAD_EXAMPLES "/example_host"));
    EXPECT_EQ(host.exitCode, 0);
    EXPECT_EQ(host.output, "P6\n2 2\n255\n\xFF" + string("\0\0\xFF\xFF\xFF\3\2\1\6\5\4", 11));
    EXPECT_NE(finish(start({"gone.bmp"}, TLOAD_EXAMPLES "/example_host")).exitCode, 0);

    put(directory / "bits.bmp", bmp(3, 1, 1, string("\xFF\xFF\xFF\0\0\0\0\0", 8), "\xA0" + string(3, '\0')));
    EXPECT_EQ(finish(start({"bits.bmp"}, TLOAD_EXAMPLES "/example_minimal")).output,
              "BMP, 3 x 1, lifted ends in row 1: 2\n");
}

TEST_F(Tool, ListsTheFormats)
{
    Json formats = Json::parse(run({"formats", "--json"}).output);
    ASSERT_EQ(formats.size(), 70u);
    std::set<int> loading;
    for (const Json& format : formats) {
        if (format.at("loads"))
            loading.insert(format.at("id").get<int>());
    }
    EXPECT_EQ(loading, (std::set<int>{1, 2, 4, 23}));
    EXPECT_EQ(formats[3].at("extensions"), (Json{"jpg", "jpeg"}));
    string text = run({"formats"}).output;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 71);
    EXPECT_EQ(run({"--help"}).exitCode, 0);
    EXPECT_EQ(run({"--version"}).exitCode, 0);
}
