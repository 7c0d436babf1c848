#include "work_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cleanup.h"
#include "host.h"

constexpr char workFolderVariable[] = "TLOAD_WORK_FOLDER";

std::string guardedCommand(const std::string& command, int warning)
{
    if (command.empty())
        return "";
    // A minute of computing, and 4194304 blocks of 512 bytes.
    return "guarded() { ulimit -S -t 60 2>/dev/null; ulimit -S -f 4194304 2>/dev/null; " + command +
           " \"$@\"; result=$?; [ $result = 0 ] || [ $result = " + std::to_string(warning) +
           " ] || : >\"$TLOAD_WORK_FOLDER/failed\"; }; guarded";
}

void WorkFolder::make()
{
    const char* before = llibGetTmpDir();
    if (before == nullptr || !path.empty())
        return;
    std::string folder = std::string(before) + "/tload-XXXXXX";
    if (folder.size() >= sizeof leftovers.folder)
        throw Failure{exitCannotWrite, before, "no temporary folder can be made here, its name is too long"};
    catchEndingSignals();
    {
        const SignalsBlocked blocked;
        if (mkdtemp(folder.data()) == nullptr)
            throw Failure{exitCannotWrite, before, "no temporary folder can be made here " + systemReason(errno)};
        strcpy(leftovers.folder, folder.c_str());
    }
    path = folder;
    tmpDirBefore = before;
    const std::string files = path + "/files";
    if (mkdir(files.c_str(), S_IRWXU) != 0)
        throw Failure{exitCannotWrite, before, "no temporary folder can be made here " + systemReason(errno)};
    llibSetTmpDir(files.c_str());
    setenv("TMPDIR", files.c_str(), 1);
    setenv(workFolderVariable, path.c_str(), 1);
}

bool WorkFolder::helperFailed() const
{
    return !path.empty() && access((path + "/failed").c_str(), F_OK) == 0;
}

WorkFolder::~WorkFolder()
{
    if (path.empty())
        return;
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
    leftovers.folder[0] = 0;
    llibSetTmpDir(tmpDirBefore.c_str());
    setenv("TMPDIR", tmpDirBefore.c_str(), 1);
}
