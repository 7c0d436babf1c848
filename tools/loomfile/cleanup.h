// What is removed when a signal ends the program.
#pragma once

#include <climits>
#include <csignal>

// The file that is half written, empty when there is none.
extern char unfinishedFile[2 * PATH_MAX];

void catchEndingSignals();

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
