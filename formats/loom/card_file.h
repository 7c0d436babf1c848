// What the loaders of simple card files have in common: rows that stand one after the other behind a header.
#pragma once

#include <string_view>

#include "framework/loader.h"
#include "framework/path.h"
#include "framework/probe.h"
#include "framework/rows.h"

// There may be no memory when there is nothing to clear.
inline void clearRows(u8* rows, u64 count, u64 bytesPerRow)
{
    if (count * bytesPerRow > 0)
        memset(rows, 0, count * bytesPerRow);
}

// The first bytes of a file whose name ends in the extension, of which at least `least` (up to 256) belong to it and
// which begin with the mark; null, with the reason for a 6, when it is none. The file is probed whatever its name is.
const u8* cardHeader(const char* path, const char* extension, i64 least, std::string_view mark = {});

struct Cards {
    const char* description;
    u32 width;
    u32 height;
    u32 rowBytes; // as stored
    u8 orientationFlag = loomOrientation;
    u32 trailerBytes = 0;  // at the end of a row, which the last one may lack
    bool isPadded = false; // behind the last row, as all files of the format are
};

// Reports cards and keeps their file, which is at the first row. Remarks on a file that is too short or too long.
LoadStatus keepCards(File& file, RowFile& slot, const Cards& cards, ImageInfo& image);

// The same of a probed file that is to hold a header of so many bytes, the rows and nothing else: 6 when its size or
// that of the picture is another, 3 when it cannot be opened.
LoadStatus keepExactCards(const LoadRequest& request, i64 headerBytes, RowFile& slot, const Cards& cards,
                          ImageInfo& image);

// Reads up to count rows, many at once, and calls deliver(stored row, its number) for each of which neededBytes have
// arrived; what is missing of it behind them is zeros. 7 without a file or with one of another loader, whose rows are
// shorter, when data end early, or when the picture has no more rows; 2 when there is no memory for a block.
template <typename Deliver>
LoadStatus convertRows(RowFile& slot, u32 count, u32 neededBytes, Deliver deliver)
{
    constexpr u64 blockBytes = 1 << 16;
    if (slot.file == nullptr || slot.rowBytes < std::max(neededBytes, 1U))
        return refuseUnopened();
    const u64 rowBytes = slot.rowBytes;
    const u64 wanted = std::min(count, slot.rowsLeft);
    const u64 rowsAtOnce = std::min(wanted, std::max<u64>(1, blockBytes / rowBytes));
    Buffer block;
    if (!block.allocate(rowsAtOnce * rowBytes))
        return refuseMemory();
    for (u64 row = 0; row < wanted; row += rowsAtOnce) {
        const u64 rows = std::min(rowsAtOnce, wanted - row);
        const u64 arrived = fread(block.bytes, 1, rows * rowBytes, slot.file);
        memset(block.bytes + arrived, 0, rows * rowBytes - arrived);
        const u64 complete = (arrived + rowBytes - neededBytes) / rowBytes;
        for (u64 i = 0; i < std::min(rows, complete); i++)
            deliver(block.bytes + i * rowBytes, row + i);
        if (complete < rows)
            return refuseEarlyEnd(slot.rowsLeft - row - complete);
    }
    slot.rowsLeft -= static_cast<u32>(wanted);
    return wanted < count ? refuseRowsBehindPicture() : loadSuccess;
}

// Delivers the first rowBytes of rows that are stored with something behind them, of which neededBytes are not to be
// missing. The statuses of convertRows.
LoadStatus loadRowStarts(RowFile& slot, u32 rowBytes, u32 neededBytes, u8* rows, u32 count, u32 bytesPerRow);

// Of a row that the file cuts short nothing is delivered, unless the rows are read at once.
LoadStatus loadWholeRows(RowFile& slot, u8* rows, u32 count, u32 bytesPerRow, BitOrder order);

// Some loaders tell too few picks as a file that cannot be read.
inline LoadStatus tooFewIsUnreadable(const RowFile& slot, LoadStatus status)
{
    return status == loadBadData && slot.file != nullptr ? loadCannotRead : status;
}
