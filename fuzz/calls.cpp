// The entries of the loaders in any order, as a careless host may call them: files that are not ended, rows of a file
// that another loader has opened, bands behind the last row, rows closer together than they are long. The input is a
// row of calls.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "formats/catalogue.h"
#include "fuzz/input.h"
#include "fuzz/load_file.h"
#include "samples/all_samples.h"
#include "samples/picture.h"

namespace fs = std::filesystem;

constexpr u64 largestBand = 1 << 20;

// The small samples of formats that need no other program.
struct Files {
    fs::path folder = "/dev/shm/tload-calls-" + std::to_string(getpid());
    std::vector<Sample> samples;

    Files()
    {
        fs::create_directories(folder);
        drawSmallSamples();
        for (const Sample& sample : allSamples()) {
            const std::vector<u8> bytes = sample.encode();
            if (bytes.size() < 50000 && catalogue[sample.format - 1].command == Command::none &&
                writeFile(folder / sample.name, bytes))
                samples.push_back(sample);
        }
    }
    ~Files() { fs::remove_all(folder); }
};

// What the last tryLoad has told.
struct LastPicture {
    u32 format = 0;
    u32 kind = 0;
    u32 width = 0;
    u32 height = 0;
    bool isOpen = false;
};

static void check(int status)
{
    if (!isStatus(status))
        abort();
}

static void open(const Files& files, Input& input, LastPicture& picture)
{
    const Sample& sample = files.samples[takeByte(input) % files.samples.size()];
    const u8 way = takeByte(input);
    const std::string path = files.folder / sample.name;
    const u32 format = way % 4 == 0 ? u32{formatDetect} : way % 4 == 1 ? way % formatCount + 1 : sample.format;
    const int found = returnLoaderFunctions(format, path.c_str());
    picture.format = format != formatDetect ? format : static_cast<u32>(found);
    if (found == formatNotAnImage)
        return;
    u32 ignored = 0;
    u8 flag = 0;
    std::vector<u8> palette(768);
    std::vector<char> description(4096), name(path.c_str(), path.c_str() + path.size() + 1);
    picture.kind = way % 3;
    const int status =
        getTryLoad()(name.data(), &picture.kind, &picture.width, &picture.height, &ignored, &ignored, &ignored,
                     &ignored, palette.data(), description.data(), &flag, &ignored, way % 8 == 7 ? way % 3 : 1);
    check(status);
    picture.isOpen = status == loadSuccess;
}

static void takeBand(Input& input, const LastPicture& picture)
{
    const u8 way = takeByte(input);
    const i64 rowBytes = static_cast<i64>(pictureRowBytes(picture.kind, picture.width));
    const i64 stride = std::max<i64>(0, rowBytes + (way % 4 == 0 ? takeNumber(input, -10, 10) : 0));
    const bool toTheirPlace = goesToItsPlace(static_cast<int>(picture.format), picture.kind);
    u64 rows = way % 3 == 0 ? picture.height + way % 5 : way % 11;
    if (toTheirPlace)
        rows = std::min<u64>(rows, picture.height);
    const u64 size = static_cast<u64>(stride) * (toTheirPlace ? picture.height : rows);
    if (getLoadBand() == nullptr || size > largestBand || (toTheirPlace && !picture.isOpen))
        return;
    std::vector<u8> band(size);
    check(getLoadBand()(band.data(), static_cast<u32>(rows), static_cast<u32>(stride)));
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    static const Files files;
    Input input{data, size};
    LastPicture picture;
    while (input.left > 0) {
        const u8 call = takeByte(input);
        if (call % 8 < 3) {
            open(files, input, picture);
        } else if (call % 8 < 6) {
            takeBand(input, picture);
        } else if (call % 8 == 6 && getEndLoad() != nullptr) {
            check(getEndLoad()());
            picture.isOpen = false;
        } else {
            // The entries of another loader, while the picture may still be open in its own.
            picture.format = call % formatCount + 1;
            picture.isOpen = false;
            returnLoaderFunctions(picture.format, nullptr);
        }
    }
    for (u32 format = 1; format <= formatCount; format++) {
        returnLoaderFunctions(format, nullptr);
        check(getEndLoad()());
        check(getEndLoad()());
    }
    return 0;
}
