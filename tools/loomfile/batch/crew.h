// The workers: started when there is work for them, given inputs, listened to, and replaced when a file has ended one.
#pragma once

#include <vector>

#include "batch/worker_process.h"

struct Crew {
    Crew(const Batch& theBatch, const BatchOptions& options, bool isForOne);

    bool hasRoom() const;
    void give(Item& item); // throws std::system_error when no worker can be started
    // Waits until there are answers, or something is to be read from another descriptor (below 0 = none), or for so
    // many milliseconds (below 0 = as long as it takes). Returns whether the other one can be read.
    bool wait(int otherDescriptor, int milliseconds);

private:
    void post(Worker& worker, Item& item);
    void listen(Worker& worker);
    void lose(Worker& worker);
    void checkTime(Worker& worker);
    int untilNextEnd(int milliseconds) const;
    void forgiveOwnTime();
    bool waitForAnswers(int otherDescriptor, int milliseconds);
    size_t depth() const;
    bool isWellSupplied() const;

    const Batch& batch;
    WorkerSettings settings;
    double secondsAFile;          // that one may take, 0 = as long as it likes
    double secondsOfAFile = 0.01; // that one takes, about
    std::vector<std::unique_ptr<Worker>> workers;
    std::chrono::steady_clock::time_point waitedUntil = std::chrono::steady_clock::now();
};
