// Detection and the shared helpers: the first byte of the input chooses one, the rest is its line, file or path.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "fuzz/input.h"

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

static Stream streamOf(std::vector<u8>& bytes)
{
    FILE* stream = bytes.empty() ? nullptr : fmemopen(bytes.data(), bytes.size(), "rb");
    return {stream != nullptr ? stream : fopen("/dev/null", "rb"), fclose};
}

static void readLines(Input& input)
{
    const i32 size = takeNumber(input, -1, 300);
    std::vector<u8> bytes = takeBytes(input, input.left);
    Stream stream = streamOf(bytes);
    std::vector<char> line(static_cast<size_t>(std::max(size, 1)));
    for (int i = 0; i < 50; i++)
        fgetsDosMac(line.data(), size, stream.get());
}

static void readCompressed(Input& input)
{
    const std::string sizeText = takeText(input);
    std::vector<u8> block(static_cast<size_t>(takeNumber(input, 0, 5000)));
    std::vector<u8> bytes = takeBytes(input, input.left);
    Stream stream = streamOf(bytes);
    readCompressedData(sizeText.c_str(), block.data(), static_cast<int>(block.size()), stream.get());
    rewind(stream.get());
    skipCompressedData(sizeText.c_str(), stream.get());
}

static void readWeave(Input& input)
{
    const i32 ends = takeNumber(input, -1, 300), picks = takeNumber(input, -1, 300);
    std::vector<char> line(100000);
    std::vector<u8> bytes = takeBytes(input, input.left);
    Stream stream = streamOf(bytes);
    for (bool bringsBlocks : {false, true}) {
        i32 mode = 0, width = ends, height = picks;
        u8 orientation = 0;
        const size_t columns = static_cast<size_t>(std::max(ends, 0)), rows = static_cast<size_t>(std::max(picks, 0));
        auto* threading = static_cast<i32*>(bringsBlocks ? calloc(columns, sizeof(i32)) : nullptr);
        auto* plane = static_cast<u8*>(bringsBlocks ? calloc((columns + 7) / 8, rows) : nullptr);
        snprintf(line.data(), line.size(), "#BINDING\n");
        rewind(stream.get());
        readTevrinWeave(stream.get(), line.data(), &mode, &width, &height, &orientation, &threading, &plane);
        free(threading);
        free(plane);
    }
}

static void takePathsApart(Input& input)
{
    std::string path = takeText(input);
    const std::string other = takeText(input);
    getRelativePath(path.c_str(), other.c_str());
    getRelativePath(dirName(path.c_str()), baseName(other.c_str()));
    returnLoaderFunctions(formatDetect, path.c_str());
    if (path.find('=') != std::string::npos)
        removeHead(path.data());
    stringToLower(path.data());
    removeLast(path.data());
}

extern "C" int LLVMFuzzerTestOneInput(const u8* data, size_t size)
{
    Input input{data, size};
    switch (takeByte(input) % 5) {
    case 0:
        readLines(input);
        break;
    case 1:
        readCompressed(input);
        break;
    case 2:
        readWeave(input);
        break;
    case 3:
        takePathsApart(input);
        break;
    default: {
        const std::string tag = takeText(input);
        std::string text = takeText(input);
        parseOneLineTagXML(text.data(), tag.c_str());
    }
    }
    return 0;
}
