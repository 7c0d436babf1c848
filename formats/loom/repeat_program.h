// Programs of dobby looms: picks, and repeats of them that may stand within each other. Counting the rows and writing
// them is the same walk: an expansion that has room for no rows only counts.
#pragma once

#include "formats/loom/state.h"
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/reason.h"

constexpr u32 mostOpenRepeats = 9;
constexpr u32 mostNestedRepeats = 10; // of all formats
constexpr u32 fewestProgramRows = 2;
constexpr u32 mostProgramRows = 65520;

// Writing the rows that a repeat removes again is work without end for a program of such repeats alone, so there is
// an end to it. A program in whose picture more of them would show is refused.
constexpr u64 mostRemovedRows = u64{1024} * mostProgramRows;

struct OpenRepeat {
    u32 count;
    u32 copyCount; // of the expansion when the repeat began
    u64 start;     // the first row of the block
};

// The block [start, start + block) goes on repeating up to the row end.
struct BlockCopy {
    u32 start;
    u32 block;
    u32 end;
};

struct RepeatExpansion {
    u32 mostOpen = mostOpenRepeats;
    u32 rowBytes = 0;
    u64 rowsReached = 0; // what the repeats have multiplied and removed so far
    u32 openCount = 0;
    OpenRepeat open[mostNestedRepeats] = {};

    // Picks are written as they come, blocks are copied when the walk is over: so each row of the picture is copied
    // once, and no block that an outer repeat removes.
    u8* rows = nullptr;
    u64 room = 0; // rows
    u64 bytesPerRow = 0;
    u64 pickLimit = UINT64_MAX; // a pick whose rows reach this number is passed over
    u64 removedRowsLeft = 0;    // how many rows of removed blocks may be copied, where they show when nothing follows
    u64 lostEnd = 0;            // removed rows below it could not be copied, and nothing has been written there since
    u64 rowsWritten = 0;        // up to the highest one
    Buffer copies = {};
    u32 copyCount = 0;
};

// Rows of any stride. False when memory does not suffice.
bool makeRoom(RepeatExpansion& expansion, u8* rows, u64 room, u64 bytesPerRow, u64 recordCount);

// What follows is false when the program is none: its repeats stand too deep, one ends that never began, or the rows
// pass 32 bits at any time.
bool repeatRows(RepeatExpansion& expansion, u64 start, u64 count);
bool openRepeat(RepeatExpansion& expansion, u32 count);
bool closeRepeat(RepeatExpansion& expansion);

inline bool addPick(RepeatExpansion& expansion, const u8* row, u32 rowBytes, u32 count = 1)
{
    const u64 start = expansion.rowsReached;
    if (start + count >= expansion.pickLimit)
        return true;
    if (start < expansion.room) {
        deliverRow(expansion.rows + start * expansion.bytesPerRow, row, rowBytes, expansion.bytesPerRow);
        expansion.rowsWritten = std::max(expansion.rowsWritten, start + 1);
    }
    expansion.rowsReached = start + 1;
    return repeatRows(expansion, start, count);
}

// Repeats that are still open stand as they are. 7 when removed rows show that are too many to copy.
LoadStatus finishCopies(RepeatExpansion& expansion);

// Turns the bits of all that is not written: behind each row and behind the last one.
void reverseRest(const RepeatExpansion& expansion);

enum class ProgramStep { setting, pick, openRepeat, closeRepeat };

struct ProgramRecord {
    ProgramStep step;
    u32 count; // of the repeat, or the rows of the pick
};

// A format of records of one size. A record's pick or setting goes into the row, which is clear at first and has its
// leftmost column in the lowest bit.
struct ProgramFormat {
    u32 recordBytes;
    u32 rowBytes;
    ProgramRecord (*read)(const u8* record, u8* row);
};

constexpr u32 mostProgramRowBytes = 16;

struct ProgramRow {
    u64 words[mostProgramRowBytes / sizeof(u64)];
};

inline ProgramRow mirroredRow(const u8* row)
{
    ProgramRow turned;
    memcpy(&turned, row, sizeof turned);
    for (u64& word : turned.words) {
        word = (word >> 4 & 0x0F0F0F0F0F0F0F0F) | (word & 0x0F0F0F0F0F0F0F0F) << 4;
        word = (word >> 2 & 0x3333333333333333) | (word & 0x3333333333333333) << 2;
        word = (word >> 1 & 0x5555555555555555) | (word & 0x5555555555555555) << 1;
    }
    return turned;
}

template <const ProgramFormat& format>
bool walkProgram(RepeatExpansion& expansion, const u8* records, u32 recordCount)
{
    static_assert(format.rowBytes <= mostProgramRowBytes);
    u8 row[mostProgramRowBytes] = {};
    for (u32 i = 0; i < recordCount; i++) {
        const ProgramRecord record = format.read(records + u64{i} * format.recordBytes, row);
        bool isProgram = true;
        switch (record.step) {
        case ProgramStep::setting:
            break;
        case ProgramStep::pick: {
            // Before it is copied, not after.
            const ProgramRow turned = mirroredRow(row);
            isProgram = addPick(expansion, reinterpret_cast<const u8*>(&turned), format.rowBytes, record.count);
            break;
        }
        case ProgramStep::openRepeat:
            isProgram = openRepeat(expansion, record.count);
            break;
        case ProgramStep::closeRepeat:
            isProgram = closeRepeat(expansion);
            break;
        }
        if (!isProgram)
            return false;
    }
    return true;
}

void release(RepeatProgram& slot);

// Counts the rows of the program and hands it over. False when it is none or has too few or too many rows.
template <const ProgramFormat& format>
bool takeProgram(Buffer& records, u32 recordCount, RepeatProgram& slot)
{
    RepeatExpansion counting;
    if (!walkProgram<format>(counting, records.bytes, recordCount) || counting.rowsReached < fewestProgramRows ||
        counting.rowsReached > mostProgramRows)
        return false;
    release(slot);
    slot = {&format, records.bytes, recordCount, static_cast<u32>(counting.rowsReached)};
    records.bytes = nullptr;
    return true;
}

// Writes the picture from its first row on, as far as the caller's rows reach. 7 without a program of this format.
template <const ProgramFormat& format>
LoadStatus loadProgram(const RepeatProgram& slot, RepeatExpansion& expansion, u8* rows, u32 count, u32 bytesPerRow)
{
    if (slot.format != &format)
        return loadBadData;
    const u64 room = std::min(count, slot.rows);
    expansion.rowBytes = format.rowBytes;
    if (!makeRoom(expansion, rows, room, bytesPerRow, slot.recordCount))
        return loadOutOfMemory;
    if (!walkProgram<format>(expansion, slot.records, slot.recordCount))
        return loadWrongFormat;
    const LoadStatus status = finishCopies(expansion);
    if (status == loadSuccess)
        reverseRest(expansion);
    return status;
}
