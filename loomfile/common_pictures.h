// Pictures that the graphics command reads where libTload does not.
#pragma once

#include <string>

#include "loomfile.h"

struct CommonPicture {
    const char* coder; // GraphicsMagick's name
    const char* name;  // for the user
    FormatId format;   // 0 when libTload does not know it
};

// Null when the first bytes are of no such picture. Only coders that decode by themselves: no vector graphics, no
// scripts, nothing that starts programs or fetches files.
const CommonPicture* commonPictureOf(const u8* header, size_t size);
// Targa pictures have no mark at their start: this asks the name and the end of the file, too.
const CommonPicture* targaPictureOf(const std::string& path, const u8* header, size_t size);
