#include "cleanup.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "loomfile.h"

static constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// Changed only while signals are blocked, so that a handler finds it whole.
static UnfinishedFile* firstUnfinished = nullptr;
static std::atomic<pid_t> groupsToKill[mostGroups];

static sigset_t endingSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (int signalNumber : endingSignals)
        sigaddset(&set, signalNumber);
    return set;
}

// Only system calls. An archive may have left folders that not even their owner may look into.
static void removeTree(const char* folder)
{
    const pid_t child = _Fork();
    if (child == 0) {
        close(STDERR_FILENO);
        execl("/bin/sh", "sh", "-c", "rm -rf -- \"$0\" || { chmod -R u+rwx -- \"$0\"; rm -rf -- \"$0\"; }", folder,
              nullptr);
        _exit(1);
    }
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

static void removeNow(const UnfinishedFile& file)
{
    if (file.isFolder)
        removeTree(file.name.c_str());
    else
        unlink(file.name.c_str());
}

// Nothing but system calls here: the signal may have come in the middle of anything.
static void removeAndEnd(int signalNumber)
{
    for (const std::atomic<pid_t>& group : groupsToKill) {
        if (group != 0)
            kill(-group, SIGKILL);
    }
    for (const std::atomic<pid_t>& group : groupsToKill) {
        if (group != 0)
            waitpid(group, nullptr, 0);
    }
    for (const UnfinishedFile* file = firstUnfinished; file != nullptr; file = file->next)
        removeNow(*file);
    loomfileRemoveWorkFolders();
    raise(signalNumber); // its default disposition is back, and it is delivered when this handler returns
}

void endBySignal(int signalNumber)
{
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

void catchEndingSignals()
{
    struct sigaction action = {};
    action.sa_handler = removeAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    action.sa_mask = endingSet();
    for (int signalNumber : endingSignals) {
        struct sigaction present;
        // What started this program may want it to outlive a signal.
        if (sigaction(signalNumber, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            sigaction(signalNumber, &action, nullptr);
    }
}

void leaveEndingSignals()
{
    for (int signalNumber : endingSignals) {
        struct sigaction present;
        if (sigaction(signalNumber, nullptr, &present) == 0 && present.sa_handler == removeAndEnd)
            signal(signalNumber, SIG_DFL);
    }
    firstUnfinished = nullptr;
    for (std::atomic<pid_t>& group : groupsToKill)
        group = 0;
}

void killAtEnd(int slot, pid_t group)
{
    groupsToKill[slot] = group;
}

template <typename Make>
static int makeListed(UnfinishedFile& file, const std::string& nameTemplate, bool isFolder, const Make& make)
{
    const SignalsBlocked blocked;
    file.name = nameTemplate;
    file.isFolder = isFolder;
    const int made = make(file.name.data());
    if (made < 0) {
        file.name.clear();
        return made;
    }
    file.next = firstUnfinished;
    firstUnfinished = &file;
    return made;
}

int UnfinishedFile::makeFile(const std::string& nameTemplate)
{
    return makeListed(*this, nameTemplate, false, [](char* path) { return mkostemp(path, O_CLOEXEC); });
}

int UnfinishedFile::makeFolder(const std::string& nameTemplate)
{
    return makeListed(*this, nameTemplate, true, [](char* path) { return mkdtemp(path) != nullptr ? 0 : -1; });
}

void UnfinishedFile::forget()
{
    const SignalsBlocked blocked;
    for (UnfinishedFile** link = &firstUnfinished; *link != nullptr; link = &(*link)->next) {
        if (*link == this) {
            *link = next;
            break;
        }
    }
    name.clear();
}

void UnfinishedFile::remove()
{
    if (name.empty())
        return;
    const SignalsBlocked blocked;
    std::error_code failed;
    if (!isFolder || rmdir(name.c_str()) != 0)
        std::filesystem::remove_all(name, failed);
    if (failed)
        removeNow(*this);
    forget();
}

UnfinishedFile::~UnfinishedFile()
{
    remove();
}

SignalsBlocked::SignalsBlocked()
{
    const sigset_t blocked = endingSet();
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
}

SignalsBlocked::~SignalsBlocked()
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
