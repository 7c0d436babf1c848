// Rows that are stored once.
#pragma once

#include "tload.h"

// copyTableEqualY, which cannot say that memory does not suffice: then false, and the rows are as they were. A wrong
// table is printed and no failure.
bool expandRepeats(u8* data, i32 rowBytes, i32 rows, const i32* repeatTable);
