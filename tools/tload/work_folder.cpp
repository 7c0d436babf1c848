#include "work_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cleanup.h"
#include "host.h"

// Exists from the first picture that needs it until the program ends.
struct ProcessFolder {
    std::string place = "/tmp";
    std::string path;

    ~ProcessFolder()
    {
        std::error_code ignored;
        if (!path.empty())
            std::filesystem::remove_all(path, ignored);
        leftovers.folder[0] = 0;
    }
};

static ProcessFolder process;

void setTemporaryDirectory(const std::string& directory)
{
    process.place = directory;
}

std::string guardedCommand(const std::string& command, int warning)
{
    if (command.empty())
        return "";
    // A minute of computing, and 4194304 blocks of 512 bytes.
    return "guarded() { ulimit -S -t 60 2>/dev/null; ulimit -S -f 4194304 2>/dev/null; " + command +
           " \"$@\"; result=$?; [ $result = 0 ] || [ $result = " + std::to_string(warning) +
           " ] || : >\"$TLOAD_WORK_FOLDER/failed\"; }; guarded";
}

[[noreturn]] static void failToMake(const std::string& why)
{
    throw Failure{exitCannotWrite, process.place, "no temporary folder can be made here " + why};
}

static void makeProcessFolder()
{
    std::string folder = process.place + "/tload-XXXXXX";
    if (folder.size() >= sizeof leftovers.folder)
        failToMake("(its name is too long)");
    catchEndingSignals();
    {
        const SignalsBlocked blocked;
        if (mkdtemp(folder.data()) == nullptr)
            failToMake(systemReason(errno));
        strcpy(leftovers.folder, folder.c_str());
    }
    process.path = folder;
    const std::string files = folder + "/files";
    llibSetTmpDir(files.c_str());
    setenv("TMPDIR", files.c_str(), 1);
    setenv("TLOAD_WORK_FOLDER", folder.c_str(), 1);
}

void WorkFolder::make()
{
    if (process.path.empty())
        makeProcessFolder();
    if (!isMade && mkdir((process.path + "/files").c_str(), S_IRWXU) != 0)
        failToMake(systemReason(errno));
    isMade = true;
}

bool WorkFolder::helperFailed() const
{
    return isMade && access((process.path + "/failed").c_str(), F_OK) == 0;
}

WorkFolder::~WorkFolder()
{
    if (!isMade)
        return;
    std::error_code ignored;
    std::filesystem::remove_all(process.path + "/files", ignored);
    std::filesystem::remove(process.path + "/failed", ignored);
}
