// A worker as the program sees it: a process, a socket, and the inputs that it has been given.
#pragma once

#include <chrono>
#include <deque>
#include <memory>

#include "batch/worker.h"

// An input that is being worked on, or waits until those before it have been taken.
struct Item {
    Input input;
    std::string target;                 // "" = none
    std::unique_ptr<OutputFile> output; // null also when the worker's standard output takes it
    std::optional<Result> result;
    bool isSkipped = false; // there is something at its target
    bool isNote = false;    // no file: there is something to say at this place
};

struct Worker {
    pid_t process = 0; // 0 = it is not there
    int socket = -1;
    std::deque<Item*> items; // in the order in which they were given to it
    Inbox inbox;
    std::chrono::steady_clock::time_point begun; // the first item
    bool isOutOfTime = false;

    explicit Worker(int theSlot) : slot(theSlot) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() { end(); }

    // Throws std::system_error.
    void start(const Batch& batch, WorkerSettings settings);
    // Its helpers end, too. Returns how it ended; the items stay.
    int end();
    // Notes it, to be sent when the others that are given at the same time are. Throws Failure.
    void give(Item& item);
    // Why the first item got no answer from a worker that ended so.
    Failure whyLost(int status, double secondsAFile) const;
    bool hasUnsent() const { return !outgoing.empty(); }
    void send(); // as much as there is room for

private:
    struct Outgoing {
        std::string bytes;
        int descriptor = -1; // that goes along with the first of them
    };

    int slot; // of those that a signal kills
    UnfinishedFile folder;
    std::deque<Outgoing> outgoing;
};
