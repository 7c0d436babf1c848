// TIS designs: a header sNAME.p and the picks in dNAME.s01, dNAME.s02, ... beside it.
//
//   header   text of 15 fields at fixed places, 14 commas in 112 bytes: width at 0, height at 6, number of parts at
//   106,
//            '0' at 111
//   part     a block of a pick's size, then the picks, the leftmost end in a byte's highest bit
//
// Every part but the last holds as many picks as the first. A name's letters keep their case from one to the other.
#include <unistd.h>

#include <cstdlib>

#include "formats/loom/card_file.h"
#include "framework/thread_state.h"

constexpr size_t headerSize = 112;
constexpr size_t atHeight = 6;
constexpr size_t atParts = 106;
constexpr size_t atZero = 111;
constexpr int commas = 14;

constexpr char partBehindHeader = 's' - 'd'; // from the first letter of a header's name to that of a part's
constexpr char headerBehindPart = 's' - 'p'; // and of the extension
constexpr char firstPartNumber[] = {'0', '1'};

static bool isLetter(char c, char letter)
{
    return tolowerAZ(c) == letter;
}

struct Names {
    char header[partNameBytes]; // empty = there is none
    char part[partNameBytes];
};

// The name beside path; false when it is too long or cannot be read.
static bool findBeside(const char* path, const char* name, char* found)
{
    const int length = snprintf(found, partNameBytes, "%s%c%s", dirName(path), threadState().pathSeparator, name);
    return length > 0 && length < static_cast<int>(partNameBytes) && access(found, R_OK) == 0;
}

static LoadStatus findFiles(const char* path, Names& names, u32& firstPart)
{
    const char* base = baseName(path);
    const size_t length = strlen(base);
    if (length < 4 || strlen(path) + sizeof firstPartNumber >= partNameBytes)
        return loadWrongFormat;
    char other[partNameBytes];
    memcpy(other, base, length + 1);
    if (!isLetter(base[0], 'd')) {
        if (!isLetter(base[0], 's') || base[length - 2] != '.' || !isLetter(base[length - 1], 'p'))
            return loadWrongFormat;
        firstPart = 1;
        strcpy(names.header, path);
        other[0] = static_cast<char>(other[0] - partBehindHeader);
        other[length - 1] = static_cast<char>(other[length - 1] + headerBehindPart);
        memcpy(other + length, firstPartNumber, sizeof firstPartNumber);
        other[length + sizeof firstPartNumber] = 0;
        return findBeside(path, other, names.part) ? loadSuccess : loadWrongFormat;
    }
    if (length < 6)
        return loadWrongFormat;
    if (base[length - 4] != '.' || !isLetter(base[length - 3], 's') || !isDigit(base[length - 2]) ||
        !isDigit(base[length - 1]))
        return loadCannotRead;
    firstPart = 0;
    strcpy(names.part, path);
    other[0] = static_cast<char>(other[0] + partBehindHeader);
    other[length - 3] = static_cast<char>(other[length - 3] - headerBehindPart);
    other[length - 2] = 0;
    return findBeside(path, other, names.header) ? loadSuccess : loadWrongFormat;
}

struct Design {
    i32 width;
    i32 height;
    i32 parts;
};

static i32 numberAt(const char* text)
{
    return static_cast<i32>(std::clamp<long>(strtol(text, nullptr, 10), INT32_MIN, INT32_MAX));
}

static LoadStatus readHeader(const char* path, Design& design)
{
    File file;
    if (!file.open(path))
        return loadCannotRead;
    char header[headerSize + 1] = {};
    if (!readExactly(file.stream, header, headerSize) || header[atZero] != '0' ||
        std::count(header, header + headerSize, ',') != commas)
        return loadWrongFormat;
    std::replace(header, header + headerSize, ',', '\0');
    design = {numberAt(header), numberAt(header + atHeight), numberAt(header + atParts)};
    return design.width >= 1 && design.height >= 1 && design.parts != 0 ? loadSuccess : loadWrongFormat;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
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
    if (!file.open(loaded.partName) || fseeko(file.stream, loaded.rowBytes, SEEK_SET) != 0)
        return loadCannotRead;
    if (design.parts > 1)
        loaded.picksPerPart = std::max<i64>(0, regularFileSize(file.stream) / loaded.rowBytes - 1);

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

// Behind "09" comes "0:", as the designing system counts: the tens wait until the ones have come round to "0".
static bool openNextPart(TisState& state)
{
    closeSlot(state.file);
    char* ones = state.partName + state.nameLength - 1;
    *ones = static_cast<char>(*ones + 1);
    if (*ones == '0')
        ones[-1] = static_cast<char>(ones[-1] + 1);
    File file;
    if (!file.open(state.partName) || fseeko(file.stream, state.rowBytes, SEEK_SET) != 0)
        return false;
    handOver(file, state.file);
    return true;
}

// Picks that a part lacks leave the caller's rows as they are.
static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    TisState& state = threadState().loom.tis;
    if (state.file == nullptr)
        return loadBadData;
    Buffer narrowRow;
    if (bytesPerRow < state.rowBytes && !narrowRow.allocate(state.rowBytes))
        return loadOutOfMemory;
    const u64 wanted = std::min(count, state.height - state.rowCounter);
    for (u64 row = 0; row < wanted;) {
        u64 picks = wanted - row;
        if (state.picksPerPart != 0) {
            const u64 pickOfPart = state.rowCounter % state.picksPerPart;
            if (pickOfPart == 0 && state.rowCounter != 0 && !openNextPart(state))
                return loadCannotRead;
            picks = std::min(picks, state.picksPerPart - pickOfPart);
        }
        if (bytesPerRow != state.rowBytes)
            picks = 1;
        u8* destination = rows + row * bytesPerRow;
        u8* stored = narrowRow.bytes != nullptr ? narrowRow.bytes : destination;
        const size_t arrived = fread(stored, 1, picks * state.rowBytes, state.file);
        if (stored != destination)
            deliverRow(destination, stored, arrived, bytesPerRow);
        row += picks;
        state.rowCounter += static_cast<u32>(picks);
    }
    return loadSuccess;
}

static LoadStatus endLoad()
{
    closeSlot(threadState().loom.tis.file);
    return loadSuccess;
}

void registerLoadTis()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
