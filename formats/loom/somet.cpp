// Weaving programs of Somet machines (DOP, COP). In a byte the leftmost column is the lowest bit.
//
//   0  checksum of all that follows, big-endian
//   2  17 for a length of one byte, 18 for a big-endian one of two
//   3  unknown
//   4  length of the records
//   then the records:
//
//   DOP   0 0 0 '0' 0        ends a repeat             COP   'N' 0 0      ends a repeat
//         count    0 'p' 0   begins one                      'F' count    begins one
//         s0 s1    0 'P' s2  settings                        'D' s0 s1    settings
//         s3 s4    1 'P' 0                                   'V' s2 s3
//         s5 s6    4 'P' 0                                   'R' 0 '@'    pick 00 00
//         s7 s8    5 'P' 0                                   'R' 0 'G'    pick 00 0F
//         5 others           pick                            ? p0 p1      pick
//
//   Counts are little-endian. A row is a pick and the settings at that time.
#include "formats/loom/repeat_program.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr u8 shortHeader = 17;
constexpr u8 longHeader = 18;
constexpr size_t atHeaderType = 2;
constexpr size_t atLength = 4;
constexpr u32 shortHeaderBytes = 5;
constexpr u32 longHeaderBytes = 6;

constexpr u32 dopPickBytes = 5;
constexpr u32 copPickBytes = 2;

ProgramRecord readDop(const u8* record, u8* row)
{
    u8* settings = row + dopPickBytes;
    const u8 letter = record[3];
    const u8 last = record[4];
    auto set = [&](size_t at) {
        settings[at] = record[0];
        settings[at + 1] = record[1];
        return ProgramRecord{ProgramStep::setting, 0};
    };
    if (letter == '0' && (record[0] | record[1] | record[2] | last) == 0)
        return {ProgramStep::closeRepeat, 0};
    if (letter == 'p' && (record[2] | last) == 0)
        return {ProgramStep::openRepeat, littleEndian16(record)};
    if (letter == 'P' && last <= 1) {
        if (record[2] == 0) {
            settings[2] = last;
            return set(0);
        }
        if (record[2] == 1 && last == 0)
            return set(3);
        if (record[2] == 4 && last == 0)
            return set(5);
        if (record[2] == 5 && last == 0)
            return set(7);
    }
    memcpy(row, record, dopPickBytes);
    return {ProgramStep::pick, 1};
}

ProgramRecord readCop(const u8* record, u8* row)
{
    u8* settings = row + copPickBytes;
    const bool isBare = record[1] == 0;
    switch (record[0]) {
    case 'N':
        if (isBare && record[2] == 0)
            return {ProgramStep::closeRepeat, 0};
        break;
    case 'F':
        return {ProgramStep::openRepeat, littleEndian16(record + 1)};
    case 'D':
        memcpy(settings, record + 1, 2);
        return {ProgramStep::setting, 0};
    case 'V':
        memcpy(settings + 2, record + 1, 2);
        return {ProgramStep::setting, 0};
    case 'R':
        if (isBare && (record[2] == '@' || record[2] == 'G')) {
            row[0] = 0;
            row[1] = record[2] == 'G' ? 0x0F : 0;
            return {ProgramStep::pick, 1};
        }
        break;
    default:
        break;
    }
    memcpy(row, record + 1, copPickBytes);
    return {ProgramStep::pick, 1};
}

constexpr ProgramFormat dopFormat = {5, dopPickBytes + 9, readDop};
constexpr ProgramFormat copFormat = {3, copPickBytes + 4, readCop};

struct SometProgramFile {
    const char* extension;
    i64 leastBytes;
    i64 mostBytes;
    const char* description;
};

constexpr SometProgramFile dopFile = {"dop", 15, 65541, "Somet .DOP"};
constexpr SometProgramFile copFile = {"cop", 8, 196566, "Somet .COP"};

bool isHeaderType(u8 type)
{
    return type == shortHeader || type == longHeader;
}

u32 sumOf(const u8* bytes, size_t size)
{
    u32 sum = 0;
    for (size_t i = 0; i < size; i++)
        sum += bytes[i];
    return sum;
}

struct Header {
    u8 bytes[longHeaderBytes];
    u32 size;
    u32 length; // of the records
};

// Reads the header, of either length, behind which the records fill the file.
LoadStatus readHeader(FILE* stream, u32 recordBytes, i64 fileBytes, Header& header)
{
    header.size = shortHeaderBytes;
    if (!readExactly(stream, header.bytes, shortHeaderBytes))
        return refuseHeader(loadWrongFormat);
    if (!isHeaderType(header.bytes[atHeaderType]))
        return refuseMark("Somet");
    header.length = header.bytes[atLength];
    if (header.bytes[atHeaderType] == longHeader) {
        if (!readByte(stream, header.bytes[header.size++]))
            return refuseHeader(loadWrongFormat);
        header.length = bigEndian16(header.bytes + atLength);
    }
    if (header.length % recordBytes != 0)
        return refuse(loadWrongFormat, "its %u bytes of records are no multiple of %u", header.length, recordBytes);
    if (i64{header.size} + header.length != fileBytes)
        return refuse(loadWrongFormat, "the header announces %u bytes of records, the file has %lld behind it",
                      header.length, static_cast<long long>(fileBytes - header.size));
    return loadSuccess;
}

template <const ProgramFormat& format, const SometProgramFile& known>
LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, known.extension))
        return refuseName(known.extension);
    const u8* probed = probedHeader(request.path, known.leastBytes);
    const i64 size = loadImgLastFilesize();
    if (probed == nullptr)
        return loadWrongFormat;
    if (size > known.mostBytes)
        return refuse(loadWrongFormat, "the file is too large: %s", amountOf(static_cast<u64>(size)).text);
    if (!isHeaderType(probed[atHeaderType]))
        return refuseMark("Somet");
    File file;
    LoadStatus status = openFile(request.path, file);
    if (status != loadSuccess)
        return status;
    Header header;
    status = readHeader(file.stream, format.recordBytes, size, header);
    if (status != loadSuccess)
        return status;

    Buffer records;
    if (!records.allocate(header.length))
        return refuseMemory();
    if (!readExactly(file.stream, records.bytes, header.length))
        return refuse(loadWrongFormat, "the file ends in its records");
    const u32 sum =
        sumOf(header.bytes + atHeaderType, header.size - atHeaderType) + sumOf(records.bytes, header.length);
    if ((sum & 0xFFFF) != bigEndian16(header.bytes))
        return refuse(loadWrongFormat, "its checksum is %u, that of its bytes is %u", bigEndian16(header.bytes),
                      sum & 0xFFFF);
    RepeatProgram& slot = threadState().loom.somet;
    status = takeProgram<format>(records, header.length / format.recordBytes, slot);
    if (status == loadSuccess)
        reportBilevel(image, 8 * format.rowBytes, slot.rows, known.description, loomOrientation);
    return status;
}

template <const ProgramFormat& format>
LoadStatus loadBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RepeatExpansion expansion;
    return loadProgram<format>(threadState().loom.somet, expansion, rows, count, bytesPerRow);
}

LoadStatus endLoad()
{
    release(threadState().loom.somet);
    return loadSuccess;
}

} // namespace

void registerLoadSometDOP()
{
    registerEntries<tryLoad<dopFormat, dopFile>, loadBand<dopFormat>, endLoad>();
}

void registerLoadSometCOP()
{
    registerEntries<tryLoad<copFormat, copFile>, loadBand<copFormat>, endLoad>();
}
