// What the Staubli loaders share.
#pragma once

#include "formats/loom/staubli_mapping.h"
#include "framework/loader.h"
#include "framework/thread_state.h"

constexpr size_t designNameBytes = 16;
constexpr u8 endOfFile = 0xFF; // what a missing byte of a numbered part reads as

// The remark on picks that are not wholly in the file.
constexpr const char* lackingPicks = "picks that the file lacks are made up";

// The first part of a design of several files, named stem.jc4.01 and so on: turns the last two digits of such a name
// into "01". extension is what stands before the digits. firstPart becomes 0 when the name was another part's.
bool turnToFirstPart(char* path, const char* extension, u32& firstPart);

// Closes the current part and opens the one that partName names at its picks; 3 when that cannot be opened, and without
// a name.
LoadStatus openPart(StaubliState& state, i64 dataStart);
LoadStatus refusePart(const StaubliState& state, const char* flaw); // 3

// Reads size bytes, fills up those that the file lacks, and returns how many it had.
u64 readFilled(FILE* stream, u8* bytes, u64 size, u8 missing);

// Reports a bilevel picture; designName, which may be null, ends the description.
void reportCards(ImageInfo& image, u32 width, u32 height, const char* description, const u8* designName);

// Remarks on a file, which stands at its first pick, that does not hold just the picks of the design. Those that a part
// lacks may be in the next one.
void remarkDesignSize(const StaubliState& loaded, FILE* stream);

// Ends what an earlier load may have left and begins this one.
void startStaubli(StaubliFormat format, File& file, const StaubliState& loaded);

// Reads picks as they are stored, or as many bytes of them, and counts those that the file lacks.
using ReadPicks = LoadStatus (*)(StaubliState& state, u8* picks, u64 size, u64& lacking);

// How many modules the design has, if they are of this size.
using CountModules = u32 (*)(const StaubliState& state, u32 module);

// The rows of JC4: reads all of the band, finds the module and brings the hooks into the order of the design.
LoadStatus loadMappedBand(StaubliFormat format, u8* rows, u32 count, u32 bytesPerRow, ReadPicks readPicks,
                          CountModules countModules);

// The state when a file of this format is open, else null: another Staubli loader's file is not ours to read.
StaubliState* openStaubli(StaubliFormat format);

// Closes the current part, removes the unpacked file and frees what JC5 holds.
LoadStatus endStaubli();
