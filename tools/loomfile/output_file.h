// The file that becomes the target only when it is complete.
#pragma once

#include <cstdio>
#include <string>

#include "cleanup.h"

// Stands beside its target and is removed at destruction and on the signals that end a program, unless it was moved.
struct OutputFile {
    std::string target;
    std::string resolvedTarget; // through links
    bool mayReplace = false;
    FILE* stream = nullptr;
    UnfinishedFile unfinished; // the name until it is moved; "" when another process has made the file

    // All throw Failure.
    OutputFile(const std::string& target, bool mayReplace);
    // In a process that is given the descriptor of a file which another one has made, and will move.
    OutputFile(const std::string& target, int descriptor);
    // Everything is on the disk, and the stream is closed.
    void finish();
    void moveToTarget(); // finishes it, too
    // A descriptor of the unfinished file, emptied; the caller's.
    int reopen();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();
};

// Throws the Failure for a target that cannot be written.
[[noreturn]] void failToWrite(const std::string& target, int errorNumber);
