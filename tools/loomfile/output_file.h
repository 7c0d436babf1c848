// The file that becomes the target only when it is complete.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

// Throw Failure when the target cannot be written: its name has another ending than what is written, it is there
// already and may not be replaced, its folder cannot be written to.
void checkPictureTarget(const std::string& target, bool mayReplace); // or standard output
void checkTarget(const std::string& target, const std::vector<std::string>& endings, bool mayReplace);

// Throws Failure when the target is the file that the picture is read from, unless both are PNG.
void keepSource(const struct Picture& picture, const std::string& target);

// Stands beside its target and is removed at destruction and on the signals that end a program, unless it was moved.
struct OutputFile {
    std::string target;
    std::string resolvedTarget; // through links
    bool mayReplace;
    FILE* stream = nullptr;

    // Both throw Failure.
    OutputFile(const std::string& target, bool mayReplace);
    void moveToTarget();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();
};

// Throws the Failure for a target that cannot be written.
[[noreturn]] void failToWrite(const std::string& target, int errorNumber);
