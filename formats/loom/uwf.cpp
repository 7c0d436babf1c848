// Weaving files of Sulzer. Numbers are big-endian.
//
//   mark     8 bytes    "UWFCR2" and two free bytes
//   list 1   count of 1 to 50, then as many records; the last may be the date
//   list 2   the same; four of its records make up the width
//   height   4 bytes
//   picks    one after the other, as they are delivered
//   check    2 bytes    of all that lies before
//   end      4 bytes    00 F7 FE 0F
//
//   record   2 free bytes, type (2), length in bits (4), and so many bytes as these bits need
#include <iterator>

#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr char mark[] = {'U', 'W', 'F', 'C', 'R', '2'};
constexpr size_t markFieldBytes = 8;
constexpr i64 smallestFile = 101;
constexpr u32 mostRecords = 50;
constexpr u64 payloadLimit = 1024;
constexpr u64 leastWidth = 8;
constexpr u64 leastHeight = 2;
constexpr u8 fileEnd[] = {0x00, 0xF7, 0xFE, 0x0F};

constexpr u32 dateType = 10;
constexpr u32 widthTypes[] = {35, 31, 18, 19};
constexpr size_t dateBytes = 5; // day, month, year - 1900, hour, minute
constexpr size_t widthBytes = 4;

// All that is read goes into the check value.
struct CheckedFile {
    File file;
    u64 size = 0;
    u32 check = 0;
};

static bool readChecked(CheckedFile& source, u8* destination, u64 size)
{
    constexpr u64 blockBytes = 1 << 17; // still in the cache when it is checked
    while (size > 0) {
        const u64 block = std::min(size, blockBytes);
        if (!readExactly(source.file.stream, destination, block))
            return false;
        source.check = crcUWF(source.check, destination, static_cast<int>(block));
        destination += block;
        size -= block;
    }
    return true;
}

static bool readNumber(CheckedFile& source, u32& number)
{
    u8 bytes[4];
    if (!readChecked(source, bytes, sizeof bytes))
        return false;
    number = bigEndian32(bytes);
    return true;
}

struct Record {
    u32 type;
    u64 size;
    u8 payload[payloadLimit];
};

static bool readRecord(CheckedFile& source, Record& record)
{
    u8 head[8];
    if (!readChecked(source, head, sizeof head))
        return false;
    record.type = bigEndian16(head + 2);
    record.size = (u64{bigEndian32(head + 4)} + 7) / 8;
    return record.size < payloadLimit && record.size < source.size && readChecked(source, record.payload, record.size);
}

static bool readCount(CheckedFile& source, u32& count)
{
    return readNumber(source, count) && count >= 1 && count <= mostRecords;
}

static bool readDate(CheckedFile& source, u8* date)
{
    u32 count;
    if (!readCount(source, count))
        return false;
    for (u32 i = 0; i < count; i++) {
        Record record;
        if (!readRecord(source, record))
            return false;
        // A date counts in the last record only.
        memset(date, 0, dateBytes);
        if (record.type == dateType && record.size == dateBytes)
            memcpy(date, record.payload, dateBytes);
    }
    return true;
}

static bool readEnds(CheckedFile& source, u64& ends)
{
    u32 count;
    if (!readCount(source, count))
        return false;
    u32 widths[std::size(widthTypes)] = {};
    for (u32 i = 0; i < count; i++) {
        Record record;
        if (!readRecord(source, record))
            return false;
        for (size_t part = 0; part < std::size(widths); part++) {
            if (record.type == widthTypes[part] && record.size == widthBytes)
                widths[part] = bigEndian32(record.payload);
        }
    }
    for (u32 width : widths)
        ends += width;
    return true;
}

static bool readMark(CheckedFile& source)
{
    u8 bytes[markFieldBytes];
    return readChecked(source, bytes, sizeof bytes) && memcmp(bytes, mark, sizeof mark) == 0;
}

static bool endsWell(CheckedFile& source)
{
    u8 bytes[2 + sizeof fileEnd];
    return readExactly(source.file.stream, bytes, sizeof bytes) && bigEndian16(bytes) == (source.check & 0xFFFF) &&
           memcmp(bytes + 2, fileEnd, sizeof fileEnd) == 0;
}

static void report(ImageInfo& image, const u8* date)
{
    char description[64] = "SULZER Textil .UWF\n";
    const size_t length = strlen(description);
    if (date[0] != 0)
        snprintf(description + length, sizeof description - length, "%d-%d-%d %d:%d\n", date[0], date[1],
                 date[2] + 1900, date[3], date[4]);
    reportImage(image, description, loomOrientation);
}

static LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    const u8* probed = loadImgCheckHeader(request.path);
    if (probed == nullptr || loadImgLastFilesize() < smallestFile || memcmp(probed, mark, sizeof mark) != 0 ||
        !hasExtension(request.path, "uwf"))
        return loadWrongFormat;
    CheckedFile source;
    source.size = static_cast<u64>(loadImgLastFilesize());
    if (!source.file.open(request.path))
        return loadCannotRead;

    u8 date[dateBytes] = {};
    u64 ends = 0;
    u32 height = 0;
    if (!readMark(source) || !readDate(source, date) || !readEnds(source, ends) || !readNumber(source, height))
        return loadWrongFormat;
    const u64 rowBytes = (ends + 7) / 8;
    const u64 width = 8 * rowBytes;
    if (rowBytes * height > source.size || width < leastWidth || width > UINT32_MAX || height < leastHeight)
        return loadWrongFormat;
    Buffer picks;
    if (!picks.allocate(rowBytes * height))
        return loadOutOfMemory;
    if (!readChecked(source, picks.bytes, rowBytes * height) || !endsWell(source))
        return loadWrongFormat;

    report(image, date);
    image.kind = kindBilevel;
    image.width = static_cast<u32>(width);
    image.height = height;
    handOver(picks, threadState().loom.uwf, height, static_cast<u32>(rowBytes));
    return loadSuccess;
}

// The picks are one run of bytes, of which a row of the caller takes bytesPerRow, whatever a pick has. Behind the last
// pick lie zeros.
static LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowTable& table = threadState().loom.uwf;
    if (table.bytes == nullptr)
        return loadBadData;
    const u32 wanted = std::min(count, table.rows - table.cursor);
    const u64 size = u64{table.rows} * table.rowBytes;
    const u64 start = std::min(size, u64{table.cursor} * bytesPerRow);
    const u64 wantedBytes = u64{wanted} * bytesPerRow;
    const u64 copied = std::min(wantedBytes, size - start);
    deliverRow(rows, table.bytes + start, copied, wantedBytes);
    if (copied < wantedBytes)
        memset(rows + copied, 0, wantedBytes - copied);
    table.cursor += wanted;
    return wanted < count ? loadBadData : loadSuccess;
}

static LoadStatus endLoad()
{
    release(threadState().loom.uwf);
    return loadSuccess;
}

void registerLoadUWF()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
