// Lets the n-th allocation fail, then the n-th read come short, then the n-th opening fail, for every n, while every
// sample is loaded and every utility runs. This program's own functions stand before those of the C library, for the
// library and for all that it links to. Under a sanitizer, which needs that place itself, the linker wraps the calls of
// the library alone.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string_view>
#include <unordered_set>

#include "fuzz/load_file.h"
#include "samples/all_samples.h"
#include "samples/picture.h"

namespace fs = std::filesystem;

extern "C" {
#ifdef __SANITIZE_ADDRESS__
void __real_free(void* block);
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
size_t __real_fread(void* destination, size_t size, size_t count, FILE* stream);
char* __real_fgets(char* line, int size, FILE* stream);
ssize_t __real_read(int descriptor, void* destination, size_t size);
size_t __real_fread_unlocked(void* destination, size_t size, size_t count, FILE* stream);
int __real___uflow(FILE* stream);
FILE* __real_fopen64(const char* path, const char* mode);
FILE* __real_fdopen(int descriptor, const char* mode);
int __real_open64(const char* path, int flags, ...);
#else
int __uflow(FILE* stream); // behind getc_unlocked, when the buffer is empty
void __libc_free(void* block);
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
#endif
}

enum class Fault { allocation, shortRead, opening };

static Fault kind;
static u64 callsBefore;
static bool isArmed = false;
static bool hasStruck = false;

// libtiff 4.5 uses some of what it could not allocate while it opens a file; that is its own to mend.
static bool isOfLibtiff(const void* caller)
{
    Dl_info info;
    return dladdr(caller, &info) != 0 && strstr(info.dli_fname, "libtiff") != nullptr;
}

static bool strikes(Fault call, const void* caller)
{
    if (!isArmed || call != kind || (call == Fault::allocation && isOfLibtiff(caller)) || callsBefore-- != 0)
        return false;
    isArmed = false;
    hasStruck = true;
    errno = call == Fault::allocation ? ENOMEM : call == Fault::opening ? EMFILE : EIO;
    return true;
}

// Those that are not freed, from the moment that there is a set to count them in.
static std::unordered_set<void*>* blocks;

static void* counted(void* block)
{
    if (block != nullptr && blocks != nullptr)
        blocks->insert(block);
    return block;
}

static void uncounted(void* block)
{
    if (blocks != nullptr)
        blocks->erase(block);
}

#define CALLER __builtin_return_address(0)
#ifdef __SANITIZE_ADDRESS__
#define INSTEAD_OF(call) __wrap_##call
#define MEMORY(call) __real_##call
#define STREAM(call) __real_##call
#else
#define INSTEAD_OF(call) call
#define MEMORY(call) __libc_##call
#define STREAM(call) reinterpret_cast<decltype(&(call))>(dlsym(RTLD_NEXT, #call))

// What the program itself allocates never fails and is not counted.
void* operator new(size_t size)
{
    return __libc_malloc(size);
}

void operator delete(void* block) noexcept
{
    __libc_free(block);
}

void operator delete(void* block, size_t) noexcept
{
    __libc_free(block);
}
#endif

extern "C" {
void* INSTEAD_OF(malloc)(size_t size)
{
    return counted(strikes(Fault::allocation, CALLER) ? nullptr : MEMORY(malloc)(size));
}

void* INSTEAD_OF(calloc)(size_t count, size_t size)
{
    return counted(strikes(Fault::allocation, CALLER) ? nullptr : MEMORY(calloc)(count, size));
}

void* INSTEAD_OF(realloc)(void* block, size_t size)
{
    if (strikes(Fault::allocation, CALLER))
        return nullptr;
    uncounted(block);
    return counted(MEMORY(realloc)(block, size));
}

void INSTEAD_OF(free)(void* block)
{
    uncounted(block);
    MEMORY(free)(block);
}

char* INSTEAD_OF(strdup)(const char* text)
{
    const size_t size = strlen(text) + 1;
    void* copy = INSTEAD_OF(malloc)(size);
    return static_cast<char*>(copy != nullptr ? memcpy(copy, text, size) : nullptr);
}

size_t INSTEAD_OF(fread)(void* destination, size_t size, size_t count, FILE* stream)
{
    return STREAM(fread)(destination, size, strikes(Fault::shortRead, CALLER) ? count / 2 : count, stream);
}

size_t INSTEAD_OF(fread_unlocked)(void* destination, size_t size, size_t count, FILE* stream)
{
    return STREAM(fread_unlocked)(destination, size, strikes(Fault::shortRead, CALLER) ? count / 2 : count, stream);
}

ssize_t INSTEAD_OF(read)(int descriptor, void* destination, size_t size)
{
    return STREAM(read)(descriptor, destination, strikes(Fault::shortRead, CALLER) ? size / 2 : size);
}

// What reads on in a text by characters, lines and numbers.
int INSTEAD_OF(__uflow)(FILE* stream)
{
    return strikes(Fault::shortRead, CALLER) ? EOF : STREAM(__uflow)(stream);
}

char* INSTEAD_OF(fgets)(char* line, int size, FILE* stream)
{
    return strikes(Fault::shortRead, CALLER) ? nullptr : STREAM(fgets)(line, size, stream);
}

int INSTEAD_OF(__isoc99_fscanf)(FILE* stream, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = strikes(Fault::shortRead, CALLER) ? EOF : vfscanf(stream, format, arguments);
    va_end(arguments);
    return result;
}

FILE* INSTEAD_OF(fopen64)(const char* path, const char* mode)
{
    return strikes(Fault::opening, CALLER) ? nullptr : STREAM(fopen64)(path, mode);
}

FILE* INSTEAD_OF(fdopen)(int descriptor, const char* mode)
{
    return strikes(Fault::opening, CALLER) ? nullptr : STREAM(fdopen)(descriptor, mode);
}

int INSTEAD_OF(open64)(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return strikes(Fault::opening, CALLER) ? -1 : STREAM(open64)(path, flags, mode);
}
}

