// Weave files of the weaving application: lines of text, each '#', a key and a value, some with a block of bytes behind
// them. The block's value is then its size when it is packed with zlib, and nothing when it is not.
//
//   #BINDING          the first line
//   #DIM=W H,S        ends, picks and shafts; also W,S or W H or W, what is missing is W; end i is threaded on shaft i
//   #XDIM=N           ends, picks and shafts, all N; the same threading
//   #YDIM=N           picks
//   #SHAFTSNO=N       shafts; the same threading
//   #HARNENDS=        the shaft of each end, from 0, as numbers on the lines that follow
//   #HARNANDS=112233  the shaft of each end as a character from '1' on
//   #HARNUNDS=size    packed: the shaft of each end, a byte each
//   #BITMAP=          shaft plan: for each shaft a bit a pick, lowest bit first, shaft after shaft without a gap
//   #BUTMAP=size      packed: the same
//   #BATMAP=          full plane: rows of whole bytes, the leftmost end in the highest bit
//   #BETMAP=size      packed: the same
//   #LINES_REPEAT=    packed: a number a row, which spreads the rows of the plane before it (copyTableEqualY)
//   #END              the last line; what other lines there are is left out
#include "formats/native/weave.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "color/repeat.h"
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/thread_state.h"
#include "framework/turned_picks.h"

constexpr i32 mostThreads = 65520;
constexpr i32 mostRowsOfShortTable = 65520;
constexpr int firstLineBytes = 20;
constexpr size_t shortestFirstLine = 8;
constexpr u64 wordsTurnedAtOnce = 1 << 17;
constexpr u64 smallestBlockWords = 256;

enum WeaveMode : i32 { draftMode = 0, planeMode = 1 };

// What readTevrinWeave answers.
enum ReadResult : int { readFailed = 0, readDone = 1, readNoMemory = 2 };

// What the records before tell about the next.
struct RecordReader {
    FILE* stream;
    Weave& weave;
    u8& orientationFlag;
    i32 shafts = 1;
    i64 rowBytes = 1; // of the rows that a repeat table spreads
};

static bool readSize(const char* text, i32& size)
{
    i32 number = 0;
    if (sscanf(text, "%d", &number) != 1 || number < 1 || number > mostThreads)
        return false;
    size = number;
    return true;
}

// The first ends are threaded straight through the shafts, the others all on the first shaft. Every record that tells a
// width makes a table for it, so that a table has an entry for each end.
static ReadResult makeThreading(Weave& weave, i32 ends, i32 straightEnds)
{
    free(weave.threading);
    weave.threadingEnds = 0;
    weave.threading = static_cast<i32*>(calloc(static_cast<size_t>(ends), sizeof(i32)));
    if (weave.threading == nullptr)
        return readFailed;
    weave.threadingEnds = ends;
    for (i32 i = 0; i < straightEnds; i++)
        weave.threading[i] = i;
    return readDone;
}

static ReadResult readAllSizes(RecordReader& reader, i32 width, i32 height, i32 shafts)
{
    auto isSize = [](i32 number) { return number >= 1 && number <= mostThreads; };
    if (!isSize(width) || !isSize(height) || !isSize(shafts))
        return readFailed;
    reader.weave.width = width;
    reader.weave.height = height;
    reader.shafts = shafts;
    const i32 ends = std::max(width, shafts);
    return makeThreading(reader.weave, ends, ends);
}

static ReadResult readDim(RecordReader& reader, const char* value)
{
    const bool hasShafts = strchr(value, ',') != nullptr;
    const bool hasHeight = strchr(value, ' ') != nullptr;
    i32 width = 0;
    i32 height = 0;
    i32 shafts = 0;
    bool isRead;
    if (hasHeight && hasShafts)
        isRead = sscanf(value, "%d %d,%d", &width, &height, &shafts) == 3;
    else if (hasShafts)
        isRead = sscanf(value, "%d,%d", &width, &shafts) == 2;
    else if (hasHeight)
        isRead = sscanf(value, "%d %d", &width, &height) == 2;
    else
        isRead = sscanf(value, "%d", &width) == 1;
    return isRead ? readAllSizes(reader, width, hasHeight ? height : width, hasShafts ? shafts : width) : readFailed;
}

