// The decoders behind the library, and the programs that it starts, print what they find wrong. As it stands that would
// end up among this program's own output.
#pragma once

#include <string>

// Keeps everything that is printed on standard output and standard error from there between construction and
// destruction. Where that is not possible it is printed as ever.
struct LibraryOutput {
    int standardOutput = -1;
    int standardError = -1;
    int collected = -1;

    LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;
    ~LibraryOutput();

    // Empty when nothing was printed.
    std::string firstLine() const;
};
