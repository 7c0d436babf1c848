// Weaving programs of Somet machines. In a byte the leftmost column is the lowest bit.
//
// DOP and COP
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
//
// ARM
//   picks of 10 bytes, each with four columns in its lower half
#include "formats/loom/repeat_program.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/thread_state.h"

constexpr u8 shortHeader = 17;
constexpr u8 longHeader = 18;
constexpr size_t atHeaderType = 2;
constexpr size_t atLength = 4;
constexpr u32 shortHeaderBytes = 5;
constexpr u32 longHeaderBytes = 6;

constexpr u32 dopPickBytes = 5;
constexpr u32 copPickBytes = 2;

constexpr u32 armRecordBytes = 10;
constexpr u32 armRowBytes = 5;
constexpr u32 armColumns = 8 * armRowBytes;

static ProgramRecord readDop(const u8* record, u8* row)
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

static ProgramRecord readCop(const u8* record, u8* row)
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

static constexpr ProgramFormat dopFormat = {5, dopPickBytes + 9, readDop};
static constexpr ProgramFormat copFormat = {3, copPickBytes + 4, readCop};

struct SometProgramFile {
    const char* extension;
    i64 smallest;
    i64 largest;
    const char* description;
};

static constexpr SometProgramFile dopFile = {"dop", 15, 65541, "Somet .DOP"};
static constexpr SometProgramFile copFile = {"cop", 8, 196566, "Somet .COP"};

static bool isHeaderType(u8 type)
{
    return type == shortHeader || type == longHeader;
}

static u32 sumOf(const u8* bytes, size_t size)
{
    u32 sum = 0;
    for (size_t i = 0; i < size; i++)
        sum += bytes[i];
    return sum;
}

template <const ProgramFormat& format, const SometProgramFile& known>
static LoadStatus tryProgram(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, known.extension))
        return loadWrongFormat;
    const u8* probed = loadImgCheckHeader(request.path);
    const i64 size = loadImgLastFilesize();
    if (probed == nullptr || size < known.smallest || size > known.largest || !isHeaderType(probed[atHeaderType]))
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;

    u8 header[longHeaderBytes];
    if (!readExactly(file.stream, header, shortHeaderBytes) || !isHeaderType(header[atHeaderType]))
        return loadWrongFormat;
    u32 headerSize = shortHeaderBytes;
    u32 length = header[atLength];
    if (header[atHeaderType] == longHeader) {
        if (!readByte(file.stream, header[headerSize++]))
            return loadWrongFormat;
        length = bigEndian16(header + atLength);
    }
    if (length % format.recordBytes != 0 || i64{headerSize} + length != size)
        return loadWrongFormat;

    Buffer records;
    if (!records.allocate(length))
        return loadOutOfMemory;
    if (!readExactly(file.stream, records.bytes, length))
        return loadWrongFormat;
    const u32 sum = sumOf(header + atHeaderType, headerSize - atHeaderType) + sumOf(records.bytes, length);
    RepeatProgram& slot = threadState().loom.somet;
    if ((sum & 0xFFFF) != bigEndian16(header) || !takeProgram<format>(records, length / format.recordBytes, slot))
        return loadWrongFormat;

    image.kind = kindBilevel;
    image.width = 8 * format.rowBytes;
    image.height = slot.rows;
    reportImage(image, known.description, loomOrientation);
    return loadSuccess;
}

template <const ProgramFormat& format>
static LoadStatus loadProgramBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RepeatExpansion expansion;
    return loadProgram<format>(threadState().loom.somet, expansion, rows, count, bytesPerRow);
}

static LoadStatus endProgram()
{
    release(threadState().loom.somet);
    return loadSuccess;
}

static LoadStatus tryArm(const LoadRequest& request, ImageInfo& image)
{
    // A file that cannot be looked at is judged by the size of the one before.
    const bool isProbed = loadImgCheckHeader(request.path) != nullptr;
    const i64 size = loadImgLastFilesize();
    if (isProbed && size % armRecordBytes != 0)
        return loadWrongFormat;
    const i64 picks = size / armRecordBytes;
    if (!hasExtension(request.path, "arm") || picks < fewestProgramRows || picks > mostProgramRows)
        return loadWrongFormat;
    File file;
    if (!file.open(request.path))
        return loadCannotRead;

    image.kind = kindBilevel;
    image.width = armColumns;
    image.height = static_cast<u32>(picks);
    image.palette[0] = 0;
    reportImage(image, "Somet ARM", loomOrientation);
    handOver(file, threadState().loom.sometArm, image.height, armRecordBytes);
    return loadSuccess;
}

// The upper half of an even byte shows through in the columns of the odd one.
static inline void packPairs(u8* __restrict packed, const u8* __restrict halves, size_t packedBytes)
{
    for (size_t i = 0; i < packedBytes; i++)
        packed[i] = static_cast<u8>(halves[2 * i + 1] << 4 | halves[2 * i]);
}

#if defined(__x86_64__)
// The same, which the compiler makes of longer words.
__attribute__((target("avx2"))) static void packLongPairs(u8* __restrict packed, const u8* __restrict halves,
                                                          size_t packedBytes)
{
    packPairs(packed, halves, packedBytes);
}
#endif

static void packHalves(u8* packed, const u8* halves, size_t packedBytes)
{
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) {
        packLongPairs(packed, halves, packedBytes);
        return;
    }
#endif
    packPairs(packed, halves, packedBytes);
}

static LoadStatus loadArmBand(u8* rows, u32 count, u32 bytesPerRow)
{
    constexpr u32 picksAtOnce = 4096; // a whole number of pages
    RowFile& slot = threadState().loom.sometArm;
    if (slot.file == nullptr)
        return loadBadData;
    const u32 wanted = std::min(count, slot.rowsLeft);
    u8 records[picksAtOnce * armRecordBytes];
    u8 packed[picksAtOnce * armRowBytes];
    u32 done = 0;
    bool isShort = wanted < count;
    while (done < wanted) {
        const size_t asked = std::min(picksAtOnce, wanted - done);
        const size_t picks = fread(records, armRecordBytes, asked, slot.file);
        u8* destination = rows + u64{done} * bytesPerRow;
        if (bytesPerRow == armRowBytes) {
            packHalves(destination, records, picks * armRowBytes);
        } else {
            packHalves(packed, records, picks * armRowBytes);
            for (size_t i = 0; i < picks; i++)
                deliverRow(destination + i * bytesPerRow, packed + i * armRowBytes, armRowBytes, bytesPerRow);
        }
        reverseBits(destination, picks * bytesPerRow, false);
        done += static_cast<u32>(picks);
        slot.rowsLeft -= static_cast<u32>(picks);
        if (picks < asked) {
            isShort = true;
            break;
        }
    }
    if (isShort) // the bits stay as the file has them
        reverseBits(rows, u64{done} * bytesPerRow, false);
    return isShort ? loadBadData : loadSuccess;
}

static LoadStatus endArm()
{
    release(threadState().loom.sometArm);
    return loadSuccess;
}

void registerLoadSometDOP()
{
    registerEntries<tryProgram<dopFormat, dopFile>, loadProgramBand<dopFormat>, endProgram>();
}

void registerLoadSometCOP()
{
    registerEntries<tryProgram<copFormat, copFile>, loadProgramBand<copFormat>, endProgram>();
}

void registerLoadSometARM()
{
    registerEntries<tryArm, loadArmBand, endArm>();
}
