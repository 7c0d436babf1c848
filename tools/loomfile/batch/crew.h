// The workers: started when there is work for them, given inputs, listened to, and replaced when a file has ended one.
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
    bool isLost = false;    // it has ended its worker
    bool isSkipped = false; // there is something at its target
    bool isNote = false;    // no file: there is something to say at this place
};

struct Outgoing {
    std::string bytes;
    int descriptor = -1; // that goes along
};

struct Worker {
    pid_t process = 0; // 0 = it is not there
    int socket = -1;
    UnfinishedFile folder;
    std::deque<Item*> items; // in the order in which they were given to it
    std::deque<Outgoing> outgoing;
    Inbox inbox;
    std::chrono::steady_clock::time_point begun; // the first item
    bool isOutOfTime = false;
};

struct Crew {
    Crew(const Batch& batch, const BatchOptions& options, bool isForOne);
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;
    ~Crew();

    bool hasRoom() const;
    void give(Item& item); // throws std::system_error when no worker can be started
    // Waits until there are answers, or something is to be read from another descriptor (below 0 = none), or for so
    // many milliseconds. Returns whether the other one can be read.
    bool wait(int otherDescriptor, int milliseconds);

private:
    void start(Worker& worker);
    void send(Worker& worker);
    void post(Worker& worker, Item& item);
    void listen(Worker& worker);
    void lose(Worker& worker);
    int end(Worker& worker);
    void checkTime(Worker& worker);
    Failure whyLost(const Worker& worker, int status) const;
    int slotOf(const Worker& worker) const;
    size_t depth() const;
    bool isWellSupplied() const;

    const Batch& batch;
    const BatchOptions& options;
    double secondsAFile;          // that one may take
    double secondsOfAFile = 0.01; // that one takes, about
    std::vector<std::unique_ptr<Worker>> workers;
};
