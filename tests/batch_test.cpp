// The engine with jobs that go wrong in every way: what it costs, and what a worker cannot do.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tools/loomfile/batch/batch.h"
#include "tools/loomfile/batch/message.h"

namespace fs = std::filesystem;
using std::string;
using std::vector;

struct Taken {
    string path;
    int exitCode;
    string reason;
    string text;

    bool operator==(const Taken&) const = default;
};

static BatchOptions optionsFor(vector<string> inputs, int workers = 0, const string& output = "")
{
    BatchOptions options;
    options.inputs = std::move(inputs);
    options.workers = workers;
    options.output = output;
    options.secondsAFile = 0.5;
    return options;
}

struct Folder {
    string path = testing::TempDir() + "batch-XXXXXX";

    Folder() { EXPECT_NE(mkdtemp(path.data()), nullptr); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { fs::remove_all(path); }
};

struct Batches : testing::Test {
    Folder folder, temporary;
    vector<Taken> taken;
    string errors;

    Batches() { setenv("TMPDIR", temporary.path.c_str(), 1); }
    ~Batches() override
    {
        unsetenv("TMPDIR");
        EXPECT_TRUE(fs::is_empty(temporary.path)) << "work folders are gone";
    }

    int run(const Job& job, const BatchOptions& options)
    {
        Batch batch;
        batch.job = job;
        batch.endings = {".out"};
        batch.take = [&](const Input& input, const Result& result) {
            taken.push_back({input.path, result.exitCode, result.reason, result.text});
        };
        taken.clear();
        testing::internal::CaptureStderr();
        const int worst = runBatch(batch, options);
        errors = testing::internal::GetCapturedStderr();
        return worst;
    }
};

static Result said(const string& text)
{
    Result result;
    result.text = text;
    return result;
}

static void runForever()
{
    while (true)
        pause();
}

// By the name of the input.
static Result doHarm(const Input& input, OutputFile*)
{
    if (input.path == "crash") {
        signal(SIGSEGV, SIG_DFL); // sanitizers have a handler of their own
        raise(SIGSEGV);
    }
    if (input.path == "killed")
        raise(SIGKILL);
    if (input.path == "end")
        _exit(5);
    if (input.path == "endless")
        runForever();
    if (input.path == "large") {
#ifdef __SANITIZE_ADDRESS__
        throw std::bad_alloc(); // instead of ending the program
#endif
        const vector<char> memory(u64{1} << 50);
        return said(std::to_string(memory.size()));
    }
    return said(input.path);
}

TEST_F(Batches, LoseOnlyTheFileThatEndsItsWorker)
{
    vector<string> inputs;
    for (int i = 0; i < 200; i++)
        inputs.push_back(i == 20    ? "crash"
                         : i == 21  ? "crash"
                         : i == 60  ? "killed"
                         : i == 90  ? "endless"
                         : i == 130 ? "end"
                         : i == 150 ? "large"
                                    : std::to_string(i));
    const std::pair<string, Taken> lost[] = {
        {"crash", {"crash", 7, "the file made the program crash (signal 11)", ""}},
        {"killed", {"killed", 2, "the work on the file was killed (signal 9), as when memory runs out", ""}},
        {"endless", {"endless", 7, "the work on the file took longer than 0.5 seconds", ""}},
        {"end", {"end", 7, "the file made the program end (5)", ""}},
        {"large", {"large", 2, "there is not enough memory", ""}}};
    for (int workers : {1, 3}) {
        EXPECT_EQ(run(doHarm, optionsFor(inputs, workers)), 7);
        ASSERT_EQ(taken.size(), inputs.size());
        for (size_t i = 0; i < inputs.size(); i++) {
            Taken expected = {inputs[i], 0, "", inputs[i]};
            for (const auto& [name, loss] : lost)
                expected = name == inputs[i] ? loss : expected;
            EXPECT_EQ(taken[i], expected) << i << taken[i].path << taken[i].reason;
        }
        EXPECT_TRUE(errors.ends_with("loomfile: 194 read, 0 written, 0 refused, 6 failed.\n")) << errors;
    }
    EXPECT_EQ(run(doHarm, optionsFor({"crash"})), 7);
    EXPECT_EQ(errors, "loomfile: crash: the file made the program crash (signal 11).\n");
}

// Each answers with what it was told, "" = it could.
static string refusal(bool isDone)
{
    return isDone ? "" : strerrorname_np(errno);
}

TEST_F(Batches, KeepWorkersFromEverythingButTheirFolderAndTheirOutput)
{
    const string elsewhere = folder.path + "/elsewhere";
    const pid_t test = getpid();
    const string name = folder.path + "/untouched";
    std::ofstream(name) << "abc";
    const std::pair<const char*, std::function<string()>> attempts[] = {
        {"write", [&] { return refusal(open(name.c_str(), O_WRONLY) >= 0); }},
        {"cut", [&] { return refusal(truncate(name.c_str(), 0) == 0); }},
        {"make", [&] { return refusal(open(elsewhere.c_str(), O_WRONLY | O_CREAT, 0600) >= 0); }},
        {"folder", [&] { return refusal(mkdir(elsewhere.c_str(), 0700) == 0); }},
        {"link", [&] { return refusal(symlink("/", elsewhere.c_str()) == 0); }},
        {"remove", [&] { return refusal(unlink(name.c_str()) == 0); }},
        {"rename", [&] { return refusal(rename(name.c_str(), elsewhere.c_str()) == 0); }},
        {"mode", [&] { return refusal(chmod(name.c_str(), 0) == 0); }},
        {"socket", [] { return refusal(socket(AF_INET, SOCK_STREAM, 0) >= 0); }},
        {"local socket", [] { return refusal(socket(AF_UNIX, SOCK_STREAM, 0) >= 0); }},
        {"ring", [] { return refusal(syscall(425 /* io_uring_setup */, 1, nullptr) >= 0); }},
        {"trace", [test] { return refusal(syscall(SYS_ptrace, 16 /* attach */, test, 0, 0) == 0); }},
        {"namespace", [] { return refusal(syscall(SYS_unshare, 0x10000000) == 0); }},
        {"terminal", [] { return refusal(ioctl(STDERR_FILENO, TIOCSTI, "x") == 0); }},
        {"signal", [test] { return refusal(kill(test, 0) == 0); }},
        {"helper", [&] { return system(("touch " + elsewhere).c_str()) == 0 ? "" : "EACCES"; }},
    };
    auto job = [&](const Input& input, OutputFile* target) {
        for (const auto& [attempt, isRefused] : attempts) {
            if (input.path == attempt)
                return said(isRefused());
        }
        // What it may do.
        const string work = getenv("TMPDIR");
        EXPECT_EQ(refusal(system("cd $TMPDIR && mkdir a && echo text >a/b && mv a/b c && cat c >/dev/null") == 0), "");
        EXPECT_EQ(access((work + "/c").c_str(), R_OK), 0);
        EXPECT_EQ(fs::file_size(name), 3u);
        fputs("written", target->stream);
        return said(testing::Test::HasFailure() ? "failed" : "all done");
    };
    vector<string> inputs = {"what it may"};
    for (const auto& [attempt, isRefused] : attempts)
        inputs.push_back(attempt);
    run(job, optionsFor(inputs, 2, folder.path + "/{name}.out"));
    ASSERT_EQ(taken.size(), inputs.size());
    EXPECT_EQ(taken[0].text, "all done");
    EXPECT_EQ(fs::file_size(folder.path + "/what it may.out"), 7u);
    for (size_t i = 1; i < taken.size(); i++)
        EXPECT_TRUE(taken[i].text == "EPERM" || taken[i].text == "EACCES") << taken[i].path << taken[i].text;
    EXPECT_FALSE(fs::exists(elsewhere));
}

// A helper dies with its worker, and what was half written is nowhere.
TEST_F(Batches, LeaveNothingOfALostFile)
{
    auto job = [](const Input& input, OutputFile* target) {
        fputs(input.path.c_str(), target->stream);
        if (input.path == "b") {
            fflush(target->stream);
            system("sleep 98765 & kill -SEGV $PPID");
        }
        return said("");
    };
    EXPECT_EQ(run(job, optionsFor({"a", "b", "c"}, 1, folder.path + "/out")), 7);
    EXPECT_EQ(vector<bool>({fs::exists(folder.path + "/out/a.out"), fs::exists(folder.path + "/out/b.out"),
                            fs::exists(folder.path + "/out/c.out")}),
              vector<bool>({true, false, true}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path + "/out"), {}), 2) << errors;
    EXPECT_NE(system("pgrep -f '[s]leep 98765' >/dev/null"), 0);
}