static FILE* answers; // the library talks on standard output
static u64 runs = 0;
static u64 complaints = 0;

static void complain(const std::string& name, const char* what, u64 call)
{
    complaints++;
    fprintf(answers, "%s: %s (fault %d, call %llu)\n", name.c_str(), what, static_cast<int>(kind),
            static_cast<unsigned long long>(call));
}

// Runs an action with the n-th call failing, for every n until none is left to fail; of many reads ever fewer are
// tried.
static void withFaults(const std::function<void(u64 call)>& action)
{
    for (Fault fault : {Fault::allocation, Fault::shortRead, Fault::opening}) {
        kind = fault;
        hasStruck = true;
        for (u64 call = 0; hasStruck; call += fault == Fault::allocation ? 1 : 1 + call / 50) {
            callsBefore = call;
            hasStruck = false;
            isArmed = true;
            action(call);
            isArmed = false;
            runs++;
        }
    }
}

// What a refused load may keep until the next one.
static bool mayKeepFile(const Sample& sample)
{
    return sample.format == formatTiff || (sample.format == formatPcx && kind == Fault::allocation);
}

// A weave whose plane is not packed and finds no memory is one without a lift.
static bool mayBeClear(const Sample& sample, const LoadedFile& loaded)
{
    constexpr std::string_view plainPlanes[] = {"motif-plain-draft.weave", "motif-repeats.weave", "motif.fabric"};
    return std::count(std::begin(plainPlanes), std::end(plainPlanes), sample.name) > 0 &&
           std::all_of(loaded.rows.begin(), loaded.rows.end(), [](u8 byte) { return byte == 0; });
}

static void loadWithFaults(const fs::path& folder, const Sample& sample)
{
    const std::string path = folder / sample.name;
    const LoadedFile whole = loadFile(path, sample.format);
    const int descriptors = openDescriptors();
    size_t allocated = 0;
    auto checkLeftovers = [&](u64 call) {
        if (openDescriptors() != descriptors)
            complain(sample.name, "a descriptor is left open", call);
        const size_t now = blocks->size();
        if (allocated != 0 && now > allocated)
            complain(sample.name, "a block is left", call);
        allocated = allocated == 0 || now > allocated ? now : allocated;
    };
    withFaults([&](u64 call) {
        loadImgCheckHeader("/proc/version"); // so that the header is read again
        const LoadedFile loaded = loadFile(path, sample.format);
        isArmed = false;
        if (!isStatus(loaded.status) || !isStatus(loaded.bandStatus))
            complain(sample.name, "an unknown status", call);
        if (loaded.status == loadSuccess || !mayKeepFile(sample))
            checkLeftovers(call);
        const bool isSilent = loaded.status == whole.status && loaded.bandStatus == whole.bandStatus;
        if (hasStruck && kind == Fault::allocation && isSilent && !(loaded == whole) && !mayBeClear(sample, loaded))
            complain(sample.name, "an allocation failed and nobody said so", call);
        // The next load is not harmed, and releases what a refusal may keep.
        if (!(loadFile(path, sample.format) == whole))
            complain(sample.name, "the next load is another one", call);
        checkLeftovers(call);
    });
}

// A utility that finds no memory leaves what it was given as it was, or returns null.
static void runWithFaults(const char* name, const std::function<std::vector<u8>(bool& failed)>& utility,
                          const std::vector<u8>& untouched)
{
    bool ignored = false;
    srand(1);
    const std::vector<u8> whole = utility(ignored);
    size_t allocated = 0;
    withFaults([&](u64 call) {
        bool failed = false;
        srand(1);
        const std::vector<u8> result = utility(failed);
        isArmed = false;
        if (hasStruck && !failed && result != untouched && result != whole)
            complain(name, "half of the work is done", call);
        const size_t now = blocks->size();
        if (allocated != 0 && now > allocated)
            complain(name, "a block is left", call);
        allocated = now;
    });
}

