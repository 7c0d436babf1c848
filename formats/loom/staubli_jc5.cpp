// Staubli JC5 cards, and ZC5, the same packed by gzip. Numbers are big-endian.
//
//   header             8 bytes   0x81 0xFE, major and minor version, number of design descriptors
//   design descriptors u32 type, u32 length and so many bytes: name, number of picks, layout
//   number of groups   u32
//   group descriptors  u32 type, u32 length and so many bytes: hooks and name of a group of hooks
//   picks              the groups in this order, each filled up to whole bytes; the first hook in the lowest bit, a set
//                      bit is a lift
//
// A design in several files is named d.j01, d.j02 and so on; the picks begin at the same place in all of them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "formats/loom/staubli.h"
#include "framework/bytes.h"
#include "framework/command.h"
#include "framework/file.h"

constexpr size_t magicBytes = 2;
constexpr size_t headerSize = 8;
constexpr u32 headBytes = 8; // of a descriptor
constexpr u32 mostDesignDescriptors = 256;
constexpr u32 longestPayload = 10000; // a design descriptor is shorter
constexpr u32 nameBytes = 200;
constexpr u32 defaultLayout = 257;
constexpr u32 smallestSide = 2;
constexpr u32 largestSide = 65520;
constexpr u32 shortestName = 6; // of numbered parts and of ZC5 files

// Types of descriptors.
constexpr u32 designName = 1;
constexpr u32 designPicks = 2;
constexpr u32 designLayout = 3;
constexpr u32 hookGroup = 100;

constexpr u32 atHooks = 4; // in a hook group
constexpr u32 atGroupName = 8;

constexpr u64 readAheadBytes = 1 << 18; // picks are turned in blocks that are still in the cache
constexpr u64 pageBytes = 4096;
constexpr u32 wordBits = 64;
constexpr u32 wordBytes = 8;
constexpr u64 turnedAtOnce = 32; // what bits are turned in fastest

constexpr size_t zc5ProbedBytes = 5;

struct StaubliDescriptor {
    u32 type;
    u32 length;
    u8 payload[longestPayload + 1];
};

// What is wrong in the descriptors makes the file invalid only when all of them could be read.
struct StaubliDesign {
    char name[nameBytes];
    u32 picks;
    u32 layout;
    bool isValid;
};

struct HookGroups {
    u32 count;
    u64 hooks;
    u64 bitsPerPick;
    bool isValid;
    Buffer widths;
};

static bool hasMagic(const u8* header)
{
    return header[0] == 0x81 && header[1] == 0xFE;
}

static bool readHead(FILE* stream, StaubliDescriptor& descriptor)
{
    u8 head[headBytes];
    if (!readExactly(stream, head, sizeof head))
        return false;
    descriptor.type = bigEndian32(head);
    descriptor.length = bigEndian32(head + 4);
    return true;
}

// At most longestPayload bytes, and a zero behind them.
static bool readPayload(FILE* stream, StaubliDescriptor& descriptor)
{
    descriptor.payload[descriptor.length] = 0;
    return readExactly(stream, descriptor.payload, descriptor.length);
}

static LoadStatus readDesign(FILE* stream, const char* path, u32 count, StaubliDesign& design)
{
    StaubliDescriptor descriptor;
    for (u32 i = 0; i < count; i++) {
        if (!readHead(stream, descriptor))
            return loadCannotRead;
        const bool isRead = descriptor.length < longestPayload;
        if (isRead ? !readPayload(stream, descriptor) : fseeko(stream, descriptor.length, SEEK_CUR) != 0)
            return loadCannotRead;
        switch (descriptor.type) {
        case designName:
            if (descriptor.length < nameBytes)
                memcpy(design.name, descriptor.payload, descriptor.length + 1);
            break;
        case designPicks:
        case designLayout:
            if (!isRead)
                break;
            if (descriptor.length < sizeof(u32)) {
                design.isValid = false;
                break;
            }
            (descriptor.type == designPicks ? design.picks : design.layout) = bigEndian32(descriptor.payload);
            break;
        case 4:
        case 5:
        case 6:
        case 8:
        case 9:
        case 13:
        case 17:
            break;
        default:
            printf("JC5: Unknown descriptor %u in file %s!\n", descriptor.type, path);
        }
    }
    return loadSuccess;
}

