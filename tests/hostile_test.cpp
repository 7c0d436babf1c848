// Names, folders, disks and threads that mean no good.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "formats/catalogue.h"
#include "samples/all_samples.h"
#include "samples/bonas_writer.h"
#include "samples/jc5_writer.h"
#include "tests/support.h"

namespace fs = std::filesystem;

extern "C" void __lsan_disable() __attribute__((weak));

static const Picture cards = noisePicture(kindBilevel, 40, 9, 0, 1);
static const Jc5Options oneGroup = {.groups = {{40, "ground"}}};

static void setCommands(const char* command)
{
    for (auto* set : {llibSetGzipCommand, llibSetUnzipCommand, llibSetMsExpandCommand, llibSetVectorPreviewCommand})
        set(command);
}

static void setRealCommands()
{
    llibSetGzipCommand("gzip");
    llibSetUnzipCommand("unzip -o -qq");
    llibSetMsExpandCommand("msexpand");
    llibSetVectorPreviewCommand("gm convert");
}

constexpr u32 bonasPacked = formatBonasCompressed;

struct Hostile : testing::Test {
    TestDirectory directory, temporary;
    int descriptors = openDescriptors();

    Hostile()
    {
        llibSetTmpDir(temporary.path.c_str());
        setRealCommands();
    }

    void TearDown() override
    {
        EXPECT_TRUE(fs::is_empty(temporary.path));
        EXPECT_EQ(openDescriptors(), descriptors);
        llibSetTmpDir(nullptr);
        setCommands(nullptr);
    }
};

TEST_F(Hostile, NamesReachCommandsAsTheyAre)
{
    const fs::path before = fs::current_path();
    fs::current_path(directory.path);
    const Bytes zc5 = encodeZc5(cards, oneGroup), packed = compressForExpand(encodeBonas(cards));
    for (const std::string name : {"a\"$(touch x)\".zc5", "`touch x`.zc5", "a\\\".zc5", "two\nlines; touch x.zc5",
                                   "-rf.zc5", "-rf.ep_", "$HOME.ep_"}) {
        directory.write(name, name.ends_with("5") ? zc5 : packed);
        const Loaded loaded = load(name);
        EXPECT_EQ(loaded.bandStatus, loadSuccess) << name;
        EXPECT_TRUE(loaded.height == cards.height && !loaded.rows.empty());
    }
    EXPECT_FALSE(fs::exists("x"));
    fs::current_path(before);

    const std::string farAway = directory.path + "/" + std::string(5000, 'a') + ".zc5";
    const std::string inFile = directory.write("file", "x") + "/a.zc5";
    for (const std::string& path : {farAway, inFile})
        for (u32 id = 1; id <= formatCount; id++) {
            const int status = load(path, {.id = id}).status;
            EXPECT_TRUE(status >= 2 && status <= 7) << id << " " << status;
        }
}

// Whatever goes wrong, the load fails, a file that a link leads to stays as it was, and the next load is not harmed.
TEST_F(Hostile, TemporaryFoldersAndCommandsFailInEveryWay)
{
    drawSmallSamples();
    const std::string victim = directory.write("victim", "untouched");
    fs::create_symlink("nowhere", directory.path + "/link");
    auto unpacks = [](const std::string& path, u32 format) {
        const Loaded loaded = load(path, {.id = format});
        return loaded.status == loadSuccess && loaded.bandStatus == loadSuccess;
    };
    for (const Sample& sample : allSamples()) {
        if (catalogue[sample.format - 1].command == Command::none)
            continue;
        const std::string path = directory.write(sample.name, sample.encode());
        // Packed Bonas files are expanded beside themselves, and picks that are missing in them are clear.
        for (const std::string& folder : {victim + "/gone", victim, directory.path + "/link", std::string(4090, 'a')}) {
            llibSetTmpDir(folder.c_str());
            EXPECT_EQ(unpacks(path, sample.format), sample.format == bonasPacked) << sample.name << " " << folder;
        }
        llibSetTmpDir(temporary.path.c_str());
        for (const char* command : {"false", "/no/such/command", "exit 1;", "kill -9 $$;"}) {
            setCommands(command);
            EXPECT_FALSE(unpacks(path, sample.format)) << sample.name << " " << command;
        }
        setRealCommands();

        // A disk that is full after a few bytes; the command inherits it.
        rlimit limit;
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small = {20, limit.rlim_max};
        const auto handler = signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
        EXPECT_EQ(unpacks(path, sample.format), sample.format == bonasPacked) << sample.name;
        setrlimit(RLIMIT_FSIZE, &limit);
        signal(SIGXFSZ, handler);

        // Links in place of what is unpacked there.
        for (const char* name : {"motif.qte", "motif.svg.png", "motif.eps.png", "motif.pdf.png"})
            fs::create_symlink(victim, temporary.path + "/" + name);
        unpacks(path, sample.format);
        fs::remove_all(temporary.path);
        fs::create_directory(temporary.path);
        EXPECT_EQ(fs::file_size(victim), 9u);
        EXPECT_TRUE(unpacks(path, sample.format)) << sample.name;
        fs::remove(temporary.path + "/readme.txt"); // of the archive of a QTE file
    }
}

static bool isLoadStatus(int status)
{
    return status == loadSuccess || (status >= 2 && status <= 7);
}

