#include "fuzz/load_file.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "samples/all_samples.h"
#include "samples/picture.h"

constexpr u64 largestPicture = 1 << 26; // bytes; a damaged header may promise more than a test can wait for

extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
extern "C" void __sanitizer_set_report_fd(void* descriptor) __attribute__((weak));

// The rows of these are written to their place in the whole picture, whose first row every call is given.
static bool goesToItsPlace(int format, u32 kind)
{
    constexpr int pcx = 3, bmp = 23;
    return format == bmp || (format == pcx && kind == kindRGB);
}

LoadedFile loadFile(const std::string& path, u32 format, u32 bandRows)
{
    LoadedFile loaded;
    u32 ignored = 0;
    u8 flag = 0;
    std::vector<u8> palette(768);
    std::vector<char> description(4096), name(path.c_str(), path.c_str() + path.size() + 1);
    loaded.format = returnLoaderFunctions(format, path.c_str());
    if (loaded.format == formatNotAnImage || loaded.format < 0)
        return loaded;
    loaded.status = getTryLoad()(name.data(), &loaded.kind, &loaded.width, &loaded.height, &ignored, &ignored, &ignored,
                                 &ignored, palette.data(), description.data(), &flag, &ignored, 1);
    if (loaded.status != loadSuccess)
        return loaded;
    const u64 rowBytes = pictureRowBytes(loaded.kind, loaded.width);
    if (rowBytes * loaded.height <= largestPicture) {
        loaded.rows.resize(rowBytes * loaded.height);
        const u32 most = bandRows == 0 ? std::max(loaded.height, 1U) : bandRows;
        const bool toTheirPlace =
            goesToItsPlace(format != formatDetect ? static_cast<int>(format) : loaded.format, loaded.kind);
        for (u32 row = 0; row < loaded.height && loaded.bandStatus == loadSuccess; row += most)
            loaded.bandStatus = getLoadBand()(loaded.rows.data() + (toTheirPlace ? 0 : row * rowBytes),
                                              std::min(most, loaded.height - row), static_cast<u32>(rowBytes));
    }
    getEndLoad()();
    return loaded;
}

bool isStatus(int status)
{
    return status == loadSuccess || (status >= 2 && status <= 7);
}

void storeSamples(const std::string& folder)
{
    drawSmallSamples();
    for (const Sample& sample : allSamples()) {
        if (!writeFile(folder + "/" + sample.name, sample.encode()))
            exit(2);
    }
}

FILE* silenceLibraries()
{
    FILE* answers = fdopen(dup(STDOUT_FILENO), "w");
    if (answers == nullptr || freopen("/dev/null", "w", stdout) == nullptr ||
        freopen("/dev/null", "w", stderr) == nullptr)
        exit(2);
    // Buffers that they would allocate in the middle of a load are not to be counted.
    for (FILE* stream : {stdout, stderr, answers})
        setvbuf(stream, nullptr, _IONBF, 0);
    if (__sanitizer_set_report_fd != nullptr)
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(fileno(answers))));
    return answers;
}

int openDescriptors()
{
    auto entries = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

size_t allocatedBytes()
{
    return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes() : 0;
}
