// DoWeave designs: text, a record a line, all of it hexadecimal digits.
//
//   "0010", a character, two digits, ".", three characters, two digits: a dated line
//   the description:   type, 0, length, data
//                      type 66: length 32 or 33, picks at 56, 8 times the records at 60
//                      type 68: length 26, picks at 12, records at 20
//   records of 67:     type, anything, length 8, then 8 bytes
//                      the last 40 to 5F begins a repeat, its count in the first two bytes
//                      the last 60 to 7F ends it
//                      else a pick of 64 shafts, the first one in a byte's lowest bit
//   records of 26, 75, 81 and 82 say nothing about the weave
//
// Types and lengths are big-endian, the other numbers little-endian.
#include "formats/loom/repeat_program.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 shafts = 64;
constexpr u32 pickBytes = shafts / 8;
constexpr int lineBytes = 100;
constexpr i64 datedBytes = 13;
constexpr size_t leastDescriptionLength = 13;

constexpr size_t atType = 0;
constexpr size_t atZero = 4;
constexpr size_t atLength = 8;
constexpr size_t atData = 12;

constexpr i64 longDescription = 66;
constexpr i64 longDescriptionBytes[] = {32, 33};
constexpr size_t atLongPicks = 56;
constexpr size_t atLongBytes = 60;
constexpr i64 shortDescription = 68;
constexpr i64 shortDescriptionBytes = 26;
constexpr size_t atShortPicks = 12;
constexpr size_t atShortRecords = 20;

constexpr i64 weaveRecord = 67;
constexpr size_t atRepeatMark = atData + 2 * size_t{pickBytes - 1};
constexpr i64 repeatMarks = 0xE0; // the bits that tell
constexpr i64 beginMark = 0x40;
constexpr i64 endMark = 0x60;

constexpr i64 noNumber = -1;

// A character that is no digit has the value of its place before or behind "a", which is 10; some that are no letters
// count too.
int digitAt(const char* text)
{
    const int c = static_cast<u8>(*text);
    return isDigit(c) ? c - '0' : tolowerAZ(c) - 'a' + 10;
}

i64 byteAt(const char* text)
{
    const int high = digitAt(text);
    const int low = digitAt(text + 1);
    return high < 0 || high > 15 || low < 0 || low > 15 ? noNumber : high << 4 | low;
}

// Two parts of so many characters. When one is no number, neither is the whole.
i64 bigEndianAt(const char* text)
{
    const i64 high = byteAt(text);
    const i64 low = byteAt(text + 2);
    return high < 0 || low < 0 ? noNumber : high << 8 | low;
}

i64 littleEndianAt(const char* text)
{
    const i64 low = byteAt(text);
    const i64 high = byteAt(text + 2);
    return high < 0 || low < 0 ? noNumber : high << 8 | low;
}

// All bits set when it is no number.
u32 littleEndianLongAt(const char* text)
{
    const i64 low = littleEndianAt(text);
    const i64 high = littleEndianAt(text + 4);
    return static_cast<u32>(high < 0 || low < 0 ? noNumber : high << 16 | low);
}

bool isDatedLine(const u8* line)
{
    return memcmp(line, "0010", 4) == 0 && isDigit(line[5]) && isDigit(line[6]) && line[7] == '.' &&
           isDigit(line[11]) && isDigit(line[12]);
}

// What a line does not reach reads as zeros, which are no digits.
void readLine(FILE* stream, char* line)
{
    memset(line, 0, lineBytes);
    fgetsDosMac(line, lineBytes, stream);
}

struct Description {
    i64 picks = 0;
    u32 records = 0;
};

LoadStatus refuseDescriptionLength(i64 length)
{
    return refuse(loadWrongFormat, "its description tells a wrong length of %lld", static_cast<long long>(length));
}

LoadStatus readDescription(const char* line, Description& description)
{
    const i64 type = bigEndianAt(line + atType);
    const i64 length = bigEndianAt(line + atLength);
    const size_t lineLength = strlen(line);
    if (lineLength < leastDescriptionLength || length < 0 || lineLength < atData + 2 * static_cast<u64>(length))
        return refuse(loadWrongFormat, "its second line, the description, is too short");
    if (bigEndianAt(line + atZero) != 0)
        return refuse(loadWrongFormat, "its second line is no description: %.40s", line);
    switch (type) {
    case longDescription:
        if (length != longDescriptionBytes[0] && length != longDescriptionBytes[1])
            return refuseDescriptionLength(length);
        description = {littleEndianAt(line + atLongPicks), littleEndianLongAt(line + atLongBytes) / pickBytes};
        break;
    case shortDescription:
        if (length != shortDescriptionBytes)
            return refuseDescriptionLength(length);
        description = {littleEndianAt(line + atShortPicks), littleEndianLongAt(line + atShortRecords)};
        break;
    default:
        return refuse(loadWrongFormat, "its second line is no description: %.40s", line);
    }
    if (description.picks < leastProgramRows || description.picks > mostSide)
        return refuseSize(loadWrongFormat, shafts, description.picks);
    if (description.records == 0)
        return refuse(loadWrongFormat, "its description announces no records");
    return loadSuccess;
}

