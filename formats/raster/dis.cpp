// JD&N designs (DIS): a zip archive, unpacked by the installed command.
//
//   "PK", 3, 4   then the members; in the order of their whole names, the first one that is a TIFF file is the picture
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
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

// Folders and files alone: links lead out of the archive and are not followed.
static u8 typeOf(const char* path)
{
    struct stat info;
    return lstat(path, &info) == 0 ? static_cast<u8>(IFTODT(info.st_mode)) : u8{DT_UNKNOWN};
}

// In the whole names of its members a folder's name goes on with a '/'.
static bool comesBefore(const dirent* left, const dirent* right)
{
    size_t i = 0;
    while (left->d_name[i] == right->d_name[i] && left->d_name[i] != 0)
        i++;
    auto character = [i](const dirent* entry) {
        const auto c = static_cast<u8>(entry->d_name[i]);
        return c == 0 && entry->d_type == DT_DIR ? u8{'/'} : c;
    };
    return character(left) < character(right);
}

static int isMember(const dirent* entry)
{
    return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0 ? 1 : 0;
}

// Lengthens the name of a folder, which has room for folderNameBytes, to that of the first TIFF file in it.
static bool findPicture(char* path, u32 depth)
{
    dirent** entries = nullptr;
    const int count = scandir(path, &entries, isMember, nullptr);
    const size_t length = strlen(path);
    auto nameMember = [path, length](const dirent* entry) {
        const int size = snprintf(path + length, folderNameBytes - length, "/%s", entry->d_name);
        return static_cast<size_t>(size) < folderNameBytes - length;
    };
    for (int i = 0; i < count; i++)
        entries[i]->d_type = nameMember(entries[i]) ? typeOf(path) : u8{DT_UNKNOWN};
    if (count > 0)
        std::sort(entries, entries + count, comesBefore);
    bool isFound = false;
    for (int i = 0; i < count; i++) {
        const u8 type = entries[i]->d_type;
        if (!isFound && (type == DT_REG || type == DT_DIR)) {
            nameMember(entries[i]);
            isFound = type == DT_REG ? isTiffFile(path) : depth < deepestFolder && findPicture(path, depth + 1);
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
