#include "output_target.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "messages.h"

std::string directoryOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

static void checkDirectory(const std::string& target, const std::string& resolved)
{
    std::string directory = directoryOf(resolved);
    if (access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) != 0)
        failToWrite(target, errno);
}

void failAsTaken(const std::string& target)
{
    throw Failure{exitCannotWrite, target, "the file exists already, --force replaces it"};
}

std::string resolveTarget(const std::string& target, bool mayReplace)
{
    struct stat info;
    if (stat(target.c_str(), &info) != 0) {
        if (errno != ENOENT)
            failToWrite(target, errno);
        checkDirectory(target, target);
        return target;
    }
    if (S_ISDIR(info.st_mode))
        throw Failure{exitCannotWrite, target, "this is a directory, not a file to write"};
    if (!S_ISREG(info.st_mode))
        throw Failure{exitCannotWrite, target, "this is a pipe or a device, not a file to write"};
    if (!mayReplace)
        failAsTaken(target);
    char resolved[PATH_MAX];
    if (realpath(target.c_str(), resolved) == nullptr)
        failToWrite(target, errno);
    checkDirectory(target, resolved);
    return resolved;
}

void checkEnding(const std::string& target, const std::vector<std::string>& endings)
{
    if (std::any_of(endings.begin(), endings.end(), [&](const std::string& one) { return hasEnding(target, one); }))
        return;
    std::string all;
    for (const std::string& ending : endings)
        all += (all.empty() ? "" : &ending == &endings.back() ? " or " : ", ") + ending;
    throw Failure{exitUsage, target.empty() ? "\"\"" : target, "the name of what is written has to end in " + all};
}

void checkTarget(const std::string& target, const std::vector<std::string>& endings, bool mayReplace)
{
    checkEnding(target, endings);
    resolveTarget(target, mayReplace);
}

void checkPictureTarget(const std::string& target, bool mayReplace)
{
    if (target != standardStream)
        checkTarget(target, {".png"}, mayReplace);
    else if (isatty(STDOUT_FILENO) != 0)
        throw Failure{exitUsage, target, "standard output is a terminal, send it to a file or a program"};
}

void keepSource(const Picture& picture, const std::string& target)
{
    struct stat source;
    struct stat present;
    if (!(picture.info.format == formatPng && hasEnding(target, ".png")) &&
        stat(picture.source.c_str(), &source) == 0 && stat(target.c_str(), &present) == 0 &&
        source.st_dev == present.st_dev && source.st_ino == present.st_ino)
        throw Failure{exitCannotWrite, target, "this is the file that is read, what is written needs another name"};
}
