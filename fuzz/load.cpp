// One loader on one file: the first byte of the input is the format id, 0 to detect it, the rest is the file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "samples/picture.h"
#include "tload.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    if (size < 1)
        return 0;
    // A new name each time, or the header cache would answer for the input before.
    static u64 number = 0;
    std::string path = "/dev/shm/tload-fuzz-" + std::to_string(getpid()) + "-" + std::to_string(number++);
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr || fwrite(data + 1, 1, size - 1, file) != size - 1)
        abort();
    fclose(file);

    u32 id = data[0] % (formatCount + 1);
    u32 kind = 0, width = 0, height = 0, ignored;
    std::vector<u8> palette(768);
    u8 flag;
    std::vector<char> description(4096);
    returnLoaderFunctions(id, path.c_str());
    if (getTryLoad() != nullptr &&
        getTryLoad()(path.c_str(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette.data(),
                     description.data(), &flag, &ignored, 1) == loadSuccess) {
        u64 rowBytes = pictureRowBytes(kind, width);
        if (rowBytes * height <= 1 << 24) {
            std::vector<u8> rows(rowBytes * height);
            getLoadBand()(rows.data(), height, static_cast<u32>(rowBytes));
        }
        getEndLoad()();
    }
    remove(path.c_str());
    return 0;
}
