#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "messages.h"
#include "output_target.h"

void failToWrite(const std::string& target, int errorNumber)
{
    throw Failure{exitCannotWrite, target, "the file cannot be written " + systemReason(errorNumber)};
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
