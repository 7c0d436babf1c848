// Makes sheets as a user would and looks at what lies on the disk. What a browser shows of them is tested in sheet/.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "samples/all_samples.h"
#include "samples/gif_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;
using Json = nlohmann::json;
using std::string;

namespace
{

struct Sheet : testing::Test {
    TestDirectory files;
    const Bytes gif = encodeGif(noisePicture(kindIndexed, 300, 20, 7, 1));

    string path(const string& name) const { return files.path + "/" + name; }
    string get(const string& name) const
    {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    int make(const string& words) const
    {
        const string line = "cd '" + files.path + "' && '" LOOMFILE_BINARY "' sheet " + words + " >output 2>errors";
        return WEXITSTATUS(system(line.c_str()));
    }
    // The rows of a page's data, by the name of the file.
    std::map<string, Json> rows(const string& script = "out_files/files.js") const
    {
        const string text = get(script);
        const string before = "loomfileSheet(JSON.parse(";
        EXPECT_TRUE(text.starts_with(before));
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c > 0 && c != '<'; }));
        std::map<string, Json> found;
        const string literal = text.substr(before.size(), text.rfind("), {") - before.size());
        for (const Json& row : Json::parse(Json::parse(literal).get<string>()))
            found[row["name"]] = row;
        return found;
    }
    string pictureOf(const string& name) const { return get(rows().at(name)["thumb"]); }
    size_t count(const string& folder) const
    {
        return static_cast<size_t>(std::distance(fs::directory_iterator(path(folder)), {}));
    }
    // The same size and time, as only what does not look at the bytes takes for the same file.
    void swapContents(const string& name, const Bytes& bytes) const
    {
        const auto time = fs::last_write_time(path(name));
        ASSERT_EQ(bytes.size(), fs::file_size(path(name)));
        files.write(name, bytes);
        fs::last_write_time(path(name), time);
    }
    void touch(const string& name) const
    {
        fs::last_write_time(path(name), fs::last_write_time(path(name)) + std::chrono::seconds(1));
    }
};

} // namespace

TEST_F(Sheet, ShowsWhatIsEmptyAndOutlivesDamageOfItsCache)
{
    fs::create_directory(path("archive"));
    files.write("archive/a.gif", gif);
    files.write("archive/empty.bmp", Bytes());
    files.write("archive/empty.txt", Bytes());
    for (int i = 0; i < 2; i++) {
        EXPECT_NE(make("archive -o out.html"), 0);
        EXPECT_EQ(rows().size(), 2u);
        EXPECT_EQ(rows().at("empty.bmp")["reason"], "the file is empty");
        std::ofstream(path("out_files/cache.jsonl"), std::ios::app)
            << "{\"id\":\"x\",\"status\":\"a\"}\n{\"id\":\"y\",\"row\":\"]\"}\n";
    }
}

TEST_F(Sheet, ReadsOnlyWhatHasChanged)
{
    const Bytes broken(gif.size(), 'x');
    fs::create_directory(path("archive"));
    for (const char* name : {"archive/a.gif", "archive/b.gif"})
        files.write(name, gif);
    files.write("archive/notes.txt", "no picture");
    ASSERT_EQ(make("-r . -o out.html"), 0) << get("errors");
    EXPECT_EQ(rows().size(), 2u);
    EXPECT_EQ(rows()["a.gif"]["picture"],
              "out_files/pictures/" + fs::path(rows()["a.gif"]["thumb"]).filename().string());

    swapContents("archive/a.gif", broken);
    make("-r . -o out.html"); // sees the page and what this test has printed, too
    const string first = get("out_files/cache.jsonl");
    EXPECT_EQ(make("-r . -o out.html"), 0); // its own pictures are no designs of the folder
    EXPECT_EQ(rows().size(), 2u);
    EXPECT_EQ(get("out_files/cache.jsonl").size(), first.size());

    // Changed, and looked at in another way.
    touch("archive/a.gif");
    EXPECT_NE(make("-r . -o out.html"), 0);
    EXPECT_NE(rows().at("a.gif")["status"], 0);
    EXPECT_NE(rows().at("a.gif")["reason"], "");
    swapContents("archive/b.gif", broken);
    EXPECT_EQ(rows().at("b.gif")["status"], 0);
    make("-r . -o out.html --sett 20x10");
    EXPECT_NE(rows().at("b.gif")["status"], 0);

    // A file that is gone takes its pictures along; those of others, and what is somebody else's, stay.
    files.write("archive/a.gif", gif);
    files.write("out_files/thumbs/mine.png", "mine");
    make("-r archive -o out.html");
    EXPECT_EQ(count("out_files/thumbs"), 2u);
    fs::remove(path(rows().at("a.gif")["thumb"])); // is made again
    make("-r archive -o out.html");
    EXPECT_EQ(count("out_files/thumbs"), 2u);
    fs::remove(path("archive/a.gif"));
    make("-r archive -o out.html");
    EXPECT_EQ(rows().size(), 1u);
    EXPECT_EQ(count("out_files/thumbs"), 1u);
    EXPECT_EQ(count("out_files/pictures"), 0u);
    EXPECT_EQ(get("out_files/thumbs/mine.png"), "mine");

    // A cache that was cut off, as when the computer went down.
    const string whole = get("out_files/cache.jsonl");
    files.write("out_files/cache.jsonl", whole.substr(0, whole.size() - 20));
    make("-r archive -o out.html");
    EXPECT_EQ(get("out_files/cache.jsonl"), whole);
}

