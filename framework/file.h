// Owning handles. A loader keeps what it opens and allocates in them until its tryLoad has succeeded, so that no way
// out of a failing function can leave something behind; then it hands the contents over to the thread's state.
#pragma once

#include <cstddef>
#include <cstdio>

#include "tload.h"

struct File {
    FILE* stream = nullptr;

    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    // False when path is null or cannot be opened for reading.
    bool open(const char* path);
};

struct Buffer {
    u8* bytes = nullptr;

    Buffer() = default;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer();

    // A zeroed block; false when memory does not suffice.
    bool allocate(size_t size);
};

// Moves the file into a slot of the thread's state and closes the one that an earlier load may have left there.
void handOver(File& file, FILE*& slot);
void closeSlot(FILE*& slot);

// Removes a folder of the library's own with all that a command may have left in it. Links are not followed.
void removeFolder(const char* path);

// The first bytes of a file, without the cost of a stream; false when there are not so many.
bool readBeginning(const char* path, u8* bytes, size_t size);

bool readExactly(FILE* stream, void* destination, size_t size);
bool readByte(FILE* stream, u8& byte);
bool readLittleEndian16(FILE* stream, u32& value);
// The size of the file behind a stream; -1 when it is not a regular file.
i64 regularFileSize(FILE* stream);
