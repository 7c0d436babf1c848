#include "fuzz/load_file.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "samples/all_samples.h"
#include "samples/picture.h"

// A damaged header may promise more than a test can wait for.
constexpr u64 largestPicture = 1 << 24; // bytes
constexpr u64 partOfHugePicture = 1 << 20;

extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
extern "C" void __sanitizer_set_report_fd(void* descriptor) __attribute__((weak));

bool goesToItsPlace(int format, u32 kind)
{
    return format == formatBmp || (format == formatPcx && kind == kindRGB);
}

static void takeRows(LoadedFile& loaded, bool toTheirPlace, u32 bandRows, i64 extraBytes)
{
    const u64 stride =
        static_cast<u64>(std::max<i64>(1, static_cast<i64>(pictureRowBytes(loaded.kind, loaded.width)) + extraBytes));
    u64 height = loaded.height;
    if (stride * height > largestPicture)
        height = toTheirPlace ? 0 : std::max<u64>(1, partOfHugePicture / stride);
    loaded.rows.resize(stride * height);
    const u64 most = bandRows == 0 ? std::max<u64>(height, 1) : bandRows;
    for (u64 row = 0; row < height && loaded.bandStatus == loadSuccess; row += most)
        loaded.bandStatus = getLoadBand()(loaded.rows.data() + (toTheirPlace ? 0 : row * stride),
                                          static_cast<u32>(std::min(most, height - row)), static_cast<u32>(stride));
}

LoadedFile loadFile(const std::string& path, u32 format, u32 bandRows, i64 extraBytes)
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
    const int installed = format != formatDetect ? static_cast<int>(format) : loaded.format;
    takeRows(loaded, goesToItsPlace(installed, loaded.kind), bandRows, extraBytes);
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
