// Bonas jacquard cards (EP) and their compressed form (EP_).
//
//   header   34 bytes   see the offsets below
//   picks    one after the other: the hooks, then the selector hooks, leftmost end in a byte's lowest bit; wide picks
//            are padded to a multiple of 4 bytes
//
// A design of more picks than a file holds goes on in d.001, d.002, ..., each with a header of its own. EP_ is an EP
// file that the installed command expands to a name without the "_".
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <iterator>

#include "framework/bytes.h"
#include "framework/command.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr i64 probedBytes = 3; // what the test on the cached header looks at
constexpr size_t cardHeaderBytes = 34;

// Offsets in the header.
constexpr size_t atMark = 2; // always 0
constexpr size_t atPicksPerFile = 3;
constexpr size_t atDesignName = 6;
constexpr size_t atSelectorBytes = 15;
constexpr size_t atTotalPicks = 16;
constexpr size_t atCadSystem = 31;
constexpr size_t atHooks = 32;

constexpr int designNameBytes = 8;
constexpr u32 usualSelectorBytes = 4;
constexpr u32 leastPaddedHooks = 896;
constexpr const char* cadSystems[] = {"CAPS3", "Viable", "EAT", "Sophis", "JMF", "Grosse", "Faure",      "Apso",
                                      "CDI",   "Datec",  "AVA", "PCedit", "IAM", "Paycom", "Pointcarre", "Tevrin"};

constexpr u8 compressedMark[] = {'S', 'Z', 'D', 'D', 0x88, 0xF0, 0x27, 0x33, 'A'};
constexpr char lastPartExtension[] = ".ep";
constexpr size_t numberLength = 3; // of the "001" that a part's name ends in
constexpr u64 readAheadBytes = 1 << 18;

// The expanded file and, when it could not lie beside the compressed one, the folder that was made for it.
static void removeExpanded(char* name, u32& folderLength)
{
    if (folderLength != 0) {
        name[folderLength] = 0;
        removeFolder(name);
    } else if (name[0] != 0) {
        unlink(name);
    }
    name[0] = 0;
    folderLength = 0;
}

static void release(BonasState& state)
{
    closeSlot(state.file);
    removeExpanded(state.tempName, state.tempFolderLength);
}

// The expanded file of a load that has not succeeded yet.
struct Expanded {
    char name[partNameBytes] = "";
    u32 folderLength = 0;

    Expanded() = default;
    Expanded(const Expanded&) = delete;
    Expanded& operator=(const Expanded&) = delete;
    ~Expanded() { removeExpanded(name, folderLength); }
};

static bool isCard(const char* path)
{
    const u8* header = loadImgCheckHeader(path);
    if (header == nullptr || loadImgLastFilesize() < probedBytes || header[atMark] != 0)
        return false;
    size_t length = strlen(path);
    return length >= 2 && tolowerAZ(path[length - 2]) == 'e' && tolowerAZ(path[length - 1]) == 'p';
}

static bool isCompressedCard(const char* path)
{
    const u8* header = loadImgCheckHeader(path);
    if (header == nullptr || loadImgLastFilesize() < static_cast<i64>(sizeof compressedMark) ||
        memcmp(header, compressedMark, sizeof compressedMark) != 0)
        return false;
    size_t length = strlen(path);
    return length >= 6 && length <= partNameBytes && path[length - 4] == '.' && tolowerAZ(path[length - 3]) == 'e' &&
           tolowerAZ(path[length - 2]) == 'p' && path[length - 1] == '_';
}

// "design.001.ep" and the like.
static bool isContinuation(const char* name, size_t length)
{
    const char* end = name + length;
    return length >= 9 && end[-3] == '.' && isDigit(end[-4]) && isDigit(end[-5]) && isDigit(end[-6]) && end[-7] == '.';
}

