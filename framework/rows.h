// What most card loaders keep between their calls: a file whose rows stand one after the other, or all rows in memory.
#pragma once

#include "framework/bits.h"
#include "framework/bytes.h"
#include "framework/file.h"

// Reads count rows, as far as rowsLeft goes, as they are stored and turns the bits of rows x bytesPerRow, what lies
// behind a row included. 7 when the data end early or the picture has no more rows: then the rows hold what could be
// read as it is stored, and nothing is turned. 2 when a row that is longer than bytesPerRow finds no memory.
LoadStatus readStoredRows(FILE* stream, u32& rowsLeft, u8* rows, u32 count, u64 rowBytes, u64 bytesPerRow,
                          BitOrder order);

// How many of the rows, which begin a step apart, are not wholly in the bytes that arrived.
u64 incompleteRows(u64 rows, u64 arrived, u64 rowBytes, u64 step);

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