TEST_F(Sheet, ShowsADesignOfSeveralFilesOnce)
{
    fs::create_directory(path("archive"));
    for (const Sample& sample : allSamples()) {
        if (string(sample.name).starts_with("motif-parts.j0"))
            files.write("archive/" + string(sample.name), sample.encode());
    }
    ASSERT_EQ(make("archive -o out.html"), 0) << get("errors");
    EXPECT_EQ(rows().size(), 1u);
    const string whole = pictureOf("motif-parts.j01");
    // Another part changes the picture, although the file that is shown is the same.
    string second = get("archive/motif-parts.j02");
    std::fill(second.end() - 2000, second.end(), 0);
    files.write("archive/motif-parts.j02", second);
    touch("archive/motif-parts.j02");
    make("archive -o out.html");
    EXPECT_EQ(rows().size(), 1u);
    EXPECT_NE(pictureOf("motif-parts.j01"), whole);
    const string changed = pictureOf("motif-parts.j01");
    make("archive -o out.html");
    EXPECT_EQ(pictureOf("motif-parts.j01"), changed);
}

TEST_F(Sheet, LeavesAloneWhatIsNotItsOwn)
{
    files.write("a.gif", gif);
    files.write("out.html", "a page of the user's");
    EXPECT_EQ(make("a.gif -o out.html"), 12);
    EXPECT_EQ(get("out.html"), "a page of the user's");
    EXPECT_FALSE(fs::exists(path("out_files")));
    EXPECT_EQ(make("a.gif -o out.html --one-file --force"), 0);
    EXPECT_FALSE(fs::exists(path("out_files")));
    EXPECT_EQ(make("a.gif -o out.html --one-file"), 0);
    EXPECT_NE(get("out.html").find("data:image/png;base64,iVBORw0KGgo"), string::npos);

    fs::create_directory(path("out_files"));
    files.write("out_files/files.js", "the user's");
    EXPECT_EQ(make("a.gif -o out.html"), 12);
    EXPECT_EQ(get("out_files/files.js"), "the user's");
    EXPECT_EQ(make("a.gif -o out.txt"), 64);
    EXPECT_EQ(make("a.gif -o nowhere/out.html"), 12);
}

// Names that would end the script, or the string that they stand in.
TEST_F(Sheet, WritesAnyNameAsData)
{
    fs::create_directories(path("in/<"));
    for (const char* name : {"in/</script>.gif", "in/a\u2028\"\\.gif", "in/latin\xE9\n.gif"})
        files.write(name, gif);
    ASSERT_EQ(make("-r in -o '100% #1?.html' --title '</title><b>&\"@DATA@'"), 0) << get("errors");
    const auto found = rows("100% #1?_files/files.js");
    EXPECT_EQ(found.at("script>.gif")["path"], "in/</script>.gif");
    EXPECT_TRUE(found.contains("a\u2028\"\\.gif") && found.contains("latin\uFFFD\n.gif"));
    const string page = get("100% #1?.html");
    EXPECT_NE(page.find("<title>&lt;/title&gt;&lt;b&gt;&amp;\"@DATA@</title>"), string::npos);
    EXPECT_NE(page.find("<script src=\"100%25%20%231%3F_files/files.js\"></script>"), string::npos);
    for (const auto& [name, row] : found)
        EXPECT_TRUE(row["thumb"].get<string>().starts_with("100%25%20%231%3F_files/thumbs/"));
}