// Reads the header of the card file at path. The design's further parts are named after designName.
static LoadStatus openDesign(const char* path, const char* designName, ImageInfo& image, File& file, BonasState& loaded)
{
    if (!file.open(path))
        return loadCannotRead;
    // What the file lacks counts as zero.
    u8 header[cardHeaderBytes] = {};
    readExactly(file.stream, header, sizeof header);

    u32 selectorBytes = header[atSelectorBytes];
    printf("Bonas bytes for weft (selectl) %d\n", static_cast<int>(selectorBytes));
    if (selectorBytes == 0)
        selectorBytes = usualSelectorBytes;
    const u32 hooks = littleEndian16(header + atHooks);
    const u32 width = hooks + 8 * selectorBytes;
    u32 padBytes = 0;
    if (threadState().bonasLinePadding != 0 && hooks >= leastPaddedHooks && width % 32 != 0)
        padBytes = (32 - width % 32) / 8;

    loaded.picksPerFile = littleEndian16(header + atPicksPerFile);
    loaded.height = littleEndian16(header + atTotalPicks);
    if (loaded.picksPerFile == 0)
        return loadWrongFormat;
    if (loaded.height == 0)
        loaded.height = loaded.picksPerFile;
    loaded.fileCount = (loaded.height + loaded.picksPerFile - 1) / loaded.picksPerFile;
    loaded.fileRowBytes = (width + 7) / 8 + padBytes;
    if (loaded.fileCount > 1) {
        size_t length = strlen(designName);
        if (isContinuation(designName, length) || length + 1 >= partNameBytes)
            return loadWrongFormat;
        memcpy(loaded.partName, designName, length);
        loaded.partName[length] = '0';
        loaded.nameLength = static_cast<u32>(length + 1);
    }

    char description[64];
    const size_t lastSystem = std::size(cadSystems) - 1;
    snprintf(description, sizeof description, "Bonas\n%.*s\nCAD: %s", designNameBytes,
             reinterpret_cast<const char*>(header + atDesignName),
             cadSystems[std::min<size_t>(header[atCadSystem], lastSystem)]);
    reportImage(image, description, loomOrientation);
    image.kind = kindBilevel;
    image.width = width;
    image.height = loaded.height;
    image.palette[0] = 0;
    return loadSuccess;
}

static void keep(BonasState& loaded, File& file)
{
    BonasState& state = threadState().loom.bonas;
    release(state);
    state = loaded;
    handOver(file, state.file);
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!isCard(request.path))
        return loadWrongFormat;
    File file;
    BonasState loaded{};
    LoadStatus status = openDesign(request.path, request.path, image, file, loaded);
    if (status == loadSuccess)
        keep(loaded, file);
    return status;
}

static bool copyFile(const char* from, const char* to)
{
    File source;
    Buffer block;
    if (!source.open(from) || !block.allocate(readAheadBytes))
        return false;
    FILE* copy = fopen(to, "wbxe");
    if (copy == nullptr)
        return false;
    bool complete = true;
    size_t size;
    while (complete && (size = fread(block.bytes, 1, readAheadBytes, source.stream)) > 0)
        complete = fwrite(block.bytes, 1, size, copy) == size;
    complete = complete && ferror(source.stream) == 0;
    return fclose(copy) == 0 && complete;
}

static void expand(const char* path)
{
    runCommand({commandText(threadState().msExpandCommand), commandText(" "), commandPath(path)});
}

// The command works in a folder of its own, on a copy. False when there is no room for that.
static bool expandCopy(const char* path, Expanded& expanded)
{
    char copy[partNameBytes];
    char* name = expanded.name;
    int length = snprintf(name, partNameBytes, "%s/tload-XXXXXX", threadState().tmpDir);
    if (length < 0 || length >= static_cast<int>(partNameBytes) || mkdtemp(name) == nullptr) {
        name[0] = 0;
        return false;
    }
    expanded.folderLength = static_cast<u32>(length);
    int copyLength = snprintf(copy, sizeof copy, "%.*s/%s", length, name, baseName(path));
    if (copyLength < 0 || copyLength >= static_cast<int>(sizeof copy))
        return false;
    memcpy(name, copy, static_cast<size_t>(copyLength));
    name[copyLength - 1] = 0;
    bool copied = copyFile(path, copy);
    if (copied)
        expand(copy);
    unlink(copy);
    return copied;
}