static LoadStatus readGroups(FILE* stream, u32 count, HookGroups& groups)
{
    // Whatever the count says: no more than the file has room for.
    const i64 held = std::max<i64>(0, regularFileSize(stream) - ftello(stream));
    const u64 most = std::min<u64>({count, largestSide, static_cast<u64>(held) / headBytes});
    if (!groups.widths.allocate(most * sizeof(u32)))
        return loadOutOfMemory;
    StaubliDescriptor descriptor;
    for (u32 i = 0; i < count; i++) {
        if (!readHead(stream, descriptor))
            return loadCannotRead;
        if (descriptor.length > longestPayload) {
            groups.isValid = false;
            return loadSuccess;
        }
        if (!readPayload(stream, descriptor))
            return loadCannotRead;
        if (descriptor.type != hookGroup) {
            printf("JC5: Unknown descriptor %u!", descriptor.type);
            continue;
        }
        if (descriptor.length < atGroupName || groups.count == most) {
            groups.isValid = false;
            continue;
        }
        const u64 hooks = bigEndian32(descriptor.payload + atHooks);
        groups.hooks += hooks;
        groups.bitsPerPick += (hooks + 7) / 8 * 8;
        reinterpret_cast<u32*>(groups.widths.bytes)[groups.count++] = static_cast<u32>(hooks);
    }
    return loadSuccess;
}

// Reads the names again: they may be as large as the file, and nobody needs them afterwards.
static void listGroups(FILE* stream, i64 start, u32 count)
{
    StaubliDescriptor descriptor;
    fseeko(stream, start, SEEK_SET);
    while (count > 0 && readHead(stream, descriptor) && descriptor.length <= longestPayload &&
           readPayload(stream, descriptor)) {
        if (descriptor.type != hookGroup)
            continue;
        printf("%d(%s) ", static_cast<i32>(bigEndian32(descriptor.payload + atHooks)),
               reinterpret_cast<const char*>(descriptor.payload + atGroupName));
        count--;
    }
    printf("\n");
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    StaubliState cards{};
    cards.nameLength = static_cast<u32>(strlen(request.path));
    u32 firstPart = 1;
    cards.multiPart = cards.nameLength >= shortestName && (turnToFirstPart(request.path, ".j", firstPart) ||
                                                           turnToFirstPart(request.path, ".J", firstPart));
    image.firstPart = firstPart;
    if (cards.multiPart) {
        if (cards.nameLength >= partNameBytes)
            return loadWrongFormat;
        strcpy(cards.partName, request.path);
    }

    const u8* probed = loadImgCheckHeader(request.path);
    if (probed == nullptr || loadImgLastFilesize() < static_cast<i64>(magicBytes) || !hasMagic(probed))
        return loadWrongFormat;
    File file;
    u8 header[headerSize];
    if (!file.open(request.path) || !readExactly(file.stream, header, sizeof header))
        return loadCannotRead;
    const u32 descriptors = bigEndian32(header + 4);
    if (!hasMagic(header))
        return loadWrongFormat;

    StaubliDesign design{
        .name = "", .picks = 0, .layout = defaultLayout, .isValid = descriptors <= mostDesignDescriptors};
    LoadStatus status = readDesign(file.stream, request.path, descriptors, design);
    if (status != loadSuccess)
        return status;
    u8 groupCount[4];
    if (!readExactly(file.stream, groupCount, sizeof groupCount))
        return loadCannotRead;
    const i64 groupsStart = ftello(file.stream);
    HookGroups groups{.count = 0, .hooks = 0, .bitsPerPick = 0, .isValid = true, .widths = {}};
    status = readGroups(file.stream, bigEndian32(groupCount), groups);
    if (status != loadSuccess)
        return status;
    if (!design.isValid || !groups.isValid || groups.hooks < smallestSide || groups.hooks > largestSide ||
        design.picks < smallestSide || design.picks > largestSide)
        return loadWrongFormat;
    if (cards.multiPart && (design.layout & 0xFFFF0000) != 0x10000)
        return loadWrongFormat;

    StaubliJc5State loaded{};
    cards.width = static_cast<u32>(groups.hooks);
    cards.rowBytes = static_cast<u32>(groups.bitsPerPick / 8);
    loaded.dataStart = ftello(file.stream);
    loaded.picksLeft = (regularFileSize(file.stream) - loaded.dataStart) / cards.rowBytes;
    loaded.groupCount = groups.count;
    cards.rowsLeft = design.picks;

    reportCards(image, cards.width, design.picks, "", nullptr);
    image.firstPart = firstPart;
    sprintf(image.description, "Staubli JC5 v%d.%d %s", header[2], header[3], design.name);
    if (groups.count > 1 && request.wantPalette != 0) {
        listGroups(file.stream, groupsStart, groups.count);
        fseeko(file.stream, loaded.dataStart, SEEK_SET);
    }

    startStaubli(StaubliFormat::jc5, file, cards);
    loaded.groupWidths = reinterpret_cast<u32*>(groups.widths.bytes);
    groups.widths.bytes = nullptr;
    threadState().loom.staubliJc5 = loaded;
    return loadSuccess;
}