static ReadResult readXdim(RecordReader& reader, const char* value)
{
    i32 size = 0;
    return readSize(value, size) ? readAllSizes(reader, size, size, size) : readFailed;
}

static ReadResult readYdim(RecordReader& reader, const char* value)
{
    return readSize(value, reader.weave.height) ? readDone : readFailed;
}

static ReadResult readShafts(RecordReader& reader, const char* value)
{
    if (!readSize(value, reader.shafts))
        return readFailed;
    return makeThreading(reader.weave, std::max(reader.shafts, reader.weave.width), reader.shafts);
}

static ReadResult readEndsAsNumbers(RecordReader& reader, const char*)
{
    Weave& weave = reader.weave;
    const i32 ends = weave.threading != nullptr ? weave.width : 0;
    for (i32 i = 0; i < ends; i++) {
        i32 shaft = 0;
        if (fscanf(reader.stream, "%d ", &shaft) != 1 || shaft < 0 || shaft >= reader.shafts)
            return readFailed;
        weave.threading[i] = shaft;
    }
    [[maybe_unused]] const int nothing = fscanf(reader.stream, "\n"); // what blanks and line ends there are
    return readDone;
}

static ReadResult readEndsAsCharacters(RecordReader& reader, const char* value)
{
    Weave& weave = reader.weave;
    if (weave.threading == nullptr || static_cast<i64>(strlen(value)) != i64{weave.width} + 1)
        return readFailed;
    for (i32 i = 0; i < weave.width; i++)
        weave.threading[i] = std::max(static_cast<u8>(value[i]) - '1', 0);
    return readDone;
}

// False also when the size is negative or beyond what zlib's block can be asked for.
static bool readPacked(RecordReader& reader, const char* value, u8* block, i64 size)
{
    return size >= 0 && size <= std::numeric_limits<int>::max() &&
           readCompressedData(value, block, static_cast<int>(size), reader.stream) != 0;
}

static ReadResult readEndsAsBytes(RecordReader& reader, const char* value)
{
    Weave& weave = reader.weave;
    Buffer shafts;
    if (weave.threading == nullptr || weave.width < 0 || !shafts.allocate(static_cast<size_t>(weave.width)) ||
        !readPacked(reader, value, shafts.bytes, weave.width))
        return readFailed;
    for (i32 i = 0; i < weave.width; i++)
        weave.threading[i] = shafts.bytes[i];
    return readDone;
}

// Lets the plane before it go.
static bool makePlane(Weave& weave, i64 size)
{
    free(weave.plane);
    weave.planeBytes = 0;
    weave.plane = static_cast<u8*>(calloc(static_cast<size_t>(size), 1));
    if (weave.plane != nullptr)
        weave.planeBytes = static_cast<u64>(size);
    return weave.plane != nullptr;
}

static ReadResult readPlainPlane(RecordReader& reader, i64 size)
{
    if (!makePlane(reader.weave, size))
        return readNoMemory;
    return readExactly(reader.stream, reader.weave.plane, static_cast<size_t>(size)) ? readDone : readFailed;
}

static ReadResult readPackedPlane(RecordReader& reader, const char* value, i64 size)
{
    return makePlane(reader.weave, size) && readPacked(reader, value, reader.weave.plane, size) ? readDone : readFailed;
}

// The bytes of a shaft plan, or below 1 when the host's own height is no height.
static i64 beginShaftPlan(RecordReader& reader)
{
    reader.weave.mode = draftMode;
    return reader.weave.height < 0 ? 0 : i64{reader.shafts} * reader.weave.height / 8 + 1;
}

static ReadResult readBitmap(RecordReader& reader, const char*)
{
    const i64 size = beginShaftPlan(reader);
    return size > 0 ? readPlainPlane(reader, size) : readFailed;
}

static ReadResult readButmap(RecordReader& reader, const char* value)
{
    const i64 size = beginShaftPlan(reader);
    return size > 0 ? readPackedPlane(reader, value, size) : readFailed;
}

