// JD&N designs (DIS): a zip archive, unpacked by the installed command.
//
//   "PK", 3, 4   then the members; the first one that is a TIFF file is the picture
#include <dirent.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "formats/raster/tiff.h"
#include "framework/command.h"
#include "framework/file.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u8 archiveMark[] = {'P', 'K', 3, 4};
constexpr u32 deepestFolder = 16;

// The unpacked archive, until the picture in it is open.
struct UnpackedArchive {
    char folder[folderNameBytes] = "";

    UnpackedArchive() = default;
    UnpackedArchive(const UnpackedArchive&) = delete;
    UnpackedArchive& operator=(const UnpackedArchive&) = delete;
    ~UnpackedArchive()
    {
        if (folder[0] != 0)
            removeFolder(folder);
    }
};

static bool isArchive(const char* path)
{
    const u8* header = loadImgCheckHeader(path);
    if (header == nullptr || loadImgLastFilesize() < static_cast<i64>(sizeof archiveMark) ||
        memcmp(header, archiveMark, sizeof archiveMark) != 0)
        return false;
    return hasExtension(path, "dis", 4);
}

static bool unpack(const char* path, UnpackedArchive& unpacked)
{
    LoaderThreadState& thread = threadState();
    const int length = snprintf(unpacked.folder, folderNameBytes, "%s/tload-XXXXXX", thread.tmpDir);
    if (length < 0 || length >= static_cast<int>(folderNameBytes) || mkdtemp(unpacked.folder) == nullptr) {
        unpacked.folder[0] = 0;
        return false;
    }
    runCommand({commandText(thread.unzipCommand), commandText(" "), commandPath(path), commandText(" -d "),
                commandPath(unpacked.folder)});
    return true;
}

static bool isTiffFile(const char* path)
{
    File file;
    u8 mark[tiffMarkBytes];
    return file.open(path) && readExactly(file.stream, mark, sizeof mark) && isTiffMark(mark);
}

static int byName(const dirent** left, const dirent** right)
{
    return strcmp((*left)->d_name, (*right)->d_name);
}

static bool findPicture(char* path, u32 depth);

// Links lead out of the archive and are not followed.
static bool isPicture(char* path, u32 depth)
{
    struct stat info;
    if (lstat(path, &info) != 0)
        return false;
    return S_ISDIR(info.st_mode) ? depth < deepestFolder && findPicture(path, depth + 1)
                                 : S_ISREG(info.st_mode) && isTiffFile(path);
}

// Lengthens the name of a folder, which has room for folderNameBytes, to that of the first TIFF file in it.
static bool findPicture(char* path, u32 depth)
{
    dirent** entries = nullptr;
    const int count = scandir(path, &entries, nullptr, byName);
    const size_t length = strlen(path);
    bool isFound = false;
    for (int i = 0; i < count; i++) {
        const char* name = entries[i]->d_name;
        const bool isMember = strcmp(name, ".") != 0 && strcmp(name, "..") != 0;
        if (!isFound && isMember && length + strlen(name) + 2 <= folderNameBytes) {
            path[length] = '/';
            strcpy(path + length + 1, name);
            isFound = isPicture(path, depth);
        }
        free(entries[i]);
    }
    free(entries);
    if (!isFound)
        path[length] = 0;
    return isFound;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    LoaderThreadState& thread = threadState();
    if (thread.tmpDir == nullptr || thread.unzipCommand == nullptr || !isArchive(request.path))
        return loadWrongFormat;
    UnpackedArchive unpacked;
    if (!unpack(request.path, unpacked))
        return loadWrongFormat;
    char picture[folderNameBytes];
    strcpy(picture, unpacked.folder);
    if (!findPicture(picture, 0))
        return loadWrongFormat;
    const LoadStatus status = openTiff(picture, image);
    if (status != loadSuccess) {
        endTiff();
        return status;
    }
    strcpy(image.description, "JD&N .DES");
    strcpy(thread.raster.tiff.folder, unpacked.folder);
    unpacked.folder[0] = 0;
    return loadSuccess;
}

void registerLoadDIS()
{
    registerEntries<tryLoad, loadTiffRows, endTiff>();
}
