#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "framework/file.h"
#include "framework/thread_state.h"

const u8* loadImgCheckHeader(const char* path)
{
    if (path == nullptr)
        return nullptr;
    LoaderThreadState& state = threadState();
    if (state.headerPath == nullptr) {
        state.headerPath = static_cast<char*>(calloc(headerPathBytes, 1));
        if (state.headerPath == nullptr)
            return nullptr;
    }

    struct stat info;
    bool exists = stat(path, &info) == 0;
    // A file that has vanished since it was probed is still answered.
    if (strcmp(path, state.headerPath) == 0 && (!exists || info.st_size == state.lastFileSize))
        return state.headerBuffer;
    if (!exists)
        return nullptr;

    // A file without a size is not opened: opening a pipe would wait for its writer.
    if (info.st_size != 0) {
        size_t wanted = static_cast<size_t>(std::min<i64>(info.st_size, headerBytes));
        u8 bytes[headerBytes];
        if (!readBeginning(path, bytes, wanted))
            return nullptr;
        memcpy(state.headerBuffer, bytes, wanted);
    }

    state.lastFileSize = info.st_size;
    size_t length = strlen(path);
    if (length < headerPathBytes)
        memcpy(state.headerPath, path, length + 1);
    else
        state.headerPath[0] = 0;
    return state.headerBuffer;
}

i64 loadImgLastFilesize()
{
    return threadState().lastFileSize;
}
