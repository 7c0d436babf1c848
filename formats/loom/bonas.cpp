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

#include <cerrno>
#include <cstring>
#include <iterator>

#include "framework/command.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

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
constexpr size_t lastCadSystem = std::size(cadSystems) - 1;

constexpr std::string_view compressedMark = "SZDD\x88\xF0\x27\x33\x41";
constexpr size_t leastCompressedName = 6;
constexpr char lastPartExtension[] = ".ep";
constexpr size_t numberLength = 3; // of the "001" that a part's name ends in
constexpr u64 readAheadBytes = 1 << 18;

void release(BonasState& state)
{
    closeSlot(state.file);
    removeTemporary(state.expanded);
}

LoadStatus checkCard(const char* path)
{
    const u8* header = probedHeader(path, probedBytes);
    if (header == nullptr)
        return loadWrongFormat;
    if (header[atMark] != 0)
        return refuseMark("Bonas");
    const size_t length = strlen(path);
    if (length < 2 || tolowerAZ(path[length - 2]) != 'e' || tolowerAZ(path[length - 1]) != 'p')
        return refuseName("ep");
    return loadSuccess;
}

// "design.001.ep" and the like.
bool isContinuation(const char* name, size_t length)
{
    const char* end = name + length;
    return length >= 9 && end[-3] == '.' && isDigit(end[-4]) && isDigit(end[-5]) && isDigit(end[-6]) && end[-7] == '.';
}

// The further parts are named after designName.
LoadStatus nameParts(const char* designName, BonasState& loaded)
{
    const size_t length = strlen(designName);
    if (isContinuation(designName, length))
        return refuse(loadWrongFormat, "it is a further part of a design that begins in another file");
    if (length + 1 >= partNameBytes)
        return refuse(loadWrongFormat, "its path is too long");
    memcpy(loaded.partName, designName, length);
    loaded.partName[length] = '0';
    loaded.nameLength = static_cast<u32>(length + 1);
    return loadSuccess;
}

void report(ImageInfo& image, const u8* header, u32 width, u32 height)
{
    char description[64];
    snprintf(description, sizeof description, "Bonas\n%.*s\nCAD: %s", designNameBytes,
             reinterpret_cast<const char*>(header + atDesignName),
             cadSystems[std::min<size_t>(header[atCadSystem], lastCadSystem)]);
    reportBilevel(image, width, height, description, loomOrientation);
    image.palette[0] = 0;
}

// Reads the header of the card file at path.
LoadStatus openDesign(const char* path, const char* designName, ImageInfo& image, File& file, BonasState& loaded)
{
    const LoadStatus opened = openFile(path, file);
    if (opened != loadSuccess)
        return opened;
    u8 header[cardHeaderBytes] = {};
    if (!readExactly(file.stream, header, sizeof header))
        remark(Gravity::grave, "the file ends in its header, and what it lacks counts as zero");

    u32 selectorBytes = header[atSelectorBytes];
    tell(stdout, "Bonas bytes for weft (selectl) %d\n", static_cast<int>(selectorBytes));
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
        return refuse(loadWrongFormat, "its header announces no picks");
    if (loaded.height == 0)
        loaded.height = loaded.picksPerFile;
    loaded.fileCount = (loaded.height + loaded.picksPerFile - 1) / loaded.picksPerFile;
    loaded.fileRowBytes = (width + 7) / 8 + padBytes;
    if (loaded.fileCount > 1) {
        const LoadStatus named = nameParts(designName, loaded);
        if (named != loadSuccess)
            return named;
    }
    const u32 picks = std::min(loaded.picksPerFile, loaded.height);
    remarkFileSize(file.stream, u64{loaded.fileRowBytes} * picks, width, picks);
    report(image, header, width, loaded.height);
    return loadSuccess;
}

void keep(BonasState& loaded, File& file)
{
    BonasState& state = threadState().loom.bonas;
    release(state);
    state = loaded;
    handOver(file, state.file);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    File file;
    BonasState loaded{};
    LoadStatus status = checkCard(request.path);
    if (status == loadSuccess)
        status = openDesign(request.path, request.path, image, file, loaded);
    if (status == loadSuccess)
        keep(loaded, file);
    return status;
}

bool copyFile(const char* from, const char* to)
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

// The expanded file: what a card file that has not been opened yet is called, and what there is to remove of it.
struct Expanded {
    Temporary temporary;
    char name[partNameBytes];
    int result; // of the command
};

void expand(const char* path, Expanded& expanded)
{
    expanded.result = runCommand({commandText(threadState().msExpandCommand), commandText(" "), commandPath(path)});
}

// The command works in a folder of its own, on a copy.
LoadStatus expandCopy(const char* path, Expanded& expanded)
{
    TemporaryPath& folder = expanded.temporary.path;
    if (!makeTemporaryFolder(folder))
        return refuse(loadWrongFormat, "no folder can be made in the temporary directory: %s", strerror(errno));
    char copy[partNameBytes];
    const int length = snprintf(copy, sizeof copy, "%s/%s", folder.name, baseName(path));
    if (length < 0 || length >= static_cast<int>(sizeof copy))
        return refuse(loadWrongFormat, "its path in the temporary directory is too long");
    memcpy(expanded.name, copy, static_cast<size_t>(length));
    expanded.name[length - 1] = 0;
    const bool copied = copyFile(path, copy);
    if (copied)
        expand(copy, expanded);
    unlink(copy);
    return copied ? loadSuccess : refuse(loadWrongFormat, "it cannot be copied into the temporary directory");
}