static void runUtilities()
{
    const i32 width = 60, height = 40;
    const Picture photo = photoPicture(width, height, 1);
    const Picture indexed = noisePicture(pictureIndexed, width, height, 200, 2);
    const std::vector<u8> palette = noisePicture(pictureRgb, 256, 1, 0, 3).rows;
    const std::vector<u8> blank(width * height);

    auto quantized = [&](const u8* rgb, std::vector<u8> indices, i32 fixedColours) {
        std::vector<u8> colours = palette;
        i32 count = 30;
        colorQuantize(rgb, 3 * width, indices.data(), width, width, height, colours.data(), fixedColours, &count);
        colours.insert(colours.end(), indices.begin(), indices.end());
        return colours;
    };
    auto untouched = [&](const std::vector<u8>& indices) {
        std::vector<u8> both = palette;
        both.insert(both.end(), indices.begin(), indices.end());
        return both;
    };
    runWithFaults(
        "colorQuantize of indices", [&](bool&) { return quantized(nullptr, indexed.rows, 2); },
        untouched(indexed.rows));
    for (i32 fixedColours : {0, 3})
        runWithFaults(
            "colorQuantize", [&](bool&) { return quantized(photo.rows.data(), blank, fixedColours); },
            untouched(blank));
    const Picture flat = flatPicture(pictureRgb, width, height, 0);
    runWithFaults(
        "colorQuantize of few colours", [&](bool&) { return quantized(flat.rows.data(), blank, 0); },
        quantized(flat.rows.data(), blank, 0)); // need none
    runWithFaults(
        "trueColorRemapToCmap",
        [&](bool&) {
            std::vector<u8> indices = blank;
            trueColorRemapToCmap(photo.rows.data(), 3 * width, indices.data(), width, width, height, palette.data(),
                                 256, 5);
            return indices;
        },
        blank);
    runWithFaults(
        "colorQuantizeDitherFS",
        [&](bool&) {
            std::vector<u8> indices = blank;
            colorQuantizeDitherFS(photo.rows.data(), 3 * width, indices.data(), width, width, height, width, height,
                                  palette.data(), 256, 16, 3);
            return indices;
        },
        blank);
    runWithFaults(
        "renderRealImg",
        [&](bool&) {
            std::vector<u8> rows(4 * width * height);
            srand48(1);
            renderRealImg(rows.data(), 4 * width, 4, 0, 0, width, height, 0, 96000, 96000, photo.rows.data(), 3 * width,
                          width, height, pictureRgb, nullptr, 50000, 50000, 1);
            return rows;
        },
        std::vector<u8>(4 * width * height));
    runWithFaults(
        "copyTableEqualY",
        [&](bool&) {
            std::vector<u8> rows = indexed.rows;
            const std::vector<i32> table(height, 1);
            copyTableEqualY(rows.data(), width, height, table.data());
            return rows;
        },
        indexed.rows);
    runWithFaults("selfAvoidTable",
                  [&](bool& failed) {
                      u16* points = selfAvoidTable(20, width, height);
                      failed = points == nullptr;
                      const u8* bytes = reinterpret_cast<const u8*>(points);
                      std::vector<u8> result(bytes, failed ? bytes : bytes + 80);
                      free(points);
                      return result;
                  },
                  {});
    runWithFaults("collapseRGBA",
                  [&](bool&) {
                      u8* buffer = static_cast<u8*>(MEMORY(calloc)(4 * width, height));
                      i32 stride = 4 * width;
                      buffer = collapseRGBA(buffer, width, height, &stride, 1);
                      const std::vector<u8> result(buffer, buffer + 3 * width * height);
                      free(buffer);
                      return result;
                  },
                  {});
}

int main(int argc, char** argv)
{
    char name[] = "/tmp/tload-faults-XXXXXX";
    const fs::path folder = mkdtemp(name);
    answers = silenceLibraries();
    storeSamples(folder);
    blocks = new std::unordered_set<void*>;
    for (const Sample& sample : allSamples()) {
        if (argc < 2 || strncmp(sample.name, argv[1], strlen(argv[1])) == 0)
            loadWithFaults(folder, sample);
    }
    runUtilities();
    fs::remove_all(folder);
    fprintf(answers, "%llu runs with faults, %llu complaints\n", static_cast<unsigned long long>(runs),
            static_cast<unsigned long long>(complaints));
    return complaints == 0 ? 0 : 1;
}
