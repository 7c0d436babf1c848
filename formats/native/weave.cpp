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
#include "framework/probe.h"
#include "framework/thread_state.h"
#include "framework/turned_picks.h"

namespace
{

constexpr i32 mostRowsOfShortTable = mostSide;
constexpr int firstLineBytes = 20;
constexpr size_t leastFirstLine = 8;
constexpr u64 wordsTurnedAtOnce = 1 << 17;
constexpr u64 leastBlockWords = 256;

// What is the matter with a record.
constexpr char noSize[] = "a size is no number from 1 to 65520";
constexpr char noEnds[] = "no record before it tells how many ends there are";
constexpr char noBlock[] = "its packed block cannot be read";
constexpr char noPlaneSize[] = "no record before it tells the size of the weave";

enum WeaveMode : i32 { draftMode = 0, planeMode = 1 };

// What readTevrinWeave answers.
enum ReadResult : int { readFailed = 0, readDone = 1, readNoMemory = 2 };

// What the records before tell about the next.
struct RecordReader {
    FILE* stream;
    Weave& weave;
    u8& orientationFlag;
    i32 shafts = 1;
    i64 rowBytes = 1;  // of the rows that a repeat table spreads
    u64 planeHeld = 0; // bytes of the plane that the file told
    i32 endsWithoutShaft = 0;
    bool hasWrongRepeats = false;
    bool tellsWidth = false;
    bool tellsHeight = false;
    const char* key = nullptr; // of the record that is being read
    const char* damage = "";   // what is the matter with it
    bool lacksMemory = false;
};

ReadResult fail(RecordReader& reader, const char* damage)
{
    reader.damage = damage;
    return readFailed;
}

ReadResult failWithoutMemory(RecordReader& reader, ReadResult result = readFailed)
{
    reader.lacksMemory = true;
    return result;
}

bool isThreadCount(i32 number)
{
    return number >= 1 && number <= static_cast<i32>(mostSide);
}

bool readSize(const char* text, i32& size)
{
    i32 number = 0;
    if (sscanf(text, "%d", &number) != 1 || !isThreadCount(number))
        return false;
    size = number;
    return true;
}

// The first ends are threaded straight through the shafts, the others all on the first shaft. Every record that tells a
// width makes a table for it, so that a table has an entry for each end.
ReadResult makeThreading(RecordReader& reader, i32 ends, i32 straightEnds)
{
    Weave& weave = reader.weave;
    free(weave.threading);
    weave.threadingEnds = 0;
    weave.threading = static_cast<i32*>(calloc(static_cast<size_t>(ends), sizeof(i32)));
    if (weave.threading == nullptr)
        return failWithoutMemory(reader);
    weave.threadingEnds = ends;
    reader.endsWithoutShaft = ends - straightEnds;
    for (i32 i = 0; i < straightEnds; i++)
        weave.threading[i] = i;
    return readDone;
}

ReadResult readAllSizes(RecordReader& reader, i32 width, i32 height, i32 shafts)
{
    if (!isThreadCount(width) || !isThreadCount(height) || !isThreadCount(shafts))
        return fail(reader, noSize);
    reader.weave.width = width;
    reader.weave.height = height;
    reader.shafts = shafts;
    reader.tellsWidth = true;
    reader.tellsHeight = true;
    const i32 ends = std::max(width, shafts);
    return makeThreading(reader, ends, ends);
}

ReadResult readDim(RecordReader& reader, const char* value)
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
    return isRead ? readAllSizes(reader, width, hasHeight ? height : width, hasShafts ? shafts : width)
                  : fail(reader, noSize);
}

ReadResult readXdim(RecordReader& reader, const char* value)
{
    i32 size = 0;
    return readSize(value, size) ? readAllSizes(reader, size, size, size) : fail(reader, noSize);
}

ReadResult readYdim(RecordReader& reader, const char* value)
{
    if (!readSize(value, reader.weave.height))
        return fail(reader, noSize);
    reader.tellsHeight = true;
    return readDone;
}

ReadResult readShafts(RecordReader& reader, const char* value)
{
    if (!readSize(value, reader.shafts))
        return fail(reader, noSize);
    return makeThreading(reader, std::max(reader.shafts, reader.weave.width), reader.shafts);
}

ReadResult readEndsAsNumbers(RecordReader& reader, const char*)
{
    Weave& weave = reader.weave;
    const i32 ends = weave.threading != nullptr ? weave.width : 0;
    reader.endsWithoutShaft = 0;
    for (i32 i = 0; i < ends; i++) {
        i32 shaft = 0;
        if (fscanf(reader.stream, "%d ", &shaft) != 1)
            return fail(reader, "it has no number for each end");
        if (shaft < 0 || shaft >= reader.shafts)
            return fail(reader, "an end is on a shaft that is none");
        weave.threading[i] = shaft;
    }
    [[maybe_unused]] const int nothing = fscanf(reader.stream, "\n"); // what blanks and line ends there are
    return readDone;
}