static bool openNextPart(StaubliState& state, StaubliJc5State& jc5)
{
    nextPartName(state.partName, state.nameLength);
    if (!openPart(state, 0))
        return false;
    u8 magic[magicBytes];
    if (!readExactly(state.file, magic, sizeof magic) || !hasMagic(magic)) {
        closeSlot(state.file);
        return false;
    }
    jc5.picksLeft = (state.partDataLength - jc5.dataStart) / state.rowBytes;
    fseeko(state.file, jc5.dataStart, SEEK_SET);
    return true;
}

static bool isAtPick(StaubliState& state, StaubliJc5State& jc5)
{
    return !state.multiPart || jc5.picksLeft > 0 || openNextPart(state, jc5);
}

// Groups of whole bytes: the rows are filled one after the other, behind their pixels too. What the file lacks keeps
// the caller's bits.
static void readWholeBytes(FILE* stream, u8* rows, u64 size)
{
    // A block that ends with a page is read straight into the rows, without a rest in the stream's buffer.
    u64 block = readAheadBytes - static_cast<u64>(ftello(stream)) % pageBytes;
    for (; size > 0; rows += block, size -= block, block = readAheadBytes) {
        block = std::min(block, size);
        [[maybe_unused]] size_t read = fread(rows, 1, block, stream);
        reverseBits(rows, block, false);
    }
}

