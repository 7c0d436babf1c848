// JD&N designs (DIS): a zip archive, unpacked by the installed command.
//
//   "PK", 3, 4   then the members; in the order of their whole names, the first one that is a TIFF file is the picture
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "formats/raster/tiff.h"
#include "framework/command.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/temporary.h"
#include "framework/thread_state.h"

namespace
{

constexpr std::string_view archiveMark = "PK\3\4";
constexpr u32 deepestFolder = 16;

LoadStatus unpack(const char* path, Temporary& unpacked, int& result)
{
    if (!makeTemporaryFolder(unpacked.path))
        return refuse(loadWrongFormat, "the temporary directory takes no folder: %s", strerror(errno));
    result = runCommand({commandText(threadState().unzipCommand), commandText(" "), commandPath(path),
                         commandText(" -d "), commandPath(unpacked.path.name)});
    return loadSuccess;
}

bool isTiffFile(const char* path)
{
    File file;
    u8 mark[tiffMarkBytes];
    return file.open(path) && readExactly(file.stream, mark, sizeof mark) && isTiffMark(mark);
}

// Folders and files alone: links lead out of the archive and are not followed.
u8 typeOf(const char* path)
{
    struct stat info;
    return lstat(path, &info) == 0 ? static_cast<u8>(IFTODT(info.st_mode)) : u8{DT_UNKNOWN};
}

// In the whole names of its members a folder's name goes on with a '/'.
bool comesBefore(const dirent* left, const dirent* right)
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

int isMember(const dirent* entry)
{
    return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0 ? 1 : 0;
}

// Lengthens the name of a folder, which has room for temporaryNameBytes, to that of the first TIFF file in it.
bool findPicture(char* path, u32 depth)
{
    dirent** entries = nullptr;
    const int count = scandir(path, &entries, isMember, nullptr);
    const size_t length = strlen(path);
    auto nameMember = [path, length](const dirent* entry) {
        const int size = snprintf(path + length, temporaryNameBytes - length, "/%s", entry->d_name);
        return static_cast<size_t>(size) < temporaryNameBytes - length;
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

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    LoaderThreadState& thread = threadState();
    if (thread.tmpDir == nullptr)
        return refuse(loadWrongFormat, "the temporary directory is not set");
    if (thread.unzipCommand == nullptr)
        return refuse(loadWrongFormat, "the command that unpacks archives is not set");
    if (probedMark(request.path, archiveMark, "JD&N") == nullptr)
        return loadWrongFormat;
    if (!hasExtension(request.path, "dis", 4))
        return refuseName("dis");
    Temporary unpacked;
    int result = 0;
    LoadStatus status = unpack(request.path, unpacked, result);
    if (status != loadSuccess)
        return status;
    char picture[temporaryNameBytes];
    strcpy(picture, unpacked.path.name);
    if (!findPicture(picture, 0))
        return result != 0 ? refuseCommand(loadWrongFormat, thread.unzipCommand, result)
                           : refuse(loadWrongFormat, "the archive holds no TIFF picture");
    status = openTiff(picture, image);
    if (status != loadSuccess) {
        endTiff();
        return status;
    }
    if (result != 0)
        remark(Gravity::harmless, "the command that unpacked the archive was not content with it");
    strcpy(image.description, "JD&N .DES");
    handOver(unpacked, thread.raster.tiff.folder);
    return loadSuccess;
}

} // namespace

void registerLoadDIS()
{
    registerEntries<tryLoad, loadTiffRows, endTiff>();
}