ReadResult readEndsAsCharacters(RecordReader& reader, const char* value)
{
    Weave& weave = reader.weave;
    if (weave.threading == nullptr)
        return fail(reader, noEnds);
    if (static_cast<i64>(strlen(value)) != i64{weave.width} + 1)
        return fail(reader, "it has not one character for each end");
    for (i32 i = 0; i < weave.width; i++)
        weave.threading[i] = std::max(static_cast<u8>(value[i]) - '1', 0);
    reader.endsWithoutShaft = 0;
    return readDone;
}

// How many bytes the block has, 0 when it cannot be read: also when the size is negative or beyond what zlib's block
// can be asked for.
int readPacked(RecordReader& reader, const char* value, u8* block, i64 size)
{
    return size >= 0 && size <= std::numeric_limits<int>::max()
               ? readCompressedData(value, block, static_cast<int>(size), reader.stream)
               : 0;
}

ReadResult readEndsAsBytes(RecordReader& reader, const char* value)
{
    Weave& weave = reader.weave;
    Buffer shafts;
    if (weave.threading == nullptr || weave.width < 0)
        return fail(reader, noEnds);
    if (!shafts.allocate(static_cast<size_t>(weave.width)))
        return failWithoutMemory(reader);
    if (readPacked(reader, value, shafts.bytes, weave.width) == 0)
        return fail(reader, noBlock);
    for (i32 i = 0; i < weave.width; i++)
        weave.threading[i] = shafts.bytes[i];
    reader.endsWithoutShaft = 0;
    return readDone;
}

// Lets the plane before it go.
bool makePlane(Weave& weave, i64 size)
{
    free(weave.plane);
    weave.planeBytes = 0;
    weave.plane = static_cast<u8*>(calloc(static_cast<size_t>(size), 1));
    if (weave.plane != nullptr)
        weave.planeBytes = static_cast<u64>(size);
    return weave.plane != nullptr;
}

ReadResult readPlainPlane(RecordReader& reader, i64 size)
{
    if (!makePlane(reader.weave, size))
        return failWithoutMemory(reader, readNoMemory);
    if (!readExactly(reader.stream, reader.weave.plane, static_cast<size_t>(size)))
        return fail(reader, "the file ends in its bits");
    reader.planeHeld = static_cast<u64>(size);
    return readDone;
}

ReadResult readPackedPlane(RecordReader& reader, const char* value, i64 size)
{
    if (!makePlane(reader.weave, size))
        return failWithoutMemory(reader);
    const int held = readPacked(reader, value, reader.weave.plane, size);
    if (held == 0)
        return fail(reader, noBlock);
    reader.planeHeld = static_cast<u64>(held);
    return readDone;
}

// The bytes of a shaft plan, or below 1 when the host's own height is no height.
i64 beginShaftPlan(RecordReader& reader)
{
    reader.weave.mode = draftMode;
    return reader.weave.height < 0 ? 0 : i64{reader.shafts} * reader.weave.height / 8 + 1;
}

ReadResult readBitmap(RecordReader& reader, const char*)
{
    const i64 size = beginShaftPlan(reader);
    return size > 0 ? readPlainPlane(reader, size) : fail(reader, noPlaneSize);
}

ReadResult readButmap(RecordReader& reader, const char* value)
{
    const i64 size = beginShaftPlan(reader);
    return size > 0 ? readPackedPlane(reader, value, size) : fail(reader, noPlaneSize);
}

// The bytes of a full plane, below 0 when the host's own sizes are none.
i64 beginPlane(RecordReader& reader)
{
    const Weave& weave = reader.weave;
    reader.weave.mode = planeMode;
    if (weave.width < 0 || weave.height < 0)
        return -1;
    reader.rowBytes = (i64{weave.width} + 7) / 8;
    return reader.rowBytes * weave.height;
}

ReadResult readBatmap(RecordReader& reader, const char*)
{
    const i64 size = beginPlane(reader);
    return size >= 0 ? readPlainPlane(reader, size) : fail(reader, noPlaneSize);
}

ReadResult readBetmap(RecordReader& reader, const char* value)
{
    const i64 size = beginPlane(reader);
    reader.orientationFlag = loomOrientation;
    return size >= 0 ? readPackedPlane(reader, value, size) : fail(reader, noPlaneSize);
}

