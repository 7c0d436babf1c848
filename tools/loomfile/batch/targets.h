// The names of what is written.
#pragma once

#include <string>
#include <vector>

#include "batch/batch.h"

struct Targets {
    // Makes the folder that -o tells. Throws Failure, also for an -o that cannot be understood.
    Targets(const Batch& given, const BatchOptions& options);

    // "" = nothing is written for the input.
    std::string nameFor(const Input& input) const;
    // Makes the folders that a target needs. Throws Failure.
    void makeFoldersFor(const std::string& target);
    // The folder below which everything is written; "" = none
    std::string root;

private:
    std::string filledIn(const Input& input) const;

    const Batch& batch;
    std::string pattern;
    std::string madeLast; // a folder
};

// Has a word come before? Keeps some 16 bytes of each: of ten million two are the same by chance in one run of 400,000.
struct SeenWords {
    std::vector<u64> slots; // at their place or behind it, 0 = free
    size_t count = 0;

    bool has(const std::string& word) const;
    bool add(const std::string& word); // false when it has come before
};