TEST_F(Batches, TakeDesignsOnceAndInputsInOrder)
{
    auto job = [](const Input& input, OutputFile* target) {
        const int number = atoi(input.path.c_str());
        std::this_thread::sleep_for(std::chrono::milliseconds(number % 3));
        Result result = said(input.path);
        result.design = number >= 10 && number < 15 ? "of five parts" : "";
        fputs("x", target->stream);
        return result;
    };
    vector<string> inputs;
    for (int i = 0; i < 60; i++)
        inputs.push_back(std::to_string(i) + ".txt");
    for (bool inOneProcess : {false, true}) {
        BatchOptions options = optionsFor(inputs, 4, folder.path + (inOneProcess ? "/one" : "/many"));
        options.inOneProcess = inOneProcess;
        EXPECT_EQ(run(job, options), 0);
        ASSERT_EQ(taken.size(), 56u);
        for (size_t i = 0; i < taken.size(); i++)
            EXPECT_EQ(taken[i].text, inputs[i < 11 ? i : i + 4]);
        EXPECT_NE(errors.find("56 read, 56 written, 0 refused, 0 failed, 4 left out as parts of a design"),
                  string::npos);
    }
    EXPECT_FALSE(fs::exists(folder.path + "/many/12.out"));
}

TEST(Messages, ComeInPiecesAndAreCheckedForTheirLengths)
{
    const vector<Fields> all = {{"a", "", string(70000, 'x')}, {}, {"b"}};
    string bytes;
    for (const Fields& fields : all)
        appendMessage(bytes, fields);
    Inbox inbox;
    vector<Fields> got;
    for (size_t i = 0; i < bytes.size(); i += 7) {
        inbox.add(bytes.data() + i, std::min<size_t>(7, bytes.size() - i));
        while (std::optional<Fields> fields = inbox.take())
            got.push_back(*fields);
    }
    EXPECT_TRUE(got == all);
    EXPECT_FALSE(inbox.isBroken);
    const string bad[] = {string("\xFF\xFF\xFF\xFF", 4), string("\5\0\0\0\2\0\0\0x", 9), string("\3\0\0\0\0\0\0", 7)};
    for (const string& one : bad) {
        Inbox broken;
        broken.add(one.data(), one.size());
        EXPECT_FALSE(broken.take().has_value());
        EXPECT_TRUE(broken.isBroken);
    }
}
