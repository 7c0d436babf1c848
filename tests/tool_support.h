// Runs loomfile as a user would, in a folder of its own.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/support.h"

namespace fs = std::filesystem;
using Json = nlohmann::json;
using std::string;
using std::vector;

struct ToolResult {
    int exitCode; // negative: the signal that ended it
    string output;
    string errors;
};

inline string get(const string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

struct Tool : testing::Test {
    TestDirectory files;
    TestDirectory prints; // beside the files, whose names the tests look at

    pid_t start(vector<string> arguments, const string& program = LOOMFILE_BINARY, bool isGroup = false) const
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
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, isGroup ? POSIX_SPAWN_SETPGROUP : 0);
        pid_t process = -1;
        EXPECT_EQ(posix_spawn(&process, program.c_str(), &actions, &attributes, words.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        return process;
    }

    ToolResult finish(pid_t process) const
    {
        int status = 0;
        waitpid(process, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), get(prints.path + "/output"),
                get(prints.path + "/errors")};
    }

    ToolResult run(const vector<string>& arguments) const { return finish(start(arguments)); }
    ToolResult make(vector<string> arguments) const
    {
        arguments.push_back("--force");
        return run(arguments);
    }
    // In the folder of the files, by the shell.
    int shell(const string& line) const
    {
        const int status = system(("cd '" + files.path + "' && loomfile() { '" LOOMFILE_BINARY "' \"$@\"; } && " +
                                   line + " 2>'" + prints.path + "/errors'")
                                      .c_str());
        return WEXITSTATUS(status);
    }
    string path(const string& name) const { return files.path + "/" + name; }

    // A helper may write to its folder for temporary files only, which is somewhere in "tmp".
    bool hasHelperStarted() const
    {
        std::error_code vanished;
        for (fs::recursive_directory_iterator entry(path("tmp"), vanished), end; !vanished && entry != end;
             entry.increment(vanished)) {
            if (entry->path().filename() == "started")
                return true;
        }
        return false;
    }

    std::set<string> names() const
    {
        std::set<string> found;
        for (const auto& entry : fs::directory_iterator(files.path))
            found.insert(entry.path().filename());
        return found;
    }
};
