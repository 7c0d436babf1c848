#include "batch/inputs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "messages.h"

// Before the names in a folder.
constexpr char isFile = 'f', isFolder = 'd', isLinkOrUnknown = 'l';

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

Inputs::Inputs(const BatchOptions& given, const std::string& leftOut) : options(given)
{
    struct stat info;
    if (!leftOut.empty() && stat(leftOut.c_str(), &info) == 0)
        avoided = {info.st_dev, info.st_ino};
    if (!options.list.empty())
        list.open(options.list);
}

// Where a name in a list stands, so that what is made of the list can stand likewise.
static std::string folderOf(const std::string& path)
{
    const size_t end = path.rfind('/');
    if (end == std::string::npos || ("/" + path + "/").find("/../") != std::string::npos)
        return "";
    std::string folder = path.substr(0, end);
    while (folder.starts_with('/') || folder.starts_with("./"))
        folder.erase(0, folder.starts_with('/') ? 1 : 2);
    return folder == "." ? "" : folder;
}

static std::string joined(const std::string& folder, const std::string& name)
{
    return folder.empty() ? name : folder.ends_with('/') ? folder + name : folder + "/" + name;
}

static std::vector<std::string> namesIn(DIR* folder)
{
    std::vector<std::string> names;
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.')
            continue;
        const unsigned char type = entry->d_type;
        if (type == DT_REG || type == DT_DIR || type == DT_LNK || type == DT_UNKNOWN)
            names.push_back((type == DT_REG   ? isFile
                             : type == DT_DIR ? isFolder
                                              : isLinkOrUnknown) +
                            std::string(entry->d_name));
    }
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return a.compare(1, a.npos, b, 1, b.npos) < 0; });
    return names;
}

// True when place tells why the folder is not entered.
bool Inputs::enter(const std::string& path, const std::string& relative, bool isLink, Found& place)
{
    place = {{path, relative, !folders.empty()}, 0, ""};
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
    struct stat info;
    if (folder == nullptr || fstat(dirfd(folder.get()), &info) != 0) {
        place.exitCode = exitCannotRead;
        place.reason = "the folder cannot be read " + systemReason(errno);
        return true;
    }
    const Identity identity = {info.st_dev, info.st_ino};
    if (identity == avoided && !folders.empty())
        return false; // what is written there is nothing to be read
    if (!entered.insert(identity).second) {
        place.reason = isLink ? "the link leads to a folder that was read already, it is left out"
                              : "the folder was read already, it is left out";
        return true;
    }
    folders.push_back({path, relative, namesIn(folder.get()), 0});
    return false;
}

bool Inputs::takeFromFolder(Found& place)
{
    while (!folders.empty()) {
        Folder& folder = folders.back();
        if (folder.next == folder.names.size()) {
            folders.pop_back();
            continue;
        }
        const std::string entry = std::move(folder.names[folder.next++]);
        const std::string name = entry.substr(1);
        const std::string path = joined(folder.path, name);
        char kind = entry[0];
        struct stat info;
        if (kind == isLinkOrUnknown && stat(path.c_str(), &info) == 0) {
            if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode))
                continue;
            kind = S_ISDIR(info.st_mode) ? isFolder : isFile;
        }
        if (kind != isFolder) {
            place = {{path, folder.relative, true}, 0, ""};
            return true;
        }
        if (options.isRecursive && enter(path, joined(folder.relative, name), entry[0] == isLinkOrUnknown, place))
            return true;
    }
    return false;
}

bool Inputs::takeNamed(const std::string& path, bool isOfList, Found& place)
{
    struct stat info;
    // Lists are mostly made by a program that has looked into the folders itself.
    const bool isLeftOut = isOfList && !options.isRecursive;
    if (!options.isAlone && path != standardStream && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return !isLeftOut &&
               (enter(path, isOfList ? folderOf(joined(path, "")) : "", false, place) || takeFromFolder(place));
    place = {{path, isOfList ? folderOf(path) : "", false}, 0, ""};
    return true;
}

Inputs::State Inputs::next(Found& place)
{
    if (takeFromFolder(place))
        return found;
    while (nextNamed < options.inputs.size()) {
        if (takeNamed(options.inputs[nextNamed++], false, place))
            return found;
    }
    for (std::string name; list.take(name);) {
        if (name.find('\0') != std::string::npos) {
            place = {{name, "", false}, exitCannotRead, "there is a zero in this line of the list"};
            return found;
        }
        if (takeNamed(name, true, place))
            return found;
    }
    return list.isAtEnd ? ended : mustRead;
}
