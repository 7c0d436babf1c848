#include "formats/loom/repeat_program.h"

#include <cstdlib>

namespace
{

// Blocks grow by doubling until they are this long, and are then copied from where the processor has them at hand.
constexpr u64 nearBytes = 1 << 14;

BlockCopy* copiesOf(const RepeatExpansion& expansion)
{
    return reinterpret_cast<BlockCopy*>(expansion.copies.bytes);
}

void copyBlock(RepeatExpansion& expansion, const BlockCopy& copy)
{
    expansion.rowsWritten = std::max<u64>(expansion.rowsWritten, copy.end);
    const u64 stride = expansion.bytesPerRow;
    u8* first = expansion.rows + copy.start * stride;
    const u64 rows = copy.end - copy.start;
    if (stride > expansion.rowBytes) {
        for (u64 row = copy.block; row < rows; row++)
            memcpy(first + row * stride, first + (row - copy.block) * stride, expansion.rowBytes);
        return;
    }
    u64 blockBytes = copy.block * stride;
    for (u64 done = blockBytes; done < rows * stride;) {
        const u64 size = std::min(blockBytes, rows * stride - done);
        memcpy(first + done, first, size);
        done += size;
        if (blockBytes < nearBytes)
            blockBytes = done;
    }
}

// The block stays where it is until something else is written there.
void removeBlock(RepeatExpansion& expansion, const OpenRepeat& repeat)
{
    if (expansion.rowsReached >= expansion.lostEnd)
        expansion.lostEnd = 0;
    bool isLost = false;
    for (u32 i = repeat.copyCount; i < expansion.copyCount; i++) {
        const BlockCopy& copy = copiesOf(expansion)[i];
        const u64 rows = copy.end - copy.start;
        isLost = isLost || rows > expansion.removedRowsLeft;
        if (isLost) {
            expansion.lostEnd = std::max<u64>(expansion.lostEnd, copy.end);
            continue;
        }
        expansion.removedRowsLeft -= rows;
        copyBlock(expansion, copy);
    }
    expansion.copyCount = repeat.copyCount;
    expansion.rowsReached = repeat.start;
}

} // namespace

bool makeRoom(RepeatExpansion& expansion, u8* rows, u64 room, u64 bytesPerRow, u64 recordCount)
{
    expansion.rows = rows;
    expansion.room = room;
    expansion.bytesPerRow = bytesPerRow;
    // Each copy comes from a record of its own and writes rows that no other one writes.
    return expansion.copies.allocate(std::min(room, recordCount) * sizeof(BlockCopy));
}

// The block is what stands from start on.
LoadStatus repeatRows(RepeatExpansion& expansion, u64 start, u64 count)
{
    const u64 blockEnd = expansion.rowsReached;
    const u64 end = start + (blockEnd - start) * count;
    if (end > UINT32_MAX)
        return refuse(loadWrongFormat, "its repeats weave more picks than can be counted");
    if (end > blockEnd && blockEnd < expansion.room)
        copiesOf(expansion)[expansion.copyCount++] = {static_cast<u32>(start), static_cast<u32>(blockEnd - start),
                                                      static_cast<u32>(std::min(end, expansion.room))};
    expansion.rowsReached = end;
    return loadSuccess;
}

LoadStatus openRepeat(RepeatExpansion& expansion, u32 count)
{
    if (expansion.openCount == expansion.mostOpen)
        return refuse(loadWrongFormat, "its repeats stand more than %u deep", expansion.mostOpen);
    expansion.open[expansion.openCount++] = {count, expansion.copyCount, expansion.rowsReached};
    return loadSuccess;
}

LoadStatus closeRepeat(RepeatExpansion& expansion)
{
    if (expansion.openCount == 0)
        return refuse(loadWrongFormat, "a repeat ends that never began");
    const OpenRepeat& repeat = expansion.open[--expansion.openCount];
    if (repeat.count != 0)
        return repeatRows(expansion, repeat.start, repeat.count);
    removeBlock(expansion, repeat);
    return loadSuccess;
}

LoadStatus finishCopies(RepeatExpansion& expansion)
{
    if (expansion.rowsReached < expansion.lostEnd)
        return refuse(loadBadData, "its repeats remove more rows than can be kept, and some of them show");
    for (u32 i = 0; i < expansion.copyCount; i++)
        copyBlock(expansion, copiesOf(expansion)[i]);
    expansion.copyCount = 0;
    return loadSuccess;
}

void remarkOpenRepeats(const RepeatExpansion& expansion)
{
    remarkCount(Gravity::grave, expansion.openCount, "repeats have no end and are woven once");
}

void reverseRest(const RepeatExpansion& expansion)
{
    const u64 stride = expansion.bytesPerRow;
    const u64 written = expansion.rowsWritten;
    for (u64 row = 0; row < written && stride > expansion.rowBytes; row++)
        reverseBits(expansion.rows + row * stride + expansion.rowBytes, stride - expansion.rowBytes, false);
    reverseBits(expansion.rows + written * stride, (expansion.room - written) * stride, false);
}

LoadStatus checkProgramRows(u64 rows)
{
    if (rows < leastProgramRows || rows > mostSide)
        return refuse(loadWrongFormat, "it weaves %llu picks, which are to be %u to %u",
                      static_cast<unsigned long long>(rows), leastProgramRows, mostSide);
    return loadSuccess;
}

void release(RepeatProgram& slot)
{
    free(slot.records);
    slot = {};
}
