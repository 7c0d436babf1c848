// A folder of this program's own for what other programs unpack or draw: its files meet no others of the same name, and
// nothing of it stays behind.
#pragma once

#include <string>

// The folder in which it will be made.
void setTemporaryDirectory(const std::string& directory);

// What stands in it belongs to one picture.
struct WorkFolder {
    bool isMade = false;

    WorkFolder() = default;
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder();

    // Makes it, empty, and gives it to the library. Throws Failure.
    void make();
    bool helperFailed() const;
};

// The command in a shell function that notes its failure in the work folder, and that ends when it takes too long or
// writes too much, as a file may make it do. warning is an exit code that is no failure.
std::string guardedCommand(const std::string& command, int warning);
