#include "cleanup.h"

#include <unistd.h>

#include "loomfile.h"

static constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

char unfinishedFile[2 * PATH_MAX];

static sigset_t endingSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (int signalNumber : endingSignals)
        sigaddset(&set, signalNumber);
    return set;
}

// Nothing but system calls here: the signal may have come in the middle of anything.
static void removeAndEnd(int signalNumber)
{
    if (unfinishedFile[0] != 0)
        unlink(unfinishedFile);
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

SignalsBlocked::SignalsBlocked()
{
    const sigset_t blocked = endingSet();
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
}

SignalsBlocked::~SignalsBlocked()
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
