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

#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr std::string_view mark = "UWFCR2";
constexpr size_t markFieldBytes = 8;
constexpr i64 leastFile = 101;
constexpr u32 mostRecords = 50;
constexpr u64 mostPayload = 1023;
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

bool readChecked(CheckedFile& source, u8* destination, u64 size)
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

LoadStatus readNumber(CheckedFile& source, u32& number)
{
    u8 bytes[4];
    if (!readChecked(source, bytes, sizeof bytes))
        return refuseHeader(loadWrongFormat);
    number = bigEndian32(bytes);
    return loadSuccess;
}

struct Record {
    u32 type;
    u64 size;
    u8 payload[mostPayload];
};

LoadStatus readRecord(CheckedFile& source, Record& record)
{
    u8 head[8];
    if (!readChecked(source, head, sizeof head))
        return refuseHeader(loadWrongFormat);
    record.type = bigEndian16(head + 2);
    record.size = (u64{bigEndian32(head + 4)} + 7) / 8;
    if (record.size > mostPayload || record.size >= source.size)
        return refuse(loadWrongFormat, "a record of its header has %llu bytes",
                      static_cast<unsigned long long>(record.size));
    return readChecked(source, record.payload, record.size) ? loadSuccess : refuseHeader(loadWrongFormat);
}

// Reads a list of records and passes each one on.
template <typename Take>
LoadStatus readRecords(CheckedFile& source, Take take)
{
    u32 count = 0;
    LoadStatus status = readNumber(source, count);
    if (status == loadSuccess && (count < 1 || count > mostRecords))
        return refuse(loadWrongFormat, "a list of its header has %u records", count);
    for (u32 i = 0; status == loadSuccess && i < count; i++) {
        Record record;
        status = readRecord(source, record);
        if (status == loadSuccess)
            take(record);
    }
    return status;
}

LoadStatus readDate(CheckedFile& source, u8* date)
{
    return readRecords(source, [date](const Record& record) {
        // A date counts in the last record only.
        memset(date, 0, dateBytes);
        if (record.type == dateType && record.size == dateBytes)
            memcpy(date, record.payload, dateBytes);
    });
}

LoadStatus readEnds(CheckedFile& source, u64& ends)
{
    u32 widths[std::size(widthTypes)] = {};
    const LoadStatus status = readRecords(source, [&widths](const Record& record) {
        for (size_t part = 0; part < std::size(widths); part++) {
            if (record.type == widthTypes[part] && record.size == widthBytes)
                widths[part] = bigEndian32(record.payload);
        }
    });
    for (u32 width : widths)
        ends += width;
    return status;
}

LoadStatus readMark(CheckedFile& source)
{
    u8 bytes[markFieldBytes];
    if (!readChecked(source, bytes, sizeof bytes))
        return refuseHeader(loadWrongFormat);
    return memcmp(bytes, mark.data(), mark.size()) == 0 ? loadSuccess : refuseMark("UWF");
}

LoadStatus readEnd(CheckedFile& source)
{
    u8 bytes[2 + sizeof fileEnd];
    if (!readExactly(source.file.stream, bytes, sizeof bytes))
        return refuse(loadWrongFormat, "the file ends before its check value");
    if (bigEndian16(bytes) != (source.check & 0xFFFF))
        return refuse(loadWrongFormat, "it is damaged: its check value does not match");
    if (memcmp(bytes + 2, fileEnd, sizeof fileEnd) != 0)
        return refuse(loadWrongFormat, "it does not end as UWF files do");
    return loadSuccess;
}

void report(ImageInfo& image, u32 width, u32 height, const u8* date)
{
    char description[64] = "SULZER Textil .UWF\n";
    const size_t length = strlen(description);
    if (date[0] != 0)
        snprintf(description + length, sizeof description - length, "%d-%d-%d %d:%d\n", date[0], date[1],
                 date[2] + 1900, date[3], date[4]);
    reportBilevel(image, width, height, description, loomOrientation);
}

LoadStatus openUwf(const char* path, CheckedFile& source)
{
    if (probedMark(path, mark, "UWF", leastFile) == nullptr)
        return loadWrongFormat;
    if (!hasExtension(path, "uwf"))
        return refuseName("uwf");
    source.size = static_cast<u64>(loadImgLastFilesize());
    return openFile(path, source.file);
}

LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    CheckedFile source;
    u8 date[dateBytes] = {};
    u64 ends = 0;
    u32 height = 0;
    LoadStatus status = openUwf(request.path, source);
    if (status == loadSuccess)
        status = readMark(source);
    if (status == loadSuccess)
        status = readDate(source, date);
    if (status == loadSuccess)
        status = readEnds(source, ends);
    if (status == loadSuccess)
        status = readNumber(source, height);
    if (status != loadSuccess)
        return status;

    const u64 rowBytes = (ends + 7) / 8;
    const u64 width = 8 * rowBytes;
    if (rowBytes * height > source.size)
        return refuse(loadWrongFormat, "the header announces %llu x %u, the file holds %s",
                      static_cast<unsigned long long>(ends), height, amountOf(source.size).text);
    if (width < leastWidth || width > UINT32_MAX || height < leastHeight)
        return refuseSize(loadWrongFormat, static_cast<i64>(ends), height);
    Buffer picks;
    if (!picks.allocate(rowBytes * height))
        return refuseMemory();
    if (!readChecked(source, picks.bytes, rowBytes * height))
        return refuse(loadWrongFormat, "the file ends in its picks");
    status = readEnd(source);
    if (status != loadSuccess)
        return status;

    if (width != ends)
        remark(Gravity::harmless, "columns that fill the last byte up follow the %llu ends",
               static_cast<unsigned long long>(ends));
    remarkFileSize(source.file.stream, 0, width, height);
    report(image, static_cast<u32>(width), height, date);
    handOver(picks, threadState().loom.uwf, height, static_cast<u32>(rowBytes));
    return loadSuccess;
}

// The picks are one run of bytes, of which a row of the caller takes bytesPerRow, whatever a pick has. Behind the last
// pick lie zeros.
LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RowTable& table = threadState().loom.uwf;
    if (table.bytes == nullptr)
        return refuseUnopened();
    const u32 wanted = std::min(count, table.rows - table.cursor);
    const u64 size = u64{table.rows} * table.rowBytes;
    const u64 start = std::min(size, u64{table.cursor} * bytesPerRow);
    const u64 wantedBytes = u64{wanted} * bytesPerRow;
    const u64 copied = std::min(wantedBytes, size - start);
    deliverRow(rows, table.bytes + start, copied, wantedBytes);
    if (copied < wantedBytes)
        memset(rows + copied, 0, wantedBytes - copied);
    table.cursor += wanted;
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.uwf);
    return loadSuccess;
}

} // namespace

void registerLoadUWF()
{
    registerEntries<tryLoad, loadBand, endLoad>();
}
