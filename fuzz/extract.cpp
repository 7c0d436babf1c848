// Drafts that are found out from pictures: the draft draws the picture, and libTload draws it from the WIF text. The
// input: width, height, over how many columns and rows the bits repeat, and the bits.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "fuzz/input.h"
#include "fuzz/load_file.h"
#include "loomfile/draft/extraction.h"
#include "loomfile/draft/wif_writer.h"
#include "loomfile/refusal.h"
#include "samples/picture.h"

static void require(bool isSo)
{
    if (!isSo)
        abort();
}

static std::vector<u8> takePicture(Input& input, u32 width, u32 height)
{
    const auto columns = static_cast<u32>(takeNumber(input, 1, 400)),
               picks = static_cast<u32>(takeNumber(input, 1, 400));
    const bool isPointed = takeByte(input) % 2 != 0;
    const std::vector<u8> bits = takeBytes(input, input.left);
    const u32 rowBytes = (width + 7) / 8;
    std::vector<u8> rows(u64{rowBytes} * height);
    auto place = [isPointed](u32 thread, u32 repeat) {
        const u32 around = thread % (2 * repeat);
        return isPointed && around >= repeat ? 2 * repeat - 1 - around : thread % repeat;
    };
    for (u32 y = 0; y < height && !bits.empty(); y++) {
        for (u32 x = 0; x < width; x++) {
            const u32 bit = place(y, picks) * columns + place(x, columns);
            if ((bits[bit / 8 % bits.size()] >> bit % 8 & 1) != 0)
                rows[y * rowBytes + x / 8] |= static_cast<u8>(0x80 >> x % 8);
        }
    }
    return rows;
}

// A new name for each file, or the header cache would answer for the one before.
static std::string store(const std::string& text)
{
    static u64 number = 0;
    const std::string folder = "/dev/shm/tload-fuzz-" + std::to_string(getpid());
    mkdir(folder.c_str(), 0700);
    std::string path = folder + "/" + std::to_string(number++) + ".wif";
    require(writeFile(path, {text.begin(), text.end()}));
    return path;
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    Input input{data, size};
    const auto width = static_cast<u32>(takeNumber(input, 1, 700)),
               height = static_cast<u32>(takeNumber(input, 1, 700));
    const std::vector<u8> rows = takePicture(input, width, height);
    const u32 rowBytes = (width + 7) / 8;
    auto next = rows.begin();
    Draft draft;
    try {
        draft = extractDraft(width, height, [&](u8* band, u32 count) {
            std::copy_n(next, i64{count} * rowBytes, band);
            next += i64{count} * rowBytes;
        });
    } catch (const Refusal& refusal) {
        require(refusal.status == loadUnsupportedVariant && width > mostExtractedShafts);
        return 0;
    }
    std::vector<u8> drawn(rows.size());
    drawRows(draft, 0, height, drawn.data(), rowBytes);
    require(drawn == rows);
    const std::string text = wifOf(draft);
    if (width < 2 || height < 2)
        return 0; // libTload wants more
    const std::string path = store(text);
    const LoadedFile loaded = loadFile(path, formatWif);
    require(loaded.status == loadSuccess && loaded.rows == rows);
    unlink(path.c_str());
    return 0;
}