// The bytes of a full plane, below 0 when the host's own sizes are none.
static i64 beginPlane(RecordReader& reader)
{
    const Weave& weave = reader.weave;
    reader.weave.mode = planeMode;
    if (weave.width < 0 || weave.height < 0)
        return -1;
    reader.rowBytes = (i64{weave.width} + 7) / 8;
    return reader.rowBytes * weave.height;
}

static ReadResult readBatmap(RecordReader& reader, const char*)
{
    const i64 size = beginPlane(reader);
    return size >= 0 ? readPlainPlane(reader, size) : readFailed;
}

static ReadResult readBetmap(RecordReader& reader, const char* value)
{
    const i64 size = beginPlane(reader);
    reader.orientationFlag = loomOrientation;
    return size >= 0 ? readPackedPlane(reader, value, size) : readFailed;
}

static ReadResult readRepeats(RecordReader& reader, const char* value)
{
    const Weave& weave = reader.weave;
    const i64 rows = weave.height;
    if (weave.plane == nullptr || rows < 0 || static_cast<u64>(rows * reader.rowBytes) > weave.planeBytes)
        return readFailed;
    const i64 entryBytes = rows <= mostRowsOfShortTable ? sizeof(u16) : sizeof(u32);
    Buffer entries;
    Buffer tableMemory;
    if (!entries.allocate(static_cast<size_t>(rows * entryBytes)) ||
        !tableMemory.allocate(static_cast<size_t>(rows) * sizeof(i32)) ||
        !readPacked(reader, value, entries.bytes, rows * entryBytes))
        return readFailed;
    auto* table = reinterpret_cast<i32*>(tableMemory.bytes);
    for (i64 i = 0; i < rows; i++) {
        const u8* entry = entries.bytes + i * entryBytes;
        table[i] = static_cast<i32>(entryBytes == sizeof(u16) ? littleEndian16(entry) : littleEndian32(entry));
    }
    return expandRepeats(weave.plane, static_cast<i32>(reader.rowBytes), weave.height, table) ? readDone : readFailed;
}

struct RecordType {
    const char* key;
    ReadResult (*read)(RecordReader& reader, const char* value);
};

constexpr RecordType recordTypes[] = {
    {"#DIM=", readDim},
    {"#XDIM=", readXdim},
    {"#YDIM=", readYdim},
    {"#SHAFTSNO=", readShafts},
    {"#HARNENDS=", readEndsAsNumbers},
    {"#HARNANDS=", readEndsAsCharacters},
    {"#HARNUNDS=", readEndsAsBytes},
    {"#BITMAP=", readBitmap},
    {"#BUTMAP=", readButmap},
    {"#BATMAP=", readBatmap},
    {"#BETMAP=", readBetmap},
    {"#LINES_REPEAT=", readRepeats},
};

static ReadResult readRecord(RecordReader& reader, const char* line)
{
    for (const RecordType& type : recordTypes) {
        if (startsWith(line, type.key))
            return type.read(reader, line + strlen(type.key));
    }
    return readDone;
}

// A file that ends before its last record is cut off, whatever was read until then.
static ReadResult readWeave(FILE* stream, char* line, Weave& weave, u8& orientationFlag)
{
    orientationFlag = pictureOrientation;
    if (strcmp(line, weaveStart) != 0)
        return readDone;
    RecordReader reader{stream, weave, orientationFlag};
    while (fgets(line, weaveLineBytes, stream) != nullptr && line[0] == '#') {
        if (startsWith(line, "#END"))
            return readDone;
        const ReadResult result = readRecord(reader, line);
        if (result != readDone)
            return result;
    }
    return readFailed;
}