LoadStatus checkCompressed(const LoaderThreadState& thread, const char* path)
{
    if (thread.tmpDir == nullptr)
        return refuse(loadWrongFormat, "the temporary directory is not set");
    if (thread.msExpandCommand == nullptr)
        return refuse(loadWrongFormat, "the command that expands EP_ files is not set");
    if (probedMark(path, compressedMark, "compressed Bonas") == nullptr)
        return loadWrongFormat;
    if (!hasExtension(path, "ep_", leastCompressedName))
        return refuseName("ep_");
    if (strlen(path) > partNameBytes)
        return refuse(loadWrongFormat, "its path is too long");
    return loadSuccess;
}

// A file that has the name of the expanded one is somebody's and stays as it is.
LoadStatus expandDesign(const char* path, const char* designName, Expanded& expanded)
{
    struct stat info;
    if (lstat(designName, &info) == 0) {
        const LoadStatus status = expandCopy(path, expanded);
        if (status != loadSuccess)
            return status;
    } else {
        strcpy(expanded.name, designName);
        strcpy(expanded.temporary.path.name, designName);
        expand(path, expanded);
    }
    const LoadStatus status = checkCard(expanded.name);
    if (status != loadSuccess && (expanded.result != 0 || !isOwnFile(expanded.name)))
        return refuseCommand(status, threadState().msExpandCommand, expanded.result);
    return status;
}

LoadStatus tryLoadCompressed(const LoadRequest& request, ImageInfo& image)
{
    LoaderThreadState& thread = threadState();
    LoadStatus status = checkCompressed(thread, request.path);
    if (status != loadSuccess)
        return status;
    char designName[partNameBytes];
    const size_t length = strlen(request.path) - 1;
    memcpy(designName, request.path, length);
    designName[length] = 0;

    release(thread.loom.bonas); // its expanded file is not somebody's
    Expanded expanded{};
    File file;
    BonasState loaded{};
    status = expandDesign(request.path, designName, expanded);
    if (status == loadSuccess)
        status = openDesign(expanded.name, designName, image, file, loaded);
    if (status != loadSuccess)
        return status;
    keep(loaded, file);
    // The open file is read on from when its name is gone.
    if (request.wantPalette != 0)
        handOver(expanded.temporary, thread.loom.bonas.expanded);
    return loadSuccess;
}

// Part 1 of d.ep is d.001, and from part 100 on the tens run past "9". A part that is not there is looked for with
// ".ep" behind its name, which then stays: the next number overwrites the last three characters of the longer name.
LoadStatus openNextPart(BonasState& state)
{
    closeSlot(state.file);
    const u32 part = state.rowCounter / state.picksPerFile;
    char* number = state.partName + state.nameLength - numberLength;
    number[0] = '0';
    number[1] = static_cast<char>('0' + part / 10);
    number[2] = static_cast<char>('0' + part % 10);
    File file;
    if (!file.open(state.partName)) {
        const LoadStatus missing = refuse(loadCannotRead, "its part %.40s cannot be opened", baseName(state.partName));
        if (state.nameLength + sizeof lastPartExtension > partNameBytes)
            return missing;
        memcpy(state.partName + state.nameLength, lastPartExtension, sizeof lastPartExtension);
        state.nameLength += static_cast<u32>(strlen(lastPartExtension));
        if (!file.open(state.partName))
            return missing;
    }
    fseeko(file.stream, cardHeaderBytes, SEEK_SET);
    handOver(file, state.file);
    return loadSuccess;
}

// Picks that the file lacks are clear.
void readPicks(FILE* stream, u8* bytes, u64 picks, u64 rowBytes)
{
    const u64 size = picks * rowBytes;
    const u64 arrived = fread(bytes, 1, size, stream);
    memset(bytes + arrived, 0, size - arrived);
    reverseBits(bytes, size, false);
    remarkCount(Gravity::grave, picks - arrived / rowBytes, "picks that the file lacks are clear");
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    BonasState& state = threadState().loom.bonas;
    if (state.file == nullptr)
        return refuseUnopened();
    const u64 rowBytes = state.fileRowBytes;
    const u64 rowsAtOnce = std::min<u64>(readAheadBytes / rowBytes, std::min(count, state.height - state.rowCounter));
    Buffer block;
    if (!block.allocate(rowsAtOnce * rowBytes))
        return refuseMemory();

    for (u64 row = 0; row < count;) {
        u32 picksLeft = state.height - state.rowCounter;
        if (picksLeft == 0)
            break;
        if (state.fileCount > 1) {
            const u32 pickOfPart = state.rowCounter % state.picksPerFile;
            const LoadStatus opened = pickOfPart == 0 && state.rowCounter != 0 ? openNextPart(state) : loadSuccess;
            if (opened != loadSuccess)
                return opened;
            picksLeft = std::min(picksLeft, state.picksPerFile - pickOfPart);
        }
        const u64 picks = std::min<u64>({rowsAtOnce, picksLeft, count - row});
        readPicks(state.file, block.bytes, picks, rowBytes);
        for (u64 i = 0; i < picks; i++)
            deliverRow(rows + (row + i) * bytesPerRow, block.bytes + i * rowBytes, rowBytes, bytesPerRow);
        row += picks;
        state.rowCounter += static_cast<u32>(picks);
    }
    return loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.bonas);
    return loadSuccess;
}

} // namespace

void registerLoadBonas()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}

void registerLoadBonasCompressed()
{
    registerEntries<tryLoadCompressed, loadBand, endLoad>();
}
