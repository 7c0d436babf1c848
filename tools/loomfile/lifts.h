// Which ends are up, pick by pick: of pictures in black and white, and of drafts however they are shown.
#pragma once

#include "picture.h"

// The picture outlives it.
struct Lifts {
    Picture& picture;
    int black = -1;    // the number of the colour that is black, when an indexed picture has it and white only
    DraftHandle draft; // when the picture is one of its yarns' colours
    u32 rowBytes;
    u32 nextPick = 0;

    // Throws Failure when the file does not tell; advice is what to do instead.
    Lifts(Picture& shown, const std::string& advice);
    // The next rows one behind the other, a bit an end, 1 = up. Throws Failure.
    void read(u8* rows, u32 count);
};

// Whether there are lifts to be had.
bool hasLifts(const Picture& picture);
