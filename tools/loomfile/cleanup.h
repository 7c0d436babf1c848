// What is removed when a signal ends the program.
#pragma once

#include <csignal>
#include <string>

// The name of a file or folder that is to be gone when the program ends by a signal, in a list of all of them.
struct UnfinishedFile {
    std::string name; // empty: nothing
    UnfinishedFile* next = nullptr;

    UnfinishedFile() = default;
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;
    ~UnfinishedFile();

    // Makes a file or a folder, whose name ends in XXXXXX. Returns a descriptor, or 0 for a folder; below 0 with errno.
    int makeFile(const std::string& nameTemplate);
    int makeFolder(const std::string& nameTemplate);
    void forget(); // it stays
    void remove();
};

void catchEndingSignals();

// A worker has nothing to remove: what it has is its parent's.
void leaveEndingSignals();

// A process group that is killed before anything is removed.
void killAtEnd(int slot, pid_t group); // 0 = none any more

// Ends the program as the signal does that has ended a helper, which a shell then sees.
void endBySignal(int signalNumber);

// While a name and what it names do not both exist, no signal may find them.
struct SignalsBlocked {
    sigset_t before;

    SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked();
};