static u64 wordAt(const u8* bytes)
{
    u64 word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

// Packs the groups of a pick without the bits that fill them up. Both rows need room for a word more; the first of
// the bits is the lowest one, in a byte as in a word.
static void packGroups(const StaubliJc5State& jc5, u8* packed, const u8* pick)
{
    u64 pending = 0;     // bits that do not make a word yet
    u32 pendingBits = 0; // at most 63
    for (u32 group = 0; group < jc5.groupCount; group++) {
        const u32 hooks = jc5.groupWidths[group];
        const u8* word = pick;
        for (u32 words = hooks / wordBits; words > 0; words--, word += wordBytes, packed += wordBytes) {
            const u64 bits = wordAt(word);
            const u64 full = pending | bits << pendingBits;
            memcpy(packed, &full, sizeof full);
            pending = bits >> 1 >> (wordBits - 1 - pendingBits);
        }
        if (const u32 rest = hooks % wordBits; rest > 0) {
            const u64 bits = wordAt(word) & ((u64{1} << rest) - 1);
            pending |= bits << pendingBits;
            if (pendingBits + rest >= wordBits) {
                memcpy(packed, &pending, sizeof pending);
                packed += wordBytes;
                pending = bits >> 1 >> (wordBits - 1 - pendingBits);
            }
            pendingBits = (pendingBits + rest) % wordBits;
        }
        pick += (hooks + 7) / 8;
    }
    memcpy(packed, &pending, sizeof pending);
}

// Groups of any width. Picks that the file lacks are clear, and so are the bytes behind a row.
static LoadStatus readUneven(const StaubliState& state, const StaubliJc5State& jc5, u8* rows, u32 count,
                             u64 bytesPerRow)
{
    const u64 rowBytes = (static_cast<u64>(state.width) + 7) / 8;
    const u64 turnedBytes = (rowBytes + turnedAtOnce - 1) / turnedAtOnce * turnedAtOnce;
    const u64 blockPicks = std::min<u64>(count, std::max<u64>(1, readAheadBytes / state.rowBytes));
    Buffer picks;
    Buffer packed;
    if (!picks.allocate(blockPicks * state.rowBytes + wordBytes) || !packed.allocate(turnedBytes + wordBytes))
        return loadOutOfMemory;
    for (u64 row = 0; row < count; row++, rows += bytesPerRow) {
        const u64 inBlock = row % blockPicks;
        if (inBlock == 0) {
            const u64 size = std::min(blockPicks, count - row) * state.rowBytes;
            readFilled(state.file, picks.bytes, size, 0);
        }
        packGroups(jc5, packed.bytes, picks.bytes + inBlock * state.rowBytes);
        reverseBits(packed.bytes, turnedBytes, false);
        deliverRow(rows, packed.bytes, rowBytes, bytesPerRow);
        if (bytesPerRow > rowBytes)
            memset(rows + rowBytes, 0, bytesPerRow - rowBytes);
    }
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    StaubliState* open = openStaubli(StaubliFormat::jc5);
    if (open == nullptr)
        return loadBadData;
    StaubliState& state = *open;
    StaubliJc5State& jc5 = threadState().loom.staubliJc5;
    const u32 wanted = std::min(count, state.rowsLeft);
    u8* const first = rows;
    u32 left = wanted;
    bool hasPick = true;
    while (left > 0) {
        hasPick = isAtPick(state, jc5);
        if (!hasPick)
            break;
        // A part without a whole pick uses up a row all the same.
        const u32 run = state.multiPart ? static_cast<u32>(std::clamp<i64>(jc5.picksLeft, 1, left)) : left;
        const u64 size = static_cast<u64>(run) * bytesPerRow;
        if (state.width == state.rowBytes * 8)
            readWholeBytes(state.file, rows, size);
        else if (LoadStatus status = readUneven(state, jc5, rows, run, bytesPerRow); status != loadSuccess)
            return status;
        rows += size;
        jc5.picksLeft -= run;
        state.rowsLeft -= run;
        left -= run;
    }
    if (hasPick && wanted == count)
        return loadSuccess;
    if (hasPick && isAtPick(state, jc5))
        return loadBadData;
    reverseBits(first, static_cast<u64>(rows - first), false); // without the next part the bits stay as they are stored
    return loadCannotRead;
}

static bool isZc5Name(const char* path)
{
    const size_t length = strlen(path);
    if (length < shortestName)
        return false;
    const char* extension = path + length - 4;
    return extension[0] == '.' && tolowerAZ(extension[1]) == 'z' && tolowerAZ(extension[2]) == 'c' &&
           extension[3] == '5';
}

// Finds a free name in the temporary directory. The file is made before the shell writes to it, so that nobody can
// have put a link to something else in its place.
static bool makeTempFile(const char* directory, char* name)
{
    static const char extension[] = ".jc5";
    const int length = snprintf(name, partNameBytes, "%s/zc5-XXXXXX", directory);
    if (length < 0 || static_cast<size_t>(length) + sizeof extension > partNameBytes) {
        errno = ENAMETOOLONG;
        return false;
    }
    int descriptor = mkostemp(name, O_CLOEXEC);
    if (descriptor < 0)
        return false;
    close(descriptor);
    unlink(name);
    strcat(name, extension);
    descriptor = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return false;
    close(descriptor);
    return true;
}

// Whether the name now stands for something else than what the shell wrote for us.
static bool isForeign(const char* name)
{
    struct stat info;
    return lstat(name, &info) == 0 && (!S_ISREG(info.st_mode) || info.st_uid != geteuid());
}

static LoadStatus tryLoadZc5(const LoadRequest& request, ImageInfo& image)
{
    const char* directory = llibGetTmpDir();
    const char* gzip = llibGetGzipCommand();
    if (directory == nullptr || gzip == nullptr || !isZc5Name(request.path))
        return loadWrongFormat;
    File file;
    u8 probed[zc5ProbedBytes];
    if (!file.open(request.path) || !readExactly(file.stream, probed, sizeof probed))
        return loadCannotRead;
    closeSlot(file.stream);
    if (probed[0] != 0x1F || probed[1] != 0x8B)
        return loadWrongFormat;

    char tempName[partNameBytes];
    if (!makeTempFile(directory, tempName)) {
        perror("llib zc5 tmp file creation failed:");
        return loadCannotRead;
    }
    runCommand(
        {commandText(gzip), commandText(" -dc "), commandPath(request.path), commandText(" >"), commandPath(tempName)});
    LoadStatus status = loadCannotRead;
    if (!isForeign(tempName))
        status = tryLoad({tempName, request.wantPalette}, image);
    // The open stream reads on when the name is gone.
    if (status != loadSuccess || request.wantPalette == 0)
        unlink(tempName);
    else
        strcpy(threadState().loom.staubli.tempName, tempName);
    return status;
}

void registerLoadStaubliJC5()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}

void registerLoadStaubliZC5()
{
    registerEntries<tryLoadZc5, loadBand, endStaubli>();
}
