// One loader on one file. The input: the format id, 0 to detect it; which sample's name the file gets; and the file. A
// design of several files takes the length of its first file from two more bytes, what follows is the second.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "fuzz/input.h"
#include "fuzz/load_file.h"
#include "samples/all_samples.h"
#include "samples/picture.h"

namespace fs = std::filesystem;

// A new folder for each input, or the header cache would answer for the one before.
static fs::path newFolder()
{
    static u64 number = 0;
    const fs::path folder = "/dev/shm/tload-fuzz-" + std::to_string(getpid()) + "/" + std::to_string(number++);
    fs::create_directories(folder);
    return folder;
}

static void store(const fs::path& path, const std::vector<u8>& bytes)
{
    if (!writeFile(path, bytes))
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    Input input{data, size};
    const u32 format = takeByte(input) % (formatCount + 1);
    const Sample& sample = allSamples()[takeByte(input) % allSamples().size()];
    const fs::path folder = newFolder();
    if (sample.partner != nullptr)
        store(folder / sample.partner, takeBytes(input, static_cast<size_t>(takeNumber(input, 0, 65535))));
    store(folder / sample.name, takeBytes(input, input.left));

    const std::string path = folder / sample.name;
    for (u32 bandRows : {0U, 3U}) {
        const i64 extraBytes = bandRows == 0 ? 0 : static_cast<i64>(size % 7) - 3;
        const LoadedFile loaded = loadFile(path, format, bandRows, extraBytes);
        if ((loaded.status != -1 && !isStatus(loaded.status)) || !isStatus(loaded.bandStatus))
            abort();
    }
    fs::remove_all(folder);
    return 0;
}
