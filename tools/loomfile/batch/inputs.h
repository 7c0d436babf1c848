// The files to work on, one after the other: those that are named, those of a list, and those in folders.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "batch/batch.h"

// An input, or why there is none in a place.
struct Found {
    Input input;
    int exitCode = 0;
    std::string reason; // of a folder that cannot be read, or, with exit code 0, that is left out
};

// The names in a list, whichever way they are separated.
struct NameList {
    int descriptor = -1;
    std::string file;   // as sentences call it
    char separator = 0; // once it is known
    bool isKnown = false;
    bool isAtEnd = true;
    std::string bytes; // that were read
    size_t taken = 0;
    size_t searched = 0; // so far there is no separator behind what is taken

    NameList() = default;
    NameList(const NameList&) = delete;
    NameList& operator=(const NameList&) = delete;
    ~NameList();

    void open(const std::string& name); // throws Failure
    void read();                        // once, what is there; throws Failure
    bool take(std::string& name);       // false: there is none, before more is read
};

struct Inputs {
    enum State { found, mustRead, ended };

    // leftOut is a folder that is not read, "" = none. Throws Failure.
    Inputs(const BatchOptions& given, const std::string& leftOut);
    // The next one; mustRead: when there is something in the list, which may be a pipe.
    State next(Found& place);
    NameList list;

private:
    struct Folder {
        std::string path;
        std::string relative;
        std::vector<std::string> names; // sorted, the first character tells the kind
        size_t next = 0;
    };
    using Identity = std::pair<dev_t, ino_t>;

    bool takeNamed(const std::string& path, bool isOfList, Found& place);
    bool takeFromFolder(Found& place);
    bool enter(const std::string& path, const std::string& relative, bool isLink, Found& place);

    const BatchOptions& options;
    size_t nextNamed = 0;
    std::vector<Folder> folders; // the last one is being read
    std::set<Identity> entered;
    Identity avoided = {0, 0};
};