static LoadStatus tryLoadCompressed(const LoadRequest& request, ImageInfo& image)
{
    LoaderThreadState& thread = threadState();
    if (thread.tmpDir == nullptr || thread.msExpandCommand == nullptr || !isCompressedCard(request.path))
        return loadWrongFormat;

    char designName[partNameBytes];
    const size_t length = strlen(request.path) - 1;
    memcpy(designName, request.path, length);
    designName[length] = 0;

    release(thread.loom.bonas); // its expanded file is not somebody's
    Expanded expanded;
    struct stat info;
    // A file of that name is somebody's and stays as it is.
    if (lstat(designName, &info) == 0) {
        if (!expandCopy(request.path, expanded))
            return loadWrongFormat;
    } else {
        memcpy(expanded.name, designName, length + 1);
        expand(request.path);
    }
    if (!isCard(expanded.name))
        return loadWrongFormat;

    File file;
    BonasState loaded{};
    LoadStatus status = openDesign(expanded.name, designName, image, file, loaded);
    if (status != loadSuccess)
        return status;
    if (request.wantPalette != 0) {
        memcpy(loaded.tempName, expanded.name, sizeof loaded.tempName);
        loaded.tempFolderLength = expanded.folderLength;
        expanded.name[0] = 0;
        expanded.folderLength = 0;
    }
    keep(loaded, file);
    return loadSuccess;
}

// Part 1 of d.ep is d.001, and from part 100 on the tens run past "9". A part that is not there is looked for with
// ".ep" behind its name, which then stays: the next number overwrites the last three characters of the longer name.
static bool openNextPart(BonasState& state)
{
    closeSlot(state.file);
    const u32 part = state.rowCounter / state.picksPerFile;
    char* number = state.partName + state.nameLength - numberLength;
    number[0] = '0';
    number[1] = static_cast<char>('0' + part / 10);
    number[2] = static_cast<char>('0' + part % 10);
    File file;
    if (!file.open(state.partName)) {
        if (state.nameLength + sizeof lastPartExtension > partNameBytes)
            return false;
        memcpy(state.partName + state.nameLength, lastPartExtension, sizeof lastPartExtension);
        state.nameLength += static_cast<u32>(strlen(lastPartExtension));
        if (!file.open(state.partName))
            return false;
    }
    fseeko(file.stream, cardHeaderBytes, SEEK_SET);
    handOver(file, state.file);
    return true;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    BonasState& state = threadState().loom.bonas;
    if (state.file == nullptr)
        return loadBadData;
    const u64 rowBytes = state.fileRowBytes;
    const u64 rowsAtOnce = std::min<u64>(readAheadBytes / rowBytes, std::min(count, state.height - state.rowCounter));
    Buffer block;
    if (!block.allocate(rowsAtOnce * rowBytes))
        return loadOutOfMemory;

    for (u64 row = 0; row < count;) {
        u32 picksLeft = state.height - state.rowCounter;
        if (picksLeft == 0)
            break;
        if (state.fileCount > 1) {
            u32 pickOfPart = state.rowCounter % state.picksPerFile;
            if (pickOfPart == 0 && state.rowCounter != 0 && !openNextPart(state))
                return loadCannotRead;
            picksLeft = std::min(picksLeft, state.picksPerFile - pickOfPart);
        }
        const u64 picks = std::min<u64>({rowsAtOnce, picksLeft, count - row});
        // Picks that the file lacks are empty.
        const u64 size = picks * rowBytes;
        const u64 arrived = fread(block.bytes, 1, size, state.file);
        memset(block.bytes + arrived, 0, size - arrived);
        reverseBits(block.bytes, size, false);
        for (u64 i = 0; i < picks; i++)
            deliverRow(rows + (row + i) * bytesPerRow, block.bytes + i * rowBytes, rowBytes, bytesPerRow);
        row += picks;
        state.rowCounter += static_cast<u32>(picks);
    }
    return loadSuccess;
}

static LoadStatus endLoad()
{
    release(threadState().loom.bonas);
    return loadSuccess;
}

void registerLoadBonas()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}

void registerLoadBonasCompressed()
{
    registerEntries<tryLoadCompressed, loadBand, endLoad>();
}
