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
#include <string_view>
#include <utility>

#include "formats/loom/staubli.h"
#include "framework/bytes.h"
#include "framework/command.h"
#include "framework/path.h"
#include "framework/probe.h"

namespace
{

constexpr std::string_view magic = "\x81\xFE";
constexpr size_t headerSize = 8;
constexpr size_t atMajorVersion = 2;
constexpr size_t atMinorVersion = 3;
constexpr size_t atDescriptors = 4;
constexpr u32 headBytes = 8; // of a descriptor
constexpr u32 mostDesignDescriptors = 256;
constexpr u32 mostPayloadBytes = 10000; // a design descriptor is shorter
constexpr u32 nameBytes = 200;
constexpr u32 defaultLayout = 257;
constexpr u32 leastSide = 2;
constexpr u32 leastNameLength = 6; // of numbered parts and of ZC5 files

// Types of descriptors.
constexpr u32 designName = 1;
constexpr u32 designPicks = 2;
constexpr u32 designLayout = 3;
constexpr u32 ignoredTypes[] = {4, 5, 6, 8, 9, 13, 17};
constexpr u32 hookGroup = 100;

constexpr u32 atHooks = 4; // in a hook group
constexpr u32 atGroupName = 8;

constexpr u32 partLayout = 0x10000; // the upper half of a layout of several files

constexpr u64 readAheadBytes = 1 << 18; // picks are turned in blocks that are still in the cache
constexpr u64 pageBytes = 4096;
constexpr u32 wordBits = 64;
constexpr u32 wordBytes = 8;
constexpr u64 turnedAtOnce = 32; // what bits are turned in fastest
constexpr size_t lineBytes = 8192;

constexpr u8 gzipMagic[] = {0x1F, 0x8B};
constexpr size_t zc5ProbedBytes = 5;

struct Descriptor {
    u32 type;
    u32 length;
    u8 payload[mostPayloadBytes + 1];
};

// What is wrong in the descriptors makes the file invalid only when all of them could be read: until then it is kept as
// a flaw, null = none.
struct Design {
    u8 majorVersion;
    u8 minorVersion;
    u32 descriptors;
    char name[nameBytes];
    u32 picks;
    u32 layout;
    const char* flaw;
    u64 unknown; // descriptors of unknown types
    u64 tooLong; // descriptors that there is no room for
};

struct HookGroups {
    u32 count = 0;
    i64 start = 0; // of the descriptors
    u64 hooks = 0;
    u64 bitsPerPick = 0;
    const char* flaw = nullptr;
    u64 unknown = 0;
    Buffer widths;
};

// A name of a numbered part is turned into that of the first one.
LoadStatus findFirstPart(char* path, StaubliState& cards, u32& firstPart)
{
    cards.nameLength = static_cast<u32>(strlen(path));
    cards.multiPart = cards.nameLength >= leastNameLength &&
                      (turnToFirstPart(path, ".j", firstPart) || turnToFirstPart(path, ".J", firstPart));
    if (!cards.multiPart)
        return loadSuccess;
    if (cards.nameLength >= partNameBytes)
        return refuse(loadWrongFormat, "the name is too long");
    strcpy(cards.partName, path);
    return loadSuccess;
}

bool hasMagic(const u8* header)
{
    return memcmp(header, magic.data(), magic.size()) == 0;
}

LoadStatus openCards(const char* path, File& file, Design& design)
{
    if (probedMark(path, magic, "JC5") == nullptr)
        return loadWrongFormat;
    u8 header[headerSize];
    const LoadStatus status = openFile(path, file, header, sizeof header, loadCannotRead);
    if (status != loadSuccess)
        return status;
    if (!hasMagic(header))
        return refuseMark("JC5");
    design.majorVersion = header[atMajorVersion];
    design.minorVersion = header[atMinorVersion];
    design.descriptors = bigEndian32(header + atDescriptors);
    design.layout = defaultLayout;
    if (design.descriptors > mostDesignDescriptors)
        design.flaw = "it has more than 256 design descriptors";
    return loadSuccess;
}

bool readHead(FILE* stream, Descriptor& descriptor)
{
    u8 head[headBytes];
    if (!readExactly(stream, head, sizeof head))
        return false;
    descriptor.type = bigEndian32(head);
    descriptor.length = bigEndian32(head + 4);
    return true;
}

// At most mostPayloadBytes, and a zero behind them.
bool readPayload(FILE* stream, Descriptor& descriptor)
{
    descriptor.payload[descriptor.length] = 0;
    return readExactly(stream, descriptor.payload, descriptor.length);
}

void takeNumber(const Descriptor& descriptor, u32& number, Design& design)
{
    if (descriptor.length >= mostPayloadBytes)
        return;
    if (descriptor.length < sizeof(u32))
        design.flaw = "the descriptor of its picks or of its layout is too short";
    else
        number = bigEndian32(descriptor.payload);
}

LoadStatus readDesign(FILE* stream, const char* path, Design& design)
{
    Descriptor descriptor;
    for (u32 i = 0; i < design.descriptors; i++) {
        if (!readHead(stream, descriptor))
            return refuseHeader(loadCannotRead);
        const bool isRead = descriptor.length < mostPayloadBytes;
        if (isRead ? !readPayload(stream, descriptor) : fseeko(stream, descriptor.length, SEEK_CUR) != 0)
            return refuseHeader(loadCannotRead);
        if (descriptor.length >= (descriptor.type == designName ? nameBytes : mostPayloadBytes))
            design.tooLong++;
        switch (descriptor.type) {
        case designName:
            if (descriptor.length < nameBytes)
                memcpy(design.name, descriptor.payload, descriptor.length + 1);
            break;
        case designPicks:
            takeNumber(descriptor, design.picks, design);
            break;
        case designLayout:
            takeNumber(descriptor, design.layout, design);
            break;
        default:
            if (std::find(std::begin(ignoredTypes), std::end(ignoredTypes), descriptor.type) != std::end(ignoredTypes))
                break;
            design.unknown++;
            tell(stdout, "JC5: Unknown descriptor %u in file %s!\n", descriptor.type, path);
        }
    }
    return loadSuccess;
}

LoadStatus readGroups(FILE* stream, HookGroups& groups)
{
    u8 number[sizeof(u32)];
    if (!readExactly(stream, number, sizeof number))
        return refuseHeader(loadCannotRead);
    const u32 count = bigEndian32(number);
    groups.start = ftello(stream);
    // Whatever the count says: no more than the file has room for.
    const i64 held = std::max<i64>(0, regularFileSize(stream) - groups.start);
    const u64 most = std::min<u64>({count, mostSide, static_cast<u64>(held) / headBytes});
    if (!groups.widths.allocate(most * sizeof(u32)))
        return refuseMemory();
    Descriptor descriptor;
    for (u32 i = 0; i < count; i++) {
        if (!readHead(stream, descriptor))
            return refuseHeader(loadCannotRead);
        if (descriptor.length > mostPayloadBytes) {
            groups.flaw = "the descriptor of a group of hooks is too long";
            return loadSuccess;
        }
        if (!readPayload(stream, descriptor))
            return refuseHeader(loadCannotRead);
        if (descriptor.type != hookGroup) {
            groups.unknown++;
            tell(stdout, "JC5: Unknown descriptor %u!", descriptor.type);
            continue;
        }
        if (descriptor.length < atGroupName || groups.count == most) {
            groups.flaw = descriptor.length < atGroupName ? "the descriptor of a group of hooks is too short"
                                                          : "it has too many groups of hooks";
            continue;
        }
        const u64 hooks = bigEndian32(descriptor.payload + atHooks);
        groups.hooks += hooks;
        groups.bitsPerPick += (hooks + 7) / 8 * 8;
        reinterpret_cast<u32*>(groups.widths.bytes)[groups.count++] = static_cast<u32>(hooks);
    }
    return loadSuccess;
}

LoadStatus checkDesign(const Design& design, const HookGroups& groups, bool isPart)
{
    for (const char* flaw : {design.flaw, groups.flaw}) {
        if (flaw != nullptr)
            return refuse(loadWrongFormat, "%s", flaw);
    }
    if (groups.hooks < leastSide || groups.hooks > mostSide || design.picks < leastSide || design.picks > mostSide)
        return refuseSize(loadWrongFormat, static_cast<i64>(groups.hooks), design.picks);
    if (isPart && (design.layout & 0xFFFF0000) != partLayout)
        return refuse(loadWrongFormat, "its name is that of a part, its layout of %u is not", design.layout);
    return loadSuccess;
}

// Reads the names again: they may be as large as the file, and nobody needs them afterwards. Printed they are told one
// by one; a host's handler gets one line, as much as fits.
void listGroups(FILE* stream, const HookGroups& groups)
{
    const bool isPrinted = threadState().messages.handler == nullptr;
    char line[lineBytes] = "";
    size_t length = 0;
    Descriptor descriptor;
    fseeko(stream, groups.start, SEEK_SET);
    u32 left = groups.count;
    while (left > 0 && readHead(stream, descriptor) && descriptor.length <= mostPayloadBytes &&
           readPayload(stream, descriptor)) {
        if (descriptor.type != hookGroup)
            continue;
        const auto hooks = static_cast<i32>(bigEndian32(descriptor.payload + atHooks));
        const auto* name = reinterpret_cast<const char*>(descriptor.payload + atGroupName);
        if (isPrinted)
            tell(stdout, "%d(%s) ", hooks, name);
        else
            length += static_cast<size_t>(snprintf(line + length, lineBytes - length, "%d(%s) ", hooks, name));
        length = std::min(length, lineBytes - 1);
        left--;
    }
    tell(stdout, "%s\n", line);
}

void remarkDescriptors(const Design& design, const HookGroups& groups)
{
    remarkCount(Gravity::harmless, design.unknown + groups.unknown, "descriptors of unknown types are left out");
    remarkCount(Gravity::harmless, design.tooLong, "descriptors are too long and left out");
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    u32 firstPart = 1;
    StaubliState cards{};
    LoadStatus status = findFirstPart(request.path, cards, firstPart);
    image.firstPart = firstPart;
    File file;
    Design design{};
    HookGroups groups;
    if (status == loadSuccess)
        status = openCards(request.path, file, design);
    if (status == loadSuccess)
        status = readDesign(file.stream, request.path, design);
    if (status == loadSuccess)
        status = readGroups(file.stream, groups);
    if (status == loadSuccess)
        status = checkDesign(design, groups, cards.multiPart);
    if (status != loadSuccess)
        return status;

    StaubliJc5State loaded{};
    cards.width = static_cast<u32>(groups.hooks);
    cards.rowBytes = static_cast<u32>(groups.bitsPerPick / 8);
    cards.rowsLeft = design.picks;
    loaded.dataStart = ftello(file.stream);
    cards.partDataLength = regularFileSize(file.stream) - loaded.dataStart;
    loaded.picksLeft = cards.partDataLength / std::max<i64>(cards.rowBytes, 1);
    loaded.groupCount = groups.count;

    reportCards(image, cards.width, design.picks, "", nullptr);
    image.firstPart = firstPart;
    sprintf(image.description, "Staubli JC5 v%d.%d %s", design.majorVersion, design.minorVersion, design.name);
    remarkDescriptors(design, groups);
    remarkDesignSize(cards, file.stream);
    if (groups.count > 1 && request.wantPalette != 0) {
        listGroups(file.stream, groups);
        fseeko(file.stream, loaded.dataStart, SEEK_SET);
    }

    startStaubli(StaubliFormat::jc5, file, cards);
    loaded.groupWidths = reinterpret_cast<u32*>(std::exchange(groups.widths.bytes, nullptr));
    threadState().loom.staubliJc5 = loaded;
    return loadSuccess;
}

LoadStatus openNextPart(StaubliState& state, StaubliJc5State& jc5)
{
    nextPartName(state.partName, state.nameLength);
    const LoadStatus status = openPart(state, 0);
    if (status != loadSuccess)
        return status;
    u8 header[magic.size()];
    if (!readExactly(state.file, header, sizeof header) || !hasMagic(header)) {
        closeSlot(state.file);
        return refusePart(state, "does not begin as JC5 files do");
    }
    jc5.picksLeft = (state.partDataLength - jc5.dataStart) / state.rowBytes;
    fseeko(state.file, jc5.dataStart, SEEK_SET);
    return loadSuccess;
}

LoadStatus findPick(StaubliState& state, StaubliJc5State& jc5)
{
    return state.multiPart && jc5.picksLeft < 1 ? openNextPart(state, jc5) : loadSuccess;
}

// Groups of whole bytes: the rows are filled one after the other, behind their pixels too. What the file lacks keeps
// the caller's bits. Returns how many bytes the file had.
u64 readWholeBytes(FILE* stream, u8* rows, u64 size)
{
    u64 arrived = 0;
    // A block that ends with a page is read straight into the rows, without a rest in the stream's buffer.
    u64 block = readAheadBytes - static_cast<u64>(ftello(stream)) % pageBytes;
    for (; size > 0; rows += block, size -= block, block = readAheadBytes) {
        block = std::min(block, size);
        arrived += fread(rows, 1, block, stream);
        reverseBits(rows, block, false);
    }
    return arrived;
}

u64 wordAt(const u8* bytes)
{
    u64 word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

// Bits that are written a word at a time, the first of them the lowest one, in a byte as in a word.
struct BitWriter {
    u8* end;         // of what is written
    u64 pending;     // bits that do not make a word yet
    u32 pendingBits; // at most 63
};

// Appends the lowest bits of a word, 1 to 64 of them; those above are clear. With 40 bits pending 24 of 60 fill a word:
//
//   bits                 59 ............... 24 | 23 ....... 0
//                                 |                  |
//   written                       |            63 ..... 40 | 39 ...... 0 pending before
//   pending               35 ............. 0
[[gnu::always_inline]] inline void append(BitWriter& writer, u64 bits, u32 count)
{
    writer.pending |= bits << writer.pendingBits;
    if (writer.pendingBits + count >= wordBits) {
        memcpy(writer.end, &writer.pending, wordBytes);
        writer.end += wordBytes;
        writer.pending = bits >> 1 >> (wordBits - 1 - writer.pendingBits); // by 64, too, when none were pending
    }
    writer.pendingBits = (writer.pendingBits + count) % wordBits;
}

// Packs the groups of a pick without the bits that fill them up. Both rows need room for a word more.
//
//   pick     aaaaaaa. bbb..... cccccccc cc......
//   packed   aaaaaaab bbcccccc cccc
void packGroups(const StaubliJc5State& jc5, u8* packed, const u8* pick)
{
    BitWriter writer{packed, 0, 0};
    for (u32 group = 0; group < jc5.groupCount; group++) {
        const u32 hooks = jc5.groupWidths[group];
        const u8* word = pick;
        for (u32 words = hooks / wordBits; words > 0; words--, word += wordBytes)
            append(writer, wordAt(word), wordBits);
        if (const u32 rest = hooks % wordBits; rest > 0)
            append(writer, wordAt(word) & ((u64{1} << rest) - 1), rest);
        pick += (hooks + 7) / 8;
    }
    memcpy(writer.end, &writer.pending, wordBytes);
}

// Groups of any width. Picks that the file lacks are clear, and so are the bytes behind a row.
LoadStatus readUneven(const StaubliState& state, const StaubliJc5State& jc5, u8* rows, u32 count, u64 bytesPerRow,
                      u64& lacking)
{
    const u64 rowBytes = bilevelRowBytes(state.width);
    const u64 turnedBytes = (rowBytes + turnedAtOnce - 1) / turnedAtOnce * turnedAtOnce;
    const u64 blockPicks = std::min<u64>(count, std::max<u64>(1, readAheadBytes / state.rowBytes));
    Buffer picks;
    Buffer packed;
    if (!picks.allocate(blockPicks * state.rowBytes + wordBytes) || !packed.allocate(turnedBytes + wordBytes))
        return refuseMemory();
    for (u64 row = 0; row < count; row++, rows += bytesPerRow) {
        const u64 inBlock = row % blockPicks;
        if (inBlock == 0) {
            const u64 blockSize = std::min(blockPicks, count - row);
            const u64 arrived = readFilled(state.file, picks.bytes, blockSize * state.rowBytes, 0);
            lacking += incompleteRows(blockSize, arrived, state.rowBytes, state.rowBytes);
        }
        packGroups(jc5, packed.bytes, picks.bytes + inBlock * state.rowBytes);
        reverseBits(packed.bytes, turnedBytes, false);
        deliverRow(rows, packed.bytes, rowBytes, bytesPerRow);
        if (bytesPerRow > rowBytes)
            memset(rows + rowBytes, 0, bytesPerRow - rowBytes);
    }
    return loadSuccess;
}

// Rows of one file.
LoadStatus readRows(const StaubliState& state, const StaubliJc5State& jc5, u8* rows, u32 count, u64 bytesPerRow,
                    u64& lacking)
{
    if (state.width != state.rowBytes * 8)
        return readUneven(state, jc5, rows, count, bytesPerRow, lacking);
    const u64 arrived = readWholeBytes(state.file, rows, count * bytesPerRow);
    lacking += incompleteRows(count, arrived, std::min<u64>(state.rowBytes, bytesPerRow), bytesPerRow);
    return loadSuccess;
}

LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    StaubliState* open = openStaubli(StaubliFormat::jc5);
    if (open == nullptr)
        return refuseUnopened();
    StaubliState& state = *open;
    StaubliJc5State& jc5 = threadState().loom.staubliJc5;
    const u32 wanted = std::min(count, state.rowsLeft);
    u8* const first = rows;
    u32 left = wanted;
    LoadStatus found = loadSuccess;
    while (left > 0) {
        found = findPick(state, jc5);
        if (found != loadSuccess)
            break;
        // A part without a whole pick uses up a row all the same.
        const u32 run = state.multiPart ? static_cast<u32>(std::clamp<i64>(jc5.picksLeft, 1, left)) : left;
        u64 lacking = 0;
        const LoadStatus status = readRows(state, jc5, rows, run, bytesPerRow, lacking);
        if (status != loadSuccess)
            return status;
        remarkCount(Gravity::grave, lacking, lackingPicks);
        rows += u64{run} * bytesPerRow;
        jc5.picksLeft -= run;
        state.rowsLeft -= run;
        left -= run;
    }
    if (found == loadSuccess && wanted == count)
        return loadSuccess;
    if (found == loadSuccess) {
        // The status is what reading on would find.
        found = findPick(state, jc5);
        const LoadStatus behind = refuseRowsBehindPicture();
        if (found == loadSuccess)
            return behind;
    }
    reverseBits(first, static_cast<u64>(rows - first), false); // without the next part the bits stay as they are stored
    return found;
}

// Makes a file of a free name in the temporary directory before the shell writes to it, so that nobody can have put a
// link to something else in its place. False, with errno, when that cannot be done.
bool makeTemporaryFile(const char* directory, TemporaryPath& path)
{
    constexpr std::string_view extension = ".jc5";
    char name[temporaryNameBytes];
    const int length = snprintf(name, sizeof name, "%s/zc5-XXXXXX", directory);
    if (length < 0 || static_cast<size_t>(length) + extension.size() >= sizeof name) {
        errno = ENAMETOOLONG;
        return false;
    }
    int descriptor = mkostemp(name, O_CLOEXEC);
    if (descriptor < 0)
        return false;
    close(descriptor);
    unlink(name);
    strcat(name, extension.data());
    descriptor = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return false;
    close(descriptor);
    strcpy(path.name, name);
    return true;
}

// Whether the name now stands for something else than what the shell wrote for us.
bool isForeign(const char* name)
{
    struct stat info;
    return lstat(name, &info) == 0 && (!S_ISREG(info.st_mode) || info.st_uid != geteuid());
}

LoadStatus checkZc5(const char* path)
{
    u8 probed[zc5ProbedBytes];
    File file;
    const LoadStatus status = openFile(path, file, probed, sizeof probed, loadCannotRead);
    if (status != loadSuccess)
        return status;
    return memcmp(probed, gzipMagic, sizeof gzipMagic) == 0 ? loadSuccess : refuseMark("gzip");
}

LoadStatus tryLoadZc5(const LoadRequest& request, ImageInfo& image)
{
    const char* directory = llibGetTmpDir();
    const char* gzip = llibGetGzipCommand();
    if (!hasExtension(request.path, "zc5", leastNameLength))
        return refuseName("zc5");
    if (directory == nullptr)
        return refuse(loadWrongFormat, "the temporary directory is not set");
    if (gzip == nullptr)
        return refuse(loadWrongFormat, "the gzip command is not set");
    LoadStatus status = checkZc5(request.path);
    if (status != loadSuccess)
        return status;

    Temporary unpacked;
    char* const name = unpacked.path.name;
    if (!makeTemporaryFile(directory, unpacked.path)) {
        const char* cause = strerror(errno);
        tell(stderr, "llib zc5 tmp file creation failed:: %s\n", cause);
        return refuse(loadCannotRead, "no file can be made in the temporary directory: %s", cause);
    }
    const int result = runCommand(
        {commandText(gzip), commandText(" -dc "), commandPath(request.path), commandText(" >"), commandPath(name)});
    if (isForeign(name))
        return refuse(loadCannotRead, "the unpacked file has been replaced by another one");
    status = tryLoad({name, request.wantPalette}, image);
    if (result != 0) {
        if (status != loadSuccess)
            return refuseCommand(status, gzip, result);
        remark(Gravity::grave, "the gzip command reported an error");
    }
    // Without the name the open stream reads on.
    if (status == loadSuccess && request.wantPalette != 0)
        handOver(unpacked, threadState().loom.staubli.unpacked);
    return status;
}

} // namespace

void registerLoadStaubliJC5()
{
    registerEntries<tryLoad, loadBand, endStaubli>();
}

void registerLoadStaubliZC5()
{
    registerEntries<tryLoadZc5, loadBand, endStaubli>();
}