int readTevrinWeave(FILE* file, char* line, i32* mode, i32* width, i32* height, u8* orientationFlag, i32** threading,
                    u8** plane)
{
    Weave weave{*plane, 0, *threading, *width, *mode, *width, *height};
    if (*plane != nullptr && *width > 0 && *height > 0)
        weave.planeBytes = (static_cast<u64>(*width) + 7) / 8 * static_cast<u64>(*height);
    const ReadResult result = readWeave(file, line, weave, *orientationFlag);
    *plane = weave.plane;
    *threading = weave.threading;
    *mode = weave.mode;
    *width = weave.width;
    *height = weave.height;
    return result;
}

LoadStatus loadWeave(FILE* stream, char* line, const char* description, ImageInfo& image)
{
    endWeave();
    WeaveState& state = threadState().native.weave;
    Weave& weave = state.weave;
    // A plane that finds no memory is a weave without a lift.
    if (readWeave(stream, line, weave, image.orientationFlag) == readFailed) {
        endWeave();
        return loadBadData;
    }
    image.kind = kindBilevel;
    image.width = static_cast<u32>(weave.width);
    image.height = static_cast<u32>(weave.height);
    image.palette[0] = 0;
    reportImage(image, description, image.orientationFlag);
    state.nextRow = 0;
    state.isOpen = true;
    return loadSuccess;
}

LoadStatus openLines(const char* path, const char* start, File& file, Buffer& line)
{
    const size_t startBytes = strlen(start);
    const u8* header = loadImgCheckHeader(path);
    if (header == nullptr || loadImgLastFilesize() < static_cast<i64>(startBytes) ||
        memcmp(header, start, startBytes) != 0)
        return loadWrongFormat;
    if (!file.open(path))
        return loadCannotRead;
    return line.allocate(weaveLineBytes) ? loadSuccess : loadOutOfMemory;
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!threadState().native.weave.isWeaveReady)
        return loadWrongFormat;
    File file;
    Buffer lineMemory;
    if (LoadStatus status = openLines(request.path, weaveStart, file, lineMemory); status != loadSuccess)
        return status;
    char* line = reinterpret_cast<char*>(lineMemory.bytes);
    if (fgets(line, firstLineBytes, file.stream) == nullptr || strlen(line) < shortestFirstLine ||
        !startsWith(line, weaveStart))
        return loadWrongFormat;
    return loadWeave(file.stream, line, "Tevrin weave", image);
}

static void copyFromPlane(const Weave& weave, u64 offset, u8* destination, u64 size)
{
    const u64 stored = offset < weave.planeBytes ? std::min(size, weave.planeBytes - offset) : 0;
    if (stored > 0)
        memcpy(destination, weave.plane + offset, stored);
    memset(destination + stored, 0, size - stored);
}

// A stride of its own takes that many bytes from the plane for each row, which are not all of the row or more than it.
static void deliverPlane(const Weave& weave, u64 firstRow, u8* rows, u64 count, u64 bytesPerRow)
{
    const u64 rowBytes = (static_cast<u64>(weave.width) + 7) / 8;
    if (bytesPerRow == rowBytes) {
        copyFromPlane(weave, firstRow * rowBytes, rows, count * rowBytes);
        return;
    }
    for (u64 i = 0; i < count; i++)
        copyFromPlane(weave, (firstRow + i) * rowBytes, rows + i * bytesPerRow, bytesPerRow);
}

// 64 bits from this one on. The plane may have been made for other sizes than the weave has now: behind it all is
// clear.
static u64 planeBits(const Weave& weave, u64 firstBit)
{
    const u64 byte = firstBit / 8;
    const u64 shift = firstBit % 8;
    u8 bytes[sizeof(u64) + 1];
    const u8* source = weave.plane + byte;
    if (byte + sizeof bytes > weave.planeBytes) {
        copyFromPlane(weave, byte, bytes, sizeof bytes);
        source = bytes;
    }
    const u64 low = littleEndian32(source) | u64{littleEndian32(source + 4)} << 32;
    return shift == 0 ? low : low >> shift | u64{source[8]} << (64 - shift);
}

// The shafts that any end is on, as far as the plane reaches.
static u64 countShafts(const Weave& weave)
{
    i32 highest = 0;
    for (i64 end = 0; end < std::min<i64>(weave.width, weave.threadingEnds); end++)
        highest = std::max(highest, weave.threading[end]);
    const u64 height = static_cast<u64>(weave.height);
    return std::min(static_cast<u64>(highest) + 1, (8 * weave.planeBytes + height - 1) / height);
}