// Characters that are no digits lift all shafts of their byte. Returns for how many bytes.
u32 parsePick(const char* line, u8* pick)
{
    u32 noNumbers = 0;
    for (u32 i = 0; i < pickBytes; i++) {
        const i64 shaftsLifted = byteAt(line + atData + 2 * size_t{i});
        noNumbers += shaftsLifted == noNumber ? 1 : 0;
        pick[i] = static_cast<u8>(shaftsLifted);
    }
    reverseBits(pick, pickBytes, false);
    return noNumbers;
}

LoadStatus refuseMorePicks(const RepeatExpansion& weave)
{
    return refuse(loadWrongFormat, "it weaves more picks than the %llu of its description",
                  static_cast<unsigned long long>(weave.room));
}

// 6 when the record is wrong or the weave has more picks than there is room for.
LoadStatus addRecord(const char* line, RepeatExpansion& weave, u32& noNumbers)
{
    const i64 mark = byteAt(line + atRepeatMark) & repeatMarks;
    if (mark == beginMark) {
        const i64 count = littleEndianAt(line + atData);
        if (count < 0)
            return refuse(loadWrongFormat, "the count of a repeat is no number: %.40s", line);
        return openRepeat(weave, static_cast<u32>(count));
    }
    if (mark == endMark) {
        const LoadStatus status = closeRepeat(weave);
        return status == loadSuccess && weave.rowsReached > weave.room ? refuseMorePicks(weave) : status;
    }
    u8 pick[pickBytes];
    noNumbers += parsePick(line, pick);
    return weave.rowsReached < weave.room ? addPick(weave, pick, pickBytes) : refuseMorePicks(weave);
}

bool isSilent(i64 type)
{
    return type == 26 || type == 75 || type == 81 || type == 82;
}

// What the description does not count is left out.
void remarkFurtherRecords(FILE* stream)
{
    char line[lineBytes];
    do
        readLine(stream, line);
    while (isSilent(bigEndianAt(line + atType)));
    if (bigEndianAt(line + atType) == weaveRecord)
        remark(Gravity::harmless, "records behind the last one that the description counts are not read");
}

LoadStatus readWeave(FILE* stream, const char* path, u32 records, RepeatExpansion& weave)
{
    u32 noNumbers = 0;
    u32 done = 0;
    while (done < records && feof(stream) == 0) {
        char line[lineBytes];
        readLine(stream, line);
        const i64 type = bigEndianAt(line + atType);
        if (isSilent(type))
            continue;
        if (type != weaveRecord) {
            tell(stdout, "DoWeave %s contains unknown record(%d): %s\n", baseName(path), static_cast<int>(type), line);
            return *line == 0 ? refuse(loadWrongFormat, "it has an empty line, or ends before its description tells")
                              : refuse(loadWrongFormat, "it has an unknown record: %.40s", line);
        }
        if (bigEndianAt(line + atLength) != pickBytes)
            return refuse(loadWrongFormat, "a record of its weave is not %u bytes long: %.40s", pickBytes, line);
        const LoadStatus status = addRecord(line, weave, noNumbers);
        if (status != loadSuccess)
            return status;
        done++;
    }
    const LoadStatus status = finishCopies(weave);
    if (status != loadSuccess)
        return status;
    remarkOpenRepeats(weave);
    remarkCount(Gravity::grave, noNumbers, "bytes of picks are no numbers and lift all of their shafts");
    remarkCount(Gravity::grave, records - done, "records that the description announces are missing");
    remarkCount(Gravity::grave, weave.room - weave.rowsReached, "picks that the file lacks are clear");
    remarkFurtherRecords(stream);
    return loadSuccess;
}

// Without picks there is no table, and loadBand has nothing to deliver.
LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, "des"))
        return refuseName("des");
    const u8* probed = probedHeader(request.path, datedBytes);
    if (probed == nullptr)
        return loadWrongFormat;
    if (!isDatedLine(probed))
        return refuseMark("DoWeave");
    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    char line[lineBytes];
    Description description;
    readLine(file.stream, line);
    readLine(file.stream, line);
    status = readDescription(line, description);
    if (status != loadSuccess)
        return status;

    const auto picks = static_cast<u32>(description.picks);
    Buffer table;
    if (request.wantPalette != 0) {
        RepeatExpansion weave;
        weave.mostOpen = mostNestedRepeats;
        weave.rowBytes = pickBytes;
        weave.removedRowsLeft = mostRemovedRows;
        if (!table.allocate(u64{picks} * pickBytes) || !makeRoom(weave, table.bytes, picks, pickBytes, picks))
            return refuse(loadWrongFormat, "there is not enough memory");
        status = readWeave(file.stream, request.path, description.records, weave);
        if (status != loadSuccess)
            return status;
    }
    reportBilevel(image, shafts, picks, "DoWeave .DES", loomOrientation);
    handOver(table, threadState().loom.doweave, picks, pickBytes);
    return loadSuccess;
}

// Every call begins at the first row.
LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowTable& slot = threadState().loom.doweave;
    slot.cursor = 0;
    return loadRows(slot, rows, count, bytesPerRow, BitOrder::asStored);
}

LoadStatus endLoad()
{
    release(threadState().loom.doweave);
    return loadSuccess;
}

} // namespace

void registerLoadDoWeaveDES()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
