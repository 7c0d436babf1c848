#include "tests/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>

namespace fs = std::filesystem;

// Settings that were replaced stay readable, and what a thread has remembered stays behind when it ends: by design.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:storeText\nleak:loadImgCheckHeader\n";
}

Bytes Loaded::pixels() const
{
    Bytes packed;
    for (u64 y = 0; y < height; y++)
        packed.insert(packed.end(), rows.begin() + static_cast<i64>(y * stride),
                      rows.begin() + static_cast<i64>(y * stride + std::min(rowBytes, stride)));
    return packed;
}

std::vector<u32> Loaded::numbers() const
{
    return {kind, width, height, resX, resY, mulX, mulY, firstPart, orientationFlag};
}

Loaded load(const std::string& path, const LoadOptions& options)
{
    Loaded loaded;
    loaded.format = returnLoaderFunctions(options.id, path.c_str());
    if (getTryLoad() == nullptr)
        return loaded;
    loaded.palette.assign(768, options.fill);
    loaded.kind = options.kindOnEntry;
    std::vector<char> name(path.begin(), path.end());
    name.push_back(0);
    std::vector<char> description(4096, 0);
    loaded.status = getTryLoad()(name.data(), &loaded.kind, &loaded.width, &loaded.height, &loaded.resX, &loaded.resY,
                                 &loaded.mulX, &loaded.mulY, loaded.palette.data(), description.data(),
                                 &loaded.orientationFlag, &loaded.firstPart, options.wantPalette);
    loaded.description = description.data();
    if (loaded.status != loadSuccess)
        return loaded;

    loaded.rowBytes = pictureRowBytes(loaded.kind, loaded.width);
    loaded.stride = static_cast<u64>(static_cast<i64>(loaded.rowBytes) + options.extraStride);
    // Damaged headers announce pictures that no test wants in memory: their first rows will do.
    constexpr u64 mostBytes = 64 << 20;
    u64 rowCount = std::min<u64>(loaded.height, mostBytes / std::max<u64>(loaded.stride, 1));
    loaded.rows.assign(rowCount * loaded.stride, options.fill);
    if (rowCount < loaded.height && loaded.format == 23) {
        getEndLoad()();
        return loaded;
    }
    std::vector<u32> bands = options.bands;
    if (bands.empty())
        bands.push_back(static_cast<u32>(rowCount));
    // Bands may ask for more rows than there are. Behind them nothing is written.
    constexpr u64 guardBytes = 4096;
    constexpr u8 guard = 0x5C;
    const u64 bytes = std::max(rowCount, std::accumulate(bands.begin(), bands.end(), u64{0})) * loaded.stride;
    loaded.rows.resize(bytes);
    loaded.rows.resize(bytes + guardBytes, guard);
    u64 row = 0;
    for (u32 count : bands) {
        u8* start = loaded.rows.data() + (options.bandsFromFirstRow ? 0 : row * loaded.stride);
        loaded.bandStatus = getLoadBand()(start, count, static_cast<u32>(loaded.stride));
        row += count;
        if (loaded.bandStatus != loadSuccess)
            break;
    }
    EXPECT_EQ(getEndLoad()(), 0);
    EXPECT_EQ(std::count(loaded.rows.end() - guardBytes, loaded.rows.end(), guard), i64{guardBytes}) << path;
    loaded.rows.resize(rowCount * loaded.stride);
    return loaded;
}

std::string remarkTexts()
{
    std::string texts;
    for (i32 i = 0; i < llibGetRemarkCount(); i++) {
        i32 grave = 0;
        const std::string text = llibGetRemark(i, &grave);
        texts += (grave != 0 ? "!" : "") + text + "\n";
    }
    return texts;
}

OpenPicture::OpenPicture(const std::string& path, u32 id)
{
    u32 ignored;
    u8 flag;
    Bytes palette(768);
    std::vector<char> name(path.c_str(), path.c_str() + path.size() + 1), description(4096);
    returnLoaderFunctions(id, path.c_str());
    status = getTryLoad()(name.data(), &kind, &width, &height, &ignored, &ignored, &ignored, &ignored, palette.data(),
                          description.data(), &flag, &ignored, 1);
}

OpenPicture::~OpenPicture()
{
    if (status == loadSuccess && isEnded)
        getEndLoad()();
}

TestDirectory::TestDirectory()
{
    char name[] = "/tmp/tload-test-XXXXXX";
    path = mkdtemp(name);
}

TestDirectory::~TestDirectory()
{
    fs::remove_all(path);
}

std::string TestDirectory::write(const std::string& name, const Bytes& bytes) const
{
    return write(name, std::string(bytes.begin(), bytes.end()));
}

std::string TestDirectory::write(const std::string& name, const std::string& text) const
{
    std::string file = path + "/" + name;
    std::ofstream(file, std::ios::binary) << text;
    return file;
}

int openDescriptors()
{
    auto entries = fs::directory_iterator("/proc/self/fd");
    return static_cast<int>(std::distance(fs::begin(entries), fs::end(entries)));
}

void expectHarmless(const std::string& name, const Bytes& bytes, u32 id)
{
    TestDirectory directory;
    int descriptors = openDescriptors();
    int number = 0;
    auto tryOne = [&](const Bytes& damaged) {
        // A name of its own each time, or the header cache would answer for the file before.
        std::string file = directory.write(std::to_string(number++) + name, damaged);
        for (u32 installed : {static_cast<u32>(formatDetect), id}) {
            Loaded loaded = load(file, {.id = installed, .extraStride = number % 3});
            EXPECT_TRUE(loaded.status <= 0 || (loaded.status >= 2 && loaded.status <= 7)) << loaded.status;
            EXPECT_TRUE(loaded.bandStatus <= 0 || (loaded.bandStatus >= 2 && loaded.bandStatus <= 7));
        }
        fs::remove(file);
    };
    for (size_t length = 0; length < bytes.size(); length++)
        tryOne(Bytes(bytes.begin(), bytes.begin() + static_cast<i64>(length)));
    for (size_t bit = 0; bit < std::min<size_t>(bytes.size(), 128) * 8; bit++) {
        Bytes damaged = bytes;
        damaged[bit / 8] ^= static_cast<u8>(1 << bit % 8);
        tryOne(damaged);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

std::set<std::string> declaredNames(const char* header, const std::string& word)
{
    std::set<std::string> declared;
    std::ifstream stream(header);
    for (std::string text; std::getline(stream, text);) {
        if (text.starts_with(word)) {
            const std::string upToName = text.substr(0, text.find('('));
            declared.insert(upToName.substr(upToName.find_last_of(" *") + 1));
        }
    }
    return declared;
}

std::set<std::string> exportedNames(const std::string& library)
{
    std::set<std::string> exported;
    FILE* pipe = popen(("nm -D --defined-only --format=posix " + library).c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    char line[1000];
    while (pipe != nullptr && fgets(line, sizeof line, pipe) != nullptr)
        exported.insert(std::string(line).substr(0, std::string(line).find(' ')));
    EXPECT_EQ(pclose(pipe), 0);
    return exported;
}
