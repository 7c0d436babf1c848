// loomfile with many files: folders, lists, names of what is written, and what is counted.
#include <pty.h>

#include <csignal>
#include <map>
#include <thread>

#include "samples/bmp_writer.h"
#include "samples/bonas_writer.h"
#include "samples/gif_writer.h"
#include "samples/jc5_writer.h"
#include "samples/wif_writer.h"
#include "tests/tool_support.h"

struct ManyFiles : Tool {
    // a/1.bmp a/2.gif a/b/3.bmp, and what is not to be counted
    ManyFiles()
    {
        fs::create_directories(path("a/b"));
        fs::create_directories(path("a/.hidden"));
        const Bytes bmp = encodeBmp(noisePicture(kindRGB, 5, 3, 0, 1));
        files.write("a/1.bmp", bmp);
        files.write("a/2.gif", encodeGif(motifPicture(kindIndexed, 9, 7)));
        files.write("a/b/3.bmp", bmp);
        files.write("a/.hidden/4.bmp", bmp);
        files.write("a/notes.txt", "nothing to see");
    }
    std::set<string> found(const string& folder) const
    {
        std::set<string> all;
        for (const auto& entry : fs::recursive_directory_iterator(path(folder))) {
            if (!entry.is_directory())
                all.insert(fs::relative(entry.path(), path(folder)));
        }
        return all;
    }
};

