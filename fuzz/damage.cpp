// Loads every sample cut off at every byte and with every bit of its first bytes turned, as it is detected and with its
// own loader: each load must answer with a status, and leave no descriptor open and no block behind.
//
//   tload_damage [--quick] [NAME]    all samples, or those whose name begins so; less of each when it has to be quick
//
// As many samples at a time as there are processors, each in a process and a folder of its own.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <thread>

#include "fuzz/load_file.h"
#include "samples/all_samples.h"
#include "samples/picture.h"

namespace fs = std::filesystem;

struct Effort {
    size_t turnedBytes;
    size_t everyByteUpTo; // longer files are cut at every byte near their ends only,
    size_t placesBetween; // and at so many places between
};

// What lies in the middle of large cards and programs is picks alone; some cards fill a disk. Vector graphics are read
// by the command that draws them.
static Effort effortFor(const Sample& sample, size_t fileBytes, bool isQuick)
{
    const bool isSlow = fileBytes > 200000 || sample.format == formatVectorPreview;
    if (isQuick)
        return isSlow ? Effort{8, 16, 8} : Effort{32, 400, 40};
    if (isSlow)
        return {64, 400, 300};
    return fileBytes > 50000 ? Effort{512, 6000, 4000} : Effort{512, fileBytes, 1};
}

struct Tally {
    std::atomic<u64> loads;
    std::atomic<u64> faults;
};

// The library and the libraries below it say much about damaged files, on both streams.
static FILE* answers;

static void report(Tally& tally, const std::string& name, const char* what, long long where)
{
    tally.faults++;
    fprintf(answers, "%s: %s at %lld\n", name.c_str(), what, where);
}

static void store(const std::string& path, const std::vector<uint8_t>& content)
{
    if (!writeFile(path, content)) {
        fprintf(answers, "%s cannot be written\n", path.c_str());
        exit(2);
    }
}

static void storeTurned(const std::string& path, std::vector<uint8_t> content, size_t bit)
{
    content[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    store(path, content);
}

struct Footprint {
    int descriptors;
    size_t allocated;
};

static void checkFootprint(Tally& tally, const Footprint& before, const Sample& sample, long long where)
{
    if (openDescriptors() != before.descriptors)
        report(tally, sample.name, "descriptors left open", where);
    if (allocatedBytes() != before.allocated)
        report(tally, sample.name, "bytes left allocated", where);
}

static void loadBothWays(Tally& tally, const std::string& path, const Sample& sample, long long where,
                         const Footprint* before = nullptr)
{
    for (u32 format : {u32{formatDetect}, u32{sample.format}}) {
        const u32 bandRows = where % 3 == 0 ? 0 : 7;
        LoadedFile loaded = loadFile(path, format, bandRows, where % 5 == 0 ? where % 4 - 2 : 0);
        tally.loads++;
        if (!isStatus(loaded.bandStatus) || (loaded.status != -1 && !isStatus(loaded.status)))
            report(tally, sample.name, "an unknown status", where);
        loaded.rows = std::vector<u8>(); // which are not the library's
        // A TIFF file that is refused stays open until its loader is asked again.
        if (sample.format == formatTiff)
            loadFile("/dev/null", formatTiff);
        if (before != nullptr)
            checkFootprint(tally, *before, sample, where);
    }
}

static void damage(Tally& tally, const fs::path& folder, const Sample& sample, bool isQuick)
{
    const std::vector<uint8_t> bytes = sample.encode();
    const Effort effort = effortFor(sample, bytes.size(), isQuick);
    const std::string path = folder / sample.name; // made once, since blocks are counted
    loadBothWays(tally, path, sample, -1);
    const Footprint before = {openDescriptors(), allocatedBytes()};

    // From the end, since a new size is what tells the library that the file is a new one.
    const size_t step = bytes.size() <= effort.everyByteUpTo ? 1 : bytes.size() / effort.placesBetween;
    for (size_t length = bytes.size(); length-- > 0;) {
        const bool isNearAnEnd = length < effort.everyByteUpTo / 2 || bytes.size() - length < effort.everyByteUpTo / 8;
        if (!isNearAnEnd && length % step != 0)
            continue;
        if (truncate(path.c_str(), static_cast<off_t>(length)) != 0)
            exit(2);
        loadBothWays(tally, path, sample, static_cast<long long>(length), &before);
    }
    for (size_t bit = 0; bit < 8 * std::min(bytes.size(), effort.turnedBytes); bit++) {
        storeTurned(path, bytes, bit);
        loadImgCheckHeader("/proc/version"); // or the header of the file before would stand for this one
        loadBothWays(tally, path, sample, static_cast<long long>(bit), &before);
    }
    store(path, bytes);
    loadBothWays(tally, path, sample, -1);
    checkFootprint(tally, before, sample, -1);
}

// The samples that are damaged are copies, since they are parts of other designs too.
static int damageCopy(Tally& tally, const fs::path& samples, const Sample& sample, bool isQuick)
{
    const fs::path folder = samples.string() + "-" + sample.name;
    fs::copy(samples, folder);
    damage(tally, folder, sample, isQuick);
    fs::remove_all(folder);
    return 0;
}

static void awaitOne(Tally& tally)
{
    int result = 0;
    const pid_t child = wait(&result);
    if (child < 0 || result != 0)
        report(tally, std::to_string(child), "this process fell over", result);
}

int main(int argc, char** argv)
{
    char name[] = "/tmp/tload-damage-XXXXXX";
    const fs::path folder = mkdtemp(name);
    answers = silenceLibraries();
    storeSamples(folder);
    const bool isQuick = argc > 1 && strcmp(argv[1], "--quick") == 0;
    const char* beginning = argc > 1 + isQuick ? argv[1 + isQuick] : "";
    void* shared = mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return 2;
    Tally& tally = *new (shared) Tally{};
    u32 running = 0;
    for (const Sample& sample : allSamples()) {
        if (strncmp(sample.name, beginning, strlen(beginning)) != 0)
            continue;
        if (running == std::thread::hardware_concurrency()) {
            awaitOne(tally);
            running--;
        }
        const pid_t child = fork();
        if (child == 0)
            return damageCopy(tally, folder, sample, isQuick);
        if (child > 0)
            running++;
        else
            report(tally, sample.name, "no process can be started", errno);
    }
    for (; running > 0; running--)
        awaitOne(tally);
    fs::remove_all(folder);
    fprintf(answers, "%llu loads of damaged samples, %llu faults\n", static_cast<unsigned long long>(tally.loads),
            static_cast<unsigned long long>(tally.faults));
    return tally.faults == 0 ? 0 : 1;
}
