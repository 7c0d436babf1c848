// What earlier sheets have found out of the files, so that only what has changed is read again.
#pragma once

#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "batch/batch.h"

using FileIds = std::unordered_set<std::string>;

// What tells whether a file has changed.
struct FileState {
    std::string id; // of 16 hexadecimal digits, made of the path, the size and the time
    u64 bytes = 0;
    i64 modified = 0; // seconds
};
// None when there is no such file.
std::optional<FileState> stateOf(const std::string& path);

// A file as it was found.
struct Entry {
    Result result;
    std::string row; // of the page's data; "" = it has none
};

// A line for each file, the last one of a file counts. New ones are added as they are known, so that a run that was
// interrupted is not lost.
struct Cache {
    // way: how files are opened and shown; what was found another way does not count.
    // isUsed: what it holds counts at all. Throws Failure.
    Cache(const std::string& file, const std::string& theWay, bool isUsed);
    Cache(const Cache&) = delete;
    Cache& operator=(const Cache&) = delete;
    ~Cache();

    const Entry* find(const std::string& id) const;
    void add(const std::string& id, const Result& result, const std::string& row); // throws Failure
    // Of parts that are not among these any more.
    std::set<std::string> designsOfGone(const FileIds& ids) const;
    void keepOnly(const FileIds& ids); // throws Failure

private:
    std::string firstLine() const;
    void write(FILE* stream, const std::string& line) const;

    std::string name;
    std::string way;
    std::unordered_map<std::string, Entry> entries;
    FILE* appended = nullptr;
};

// Whether a file is the cache of a sheet.
bool isCache(const std::string& file);