// When all rows that the table takes as stored are in the file, none is missing afterwards.
ReadResult spreadRows(RecordReader& reader, const i32* table)
{
    const Weave& weave = reader.weave;
    switch (expandRepeats(weave.plane, static_cast<i32>(reader.rowBytes), weave.height, table)) {
    case Expansion::noMemory:
        return failWithoutMemory(reader);
    case Expansion::wrongTable:
        tell(stdout, "%s\n", wrongRepeatTable);
        reader.hasWrongRepeats = true;
        return readDone;
    case Expansion::done:
        break;
    }
    const auto stored = static_cast<u64>(std::count(table, table + weave.height, 0));
    if (stored * static_cast<u64>(reader.rowBytes) <= reader.planeHeld)
        reader.planeHeld = weave.planeBytes;
    return readDone;
}

ReadResult readRepeats(RecordReader& reader, const char* value)
{
    const Weave& weave = reader.weave;
    const i64 rows = weave.height;
    if (weave.plane == nullptr || rows < 0 || static_cast<u64>(rows * reader.rowBytes) > weave.planeBytes)
        return fail(reader, "the plane before it has fewer rows");
    const i64 entryBytes = rows <= mostRowsOfShortTable ? sizeof(u16) : sizeof(u32);
    Buffer entries;
    Buffer tableMemory;
    if (!entries.allocate(static_cast<size_t>(rows * entryBytes)) ||
        !tableMemory.allocate(static_cast<size_t>(rows) * sizeof(i32)))
        return failWithoutMemory(reader);
    if (readPacked(reader, value, entries.bytes, rows * entryBytes) == 0)
        return fail(reader, noBlock);
    auto* table = reinterpret_cast<i32*>(tableMemory.bytes);
    for (i64 i = 0; i < rows; i++) {
        const u8* entry = entries.bytes + i * entryBytes;
        table[i] = static_cast<i32>(entryBytes == sizeof(u16) ? littleEndian16(entry) : littleEndian32(entry));
    }
    return spreadRows(reader, table);
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

ReadResult readRecord(RecordReader& reader, const char* line)
{
    for (const RecordType& type : recordTypes) {
        if (startsWith(line, type.key)) {
            reader.key = type.key;
            return type.read(reader, line + strlen(type.key));
        }
    }
    return readDone;
}

// A file that ends before its last record is cut off, whatever was read until then.
ReadResult readRecords(RecordReader& reader, char* line)
{
    reader.orientationFlag = pictureOrientation;
    if (strcmp(line, weaveStart) != 0)
        return readDone;
    while (fgets(line, weaveLineBytes, reader.stream) != nullptr) {
        reader.key = nullptr;
        if (line[0] != '#')
            return fail(reader, "one of its lines does not begin with #");
        if (startsWith(line, "#END"))
            return readDone;
        const ReadResult result = readRecord(reader, line);
        if (result != readDone)
            return result;
    }
    reader.key = nullptr;
    return fail(reader, "the file ends before its record #END");
}

LoadStatus refuseRecords(const RecordReader& reader)
{
    if (reader.lacksMemory)
        return refuse(loadBadData, "there is not enough memory for its record %s", reader.key);
    if (reader.key == nullptr)
        return refuse(loadBadData, "%s", reader.damage);
    return refuse(loadBadData, "its record %s is damaged: %s", reader.key, reader.damage);
}

// What the rows will show that the file does not tell.
void remarkGaps(const RecordReader& reader)
{
    const Weave& weave = reader.weave;
    const auto height = static_cast<u64>(weave.height);
    if (!reader.tellsWidth || !reader.tellsHeight)
        remark(Gravity::grave, "a size that it does not tell is taken from the file before");
    if (reader.hasWrongRepeats)
        remark(Gravity::grave, "its repeats name rows that do not exist and are left out");
    if (weave.plane == nullptr) {
        remark(Gravity::grave, "%s: no end is lifted",
               reader.lacksMemory ? "there is not enough memory for its plane" : "it holds no plane");
        return;
    }
    if (weave.mode == planeMode) {
        const u64 rows = reader.planeHeld / std::max(1U, bilevelRowBytes(static_cast<u32>(weave.width)));
        remarkCount(Gravity::grave, height - std::min(height, rows), "picks that the file lacks are clear");
        return;
    }
    remarkCount(Gravity::grave, static_cast<u64>(reader.endsWithoutShaft), "ends without a shaft are on the first");
    u64 ends = 0;
    for (i64 end = 0; end < std::min<i64>(weave.width, weave.threadingEnds); end++)
        ends += (static_cast<u64>(weave.threading[end]) + 1) * height > 8 * reader.planeHeld ? 1 : 0;
    remarkCount(Gravity::grave, ends, "ends are on shafts that the plan lacks and are not lifted");
}

} // namespace

