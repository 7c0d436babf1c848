#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "cleanup.h"
#include "messages.h"

void failToWrite(const std::string& target, int errorNumber)
{
    throw Failure{exitCannotWrite, target, "the file cannot be written " + systemReason(errorNumber)};
}

static std::string directoryOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

static void checkDirectory(const std::string& target, const std::string& resolved)
{
    std::string directory = directoryOf(resolved);
    if (access(directory.empty() ? "." : directory.c_str(), W_OK | X_OK) != 0)
        failToWrite(target, errno);
}

[[noreturn]] static void failAsTaken(const std::string& target)
{
    throw Failure{exitCannotWrite, target, "the file exists already, --force replaces it"};
}

// The file that a target names, through links.
static std::string resolveTarget(const std::string& target, bool mayReplace)
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

// Who may read the file that is replaced may read the new one.
static mode_t modeFor(const std::string& target)
{
    struct stat info;
    if (stat(target.c_str(), &info) == 0)
        return info.st_mode & 0777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
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

static FILE* streamOf(int descriptor, const std::string& target)
{
    FILE* stream = fdopen(descriptor, "wb");
    if (stream == nullptr) {
        const int errorNumber = errno;
        close(descriptor);
        failToWrite(target, errorNumber);
    }
    return stream;
}

OutputFile::OutputFile(const std::string& targetName, bool replace)
    : target(targetName), mayReplace(replace), stream(targetName == standardStream ? stdout : nullptr)
{
    if (stream != nullptr)
        return;
    resolvedTarget = resolveTarget(target, mayReplace);
    const int descriptor = unfinished.makeFile(directoryOf(resolvedTarget) + ".loomfile-XXXXXX");
    if (descriptor < 0)
        failToWrite(target, errno);
    fchmod(descriptor, modeFor(resolvedTarget));
    stream = streamOf(descriptor, target);
}

OutputFile::OutputFile(const std::string& targetName, int descriptor)
    : target(targetName), stream(targetName == standardStream ? stdout : streamOf(descriptor, targetName))
{
}

// As rename, but what has come into being under the name meanwhile stays.
static int renameToNew(const char* from, const char* to)
{
    const int result = renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
    return result != 0 && (errno == EINVAL || errno == ENOSYS) ? rename(from, to) : result;
}

void OutputFile::finish()
{
    if (stream == nullptr)
        return;
    if (fflush(stream) != 0)
        failToWrite(target, errno);
    FILE* closing = stream;
    stream = nullptr;
    if (closing == stdout)
        return;
    // Some file systems have no fsync and say so with EINVAL.
    const int errorNumber = fsync(fileno(closing)) != 0 && errno != EINVAL ? errno : 0;
    if (fclose(closing) != 0 || errorNumber != 0)
        failToWrite(target, errorNumber != 0 ? errorNumber : errno);
}

int OutputFile::reopen()
{
    if (stream != nullptr)
        fclose(stream);
    stream = nullptr;
    const int descriptor = open(unfinished.name.c_str(), O_RDWR | O_TRUNC | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0)
        failToWrite(target, errno);
    return descriptor;
}

void OutputFile::moveToTarget()
{
    finish();
    if (unfinished.name.empty())
        return;
    const char* from = unfinished.name.c_str();
    const char* name = resolvedTarget.c_str();
    if ((mayReplace ? rename(from, name) : renameToNew(from, name)) != 0) {
        if (errno == EEXIST)
            failAsTaken(target);
        failToWrite(target, errno);
    }
    unfinished.forget();
}

OutputFile::~OutputFile()
{
    if (stream != nullptr && stream != stdout)
        fclose(stream);
}
