// TIS designs: a header sNAME.p and the picks in dNAME.s01, dNAME.s02, ... beside it.
//
//   header   text of 15 fields at fixed places, 14 commas in 112 bytes: width at 0, height at 6, number of parts at
//            106, '0' at 111
//   part     a block of a pick's size, then the picks, the leftmost end in a byte's highest bit
//
// Every part but the last holds as many picks as the first. A name's letters keep their case from one to the other.
#include <unistd.h>

#include <cstdlib>

#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr size_t headerSize = 112;
constexpr size_t atHeight = 6;
constexpr size_t atParts = 106;
constexpr size_t atZero = 111;
constexpr i64 commas = 14;
constexpr size_t leastHeaderName = 4;
constexpr size_t leastPartName = 6;

constexpr char partBehindHeader = 's' - 'd'; // from the first letter of a header's name to that of a part's
constexpr char headerBehindPart = 's' - 'p'; // and of the extension
constexpr char firstPartNumber[] = {'0', '1'};

bool isLetter(char c, char letter)
{
    return tolowerAZ(c) == letter;
}

struct Names {
    char header[partNameBytes]; // empty = there is none
    char part[partNameBytes];
};

// The name beside path.
LoadStatus findBeside(const char* path, const char* name, char* found)
{
    const int length = snprintf(found, partNameBytes, "%s%c%s", dirName(path), threadState().pathSeparator, name);
    if (length > 0 && length < static_cast<int>(partNameBytes) && access(found, R_OK) == 0)
        return loadSuccess;
    return refuse(loadWrongFormat, "there is no %.40s beside it that can be read", name);
}

LoadStatus refuseFileName(LoadStatus status)
{
    return refuse(status, "the name is neither sNAME.p nor dNAME.s01");
}

LoadStatus findFiles(const char* path, Names& names, u32& firstPart)
{
    const char* base = baseName(path);
    const size_t length = strlen(base);
    if (length < leastHeaderName)
        return refuseFileName(loadWrongFormat);
    if (strlen(path) + sizeof firstPartNumber >= partNameBytes)
        return refuse(loadWrongFormat, "its path is too long");
    char other[partNameBytes];
    memcpy(other, base, length + 1);
    if (!isLetter(base[0], 'd')) {
        if (!isLetter(base[0], 's') || base[length - 2] != '.' || !isLetter(base[length - 1], 'p'))
            return refuseFileName(loadWrongFormat);
        firstPart = 1;
        strcpy(names.header, path);
        other[0] = static_cast<char>(other[0] - partBehindHeader);
        other[length - 1] = static_cast<char>(other[length - 1] + headerBehindPart);
        memcpy(other + length, firstPartNumber, sizeof firstPartNumber);
        other[length + sizeof firstPartNumber] = 0;
        return findBeside(path, other, names.part);
    }
    if (length < leastPartName)
        return refuseFileName(loadWrongFormat);
    if (base[length - 4] != '.' || !isLetter(base[length - 3], 's') || !isDigit(base[length - 2]) ||
        !isDigit(base[length - 1]))
        return refuseFileName(loadCannotRead);
    firstPart = 0;
    strcpy(names.part, path);
    other[0] = static_cast<char>(other[0] + partBehindHeader);
    other[length - 3] = static_cast<char>(other[length - 3] - headerBehindPart);
    other[length - 2] = 0;
    return findBeside(path, other, names.header);
}

struct Design {
    i32 width;
    i32 height;
    i32 parts;
};

i32 numberAt(const char* text)
{
    return static_cast<i32>(std::clamp<long>(strtol(text, nullptr, 10), INT32_MIN, INT32_MAX));
}

