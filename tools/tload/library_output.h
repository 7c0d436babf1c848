// The decoders behind the library, and the programs that it starts, print what they find wrong. As it stands that would
// end up among this program's own output.
#pragma once

#include <string>

// Keeps what is printed on standard output and standard error from there between construction and destruction: the
// loaders' remarks on standard output are dropped, what stands on standard error is collected. Where that is not
// possible it is printed as ever.
struct LibraryOutput {
    int standardOutput = -1;
    int standardError = -1;
    int collected = -1;

    LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;
    ~LibraryOutput();

    // Of standard error; empty when nothing was printed there.
    std::string firstLine() const;
};
