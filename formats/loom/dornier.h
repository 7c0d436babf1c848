// What the dobby programs of Dornier machines and Muster have in common: picks of 64 shafts, and lines of text that
// hold one each.
//
//   "00 01 02 03 04 05 06 07"   hexadecimal, the first shaft in a byte's lowest bit
#pragma once

#include <cstdio>

#include "framework/file.h"
#include "framework/loader.h"

constexpr u32 dornierShafts = 64;
constexpr u32 dornierPickBytes = dornierShafts / 8;
constexpr i64 pickLineBytes = 25; // with CR LF

// Reads the line that comes next: 3 when there is none, 6 when it holds no pick.
LoadStatus readPickLine(FILE* stream, u8* pick);

// Reads the lines of all picks from the first on. A last line without an end may come early: the picks behind it stay
// clear.
LoadStatus readPickLines(FILE* stream, u8* table, u32 first, u32 picks);

// Reports the picks and hands them over. Without a table, when nobody wants palette or picks, loadBand has nothing to
// deliver.
void keepDornierPicks(ImageInfo& image, const char* description, Buffer& table, u32 picks);

LoadStatus loadDornierBand(u8* rows, u32 count, u32 bytesPerRow);
LoadStatus endDornierLoad();