static vector<string> linesOf(const string& text)
{
    std::istringstream stream(text);
    vector<string> lines;
    for (string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

TEST_F(ManyFiles, AreToldInALineEach)
{
    files.write("a/cut.gif", "GIF89a");
    const ToolResult told = run({"info", "a", "a/b", "none.bmp"});
    EXPECT_EQ(told.exitCode, 10);
    const vector<string> lines = linesOf(told.output);
    ASSERT_EQ(lines.size(), 3u);
    for (const auto& [line, words] :
         {std::pair(0, "5 x 3  true colour  a/1.bmp"), {1, "  a/2.gif"}, {2, "  a/b/3.bmp"}})
        EXPECT_TRUE(lines[line].ends_with(words)) << lines[line];
    EXPECT_EQ(lines[0].find("a/1.bmp"), lines[1].find("a/2.gif"));
    EXPECT_NE(told.errors.find("loomfile: none.bmp: the file cannot be opened"), string::npos);
    EXPECT_NE(told.errors.find("loomfile: a/cut.gif: the file has only 6 bytes"), string::npos);
    EXPECT_TRUE(told.errors.ends_with("loomfile: 3 read, 0 written, 1 refused, 1 failed, 1 no pictures.\n"))
        << told.errors;
    fs::remove(path("a/cut.gif"));
    EXPECT_TRUE(run({"info", "-v", "a"}).output.starts_with("a/1.bmp\n  Format        BMP (23)\n"));

    EXPECT_EQ(run({"info", "-r", "a", "--csv", "--fields", "width,file,draft", "-q"}).output,
              "width,file,draft\n5,a/1.bmp,\n9,a/2.gif,\n5,a/b/3.bmp,\n");
    EXPECT_EQ(run({"info", "a/1.bmp", "x,y", "--jsonl", "--fields", "error,width"}).output,
              "{\"error\":null,\"width\":5}\n{\"error\":\"the file cannot be opened (No such file or "
              "directory)\",\"width\":null}\n");
    const string all = run({"info", "-r", "a", "--json"}).output;
    EXPECT_EQ(Json::parse(all).size(), 3u);
    EXPECT_EQ(run({"info", "-r", "a", "--json", "--no-workers"}).output, all);
    string lined = "[";
    for (const string& line : linesOf(run({"info", "-r", "a", "--jsonl", "-j", "3"}).output))
        lined += (lined.size() > 1 ? "," : "") + line;
    EXPECT_EQ(Json::parse(lined + "]"), Json::parse(all));
    EXPECT_EQ(Json::parse(run({"seam", "a", "--json"}).output).size(), 2u);
    EXPECT_EQ(run({"info", "--fields", "size", "--csv", "a"}).exitCode, 64);
}

TEST_F(ManyFiles, HaveNamesThatAreTextEverywhere)
{
    const string strange[] = {"new\nline.bmp", "bad\xFF\xFE.bmp", "<b>&\"'.bmp", "\xC3\xA4\xF0\x9F\xA7\xB5\x7F.bmp"};
    for (const string& name : strange)
        fs::copy(path("a/1.bmp"), path("a/b/" + name));
    fs::create_symlink("..", path("a/b/loop"));
    fs::create_symlink("self", path("a/self"));
    const ToolResult told = run({"info", "-r", "a", "--jsonl"});
    EXPECT_EQ(told.exitCode, 3);
    EXPECT_NE(told.errors.find("a/b/loop: the link leads to a folder that was read already"), string::npos);
    EXPECT_NE(told.errors.find("a/self: the file cannot be opened (Too many levels"), string::npos);
    std::set<string> names;
    for (const string& line : linesOf(told.output))
        names.insert(Json::parse(line)["file"]);
    EXPECT_EQ(names, (std::set<string>{"a/1.bmp", "a/2.gif", "a/self", "a/b/3.bmp", "a/b/new\nline.bmp",
                                       "a/b/bad\xEF\xBF\xBD\xEF\xBF\xBD.bmp", "a/b/<b>&\"'.bmp",
                                       "a/b/\xC3\xA4\xF0\x9F\xA7\xB5\x7F.bmp"}));
    EXPECT_EQ(run({"convert", "a/b", "-o", "out", "--report", "r.csv", "-q"}).exitCode, 0);
    EXPECT_EQ(found("out").size(), 5u);
    EXPECT_TRUE(found("out").contains("bad\xFF\xFE.png"));
    EXPECT_NE(get(path("r.csv")).find("\n\"a/b/new\nline.bmp\",0,,BMP,5,3,102,,\"out/new\nline.png\"\n"), string::npos);
}

TEST_F(ManyFiles, ComeInListsOfLinesAndOfZeros)
{
    files.write("lines", "a/1.bmp\na\n\na/b/3.bmp");
    const string zeros = string("a/1.bmp\0a/b/new\nline.bmp\0", 25);
    files.write("zeros", zeros);
    fs::copy(path("a/1.bmp"), path("a/b/new\nline.bmp"));
    const vector<string> csv = {"info", "--csv", "--fields", "file", "-q", "--files-from"};
    auto listed = [&](const string& list) {
        vector<string> arguments = csv;
        arguments.push_back(list);
        return run(arguments).output;
    };
    EXPECT_EQ(listed("lines"), "file\na/1.bmp\na/b/3.bmp\n"); // who lists folders has looked into them
    EXPECT_EQ(listed("zeros"), "file\na/1.bmp\n\"a/b/new\nline.bmp\"\n");
    files.write("elsewhere", "a/1.bmp\r\na/b/3.bmp\r\n");
    EXPECT_EQ(listed("elsewhere"), "file\na/1.bmp\na/b/3.bmp\n");
    EXPECT_EQ(
        shell(
            "{ printf a/1.bmp; sleep 0.1; printf '\\0a/2.gif\\0'; } | loomfile info --files-from - --jsonl >out.jsonl"),
        0);
    EXPECT_EQ(shell("find a/b -type f -print0 | sort -z | loomfile convert --files-from - -o out >/dev/null"), 0);
    EXPECT_EQ(found("out"), (std::set<string>{"a/b/3.png", "a/b/new\nline.png"}));
    EXPECT_EQ(run({"info", "--files-from", "none"}).exitCode, 3);
    EXPECT_EQ(run({"info", "--files-from", "-", "-"}).exitCode, 64);
    // What is known is told while the list is still open.
    EXPECT_EQ(shell("{ echo a/1.bmp; for i in $(seq 100); do grep -qs 1.bmp out.jsonl && break; sleep 0.1; done;"
                    "grep -qs 1.bmp out.jsonl && echo a/2.gif; } | loomfile info --files-from - --jsonl >out.jsonl"),
              0);
    EXPECT_EQ(linesOf(get(path("out.jsonl"))).size(), 2u);
}

TEST_F(ManyFiles, AreWrittenWhereTheyAreToldTo)
{
    // Into the folder that is read, which does not make them inputs.
    EXPECT_EQ(run({"convert", "-r", "a", "-o", "a/b/out"}).exitCode, 0);
    EXPECT_EQ(found("a/b/out"), (std::set<string>{"1.png", "2.png", "b/3.png"}));
    const ToolResult again = run({"convert", "-r", "a", "-o", "a/b/out"});
    EXPECT_EQ(again.exitCode, 12);
    EXPECT_TRUE(again.errors.ends_with("0 read, 0 written, 0 refused, 3 failed, 1 no pictures.\n")) << again.errors;
    fs::remove(path("a/b/out/2.png"));
    const auto before = fs::last_write_time(path("a/b/out/1.png"));
    const ToolResult more = run({"convert", "-r", "a", "-o", "a/b/out", "--skip-existing"});
    EXPECT_EQ(more.output, "a/2.gif: GIF, 9 x 7, 16 colours -> a/b/out/2.png\n");
    EXPECT_TRUE(more.errors.ends_with("1 read, 1 written, 0 refused, 0 failed, 2 skipped, 1 no pictures.\n"));
    EXPECT_EQ(fs::last_write_time(path("a/b/out/1.png")), before);

    EXPECT_EQ(run({"convert", "-r", "a", "-o", "t/{folder}/x-{name}.{ending}.png", "-q"}).output, "");
    EXPECT_EQ(found("t"),
              (std::set<string>{"x-1.bmp.bmp.png", "x-2.gif.gif.png", "b/x-3.bmp.bmp.png", "b/out/x-1.png.png.png",
                                "b/out/x-2.png.png.png", "b/out/b/x-3.png.png.png"}));
    EXPECT_EQ(make({"palette", "a/2.gif", "-o", "p"}).output, "a/2.gif: GIF, 16 colours -> p/2.gpl\n");
    files.write("d.wif", encodeWif(motifDraft()));
    EXPECT_EQ(run({"draft", "d.wif", "-o", "{stem}.svg"}).exitCode, 0);

    // Of two that would be the same file the second is refused, whoever is faster, and also when they may replace.
    for (const vector<string>& names : {vector<string>{"a/1.bmp", "a/b/3.bmp"}, {"a/b/3.bmp", "a/1.bmp"}}) {
        const ToolResult both = make({"convert", names[0], names[1], "-o", "same.png", "--report", "r.jsonl"});
        EXPECT_EQ(both.exitCode, 12);
        EXPECT_TRUE(both.output.starts_with(names[0]));
        const vector<string> rows = linesOf(get(path("r.jsonl")));
        EXPECT_EQ(Json::parse(rows.at(0))["target"], "same.png");
        EXPECT_EQ(Json::parse(rows.at(1))["reason"], "another file was to become same.png too, and came first");
    }
    const std::pair<vector<string>, string> mistakes[] = {
        {{"convert", "a"}, "OUT is required"},
        {{"convert", "-r", "a", "b"}, "say where to write"},
        {{"convert", "a", "-o", "{size}.png"}, "between braces there can be"},
        {{"convert", "a", "-o", "{stem}.jpg"}, "has to end in .png"},
        {{"info", "a", "--report", "r.txt"}, "has to end in .csv or .jsonl"},
        {{"info"}, "say which files"}};
    for (const auto& [arguments, words] : mistakes) {
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 64);
        EXPECT_NE(result.errors.find(words), string::npos) << result.errors;
    }
}

TEST_F(ManyFiles, CountPartsOfADesignOnce)
{
    const Picture picture = noisePicture(kindBilevel, 40, 9, 0, 1);
    fs::create_directory(path("d"));
    files.write("d/rose.j01", encodeJc5(picture, {.layout = {0x10101}, .pickCount = 5}));
    files.write("d/rose.j02", encodeJc5(picture, {.layout = {0x10101}, .firstPick = 5}));
    for (const vector<string>& names : {vector<string>{"d"}, {"d/rose.j02", "d/rose.j01"}}) {
        vector<string> arguments = {"convert", "-o", "out", "--force"};
        arguments.insert(arguments.end(), names.begin(), names.end());
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_TRUE(
            result.errors.ends_with("1 read, 1 written, 0 refused, 0 failed, 1 left out as parts of a design.\n"))
            << result.errors;
        EXPECT_TRUE(load(path("out/rose.png")).pixels() == picture.rows);
    }
    // What goes on a design that is there already is no other one, also where the first file comes last by name.
    fs::create_directory(path("e"));
    files.write("e/rose.ep", encodeBonas(picture, {.picksPerFile = 5}));
    files.write("e/rose.001", encodeBonas(picture, {.picksPerFile = 5}, 1));
    for (int i = 0; i < 2; i++) {
        run({"convert", "-o", "again/{name}.png", "--skip-existing", "d/rose.j01", "d/rose.j02", "e/rose.001",
             "e/rose.ep"});
        EXPECT_EQ(found("again").size(), 2u);
    }
    run({"convert", "-o", "found/{name}.png", "e"});
    EXPECT_EQ(found("found"), (std::set<string>{"rose.ep.png"}));
}

TEST_F(ManyFiles, GoOnWhereTheyWereInterrupted)
{
    std::set<string> all;
    const Bytes bmp = encodeBmp(noisePicture(kindRGB, 700, 500, 0, 1));
    fs::create_directory(path("in"));
    for (int i = 0; i < 60; i++) {
        files.write("in/" + std::to_string(i) + ".bmp", bmp);
        all.insert(std::to_string(i) + ".png");
    }
    const pid_t process = start({"convert", "in", "-o", "out"});
    while (!fs::exists(path("out/10.png")))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(process, SIGTERM);
    EXPECT_EQ(finish(process).exitCode, -SIGTERM);
    const std::set<string> some = found("out");
    EXPECT_LT(some.size(), 60u);
    for (const string& name : some)
        EXPECT_EQ(load(path("out/" + name)).status, 0);
    const ToolResult rest = run({"convert", "in", "-o", "out", "--skip-existing"});
    EXPECT_EQ(linesOf(rest.output).size(), 60 - some.size());
    EXPECT_EQ(found("out"), all);
    // The disk is full in the middle.
    EXPECT_EQ(shell("ulimit -f 1; loomfile convert in a/2.gif -o small >/dev/null"), 12);
    EXPECT_EQ(found("small"), std::set<string>{"2.png"});
}

TEST_F(ManyFiles, ShowHowFarTheyAreOnATerminal)
{
    files.write("b.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
    int terminal = -1;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (process == 0) {
        if (chdir(files.path.c_str()) == 0)
            execl(LOOMFILE_BINARY, "loomfile", "--vector-preview", "sleep 1; :", "info", "a/1.bmp", "b.svg", nullptr);
        _exit(1);
    }
    string shown;
    char bytes[1000];
    for (ssize_t got = 0; (got = read(terminal, bytes, sizeof bytes)) > 0;)
        shown.append(bytes, static_cast<size_t>(got));
    close(terminal);
    waitpid(process, nullptr, 0);
    EXPECT_NE(shown.find("\r[############............] 1 of 2 files, "), string::npos) << shown;
    EXPECT_NE(shown.find(" a second, "), string::npos);
    EXPECT_NE(shown.find(" left, 0 failed"), string::npos);
    EXPECT_NE(shown.find("\r" + string(70, ' ')), string::npos) << "and the line is gone";
}

// What docs/archives.md tells to do on several computers, with two jobs of this one.
TEST_F(ManyFiles, AreSharedOutAndResumedByParallel)
{
    std::set<string> pictures;
    const Bytes bmp = encodeBmp(noisePicture(kindRGB, 400, 400, 0, 1));
    fs::create_directories(path("archive"));
    for (int i = 10; i < 40; i++) {
        files.write("archive/" + std::to_string(i) + ".bmp", bmp);
        pictures.insert("archive/" + std::to_string(i) + ".bmp.png");
    }
    files.write("archive/99.gif", "GIF89a, and no more");
    ASSERT_EQ(shell("mkdir parts reports pictures && find archive -type f -print0 | sort -z > all.list && "
                    "split -t '\\0' -l 6 -d -a 4 all.list parts/part."),
              0);
    const vector<string> job = {
        "-c", "exec parallel --will-cite -j 2 --joblog jobs.log --resume-failed " LOOMFILE_BINARY
              " convert -j 1 --files-from {} -o \"'pictures/{folder}/{name}.png'\" --skip-existing --force -q"
              " --report reports/{/}.jsonl ::: parts/part.*"};
    pid_t process = start(job, "/bin/sh");
    while (found("pictures").size() < 8)
        usleep(2000);
    kill(process, SIGTERM); // no further jobs
    usleep(200000);
    kill(process, SIGTERM); // and no longer those that run
    finish(process);
    std::map<string, fs::file_time_type> whole;
    for (const string& name : found("pictures")) {
        if (name.ends_with(".png"))
            whole[name] = fs::last_write_time(path("pictures/" + name));
    }
    EXPECT_LT(whole.size(), pictures.size());

    EXPECT_EQ(finish(start(job, "/bin/sh")).exitCode, 1); // one part has a file that is refused
    EXPECT_EQ(found("pictures"), pictures);
    for (const auto& [name, time] : whole)
        EXPECT_EQ(fs::last_write_time(path("pictures/" + name)), time) << name;
    EXPECT_EQ(shell("grep -hv '\"status\":0,' reports/*.jsonl | grep -c '\"file\":\"archive/99.gif\"' >count"), 0);
    EXPECT_EQ(get(path("count")), "1\n");
}
