#include "sheet/place.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "cleanup.h"
#include "messages.h"
#include "output_file.h"
#include "output_target.h"
#include "sheet/cache.h"
#include "sheet/page.h"

namespace fs = std::filesystem;

static constexpr const char* pictureFolders[] = {"thumbs", "pictures"};

static bool isPage(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::string begin(4096, 0);
    stream.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    return begin.find(pageMark) != std::string::npos;
}

[[noreturn]] static void failAsForeign(const std::string& path)
{
    throw Failure{exitCannotWrite, path, "this is there already and is no sheet of loomfile, --force replaces it"};
}

static void makeFolder(const std::string& path)
{
    std::error_code error;
    fs::create_directories(path, error);
    if (error)
        throw Failure{exitCannotWrite, path, "the folder cannot be made " + systemReason(error.value())};
}

// Names that this program gives. Others in the folders are somebody else's.
static bool isPictureName(const std::string& name)
{
    constexpr size_t digits = 16;
    return name.size() == digits + 4 && name.ends_with(".png") && name.find_first_not_of("0123456789abcdef") == digits;
}

SheetPlace::SheetPlace(const SheetRequest& request) : page(request.batch.output)
{
    checkTarget(page, {".html", ".htm"}, true);
    std::error_code error;
    if (fs::exists(page, error) && !request.batch.mayReplace && !isPage(page))
        failAsForeign(page);
    if (request.isOneFile)
        return;
    folder = page.substr(0, page.rfind('.')) + "_files";
    address = addressOf(baseNameOf(folder));
    const bool isTaken = fs::exists(folder, error) && !(fs::is_directory(folder, error) && fs::is_empty(folder, error));
    if (isTaken && !request.batch.mayReplace && !isCache(pathOf("cache.jsonl")))
        failAsForeign(folder);
    for (const std::string name : pictureFolders) {
        makeFolder(pathOf(name));
        for (const auto& entry : fs::directory_iterator(pathOf(name), error)) {
            const std::string file = entry.path().filename();
            if (isPictureName(file))
                pictures.insert(std::string(name).append("/").append(file));
        }
    }
}

static void writeAll(int descriptor, const std::string& bytes, const std::string& path)
{
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            const int errorNumber = errno;
            close(descriptor);
            failToWrite(path, errorNumber);
        }
        done += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
    if (close(descriptor) != 0)
        failToWrite(path, errno);
}

// Whole or not at all. It need not be on the disk before the next one: what is lost is made again.
void SheetPlace::writePicture(const std::string& name, const std::string& bytes)
{
    const std::string path = pathOf(name);
    UnfinishedFile unfinished;
    const int descriptor = unfinished.makeFile(path.substr(0, path.rfind('/')) + "/.loomfile-XXXXXX");
    if (descriptor < 0)
        failToWrite(path, errno);
    fchmod(descriptor, 0644);
    writeAll(descriptor, bytes, path);
    if (rename(unfinished.name.c_str(), path.c_str()) != 0)
        failToWrite(path, errno);
    unfinished.forget();
    pictures.insert(name);
}

void SheetPlace::write(const std::string& path, const std::string& text) const
{
    OutputFile file(path, true);
    if (fwrite(text.data(), 1, text.size(), file.stream) != text.size())
        failToWrite(path, errno);
    file.moveToTarget();
}

void SheetPlace::removeOthers(const FileIds& kept) const
{
    for (const std::string& name : pictures) {
        if (!kept.contains(fs::path(name).stem()))
            unlink(pathOf(name).c_str());
    }
}
