// What most card loaders keep between their calls: a file whose rows stand one after the other, or all rows in memory.
#pragma once

#include "framework/bytes.h"
#include "framework/file.h"

struct RowFile {
    FILE* file; // at the next row
    u32 rowsLeft;
    u32 rowBytes; // as stored
};

void handOver(File& file, RowFile& slot, u32 rows, u32 rowBytes);
void release(RowFile& slot);
// The statuses of readStoredRows, and 7 without a file.
LoadStatus loadRows(RowFile& slot, u8* rows, u32 count, u32 bytesPerRow, BitOrder order);

struct RowTable {
    u8* bytes; // owned
    u32 rows;
    u32 rowBytes;
    u32 cursor; // rows delivered
};

void handOver(Buffer& bytes, RowTable& slot, u32 rows, u32 rowBytes);
void release(RowTable& slot);
// 7 without a table, or when it has no more rows.
LoadStatus loadRows(RowTable& slot, u8* rows, u32 count, u32 bytesPerRow, BitOrder order);
