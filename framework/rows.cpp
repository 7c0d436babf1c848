#include "framework/rows.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "framework/reason.h"

LoadStatus readStoredRows(FILE* stream, u32& rowsLeft, u8* rows, u32 count, u64 rowBytes, u64 bytesPerRow,
                          BitOrder order)
{
    // Turned in blocks that are still in the cache.
    constexpr u64 blockBytes = 1 << 18;
    const u64 rowsAtOnce = rowBytes == bytesPerRow ? std::max<u64>(1, blockBytes / std::max<u64>(1, rowBytes)) : 1;
    Buffer narrowRow;
    if (bytesPerRow < rowBytes && !narrowRow.allocate(rowBytes))
        return refuseMemory();
    const u32 wanted = std::min(count, rowsLeft);
    if (wanted < count)
        order = BitOrder::asStored;
    const bool isNegated = order == BitOrder::reversedAndNegated;
    for (u64 row = 0; row < wanted; row += rowsAtOnce) {
        const u64 size = std::min(rowsAtOnce, wanted - row);
        u8* destination = rows + row * bytesPerRow;
        u8* stored = narrowRow.bytes != nullptr ? narrowRow.bytes : destination;
        const u64 arrived = fread(stored, 1, size * rowBytes, stream);
        if (stored != destination)
            deliverRow(destination, stored, arrived, bytesPerRow);
        if (arrived < size * rowBytes) {
            if (order != BitOrder::asStored)
                reverseBits(rows, row * bytesPerRow, isNegated); // back again
            return refuseEarlyEnd(rowsLeft - row - (rowBytes > 0 ? arrived / rowBytes : 0));
        }
        if (order != BitOrder::asStored)
            reverseBits(destination, size * bytesPerRow, isNegated);
    }
    rowsLeft -= wanted;
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

u64 incompleteRows(u64 rows, u64 arrived, u64 rowBytes, u64 step)
{
    if (arrived < rowBytes)
        return rows;
    return step > 0 ? rows - std::min(rows, (arrived - rowBytes) / step + 1) : 0;
}

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
        return refuseUnopened();
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
        return refuseUnopened();
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
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}
