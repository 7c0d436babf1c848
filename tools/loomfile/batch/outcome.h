// What has become of the inputs, in their order: printed, moved to its place, counted, and reported.
#pragma once

#include "batch/batch_progress.h"
#include "batch/crew.h"
#include "batch/report.h"
#include "batch/targets.h"

struct Outcome {
    struct Counts {
        u64 read = 0, written = 0, refused = 0, failed = 0; // each file is in one of the last three, or was only read
        u64 skipped = 0, parts = 0, notPictures = 0;
    };

    // isOne: nothing is printed but what the job says. Throws Failure.
    Outcome(const Batch& theBatch, const BatchOptions& theOptions, bool isOne);
    void take(Item& item); // throws Failure when a signal was meant for the program, or nobody reads what is printed
    void flush();
    int finish(); // prints what is to be printed at the end, and returns the worst exit code

    BatchProgress progress;
    SeenWords targets; // that were written, or left as they were
    SeenWords designs;

private:
    void note(const std::string& file, const std::string& text);
    bool leaveOut(Item& item);
    void moveToPlace(Item& item);
    void count(const Item& item);
    void print(const Result& result);

    const Batch& batch;
    const BatchOptions& options;
    bool isForOne;
    Report report;
    Counts counts;
    int worst = 0;
    bool hasPrinted = false;
};
