// Dobby programs of 64 shafts, as Dornier machines weave them. A pick is 8 bytes, the first shaft in a byte's lowest
// bit.
//
// DoStyle
//    0  "B#", 0, 0
//   26  picks, little-endian
//   28  bytes of all picks, little-endian
//   32  five numbers of a known range
//   37  blocks: 'C', L, the number of the first pick, little-endian, and L - 2 bytes of picks
//
// DoTech
//   a line with a word, a number and the picks; a line; a line that begins with byte 5; then a line a pick. Of each of
//   the first three, what is behind 99 characters counts as the next line.
//
// Muster
//   a line a pick
//
// The line of a pick: "00 01 02 03 04 05 06 07", hexadecimal
#include <cstring>

#include "framework/loader.h"
#include "framework/path.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

constexpr u32 shafts = 64;
constexpr u32 pickBytes = shafts / 8;
constexpr u32 mostPicks = 65520;

constexpr u8 styleMagic[] = {'B', '#', 0, 0};
constexpr size_t atStylePicks = 26;
constexpr size_t atStyleTableBytes = 28;
constexpr size_t atStyleNumbers = 32;
constexpr u8 styleSmallest[] = {2, 1, 1, 1, 1};
constexpr u8 styleLargest[] = {28, 16, 8, 8, 8};
constexpr size_t styleHeaderBytes = atStyleNumbers + sizeof styleLargest;
constexpr u32 fewestStylePicks = 2;
constexpr size_t blockHeadBytes = 4;
constexpr u8 blockTag = 'C';
constexpr u32 shortestBlock = 10; // its number counts two bytes more than its picks
constexpr u32 longestBlock = 50;
constexpr u32 blockExtraBytes = 2;

constexpr i64 lineBytes = 25; // with CR LF
constexpr size_t shortestLine = 24;
constexpr int lineRoom = 26 + 1;
constexpr int headLineRoom = 99 + 1;
constexpr char techMark = 5;
constexpr int mostTechNumber = 32;
constexpr i64 smallestTech = 30;
constexpr i64 techHeadSmallest = 5;
constexpr i64 techHeadLargest = 100;

// Without picks there is no table, and loadBand has nothing to deliver.
static void report(ImageInfo& image, const char* description, Buffer& table, u32 picks)
{
    image.kind = kindBilevel;
    image.width = shafts;
    image.height = picks;
    reportImage(image, description, loomOrientation);
    handOver(table, threadState().loom.dornier, picks, pickBytes);
}

static bool isStyleHeader(const u8* header)
{
    const u32 picks = littleEndian16(header + atStylePicks);
    if (picks < fewestStylePicks || picks > mostPicks ||
        littleEndian32(header + atStyleTableBytes) != picks * pickBytes)
        return false;
    for (size_t i = 0; i < sizeof styleLargest; i++) {
        const u8 number = header[atStyleNumbers + i];
        if (number < styleSmallest[i] || number > styleLargest[i])
            return false;
    }
    return true;
}

// Bytes that make no whole pick are written over by the next block.
static bool readBlocks(FILE* stream, u8* table, u32 picks)
{
    for (u32 done = 0; done < picks;) {
        u8 head[blockHeadBytes];
        if (!readExactly(stream, head, sizeof head) || head[0] != blockTag || head[1] < shortestBlock ||
            head[1] > longestBlock || littleEndian16(head + 2) != done)
            return false;
        const u32 size = head[1] - blockExtraBytes;
        if (size > (picks - done) * pickBytes || !readExactly(stream, table + u64{done} * pickBytes, size))
            return false;
        done += size / pickBytes;
    }
    return true;
}

static LoadStatus tryStyle(const LoadRequest& request, ImageInfo& image)
{
    const u8* probed = loadImgCheckHeader(request.path);
    if (probed == nullptr || loadImgLastFilesize() < i64{sizeof styleMagic} ||
        memcmp(probed, styleMagic, sizeof styleMagic) != 0)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    u8 header[styleHeaderBytes];
    if (!readExactly(file.stream, header, sizeof header) || !isStyleHeader(header))
        return loadWrongFormat;

    const u32 picks = littleEndian16(header + atStylePicks);
    Buffer table;
    if (request.wantPalette != 0) {
        if (!table.allocate(u64{picks} * pickBytes))
            return loadOutOfMemory;
        if (!readBlocks(file.stream, table.bytes, picks))
            return loadWrongFormat;
    }
    report(image, "Dornier DoStyle", table, picks);
    return loadSuccess;
}

