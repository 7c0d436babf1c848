#include "temporary_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "cleanup.h"
#include "host.h"
#include "known_formats.h"

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

std::string resolveTarget(const std::string& target)
{
    if (target.empty())
        throw Failure{exitCannotWrite, "\"\"", "the name of the file to write is empty"};
    struct stat info;
    if (stat(target.c_str(), &info) != 0) {
        if (errno != ENOENT)
            failToWrite(target, errno);
        if (target.ends_with('/'))
            throw Failure{exitCannotWrite, target, "this names a directory, not a file to write"};
        checkDirectory(target, target);
        return target;
    }
    if (S_ISDIR(info.st_mode))
        throw Failure{exitCannotWrite, target, "this is a directory, not a file to write"};
    if (!S_ISREG(info.st_mode))
        throw Failure{exitCannotWrite, target, "this is a pipe or a device, not a file to write"};
    char resolved[PATH_MAX];
    if (realpath(target.c_str(), resolved) == nullptr)
        failToWrite(target, errno);
    checkDirectory(target, resolved);
    return resolved;
}

// Creates the file from the template in leftovers.file.
static int createUninterrupted(const std::string& nameTemplate)
{
    const SignalsBlocked blocked;
    memcpy(leftovers.file, nameTemplate.c_str(), nameTemplate.size() + 1);
    const int descriptor = mkostemp(leftovers.file, O_CLOEXEC);
    if (descriptor < 0)
        leftovers.file[0] = 0;
    return descriptor;
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
    if (picture.format != pngImage && stat(picture.file.c_str(), &source) == 0 && stat(target.c_str(), &present) == 0 &&
        source.st_dev == present.st_dev && source.st_ino == present.st_ino)
        throw Failure{exitCannotWrite, target, "this is the file that is read, the PNG needs another name"};
}

TemporaryFile::TemporaryFile(const std::string& targetName)
    : target(targetName), resolvedTarget(resolveTarget(targetName))
{
    std::string nameTemplate = directoryOf(resolvedTarget) + ".tload-XXXXXX";
    if (nameTemplate.size() >= sizeof leftovers.file)
        failToWrite(target, ENAMETOOLONG);
    catchEndingSignals();
    int descriptor = createUninterrupted(nameTemplate);
    if (descriptor < 0)
        failToWrite(target, errno);
    fchmod(descriptor, modeFor(resolvedTarget));
    stream = fdopen(descriptor, "wb");
    if (stream == nullptr) {
        int errorNumber = errno;
        close(descriptor);
        unlink(leftovers.file);
        leftovers.file[0] = 0;
        failToWrite(target, errorNumber);
    }
}

void TemporaryFile::moveToTarget()
{
    // Some file systems have no fsync and say so with EINVAL.
    if (fflush(stream) != 0 || (fsync(fileno(stream)) != 0 && errno != EINVAL))
        failToWrite(target, errno);
    FILE* closing = stream;
    stream = nullptr;
    if (fclose(closing) != 0 || rename(leftovers.file, resolvedTarget.c_str()) != 0)
        failToWrite(target, errno);
    leftovers.file[0] = 0;
}

TemporaryFile::~TemporaryFile()
{
    if (stream != nullptr)
        fclose(stream);
    if (leftovers.file[0] != 0)
        unlink(leftovers.file);
    leftovers.file[0] = 0;
}
