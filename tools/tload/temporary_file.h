// The file that becomes the target only when it is complete.
#pragma once

#include <cstdio>
#include <string>

// The file that a target names, through links. Throws Failure when it cannot be replaced by a picture.
std::string resolveTarget(const std::string& target);

// Throws Failure when the target is the file that the picture is read from, unless that is a PNG already.
void keepSource(const struct Picture& picture, const std::string& target);

// Stands beside its target and is removed at destruction and on the signals that end a program, unless it was moved.
struct TemporaryFile {
    std::string target;
    std::string resolvedTarget;
    FILE* stream = nullptr;

    // Both throw Failure.
    explicit TemporaryFile(const std::string& target);
    void moveToTarget();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();
};

// Throws the Failure for a target that cannot be written.
[[noreturn]] void failToWrite(const std::string& target, int errorNumber);
