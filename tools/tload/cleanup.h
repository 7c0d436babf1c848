// What is removed when a signal ends the program.
#pragma once

#include <climits>
#include <csignal>

// Empty when there is nothing.
struct Leftovers {
    char file[2 * PATH_MAX];
    char folder[PATH_MAX];
};
extern Leftovers leftovers;

void catchEndingSignals();

// While a name and what it names do not both exist, no signal may find them.
struct SignalsBlocked {
    sigset_t before;

    SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked();
};