LoadStatus readHeader(const char* path, Design& design)
{
    File file;
    char header[headerSize + 1] = {};
    const LoadStatus status = openFile(path, file, header, headerSize, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    const i64 found = std::count(header, header + headerSize, ',');
    if (header[atZero] != '0' || found != commas)
        return refuse(loadWrongFormat, "its header is not the text of 15 fields that a design begins with");
    std::replace(header, header + headerSize, ',', '\0');
    design = {numberAt(header), numberAt(header + atHeight), numberAt(header + atParts)};
    if (design.width < 1 || design.height < 1)
        return refuseSize(loadWrongFormat, design.width, design.height);
    return design.parts != 0 ? loadSuccess : refuse(loadWrongFormat, "its header announces no parts");
}

// How many picks each part holds as the first one tells; 0 when all are in one.
u64 countPicksPerPart(FILE* firstPart, const Design& design, const TisState& loaded)
{
    u64 picks = 0;
    if (design.parts > 1)
        picks = static_cast<u64>(std::max<i64>(0, regularFileSize(firstPart) / loaded.rowBytes - 1));
    if (picks == 0)
        remarkFileSize(firstPart, u64{loaded.rowBytes} * loaded.height, loaded.width, loaded.height);
    else if ((loaded.height + picks - 1) / picks != static_cast<u64>(design.parts))
        remark(Gravity::harmless, "the header announces %d parts, by the size of the first there are %llu",
               design.parts, static_cast<unsigned long long>((loaded.height + picks - 1) / picks));
    return picks;
}

// Opens the part that partName names at its first pick.
LoadStatus openPart(const TisState& state, File& file)
{
    if (file.open(state.partName) && fseeko(file.stream, state.rowBytes, SEEK_SET) == 0)
        return loadSuccess;
    return refuse(loadCannotRead, "its part %.40s cannot be opened", baseName(state.partName));
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    Names names{};
    Design design{};
    LoadStatus status = findFiles(request.path, names, image.firstPart);
    if (status == loadSuccess)
        status = readHeader(names.header, design);
    if (status != loadSuccess)
        return status;

    TisState loaded{};
    loaded.width = static_cast<u32>(design.width);
    loaded.height = static_cast<u32>(design.height);
    loaded.rowBytes = (loaded.width + 7) / 8;
    loaded.nameLength = static_cast<u32>(strlen(names.part));
    memcpy(loaded.partName, names.part, loaded.nameLength);
    memcpy(loaded.partName + loaded.nameLength - sizeof firstPartNumber, firstPartNumber, sizeof firstPartNumber);
    File file;
    status = openPart(loaded, file);
    if (status != loadSuccess)
        return status;
    loaded.picksPerPart = countPicksPerPart(file.stream, design, loaded);

    const u32 firstPart = image.firstPart;
    reportBilevel(image, loaded.width, loaded.height, "Tis\n", loomOrientation);
    image.firstPart = firstPart;
    image.palette[0] = 0;
    TisState& state = threadState().loom.tis;
    closeSlot(state.file);
    state = loaded;
    handOver(file, state.file);
    return loadSuccess;
}

LoadStatus openNextPart(TisState& state)
{
    closeSlot(state.file);
    nextPartName(state.partName, state.nameLength);
    File file;
    const LoadStatus status = openPart(state, file);
    if (status == loadSuccess)
        handOver(file, state.file);
    return status;
}

// Picks that a part lacks leave the caller's rows as they are, and are counted as missing. A narrow row is one of the
// caller's that has no room for a pick.
LoadStatus readPicks(TisState& state, u8* rows, u64 wanted, u64 bytesPerRow, u8* narrowRow, u64& missing)
{
    for (u64 row = 0; row < wanted;) {
        u64 picks = wanted - row;
        if (state.picksPerPart != 0) {
            const u64 pickOfPart = state.rowCounter % state.picksPerPart;
            const LoadStatus opened = pickOfPart == 0 && state.rowCounter != 0 ? openNextPart(state) : loadSuccess;
            if (opened != loadSuccess)
                return opened;
            picks = std::min(picks, state.picksPerPart - pickOfPart);
        }
        if (bytesPerRow != state.rowBytes)
            picks = 1;
        u8* destination = rows + row * bytesPerRow;
        u8* stored = narrowRow != nullptr ? narrowRow : destination;
        const size_t arrived = fread(stored, 1, picks * state.rowBytes, state.file);
        if (stored != destination)
            deliverRow(destination, stored, arrived, bytesPerRow);
        missing += picks - arrived / state.rowBytes;
        row += picks;
        state.rowCounter += static_cast<u32>(picks);
    }
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    TisState& state = threadState().loom.tis;
    if (state.file == nullptr)
        return refuseUnopened();
    Buffer narrowRow;
    if (bytesPerRow < state.rowBytes && !narrowRow.allocate(state.rowBytes))
        return refuseMemory();
    const u64 wanted = std::min(count, state.height - state.rowCounter);
    u64 missing = 0;
    const LoadStatus status = readPicks(state, rows, wanted, bytesPerRow, narrowRow.bytes, missing);
    remarkCount(Gravity::grave, missing, "picks that the file lacks are left as they were");
    return status;
}

LoadStatus endLoad()
{
    closeSlot(threadState().loom.tis.file);
    return loadSuccess;
}

} // namespace

void registerLoadTis()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
