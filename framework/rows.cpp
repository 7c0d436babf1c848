#include "framework/rows.h"

#include <cstdlib>
#include <utility>

void handOver(File& file, RowFile& slot, u32 rows, u32 rowBytes)
{
    handOver(file, slot.file);
    slot.rowsLeft = rows;
    slot.rowBytes = rowBytes;
}

void release(RowFile& slot)
{
    closeSlot(slot.file);
    slot = {};
}

LoadStatus loadRows(RowFile& slot, u8* rows, u32 count, u32 bytesPerRow, BitOrder order)
{
    if (slot.file == nullptr)
        return loadBadData;
    return readStoredRows(slot.file, slot.rowsLeft, rows, count, slot.rowBytes, bytesPerRow, order);
}

void handOver(Buffer& bytes, RowTable& slot, u32 rows, u32 rowBytes)
{
    release(slot);
    slot = {std::exchange(bytes.bytes, nullptr), rows, rowBytes, 0};
}

void release(RowTable& slot)
{
    free(slot.bytes);
    slot = {};
}

LoadStatus loadRows(RowTable& slot, u8* rows, u32 count, u32 bytesPerRow, BitOrder order)
{
    if (slot.bytes == nullptr)
        return loadBadData;
    const u32 wanted = std::min(count, slot.rows - slot.cursor);
    const u8* row = slot.bytes + u64{slot.cursor} * slot.rowBytes;
    if (bytesPerRow == slot.rowBytes) {
        deliverRow(rows, row, u64{wanted} * bytesPerRow, u64{wanted} * bytesPerRow);
    } else {
        for (u64 i = 0; i < wanted; i++)
            deliverRow(rows + i * bytesPerRow, row + i * slot.rowBytes, slot.rowBytes, bytesPerRow);
    }
    if (order != BitOrder::asStored)
        reverseBits(rows, u64{wanted} * bytesPerRow, order == BitOrder::reversedAndNegated);
    slot.cursor += wanted;
    return wanted < count ? loadBadData : loadSuccess;
}
