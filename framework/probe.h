// How nearly every loader begins: it looks at the first bytes, then opens the file and reads its header. What fails has
// its reason.
#pragma once

#include <string_view>

#include "framework/file.h"
#include "framework/reason.h"

// The first bytes of a file, of which at least `least` (up to 256) belong to it; null, with the reason for a 6, when it
// cannot be read or is smaller.
const u8* probedHeader(const char* path, i64 least);

// The same for a file that begins with a mark: null also when it does not. format is its name in the reason.
const u8* probedMark(const char* path, std::string_view mark, const char* format, i64 least = 0);

// 6: the first bytes are others than those of the format.
LoadStatus refuseMark(const char* format);

// 3 when the file cannot be opened.
LoadStatus openFile(const char* path, File& file);

// Opens a file and reads its header: 3 when it cannot be opened, tooShort when it ends before.
LoadStatus openFile(const char* path, File& file, void* header, size_t size, LoadStatus tooShort);

// The same of a file whose name ends in the extension: 6 when it does not, or when the file ends before.
LoadStatus openNamed(const char* path, const char* extension, File& file, void* header, size_t size);
