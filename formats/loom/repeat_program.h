// Programs of dobby looms: picks, and repeats of them that may stand within each other.
//
//   records        (2   A   (3  B   )   )   C      ( begins a repeat with its count, ) ends it
//   rowsReached     0   1   1   2   4   8   9     behind the record
//
// One walk over the records does two things. With room for no rows, in tryLoad, it counts: rowsReached is the height
// in the end. With the caller's rows, in loadBand, it also writes each pick where rowsReached stands, and notes blocks
// that repeat as copies, an inner one before those around it. They are made in this order when the walk is over:
//
//   picks           A B . . . . . . C
//   copy to 4       A B B B . . . . C      the block from 1 to 2 goes on up to 4
//   copy to 8       A B B B A B B B C      the block from 0 to 4 goes on up to 8
//
// So each row is copied once, however deep the repeats stand. A repeat with the count 0 removes its block: rowsReached
// goes back to the row where the block began, and what follows is written over it. Where nothing follows the block
// still shows, which is why its copies are made before they are forgotten.
#pragma once

#include "formats/loom/state.h"
#include "framework/bytes.h"
#include "framework/file.h"
#include "framework/loader.h"

constexpr u32 mostOpenRepeats = 9;
constexpr u32 mostNestedRepeats = 10; // of all formats
constexpr u32 leastProgramRows = 2;

// Writing the rows that a repeat removes again is work without end for a program of such repeats alone, so there is
// an end to it. A program in whose picture more of them would show is refused.
constexpr u64 mostRemovedRows = u64{1024} * mostSide;

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
    // The walk.
    u32 mostOpen = mostOpenRepeats;
    u64 pickLimit = UINT64_MAX; // a pick whose rows reach this number is passed over
    u64 rowsReached = 0;        // what the repeats have multiplied and removed so far
    u32 openCount = 0;
    OpenRepeat open[mostNestedRepeats] = {};

    // The rows that are written, none when it only counts.
    u8* rows = nullptr;
    u64 room = 0; // rows
    u64 bytesPerRow = 0;
    u32 rowBytes = 0;
    u64 rowsWritten = 0; // up to the highest one
    Buffer copies = {};
    u32 copyCount = 0;

    // What removed blocks may cost.
    u64 removedRowsLeft = 0; // how many of their rows may be copied
    u64 lostEnd = 0;         // those below it could not be copied, and nothing has been written there since
};

// Rows of any stride. False when memory does not suffice.
bool makeRoom(RepeatExpansion& expansion, u8* rows, u64 room, u64 bytesPerRow, u64 recordCount);

// What follows is 6 when the program is none: its repeats stand too deep, one ends that never began, or the rows pass
// 32 bits at any time.
LoadStatus repeatRows(RepeatExpansion& expansion, u64 start, u64 count);
LoadStatus openRepeat(RepeatExpansion& expansion, u32 count);
LoadStatus closeRepeat(RepeatExpansion& expansion);

inline LoadStatus addPick(RepeatExpansion& expansion, const u8* row, u32 rowBytes, u32 count = 1)
{
    const u64 start = expansion.rowsReached;
    if (start + count >= expansion.pickLimit)
        return loadSuccess;
    if (start < expansion.room) {
        deliverRow(expansion.rows + start * expansion.bytesPerRow, row, rowBytes, expansion.bytesPerRow);
        expansion.rowsWritten = std::max(expansion.rowsWritten, start + 1);
    }
    expansion.rowsReached = start + 1;
    return repeatRows(expansion, start, count);
}

// Makes the copies. 7 when removed rows show that are too many to copy.
LoadStatus finishCopies(RepeatExpansion& expansion);

// Repeats that are still open stand as they are.
void remarkOpenRepeats(const RepeatExpansion& expansion);

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
LoadStatus walkProgram(RepeatExpansion& expansion, const u8* records, u32 recordCount)
{
    static_assert(format.rowBytes <= mostProgramRowBytes);
    u8 row[mostProgramRowBytes] = {};
    for (u32 i = 0; i < recordCount; i++) {
        const ProgramRecord record = format.read(records + u64{i} * format.recordBytes, row);
        LoadStatus status = loadSuccess;
        switch (record.step) {
        case ProgramStep::setting:
            break;
        case ProgramStep::pick: {
            // Before it is copied, not after.
            const ProgramRow turned = mirroredRow(row);
            status = addPick(expansion, reinterpret_cast<const u8*>(&turned), format.rowBytes, record.count);
            break;
        }
        case ProgramStep::openRepeat:
            status = openRepeat(expansion, record.count);
            break;
        case ProgramStep::closeRepeat:
            status = closeRepeat(expansion);
            break;
        }
        if (status != loadSuccess)
            return status;
    }
    return loadSuccess;
}

void release(RepeatProgram& slot);

// 6 when a picture of so many rows is none.
LoadStatus checkProgramRows(u64 rows);

// Counts the rows of the program and hands it over. 6 when it is none or has too few or too many rows.
template <const ProgramFormat& format>
LoadStatus takeProgram(Buffer& records, u32 recordCount, RepeatProgram& slot)
{
    RepeatExpansion counting;
    LoadStatus status = walkProgram<format>(counting, records.bytes, recordCount);
    if (status == loadSuccess)
        status = checkProgramRows(counting.rowsReached);
    if (status != loadSuccess)
        return status;
    remarkOpenRepeats(counting);
    release(slot);
    slot = {&format, records.bytes, recordCount, static_cast<u32>(counting.rowsReached)};
    records.bytes = nullptr;
    return loadSuccess;
}

// Writes the picture from its first row on, as far as the caller's rows reach. 7 without a program of this format.
template <const ProgramFormat& format>
LoadStatus loadProgram(const RepeatProgram& slot, RepeatExpansion& expansion, u8* rows, u32 count, u32 bytesPerRow)
{
    if (slot.format != &format)
        return refuseUnopened();
    const u64 room = std::min(count, slot.rows);
    expansion.rowBytes = format.rowBytes;
    if (!makeRoom(expansion, rows, room, bytesPerRow, slot.recordCount))
        return refuseMemory();
    LoadStatus status = walkProgram<format>(expansion, slot.records, slot.recordCount);
    if (status == loadSuccess)
        status = finishCopies(expansion);
    if (status == loadSuccess)
        reverseRest(expansion);
    return status;
}
