// One line on a terminal for what takes longer than a moment.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

// Shown by a thread of its own, since the reading is a single call. Nothing is shown when standard error is no
// terminal; the line is gone after destruction.
struct Progress {
    std::string source;
    std::string target;
    std::atomic<int> percentWritten{-1}; // below 0 while the source is read
    std::mutex mutex;
    std::condition_variable wakeUp;
    bool finished = false; // under the mutex
    std::thread printer;

    Progress(const std::string& source, const std::string& target, bool isWanted = true);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();
};
