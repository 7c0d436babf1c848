// Rows that are stored once.
#pragma once

#include "tload.h"

enum class Expansion { done, wrongTable, noMemory };

// copyTableEqualY without a word: unless it is done, the rows are as they were.
Expansion expandRepeats(u8* data, i32 rowBytes, i32 rows, const i32* repeatTable);

// What is said of a wrong table.
constexpr char wrongRepeatTable[] = "copyTableEqualY: wrong repeat table!";
