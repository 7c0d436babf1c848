#include "framework/path.h"

#include <cstring>

#include "framework/thread_state.h"

bool hasExtension(const char* path, const char* extension, size_t leastLength)
{
    const size_t length = strlen(path);
    const size_t extensionLength = strlen(extension);
    if (length < leastLength || length <= extensionLength || path[length - extensionLength - 1] != '.')
        return false;
    const char* end = path + length - extensionLength;
    for (size_t i = 0; i < extensionLength; i++) {
        if (tolowerAZ(end[i]) != extension[i])
            return false;
    }
    return true;
}

void nextPartName(char* name, size_t length)
{
    char* last = name + length - 1;
    (*last)++;
    if (*last == '0')
        last[-1]++;
}

const char* getRelativePath(const char* path, const char* other)
{
    LoaderThreadState& state = threadState();
    if (path == nullptr || other == nullptr) {
        state.relativePath[0] = 0;
        return state.relativePath;
    }

    size_t lastCommon = 0;
    for (size_t i = 0; path[i] != 0 && path[i] == other[i]; i++) {
        if (path[i] == state.pathSeparator)
            lastCommon = i;
    }

    int levels = 0;
    if (path[0] != 0) {
        for (const char* place = path + lastCommon + 1; *place != 0; place++) {
            if (place[0] == state.pathSeparator && place[1] != state.pathSeparator)
                levels++;
        }
    }
    char result[relativePathBytes]; // the arguments may be parts of the result before
    snprintf(result, sizeof result, "%02d%s", levels, other + lastCommon);
    memcpy(state.relativePath, result, sizeof result);
    return state.relativePath;
}

char* dirName(const char* path)
{
    LoaderThreadState& state = threadState();
    size_t length = strnlen(path, dirNameBytes - 1);
    memmove(state.dirName, path, length); // path may be an earlier result
    state.dirName[length] = 0;

    // A separator at the very start does not count.
    size_t end = length;
    while (end > 0 && state.dirName[end] != state.pathSeparator)
        end--;
    state.dirName[end] = 0;
    return state.dirName;
}

char* baseName(const char* path)
{
    char separator = threadState().pathSeparator;
    const char* name = path + strlen(path);
    while (name > path && *name != separator)
        name--;
    if (*name == separator)
        name++;
    return const_cast<char*>(name);
}