// Small samples, without or with those that need another program.
static std::vector<std::pair<std::string, u32>> writeSamples(const TestDirectory& directory, bool withCommands)
{
    drawSmallSamples();
    std::vector<std::pair<std::string, u32>> files;
    for (const Sample& sample : allSamples()) {
        if (catalogue[sample.format - 1].command != Command::none && !withCommands)
            continue;
        const Bytes bytes = sample.encode();
        if (bytes.size() < 100000)
            files.emplace_back(directory.write(sample.name, bytes), sample.format);
    }
    return files;
}

// The beginning of a file is remembered, but what it holds is judged by the file as it is now.
TEST(HeaderCache, DoesNotHideThatAFileIsAnotherOne)
{
    TestDirectory directory;
    drawSmallSamples();
    const std::set<u32> formats = {
        formatPcx, formatWeave,    formatPignone,    formatSmit, formatSometDop,      formatSometCop,   formatNissan,
        formatUwf, formatColorado, formatVamatexPid, formatEat,  formatDoStyle,       formatVamatexPiw, formatFabric,
        formatBmp, formatZhuPat,   formatMuster,     formatWif,  formatNedgraphicsPat};
    for (const Sample& sample : allSamples()) {
        if (!formats.contains(sample.format))
            continue;
        const Bytes bytes = sample.encode();
        for (const auto& [content, status] : {std::pair(bytes, loadSuccess), {Bytes(bytes.size()), loadWrongFormat}})
            EXPECT_EQ(load(directory.write(sample.name, content), {.id = sample.format}).status, status) << sample.name;
    }
}

// The entries of a loader of the same family may be called while a picture is open, also when all of its rows were
// delivered.
TEST(Hosts, MayMixUpTheEntriesOfLoaders)
{
    const std::vector<u32> families[] = {
        {26, 53, 54, 61, 62, 65}, {29, 50, 69, 70}, {27, 28}, {30, 31, 52}, {12, 13, 14, 15, 16, 60},
        {63, 67, 68, 36},         {44, 56, 57},     {33, 34}, {25, 35}};
    constexpr u32 rowCount = 9, stride = 5;
    TestDirectory directory;
    const auto files = writeSamples(directory, false);
    for (const std::vector<u32>& family : families)
        for (const auto& [path, format] : files)
            for (u32 other : family) {
                if (std::find(family.begin(), family.end(), format) == family.end())
                    continue;
                const OpenPicture open(path, format);
                const auto loadOwn = getLoadBand();
                returnLoaderFunctions(other, nullptr);
                Bytes band(rowCount * stride);
                EXPECT_TRUE(isLoadStatus(getLoadBand()(band.data(), rowCount, stride))) << path << " " << other;
                Bytes whole(size_t{open.height} * stride);
                loadOwn(whole.data(), open.height, stride);
                EXPECT_TRUE(isLoadStatus(getLoadBand()(nullptr, 0, stride))) << path << " " << other;
            }
}

TEST(Threads, LoadEverythingAtOnce)
{
    TestDirectory directory;
    const auto files = writeSamples(directory, true);
    testing::internal::CaptureStdout(); // the Bonas loader tells what it finds
    auto loadAs = [&](size_t number, size_t file) {
        const std::string own = directory.path + "/" + std::to_string(number);
        fs::create_directory(own);
        llibSetTmpDir(own.c_str());
        setRealCommands();
        return load(files[file].first, {.id = files[file].second});
    };
    std::vector<Loaded> alone;
    for (size_t file = 0; file < files.size(); file++)
        alone.push_back(loadAs(99, file));
    std::vector<std::thread> threads;
    for (size_t number = 0; number < 16; number++)
        threads.emplace_back([&, number] {
            for (size_t i = 0; i < files.size(); i++) {
                const size_t file = (i + 7 * number) % files.size();
                const Loaded loaded = loadAs(number, file);
                EXPECT_TRUE(std::string(llibGetTmpDir()).ends_with("/" + std::to_string(number)));
                EXPECT_EQ(loaded.status, alone[file].status) << files[file].first;
                EXPECT_TRUE(loaded.rows == alone[file].rows) << files[file].first;
                EXPECT_EQ(loaded.description, alone[file].description);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    testing::internal::GetCapturedStdout();
}

TEST(Threads, MayEndInTheMiddleOfALoad)
{
    TestDirectory directory;
    const std::string path = directory.write("a.jc5", encodeJc5(cards, oneGroup));
    const Loaded expected = load(path);
    for (int i = 0; i < 20; i++)
        std::thread([&] {
            if (__lsan_disable != nullptr)
                __lsan_disable(); // what such a thread held is lost
            OpenPicture open(path, 14);
            open.isEnded = false;
        }).join();
    EXPECT_TRUE(load(path).rows == expected.rows);
}

static long residentPages()
{
    long whole = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> whole >> resident;
    return resident;
}

TEST(Reliability, TenThousandLoadsLeaveNothing)
{
    TestDirectory directory;
    const auto files = writeSamples(directory, false);
    testing::internal::CaptureStdout();
    auto loadMany = [&](int count) {
        for (int i = 0; i < count; i++)
            load(files[static_cast<size_t>(i) % files.size()].first,
                 {.id = files[static_cast<size_t>(i) % files.size()].second});
    };
    loadMany(1000);
    const int descriptors = openDescriptors();
    const long pages = residentPages();
    loadMany(10000);
    EXPECT_EQ(openDescriptors(), descriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they keep what is freed
    EXPECT_LT(residentPages() - pages, 2048);
#else
    static_cast<void>(pages);
#endif
    testing::internal::GetCapturedStdout();
}
