// What commands of the host's leave for the library: one owner for all of it.
#pragma once

#include <cstddef>

#include "tload.h"

constexpr size_t temporaryNameBytes = 4096;

// Plain, for the states of loaders. An empty name stands for none.
struct TemporaryPath {
    char name[temporaryNameBytes];
    bool isFolder; // which goes with all that is in it
};

// Removes what the name stands for, and forgets it.
void removeTemporary(TemporaryPath& path);

// Owns a path until the load has succeeded.
struct Temporary {
    TemporaryPath path{};

    Temporary() = default;
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary() { removeTemporary(path); }
};

// Moves the ownership into a slot of the state, and removes what an earlier load may have left there.
void handOver(Temporary& temporary, TemporaryPath& slot);

// Makes a folder of the library's own below the temporary directory; false, with errno, when that cannot be done.
bool makeTemporaryFolder(TemporaryPath& path);

// Whether a regular file of this user's that can be read has the name, and no link.
bool isOwnFile(const char* name);
