#include "framework/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "framework/bytes.h"

// Without waiting, or a pipe would be waited for until somebody writes into it.
constexpr int readingFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;

File::~File()
{
    closeSlot(stream);
}

bool File::open(const char* path)
{
    closeSlot(stream);
    if (path == nullptr)
        return false;
    int descriptor = ::open(path, readingFlags);
    if (descriptor < 0)
        return false;
    struct stat info;
    if (fstat(descriptor, &info) == 0 && !S_ISFIFO(info.st_mode))
        stream = fdopen(descriptor, "rb");
    if (stream == nullptr)
        close(descriptor);
    return stream != nullptr;
}

Buffer::~Buffer()
{
    free(bytes);
}

bool Buffer::allocate(size_t size)
{
    free(bytes);
    bytes = static_cast<u8*>(calloc(size > 0 ? size : 1, 1));
    return bytes != nullptr;
}

void handOver(File& file, FILE*& slot)
{
    closeSlot(slot);
    slot = file.stream;
    file.stream = nullptr;
}

void closeSlot(FILE*& slot)
{
    if (slot != nullptr)
        fclose(slot);
    slot = nullptr;
}

namespace
{

enum class Removal { done, hasMembers, impossible };

Removal removeEntry(int folder, const char* name)
{
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
        return Removal::impossible;
    if (unlinkat(folder, name, 0) == 0 || unlinkat(folder, name, AT_REMOVEDIR) == 0)
        return Removal::done;
    return errno == ENOTEMPTY ? Removal::hasMembers : Removal::impossible;
}

// Removes what a folder holds, but moves folders in it that hold something up into the one above, where they are named
// by the next numbers.
void flatten(int above, const char* name, u64& number)
{
    fchmodat(above, name, S_IRWXU, 0);
    const int descriptor = openat(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    DIR* folder = descriptor >= 0 ? fdopendir(descriptor) : nullptr;
    if (folder == nullptr) {
        if (descriptor >= 0)
            close(descriptor);
        return;
    }
    while (const dirent* entry = readdir(folder)) {
        if (removeEntry(descriptor, entry->d_name) != Removal::hasMembers)
            continue;
        fchmodat(descriptor, entry->d_name, S_IRWXU, 0);
        char moved[32];
        do
            snprintf(moved, sizeof moved, "%llu", static_cast<unsigned long long>(number++));
        while (renameat(descriptor, entry->d_name, above, moved) != 0 && (errno == ENOTEMPTY || errno == ENOTDIR));
    }
    closedir(folder);
}

} // namespace

// However deep the folders lie in each other, only two are open at a time.
void removeFolder(const char* path)
{
    DIR* folder = opendir(path);
    u64 number = 0;
    bool removesSome = folder != nullptr;
    while (removesSome) {
        removesSome = false;
        rewinddir(folder);
        while (const dirent* entry = readdir(folder)) {
            Removal removal = removeEntry(dirfd(folder), entry->d_name);
            if (removal == Removal::hasMembers) {
                flatten(dirfd(folder), entry->d_name, number);
                removal = removeEntry(dirfd(folder), entry->d_name);
            }
            removesSome = removesSome || removal == Removal::done;
        }
    }
    if (folder != nullptr)
        closedir(folder);
    rmdir(path);
}

bool readBeginning(const char* path, u8* bytes, size_t size)
{
    const int descriptor = open(path, readingFlags);
    if (descriptor < 0)
        return false;
    size_t done = 0;
    for (ssize_t arrived = 1; done < size && arrived > 0; done += static_cast<size_t>(std::max<ssize_t>(arrived, 0)))
        arrived = read(descriptor, bytes + done, size - done);
    close(descriptor);
    return done == size;
}

bool readExactly(FILE* stream, void* destination, size_t size)
{
    return fread(destination, 1, size, stream) == size;
}

bool readByte(FILE* stream, u8& byte)
{
    return readExactly(stream, &byte, 1);
}

bool readLittleEndian16(FILE* stream, u32& value)
{
    u8 bytes[2];
    if (!readExactly(stream, bytes, sizeof bytes))
        return false;
    value = littleEndian16(bytes);
    return true;
}

i64 regularFileSize(FILE* stream)
{
    struct stat info;
    int descriptor = fileno(stream);
    if (descriptor < 0 || fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode))
        return -1;
    return info.st_size;
}
