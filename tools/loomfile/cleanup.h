// What is removed when a signal ends the program.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>

// A file or folder that is gone when the program ends by a signal, or this is destroyed.
struct UnfinishedFile {
    std::string name; // "" = none
    bool isFolder = false;
    UnfinishedFile* next = nullptr; // all of them are a list

    UnfinishedFile() = default;
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;
    ~UnfinishedFile();

    // Of a name that ends in XXXXXX. Below 0 = failed, errno tells why; else the descriptor of the file.
    int makeFile(const std::string& nameTemplate);
    int makeFolder(const std::string& nameTemplate);
    void forget(); // it stays
    void remove();
};

void catchEndingSignals();
// For a worker, which has nothing to remove: all of it is its parent's.
void leaveEndingSignals();

// The process group of a worker is killed before anything is removed. 0 = none any more.
constexpr int mostGroups = 256;
void killAtEnd(int slot, pid_t group);

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
