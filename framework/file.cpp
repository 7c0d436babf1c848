#include "framework/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "framework/bytes.h"

File::~File()
{
    closeSlot(stream);
}

bool File::open(const char* path)
{
    closeSlot(stream);
    if (path == nullptr)
        return false;
    // Without waiting, or a pipe would be waited for until somebody writes into it.
    int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
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

void removeFolder(const char* path)
{
    DIR* folder = opendir(path);
    if (folder != nullptr) {
        while (const dirent* entry = readdir(folder))
            unlinkat(dirfd(folder), entry->d_name, 0);
        closedir(folder);
    }
    rmdir(path);
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