static bool mapEnds(HookMap& map, const Weave& weave, u64 shafts)
{
    map.columns = static_cast<u64>(weave.width);
    if (!map.buffer.allocate(map.columns * sizeof(u32)))
        return false;
    auto* shaftOfEnd = reinterpret_cast<u32*>(map.buffer.bytes);
    for (i64 end = 0; end < weave.width; end++) {
        const u32 shaft = end < weave.threadingEnds ? static_cast<u32>(weave.threading[end]) : noHook;
        shaftOfEnd[end] = shaft < shafts ? shaft : noHook;
    }
    return true;
}

// A clear bit is what lifts an end in turned picks.
static void fillTurned(TurnedPicks& turned, const Weave& weave, u64 firstPick, u64 shafts)
{
    for (u64 pick = 0; pick < turned.picks; pick += picksAtOnce) {
        u64* words = wordsOfBlock(turned, pick);
        for (u64 shaft = 0; shaft < shafts; shaft++)
            words[wordOfHook(shaft)] = ~planeBits(weave, shaft * static_cast<u64>(weave.height) + firstPick + pick);
    }
}

static LoadStatus deliverDraft(const Weave& weave, u64 firstPick, u8* rows, u64 count, u64 bytesPerRow)
{
    if (weave.plane == nullptr || weave.threading == nullptr) {
        memset(rows, 0, count * bytesPerRow);
        return loadSuccess;
    }
    const u64 shafts = countShafts(weave);
    const auto shaftBytes = static_cast<u32>((shafts + 7) / 8);
    const u64 blocksAtOnce = 1 + wordsTurnedAtOnce / (shafts + smallestBlockWords);
    const u64 mostPicks = std::min(count, blocksAtOnce * picksAtOnce);
    TurnedPicks turned;
    HookMap map;
    if (!mapEnds(map, weave, shafts) || !allocateTurned(turned, shaftBytes, static_cast<u32>(mostPicks)))
        return loadOutOfMemory;
    for (u64 pick = 0; pick < count; pick += mostPicks) {
        turned.picks = static_cast<u32>(std::min(mostPicks, count - pick));
        fillTurned(turned, weave, firstPick + pick, shafts);
        if (!deliverTurned(turned, map, rows + pick * bytesPerRow, bytesPerRow, RowEnd::cleared))
            return loadOutOfMemory;
    }
    return loadSuccess;
}

// Rows behind the last are clear.
LoadStatus loadWeaveBand(u8* rows, u32 count, u32 bytesPerRow)
{
    WeaveState& state = threadState().native.weave;
    if (!state.isOpen)
        return loadBadData;
    const u32 wanted = std::min(count, static_cast<u32>(state.weave.height) - state.nextRow);
    const bool hasRoom = wanted > 0 && bytesPerRow > 0;
    LoadStatus status = loadSuccess;
    if (hasRoom && state.weave.mode == planeMode)
        deliverPlane(state.weave, state.nextRow, rows, wanted, bytesPerRow);
    else if (hasRoom)
        status = deliverDraft(state.weave, state.nextRow, rows, wanted, bytesPerRow);
    const u64 behind = u64{count - wanted} * bytesPerRow;
    if (behind > 0)
        memset(rows + u64{wanted} * bytesPerRow, 0, behind);
    state.nextRow += wanted;
    return status;
}

LoadStatus endWeave()
{
    WeaveState& state = threadState().native.weave;
    free(state.weave.plane);
    free(state.weave.threading);
    state.weave.plane = nullptr;
    state.weave.planeBytes = 0;
    state.weave.threading = nullptr;
    state.weave.threadingEnds = 0;
    state.isOpen = false;
    return loadSuccess;
}

void initLoadWeave()
{
    threadState().native.weave.isWeaveReady = true;
}

void registerLoadWeave()
{
    registerEntries<tryLoad, loadWeaveBand, endWeave>();
}