static bool isSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// -1 for what is no digit
static int hexDigit(char c)
{
    const int lower = tolowerAZ(c);
    if (lower >= '0' && lower <= '9')
        return lower - '0';
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

static bool parsePick(const char* line, u8* pick)
{
    if (strlen(line) < shortestLine)
        return false;
    for (u32 i = 0; i < pickBytes; i++, line += 3) {
        const int high = hexDigit(line[0]);
        const int low = hexDigit(line[1]);
        if (high < 0 || low < 0 || (i + 1 < pickBytes && !isSpace(line[2])))
            return false;
        pick[i] = static_cast<u8>(high << 4 | low);
    }
    return true;
}

static LoadStatus readPick(FILE* stream, u8* pick)
{
    char line[lineRoom];
    if (fgets(line, lineRoom, stream) == nullptr)
        return loadCannotRead;
    return parsePick(line, pick) ? loadSuccess : loadWrongFormat;
}

// A last line without an end may come early: the picks behind it stay empty.
static LoadStatus readPicks(FILE* stream, u8* table, u32 first, u32 picks)
{
    for (u32 pick = first; pick < picks && feof(stream) == 0; pick++) {
        const LoadStatus status = readPick(stream, table + u64{pick} * pickBytes);
        if (status != loadSuccess)
            return status;
    }
    return loadSuccess;
}

static LoadStatus tryTech(const LoadRequest& request, ImageInfo& image)
{
    if (loadImgCheckHeader(request.path) == nullptr || !hasExtension(request.path, "pat"))
        return loadWrongFormat;
    const i64 size = loadImgLastFilesize();
    if (size < smallestTech)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    char line[headLineRoom];
    if (fgets(line, headLineRoom, file.stream) == nullptr)
        return loadCannotRead;
    char word[headLineRoom];
    int number;
    int count;
    if (sscanf(line, "%99s %d %d", word, &number, &count) != 3 || number < 0 || number > mostTechNumber || count < 1 ||
        count > int{mostPicks})
        return loadWrongFormat;
    const i64 headBytes = size - lineBytes * count;
    if (headBytes < techHeadSmallest || headBytes > techHeadLargest)
        return loadWrongFormat;

    const auto picks = static_cast<u32>(count);
    Buffer table;
    if (request.wantPalette != 0) {
        if (fgets(line, headLineRoom, file.stream) == nullptr || fgets(line, headLineRoom, file.stream) == nullptr ||
            line[0] != techMark)
            return loadCannotRead;
        if (!table.allocate(u64{picks} * pickBytes))
            return loadOutOfMemory;
        const LoadStatus status = readPicks(file.stream, table.bytes, 0, picks);
        if (status != loadSuccess)
            return status;
    }
    report(image, "DoTech", table, picks);
    return loadSuccess;
}

static LoadStatus tryMuster(const LoadRequest& request, ImageInfo& image)
{
    if (loadImgCheckHeader(request.path) == nullptr)
        return loadWrongFormat;
    const i64 size = loadImgLastFilesize();
    if (size % lineBytes != 0 || size / lineBytes < 1 || size / lineBytes > mostPicks)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;
    // The first pick is what tells the format.
    u8 firstPick[pickBytes];
    LoadStatus status = readPick(file.stream, firstPick);
    if (status != loadSuccess)
        return status;

    const auto picks = static_cast<u32>(size / lineBytes);
    Buffer table;
    if (request.wantPalette != 0) {
        if (!table.allocate(u64{picks} * pickBytes))
            return loadOutOfMemory;
        memcpy(table.bytes, firstPick, pickBytes);
        status = readPicks(file.stream, table.bytes, 1, picks);
        if (status != loadSuccess)
            return status;
    }
    report(image, "Muster", table, picks);
    return loadSuccess;
}

static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    return loadRows(threadState().loom.dornier, rows, count, bytesPerRow, BitOrder::reversed);
}

static LoadStatus endLoad()
{
    release(threadState().loom.dornier);
    return loadSuccess;
}

void registerLoadDoStyle()
{
    registerEntries<tryStyle, loadBand, endLoad>();
}

void registerLoadDoTech()
{
    registerEntries<tryTech, loadBand, endLoad>();
}

void registerLoadMus()
{
    registerEntries<tryMuster, loadBand, endLoad>();
}
