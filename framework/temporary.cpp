#include "framework/temporary.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "framework/file.h"
#include "framework/thread_state.h"

void removeTemporary(TemporaryPath& path)
{
    if (path.name[0] != 0) {
        if (path.isFolder)
            removeFolder(path.name);
        else
            unlink(path.name);
    }
    path.name[0] = 0;
    path.isFolder = false;
}

void handOver(Temporary& temporary, TemporaryPath& slot)
{
    removeTemporary(slot);
    slot = temporary.path;
    temporary.path = {};
}

bool makeTemporaryFolder(TemporaryPath& path)
{
    const int length = snprintf(path.name, sizeof path.name, "%s/tload-XXXXXX", threadState().tmpDir);
    const bool fits = length > 0 && static_cast<size_t>(length) < sizeof path.name;
    if (!fits)
        errno = ENAMETOOLONG;
    path.isFolder = fits && mkdtemp(path.name) != nullptr;
    if (!path.isFolder)
        path.name[0] = 0;
    return path.isFolder;
}

bool isOwnFile(const char* name)
{
    struct stat info;
    return lstat(name, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() && access(name, R_OK) == 0;
}
