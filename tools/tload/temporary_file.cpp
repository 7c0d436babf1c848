#include "temporary_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "host.h"

static constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// What the signal handler removes; empty when there is nothing.
static char nameToRemove[2 * PATH_MAX];

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

static void removeAndEnd(int signalNumber)
{
    if (nameToRemove[0] != 0)
        unlink(nameToRemove);
    raise(signalNumber); // its default disposition is back, and it is delivered when this handler returns
}

static void catchEndingSignals()
{
    struct sigaction action = {};
    action.sa_handler = removeAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    for (int signalNumber : endingSignals)
        sigaddset(&action.sa_mask, signalNumber);
    for (int signalNumber : endingSignals) {
        struct sigaction present;
        // What started this program may want it to outlive a signal.
        if (sigaction(signalNumber, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            sigaction(signalNumber, &action, nullptr);
    }
    // A limit on the size of files is to be an error of the write.
    signal(SIGXFSZ, SIG_IGN);
}

// Creates the file from the template in nameToRemove, while no signal can find a name without its file or the other
// way round.
static int createUninterrupted(const std::string& nameTemplate)
{
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    for (int signalNumber : endingSignals)
        sigaddset(&blocked, signalNumber);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    memcpy(nameToRemove, nameTemplate.c_str(), nameTemplate.size() + 1);
    int descriptor = mkostemp(nameToRemove, O_CLOEXEC);
    int errorNumber = errno;
    if (descriptor < 0)
        nameToRemove[0] = 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = errorNumber;
    return descriptor;
}

TemporaryFile::TemporaryFile(const std::string& targetName)
    : target(targetName), resolvedTarget(resolveTarget(targetName))
{
    std::string nameTemplate = directoryOf(resolvedTarget) + ".tload-XXXXXX";
    if (nameTemplate.size() >= sizeof nameToRemove)
        failToWrite(target, ENAMETOOLONG);
    catchEndingSignals();
    int descriptor = createUninterrupted(nameTemplate);
    if (descriptor < 0)
        failToWrite(target, errno);
    mode_t mask = umask(0);
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    stream = fdopen(descriptor, "wb");
    if (stream == nullptr) {
        int errorNumber = errno;
        close(descriptor);
        unlink(nameToRemove);
        nameToRemove[0] = 0;
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
    if (fclose(closing) != 0 || rename(nameToRemove, resolvedTarget.c_str()) != 0)
        failToWrite(target, errno);
    nameToRemove[0] = 0;
}

TemporaryFile::~TemporaryFile()
{
    if (stream != nullptr)
        fclose(stream);
    if (nameToRemove[0] != 0)
        unlink(nameToRemove);
    nameToRemove[0] = 0;
}