int readTevrinWeave(FILE* file, char* line, i32* mode, i32* width, i32* height, u8* orientationFlag, i32** threading,
                    u8** plane)
{
    Weave weave{*plane, 0, *threading, *width, *mode, *width, *height};
    if (*plane != nullptr && *width > 0 && *height > 0)
        weave.planeBytes = (static_cast<u64>(*width) + 7) / 8 * static_cast<u64>(*height);
    RecordReader reader{file, weave, *orientationFlag};
    const ReadResult result = readRecords(reader, line);
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
    RecordReader reader{stream, weave, image.orientationFlag};
    // A plane that finds no memory is a weave without a lift.
    if (readRecords(reader, line) == readFailed) {
        endWeave();
        return refuseRecords(reader);
    }
    remarkGaps(reader);
    reportBilevel(image, static_cast<u32>(weave.width), static_cast<u32>(weave.height), description,
                  image.orientationFlag);
    image.palette[0] = 0;
    state.nextRow = 0;
    state.isOpen = true;
    return loadSuccess;
}

LoadStatus openLines(const char* path, const char* start, const char* format, File& file, Buffer& line)
{
    if (probedMark(path, start, format) == nullptr)
        return loadWrongFormat;
    if (const LoadStatus status = openFile(path, file); status != loadSuccess)
        return status;
    return line.allocate(weaveLineBytes) ? loadSuccess : refuseMemory();
}

namespace
{

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!threadState().native.weave.isWeaveReady)
        return refuse(loadWrongFormat, "initLoadWeave has not been called");
    File file;
    Buffer lineMemory;
    if (LoadStatus status = openLines(request.path, weaveStart, "weave", file, lineMemory); status != loadSuccess)
        return status;
    char* line = reinterpret_cast<char*>(lineMemory.bytes);
    if (fgets(line, firstLineBytes, file.stream) == nullptr || strlen(line) < leastFirstLine ||
        !startsWith(line, weaveStart))
        return refuseMark("weave");
    return loadWeave(file.stream, line, "Tevrin weave", image);
}

void copyFromPlane(const Weave& weave, u64 offset, u8* destination, u64 size)
{
    const u64 stored = offset < weave.planeBytes ? std::min(size, weave.planeBytes - offset) : 0;
    if (stored > 0)
        memcpy(destination, weave.plane + offset, stored);
    memset(destination + stored, 0, size - stored);
}

// A stride of its own takes that many bytes from the plane for each row, which are not all of the row or more than it.
void deliverPlane(const Weave& weave, u64 firstRow, u8* rows, u64 count, u64 bytesPerRow)
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
u64 planeBits(const Weave& weave, u64 firstBit)
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
u64 countShafts(const Weave& weave)
{
    i32 highest = 0;
    for (i64 end = 0; end < std::min<i64>(weave.width, weave.threadingEnds); end++)
        highest = std::max(highest, weave.threading[end]);
    const u64 height = static_cast<u64>(weave.height);
    return std::min(static_cast<u64>(highest) + 1, (8 * weave.planeBytes + height - 1) / height);
}

bool mapEnds(HookMap& map, const Weave& weave, u64 shafts)
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
void fillTurned(TurnedPicks& turned, const Weave& weave, u64 firstPick, u64 shafts)
{
    for (u64 pick = 0; pick < turned.picks; pick += picksAtOnce) {
        u64* words = wordsOfBlock(turned, pick);
        for (u64 shaft = 0; shaft < shafts; shaft++)
            words[wordOfHook(shaft)] = ~planeBits(weave, shaft * static_cast<u64>(weave.height) + firstPick + pick);
    }
}

LoadStatus deliverDraft(const Weave& weave, u64 firstPick, u8* rows, u64 count, u64 bytesPerRow)
{
    if (weave.plane == nullptr || weave.threading == nullptr) {
        memset(rows, 0, count * bytesPerRow);
        return loadSuccess;
    }
    const u64 shafts = countShafts(weave);
    const auto shaftBytes = static_cast<u32>((shafts + 7) / 8);
    const u64 blocksAtOnce = 1 + wordsTurnedAtOnce / (shafts + leastBlockWords);
    const u64 mostPicks = std::min(count, blocksAtOnce * picksAtOnce);
    TurnedPicks turned;
    HookMap map;
    if (!mapEnds(map, weave, shafts) || !allocateTurned(turned, shaftBytes, static_cast<u32>(mostPicks)))
        return refuseMemory();
    for (u64 pick = 0; pick < count; pick += mostPicks) {
        turned.picks = static_cast<u32>(std::min(mostPicks, count - pick));
        fillTurned(turned, weave, firstPick + pick, shafts);
        if (!deliverTurned(turned, map, rows + pick * bytesPerRow, bytesPerRow, RowEnd::cleared))
            return refuseMemory();
    }
    return loadSuccess;
}

} // namespace

// Rows behind the last are clear.
LoadStatus loadWeaveBand(u8* rows, u32 count, u32 bytesPerRow)
{
    WeaveState& state = threadState().native.weave;
    if (!state.isOpen)
        return refuseUnopened();
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
