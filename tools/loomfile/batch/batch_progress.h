// The line on a terminal that tells how far a batch has come.
#pragma once

#include <chrono>

#include "tload.h"

struct BatchProgress {
    using Clock = std::chrono::steady_clock;

    bool isShown;
    u64 all = 0; // files to come; 0 = unknown
    u64 done = 0, failed = 0;
    Clock::time_point begun = Clock::now();
    Clock::time_point shown = begun;
    size_t width = 0; // of what stands on the terminal

    explicit BatchProgress(bool isWanted); // shown only on a terminal
    void show();                           // now and then
    void clear();
};
