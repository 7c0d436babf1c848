// Dobby programs of Vamatex machines. In a byte the leftmost column is the lowest bit.
//
//   0  1 for PID, 2 for PIW, then 0, 0, 0x1C, 0x0C, 0x05
//   6  records of 8 bytes, told by the first:
//        2  begins a repeat, its count in the next two bytes, little-endian
//        3  ends it
//        4  setting: the next byte is the last one of each row from here on
//        else a pick: the other seven bytes begin its row. In PIW the fourth and fifth of them are how often it is
//        woven, little-endian, and are no part of the row
#include "formats/loom/repeat_program.h"
#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/thread_state.h"

namespace
{

constexpr u32 markBytes = 6;
constexpr i64 leastFileBytes = 22;
constexpr i64 mostFileBytes = 65541;
constexpr u32 recordBytes = 8;
constexpr u32 pickBytes = 7;
constexpr u32 rowBytes = pickBytes + 1;
constexpr size_t atPickCount = 4; // in a record of PIW
constexpr u32 pickCountBytes = 2;

enum RecordCode : u8 { beginRepeat = 2, endRepeat = 3, setting = 4 };

ProgramRecord readPid(const u8* record, u8* row)
{
    switch (record[0]) {
    case beginRepeat:
        return {ProgramStep::openRepeat, littleEndian16(record + 1)};
    case endRepeat:
        return {ProgramStep::closeRepeat, 0};
    case setting:
        row[pickBytes] = record[1];
        return {ProgramStep::setting, 0};
    default:
        memcpy(row, record + 1, pickBytes);
        return {ProgramStep::pick, 1};
    }
}

ProgramRecord readPiw(const u8* record, u8* row)
{
    const ProgramRecord read = readPid(record, row);
    if (read.step != ProgramStep::pick)
        return read;
    memset(row + atPickCount - 1, 0, pickCountBytes);
    return {ProgramStep::pick, std::max(1u, littleEndian16(record + atPickCount))};
}

constexpr ProgramFormat pidFormat = {recordBytes, rowBytes, readPid};
constexpr ProgramFormat piwFormat = {recordBytes, rowBytes, readPiw};

struct VamatexProgramFile {
    const char* extension;
    u8 mark[markBytes];
    const char* description;
};

constexpr VamatexProgramFile pidFile = {"pid", {1, 0, 0, 0x1C, 0x0C, 0x05}, "Vamatex .PID"};
constexpr VamatexProgramFile piwFile = {"piw", {2, 0, 0, 0x1C, 0x0C, 0x05}, "Vamatex .PIW"};

template <const ProgramFormat& format, const VamatexProgramFile& known>
LoadStatus tryLoad(const LoadRequest& request, ImageInfo& image)
{
    if (!hasExtension(request.path, known.extension))
        return refuseName(known.extension);
    const u8* probed = probedHeader(request.path, leastFileBytes);
    const i64 size = loadImgLastFilesize();
    if (probed == nullptr)
        return loadWrongFormat;
    if (memcmp(probed, known.mark, markBytes) != 0)
        return refuseMark(known.description);
    if (size > mostFileBytes)
        return refuse(loadWrongFormat, "the file is too large: %s", amountOf(static_cast<u64>(size)).text);
    File file;
    u8 mark[markBytes];
    LoadStatus status = openFile(request.path, file, mark, markBytes, loadWrongFormat);
    if (status != loadSuccess)
        return status;
    if (memcmp(mark, known.mark, markBytes) != 0)
        return refuseMark(known.description);
    const auto length = static_cast<u32>(size - markBytes);
    if (length % recordBytes != 0)
        return refuse(loadWrongFormat, "its %u bytes of records are no multiple of %u", length, recordBytes);

    Buffer records;
    if (!records.allocate(length))
        return refuseMemory();
    if (!readExactly(file.stream, records.bytes, length))
        return refuse(loadWrongFormat, "the file ends in its records");
    RepeatProgram& slot = threadState().loom.vamatex;
    status = takeProgram<format>(records, length / recordBytes, slot);
    if (status == loadSuccess)
        reportBilevel(image, 8 * rowBytes, slot.rows, known.description, loomOrientation);
    return status;
}

LoadStatus loadPidBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RepeatExpansion expansion;
    return loadProgram<pidFormat>(threadState().loom.vamatex, expansion, rows, count, bytesPerRow);
}

// Counts are taken away from the records as the picks are written, and the last row of the largest picture stays
// empty.
LoadStatus loadPiwBand(u8* rows, u32 count, u32 bytesPerRow)
{
    RepeatProgram& slot = threadState().loom.vamatex;
    RepeatExpansion expansion;
    expansion.pickLimit = mostSide;
    expansion.removedRowsLeft = mostRemovedRows;
    const LoadStatus status = loadProgram<piwFormat>(slot, expansion, rows, count, bytesPerRow);
    if (status != loadSuccess)
        return status;
    if (count < slot.rows)
        remark(Gravity::grave, "its rows come right only when all are asked for at once");
    else
        remarkCount(Gravity::grave, slot.rows - expansion.rowsReached, "rows of the picture are not written");
    u8 ignored[rowBytes];
    for (u8* record = slot.records; record < slot.records + u64{slot.recordCount} * recordBytes; record += recordBytes)
        if (readPid(record, ignored).step == ProgramStep::pick)
            memset(record + atPickCount, 0, pickCountBytes);
    return loadSuccess;
}

LoadStatus endLoad()
{
    release(threadState().loom.vamatex);
    return loadSuccess;
}

} // namespace

void registerLoadVamatexPID()
{
    registerEntries<tryLoad<pidFormat, pidFile>, loadPidBand, endLoad>();
}

void registerLoadVamatexPIW()
{
    registerEntries<tryLoad<piwFormat, piwFile>, loadPiwBand, endLoad>();
}
